// The descriptors are this file's own: open, read and the like are linked with --wrap, so that no run reaches a file,
// and faults come when the script says. What the library did not open goes on to the system.
#include "fuzz/host.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <strings.h>
#include <unistd.h>

FuzzHost g_fuzzHost;

// Holds every index that has something to tell. What would need more is a host without memory.
constexpr uint32_t FUZZ_BLOCK_MAX = SVR_SUB_STR_IN_MAX_LEN * 1024;

constexpr int FUZZ_FD_BASE = 100000;
constexpr int FUZZ_FD_NUM = 24;

// Descriptors that were duplicated share one position.
struct FuzzOpenFile {
    FuzzFile enFile;
    int64_t s64Pos;
};

struct FuzzFd {
    FuzzOpenFile *pstOpen; // null: closed
    bool bHosts;
};

static FuzzOpenFile s_astOpen[FUZZ_FD_NUM];
static FuzzFd s_astFd[FUZZ_FD_NUM];

void FuzzHostBegin() {
    g_fuzzHost = {};
    g_fuzzHost.pszLink = "/film.sub";
    memset(s_astFd, 0, sizeof(s_astFd));
    HostReset();
    g_host.bQuiet = true;
    g_host.u32Most = FUZZ_BLOCK_MAX;
    g_fuzzHost.bActive = true;
}

void FuzzHostEnd() {
    g_fuzzHost.bActive = false;
    FUZZ_CHECK(HostNothingLeft());
    FUZZ_CHECK(g_fuzzHost.s32Live == 0);
    for (const FuzzFd &stFd : s_astFd) {
        FUZZ_CHECK(stFd.pstOpen == nullptr || stFd.bHosts);
    }
}

// Counts a call of the library's, at one of which a stop is asked for.
static void FuzzCall() {
    if (++g_fuzzHost.u32Calls == g_fuzzHost.stFaults.u32StopAt && g_fuzzHost.pfnStop != nullptr) {
        g_fuzzHost.pfnStop();
    }
}

static bool FuzzFails(uint32_t u32Count, uint32_t u32At) {
    return u32Count == u32At || (u32At > 0 && u32Count > u32At && g_fuzzHost.stFaults.bKeepFailing);
}

static bool FuzzOpenFails() {
    FuzzCall();
    return FuzzFails(++g_fuzzHost.u32Opens, g_fuzzHost.stFaults.u32FailOpenAt);
}

static bool FuzzReadFails() {
    FuzzCall();
    return FuzzFails(++g_fuzzHost.u32Reads, g_fuzzHost.stFaults.u32FailReadAt);
}

static bool FuzzSeekFails() {
    FuzzCall();
    return FuzzFails(++g_fuzzHost.u32Seeks, g_fuzzHost.stFaults.u32FailSeekAt);
}

// What is read of so many bytes at a position.
static int64_t FuzzReadAt(FuzzFile enFile, int64_t s64Pos, uint8_t *pu8Buf, int64_t s64Size) {
    const FuzzBytes stBytes = g_fuzzHost.astFile[enFile];
    int64_t s64Count = std::clamp<int64_t>(static_cast<int64_t>(stBytes.uLen) - s64Pos, 0, s64Size);
    s64Count = g_fuzzHost.u32Reads == g_fuzzHost.stFaults.u32ShortReadAt ? s64Count / 2 : s64Count;
    if (s64Count > 0) {
        memcpy(pu8Buf, stBytes.pu8 + s64Pos, static_cast<size_t>(s64Count));
    }
    return s64Count;
}

static int64_t FuzzSeekTo(FuzzFile enFile, int64_t s64Pos, int64_t s64Offset, int32_t s32Whence) {
    const int64_t s64Size = static_cast<int64_t>(g_fuzzHost.astFile[enFile].uLen);
    const int64_t s64From = s32Whence == SEEK_SET ? 0 : (s32Whence == SEEK_CUR ? s64Pos : s64Size);
    int64_t s64To = 0;
    return __builtin_add_overflow(s64From, s64Offset, &s64To) || s64To < 0 ? -1 : s64To;
}

