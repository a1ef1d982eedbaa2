// Stand-in for the host's utility library: allocation, programs and streams, tag removal, properties and messages,
// each as the library relies on it.
#include "platform/player_utils/player_utils.h"
#include "platform/text/ascii.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

void *PlayerMallocZ(uint32_t u32Size) {
    return calloc(1, u32Size);
}

void *PlayerReallocS(void *pvOld, uint32_t u32OldSize, uint32_t u32NewSize) {
    uint8_t *pu8New = static_cast<uint8_t *>(realloc(pvOld, u32NewSize != 0 ? u32NewSize : 1));
    if (pu8New == nullptr) {
        free(pvOld);
        return nullptr;
    }
    const uint32_t u32Kept = pvOld != nullptr ? u32OldSize : 0;
    if (u32NewSize > u32Kept) {
        memset(pu8New + u32Kept, 0, u32NewSize - u32Kept);
    }
    return pu8New;
}

// The host keeps its counts in words that the library never touches: programs in the first word of the file's record,
// streams in the first word of the program's.
int32_t PlayerRealloc1MoreProgram(FileInfo *pstInfo) {
    if (pstInfo == nullptr) {
        return -1;
    }
    const size_t uCount = pstInfo->u32HostOwned;
    void *pvNew = realloc(pstInfo->pastProgramInfo, (uCount + 1) * sizeof(ProgramInfo));
    if (pvNew == nullptr) {
        return -1;
    }
    pstInfo->pastProgramInfo = static_cast<ProgramInfo *>(pvNew);
    memset(&pstInfo->pastProgramInfo[uCount], 0, sizeof(ProgramInfo));
    pstInfo->u32HostOwned++;
    return 0;
}

int32_t PlayerReallocNMoreStream(ProgramInfo *pstProgram, uint32_t u32Kind, uint32_t u32Num) {
    if (pstProgram == nullptr || u32Kind != SUB_STREAM_KIND_SUBTITLE || u32Num > UINT16_MAX) {
        return -1;
    }
    const size_t uCount = pstProgram->au32HostOwned[0];
    const size_t uTotal = uCount + u32Num;
    if (uTotal == 0) {
        return 0;
    }
    if (uTotal > SIZE_MAX / sizeof(SubStreamInfo)) {
        return -1;
    }
    void *pvNew = realloc(pstProgram->pastSubStream, uTotal * sizeof(SubStreamInfo));
    if (pvNew == nullptr) {
        return -1;
    }
    pstProgram->pastSubStream = static_cast<SubStreamInfo *>(pvNew);
    memset(&pstProgram->pastSubStream[uCount], 0, u32Num * sizeof(SubStreamInfo));
    pstProgram->au32HostOwned[0] += u32Num;
    return 0;
}

void PlayerFreeAllPrograms(FileInfo *pstInfo) {
    if (pstInfo == nullptr) {
        return;
    }
    for (uint32_t i = 0; i < pstInfo->u32HostOwned; i++) {
        free(pstInfo->pastProgramInfo[i].pastSubStream);
    }
    free(pstInfo->pastProgramInfo);
    pstInfo->pastProgramInfo = nullptr;
    pstInfo->u32HostOwned = 0;
}

// The first place at which the tag stands, or null.
static char *FindTag(char *pszText, uint32_t u32Len, const char *pszTag) {
    const size_t uTagLen = strlen(pszTag);
    char *pszEnd = pszText + u32Len;
    char *psz = pszText;
    while (static_cast<size_t>(pszEnd - psz) >= uTagLen) {
        psz = static_cast<char *>(memchr(psz, '<', static_cast<size_t>(pszEnd - psz)));
        if (psz == nullptr || static_cast<size_t>(pszEnd - psz) < uTagLen) {
            return nullptr;
        }
        if (SvrCaseEqual(psz, uTagLen, pszTag, uTagLen)) {
            return psz;
        }
        psz++;
    }
    return nullptr;
}

// The first opening tag that is whole: "<b" is followed by '>' or a blank (it does not begin "<br>"), and closed.
static char *FindOpenTag(char *pszText, uint32_t u32Len, const char *pszTag, char **ppszAfter) {
    char *pszEnd = pszText + u32Len;
    char *psz = FindTag(pszText, u32Len, pszTag);
    while (psz != nullptr) {
        char *pszNext = psz + strlen(pszTag);
        if (pszNext < pszEnd && (*pszNext == '>' || SvrIsSpace(static_cast<uint8_t>(*pszNext)))) {
            char *pszClose = static_cast<char *>(memchr(pszNext, '>', static_cast<size_t>(pszEnd - pszNext)));
            *ppszAfter = pszClose != nullptr ? pszClose + 1 : nullptr;
            return pszClose != nullptr ? psz : nullptr;
        }
        psz = FindTag(pszNext, static_cast<uint32_t>(pszEnd - pszNext), pszTag);
    }
    return nullptr;
}

