// The file protocol: a local file, or a descriptor named in the URL, read whole or over a byte range through a 1 MiB
// cache.
//
// URL grammar:  path [ "::offset=" decimal "::length=" decimal [ "::fd=" decimal ] ]
#include "protocol/file_protocol.h"
#include "platform/check.h"
#include "platform/text/ascii.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#ifndef O_LARGEFILE
#define O_LARGEFILE 0
#endif

constexpr size_t SVR_FILE_PATH_SIZE = 4096;
constexpr size_t SVR_FILE_NAME_SIZE = 4095;
constexpr size_t SVR_FILE_SCHEME_SIZE = 32;

// The scheme of a URL, or "file" for what is not a scheme: a path, a drive letter, a bare word.
static void SvrFileScheme(const char *pszUrl, char *pszScheme) {
    size_t uLen = 0;
    const char *psz = pszUrl;
    for (; *psz != '\0' && *psz != ':'; psz++) {
        if (!SvrIsAlpha(static_cast<uint8_t>(*psz))) {
            break;
        }
        if (uLen < SVR_FILE_SCHEME_SIZE - 1) {
            pszScheme[uLen++] = *psz;
        }
    }
    pszScheme[uLen] = '\0';
    if (*psz != ':' || pszUrl[0] == '/' || pszUrl[1] == ':') {
        SVR_BOUNDED(__func__, strncpy_s(pszScheme, SVR_FILE_SCHEME_SIZE, "file", 5), "strncpy_s");
    }
}

static int32_t SvrFileFind(const char *pszUrl) {
    SVR_RETURN_UNLESS(pszUrl != nullptr, __func__, "input url is null");
    char aszScheme[SVR_FILE_SCHEME_SIZE];
    SvrFileScheme(pszUrl, aszScheme);
    switch (SvrListMatch(g_fileProtocol.pszProtocolList, aszScheme)) {
    case LIST_MATCH_INNER:
        SVR_LOG_RESULT(__func__, "find url", 0);
        return 0;
    case LIST_MATCH_LAST:
        PlayerPrintf(PLAYER_LOG_INFO, __func__, __LINE__, "use pellplayer file protocol!");
        return 0;
    case LIST_MATCH_NONE:
        break;
    }
    SVR_LOG_RESULT(__func__, "not file protocol", -1);
    return -1;
}

static bool SvrFileHasRange(const SvrFileHandle *pstFile) {
    return pstFile->s64FileLength >= 1;
}

// Open holds the end of a range inside the file, so the sum cannot overflow.
static int64_t SvrFileRangeEnd(const SvrFileHandle *pstFile) {
    return pstFile->s64FileOffset + pstFile->s64FileLength;
}

static int32_t SvrFileAvail(const SvrFileHandle *pstFile) {
    return static_cast<int32_t>(pstFile->pu8End - pstFile->pu8Cur);
}

// How many of s32Want bytes at the descriptor position s64Pos belong to the range.
static int32_t SvrFileWithinRange(const SvrFileHandle *pstFile, int64_t s64Pos, int32_t s32Want) {
    if (!SvrFileHasRange(pstFile)) {
        return s32Want;
    }
    const int64_t s64Left = SvrFileRangeEnd(pstFile) - s64Pos;
    return s64Left >= s32Want ? s32Want : (s64Left > 0 ? static_cast<int32_t>(s64Left) : 0);
}

// Reads until the count or the end of the file is reached. An error counts as the end; *pbFailed tells it from one.
static int32_t SvrFileReadFd(int32_t s32Fd, uint8_t *pu8Buf, int32_t s32Size, bool *pbFailed) {
    int32_t s32Got = 0;
    *pbFailed = false;
    while (s32Got < s32Size) {
        const ssize_t n = read(s32Fd, pu8Buf + s32Got, static_cast<size_t>(s32Size - s32Got));
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            *pbFailed = n < 0;
            break;
        }
        s32Got += static_cast<int32_t>(n);
    }
    return s32Got;
}

