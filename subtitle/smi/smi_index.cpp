// SAMI file to language classes and cue index: class rules stand in the header, a line that begins with a sync tag
// opens a cue. The index keeps where that line stands; which class's text is taken from there is decided when it is
// read.
#include "subtitle/smi/smi_demuxer.h"

#include "subtitle/common/line_reader.h"
#include "subtitle/common/text_scan.h"

#include <cstring>

constexpr int32_t SMI_HEAD_MAX_LINES = 50000;
constexpr uint32_t SMI_LAST_DURATION = 5000;

// Times beyond it stop there: a start and a duration always add up within 64 bits.
constexpr int64_t SMI_TIME_MAX = INT64_MAX - UINT32_MAX;

const char SMI_INFOMATCH[9][15] = {
    "<SAMI>", "<HEAD>", "</HEAD>", "<BODY>", "</BODY>", "</SAMI>", "&nbsp;", "<P CLASS", "<sync start=",
};

SmiLine SmiReadLine(SmiDemuxerHdl *pstHdl, void *hUrl, Protocol *pstProtocol, TextSpan *pstText) {
    const TextHead *pstHead = &pstHdl->stHead;
    const int32_t s32Len = SvrSubReadLine(pstHdl->au8LineBuf, hUrl, pstProtocol, pstHead->pstCharsetOps,
                                          static_cast<int32_t>(pstHdl->u32CodeType));
    if (s32Len <= 0) {
        return s32Len < 0 ? SMI_LINE_END : SMI_LINE_EMPTY;
    }
    const TextBuf stBuf = {pstHdl->au8TransBuf, &pstHdl->u32TransUsed};
    return SvrTextView(pstHead, pstHdl->u32CodeType, {pstHdl->au8LineBuf, s32Len}, &stBuf, pstText) == 0
               ? SMI_LINE_TEXT
               : SMI_LINE_FAILED;
}

SmiTag SmiMatchTag(TextSpan stText, int32_t *ps32First) {
    const uint8_t *pu8End = stText.pu8Text + stText.s32Len;
    const uint8_t *pu8Tag = stText.pu8Text;
    while (pu8Tag < pu8End && *pu8Tag == ' ') {
        pu8Tag++;
    }
    *ps32First = static_cast<int32_t>(pu8Tag - stText.pu8Text);
    if (pu8Tag == pu8End || (*pu8Tag != '<' && *pu8Tag != '&')) {
        return SMI_TAG_NONE;
    }
    int32_t s32Tag = SMI_TAG_SAMI;
    while (s32Tag < SMI_TAG_NONE && !SvrBeginsWith(SvrSpanFrom(stText, *ps32First), SMI_INFOMATCH[s32Tag])) {
        s32Tag++;
    }
    return static_cast<SmiTag>(s32Tag);
}

// The value of the digits that the text begins with.
static int64_t SmiScanDigits(const uint8_t *pu8Text, const uint8_t *pu8End) {
    int64_t s64Value = 0;
    for (; pu8Text < pu8End && SvrIsDigit(*pu8Text); pu8Text++) {
        const int64_t s64Digit = *pu8Text - '0';
        s64Value = s64Value <= (SMI_TIME_MAX - s64Digit) / 10 ? s64Value * 10 + s64Digit : SMI_TIME_MAX;
    }
    return s64Value;
}

// The number after "End=" as atoll reads it.
static int64_t SmiScanEnd(const uint8_t *pu8Text, const uint8_t *pu8End) {
    pu8Text = SvrSkipSpace(pu8Text, pu8End);
    const bool bSigned = pu8Text < pu8End && (*pu8Text == '-' || *pu8Text == '+');
    const bool bNegative = bSigned && *pu8Text == '-';
    const int64_t s64Value = SmiScanDigits(pu8Text + (bSigned ? 1 : 0), pu8End);
    return bNegative ? -s64Value : s64Value;
}

bool SmiGetPts(int64_t *ps64Start, int64_t *ps64End, TextSpan stText) {
    stText = SvrSpanUpToZero(stText);
    const uint8_t *pu8Text = stText.pu8Text;
    const uint8_t *pu8End = SvrSpanEnd(stText);
    if (ps64End != nullptr) {
        const uint8_t *pu8Number = SvrFindBehind(stText, "End=");
        *ps64End = pu8Number != nullptr ? SmiScanEnd(pu8Number, pu8End) : -1;
    }
    while (pu8Text < pu8End && !SvrIsDigit(*pu8Text)) {
        pu8Text++;
    }
    if (pu8Text == pu8End) {
        return false;
    }
    *ps64Start = SmiScanDigits(pu8Text, pu8End);
    return true;
}

