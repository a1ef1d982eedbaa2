// A host whose log is off: what it does with messages is not the library's work. These come before the utility
// library's.
#include "platform/player_utils/player_utils.h"

void PlayerPrintf(int32_t, const char *, int32_t, const char *, ...) {}

void PlayerDbgPrintf(int32_t, const char *, int32_t, const char *, int32_t) {}
