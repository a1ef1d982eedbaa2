// What a person should know about a subtitle file before it is played.
#pragma once

#include "tools/pellsub/report.h"

#include <map>
#include <set>

// A stream as far as its cues were seen.
struct CheckedStream {
    uint64_t cues = 0;
    int64_t lastEndMs = 0; // the latest end so far
};

struct CheckRun {
    std::map<int, CheckedStream> streams; // of the file at hand
    std::vector<Finding> cueFindings;     // of its cues
    std::set<size_t> lines;               // that its cues come from
};
