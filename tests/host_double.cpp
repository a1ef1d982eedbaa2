#include "tests/host_double.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <set>

HostState g_host;
MemoryFile g_memoryFile;
SystemScript g_system;
ConverterScript g_converter;

// A build that is stopped from another thread logs while the test goes on.
static std::mutex s_mutex;
static std::set<void *> s_setLive;

void HostReset() {
    const std::lock_guard<std::mutex> lock(s_mutex);
    g_host.vecMessages.clear();
    g_host.u64Told = 0;
    g_host.s32Allocations = 0;
    g_host.s32FailAt = 0;
    g_host.bFailOn = false;
    g_host.u32Most = 0;
    g_host.strProperty.clear();
    g_host.s32PropertyReads = 0;
}

int32_t HostCount(const std::string &strText) {
    const std::lock_guard<std::mutex> lock(s_mutex);
    return static_cast<int32_t>(std::count_if(g_host.vecMessages.begin(), g_host.vecMessages.end(),
                                              [&](const HostMessage &m) { return m.strText == strText; }));
}

bool HostLogged(const std::string &strText, const std::string &strFunction) {
    const std::lock_guard<std::mutex> lock(s_mutex);
    return std::any_of(g_host.vecMessages.begin(), g_host.vecMessages.end(), [&](const HostMessage &m) {
        return m.strText == strText && (strFunction.empty() || m.strFunction == strFunction);
    });
}

#ifdef PELL_TEST_COUNTS_FREES
static void *HostTrack(void *pv) {
    if (pv != nullptr) {
        s_setLive.insert(pv);
        g_host.s32LiveBlocks = static_cast<int32_t>(s_setLive.size());
    }
    return pv;
}

static void HostForget(void *pv) {
    s_setLive.erase(pv);
    g_host.s32LiveBlocks = static_cast<int32_t>(s_setLive.size());
}

// The library's objects are linked with --wrap=free, so that its frees pass by here.
extern "C" void __real_free(void *pv);
extern "C" void __wrap_free(void *pv) {
    HostForget(pv);
    __real_free(pv);
}

bool HostNothingLeft() {
    return s_setLive.empty();
}

bool HostSeesSystemCalls() {
    return true;
}
#else
// Blocks whose frees are not seen are not kept account of.
static void *HostTrack(void *pv) {
    return pv;
}

static void HostForget(void *) {}

bool HostSeesSystemCalls() {
    return false;
}

bool HostNothingLeft() {
    return true;
}
#endif

static bool HostAllocationFails(size_t uSize) {
    const int32_t s32Number = ++g_host.s32Allocations;
    if (g_host.u32Most > 0 && uSize > g_host.u32Most) {
        return true;
    }
    return s32Number == g_host.s32FailAt || (g_host.bFailOn && g_host.s32FailAt > 0 && s32Number > g_host.s32FailAt);
}

static void HostSumUp(const char *psz) {
    for (; *psz != '\0'; psz++) {
        g_host.u64Told = g_host.u64Told * 31 + static_cast<uint8_t>(*psz);
    }
}

static void HostKeep(int32_t s32Level, const char *pszFunction, const char *pszText, int32_t s32Result) {
    if (g_host.bQuiet) {
        HostSumUp(pszFunction);
        HostSumUp(pszText);
        return;
    }
    std::string strText = pszText;
    const std::lock_guard<std::mutex> lock(s_mutex);
    while (!strText.empty() && strText.back() == '\n') {
        strText.pop_back();
    }
    g_host.vecMessages.push_back({s32Level, pszFunction, std::move(strText), s32Result});
}

