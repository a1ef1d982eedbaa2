// What is known about a file, and the ways to write it out: text, one JSON document, JSON lines.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Something that went wrong. The kind is for programs and never changes, the message is for people.
struct Problem {
    const char *kind;
    std::string message;
};

// Something a person should know about a file, with its place as far as it has one.
struct Finding {
    const char *kind = nullptr;
    size_t line = 0;  // of the file, from 1; 0: not known
    uint64_t cue = 0; // of its stream, from 1, as delivered; 0: none in particular
    std::optional<int64_t> startMs;
    std::string message;
    std::string mended; // what --repair does about it; empty: nothing
};

struct CueField {
    std::string name;
    std::optional<std::string> value; // nothing: the line ends before it
};

// An event line of ASS.
struct CueEvent {
    std::vector<CueField> fields; // in the order of the header
    std::string raw;              // the whole line
};

struct Cue {
    int stream = 0;
    int64_t startMs = 0;
    std::optional<int64_t> endMs;                // nothing: not known
    std::optional<std::string> raw;              // the text as delivered; nothing: a picture
    std::string text;                            // the same as it is read
    std::optional<std::vector<CueEvent>> events; // one for each line of it; nothing: the format has none
    std::string picture;                         // the unit, for formats without text
    uint32_t bytes = 0;                          // as delivered
    int64_t position = -1;                       // of its text or lines in the file; below 0: not told
};

struct SourceText;

struct StreamFacts {
    int number = 0;
    int32_t index = 0;
    std::string language;
    std::string title;
    bool sharesLanguage = false; // with another stream
    int width = 0;
    int height = 0;
    std::vector<uint32_t> palette; // 0xRRGGBB00; empty: the format has none
    std::string header;            // text that belongs to all cues (ASS)
    uint64_t cues = 0;             // delivered
    uint64_t blankCues = 0;        // of these, the ones with nothing to read
    uint64_t failedReads = 0;      // not delivered
    std::optional<int64_t> firstMs;
    std::optional<int64_t> lastMs; // the last end; for cues without one, the last start
};

struct FileFacts {
    std::string name;
    int64_t size = 0;                  // 0: not known
    const char *format = nullptr;      // null: none found
    const char *formatTitle = nullptr; // the format's name in full
    bool textual = false;
    bool raw = false;                   // the text is wanted as delivered
    std::string encoding;               // empty: not known
    const char *encodingKind = nullptr; // how it was found, for programs; null: not found
    const char *encodingHow = nullptr;  // the same for people
    bool encodingGuessed = false;
    const char *form = nullptr; // which of the format's forms, for programs; null: it has but one, or not recognised
    const char *formTitle = nullptr;
    double frameRate = 0;                // that times are reckoned with; 0: times are given as such
    const char *frameRateKind = nullptr; // where it comes from, for programs; null: there is none
    const char *frameRateHow = nullptr;  // the same for people
    std::vector<StreamFacts> streams;
    std::string bytes;    // what the plug-in reads, for markup that it takes out; empty: not wanted, or not to be had
    int32_t codeType = 0; // of these bytes; 0: not known
    std::vector<Problem> warnings;
    std::vector<Finding> findings;      // for reports that want them
    const SourceText *source = nullptr; // its lines; null: not looked at
    std::optional<Problem> error;
    int signal = 0;     // the signal that ended the work on it
    bool begun = false; // its report is
};

bool IsFormat(const FileFacts &facts, std::string_view format);

// When the cue ends, as far as its file says so: lyrics and text SUB have cues that only begin, and for them the
// plug-in tells an end that is none.
std::optional<int64_t> ToldEnd(const FileFacts &facts, const Cue &cue);

struct RenderRun;
struct ConvertRun;
struct TimelineRun;
struct CheckRun;

// What came of the files so far.
struct Totals {
    uint64_t files = 0;
    uint64_t cues = 0;
    uint64_t warnings = 0;
    uint64_t failed = 0; // files
};

// Where a report goes: standard output, made harmless when that is a terminal.
struct Output {
    // Of the command that writes.
    RenderRun *render = nullptr;
    ConvertRun *convert = nullptr;
    TimelineRun *timeline = nullptr;
    CheckRun *check = nullptr;
    bool terminal = false;
    bool manyFiles = false;
    bool anyFile = false; // something was written for an earlier file
    bool anyCue = false;  // for this file
    int lastStream = -1;  // of this file
    bool failed = false;  // what was to be written at the end could not be
    Totals totals;
};

void Put(const Output &out, std::string_view text);
// The same in bold, where there is colour.
void PutHeading(const Output &out, std::string_view text);

// A colour of a palette: "#rrggbb".
std::string ColourText(uint32_t colour);

// A line on standard error: "pellsub: name: message". The name may be empty. Warnings begin with "warning: ".
void Complain(const std::string &name, const std::string &message);
// The same about what is neither wrong nor uncertain.
void Note(const std::string &name, const std::string &message);

// One way to write a report. The calls come in this order, beginFile to endFile for each file and cue for each cue;
// a file that could not be opened gets beginFile and endFile as well. Empty slots are left out.
struct ReportWriter {
    void (*begin)(Output &out);
    void (*beginFile)(Output &out, const FileFacts &facts);
    void (*cue)(Output &out, const FileFacts &facts, const Cue &cue);
    void (*conclude)(Output &out, FileFacts &facts); // after the last cue; what it finds wrong goes into the report
    void (*endFile)(Output &out, const FileFacts &facts);
    void (*end)(Output &out);
    const char *between; // what stands between two files when each was written by another process; may be null
};

extern const ReportWriter kInfoText;
extern const ReportWriter kInfoJson;
extern const ReportWriter kDumpText;
extern const ReportWriter kDumpJson;
extern const ReportWriter kDumpJsonLines;
extern const ReportWriter kRender;
extern const ReportWriter kConvert;
extern const ReportWriter kTimeline;
extern const ReportWriter kCheckText;
extern const ReportWriter kCheckJson;
