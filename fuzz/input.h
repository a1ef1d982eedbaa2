// The bytes of a run, and what a target does when it has found something.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>

// Bytes not yet taken.
struct FuzzInput {
    const uint8_t *pu8Cur;
    const uint8_t *pu8End;
};

inline size_t FuzzLeft(const FuzzInput *pstInput) {
    return static_cast<size_t>(pstInput->pu8End - pstInput->pu8Cur);
}

// The next byte, or 0 when there is none.
inline uint8_t FuzzTake8(FuzzInput *pstInput) {
    return pstInput->pu8Cur < pstInput->pu8End ? *pstInput->pu8Cur++ : uint8_t{0};
}

inline uint32_t FuzzTake16(FuzzInput *pstInput) {
    const uint32_t u32Low = FuzzTake8(pstInput);
    return u32Low | static_cast<uint32_t>(FuzzTake8(pstInput)) << 8;
}

inline uint32_t FuzzTake32(FuzzInput *pstInput) {
    const uint32_t u32Low = FuzzTake16(pstInput);
    return u32Low | FuzzTake16(pstInput) << 16;
}

// A finding, unless the condition holds.
#define FUZZ_CHECK(cond)                                                                                               \
    do {                                                                                                               \
        if (!(cond)) {                                                                                                 \
            fprintf(stderr, "%s:%d: found: %s\n", __FILE__, __LINE__, #cond);                                          \
            abort();                                                                                                   \
        }                                                                                                              \
    } while (0)

// The sum of what the host was told in the runs of this process, where a target lives lives: the same on every machine.
extern uint64_t g_u64FuzzTold;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *pu8Data, size_t uSize);
