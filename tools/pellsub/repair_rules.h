// What is done to the lines of each format so that a player reads all of them.
#pragma once

#include "tools/pellsub/check_findings.h"
#include "tools/pellsub/source_text.h"
#include "tools/pellsub/words.h"

#include <string>
#include <string_view>
#include <vector>

// One file on its way to a copy that loses nothing.
struct Repair {
    const SourceText &source;
    bool mend = true;               // false: only times are rewritten
    bool common = false;            // times as the format's convention has them
    bool player = false;            // times as a player takes them, also where it reads less than is meant
    std::vector<std::string> lines; // of the copy, without line ends
    std::vector<Finding> mended;    // what is different in the copy
    std::vector<Finding> left;      // what cannot be mended
    std::vector<SourceCue> cues;
    bool frames = false; // times of these are frames, not milliseconds
};

using RepairRule = void (*)(Repair &repair);

void RepairSrt(Repair &repair);
void RepairSub(Repair &repair);
void RepairLyrics(Repair &repair);
void RepairSami(Repair &repair);
void RepairAss(Repair &repair);

// A line of the source that is different in the copy. Line numbers count from 1.
void NoteMended(Repair &repair, FindingKind kind, size_t line, std::string_view detail = {},
                std::optional<int64_t> startMs = std::nullopt);
void NoteLeft(Repair &repair, FindingKind kind, size_t line, std::string_view detail = {},
              std::optional<int64_t> startMs = std::nullopt);
