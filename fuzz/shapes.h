// Large files out of few bytes.
#pragma once

#include "fuzz/host.h"

constexpr size_t FUZZ_PACK_SIZE = 2048;
constexpr size_t FUZZ_PACKS_MAX = 40;
constexpr size_t FUZZ_REPEAT_MAX = 60 * SVR_SUB_STR_IN_MAX_LEN; // enough to fill an index

// Takes the records of VobSub packs and builds them, well-formed but for what a record asks for. Valid until the next
// call.
FuzzBytes FuzzBuildPacks(FuzzInput *pstInput);

// The text with what it asks to be repeated: behind a byte of 1, 2 or 3 stands how often (two bytes) the last byte, the
// last two, or the last line come again; at most so many bytes. Valid until the next call.
FuzzBytes FuzzRepeat(FuzzInput stInput, size_t uMax);
