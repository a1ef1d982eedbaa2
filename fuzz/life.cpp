// What every host may do with a handle, in any order, and what it may rely on after each call.
#include "fuzz/life.h"
#include "fuzz/guards.h"
#include "fuzz/shapes.h"

#include <algorithm>
#include <cstring>

struct LifeFormat {
    const char *pszExtension;
    uint32_t u32MaxLen;    // of a frame
    int32_t s32Terminator; // where a zero byte stands: at the length (0), before it (-1); 1: nowhere
    size_t uMinCue;        // bytes that a cue takes in the file
    bool bFindStream;      // open has not done it
    bool bStopFails;       // find-stream fails for good after a stop
};

static const LifeFormat s_astFormats[] = {
    {"srt", SVR_SUB_STR_OUT_MAX_LEN - 1, 0, 17, true, true}, {"lrc", SVR_SUB_STR_IN_MAX_LEN, -1, 5, true, true},
    {"smi", SVR_SUB_STR_IN_MAX_LEN - 1, 0, 12, true, false}, {"idx", 0xFFFF, 1, 1, false, false},
    {"sub", SVR_SUB_STR_OUT_MAX_LEN, -1, 4, true, true},     {"ass", SVR_SUB_STR_OUT_MAX_LEN, 1, 9, true, true},
};

// Bits of LifeScript::u8Faults.
enum LifeFault {
    LIFE_FAULT_KEEP = 1,
    LIFE_FAULT_ALLOCATIONS_KEEP = 2,
    LIFE_FAULT_INTERRUPTED = 4,
    LIFE_FAULT_CLAIMS_MORE = 8,
    LIFE_FAULT_END_IS_ZERO = 16,
    LIFE_FAULT_KEEP_TAGS = 32,
    LIFE_FAULT_NO_FIND_STREAM = 64,
    LIFE_FAULT_PATH = 128 // VobSub: packets by a link of great length
};

struct Life {
    const LifeFormat *pstFormat;
    void *hFmt;
    FmtFrame stFrame;
    uint32_t u32FrameRate; // handed in with every frame
    size_t uFileLen;
    uint64_t u64Told;
};

// The handle that a stop is meant for, and whether there was one.
static void *s_hStop;
static bool s_bStopped;

static void LifeTell(Life *pstLife, uint64_t u64Value) {
    pstLife->u64Told = (pstLife->u64Told ^ u64Value) * UINT64_C(0x100000001B3);
}

static void LifeTellBytes(Life *pstLife, const uint8_t *pu8, size_t uLen) {
    for (size_t i = 0; i < uLen; i += sizeof(uint64_t)) {
        uint64_t u64Bytes = 0;
        memcpy(&u64Bytes, pu8 + i, std::min(sizeof(u64Bytes), uLen - i));
        LifeTell(pstLife, u64Bytes);
    }
}

// A result that is one of those documented.
static int32_t LifeResult(Life *pstLife, int32_t s32Result) {
    FUZZ_CHECK(s32Result == 0 || s32Result == -1);
    LifeTell(pstLife, static_cast<uint32_t>(s32Result));
    return s32Result;
}

static void LifeStop(void *hFmt) {
    FUZZ_CHECK(g_formatEntry.fmt_invoke(hFmt, INVOKE_STOP, nullptr) == 0);
    s_bStopped = true;
}

LifeScript LifeTakeScript(FuzzInput *pstInput) {
    LifeScript stScript = {};
    stScript.u8Protocol = FuzzTake8(pstInput);
    stScript.u8Name = FuzzTake8(pstInput);
    stScript.stConverter.enConvert = static_cast<FuzzConvert>(FuzzTake8(pstInput) % FUZZ_CONVERT_NUM);
    stScript.stConverter.s32StreamType = FuzzTake8(pstInput) % 8;
    stScript.stConverter.s32CodeType = FuzzTake8(pstInput) - 2;
    stScript.stConverter.u8Amount = FuzzTake8(pstInput);
    stScript.u8DstCodeType = FuzzTake8(pstInput);
    stScript.u8Hint = FuzzTake8(pstInput);
    stScript.u8Faults = FuzzTake8(pstInput);
    stScript.u8PosBase = FuzzTake8(pstInput);
    stScript.u8FailOpenAt = FuzzTake8(pstInput);
    for (uint16_t *pu16 : {&stScript.u16FailAllocationAt, &stScript.u16FailReadAt, &stScript.u16ShortReadAt,
                           &stScript.u16FailSeekAt, &stScript.u16StopAt}) {
        *pu16 = static_cast<uint16_t>(FuzzTake16(pstInput));
    }
    stScript.u8RangeOffset = FuzzTake8(pstInput);
    stScript.u8RangeLength = FuzzTake8(pstInput);
    stScript.u8Files = static_cast<uint8_t>(FuzzTake8(pstInput) % LIFE_FILES_NUM);
    stScript.u8Steps = FuzzTake8(pstInput) & 15;
    stScript.u8Repeats = FuzzTake8(pstInput);
    return stScript;
}