static FuzzFile FuzzFileOf(const char *pszName) {
    const char *pszDot = strrchr(pszName, '.');
    const bool bPackets = pszDot != nullptr && g_fuzzHost.astFile[FUZZ_FILE_PACKETS].pu8 != nullptr &&
                          strncasecmp(pszDot, ".sub", 4) == 0;
    return bPackets ? FUZZ_FILE_PACKETS : FUZZ_FILE_MAIN;
}

static int FuzzNewFd(FuzzOpenFile *pstOpen, bool bHosts) {
    for (int i = 0; i < FUZZ_FD_NUM; i++) {
        if (s_astFd[i].pstOpen == nullptr) {
            s_astOpen[i] = pstOpen != nullptr ? *pstOpen : FuzzOpenFile{};
            s_astFd[i] = {pstOpen != nullptr ? pstOpen : &s_astOpen[i], bHosts};
            return FUZZ_FD_BASE + i;
        }
    }
    errno = EMFILE;
    return -1;
}

static FuzzFd *FuzzFdOf(int s32Fd) {
    const bool bOurs = s32Fd >= FUZZ_FD_BASE && s32Fd < FUZZ_FD_BASE + FUZZ_FD_NUM;
    return bOurs && s_astFd[s32Fd - FUZZ_FD_BASE].pstOpen != nullptr ? &s_astFd[s32Fd - FUZZ_FD_BASE] : nullptr;
}

int32_t FuzzHostFd(FuzzFile enFile) {
    const int s32Fd = FuzzNewFd(nullptr, true);
    FUZZ_CHECK(s32Fd >= 0);
    s_astOpen[s32Fd - FUZZ_FD_BASE].enFile = enFile;
    return s32Fd;
}

