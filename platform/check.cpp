// What failed checks say, in one place: the code that does not fail stays small.
#include "platform/check.h"

int32_t SvrCheckFailed(const char *pszFunc, int32_t s32Line, const char *pszMessage) {
    PlayerDbgPrintf(PLAYER_LOG_ERROR, pszFunc, s32Line, pszMessage, -1);
    return -1;
}

void SvrBoundedFailed(const char *pszFunc, int32_t s32Line, const char *pszCall) {
    PlayerPrintf(PLAYER_LOG_WARNING, pszFunc, s32Line, "[%s:%d] %s failed\n", pszFunc, s32Line, pszCall);
}