static void LifeSetHost(const LifeScript *pstScript) {
    static const int64_t s_as64Bases[] = {0,
                                          INT32_MAX - 100,
                                          INT64_C(0xFFFFFF80),
                                          INT64_C(0x100000000),
                                          INT64_MAX - 0x100000,
                                          SVR_SUB_IDENTIFY_MAX_SIZE - 500,
                                          -1,
                                          0x80000000};
    const uint8_t u8Faults = pstScript->u8Faults;
    g_fuzzHost.stConverter = pstScript->stConverter;
    g_fuzzHost.stFaults = {
        .u32FailOpenAt = pstScript->u8FailOpenAt,
        .u32FailReadAt = pstScript->u16FailReadAt,
        .u32ShortReadAt = pstScript->u16ShortReadAt,
        .u32FailSeekAt = pstScript->u16FailSeekAt,
        .u32StopAt = pstScript->u16StopAt,
        .bKeepFailing = (u8Faults & LIFE_FAULT_KEEP) != 0,
        .bInterrupted = (u8Faults & LIFE_FAULT_INTERRUPTED) != 0,
        .bClaimsMore = (u8Faults & LIFE_FAULT_CLAIMS_MORE) != 0,
        .bEndIsZero = (u8Faults & LIFE_FAULT_END_IS_ZERO) != 0,
        .s64PosBase = s_as64Bases[pstScript->u8PosBase % 8],
    };
    g_host.s32FailAt = pstScript->u16FailAllocationAt;
    g_host.bFailOn = (u8Faults & LIFE_FAULT_ALLOCATIONS_KEEP) != 0;
    g_host.strProperty = (u8Faults & LIFE_FAULT_KEEP_TAGS) != 0 ? "TRUE" : "";
    g_formatEntry.s32CodeTypeHint = pstScript->u8Hint == 0xFF ? 0x123456 : pstScript->u8Hint;
    g_fuzzHost.pfnStop = [] {
        if (s_hStop != nullptr) {
            LifeStop(s_hStop);
        }
    };
}

// What of the input is the index of VobSub, and what are the packets.
static void LifeSplit(const LifeScript *pstScript, const FuzzInput *pstInput) {
    FuzzBytes *pstFile = g_fuzzHost.astFile;
    pstFile[FUZZ_FILE_PACKETS] = pstFile[FUZZ_FILE_MAIN];
    static const uint8_t s_au8Pack[] = {0, 0, 1, 0xBA};
    const uint8_t *pu8Packets = pstInput->pu8End;
    if (pstScript->u8Files == LIFE_FILES_MARKED) {
        pu8Packets = std::search(pstInput->pu8Cur, pstInput->pu8End, std::begin(s_au8Pack), std::end(s_au8Pack));
        pstFile[FUZZ_FILE_PACKETS] = {pu8Packets, static_cast<size_t>(pstInput->pu8End - pu8Packets)};
    } else if (pstScript->u8Files == LIFE_FILES_BUILT) {
        pu8Packets = std::find(pstInput->pu8Cur, pstInput->pu8End, 0);
        FuzzInput stRecords = {pu8Packets + (pu8Packets < pstInput->pu8End ? 1 : 0), pstInput->pu8End};
        pstFile[FUZZ_FILE_PACKETS] = FuzzBuildPacks(&stRecords);
    }
    pstFile[FUZZ_FILE_MAIN].uLen = static_cast<size_t>(pu8Packets - pstInput->pu8Cur);
}

