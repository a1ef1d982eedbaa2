// The formats that go by the extension .sub: how each writes a cue, and what becomes of its text.
#include "subtitle/sub/sub_demuxer.h"

#include "platform/text/decimal.h"

#include <cfloat>
#include <cstring>

static_assert(FLT_EVAL_METHOD == 0, "times are rounded to their types at each step");

// Lines that a time line, and the end of a text, are looked for.
constexpr int32_t SUB_CUE_MAX_LINES = 50000;

// Frames per second where neither the file nor the host knows.
constexpr double SUB_DEFAULT_RATE = 30.0;

const uint8_t *SubScanMicrodvd(TextSpan stText, SubFrames *pstFrames) {
    const uint8_t *pu8End = SvrSpanEnd(stText);
    if (stText.s32Len == 0 || *stText.pu8Text != '{') {
        return nullptr;
    }
    const uint8_t *pu8Text = SvrScanInt64(stText.pu8Text + 1, pu8End, INT32_MAX, &pstFrames->s64Start);
    if (pu8Text == nullptr || pu8End - pu8Text < 3 || pu8Text[0] != '}' || pu8Text[1] != '{') {
        return nullptr;
    }
    pu8Text += 2;
    if (*pu8Text != '}') {
        pu8Text = SvrScanInt64(pu8Text, pu8End, INT32_MAX, &pstFrames->s64End);
        if (pu8Text == nullptr || pu8Text == pu8End || *pu8Text != '}') {
            return nullptr;
        }
    }
    pu8Text++;
    const bool bText = pu8Text < pu8End && *pu8Text != '\r' && *pu8Text != '\n' && *pu8Text != '\0';
    return bText ? pu8Text : nullptr;
}

int32_t SubTextLen(const uint8_t *pu8Text, const uint8_t *pu8End) {
    const ptrdiff_t sLine = pu8End - pu8Text < SVR_SUB_STR_IN_MAX_LEN ? pu8End - pu8Text : SVR_SUB_STR_IN_MAX_LEN - 1;
    size_t uLen = static_cast<size_t>(sLine);
    static const char s_achEnds[] = {'\n', '\r', '\0'};
    for (const char chEnd : s_achEnds) {
        const void *pvEnd = memchr(pu8Text, chEnd, uLen);
        uLen = pvEnd != nullptr ? static_cast<size_t>(static_cast<const uint8_t *>(pvEnd) - pu8Text) : uLen;
    }
    return static_cast<int32_t>(uLen);
}

// Reads numbers with these characters between them. How many were stored; *ppu8Text is the place after the last one.
static int32_t SubScanNumbers(const uint8_t **ppu8Text, const uint8_t *pu8End, const char *pszBetween,
                              int32_t *ps32Num) {
    const uint8_t *pu8Text = *ppu8Text;
    for (int32_t i = 0;; i++) {
        pu8Text = SvrScanInt(pu8Text, pu8End, INT32_MAX, &ps32Num[i]);
        if (pu8Text == nullptr) {
            return i;
        }
        *ppu8Text = pu8Text;
        const uint8_t u8Between = static_cast<uint8_t>(pszBetween[i]);
        if (u8Between == '\0' || pu8Text == pu8End ||
            (u8Between == '*' ? *pu8Text != '.' && *pu8Text != ',' : *pu8Text != u8Between)) {
            return i + 1;
        }
        pu8Text++;
    }
}

// The end of a time line behind its first time, which had this character before its fraction: only a point goes with a
// comma between the times. How many numbers were stored.
static int32_t SubScanEndTime(const uint8_t *pu8Text, const uint8_t *pu8End, uint8_t u8Separator, int32_t *ps32Num) {
    static const char s_aszArrow[] = "-->";
    constexpr ptrdiff_t ARROW_LEN = sizeof(s_aszArrow) - 1;
    if (u8Separator == '.' && pu8Text < pu8End && *pu8Text == ',') {
        pu8Text++;
        // Whole or not at all: the other form of the line has an arrow here.
        return SubScanNumbers(&pu8Text, pu8End, "::.", ps32Num) == 4 ? 4 : 0;
    }
    pu8Text = SvrSkipSpace(pu8Text, pu8End);
    if (pu8End - pu8Text < ARROW_LEN || memcmp(pu8Text, s_aszArrow, ARROW_LEN) != 0) {
        return 0;
    }
    pu8Text += ARROW_LEN;
    return SubScanNumbers(&pu8Text, pu8End, "::*", ps32Num);
}

