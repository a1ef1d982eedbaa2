// What the bytes of an input stand for, where they stand for more than themselves.
#include "fuzz/shapes.h"

#include <algorithm>
#include <cstring>

// What a record's first byte asks for; its other bits are those of the kind before.
enum FuzzPackFault {
    FUZZ_PACK_NO_PACK_CODE = 1,
    FUZZ_PACK_NO_PES_CODE = 2,
    FUZZ_PACK_RAW_LEN = 4,   // the packet's length is the record's, not that of the share
    FUZZ_PACK_NO_SIZE = 8,   // the share does not begin with the unit's size
    FUZZ_PACK_CUT = 16,      // the file ends inside
    FUZZ_PACK_SMALL = 32,    // a share of few bytes
    FUZZ_PACK_LONG_HEAD = 64 // header data of any length
};

static size_t FuzzBuildPack(FuzzInput *pstInput, uint8_t *pu8Pack, size_t uNumber) {
    const uint8_t u8Faults = FuzzTake8(pstInput);
    const uint32_t u32Share = FuzzTake16(pstInput);
    const uint32_t u32Unit = FuzzTake16(pstInput);
    const uint32_t u32Head = (u8Faults & FUZZ_PACK_LONG_HEAD) != 0 ? FuzzTake8(pstInput) : 5;
    const uint32_t u32Room = FUZZ_PACK_SIZE - 24 - u32Head;
    const uint32_t u32Most = (u8Faults & FUZZ_PACK_SMALL) != 0 ? 8 : u32Room;
    const uint32_t u32Len = (u8Faults & FUZZ_PACK_RAW_LEN) != 0 ? u32Share : u32Head + 4 + u32Share % (u32Most + 1);
    for (size_t i = 0; i < FUZZ_PACK_SIZE; i++) {
        pu8Pack[i] = static_cast<uint8_t>(i + uNumber);
    }
    static const uint8_t s_au8Codes[] = {0, 0, 1, 0xBA, 0, 0, 1, 0xBD};
    memcpy(pu8Pack, s_au8Codes, (u8Faults & FUZZ_PACK_NO_PACK_CODE) != 0 ? 3 : 4);
    memcpy(pu8Pack + 14, s_au8Codes + 4, (u8Faults & FUZZ_PACK_NO_PES_CODE) != 0 ? 3 : 4);
    pu8Pack[18] = static_cast<uint8_t>(u32Len >> 8);
    pu8Pack[19] = static_cast<uint8_t>(u32Len & 0xFF);
    pu8Pack[22] = static_cast<uint8_t>(u32Head);
    if ((u8Faults & FUZZ_PACK_NO_SIZE) == 0) {
        // As a rule the unit ends with its pack.
        const uint32_t u32Size = u32Unit != 0 ? u32Unit : u32Len - u32Head - 4;
        pu8Pack[24 + u32Head] = static_cast<uint8_t>(u32Size >> 8 & 0xFF);
        pu8Pack[25 + u32Head] = static_cast<uint8_t>(u32Size & 0xFF);
    }
    return (u8Faults & FUZZ_PACK_CUT) != 0 ? u32Share % FUZZ_PACK_SIZE : FUZZ_PACK_SIZE;
}

FuzzBytes FuzzBuildPacks(FuzzInput *pstInput) {
    static uint8_t s_au8Packs[FUZZ_PACKS_MAX * FUZZ_PACK_SIZE];
    size_t uLen = 0;
    for (size_t i = 0; i < FUZZ_PACKS_MAX && FuzzLeft(pstInput) > 0 && uLen % FUZZ_PACK_SIZE == 0; i++) {
        uLen += FuzzBuildPack(pstInput, s_au8Packs + uLen, i);
    }
    return {s_au8Packs, uLen};
}

// How many bytes of the text are its last line.
static size_t FuzzLastLine(const uint8_t *pu8Text, size_t uLen) {
    size_t uLine = uLen > 0 ? 1 : 0;
    while (uLine < uLen && pu8Text[uLen - uLine - 1] != '\n') {
        uLine++;
    }
    return uLine;
}

FuzzBytes FuzzRepeat(FuzzInput stInput, size_t uMax) {
    static uint8_t s_au8Text[FUZZ_REPEAT_MAX];
    size_t uLen = 0;
    while (FuzzLeft(&stInput) > 0 && uLen < uMax) {
        const uint8_t u8Byte = FuzzTake8(&stInput);
        if (u8Byte < 1 || u8Byte > 3) {
            s_au8Text[uLen++] = u8Byte;
            continue;
        }
        const size_t uUnit = u8Byte < 3 ? std::min<size_t>(u8Byte, uLen) : FuzzLastLine(s_au8Text, uLen);
        const size_t uMore = std::min<size_t>(uUnit * (FuzzTake16(&stInput) % 12000), uMax - uLen);
        for (size_t i = 0; i < uMore; i++, uLen++) {
            s_au8Text[uLen] = s_au8Text[uLen - uUnit];
        }
    }
    return {s_au8Text, uLen};
}