// What of the input is the file.
static void LifeSetFiles(const LifeScript *pstScript, const LifeFormat *pstFormat, FuzzInput stInput) {
    FuzzBytes *pstFile = g_fuzzHost.astFile;
    pstFile[FUZZ_FILE_MAIN] = {stInput.pu8Cur, FuzzLeft(&stInput)};
    if (!pstFormat->bFindStream) {
        LifeSplit(pstScript, &stInput);
    }
    if (pstScript->u8Repeats % 2 != 0) {
        stInput.pu8End = stInput.pu8Cur + pstFile[FUZZ_FILE_MAIN].uLen;
        // Byte by byte, enough to fill a line takes long enough.
        const bool bForeign = pstScript->u8Protocol % LIFE_PROTOCOL_NUM >= LIFE_MEMORY;
        pstFile[FUZZ_FILE_MAIN] = FuzzRepeat(stInput, bForeign ? FUZZ_REPEAT_MAX / 8 : FUZZ_REPEAT_MAX);
    }
}

static std::string LifeName(const LifeScript *pstScript, const char *pszExtension) {
    static const char *const s_apszStems[] = {
        "/movie.en.",
        "movie.",
        ".",
        "/a.chs.eng.",
        "/MOVIE.EN.",
        "/x.y/movie.",
        "/m.abcdefghijklmnopqrstuvwxyzabcde.",
        "/m.abcdefghijklmnopqrstuvwxyzabcdefghijklmnopqrstuvwxyzabcdefghijklmnop.",
        "file:/x..",
        "/ ::length=3::fd=1.",
        "/",
        "nofile://x.y."};
    constexpr uint8_t LONG = 0x80; // a name of about so many characters as fit
    if ((pstScript->u8Name & LONG) != 0) {
        return "/" + std::string(4080 + pstScript->u8Name % 32u, 'n') + ".en." + pszExtension;
    }
    return s_apszStems[pstScript->u8Name % std::size(s_apszStems)] + std::string(pszExtension);
}

static std::string LifeUrl(const LifeScript *pstScript, const LifeFormat *pstFormat) {
    const std::string strName = LifeName(pstScript, pstFormat->pszExtension);
    if (pstScript->u8Protocol % LIFE_PROTOCOL_NUM != LIFE_OWN_RANGE) {
        return strName;
    }
    // The extension is what follows the last dot of the URL.
    const int64_t s64Len = static_cast<int64_t>(g_fuzzHost.astFile[FUZZ_FILE_MAIN].uLen);
    const int64_t s64Offset = pstScript->u8RangeOffset < 0xF0 ? pstScript->u8RangeOffset : INT64_MAX - 5;
    const int64_t s64Range = pstScript->u8RangeLength < 0xF0 ? s64Len - pstScript->u8RangeLength : INT64_MAX;
    std::string strUrl = strName + "::offset=" + std::to_string(s64Offset) + "::length=" + std::to_string(s64Range) +
                         "::fd=" + std::to_string(FuzzHostFd(FUZZ_FILE_MAIN));
    if (!pstFormat->bFindStream && (pstScript->u8Name & 1) == 0) {
        static const std::string s_strLink = "/" + std::string(4200, 'n');
        g_fuzzHost.pszLink = (pstScript->u8Faults & LIFE_FAULT_PATH) != 0 ? s_strLink.c_str() : "/film.sub (deleted)";
        strUrl += "::subfd=" + std::to_string(FuzzHostFd(FUZZ_FILE_PACKETS));
    }
    return strUrl + "." + pstFormat->pszExtension;
}

static void LifeLookAtStreams(Life *pstLife) {
    FileInfo *pstInfo = nullptr;
    if (LifeResult(pstLife, g_formatEntry.fmt_get_info(pstLife->hFmt, &pstInfo)) != 0) {
        return;
    }
    FUZZ_CHECK(pstInfo != nullptr && pstInfo->u32Reserved1 == 0 && pstInfo->pastProgramInfo != nullptr);
    const ProgramInfo *pstProgram = pstInfo->pastProgramInfo;
    FUZZ_CHECK(pstProgram->u32SubStreamNum <= 32 && pstProgram->u32SubStreamNum <= pstProgram->au32HostOwned[0]);
    for (uint32_t i = 0; i < pstProgram->u32SubStreamNum; i++) {
        const SubStreamInfo *pstStream = &pstProgram->pastSubStream[i];
        FUZZ_CHECK(pstStream->s32StreamIndex == SUB_STREAM_INDEX_BASE + static_cast<int32_t>(i));
        FUZZ_CHECK(pstStream->u32Flag == 1);
        FUZZ_CHECK(strnlen(pstStream->aszLang, sizeof(pstStream->aszLang)) < sizeof(pstStream->aszLang));
        FUZZ_CHECK(strnlen(pstStream->aszTitle, sizeof(pstStream->aszTitle)) < sizeof(pstStream->aszTitle));
        FUZZ_CHECK(strnlen(pstStream->aszUrl, sizeof(pstStream->aszUrl)) < sizeof(pstStream->aszUrl));
        FUZZ_CHECK(pstStream->pu8ExtraData != nullptr || pstStream->u32ExtraDataSize == 0);
        LifeTell(pstLife, pstStream->u32CodeType);
        LifeTellBytes(pstLife, reinterpret_cast<const uint8_t *>(pstStream->aszLang), 64);
        LifeTellBytes(pstLife, pstStream->pu8ExtraData, pstStream->u32ExtraDataSize);
    }
}

