// The file protocol's handle. Its six operations are the slots of g_fileProtocol.
#pragma once

#include "format/pell_format.h"

constexpr int32_t SVR_FILE_CACHE_SIZE = 0x100000;

// While open: au8Cache <= pu8Cur <= pu8End <= au8Cache + SVR_FILE_CACHE_SIZE, and the descriptor stands at the file
// position of pu8End.
struct SvrFileHandle {
    int32_t s32Fd; // -1: not open
    uint8_t au8Cache[SVR_FILE_CACHE_SIZE];
    uint8_t *pu8Cur;       // next byte to hand out
    uint8_t *pu8End;       // end of the valid bytes
    int64_t s64CurPos;     // logical position of pu8Cur; counted from the start of the range when there is one
    int32_t bEof;          // the cache is not full, or a read came short: nothing is read before a seek refills it
    int64_t s64FileLength; // length of the range; 0 or less: no range
    int64_t s64FileOffset; // start of the range
    int32_t bSeeksAgree;   // a seek to s64CurPos would lead to where pu8Cur stands; 0 where an offset has no range
    int32_t bMayStepBack;  // a seek back may stay in the cache, see SvrFileFill
};

// Whether a descriptor opens, reads and seeks with this protocol's own functions: a host may have put others in.
bool SvrFileServes(const FormatEntry *pstEntry);