// Copies what follows the property's name, without blanks; a longer value is cut. A value ends at '-' too, so that
// "ko-KR" gives "ko".
static void SmiGetProperty(TextSpan stText, const char *pszName, char *pszSlot) {
    const uint8_t *pu8Value = SvrFindBehind(stText, pszName);
    const uint8_t *pu8End = SvrSpanEnd(stText);
    int32_t s32Len = 0;
    for (; pu8Value != nullptr && pu8Value < pu8End && s32Len < SMI_CLASS_TEXT_SIZE - 1; pu8Value++) {
        if (*pu8Value == '-' || *pu8Value == ';' || *pu8Value == '}') {
            break;
        }
        if (*pu8Value != ' ') {
            pszSlot[s32Len++] = static_cast<char>(*pu8Value);
        }
    }
}

static void SmiGetSubLang(SmiDemuxerHdl *pstHdl, TextSpan stText) {
    stText = SvrSpanUpToZero(stText);
    SmiGetProperty(stText, "Name:", pstHdl->aszClassName[pstHdl->s32ClassNum]);
    SmiGetProperty(stText, "Lang:", pstHdl->aszClassLang[pstHdl->s32ClassNum]);
}

// Takes what a header line says. False when the line ends the header.
static bool SmiTakeHeadLine(SmiDemuxerHdl *pstHdl, TextSpan stText) {
    int32_t s32First = 0;
    const SmiTag enTag = SmiMatchTag(stText, &s32First);
    if (enTag == SMI_TAG_HEAD_END) {
        pstHdl->s64BodyPos = SvrSubTell(pstHdl->stHead.hUrl, pstHdl->stHead.pstProtocol);
    }
    if (enTag >= SMI_TAG_HEAD_END && enTag != SMI_TAG_NONE) {
        return false;
    }
    if (s32First < stText.s32Len && stText.pu8Text[s32First] == '.' && pstHdl->s32ClassNum < SMI_CLASS_MAX_NUM) {
        SmiGetSubLang(pstHdl, SvrSpanFrom(stText, s32First));
        pstHdl->s32ClassNum++;
    }
    return true;
}

int32_t SmiSkipHead(SmiDemuxerHdl *pstHdl) {
    const TextHead *pstHead = &pstHdl->stHead;
    SVR_RETURN_UNLESS(SvrSubSkipHeader(pstHead->hUrl, pstHead->pstProtocol, pstHead->hCharset, pstHead->pstCharsetOps,
                                       static_cast<int32_t>(pstHdl->u32CodeType)) != -1,
                      __func__, "Skip SMI file header failed!");
    SVR_RETURN_UNLESS(!SvrSubSeekFailed(pstHead->pstProtocol->url_seek(pstHead->hUrl, pstHdl->s64BodyPos, 0)), __func__,
                      "Seek SMI file failed!");
    for (int32_t i = 0; i < SMI_HEAD_MAX_LINES; i++) {
        pstHdl->s64BodyPos = SvrSubTell(pstHead->hUrl, pstHead->pstProtocol);
        TextSpan stText = {};
        const SmiLine enLine = SmiReadLine(pstHdl, pstHead->hUrl, pstHead->pstProtocol, &stText);
        SVR_RETURN_UNLESS(enLine != SMI_LINE_FAILED, __func__, "null");
        if (enLine == SMI_LINE_END || (enLine == SMI_LINE_TEXT && !SmiTakeHeadLine(pstHdl, stText))) {
            break;
        }
    }
    return 0;
}

// The distance between two times, as far as a duration holds it.
static uint32_t SmiDistance(int64_t s64Left, int64_t s64Right) {
    const uint64_t u64Left = static_cast<uint64_t>(s64Left);
    const uint64_t u64Right = static_cast<uint64_t>(s64Right);
    return static_cast<uint32_t>(s64Left > s64Right ? u64Left - u64Right : u64Right - u64Left);
}

