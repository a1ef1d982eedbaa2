// Checks and bounded calls with the host's log: one line each where they are used.
#pragma once

#include "platform/bounded/bounded.h"
#include "platform/player_utils/player_utils.h"

// A failed check: an error under the name, out of the way of what does not fail. Always -1.
__attribute__((cold, noinline)) int32_t SvrCheckFailed(const char *pszFunc, int32_t s32Line, const char *pszMessage);

// Leaves the function with -1 and an error under the name fn when the condition does not hold.
#define SVR_RETURN_UNLESS(cond, fn, msg)                                                                               \
    do {                                                                                                               \
        if (!(cond)) {                                                                                                 \
            return SvrCheckFailed((fn), __LINE__, (msg));                                                              \
        }                                                                                                              \
    } while (0)

// Reports a finding with the value that goes with it, under the name fn; the work goes on.
#define SVR_LOG_RESULT(fn, msg, result) PlayerDbgPrintf(PLAYER_LOG_ERROR, (fn), __LINE__, (msg), (result))

// A failed bounds-checked call: a warning.
__attribute__((cold, noinline)) void SvrBoundedFailed(const char *pszFunc, int32_t s32Line, const char *pszCall);

// Runs a bounds-checked call; when it fails, the work goes on.
#define SVR_BOUNDED(fn, call, name)                                                                                    \
    do {                                                                                                               \
        if ((call) != 0) {                                                                                             \
            SvrBoundedFailed((fn), __LINE__, (name));                                                                  \
        }                                                                                                              \
    } while (0)