extern "C" {

void *PlayerMallocZ(uint32_t u32Size) {
    return HostAllocationFails(u32Size) ? nullptr : HostTrack(calloc(1, u32Size));
}

void *PlayerReallocS(void *pvOld, uint32_t u32OldSize, uint32_t u32NewSize) {
    // Always moves and fills the tail with rubbish: the library must rely on neither.
    uint8_t *pu8New = HostAllocationFails(u32NewSize) ? nullptr : static_cast<uint8_t *>(malloc(u32NewSize));
    if (pu8New != nullptr) {
        const uint32_t u32Kept = pvOld != nullptr ? std::min(u32OldSize, u32NewSize) : 0;
        if (u32Kept > 0) {
            memcpy(pu8New, pvOld, u32Kept);
        }
        memset(pu8New + u32Kept, 0xA5, u32NewSize - u32Kept);
    }
    HostForget(pvOld);
    free(pvOld);
    return HostTrack(pu8New);
}

int32_t PlayerRealloc1MoreProgram(FileInfo *pstInfo) {
    if (HostAllocationFails(sizeof(ProgramInfo))) {
        return -1;
    }
    ProgramInfo *pstNew = static_cast<ProgramInfo *>(calloc(pstInfo->u32HostOwned + 1, sizeof(ProgramInfo)));
    if (pstInfo->pastProgramInfo != nullptr) {
        memcpy(pstNew, pstInfo->pastProgramInfo, pstInfo->u32HostOwned * sizeof(ProgramInfo));
        HostForget(pstInfo->pastProgramInfo);
        free(pstInfo->pastProgramInfo);
    }
    pstInfo->pastProgramInfo = static_cast<ProgramInfo *>(HostTrack(pstNew));
    pstInfo->u32HostOwned++;
    return 0;
}

int32_t PlayerReallocNMoreStream(ProgramInfo *pstProgram, uint32_t u32Kind, uint32_t u32Num) {
    if (u32Kind != SUB_STREAM_KIND_SUBTITLE || HostAllocationFails(u32Num * sizeof(SubStreamInfo))) {
        return -1;
    }
    const size_t uOld = pstProgram->au32HostOwned[0];
    SubStreamInfo *pstNew = static_cast<SubStreamInfo *>(calloc(uOld + u32Num + 1, sizeof(SubStreamInfo)));
    if (pstProgram->pastSubStream != nullptr) {
        memcpy(pstNew, pstProgram->pastSubStream, uOld * sizeof(SubStreamInfo));
        HostForget(pstProgram->pastSubStream);
        free(pstProgram->pastSubStream);
    }
    pstProgram->pastSubStream = static_cast<SubStreamInfo *>(HostTrack(pstNew));
    pstProgram->au32HostOwned[0] += u32Num;
    return 0;
}

void PlayerFreeAllPrograms(FileInfo *pstInfo) {
    for (uint32_t i = 0; i < pstInfo->u32HostOwned; i++) {
        HostForget(pstInfo->pastProgramInfo[i].pastSubStream);
        free(pstInfo->pastProgramInfo[i].pastSubStream);
    }
    HostForget(pstInfo->pastProgramInfo);
    free(pstInfo->pastProgramInfo);
    pstInfo->pastProgramInfo = nullptr;
    pstInfo->u32HostOwned = 0;
}

// Removes the first "<tag...>" and the first closing tag, exact case.
int32_t PlayerDelFormat(char *pszText, uint32_t u32Len, uint32_t *pu32NewLen, const char *pszOpenTag,
                        const char *pszCloseTag) {
    std::string str(pszText, u32Len);
    const size_t uOpen = str.find(pszOpenTag);
    const size_t uOpenEnd = uOpen == std::string::npos ? uOpen : str.find('>', uOpen);
    if (uOpenEnd != std::string::npos) {
        str.erase(uOpen, uOpenEnd + 1 - uOpen);
    }
    const size_t uClose = str.find(pszCloseTag);
    if (uClose != std::string::npos) {
        str.erase(uClose, strlen(pszCloseTag));
    }
    memcpy(pszText, str.data(), str.size());
    *pu32NewLen = static_cast<uint32_t>(str.size());
    return str.size() != u32Len ? 0 : -1;
}

int32_t SvrSysGetProperty(const char *, char *pszValue, uint32_t u32ValueSize, const char *pszDefault) {
    g_host.s32PropertyReads++;
    return snprintf(pszValue, u32ValueSize, "%s", g_host.strProperty.empty() ? pszDefault : g_host.strProperty.c_str());
}

void PlayerPrintf(int32_t s32Level, const char *pszFunction, int32_t, const char *pszFormat, ...) {
    char aszText[4096];
    va_list args;
    va_start(args, pszFormat);
    vsnprintf(aszText, sizeof(aszText), pszFormat, args);
    va_end(args);
    HostKeep(s32Level, pszFunction, aszText, 0);
}

void PlayerDbgPrintf(int32_t s32Level, const char *pszFunction, int32_t, const char *pszMessage, int32_t s32Result) {
    HostKeep(s32Level, pszFunction, pszMessage, s32Result);
}
}

static int32_t MemoryFind(const char *) {
    return 0;
}

static int32_t MemoryOpen(const char *, int32_t, void **phUrl) {
    if (++g_memoryFile.s32Opens == g_memoryFile.s32FailOpenAt) {
        return -1;
    }
    g_memoryFile.s64Pos = 0;
    *phUrl = &g_memoryFile;
    return 0;
}

static int32_t MemoryRead(void *, uint8_t *pu8Buf, int32_t s32Size) {
    MemoryFile &stFile = g_memoryFile;
    if (++stFile.s32Reads == stFile.s32FailReadAt) {
        return -1;
    }
    if (stFile.s32Reads == stFile.s32StopReadAt && stFile.hStopped != nullptr) {
        g_formatEntry.fmt_invoke(stFile.hStopped, INVOKE_STOP, nullptr);
    }
    const int64_t s64Left = static_cast<int64_t>(stFile.strBytes.size()) - stFile.s64Pos;
    if (s64Left <= 0) {
        return -1;
    }
    int32_t s32Count = static_cast<int32_t>(std::min<int64_t>(s64Left, s32Size));
    s32Count = stFile.s32Reads == stFile.s32ShortReadAt ? s32Count / 2 : s32Count;
    memcpy(pu8Buf, stFile.strBytes.data() + stFile.s64Pos, static_cast<size_t>(s32Count));
    stFile.s64Pos += s32Count;
    return s32Count;
}