int32_t SubScanSubviewer(TextSpan stText, int32_t *ps32Num) {
    const uint8_t *pu8End = SvrSpanEnd(stText);
    const uint8_t *pu8Text = SvrSkipSpace(stText.pu8Text, pu8End);
    if (pu8Text == pu8End || *pu8Text == '\0') {
        return -1;
    }
    const int32_t s32Stored = SubScanNumbers(&pu8Text, pu8End, "::", ps32Num);
    if (s32Stored < 3 || pu8Text == pu8End || (*pu8Text != '.' && *pu8Text != ',')) {
        return s32Stored;
    }
    const uint8_t u8Separator = *pu8Text;
    pu8Text = SvrScanInt(pu8Text + 1, pu8End, INT32_MAX, &ps32Num[3]);
    return pu8Text != nullptr ? 4 + SubScanEndTime(pu8Text, pu8End, u8Separator, ps32Num + 4) : 3;
}

bool SubScanDvdsub(TextSpan stText, int32_t *ps32Num) {
    const uint8_t *pu8Text = stText.pu8Text + 2;
    return stText.s32Len > 2 && stText.pu8Text[0] == '{' && stText.pu8Text[1] == 'T' &&
           SubScanNumbers(&pu8Text, SvrSpanEnd(stText), ":::", ps32Num) == 4;
}

bool SubScanMpsub(TextSpan stText, float *pfWait, float *pfDuration) {
    const uint8_t *pu8Text = SvrScanFloat(stText.pu8Text, SvrSpanEnd(stText), pfWait);
    return pu8Text != nullptr && SvrScanFloat(pu8Text, SvrSpanEnd(stText), pfDuration) != nullptr;
}

// The next line in search of a cue. As SubReadLineUTF8, with a message under the name; also -1 when a stop was asked
// for.
static int32_t SubSearchLine(SubDemuxerHdl *pstHdl, const char *pszFunc, TextSpan *pstText) {
    if (SvrTextStopped(&pstHdl->stHead)) {
        return -1;
    }
    const int32_t s32Len = SubReadLineUTF8(pstHdl, pstText);
    SVR_RETURN_UNLESS(s32Len != -1, pszFunc, "null");
    return s32Len;
}

// Ends a node's text before a position. In 32 bits; what comes out is checked when the cue is read.
static void SubEndText(IndexNode *pstNode, int64_t s64End) {
    pstNode->s32Size = static_cast<int32_t>(static_cast<uint32_t>(s64End) - static_cast<uint32_t>(pstNode->s64Offset));
}

// From one time to a later one, in 32 bits.
static uint32_t SubDurationOf(int64_t s64Start, int64_t s64End) {
    return s64End > s64Start ? static_cast<uint32_t>(s64End) - static_cast<uint32_t>(s64Start) : 0;
}

static int64_t SubClock(const int32_t *ps32Num) {
    return ps32Num[0] * INT64_C(3600000) + ps32Num[1] * INT64_C(60000) + ps32Num[2] * INT64_C(1000) + ps32Num[3];
}

// Finds the empty line that ends the node's text. A text without one has no size.
static int32_t SubReadForParse(SubDemuxerHdl *pstHdl, IndexNode *pstNode) {
    for (int32_t i = 0; i < SUB_CUE_MAX_LINES; i++) {
        int64_t s64Pos = 0;
        if (SubTakePos(pstHdl, __func__, &s64Pos) != 0) {
            return -1;
        }
        TextSpan stLine = {};
        const int32_t s32Len = SubReadRawLine(pstHdl, __func__, &stLine);
        if (s32Len <= 0) {
            SubEndText(pstNode, s64Pos);
            return s32Len;
        }
    }
    return 0;
}