extern "C" {
int __real_open(const char *pszPath, int s32Flags, ...);
int __real_close(int s32Fd);
int __real_fcntl(int s32Fd, int s32Command, ...);
ssize_t __real_read(int s32Fd, void *pvBuf, size_t uSize);
off64_t __real_lseek64(int s32Fd, off64_t s64Offset, int s32Whence);
ssize_t __real_readlink(const char *pszPath, char *pszBuf, size_t uSize);

int __wrap_open(const char *pszPath, int s32Flags, ...) {
    va_list args;
    va_start(args, s32Flags);
    const int s32Mode = (s32Flags & O_CREAT) != 0 ? va_arg(args, int) : 0;
    va_end(args);
    if (!g_fuzzHost.bActive) {
        return __real_open(pszPath, s32Flags, s32Mode);
    }
    // Absolute names and bare ones are there, others are not.
    if (FuzzOpenFails() || (pszPath[0] != '/' && strchr(pszPath, '/') != nullptr)) {
        errno = ENOENT;
        return -1;
    }
    const int s32Fd = FuzzNewFd(nullptr, false);
    if (s32Fd >= 0) {
        s_astOpen[s32Fd - FUZZ_FD_BASE].enFile = FuzzFileOf(pszPath);
    }
    return s32Fd;
}

int __wrap_fcntl(int s32Fd, int s32Command, ...) {
    va_list args;
    va_start(args, s32Command);
    const int s32Arg = va_arg(args, int);
    va_end(args);
    if (!g_fuzzHost.bActive) {
        return __real_fcntl(s32Fd, s32Command, s32Arg);
    }
    const FuzzFd *pstFd = FuzzFdOf(s32Fd);
    FUZZ_CHECK(s32Command == F_DUPFD_CLOEXEC);
    if (pstFd == nullptr || !pstFd->bHosts || FuzzOpenFails()) {
        errno = EBADF;
        return -1;
    }
    return FuzzNewFd(pstFd->pstOpen, false);
}

int __wrap_close(int s32Fd) {
    if (s32Fd < FUZZ_FD_BASE) {
        return __real_close(s32Fd);
    }
    FuzzFd *pstFd = FuzzFdOf(s32Fd);
    FUZZ_CHECK(pstFd != nullptr && !pstFd->bHosts);
    FuzzCall();
    pstFd->pstOpen = nullptr;
    return 0;
}

ssize_t __wrap_read(int s32Fd, void *pvBuf, size_t uSize) {
    const FuzzFd *pstFd = FuzzFdOf(s32Fd);
    if (pstFd == nullptr) {
        return __real_read(s32Fd, pvBuf, uSize);
    }
    if (g_fuzzHost.stFaults.bInterrupted && (g_fuzzHost.u32Reads & 1) == 0) {
        g_fuzzHost.u32Reads++;
        errno = EINTR;
        return -1;
    }
    if (FuzzReadFails()) {
        errno = EIO;
        return -1;
    }
    FuzzOpenFile *pstOpen = pstFd->pstOpen;
    const int64_t s64Count =
        FuzzReadAt(pstOpen->enFile, pstOpen->s64Pos, static_cast<uint8_t *>(pvBuf), static_cast<int64_t>(uSize));
    pstOpen->s64Pos += s64Count;
    return static_cast<ssize_t>(s64Count);
}

off64_t __wrap_lseek64(int s32Fd, off64_t s64Offset, int s32Whence) {
    const FuzzFd *pstFd = FuzzFdOf(s32Fd);
    if (pstFd == nullptr && !g_fuzzHost.bActive) {
        return __real_lseek64(s32Fd, s64Offset, s32Whence);
    }
    const int64_t s64To = pstFd == nullptr || FuzzSeekFails()
                              ? -1
                              : FuzzSeekTo(pstFd->pstOpen->enFile, pstFd->pstOpen->s64Pos, s64Offset, s32Whence);
    if (s64To < 0) {
        errno = EINVAL;
        return -1;
    }
    pstFd->pstOpen->s64Pos = s64To;
    return s64To;
}

ssize_t __wrap_readlink(const char *pszPath, char *pszBuf, size_t uSize) {
    if (!g_fuzzHost.bActive) {
        return __real_readlink(pszPath, pszBuf, uSize);
    }
    if (FuzzOpenFails()) {
        errno = ENOENT;
        return -1;
    }
    const size_t uLen = std::min(strlen(g_fuzzHost.pszLink), uSize);
    memcpy(pszBuf, g_fuzzHost.pszLink, uLen);
    return static_cast<ssize_t>(uLen);
}
}

static int32_t FuzzMemoryFind(const char *) {
    return 0;
}

static int32_t FuzzMemoryOpen(const char *pszUrl, int32_t, void **phUrl) {
    if (FuzzOpenFails()) {
        return -1;
    }
    *phUrl = new FuzzOpenFile{FuzzFileOf(pszUrl), 0};
    g_fuzzHost.s32Live++;
    return 0;
}

static int32_t FuzzMemoryRead(void *hUrl, uint8_t *pu8Buf, int32_t s32Size) {
    FuzzOpenFile *pstOpen = static_cast<FuzzOpenFile *>(hUrl);
    FUZZ_CHECK(s32Size >= 0);
    if (FuzzReadFails()) {
        return -1;
    }
    const int32_t s32Count = static_cast<int32_t>(FuzzReadAt(pstOpen->enFile, pstOpen->s64Pos, pu8Buf, s32Size));
    pstOpen->s64Pos += s32Count;
    if (s32Count == 0) {
        return g_fuzzHost.stFaults.bEndIsZero ? 0 : -1;
    }
    return s32Count == s32Size && s32Size > 1 && g_fuzzHost.stFaults.bClaimsMore ? s32Count + 3 : s32Count;
}

static int64_t FuzzMemorySeek(void *hUrl, int64_t s64Offset, int32_t s32Whence) {
    FuzzOpenFile *pstOpen = static_cast<FuzzOpenFile *>(hUrl);
    if (FuzzSeekFails()) {
        return -1;
    }
    const int64_t s64Base = g_fuzzHost.stFaults.s64PosBase;
    s64Offset -= s32Whence == SEEK_SET && s64Offset >= s64Base ? s64Base : 0;
    const int64_t s64To = FuzzSeekTo(pstOpen->enFile, pstOpen->s64Pos, s64Offset, s32Whence);
    int64_t s64Told = 0;
    if (s64To < 0 || __builtin_add_overflow(s64To, s64Base, &s64Told)) {
        return -1;
    }
    pstOpen->s64Pos = s64To;
    return s64Told;
}