static void LifeCheckFrame(Life *pstLife) {
    const FmtFrame *pstFrame = &pstLife->stFrame;
    const LifeFormat *pstFormat = pstLife->pstFormat;
    FUZZ_CHECK(pstFrame->u32StreamType == SUB_STREAM_KIND_SUBTITLE && pstFrame->u32Reserved == 0);
    FUZZ_CHECK(pstFrame->s32StreamIndex >= SUB_STREAM_INDEX_BASE);
    FUZZ_CHECK(pstFrame->s32StreamIndex < SUB_STREAM_INDEX_BASE + 32);
    FUZZ_CHECK(pstFrame->pu8Data != nullptr && pstFrame->u32DataLen <= pstFormat->u32MaxLen);
    if (pstFormat->s32Terminator <= 0) {
        FUZZ_CHECK(pstFrame->u32DataLen > 0 || pstFormat->s32Terminator == 0);
        FUZZ_CHECK(pstFrame->pu8Data[static_cast<int32_t>(pstFrame->u32DataLen) + pstFormat->s32Terminator] == 0);
    }
    FUZZ_CHECK(pstFrame->au32HostOwned[0] == 0x5A5A5A5A && pstFrame->au8HostOwned[71] == 0x5A);
    LifeTell(pstLife, static_cast<uint64_t>(pstFrame->s64Pts));
    LifeTell(pstLife, static_cast<uint64_t>(pstFrame->s64Pos));
    LifeTell(pstLife, pstFrame->u32Duration);
    LifeTellBytes(pstLife, pstFrame->pu8Data, pstFrame->u32DataLen);
}

static void LifeFree(Life *pstLife) {
    static const FmtFrame s_stCleared = {};
    FUZZ_CHECK(g_formatEntry.fmt_free(pstLife->hFmt, &pstLife->stFrame) == 0);
    FUZZ_CHECK(memcmp(&pstLife->stFrame, &s_stCleared, sizeof(s_stCleared)) == 0);
}

static int32_t LifeRead(Life *pstLife) {
    // A frame that owns nothing, as the host hands it in.
    memset(&pstLife->stFrame, 0x5A, sizeof(pstLife->stFrame));
    pstLife->stFrame.pu8Data = nullptr;
    pstLife->stFrame.u32DataLen = 0;
    pstLife->stFrame.u32FrameRate = pstLife->u32FrameRate;
    const int32_t s32Result = g_formatEntry.fmt_read(pstLife->hFmt, &pstLife->stFrame);
    FUZZ_CHECK(s32Result == 0 || s32Result == -1 || (s32Result == -2 && pstLife->pstFormat->bFindStream));
    LifeTell(pstLife, static_cast<uint32_t>(s32Result));
    if (s32Result == 0) {
        LifeCheckFrame(pstLife);
    } else {
        FUZZ_CHECK(pstLife->stFrame.pu8Data == nullptr);
    }
    LifeFree(pstLife);
    return s32Result;
}

// Reads to the end, or so many cues that nothing new can come. A handle that lost its index, and VobSub behind its end,
// fail for good.
static void LifeReadAll(Life *pstLife) {
    // A converter may make many cues of a byte.
    const size_t uGrowth = FuzzConverterOps() != nullptr ? SVR_SUB_STR_OUT_MAX_LEN : 1;
    const size_t uMost = (pstLife->uFileLen / pstLife->pstFormat->uMinCue + 1) * uGrowth;
    size_t uCues = 0;
    int32_t s32Result = 0;
    for (int32_t s32Failures = 0; s32Failures < 64 && s32Result != -2 && uCues < 1500;) {
        s32Result = LifeRead(pstLife);
        s32Failures = s32Result == 0 ? 0 : s32Failures + 1;
        uCues += s32Result == 0 ? 1 : 0;
        FUZZ_CHECK(uCues <= uMost);
    }
}

