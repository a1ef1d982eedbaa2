// Checks and bounded calls with the host's log: one line each where they are used.
#pragma once

#include "platform/bounded/bounded.h"
#include "platform/player_utils/player_utils.h"

// Leaves the function with -1 and an error under the name fn when the condition does not hold.
#define SVR_RETURN_UNLESS(cond, fn, msg)                                                                               \
    do {                                                                                                               \
        if (!(cond)) {                                                                                                 \
            PlayerDbgPrintf(PLAYER_LOG_ERROR, (fn), __LINE__, (msg), -1);                                              \
            return -1;                                                                                                 \
        }                                                                                                              \
    } while (0)

// Reports a finding with the value that goes with it, under the name fn; the work goes on.
#define SVR_LOG_RESULT(fn, msg, result) PlayerDbgPrintf(PLAYER_LOG_ERROR, (fn), __LINE__, (msg), (result))

// Runs a bounds-checked call; a failure is a warning, and the work goes on.
#define SVR_BOUNDED(fn, call, name)                                                                                    \
    do {                                                                                                               \
        if ((call) != 0) {                                                                                             \
            PlayerPrintf(PLAYER_LOG_WARNING, (fn), __LINE__, "[%s:%d] %s failed\n", (fn), __LINE__, (name));           \
        }                                                                                                              \
    } while (0)
