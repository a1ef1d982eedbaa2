// A host that misbehaves by script: descriptors that lead to bytes in memory, a protocol of its own, a converter. The
// utility functions, and the allocations that fail, are those of the tests' host.
#pragma once

#include "fuzz/input.h"
#include "tests/host_double.h"

struct FuzzBytes {
    const uint8_t *pu8;
    size_t uLen;
};

enum FuzzFile { FUZZ_FILE_MAIN, FUZZ_FILE_PACKETS, FUZZ_FILE_NUM };

// Calls are counted from 1 since the run began; 0: none fails.
struct FuzzFaults {
    uint32_t u32FailOpenAt, u32FailReadAt, u32ShortReadAt, u32FailSeekAt;
    uint32_t u32StopAt; // any call of the host at which pfnStop is called
    bool bKeepFailing;  // every later open, read or seek fails, too
    bool bInterrupted;  // each read of a descriptor is interrupted first
    bool bClaimsMore;   // our protocol claims more bytes than it was asked for
    bool bEndIsZero;    // our protocol answers 0, not -1, at the end
    int64_t s64PosBase; // our protocol counts positions from here
};

enum FuzzConvert {
    FUZZ_CONVERT_NONE, // there is no converter
    FUZZ_CONVERT_COPIES,
    FUZZ_CONVERT_NARROWS, // drops every second byte
    FUZZ_CONVERT_USES_LESS,
    FUZZ_CONVERT_CREATE_FAILS,
    FUZZ_CONVERT_IDENTIFY_FAILS,
    FUZZ_CONVERT_FAILS,
    FUZZ_CONVERT_FAILS_SOMETIMES,
    FUZZ_CONVERT_FILLS,        // to the last byte of the capacity
    FUZZ_CONVERT_FILLS_ALMOST, // to the last but some
    FUZZ_CONVERT_LIES,         // about length and consumption; writes nothing
    FUZZ_CONVERT_GROWS,        // letters alone
    FUZZ_CONVERT_ZEROES,       // blanks become zero bytes
    FUZZ_CONVERT_SPOILS,       // fills the buffer and claims the true length
    FUZZ_CONVERT_NO_TYPE,      // cannot tell the stream type
    FUZZ_CONVERT_NUM
};

struct FuzzConverter {
    FuzzConvert enConvert;
    int32_t s32StreamType; // what getStreamType answers; 0: leaves the preset
    int32_t s32CodeType;   // what identification finds
    uint8_t u8Amount;      // how much, where the way of converting has a measure
};

struct FuzzHost {
    FuzzBytes astFile[FUZZ_FILE_NUM];
    FuzzFaults stFaults;
    FuzzConverter stConverter;
    void (*pfnStop)();
    const char *pszLink; // what a link in /proc says
    bool bActive;        // a run is under way: names and descriptors are the library's
    uint32_t u32Calls, u32Opens, u32Reads, u32Seeks, u32Converts;
    int32_t s32Live; // handles and converter instances that are open
};

extern FuzzHost g_fuzzHost;

// Begins a run with a host that has no files and no faults.
void FuzzHostBegin();

// Ends the run: nothing that the library took may be left.
void FuzzHostEnd();

// A descriptor of the host's own for one of the files; FuzzHostEnd closes it.
int32_t FuzzHostFd(FuzzFile enFile);

Protocol *FuzzMemoryProtocol();

// Null where there is no converter.
CharsetOps *FuzzConverterOps();