static int64_t LifeTime(uint8_t u8Arg) {
    static const int64_t s_as64Times[] = {0,         1,          -1,        INT64_MAX,        INT64_MIN, INT32_MAX,
                                          INT32_MIN, UINT32_MAX, 359999999, INT64_C(1) << 40, 1000,      2000};
    return u8Arg < std::size(s_as64Times) ? s_as64Times[u8Arg] : u8Arg * INT64_C(250);
}

static void LifeSetRate(Life *pstLife, uint8_t u8Arg) {
    static const uint32_t s_au32Rates[] = {0, 1, 25u << 16, 23u << 16 | 976, UINT32_MAX, 29u << 16 | 970, 10, 0xFFFF};
    pstLife->u32FrameRate = s_au32Rates[u8Arg % 8];
}

static void LifeCallWithNulls(Life *pstLife, uint8_t u8Arg) {
    FUZZ_CHECK(g_formatEntry.fmt_read(pstLife->hFmt, nullptr) == -1);
    FUZZ_CHECK(g_formatEntry.fmt_free(pstLife->hFmt, nullptr) == -1);
    FUZZ_CHECK(g_formatEntry.fmt_get_info(pstLife->hFmt, nullptr) == -1);
    FUZZ_CHECK(g_formatEntry.fmt_close(nullptr) == -1);
    LifeResult(pstLife, g_formatEntry.fmt_invoke(pstLife->hFmt, u8Arg - 3, nullptr));
}

// What has been stopped stays so; a SAMI build that ends early is none the worse for it.
static void LifeFindStream(Life *pstLife) {
    const bool bFails = s_bStopped && pstLife->pstFormat->bStopFails;
    const int32_t s32Result = LifeResult(pstLife, g_formatEntry.fmt_find_stream(pstLife->hFmt, 0));
    FUZZ_CHECK(!bFails || s32Result == -1);
}

// Hands in a converter that may behave otherwise from now on: what was indexed with one is read with another.
static void LifeSetConverter(Life *pstLife, uint8_t u8Arg) {
    if (u8Arg != 0) {
        g_fuzzHost.stConverter.enConvert = static_cast<FuzzConvert>(1 + u8Arg % (FUZZ_CONVERT_NUM - 1));
    }
    LifeResult(pstLife, g_formatEntry.fmt_invoke(pstLife->hFmt, INVOKE_SET_CHARSET_OPS, FuzzConverterOps()));
}

// One of what a host may do between find-stream and close.
static void LifeStep(Life *pstLife, uint8_t u8Step, uint8_t u8Arg) {
    void *hFmt = pstLife->hFmt;
    int32_t s32Arg = u8Arg;
    switch (u8Step % 12) {
    case 0:
        for (int32_t i = 0; i <= u8Arg % 8; i++) {
            LifeRead(pstLife);
        }
        break;
    case 1:
        LifeFree(pstLife);
        break;
    case 2:
        LifeResult(pstLife, g_formatEntry.fmt_seek_pts(hFmt, SUB_STREAM_INDEX_BASE, LifeTime(u8Arg)));
        break;
    case 3:
        LifeResult(pstLife,
                   g_formatEntry.fmt_seek_pts(hFmt, SUB_STREAM_INDEX_BASE - 1 + u8Arg % 35, LifeTime(u8Arg / 35)));
        break;
    case 4:
        FUZZ_CHECK(g_formatEntry.fmt_seek_pos(hFmt, SUB_STREAM_INDEX_BASE, LifeTime(u8Arg)) == -1);
        break;
    case 5:
        LifeResult(pstLife, g_formatEntry.fmt_invoke(hFmt, INVOKE_SET_SRC_CODETYPE, &s32Arg));
        LifeTell(pstLife, static_cast<uint32_t>(s32Arg));
        break;
    case 6:
        LifeResult(pstLife, g_formatEntry.fmt_invoke(hFmt, INVOKE_SET_DST_CODETYPE, &s32Arg));
        break;
    case 7:
        LifeSetConverter(pstLife, u8Arg);
        break;
    case 8:
        if (u8Arg < 4) {
            LifeStop(hFmt);
        } else {
            LifeResult(pstLife, g_formatEntry.fmt_invoke(hFmt, u8Arg + 2, nullptr));
        }
        break;
    case 9:
        LifeFindStream(pstLife);
        break;
    case 10:
        LifeSetRate(pstLife, u8Arg);
        break;
    default:
        LifeCallWithNulls(pstLife, u8Arg);
        break;
    }
}