// A place in the bytes as the library is told it.
static int64_t MemoryOutside(int64_t s64Pos) {
    return s64Pos < g_memoryFile.s64HoleAt ? s64Pos : s64Pos + g_memoryFile.s64Hole;
}

static int64_t MemorySeek(void *, int64_t s64Offset, int32_t s32Whence) {
    MemoryFile &stFile = g_memoryFile;
    if (++stFile.s32Seeks == stFile.s32FailSeekAt) {
        return -1;
    }
    const int64_t s64Size = static_cast<int64_t>(stFile.strBytes.size());
    const int64_t s64Base = s32Whence == 0 ? 0 : MemoryOutside(s32Whence == 1 ? stFile.s64Pos : s64Size);
    const int64_t s64Target = s64Base + s64Offset;
    if (s64Target < 0) {
        return -1;
    }
    stFile.s64Pos = s64Target < stFile.s64HoleAt + stFile.s64Hole ? std::min(s64Target, stFile.s64HoleAt)
                                                                  : s64Target - stFile.s64Hole;
    return s64Target;
}

static int32_t MemoryClose(void *) {
    return ++g_memoryFile.s32Closes == g_memoryFile.s32FailCloseAt ? -1 : 0;
}

static int32_t MemoryReadSeek(void *, int32_t, int64_t) {
    return -1;
}

Protocol *MemoryProtocol(const std::string &strBytes) {
    static Protocol s_stProtocol = {MemoryFind, MemoryOpen, MemoryRead, MemorySeek, MemoryClose, MemoryReadSeek};
    g_memoryFile = {};
    g_memoryFile.strBytes = strBytes;
    return &s_stProtocol;
}

Protocol *ForeignFileProtocol() {
    static Protocol s_stProtocol = {
        SvrUrlFind,
        SvrUrlOpen,
        [](void *hUrl, uint8_t *pu8Buf, int32_t s32Size) { return SvrUrlRead(hUrl, pu8Buf, s32Size); },
        [](void *hUrl, int64_t s64Offset, int32_t s32Whence) { return SvrUrlSeek(hUrl, s64Offset, s32Whence); },
        SvrUrlClose,
        SvrUrlReadSeek,
    };
    return &s_stProtocol;
}

static int32_t ConverterCreate(void **phCharset, int32_t) {
    if (g_converter.bCreateFails) {
        return -1;
    }
    g_converter.s32Live++;
    *phCharset = &g_converter;
    return 0;
}

static int32_t ConverterIdentify(void *, const uint8_t *, int32_t s32Len, int32_t s32Hint, int32_t *ps32CodeType) {
    g_converter.s32Identifies++;
    g_converter.s32LastHint = s32Hint;
    g_converter.s32LastLen = s32Len;
    *ps32CodeType = g_converter.s32CodeType;
    return g_converter.bIdentifyFails ? -1 : 0;
}

static int32_t ConverterConvert(void *, uint8_t *pu8Out, int32_t *ps32OutLen, const uint8_t *pu8In, int32_t s32InLen,
                                int32_t s32Src, int32_t s32Dst, int32_t *ps32Used) {
    g_converter.s32Converts++;
    g_converter.s32LastSrc = s32Src;
    g_converter.s32LastDst = s32Dst;
    if (g_converter.bConvertFails) {
        return -1;
    }
    const int32_t s32Copied = std::min(s32InLen, *ps32OutLen);
    memcpy(pu8Out, pu8In, static_cast<size_t>(s32Copied));
    *ps32OutLen = g_converter.s32OutLen >= 0 ? g_converter.s32OutLen : s32Copied;
    *ps32Used = s32InLen - g_converter.s32UsedLess;
    return 0;
}

static void ConverterDestroy(void *) {
    g_converter.s32Live--;
}

static int32_t ConverterStreamType(int32_t, int32_t *ps32StreamType) {
    if (g_converter.s32StreamType != 0) {
        *ps32StreamType = g_converter.s32StreamType;
    }
    return g_converter.bStreamTypeFails ? -1 : 0;
}

CharsetOps *ConverterDouble() {
    static CharsetOps s_stOps = {ConverterCreate, ConverterIdentify, ConverterConvert,
                                 [] {},           ConverterDestroy,  ConverterStreamType};
    g_converter = {};
    g_converter.s32CodeType = 7;
    g_converter.s32OutLen = -1;
    return &s_stOps;
}
