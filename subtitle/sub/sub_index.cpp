// Text SUB file to cue index: the first line that only one of the formats knows tells which it is; that one's parser
// then reads cue after cue. The index keeps where the text stands, not the text.
#include "subtitle/sub/sub_demuxer.h"

#include "platform/text/decimal.h"
#include "subtitle/common/line_reader.h"

#include <cstring>

// Lines that are looked at to tell the format, empty ones included.
constexpr int32_t SUB_DETECT_MAX_LINES = 100;

// "FORMAT=TIME" counts in seconds.
constexpr double SUB_MPSUB_SECOND = 1000.0;

int32_t SubReadRawLine(SubDemuxerHdl *pstHdl, const char *pszFunc, TextSpan *pstLine) {
    const int32_t s32Len = SvrTextReadRaw(&pstHdl->stReader, pstLine);
    SVR_RETURN_UNLESS(s32Len != -1, pszFunc, "null");
    return s32Len;
}

int32_t SubReadLineUTF8(SubDemuxerHdl *pstHdl, TextSpan *pstText) {
    int32_t s32Len = 0;
    const TextLine enLine = SvrTextReadLine(&pstHdl->stReader, pstText, &s32Len);
    if (enLine == TEXT_LINE_EMPTY) {
        *pstText = {pstHdl->au8TextBuf, 0};
        return 0;
    }
    SVR_RETURN_UNLESS(enLine != TEXT_LINE_END, __func__, "null");
    SVR_RETURN_UNLESS(enLine != TEXT_LINE_FAILED, __func__, "SVR_SUB_TRANSCODE_Line failed!");
    return pstText->s32Len;
}

int32_t SubTakePos(const SubDemuxerHdl *pstHdl, const char *pszFunc, int64_t *ps64Pos) {
    *ps64Pos = SvrTextTell(&pstHdl->stReader);
    SVR_RETURN_UNLESS(*ps64Pos != -1, pszFunc, "ERREOR!Seek fail");
    return 0;
}

static bool SubIsRate(const uint8_t *pu8Text, int32_t s32Len) {
    for (int32_t i = 0; i < s32Len; i++) {
        if (!SvrIsDigit(pu8Text[i]) && pu8Text[i] != '.') {
            return false;
        }
    }
    return true;
}

// Looks whether the text of a MicroDVD line is a frame rate; cues then begin behind that line. 0 or -1.
static int32_t SubGetFormat(SubDemuxerHdl *pstHdl, const uint8_t *pu8Text, const uint8_t *pu8End) {
    const int32_t s32Len = SubTextLen(pu8Text, pu8End);
    if (SubIsRate(pu8Text, s32Len)) {
        pstHdl->dFrameRate = 0;
        SvrScanDouble(pu8Text, pu8Text + s32Len, &pstHdl->dFrameRate);
        PlayerPrintf(PLAYER_LOG_WARNING, __func__, __LINE__, "Read frame rate from file:%f, text:%.*s",
                     pstHdl->dFrameRate, s32Len, reinterpret_cast<const char *>(pu8Text));
        int64_t s64Pos = 0;
        if (SubTakePos(pstHdl, __func__, &s64Pos) != 0) {
            return -1;
        }
        pstHdl->u32StartPos = static_cast<uint32_t>(s64Pos);
    }
    pstHdl->dFrameRate = pstHdl->dFrameRate <= 0 ? 1.0 : pstHdl->dFrameRate;
    return 0;
}

// Reads an MPSub header line.
static bool SubScanMpsubFormat(TextSpan stText, double *pdFrameRate) {
    static const char s_aszFormat[] = "FORMAT=";
    static const char s_aszTime[] = "TIME";
    constexpr int32_t s32FormatLen = sizeof(s_aszFormat) - 1;
    constexpr int32_t s32TimeLen = sizeof(s_aszTime) - 1;
    if (stText.s32Len <= s32FormatLen || memcmp(stText.pu8Text, s_aszFormat, s32FormatLen) != 0) {
        return false;
    }
    const TextSpan stValue = SvrSpanFrom(stText, s32FormatLen);
    int32_t s32Unit = 0;
    if (SvrScanInt(stValue.pu8Text, SvrSpanEnd(stValue), INT32_MAX, &s32Unit) != nullptr) {
        *pdFrameRate = s32Unit;
        return true;
    }
    if (stValue.s32Len >= s32TimeLen && memcmp(stValue.pu8Text, s_aszTime, s32TimeLen) == 0) {
        *pdFrameRate = SUB_MPSUB_SECOND;
        return true;
    }
    return false;
}