// Fills the cache from the descriptor with at most s32Want bytes, the first of which is that of s64CurPos. In a file
// that does not change, a fill from an earlier position would end at the same place when this one has seen the end; so
// a seek back may stay in the cache. A cache that begins before its range allows none, as that could leave the range;
// nor does one that an error cut short, as the seek is the chance to read on.
static int32_t SvrFileFill(SvrFileHandle *pstFile, int32_t s32Want) {
    bool bFailed = false;
    const int32_t s32Got = SvrFileReadFd(pstFile->s32Fd, pstFile->au8Cache, s32Want, &bFailed);
    pstFile->pu8Cur = pstFile->au8Cache;
    pstFile->pu8End = pstFile->au8Cache + s32Got;
    pstFile->bEof = s32Got < SVR_FILE_CACHE_SIZE ? 1 : 0;
    const bool bWhole = pstFile->bEof != 0 && !bFailed;
    pstFile->bMayStepBack = bWhole && pstFile->bSeeksAgree != 0 && pstFile->s64CurPos >= 0 ? 1 : 0;
    return s32Got;
}

// Takes the URL apart: path into pszPath, range and a duplicate of the descriptor into the handle.
static int32_t SvrFileOpenGetFileInfo(SvrFileHandle *pstFile, const char *pszUrl, char *pszPath) {
    static const char s_aszOffset[] = "::offset=";
    static const char s_aszLength[] = "::length=";
    static const char s_aszFd[] = "::fd=";
    const char *pszOffset = strstr(pszUrl, s_aszOffset);
    if (pszOffset == nullptr) {
        SVR_BOUNDED(__func__, strncpy_s(pszPath, SVR_FILE_PATH_SIZE, pszUrl, strlen(pszUrl)), "strncpy_s");
        return 0;
    }
    const size_t uPathLen = static_cast<size_t>(pszOffset - pszUrl);
    const char *pszLength = strstr(pszOffset, s_aszLength);
    SVR_RETURN_UNLESS(pszLength != nullptr && uPathLen < SVR_FILE_PATH_SIZE, __func__, "file param offset is too long");

    pstFile->s64FileOffset = strtoll(pszOffset + sizeof(s_aszOffset) - 1, nullptr, 10);
    pstFile->s64FileLength = strtoll(pszLength + sizeof(s_aszLength) - 1, nullptr, 10);
    const char *pszFd = strstr(pszLength, s_aszFd);
    const long lFd = pszFd != nullptr ? strtol(pszFd + sizeof(s_aszFd) - 1, nullptr, 10) : 0;
    if (lFd >= 1 && lFd <= INT32_MAX) {
        // At least 1: 0 would read as "no descriptor" below and leak.
        pstFile->s32Fd = fcntl(static_cast<int>(lFd), F_DUPFD_CLOEXEC, 1);
    }
    SVR_BOUNDED(__func__, strncpy_s(pszPath, SVR_FILE_PATH_SIZE, pszUrl, uPathLen), "strncpy_s");
    return 0;
}

static int32_t SvrFileOpenUrl(SvrFileHandle *pstFile, const char *pszPath, int32_t s32Flags) {
    const bool bFromStart = pstFile->s32Fd == -1 && pstFile->s64FileOffset == 0;
    pstFile->bSeeksAgree = bFromStart || SvrFileHasRange(pstFile) ? 1 : 0;
    if (pstFile->s32Fd >= 1) {
        PlayerPrintf(PLAYER_LOG_INFO, __func__, __LINE__, "file is already open, fd=%d", pstFile->s32Fd);
        return 0;
    }
    char aszName[SVR_FILE_NAME_SIZE];
    SVR_BOUNDED(__func__, strncpy_s(aszName, sizeof(aszName), pszPath, strlen(pszPath)), "strncpy_s");
    // Creating for writing is not offered: a new file is empty, and an empty one cannot be opened.
    if (s32Flags != 1) {
        pstFile->s32Fd = open(aszName, O_RDONLY | O_LARGEFILE | O_CLOEXEC);
    }
    SVR_RETURN_UNLESS(pstFile->s32Fd >= 0, __func__, "file open fail");
    return 0;
}