static int32_t SubParseMicrodvd(SubDemuxerHdl *pstHdl, IndexNode *pstNode) {
    SubFrames stFrames = {-1, -1};
    int64_t s64Pos = 0;
    if (SubTakePos(pstHdl, __func__, &s64Pos) != 0) {
        return -1;
    }
    for (bool bFound = false; !bFound;) {
        TextSpan stText = {};
        if (SubSearchLine(pstHdl, __func__, &stText) == -1) {
            return -1;
        }
        bFound = SubScanMicrodvd(stText, &stFrames) != nullptr;
        pstNode->s64Offset = s64Pos;
        if (SubTakePos(pstHdl, __func__, &s64Pos) != 0) {
            return -1;
        }
    }
    pstNode->s64StartPts = stFrames.s64Start;
    pstNode->u32Duration = SubDurationOf(stFrames.s64Start, stFrames.s64End);
    SubEndText(pstNode, s64Pos);
    return 0;
}

static int32_t SubParseSubviewer(SubDemuxerHdl *pstHdl, IndexNode *pstNode) {
    int32_t as32Num[8] = {};
    int32_t s32Stored = 0;
    for (int32_t i = 0; i < SUB_CUE_MAX_LINES && s32Stored != 8; i++) {
        TextSpan stText = {};
        if (SubSearchLine(pstHdl, __func__, &stText) == -1) {
            return -1;
        }
        s32Stored = SubScanSubviewer(stText, as32Num);
        if (s32Stored < 0) {
            PlayerPrintf(PLAYER_LOG_ERROR, __func__, __LINE__, "[%s][%d], sscanf_s failed!", __func__, __LINE__);
            return -1;
        }
    }
    if (SubTakePos(pstHdl, __func__, &pstNode->s64Offset) != 0) {
        return -1;
    }
    pstNode->s64StartPts = SubClock(as32Num);
    pstNode->u32Duration = SubDurationOf(pstNode->s64StartPts, SubClock(as32Num + 4));
    return SubReadForParse(pstHdl, pstNode);
}

// Times run on from cue to cue, in single precision.
static int32_t SubParseMpsub(SubDemuxerHdl *pstHdl, IndexNode *pstNode) {
    float fWait = 0;
    float fDuration = 0;
    TextSpan stText = {};
    do {
        if (SubSearchLine(pstHdl, __func__, &stText) == -1) {
            return -1;
        }
    } while (!SubScanMpsub(stText, &fWait, &fDuration));
    if (SubTakePos(pstHdl, __func__, &pstNode->s64Offset) != 0) {
        return -1;
    }
    const double dWait = pstHdl->dFrameRate * static_cast<double>(fWait);
    pstHdl->fMpsubClock = static_cast<float>(static_cast<double>(pstHdl->fMpsubClock) + dWait);
    pstNode->s64StartPts = SubTruncate(static_cast<double>(pstHdl->fMpsubClock), INT64_MIN, INT64_MAX);
    const double dDuration = pstHdl->dFrameRate * static_cast<double>(fDuration);
    pstHdl->fMpsubClock = static_cast<float>(dDuration + static_cast<double>(pstHdl->fMpsubClock));
    pstNode->u32Duration = fDuration > 0 ? static_cast<uint32_t>(SubTruncate(dDuration, 0, UINT32_MAX)) : 0;
    return SubReadForParse(pstHdl, pstNode);
}

// Whether a raw line is a closing brace, in bytes or in UTF-16 of either order.
static bool SubIsDvdsubEnd(const uint8_t *pu8Line, int32_t s32Len) {
    return (s32Len >= 1 && pu8Line[0] == '}') || (s32Len >= 2 && pu8Line[1] == '}');
}

static int32_t SubParseDvdsub(SubDemuxerHdl *pstHdl, IndexNode *pstNode) {
    int32_t as32Num[4] = {};
    TextSpan stText = {};
    do {
        if (SubSearchLine(pstHdl, __func__, &stText) == -1) {
            return -1;
        }
    } while (!SubScanDvdsub(stText, as32Num));
    if (SubTakePos(pstHdl, __func__, &pstNode->s64Offset) != 0) {
        return -1;
    }
    pstNode->s64StartPts = SubClock(as32Num);
    for (int32_t i = 0; i < SUB_CUE_MAX_LINES; i++) {
        int64_t s64Pos = 0;
        if (SubTakePos(pstHdl, __func__, &s64Pos) != 0) {
            return -1;
        }
        TextSpan stLine = {};
        const int32_t s32Len = SubReadRawLine(pstHdl, __func__, &stLine);
        if (s32Len == -1) {
            return -1;
        }
        if (SubIsDvdsubEnd(stLine.pu8Text, s32Len)) {
            SubEndText(pstNode, s64Pos);
            break;
        }
    }
    return 0;
}