static int32_t FuzzMemoryClose(void *hUrl) {
    FuzzCall();
    delete static_cast<FuzzOpenFile *>(hUrl);
    g_fuzzHost.s32Live--;
    return 0;
}

static int32_t FuzzMemoryReadSeek(void *, int32_t, int64_t) {
    return -1;
}

Protocol *FuzzMemoryProtocol() {
    static Protocol s_stProtocol = {FuzzMemoryFind, FuzzMemoryOpen,  FuzzMemoryRead,
                                    FuzzMemorySeek, FuzzMemoryClose, FuzzMemoryReadSeek};
    return &s_stProtocol;
}

static int32_t FuzzCreate(void **phCharset, int32_t) {
    FuzzCall();
    if (g_fuzzHost.stConverter.enConvert == FUZZ_CONVERT_CREATE_FAILS) {
        return -1;
    }
    *phCharset = new uint8_t;
    g_fuzzHost.s32Live++;
    return 0;
}

static void FuzzDestroy(void *hCharset) {
    FuzzCall();
    delete static_cast<uint8_t *>(hCharset);
    g_fuzzHost.s32Live--;
}

// Whether all of a text can be read.
static void FuzzTouch(const uint8_t *pu8Text, int32_t s32Len) {
    static uint8_t s_au8Copy[4096];
    for (int32_t i = 0; i < s32Len; i += static_cast<int32_t>(sizeof(s_au8Copy))) {
        memcpy(s_au8Copy, pu8Text + i, std::min(sizeof(s_au8Copy), static_cast<size_t>(s32Len - i)));
    }
}

static int32_t FuzzIdentify(void *hCharset, const uint8_t *pu8Text, int32_t s32Len, int32_t s32Hint,
                            int32_t *ps32CodeType) {
    FuzzCall();
    FUZZ_CHECK(hCharset != nullptr);
    FuzzTouch(pu8Text, s32Len);
    *ps32CodeType = g_fuzzHost.stConverter.s32CodeType + (s32Hint == 0x123456 ? 1 : 0);
    return g_fuzzHost.stConverter.enConvert == FUZZ_CONVERT_IDENTIFY_FAILS ? -1 : 0;
}

// Writes nothing; what it claims for it.
static int32_t FuzzConvertLie(uint8_t u8Amount, int32_t *ps32OutLen, int32_t *ps32Used) {
    constexpr int32_t IN = SVR_SUB_STR_IN_MAX_LEN;
    constexpr int32_t OUT = SVR_SUB_STR_OUT_MAX_LEN;
    static const int32_t s_as32Claims[] = {
        0,   -1,      1,      -5, INT32_MIN,       INT32_MAX, OUT - 2, OUT - 1,
        OUT, OUT + 1, IN - 1, IN, INT32_MIN + OUT, 65536,     1 << 30, INT32_MAX - OUT};
    *ps32OutLen = s_as32Claims[u8Amount % 16];
    *ps32Used = s_as32Claims[u8Amount / 16];
    return u8Amount == 0xFF ? -1 : 0;
}

static bool FuzzIsLetter(uint8_t u8Byte) {
    return u8Byte >= 0x80 || (u8Byte >= 'a' && u8Byte <= 'z');
}

