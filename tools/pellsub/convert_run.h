// Cues to files of another format.
#pragma once

#include "tools/pellsub/convert_formats.h"
#include "tools/pellsub/cue_markup.h"
#include "tools/pellsub/report.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

// A cue as it was read, in the times that are wanted. One without text only ends the cue before it.
struct CollectedCue {
    int64_t startMs = 0;
    std::optional<int64_t> endMs;
    StyledText text;
    std::shared_ptr<const AssTimed> event; // of ASS that stays ASS
};

struct CollectedStream {
    int number = 0;
    MarkupRules rules;
    std::string header; // of ASS that stays ASS
    bool ssa = false;   // it was one of SSA
    std::vector<CollectedCue> cues;
};

// In cues of one file.
struct ConvertCounts {
    uint64_t early = 0;   // would begin before 0
    uint64_t leftOut = 0; // would be over by then
    uint64_t late = 0;    // later than the format can tell
};

struct ConvertRun {
    std::string format;    // "srt", "vtt", "ass", "lrc" or "json"
    std::string output;    // the file to write, "-" for standard output; empty: named after the source
    std::string directory; // where to write; empty: beside the source
    bool overwrite = false;
    int64_t shiftMs = 0;
    double speed = 1; // times are multiplied by it, and shifted then
    // Of the file that is being read.
    std::vector<CollectedStream> streams;
    ConvertCounts counts;
    // By FileKey.
    std::set<std::string> sources; // all of this run
    std::set<std::string> written; // in this run, whatever the file
};

// Nothing, or why nothing can be written.
std::optional<std::string> BeginConvert(ConvertRun &run);