// Holds the range inside the file and moves the descriptor to its start.
static int32_t SvrFileOpenChk(SvrFileHandle *pstFile) {
    if (!SvrFileHasRange(pstFile)) {
        return 0;
    }
    const int64_t s64Size = lseek64(pstFile->s32Fd, 0, SEEK_END);
    int64_t s64RangeEnd = 0;
    if (__builtin_add_overflow(pstFile->s64FileLength, pstFile->s64FileOffset, &s64RangeEnd) || s64Size < s64RangeEnd) {
        PlayerPrintf(PLAYER_LOG_WARNING, __func__, __LINE__,
                     "file length input is error,input file length is %lld, offset is %lld, actual file length is %lld",
                     static_cast<long long>(pstFile->s64FileLength), static_cast<long long>(pstFile->s64FileOffset),
                     static_cast<long long>(s64Size));
        // A range end above the size leaves this difference in range, unless the offset is hopeless.
        if (__builtin_sub_overflow(s64Size, pstFile->s64FileOffset, &pstFile->s64FileLength)) {
            pstFile->s64FileLength = -1;
        }
        PlayerPrintf(PLAYER_LOG_WARNING, __func__, __LINE__, "correct the file length to %lld",
                     static_cast<long long>(pstFile->s64FileLength));
    }
    if (pstFile->s64FileLength < 0 || s64Size < 0) {
        PlayerPrintf(PLAYER_LOG_ERROR, __func__, __LINE__,
                     "file length is error,input file len is %lld, actual file len is %lld",
                     static_cast<long long>(pstFile->s64FileLength), static_cast<long long>(s64Size));
        return -1;
    }
    if (lseek64(pstFile->s32Fd, pstFile->s64FileOffset, SEEK_SET) < 0) {
        PlayerPrintf(PLAYER_LOG_ERROR, __func__, __LINE__, "Seek fail:s64FileOffset = %lld",
                     static_cast<long long>(pstFile->s64FileOffset));
        return -1;
    }
    return 0;
}

static int32_t SvrFileOpenPreRead(SvrFileHandle *pstFile) {
    const bool bShort = SvrFileHasRange(pstFile) && pstFile->s64FileLength < SVR_FILE_CACHE_SIZE;
    const int32_t s32Got =
        SvrFileFill(pstFile, bShort ? static_cast<int32_t>(pstFile->s64FileLength) : SVR_FILE_CACHE_SIZE);
    SVR_RETURN_UNLESS(s32Got >= 1, __func__, "read file fail");
    return 0;
}

// Closes the descriptor and frees the handle, cleared but for the megabyte of bytes that the file has anyway.
static void SvrFileRelease(SvrFileHandle *pstFile, const char *pszFunc) {
    if (pstFile->s32Fd >= 0) {
        close(pstFile->s32Fd);
    }
    const size_t uTail = sizeof(*pstFile) - offsetof(SvrFileHandle, pu8Cur);
    SVR_BOUNDED(pszFunc, memset_s(&pstFile->pu8Cur, uTail, 0, uTail), "memset_s");
    free(pstFile);
}

static int32_t SvrFileOpen(const char *pszUrl, int32_t s32Flags, void **phUrl) {
    SVR_RETURN_UNLESS(pszUrl != nullptr && phUrl != nullptr, __func__, "invalid param");
    SvrFileHandle *pstFile = static_cast<SvrFileHandle *>(PlayerMallocZ(sizeof(SvrFileHandle)));
    SVR_RETURN_UNLESS(pstFile != nullptr, __func__, "SVR_FILE_Open malloc handle fail");

    pstFile->s32Fd = -1;
    char aszPath[SVR_FILE_PATH_SIZE];
    if (SvrFileOpenGetFileInfo(pstFile, pszUrl, aszPath) != 0 || SvrFileOpenUrl(pstFile, aszPath, s32Flags) != 0 ||
        SvrFileOpenChk(pstFile) != 0 || SvrFileOpenPreRead(pstFile) != 0) {
        SvrFileRelease(pstFile, __func__);
        return -1;
    }
    *phUrl = pstFile;
    return 0;
}

static bool SvrFileIsUsable(const SvrFileHandle *pstFile) {
    return pstFile != nullptr && pstFile->pu8Cur != nullptr && pstFile->pu8End != nullptr && pstFile->s32Fd != -1;
}

// Says why a handle is not usable. -1.
static int32_t SvrFileRefuse(const SvrFileHandle *pstFile, const char *pszFunc) {
    const bool bClosed = pstFile != nullptr && pstFile->pu8Cur != nullptr && pstFile->pu8End != nullptr;
    SVR_LOG_RESULT(pszFunc, bClosed ? "file not open" : "invalid param", -1);
    return -1;
}

static int32_t SvrFileReadGetCurPos(const SvrFileHandle *pstFile, int64_t *ps64Pos) {
    const int64_t s64Pos = lseek64(pstFile->s32Fd, 0, SEEK_CUR);
    if (SvrFileHasRange(pstFile) && (s64Pos < pstFile->s64FileOffset || s64Pos > SvrFileRangeEnd(pstFile))) {
        PlayerPrintf(PLAYER_LOG_ERROR, __func__, __LINE__, "invalid current position: offset=%lld",
                     static_cast<long long>(s64Pos));
        return -1;
    }
    *ps64Pos = s64Pos;
    return 0;
}