uint32_t SubConvertLineBreaks(const uint8_t *pu8Src, uint32_t u32SrcLen, uint8_t *pu8Dst, uint32_t u32DstLen) {
    const uint32_t u32Len = u32SrcLen < u32DstLen ? u32SrcLen : u32DstLen;
    uint32_t i = 0;
    while (i < u32Len) {
        const size_t uRun = strcspn(reinterpret_cast<const char *>(pu8Src), "|[");
        const uint32_t u32Plain = uRun < u32Len - i ? static_cast<uint32_t>(uRun) : u32Len - i;
        memmove(pu8Dst + i, pu8Src, u32Plain);
        i += u32Plain;
        pu8Src += u32Plain;
        if (i == u32Len || *pu8Src == '\0') {
            break;
        }
        // The last four bytes are too near the end for a break of four.
        const bool bTag = *pu8Src == '[' && i + 4 < u32Len && pu8Src[1] == 'b' && pu8Src[2] == 'r' && pu8Src[3] == ']';
        pu8Dst[i++] = bTag || *pu8Src == '|' ? '\n' : *pu8Src;
        pu8Src += bTag ? 4 : 1;
    }
    memset(pu8Dst + i, 0, u32Len - i);
    return u32Len;
}

// The host's frame rate: the lower half holds thousandths, but a number that ends in a zero is taken for tenths.
static double SubUnpackRate(uint32_t u32Packed) {
    if (u32Packed == 0) {
        return SUB_DEFAULT_RATE;
    }
    const uint32_t u32Fraction = u32Packed & 0xFFFF;
    return (u32Packed >> 16) + u32Fraction / (u32Fraction % 10 == 0 ? 10.0 : 1000.0);
}

// Frames become milliseconds, and the line its text.
static int32_t SubPostMicrodvd(SubDemuxerHdl *pstHdl, FmtFrame *pstFrame) {
    if (!(pstHdl->dFrameRate > 1.0)) {
        pstHdl->dFrameRate = SubUnpackRate(pstFrame->u32FrameRate);
    }
    const double dStart = static_cast<double>(pstFrame->s64Pts) * 1000.0;
    pstFrame->s64Pts = SubTruncate(dStart / pstHdl->dFrameRate, INT64_MIN, INT64_MAX);
    const uint32_t u32Frames = pstFrame->u32Duration * 1000;
    pstFrame->u32Duration = static_cast<uint32_t>(SubTruncate(u32Frames / pstHdl->dFrameRate, 0, UINT32_MAX));

    const TextSpan stLine = {pstFrame->pu8Data, static_cast<int32_t>(pstFrame->u32DataLen)};
    SubFrames stFrames = {};
    const uint8_t *pu8Text = SubScanMicrodvd(stLine, &stFrames);
    if (pu8Text == nullptr) {
        return -1;
    }
    // The text moves down over the braces before it.
    const ptrdiff_t sText = pu8Text - pstFrame->pu8Data;
    pstFrame->pu8Data[sText + SubTextLen(pu8Text, SvrSpanEnd(stLine))] = '\0';
    // The first size is that of a whole buffer; the text ends at its terminator.
    pstFrame->u32DataLen =
        SubConvertLineBreaks(pu8Text, SVR_SUB_STR_IN_MAX_LEN, pstFrame->pu8Data, pstFrame->u32DataLen);
    return 0;
}

// Turns breaks in the first bytes alone. Where a "[br]" shortened them, those behind stay where they were, and some
// stand twice.
static int32_t SubPost(SubDemuxerHdl *, FmtFrame *pstFrame) {
    pstFrame->u32DataLen =
        SubConvertLineBreaks(pstFrame->pu8Data, pstFrame->u32DataLen, pstFrame->pu8Data, SVR_SUB_STR_IN_MAX_LEN);
    return 0;
}

static int32_t SubPostNone(SubDemuxerHdl *, FmtFrame *) {
    return 0;
}

const SubFormatDesc g_subFormatTable[SUB_FORMAT_NUM] = {
    {SubParseMicrodvd, SubPostMicrodvd, "microdvd"},
    {SubParseSubviewer, SubPost, "subviewer"},
    {SubParseMpsub, SubPostNone, "mpsub"},
    {SubParseDvdsub, SubPostNone, "dvdsubtitle"},
};