static void LifeLive(Life *pstLife, const LifeScript *pstScript, FuzzInput *pstSteps) {
    FuzzGuard(pstLife->pstFormat->pszExtension, pstLife->hFmt, true);
    LifeLookAtStreams(pstLife);
    CharsetOps *pstOps = FuzzConverterOps();
    if (pstOps != nullptr) {
        FUZZ_CHECK(g_formatEntry.fmt_invoke(pstLife->hFmt, INVOKE_SET_CHARSET_OPS, pstOps) == 0);
    }
    int32_t s32Dst = pstScript->u8DstCodeType;
    FUZZ_CHECK(g_formatEntry.fmt_invoke(pstLife->hFmt, INVOKE_SET_DST_CODETYPE, &s32Dst) == 0);
    if ((pstScript->u8Faults & LIFE_FAULT_NO_FIND_STREAM) == 0) {
        LifeFindStream(pstLife);
    }
    LifeLookAtStreams(pstLife);
    for (int32_t i = 0; i < pstScript->u8Steps; i++) {
        const uint8_t u8Step = FuzzTake8(pstSteps);
        LifeStep(pstLife, u8Step, FuzzTake8(pstSteps));
    }
    LifeReadAll(pstLife);
    LifeResult(pstLife, g_formatEntry.fmt_seek_pts(pstLife->hFmt, SUB_STREAM_INDEX_BASE, 0));
    LifeRead(pstLife);
    LifeLookAtStreams(pstLife);
    s_hStop = nullptr;
    FuzzGuard(pstLife->pstFormat->pszExtension, pstLife->hFmt, false);
    FUZZ_CHECK(g_formatEntry.fmt_close(pstLife->hFmt) == 0);
}

static Protocol *LifeProtocolOf(const LifeScript *pstScript) {
    switch (pstScript->u8Protocol % LIFE_PROTOCOL_NUM) {
    case LIFE_MEMORY:
        return FuzzMemoryProtocol();
    case LIFE_FOREIGN:
        return ForeignFileProtocol();
    default:
        return PellProtocolOf(&g_formatEntry);
    }
}

uint64_t LifeRun(const char *pszExtension, const LifeScript *pstScript, FuzzInput stInput) {
    Life stLife = {};
    stLife.pstFormat = std::find_if(std::begin(s_astFormats), std::end(s_astFormats),
                                    [&](const LifeFormat &st) { return strcmp(st.pszExtension, pszExtension) == 0; });
    FuzzHostBegin();
    FuzzInput stSteps = {stInput.pu8Cur,
                         stInput.pu8Cur + std::min<size_t>(FuzzLeft(&stInput), size_t{2} * pstScript->u8Steps)};
    stInput.pu8Cur = stSteps.pu8End;
    LifeSetHost(pstScript);
    LifeSetFiles(pstScript, stLife.pstFormat, stInput);
    stLife.uFileLen = g_fuzzHost.astFile[FUZZ_FILE_MAIN].uLen;
    const std::string strUrl = LifeUrl(pstScript, stLife.pstFormat);
    Protocol *pstProtocol = LifeProtocolOf(pstScript);
    Protocol *pstOwn = PellProtocolOf(&g_formatEntry);
    LifeResult(&stLife, g_formatEntry.fmt_find(strUrl.c_str(), pstOwn));
    FUZZ_CHECK(pstProtocol->url_find == pstOwn->url_find || g_formatEntry.fmt_find(strUrl.c_str(), pstProtocol) == -1);
    if (LifeResult(&stLife, g_formatEntry.fmt_open(strUrl.c_str(), pstProtocol, &stLife.hFmt)) == 0) {
        s_hStop = stLife.hFmt;
        s_bStopped = false;
        g_host.u64Told = 0; // the first open of a process says less
        LifeLive(&stLife, pstScript, &stSteps);
    } else {
        FUZZ_CHECK(stLife.hFmt == nullptr);
        g_host.u64Told = 0;
    }
    FuzzHostEnd();
    return stLife.u64Told ^ g_host.u64Told;
}
