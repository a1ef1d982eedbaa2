// Formats whose cues are a time line, text and an empty line.
#pragma once

#include "tools/pellsub/repair_rules.h"

// What a time line says, and how a player reads it.
struct BlockTime {
    FindingKind kind = FINDING_TIME_SPELLING;
    bool usual = true;                     // a player reads it as it stands
    bool tooLate = false;                  // nothing a player reads can say it
    std::string written;                   // the line as it reads best
    std::optional<int64_t> startMs, endMs; // nothing: they follow from those above
};

struct BlockRules {
    // Nothing when the line is no time line.
    std::optional<BlockTime> (*timeOf)(const Repair &repair, std::string_view line);
    bool header;         // lines above the first cue are not meant to be shown
    bool numbers;        // cues have numbers above their time lines
    bool tight;          // a time line is one even without an empty line before it
    bool oneBlank;       // no empty line may stand where a time line is looked for
    bool closed;         // the last cue needs an empty line too
    FindingKind tooLong; // what becomes of a cue that a player has no room for
};

void RepairBlocks(Repair &repair, const BlockRules &rules);
