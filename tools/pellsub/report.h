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
};

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
    std::vector<Problem> warnings;
    std::optional<Problem> error;
    int signal = 0; // the signal that ended the work on it
};

struct RenderRun;

// Where a report goes: standard output, made harmless when that is a terminal.
struct Output {
    RenderRun *render = nullptr; // for kRender
    bool terminal = false;
    bool manyFiles = false;
    bool anyFile = false; // something was written for an earlier file
    bool anyCue = false;  // for this file
    int lastStream = -1;  // of this file
};

void Put(const Output &out, std::string_view text);

// A colour of a palette: "#rrggbb".
std::string ColourText(uint32_t colour);

// A line on standard error: "pellsub: name: message". The name may be empty.
void Complain(const std::string &name, const std::string &message);

// One way to write a report. The calls come in this order, beginFile to endFile for each file and cue for each cue;
// a file that could not be opened gets beginFile and endFile as well. Empty slots are left out.
struct ReportWriter {
    void (*begin)(Output &out);
    void (*beginFile)(Output &out, const FileFacts &facts);
    void (*cue)(Output &out, const FileFacts &facts, const Cue &cue);
    void (*conclude)(Output &out, FileFacts &facts); // after the last cue; what it finds wrong goes into the report
    void (*endFile)(Output &out, const FileFacts &facts);
    void (*end)(Output &out);
};

extern const ReportWriter kInfoText;
extern const ReportWriter kInfoJson;
extern const ReportWriter kDumpText;
extern const ReportWriter kDumpJson;
extern const ReportWriter kDumpJsonLines;
extern const ReportWriter kRender;