// The format that a line belongs to.
static SubFormat SubMatchLine(SubDemuxerHdl *pstHdl, TextSpan stText) {
    int32_t as32Num[8] = {};
    if (*stText.pu8Text == '{') {
        SubFrames stFrames = {};
        const uint8_t *pu8Text = SubScanMicrodvd(stText, &stFrames);
        if (pu8Text != nullptr) {
            return SubGetFormat(pstHdl, pu8Text, SvrSpanEnd(stText)) == 0 ? SUB_FORMAT_MICRODVD : SUB_FORMAT_NONE;
        }
        return SubScanDvdsub(stText, as32Num) ? SUB_FORMAT_DVDSUB : SUB_FORMAT_NONE;
    }
    if (SubScanMpsubFormat(stText, &pstHdl->dFrameRate)) {
        pstHdl->fMpsubClock = 0;
        return SUB_FORMAT_MPSUB;
    }
    return SubScanSubviewer(stText, as32Num) == 8 ? SUB_FORMAT_SUBVIEWER : SUB_FORMAT_NONE;
}

// Lines from the current position on.
static void SubBeginLines(SubDemuxerHdl *pstHdl) {
    const TextHead *pstHead = &pstHdl->stHead;
    pstHdl->stReader = SvrTextReaderOf(pstHead, pstHead->hUrl, pstHead->pstProtocol, pstHdl->u32CodeType,
                                       pstHdl->au8LineBuf, SubTextBuf(pstHdl));
}

static SubFormat SubAutodetect(SubDemuxerHdl *pstHdl) {
    SubBeginLines(pstHdl);
    for (int32_t i = 0; i < SUB_DETECT_MAX_LINES; i++) {
        TextSpan stText = {};
        const int32_t s32Len = SubReadLineUTF8(pstHdl, &stText);
        if (s32Len == -1) {
            SVR_LOG_RESULT(__func__, "null", -1);
            return SUB_FORMAT_NONE;
        }
        const SubFormat enFormat = s32Len != 0 ? SubMatchLine(pstHdl, stText) : SUB_FORMAT_NONE;
        if (enFormat != SUB_FORMAT_NONE) {
            return enFormat;
        }
    }
    return SUB_FORMAT_NONE;
}

// Gathers the cues. 0, or -1 when there is none or the build was stopped.
static int32_t SubParseNode(SubDemuxerHdl *pstHdl) {
    SubBeginLines(pstHdl);
    for (;;) {
        IndexNode stNode = {};
        const bool bFound = !SvrTextStopped(&pstHdl->stHead) && pstHdl->pstSubFormat->pfnParse(pstHdl, &stNode) == 0;
        if (!bFound && SvrTextStopped(&pstHdl->stHead)) {
            PlayerPrintf(PLAYER_LOG_ERROR, __func__, __LINE__, "stop reading sub subtitle");
            return -1;
        }
        if (!bFound) {
            pstHdl->bEndsAscend = SvrIndexEndsAscend(pstHdl->pstSubIndexNodeList, pstHdl->u32IndexNum);
            return pstHdl->u32IndexNum == 0 ? -1 : 0;
        }
        if (SvrIndexAppend(&pstHdl->pstSubIndexNodeList, &pstHdl->u32MaxIndexNum, &pstHdl->u32IndexNum, &stNode) != 0) {
            return 0;
        }
    }
}

int32_t SubParse(SubDemuxerHdl *pstHdl, void *hUrl, Protocol *pstProtocol) {
    if (pstHdl->pstSubIndexNodeList == nullptr) {
        return -1;
    }
    pstHdl->u32IndexNum = 0;
    pstHdl->bEndsAscend = 0;
    pstHdl->u32CurIndex = 0;
    const int32_t s32Marks = SvrTextSkipMarks(&pstHdl->stHead, hUrl, pstProtocol, pstHdl->u32CodeType);
    SVR_RETURN_UNLESS(s32Marks != -1, __func__, "Skip sub header failed!");
    pstHdl->u32StartPos = static_cast<uint32_t>(s32Marks);
    const int64_t s64Pos = pstProtocol->url_seek(hUrl, pstHdl->u32StartPos, 0);
    SVR_RETURN_UNLESS(!SvrSubSeekFailed(s64Pos), __func__, "Seek sub file failed!");
    PlayerPrintf(PLAYER_LOG_WARNING, __func__, __LINE__, "Set start pos to %d", static_cast<int32_t>(s64Pos));

    const SubFormat enFormat = SubAutodetect(pstHdl);
    SVR_RETURN_UNLESS(enFormat != SUB_FORMAT_NONE, __func__,
                      "Format detect failed. It is not a MicroDvd/MPSUB/Subviewer/DVDSub file!");
    pstHdl->s32FormatIndex = enFormat;
    pstHdl->pstSubFormat = &g_subFormatTable[enFormat];
    pstProtocol->url_seek(hUrl, pstHdl->u32StartPos, 0);
    PlayerPrintf(PLAYER_LOG_WARNING, __func__, __LINE__, "Detected Sub type:%s", pstHdl->pstSubFormat->pszName);
    return SubParseNode(pstHdl);
}