static int32_t SvrFileReadFromCache(SvrFileHandle *pstFile, uint8_t *pu8Buf, int32_t s32Size) {
    memcpy(pu8Buf, pstFile->pu8Cur, static_cast<size_t>(s32Size));
    pstFile->pu8Cur += s32Size;
    pstFile->s64CurPos += s32Size;
    return s32Size;
}

static int32_t SvrFileReadWhenEof(SvrFileHandle *pstFile, uint8_t *pu8Buf) {
    const int32_t s32Avail = SvrFileAvail(pstFile);
    return s32Avail == 0 ? -1 : SvrFileReadFromCache(pstFile, pu8Buf, s32Avail);
}

// Drains the cache, reads the rest straight into the buffer, and fills the cache again behind it.
static int32_t SvrFileReadFromFile(SvrFileHandle *pstFile, uint8_t *pu8Buf, int32_t s32Size) {
    // First of all: a read that fails leaves position and cache as they are.
    int64_t s64Pos = 0;
    if (SvrFileReadGetCurPos(pstFile, &s64Pos) != 0) {
        return -1;
    }
    const int32_t s32Avail = SvrFileReadFromCache(pstFile, pu8Buf, SvrFileAvail(pstFile));
    const int32_t s32Want = s32Size - s32Avail;
    const int32_t s32There = SvrFileWithinRange(pstFile, s64Pos, s32Want);
    bool bFailed = false;
    const int32_t s32Got = SvrFileReadFd(pstFile->s32Fd, pu8Buf + s32Avail, s32There, &bFailed);
    pstFile->s64CurPos += s32Got;
    pstFile->pu8Cur = pstFile->pu8End = pstFile->au8Cache;
    if (s32Got < s32Want) {
        pstFile->bEof = 1;
        return s32Avail + s32Got;
    }
    if (SvrFileReadGetCurPos(pstFile, &s64Pos) == 0) {
        SvrFileFill(pstFile, SvrFileWithinRange(pstFile, s64Pos, SVR_FILE_CACHE_SIZE));
    }
    return s32Avail + s32Got;
}

static int32_t SvrFileRead(void *hUrl, uint8_t *pu8Buf, int32_t s32Size) {
    SVR_RETURN_UNLESS(pu8Buf != nullptr && s32Size >= 0, __func__, "invalid param");
    SvrFileHandle *pstFile = static_cast<SvrFileHandle *>(hUrl);
    if (!SvrFileIsUsable(pstFile)) {
        return SvrFileRefuse(pstFile, __func__);
    }
    if (SvrFileAvail(pstFile) >= s32Size) {
        return SvrFileReadFromCache(pstFile, pu8Buf, s32Size);
    }
    return pstFile->bEof == 1 ? SvrFileReadWhenEof(pstFile, pu8Buf) : SvrFileReadFromFile(pstFile, pu8Buf, s32Size);
}

// Fills the cache at a new descriptor position; returns the logical position.
static int64_t SvrFileSeekRefill(SvrFileHandle *pstFile, int64_t s64FdPos) {
    pstFile->s64CurPos = SvrFileHasRange(pstFile) ? s64FdPos - pstFile->s64FileOffset : s64FdPos;
    pstFile->bSeeksAgree = SvrFileHasRange(pstFile) || pstFile->s64FileOffset == 0 ? 1 : 0;
    SvrFileFill(pstFile, SvrFileWithinRange(pstFile, s64FdPos, SVR_FILE_CACHE_SIZE));
    return pstFile->s64CurPos;
}

// Whether a step from the read position, back or forth, ends on a cached byte or just behind the last.
static bool SvrFileInCache(const SvrFileHandle *pstFile, int64_t s64Step) {
    return s64Step >= pstFile->au8Cache - pstFile->pu8Cur && s64Step <= SvrFileAvail(pstFile);
}

static int64_t SvrFileSeekInCache(SvrFileHandle *pstFile, int64_t s64Step) {
    pstFile->pu8Cur += s64Step;
    pstFile->s64CurPos += s64Step;
    return pstFile->s64CurPos;
}

static int64_t SvrFileSeekSet(SvrFileHandle *pstFile, int64_t s64Target) {
    SVR_RETURN_UNLESS(s64Target >= 0, __func__, "seek fail");
    int64_t s64Step = 0;
    if (!__builtin_sub_overflow(s64Target, pstFile->s64CurPos, &s64Step) && SvrFileInCache(pstFile, s64Step) &&
        (s64Step >= 0 || pstFile->bMayStepBack != 0)) {
        return SvrFileSeekInCache(pstFile, s64Step);
    }
    int64_t s64FdPos = -1;
    if (!__builtin_add_overflow(pstFile->s64FileOffset, s64Target, &s64FdPos)) {
        s64FdPos = lseek64(pstFile->s32Fd, s64FdPos, SEEK_SET);
    }
    SVR_RETURN_UNLESS(s64FdPos >= 0, __func__, "lseek fail");
    return SvrFileSeekRefill(pstFile, s64FdPos);
}

