// A player in a few lines: what a host does with g_formatEntry, for the tests.
#pragma once

#include "tests/host_double.h"

#include <string>
#include <vector>

struct PlayerCue {
    int32_t s32Result; // of the read: 0, or -1 for a cue that failed
    int64_t s64Start;
    uint32_t u32Duration;
    std::string strText;
    int64_t s64Pos;
};

// Opens a URL through the entry; null when it is refused.
void *PlayerOpen(const std::string &strUrl, Protocol *pstProtocol);

// Opens bytes in memory under a name, hands the converter in when there is one, and indexes. Null unless all succeed.
void *PlayerOpenBytes(const std::string &strName, const std::string &strBytes, CharsetOps *pstOps = nullptr);

// Reads to the end (-2), each read followed by a free. Gives up on a handle that only fails.
std::vector<PlayerCue> PlayerReadAll(void *hFmt);

// Open, read everything, close.
std::vector<PlayerCue> PlayerCuesOf(const std::string &strName, const std::string &strBytes,
                                    CharsetOps *pstOps = nullptr);

// "start+duration text|" for each cue, "!|" for one that failed.
std::string PlayerTold(const std::vector<PlayerCue> &vecCues);

// The same of what a handle delivers, for demuxers whose lengths count a terminator.
std::string PlayerToldTerminated(void *hFmt);

SubStreamInfo *PlayerStream(void *hFmt, uint32_t u32Stream = 0);