static int32_t FuzzConvertText(const FuzzConverter *pstConverter, uint8_t *pu8Out, int32_t s32Capacity,
                               const uint8_t *pu8In, int32_t s32InLen) {
    const int32_t s32Step = pstConverter->enConvert == FUZZ_CONVERT_NARROWS ? 2 : 1;
    const int32_t s32Times = pstConverter->enConvert == FUZZ_CONVERT_GROWS ? pstConverter->u8Amount % 8 + 1 : 1;
    if (s32Step == 1 && s32Times == 1 && pstConverter->enConvert != FUZZ_CONVERT_ZEROES) {
        const int32_t s32Copied = std::min(s32InLen, s32Capacity);
        memcpy(pu8Out, pu8In, static_cast<size_t>(s32Copied));
        return s32Copied;
    }
    int32_t s32Out = 0;
    for (int32_t i = 0; i < s32InLen; i += s32Step) {
        // Of a pair, the byte that is not zero.
        uint8_t u8Byte = s32Step == 2 && pu8In[i] == 0 && i + 1 < s32InLen ? pu8In[i + 1] : pu8In[i];
        u8Byte = u8Byte == ' ' && pstConverter->enConvert == FUZZ_CONVERT_ZEROES ? uint8_t{0} : u8Byte;
        const int32_t s32Count = std::min(FuzzIsLetter(u8Byte) ? s32Times : 1, s32Capacity - s32Out);
        memset(pu8Out + s32Out, u8Byte, static_cast<size_t>(s32Count));
        s32Out += s32Count;
    }
    return s32Out;
}

static int32_t FuzzConvertSlot(void *hCharset, uint8_t *pu8Out, int32_t *ps32OutLen, const uint8_t *pu8In,
                               int32_t s32InLen, int32_t, int32_t, int32_t *ps32Used) {
    FuzzCall();
    const FuzzConverter *pstConverter = &g_fuzzHost.stConverter;
    const int32_t s32Capacity = *ps32OutLen;
    FUZZ_CHECK(hCharset != nullptr && s32Capacity == SVR_SUB_STR_OUT_MAX_LEN && s32InLen > 0);
    FuzzTouch(pu8In, s32InLen);
    g_fuzzHost.u32Converts++;
    *ps32Used = s32InLen;
    switch (pstConverter->enConvert) {
    case FUZZ_CONVERT_FAILS:
        *ps32OutLen -= pstConverter->u8Amount * (SVR_SUB_STR_OUT_MAX_LEN / 128);
        return -1;
    case FUZZ_CONVERT_FAILS_SOMETIMES:
        if (g_fuzzHost.u32Converts % (pstConverter->u8Amount + 1u) == 0) {
            return -1;
        }
        break;
    case FUZZ_CONVERT_FILLS:
    case FUZZ_CONVERT_FILLS_ALMOST:
        *ps32OutLen -= pstConverter->enConvert == FUZZ_CONVERT_FILLS ? 0 : 1 + pstConverter->u8Amount % 16;
        for (int32_t i = 0; i < *ps32OutLen; i += s32InLen) {
            memcpy(pu8Out + i, pu8In, static_cast<size_t>(std::min(s32InLen, *ps32OutLen - i)));
        }
        return 0;
    case FUZZ_CONVERT_LIES:
        return FuzzConvertLie(pstConverter->u8Amount, ps32OutLen, ps32Used);
    case FUZZ_CONVERT_SPOILS:
        memset(pu8Out, 'x', static_cast<size_t>(s32Capacity));
        break;
    case FUZZ_CONVERT_USES_LESS:
        *ps32Used -= pstConverter->u8Amount;
        break;
    default:
        break;
    }
    *ps32OutLen = FuzzConvertText(pstConverter, pu8Out, s32Capacity, pu8In, s32InLen);
    return 0;
}

static int32_t FuzzStreamType(int32_t, int32_t *ps32StreamType) {
    FuzzCall();
    if (g_fuzzHost.stConverter.s32StreamType != 0) {
        *ps32StreamType = g_fuzzHost.stConverter.s32StreamType;
    }
    return g_fuzzHost.stConverter.enConvert == FUZZ_CONVERT_NO_TYPE ? -1 : 0;
}

CharsetOps *FuzzConverterOps() {
    static CharsetOps s_stOps = {FuzzCreate, FuzzIdentify, FuzzConvertSlot, [] {}, FuzzDestroy, FuzzStreamType};
    return g_fuzzHost.stConverter.enConvert != FUZZ_CONVERT_NONE ? &s_stOps : nullptr;
}
