// Lines out of the window of our own files, and the same ones byte by byte: both ways see the same.
#include "fuzz/life.h"
#include "subtitle/common/line_reader.h"
#include "subtitle/common/text_reader.h"

#include <algorithm>
#include <cstring>

// The text stands where the window ends, so many bytes of it before the end.
constexpr size_t LINES_WINDOW = SVR_FILE_CACHE_SIZE;
constexpr size_t LINES_TEXT_MAX = 1 << 16;

// A way to read the file.
struct LinesWay {
    Protocol *pstProtocol;
    void *hUrl;
    uint8_t au8Line[SVR_SUB_STR_IN_MAX_LEN];
};

static LinesWay LinesOpen(Protocol *pstProtocol, int64_t s64Pos) {
    LinesWay stWay = {pstProtocol, nullptr, {}};
    FUZZ_CHECK(pstProtocol->url_open("/x", 0, &stWay.hUrl) == 0);
    FUZZ_CHECK(pstProtocol->url_seek(stWay.hUrl, s64Pos, 0) == s64Pos);
    return stWay;
}

static void LinesClose(LinesWay *pstWay) {
    pstWay->pstProtocol->url_close(pstWay->hUrl);
}

static int64_t LinesTell(const LinesWay *pstWay) {
    return pstWay->pstProtocol->url_seek(pstWay->hUrl, 0, 1);
}

static void LinesCheckSame(const LinesWay *pstOwn, const uint8_t *pu8Own, int32_t s32Own, const LinesWay *pstForeign,
                           int32_t s32Foreign) {
    FUZZ_CHECK(s32Own == s32Foreign);
    FUZZ_CHECK(s32Own <= 0 || memcmp(pu8Own, pstForeign->au8Line, static_cast<size_t>(s32Own)) == 0);
    FUZZ_CHECK(LinesTell(pstOwn) == LinesTell(pstForeign));
}

// Lines as the exported reader gives them, or as the index builders see them.
static void LinesOfText(LinesWay *pstOwn, LinesWay *pstForeign, bool bBuilders) {
    CharsetOps *pstOps = FuzzConverterOps();
    static uint8_t s_au8Text[SVR_SUB_STR_OUT_MAX_LEN];
    uint32_t u32Used = 0;
    TextHead stHead = {};
    stHead.pstCharsetOps = pstOps;
    TextReader stReader =
        SvrTextReaderOf(&stHead, pstOwn->hUrl, pstOwn->pstProtocol, 7, pstOwn->au8Line, {s_au8Text, &u32Used});
    int32_t s32Foreign = 0;
    while (s32Foreign != -1) {
        s32Foreign = SvrSubReadLine(pstForeign->au8Line, pstForeign->hUrl, pstForeign->pstProtocol, pstOps, 7);
        TextSpan stLine = {pstOwn->au8Line, 0};
        const int32_t s32Own = bBuilders
                                   ? SvrTextReadRaw(&stReader, &stLine)
                                   : SvrSubReadLine(pstOwn->au8Line, pstOwn->hUrl, pstOwn->pstProtocol, pstOps, 7);
        LinesCheckSame(pstOwn, stLine.pu8Text, s32Own, pstForeign, s32Foreign);
    }
}

static void LinesOfIndex(LinesWay *pstOwn, LinesWay *pstForeign, int32_t s32Size) {
    int32_t s32Foreign = 1;
    while (s32Foreign > 0) {
        s32Foreign = IdxReadLine(pstForeign->au8Line, s32Size, pstForeign->pstProtocol, pstForeign->hUrl);
        const int32_t s32Own = IdxReadLine(pstOwn->au8Line, s32Size, pstOwn->pstProtocol, pstOwn->hUrl);
        LinesCheckSame(pstOwn, pstOwn->au8Line, s32Own, pstForeign, s32Foreign);
    }
}

static void LinesAtTheEndOfTheWindow(FuzzInput *pstInput, uint8_t u8Way) {
    static uint8_t s_au8File[LINES_WINDOW + LINES_TEXT_MAX];
    FuzzHostBegin();
    g_fuzzHost.stConverter.s32StreamType = FuzzTake8(pstInput) % 8;
    g_fuzzHost.stConverter.enConvert =
        g_fuzzHost.stConverter.s32StreamType != 7 ? FUZZ_CONVERT_COPIES : FUZZ_CONVERT_NONE;
    const uint32_t u32Size = FuzzTake16(pstInput);
    const size_t uBefore = std::min<size_t>({u32Size % 6000, FuzzLeft(pstInput), LINES_WINDOW});
    const size_t uLen = std::min(FuzzLeft(pstInput), LINES_TEXT_MAX);
    uint8_t *pu8Text = s_au8File + LINES_WINDOW - uBefore;
    memcpy(pu8Text, pstInput->pu8Cur, uLen);
    g_fuzzHost.astFile[FUZZ_FILE_MAIN] = {s_au8File, LINES_WINDOW - uBefore + uLen};
    LinesWay stOwn = LinesOpen(PellProtocolOf(&g_formatEntry), pu8Text - s_au8File);
    LinesWay stForeign = LinesOpen(FuzzMemoryProtocol(), pu8Text - s_au8File);
    if (u8Way == 0) {
        LinesOfIndex(&stOwn, &stForeign, static_cast<int32_t>(u32Size % (SVR_SUB_STR_IN_MAX_LEN + 1)));
    } else {
        LinesOfText(&stOwn, &stForeign, u8Way == 1);
    }
    LinesClose(&stOwn);
    LinesClose(&stForeign);
    FuzzHostEnd();
}

// All that a player is told of a file.
static void LinesOfAFormat(FuzzInput *pstInput, uint8_t u8Format) {
    static const char *const s_apszFormats[] = {"srt", "lrc", "smi", "sub", "ass", "idx"};
    LifeScript stScript = LifeTakeScript(pstInput);
    stScript.u8Faults = stScript.u8Repeats = 0;
    stScript.u8FailOpenAt = 0;
    stScript.u16FailReadAt = stScript.u16ShortReadAt = stScript.u16FailSeekAt = stScript.u16StopAt = 0;
    stScript.u8Protocol = LIFE_OWN;
    const uint64_t u64Own = LifeRun(s_apszFormats[u8Format % 6], &stScript, *pstInput);
    stScript.u8Protocol = LIFE_FOREIGN;
    FUZZ_CHECK(LifeRun(s_apszFormats[u8Format % 6], &stScript, *pstInput) == u64Own);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *pu8Data, size_t uSize) {
    FuzzInput stInput = {pu8Data, pu8Data + uSize};
    const uint8_t u8Way = FuzzTake8(&stInput) % 9;
    if (u8Way < 3) {
        LinesAtTheEndOfTheWindow(&stInput, u8Way);
    } else {
        LinesOfAFormat(&stInput, static_cast<uint8_t>(u8Way - 3));
    }
    return 0;
}