static uint32_t CutOut(char *pszText, uint32_t u32Len, char *pszFrom, const char *pszAfter) {
    memmove(pszFrom, pszAfter, static_cast<size_t>(pszText + u32Len - pszAfter));
    return u32Len - static_cast<uint32_t>(pszAfter - pszFrom);
}

int32_t PlayerDelFormat(char *pszText, uint32_t u32Len, uint32_t *pu32NewLen, const char *pszOpenTag,
                        const char *pszCloseTag) {
    if (pszText == nullptr || pu32NewLen == nullptr || pszOpenTag == nullptr || pszCloseTag == nullptr) {
        return -1;
    }
    uint32_t u32New = u32Len;
    char *pszAfter = nullptr;
    char *pszTag = FindOpenTag(pszText, u32New, pszOpenTag, &pszAfter);
    if (pszTag != nullptr) {
        u32New = CutOut(pszText, u32New, pszTag, pszAfter);
    }
    pszTag = FindTag(pszText, u32New, pszCloseTag);
    if (pszTag != nullptr) {
        u32New = CutOut(pszText, u32New, pszTag, pszTag + strlen(pszCloseTag));
    }
    *pu32NewLen = u32New;
    return u32New != u32Len ? 0 : -1;
}

// A property is read from the environment: "persist.vendor.x" as PERSIST_VENDOR_X.
static const char *PropertyFromEnvironment(const char *pszKey) {
    char aszName[128];
    size_t i = 0;
    for (; pszKey[i] != '\0' && i + 1 < sizeof(aszName); i++) {
        const char ch = pszKey[i];
        aszName[i] = ch == '.' ? '_' : (ch >= 'a' && ch <= 'z' ? static_cast<char>(ch - 'a' + 'A') : ch);
    }
    aszName[i] = '\0';
    return pszKey[i] == '\0' ? getenv(aszName) : nullptr;
}

int32_t SvrSysGetProperty(const char *pszKey, char *pszValue, uint32_t u32ValueSize, const char *pszDefault) {
    if (pszKey == nullptr || pszValue == nullptr || u32ValueSize == 0) {
        return -1;
    }
    const char *pszFound = PropertyFromEnvironment(pszKey);
    pszFound = pszFound != nullptr ? pszFound : (pszDefault != nullptr ? pszDefault : "");
    const size_t uLen = strnlen(pszFound, u32ValueSize - 1);
    memcpy(pszValue, pszFound, uLen);
    pszValue[uLen] = '\0';
    return static_cast<int32_t>(uLen);
}

// The level is asked for once: there are messages for every line of a file.
static bool LogWanted(int32_t s32Level) {
    constexpr int32_t s32Unknown = -1;
    static int32_t s_s32Wanted = s32Unknown;
    int32_t s32Wanted = __atomic_load_n(&s_s32Wanted, __ATOMIC_RELAXED);
    if (s32Wanted == s32Unknown) {
        const char *pszLevel = getenv("PELL_LOG_LEVEL");
        const long lLevel = pszLevel != nullptr ? strtol(pszLevel, nullptr, 10) : 0;
        s32Wanted = lLevel < 0 || lLevel > PLAYER_LOG_VERBOSE ? PLAYER_LOG_VERBOSE : static_cast<int32_t>(lLevel);
        __atomic_store_n(&s_s32Wanted, s32Wanted, __ATOMIC_RELAXED);
    }
    return s32Wanted >= s32Level;
}

// One message, one line: whatever breaks lines inside it becomes a blank.
static void LogLine(int32_t s32Level, const char *pszFunction, int32_t s32Line, char *pszText) {
    size_t uLen = strlen(pszText);
    while (uLen > 0 && pszText[uLen - 1] == '\n') {
        pszText[--uLen] = '\0';
    }
    for (char *psz = pszText; *psz != '\0'; psz++) {
        *psz = static_cast<uint8_t>(*psz) < ' ' || *psz == 0x7F ? ' ' : *psz;
    }
    fprintf(stderr, "%d %s %d %s\n", s32Level, pszFunction != nullptr ? pszFunction : "?", s32Line, pszText);
}

void PlayerPrintf(int32_t s32Level, const char *pszFunction, int32_t s32Line, const char *pszFormat, ...) {
    if (!LogWanted(s32Level) || pszFormat == nullptr) {
        return;
    }
    char aszText[1024];
    va_list args;
    va_start(args, pszFormat);
    if (vsnprintf(aszText, sizeof(aszText), pszFormat, args) >= 0) {
        LogLine(s32Level, pszFunction, s32Line, aszText);
    }
    va_end(args);
}

void PlayerDbgPrintf(int32_t s32Level, const char *pszFunction, int32_t s32Line, const char *pszMessage,
                     int32_t s32Result) {
    if (!LogWanted(s32Level) || pszMessage == nullptr) {
        return;
    }
    char aszText[1024];
    if (snprintf(aszText, sizeof(aszText), "%s (%d)", pszMessage, s32Result) >= 0) {
        LogLine(s32Level, pszFunction, s32Line, aszText);
    }
}
