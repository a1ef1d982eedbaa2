// The whole life of a handle through g_formatEntry, in a host that the first bytes of the input describe. The rest of
// them is the file.
#pragma once

#include "fuzz/host.h"

enum LifeProtocol { LIFE_OWN, LIFE_OWN_RANGE, LIFE_MEMORY, LIFE_FOREIGN, LIFE_PROTOCOL_NUM };

enum LifeFiles {
    LIFE_FILES_MARKED, // VobSub: packets begin at the first pack
    LIFE_FILES_BUILT,  // VobSub: behind a zero byte stand the records of packs
    LIFE_FILES_SAME,
    LIFE_FILES_NUM
};

// What the input asks for in its first 26 bytes, in this order; all zeros is a host that behaves, and a plain file.
struct LifeScript {
    uint8_t u8Protocol; // enum LifeProtocol
    uint8_t u8Name;
    FuzzConverter stConverter;
    uint8_t u8DstCodeType;
    uint8_t u8Hint;
    uint8_t u8Faults; // bits
    uint8_t u8PosBase;
    uint8_t u8FailOpenAt;
    uint16_t u16FailAllocationAt, u16FailReadAt, u16ShortReadAt, u16FailSeekAt, u16StopAt;
    uint8_t u8RangeOffset, u8RangeLength;
    uint8_t u8Files;   // enum LifeFiles
    uint8_t u8Steps;   // pairs of bytes that follow: what is done between find-stream and the reading of everything
    uint8_t u8Repeats; // odd: the text repeats itself (fuzz/shapes.h)
};

LifeScript LifeTakeScript(FuzzInput *pstInput);

// Lives one life of the format with this extension. A sum of all that the host was told: results, frames, messages.
uint64_t LifeRun(const char *pszExtension, const LifeScript *pstScript, FuzzInput stInput);
