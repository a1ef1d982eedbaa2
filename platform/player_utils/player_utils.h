// What the library takes from the host: libpell_player_utils.so. Blocks are released with free(); the host functions
// never log on the library's behalf.
#pragma once

#include "format/pell_format.h"

#ifdef __cplusplus
extern "C" {
#endif

// Levels of a message.
enum PlayerLogLevel {
    PLAYER_LOG_ERROR = 2,
    PLAYER_LOG_WARNING = 3,
    PLAYER_LOG_INFO = 4,
    PLAYER_LOG_DETAIL = 5,
    PLAYER_LOG_VERBOSE = 6
};

// A zero-filled block, or null.
PELL_API void *PlayerMallocZ(uint32_t u32Size);

// A block of u32NewSize bytes that begins with the first u32OldSize bytes of the old one, or null. The old block is
// gone either way, so that a caller may store the result over its pointer.
PELL_API void *PlayerReallocS(void *pvOld, uint32_t u32OldSize, uint32_t u32NewSize);

// Appends one zero-filled program. 0, or non-zero with nothing changed.
PELL_API int32_t PlayerRealloc1MoreProgram(FileInfo *pstInfo);

// Appends u32Num zero-filled streams of the kind (SUB_STREAM_KIND_SUBTITLE). 0, or non-zero with nothing changed.
PELL_API int32_t PlayerReallocNMoreStream(ProgramInfo *pstProgram, uint32_t u32Kind, uint32_t u32Num);

// Releases every program with its streams.
PELL_API void PlayerFreeAllPrograms(FileInfo *pstInfo);

// Removes one occurrence of the opening tag (given without its '>': attributes may follow) and of the closing tag from
// u32Len bytes of text, in place, and stores the new length. 0 when something was removed, else non-zero.
PELL_API int32_t PlayerDelFormat(char *pszText, uint32_t u32Len, uint32_t *pu32NewLen, const char *pszOpenTag,
                                 const char *pszCloseTag);

// Stores a system property, or the default, as a string. The length stored; 0 or less when there is none.
PELL_API int32_t SvrSysGetProperty(const char *pszKey, char *pszValue, uint32_t u32ValueSize, const char *pszDefault);

// A message.
PELL_API void PlayerPrintf(int32_t s32Level, const char *pszFunction, int32_t s32Line, const char *pszFormat, ...)
    __attribute__((format(printf, 4, 5)));

// A failed check, with the value the function returns.
PELL_API void PlayerDbgPrintf(int32_t s32Level, const char *pszFunction, int32_t s32Line, const char *pszMessage,
                              int32_t s32Result);

#ifdef __cplusplus
}
#endif
