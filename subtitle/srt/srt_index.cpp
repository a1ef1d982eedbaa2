// SubRip file to cue index: a time line opens a cue, an empty line closes it. The index keeps where the text stands,
// not the text.
#include "subtitle/srt/srt_demuxer.h"

#include "subtitle/common/clock_scan.h"
#include "subtitle/common/line_reader.h"
#include "subtitle/common/text_reader.h"

// "hh:mm:ss,mmm"
static constexpr ClockForm s_stSrtClock = {3, 1, ",.:"};

// Most lines are text or a number. The shortest time line is "0:0:0,0-->0:0:0,0".
static bool SrtMayBeTimeLine(TextSpan stText) {
    return stText.s32Len >= 17 && !SvrIsAlpha(stText.pu8Text[0]);
}

bool SrtScanTimeLine(TextSpan stText, int64_t *ps64Start, int64_t *ps64End) {
    const uint8_t *pu8End = SvrSpanEnd(stText);
    const uint8_t *pu8Text = SvrScanClock(stText.pu8Text, pu8End, &s_stSrtClock, ps64Start);
    if (pu8Text == nullptr) {
        return false;
    }
    pu8Text = SvrSkipSpace(pu8Text, pu8End);
    if (pu8End - pu8Text < 3 || pu8Text[0] != '-' || pu8Text[1] != '-' || pu8Text[2] != '>') {
        return false;
    }
    return SvrScanClock(pu8Text + 3, pu8End, &s_stSrtClock, ps64End) != nullptr;
}

static void SrtSort(SrtDemuxerHdl *pstHdl) {
    pstHdl->bEndsAscend = SvrIndexFinish(pstHdl->pstSrtIndexNodeList, pstHdl->u32IndexNum, SvrIndexCompareStart);
}

// Gives the last node its size, when it has none yet: s32After bytes before s64Cur do not belong to it. The arithmetic
// is that of 32 bits; what comes out is checked when the cue is read.
static void SrtCloseCue(SrtDemuxerHdl *pstHdl, bool *pbPending, int64_t s64Cur, int32_t s32After) {
    if (*pbPending) {
        IndexNode *pstLast = &pstHdl->pstSrtIndexNodeList[pstHdl->u32IndexNum - 1];
        pstLast->s32Size =
            static_cast<int32_t>(static_cast<uint32_t>(s64Cur) - static_cast<uint32_t>(pstLast->s64Offset) -
                                 static_cast<uint32_t>(s32After));
        *pbPending = false;
    }
}

static int32_t SrtAddCue(SrtDemuxerHdl *pstHdl, int64_t s64Start, int64_t s64End, int64_t s64Offset) {
    const IndexNode stNode = {
        .s64StartPts = s64Start,
        .s64Offset = s64Offset,
        .s32Size = 0,
        .u32Duration = s64End >= s64Start ? static_cast<uint32_t>(s64End - s64Start) : SUB_DURATION_UNKNOWN,
    };
    return SvrIndexAppend(&pstHdl->pstSrtIndexNodeList, &pstHdl->u32MaxIndexNum, &pstHdl->u32IndexNum, &stNode);
}

static int32_t SrtNodeParse(SrtDemuxerHdl *pstHdl, void *hUrl, Protocol *pstProtocol) {
    TextReader stReader = SvrTextReaderOf(&pstHdl->stHead, hUrl, pstProtocol, pstHdl->u32CodeType, pstHdl->au8LineBuf,
                                          SrtFrameBuf(pstHdl));
    bool bPending = false;  // the last cue has no size yet
    int32_t s32PrevLen = 0; // length of the text line before this one: the cue's number, when this is a time line
    int64_t s64Start = 0;
    int64_t s64End = 0;
    for (;;) {
        if (SvrTextStopped(&pstHdl->stHead)) {
            PlayerPrintf(PLAYER_LOG_ERROR, __func__, __LINE__, "stop reading srt subtitle");
            SrtSort(pstHdl);
            return -1;
        }
        TextSpan stText = {};
        const int32_t s32Len = SvrTextReadRaw(&stReader, &stText);
        const int64_t s64Cur = SvrTextTell(&stReader);
        if (s32Len <= 0) {
            SrtCloseCue(pstHdl, &bPending, s64Cur, 0);
            if (s32Len == 0) {
                continue;
            }
            SrtSort(pstHdl);
            return 0;
        }
        const TextLine enLine = SvrTextConvert(&stReader, &stText);
        if (enLine == TEXT_LINE_FAILED) {
            SVR_LOG_RESULT("SrtGetPts", "null", -1);
        }
        if (enLine == TEXT_LINE_READ && SrtMayBeTimeLine(stText) && SrtScanTimeLine(stText, &s64Start, &s64End)) {
            // No empty line before this cue: the one before ends ahead of the number line. Lengths count a line end
            // as one byte, so the 2 are carriage returns; a file without those loses a last letter and line end.
            SrtCloseCue(pstHdl, &bPending, s64Cur, s32Len + s32PrevLen + 2);
            if (SrtAddCue(pstHdl, s64Start, s64End, s64Cur) != 0) {
                return -1;
            }
            bPending = true;
        }
        s32PrevLen = s32Len;
    }
}

int32_t SrtParse(SrtDemuxerHdl *pstHdl, void *hUrl, Protocol *pstProtocol) {
    if (pstHdl->pstSrtIndexNodeList == nullptr) {
        return -1;
    }
    pstHdl->u32IndexNum = 0;
    pstHdl->bEndsAscend = 0;
    pstHdl->u32CurIndex = 0;
    const int32_t s32Marks = SvrTextSkipMarks(&pstHdl->stHead, hUrl, pstProtocol, pstHdl->u32CodeType);
    SVR_RETURN_UNLESS(s32Marks != -1, __func__, "Skip header failed!");
    pstHdl->s64StartPos = s32Marks;
    SVR_RETURN_UNLESS(!SvrSubSeekFailed(pstProtocol->url_seek(hUrl, pstHdl->s64StartPos, 0)), __func__,
                      "seek to s64StartPos failed!");
    return SrtNodeParse(pstHdl, hUrl, pstProtocol);
}
