// A host for the tests: the utility functions the library imports, with every message kept, every allocation counted
// and failed on request; a protocol that serves bytes from memory and fails by script; a converter that does as told.
#pragma once

#include "platform/player_utils/player_utils.h"

#include <cstdint>
#include <string>
#include <vector>

struct HostMessage {
    int32_t s32Level;
    std::string strFunction;
    std::string strText;
    int32_t s32Result; // 0 for messages that carry none
};

struct HostState {
    std::vector<HostMessage> vecMessages;
    bool bQuiet;             // messages are formatted, and summed up instead of kept
    uint64_t u64Told;        // that sum
    int32_t s32Allocations;  // since the last reset: blocks, programs and streams
    int32_t s32FailAt;       // the allocation, counted from 1, that fails; 0: none does
    bool bFailOn;            // so does every later one
    uint32_t u32Most;        // bytes of a block that can be had; 0: any number
    int32_t s32LiveBlocks;   // not yet freed; counted where the tests are linked with the library's objects
    std::string strProperty; // value of any system property; empty: the default is given
    int32_t s32PropertyReads;
};

extern HostState g_host;

// Forgets messages, counts and what was asked for but quiet. Live blocks are not forgotten.
void HostReset();

// Whether a message with this text was logged; with a function, under that name.
bool HostLogged(const std::string &strText, const std::string &strFunction = "");
int32_t HostCount(const std::string &strText);

// Every block the library took is free again. Always true where frees cannot be seen.
bool HostNothingLeft();

// Bytes in memory behind a protocol that is not the library's own. Calls are counted per slot from 1; the one that
// equals the script's number fails (0: none).
struct MemoryFile {
    std::string strBytes;
    int64_t s64Pos;
    int32_t s32Opens, s32Closes, s32Reads, s32Seeks;
    int32_t s32FailOpenAt, s32FailReadAt, s32FailSeekAt, s32ShortReadAt, s32FailCloseAt;
    int32_t s32StopReadAt; // during that read the host stops the handle
    void *hStopped;
    int64_t s64HoleAt, s64Hole; // positions jump ahead by so many bytes at that place
};

extern MemoryFile g_memoryFile;

// Serves the bytes for every URL; script and counts start afresh.
Protocol *MemoryProtocol(const std::string &strBytes);

// System calls of the library's own file protocol, by the same rules; none is seen of a library that was built before.
struct SystemScript {
    bool bWatched;
    int32_t s32Calls, s32FailAt, s32ShortAt;
};

extern SystemScript g_system;
bool HostSeesSystemCalls();

// A protocol table of its own that passes every call on to the library's: the same bytes, seen as a foreign protocol.
Protocol *ForeignFileProtocol();

// What the converter double does. Conversion copies bytes, except where told otherwise.
struct ConverterScript {
    int32_t s32CodeType;   // what identification finds
    int32_t s32StreamType; // what getStreamType answers; 0: leaves the preset
    bool bCreateFails, bIdentifyFails, bConvertFails, bStreamTypeFails;
    int32_t s32OutLen;   // claimed length of a conversion; -1: the true one
    int32_t s32UsedLess; // bytes by which consumption is reported short
    int32_t s32Live;     // instances not destroyed
    int32_t s32Converts, s32Identifies;
    int32_t s32LastSrc, s32LastDst, s32LastHint, s32LastLen;
};

extern ConverterScript g_converter;

// The table, with a script that starts afresh: code type 7, single bytes.
CharsetOps *ConverterDouble();