// Adds a cue with the times of the sync tag last read. One without an end lasts until the next one in the file.
static int32_t SmiNodeSave(SmiDemuxerHdl *pstHdl, int64_t s64Offset) {
    const IndexNode stNode = {
        .s64StartPts = pstHdl->s64SyncStart,
        .s64Offset = s64Offset,
        .s32Size = 0,
        .u32Duration =
            pstHdl->s64SyncEnd != -1 ? SmiDistance(pstHdl->s64SyncEnd, pstHdl->s64SyncStart) : SUB_DURATION_UNKNOWN,
    };
    SVR_RETURN_UNLESS(
        SvrIndexAppend(&pstHdl->pstSmiIndexNodeList, &pstHdl->u32MaxIndexNum, &pstHdl->u32IndexNum, &stNode) == 0,
        __func__, "realloc smiIndexNodeList failuer");
    if (pstHdl->u32IndexNum > 1) {
        IndexNode *pstPrev = &pstHdl->pstSmiIndexNodeList[pstHdl->u32IndexNum - 2];
        pstPrev->u32Duration = pstPrev->u32Duration == SUB_DURATION_UNKNOWN
                                   ? SmiDistance(stNode.s64StartPts, pstPrev->s64StartPts)
                                   : pstPrev->u32Duration;
    }
    return 0;
}

// Whether the line opens a cue; its times are then in the handle.
static bool SmiMatchSync(SmiDemuxerHdl *pstHdl, TextSpan stText) {
    int32_t s32First = 0;
    return SmiMatchTag(stText, &s32First) == SMI_TAG_SYNC &&
           SmiGetPts(&pstHdl->s64SyncStart, &pstHdl->s64SyncEnd, SvrSpanFrom(stText, s32First));
}

// Indexes the lines from the current position on. 0 when they were read to their end.
static int32_t SmiNodeParse(SmiDemuxerHdl *pstHdl, void *hUrl, Protocol *pstProtocol) {
    for (;;) {
        const int64_t s64Pos = SvrSubTell(hUrl, pstProtocol);
        SVR_RETURN_UNLESS(!SvrSubSeekFailed(s64Pos), __func__, "seek fail!");
        SVR_RETURN_UNLESS(!SvrTextStopped(&pstHdl->stHead), __func__, "stop reading smi subtitle");
        TextSpan stText = {};
        const SmiLine enLine = SmiReadLine(pstHdl, hUrl, pstProtocol, &stText);
        if (enLine == SMI_LINE_END) {
            return 0;
        }
        SVR_RETURN_UNLESS(enLine != SMI_LINE_FAILED, __func__, "null");
        if (enLine == SMI_LINE_TEXT && SmiMatchSync(pstHdl, stText)) {
            SVR_RETURN_UNLESS(SmiNodeSave(pstHdl, s64Pos) == 0, __func__, "null");
        }
    }
}

static int SmiNodeCompare(const void *pvLeft, const void *pvRight) {
    return SvrIndexCompareStart(pvLeft, pvRight);
}

int32_t SmiParse(SmiDemuxerHdl *pstHdl, void *hUrl, Protocol *pstProtocol) {
    SVR_RETURN_UNLESS(pstHdl != nullptr && hUrl != nullptr && pstProtocol != nullptr, __func__, "invalid param");
    pstHdl->u32IndexNum = 0;
    pstHdl->u32CurIndex = 0;
    SVR_RETURN_UNLESS(!SvrSubSeekFailed(pstProtocol->url_seek(hUrl, pstHdl->s64BodyPos, 0)), __func__,
                      "Seek SMI file failed!");
    if (SmiNodeParse(pstHdl, hUrl, pstProtocol) != 0) {
        SVR_LOG_RESULT(__func__, "null", -1);
    } else if (pstHdl->u32IndexNum > 0) {
        IndexNode *pstLast = &pstHdl->pstSmiIndexNodeList[pstHdl->u32IndexNum - 1];
        pstLast->u32Duration = pstLast->u32Duration == SUB_DURATION_UNKNOWN ? SMI_LAST_DURATION : pstLast->u32Duration;
    }
    SvrIndexSort(pstHdl->pstSmiIndexNodeList, pstHdl->u32IndexNum, sizeof(IndexNode), SmiNodeCompare);
    return 0;
}