static int64_t SvrFileSeekCur(SvrFileHandle *pstFile, int64_t s64Step) {
    const int32_t s32Avail = SvrFileAvail(pstFile);
    if (SvrFileInCache(pstFile, s64Step)) {
        return SvrFileSeekInCache(pstFile, s64Step);
    }
    // The descriptor stands at the end of the cache, s32Avail bytes ahead of the read position.
    const int64_t s64FdNow = lseek64(pstFile->s32Fd, 0, SEEK_CUR);
    int64_t s64FdStep = 0;
    int64_t s64FdPos = -1;
    const bool bOverflow = __builtin_sub_overflow(s64Step, static_cast<int64_t>(s32Avail), &s64FdStep) ||
                           __builtin_add_overflow(s64FdNow, s64FdStep, &s64FdPos);
    const bool bOutside = SvrFileHasRange(pstFile) &&
                          (s64FdPos < pstFile->s64FileOffset || s64FdPos > SvrFileRangeEnd(pstFile) || s64FdNow < 0);
    SVR_RETURN_UNLESS(!bOverflow && !bOutside, __func__, "lseek fail");
    s64FdPos = lseek64(pstFile->s32Fd, s64FdStep, SEEK_CUR);
    SVR_RETURN_UNLESS(s64FdPos >= 0, __func__, "lseek fail");
    return SvrFileSeekRefill(pstFile, s64FdPos);
}

static int64_t SvrFileSeekEnd(SvrFileHandle *pstFile, int64_t s64Step) {
    int64_t s64FdPos = -1;
    if (!SvrFileHasRange(pstFile)) {
        s64FdPos = lseek64(pstFile->s32Fd, s64Step, SEEK_END);
    } else if (!__builtin_add_overflow(SvrFileRangeEnd(pstFile), s64Step, &s64FdPos)) {
        s64FdPos = lseek64(pstFile->s32Fd, s64FdPos, SEEK_SET);
    }
    SVR_RETURN_UNLESS(s64FdPos >= 0, __func__, "lseek fail");
    return SvrFileSeekRefill(pstFile, s64FdPos);
}

static int64_t SvrFileSeek(void *hUrl, int64_t s64Offset, int32_t s32Whence) {
    SvrFileHandle *pstFile = static_cast<SvrFileHandle *>(hUrl);
    if (!SvrFileIsUsable(pstFile)) {
        return SvrFileRefuse(pstFile, __func__);
    }
    switch (s32Whence) {
    case SEEK_SET:
        return SvrFileSeekSet(pstFile, s64Offset);
    case SEEK_CUR:
        return SvrFileSeekCur(pstFile, s64Offset);
    case SEEK_END:
        return SvrFileSeekEnd(pstFile, s64Offset);
    default:
        return -1;
    }
}

static int32_t SvrFileClose(void *hUrl) {
    SvrFileHandle *pstFile = static_cast<SvrFileHandle *>(hUrl);
    SVR_RETURN_UNLESS(pstFile != nullptr, __func__, "invalid param");
    SVR_RETURN_UNLESS(pstFile->s32Fd != -1, __func__, "file not open");
    SvrFileRelease(pstFile, __func__);
    return 0;
}

static int32_t SvrFileReadSeek(void *, int32_t, int64_t) {
    return -1;
}

constinit FormatEntry g_fileProtocol = {
    .pszLibName = "libpell_demuxer.so",
    .pszExtList = "",
    .pszProtocolList = "file",
    .u32Version = 0x01000001,
    .pszDescription = "pellplayer demuxer",
    .url_find = SvrFileFind,
    .url_open = SvrFileOpen,
    .url_read = SvrFileRead,
    .url_seek = SvrFileSeek,
    .url_close = SvrFileClose,
    .url_read_seek = SvrFileReadSeek,
};

bool SvrFileServes(const FormatEntry *pstEntry) {
    return pstEntry == &g_fileProtocol && pstEntry->url_open == SvrFileOpen && pstEntry->url_read == SvrFileRead &&
           pstEntry->url_seek == SvrFileSeek;
}
