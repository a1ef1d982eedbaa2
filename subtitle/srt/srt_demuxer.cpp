// SubRip operations: one stream of cues, each read again from the file, converted, and freed of its formatting tags.
#include "subtitle/srt/srt_demuxer.h"

#include "platform/text/ascii.h"
#include "subtitle/common/line_reader.h"

#include <cstdlib>
#include <cstring>

// A text being cleaned in place: length bytes, and room for a terminator behind them.
struct SrtText {
    uint8_t *pu8Text;
    uint32_t u32Len;
};

static uint32_t *SrtCodeType(void *hFmt) {
    return &static_cast<SrtDemuxerHdl *>(hFmt)->u32CodeType;
}

static int32_t SrtReindex(void *hFmt) {
    SrtDemuxerHdl *pstHdl = static_cast<SrtDemuxerHdl *>(hFmt);
    return SrtParse(pstHdl, pstHdl->stHead.hUrl, pstHdl->stHead.pstProtocol);
}

static void SrtFreeOwn(void *hFmt) {
    free(static_cast<SrtDemuxerHdl *>(hFmt)->pstSrtIndexNodeList);
}

static constexpr TextTraits s_stSrtTraits = {
    .pstEntry = &g_srtDemuxer,
    .u32Format = SUB_STREAM_FORMAT_SRT,
    .u32HdlSize = sizeof(SrtDemuxerHdl),
    .s32CreateFailedLevel = PLAYER_LOG_ERROR,
    .s32UnknownLevel = PLAYER_LOG_WARNING,
    .s32ResetLevel = PLAYER_LOG_WARNING,
    .pszInvalid = "invalid param",
    .pszNotOpen = "file not open",
    .pszOpenNoSlot = "null",
    .pszOpenRefused = "not support demuxer",
    .pszCloseNoProtocol = "pstProtocol is null",
    .pszCloseNoSlot = "url_close is null",
    .pszReindexFailed = "SRT:reparse index failed!",
    .pfnCodeType = SrtCodeType,
    .pfnReindex = SrtReindex,
    .pfnFreeOwn = SrtFreeOwn,
};

static int32_t SrtDemuxerFind(const char *pszUrl, Protocol *pstProtocol) {
    SVR_RETURN_UNLESS(pszUrl != nullptr, __func__, "invalid param");
    SVR_RETURN_UNLESS(pstProtocol != nullptr, __func__, "pstProtocol is null");
    SVR_RETURN_UNLESS(pstProtocol->url_open != nullptr, __func__, "url_open is null");
    SVR_RETURN_UNLESS(pstProtocol->url_read != nullptr, __func__, "url_read is null");
    SVR_RETURN_UNLESS(pstProtocol->url_close != nullptr, __func__, "url_close is null");
    return SvrTextFind(__func__, &g_srtDemuxer, pszUrl, PLAYER_LOG_WARNING, "use pellplayer srt demuxer!ext match",
                       nullptr);
}

int32_t SrtDemuxerInitFileInfo(SrtDemuxerHdl *pstHdl, const char *pszUrl) {
    SubStreamInfo *pstStream = SvrTextDescribeStream(__func__, &s_stSrtTraits, &pstHdl->stHead, pszUrl);
    return SvrSubGetLang(strrchr(pszUrl, '/'), pstStream->aszLang, sizeof(pstStream->aszLang), "srt");
}

static int32_t SrtDemuxerOpen(const char *pszUrl, Protocol *pstProtocol, void **phFmt) {
    SrtDemuxerHdl *pstHdl =
        static_cast<SrtDemuxerHdl *>(SvrTextOpen(__func__, __func__, &s_stSrtTraits, pszUrl, pstProtocol, phFmt));
    if (pstHdl == nullptr) {
        return -1;
    }
    pstHdl->pstSrtIndexNodeList = static_cast<IndexNode *>(PlayerMallocZ(SVR_INDEX_STEP * sizeof(IndexNode)));
    pstHdl->u32MaxIndexNum = SVR_INDEX_STEP;
    if (pstHdl->pstSrtIndexNodeList == nullptr || SvrTextAddStreams(&pstHdl->stHead.stFileInfo, 1) != 0) {
        SvrTextRelease(__func__, &s_stSrtTraits, &pstHdl->stHead);
        return -1;
    }
    SrtDemuxerInitFileInfo(pstHdl, pszUrl);
    *phFmt = pstHdl;
    pstHdl->stHead.bFileOpen = 1;
    return 0;
}

static int32_t SrtDemuxerFindStream(void *hFmt, int32_t) {
    SrtDemuxerHdl *pstHdl = static_cast<SrtDemuxerHdl *>(hFmt);
    SVR_RETURN_UNLESS(pstHdl != nullptr && pstHdl->stHead.pstProtocol != nullptr && pstHdl->stHead.bFileOpen != 0 &&
                          pstHdl->stHead.hUrl != nullptr,
                      __func__, "invalid param");
    TextHead *pstHead = &pstHdl->stHead;
    const ProgramInfo *pstProgram = pstHead->stFileInfo.pastProgramInfo;
    SVR_RETURN_UNLESS(pstHead->pstProtocol->url_seek != nullptr, __func__, "url_seek is null");
    SVR_RETURN_UNLESS(pstProgram != nullptr, __func__, "pastProgramInfo is null");
    SVR_RETURN_UNLESS(pstProgram->pastSubStream != nullptr, __func__, "pastSubStream is null");

    SvrTextCreateCharset(__func__, &s_stSrtTraits, pstHead);
    pstHdl->u32CodeType = SvrTextIdentify(__func__, &s_stSrtTraits, pstHead);
    pstProgram->pastSubStream[0].u32CodeType = pstHdl->u32CodeType;
    SVR_RETURN_UNLESS(SrtParse(pstHdl, pstHead->hUrl, pstHead->pstProtocol) == 0, __func__, "_SRT_NODE_Parse failed!");
    pstHead->pstProtocol->url_seek(pstHead->hUrl, 0, 0);
    return 0;
}

static int32_t SrtDemuxerGetInfo(void *hFmt, FileInfo **ppstInfo) {
    return SvrTextGetInfo(__func__, &s_stSrtTraits, hFmt, ppstInfo);
}

static int32_t SrtDemuxerReadChk(const SrtDemuxerHdl *pstHdl, const FmtFrame *pstFrame) {
    SVR_RETURN_UNLESS(pstHdl != nullptr && pstFrame != nullptr, __func__, "invalid param");
    SVR_RETURN_UNLESS(pstHdl->stHead.bFileOpen != 0, __func__, "file not open");
    SVR_RETURN_UNLESS(pstHdl->pstSrtIndexNodeList != nullptr, __func__, "pstSrtIndexNodeList is null");
    SVR_RETURN_UNLESS(pstHdl->stHead.pstProtocol != nullptr, __func__, "pstProtocol is null");
    SVR_RETURN_UNLESS(pstHdl->stHead.pstProtocol->url_seek != nullptr, __func__, "url_seek is null");
    SVR_RETURN_UNLESS(pstHdl->stHead.pstProtocol->url_read != nullptr, __func__, "url_read is null");
    return 0;
}

// Checks the cue's size against the buffer and moves to its text. 0 or -1.
static int32_t SrtDemuxerReadFramePre(const SrtDemuxerHdl *pstHdl, const IndexNode *pstNode) {
    if (pstNode->s32Size >= SVR_SUB_STR_IN_MAX_LEN) {
        PlayerPrintf(PLAYER_LOG_WARNING, __func__, __LINE__, "a line is larger than SVR_SUB_STR_IN_MAX_LEN");
        return -1;
    }
    if (SvrSubSeekFailed(pstHdl->stHead.pstProtocol->url_seek(pstHdl->stHead.hUrl, pstNode->s64Offset, 0))) {
        PlayerPrintf(PLAYER_LOG_WARNING, __func__, __LINE__, "seek to s64Offset failed!");
        return -1;
    }
    return 0;
}

// Reads the cue's bytes and converts them into the frame buffer. 0 with the text, or -1.
static int32_t SrtDemuxerReadTransCodeFrame(SrtDemuxerHdl *pstHdl, const IndexNode *pstNode, SrtText *pstText) {
    const TextBuf stBuf = SrtFrameBuf(pstHdl);
    int32_t s32OutLen = 0;
    const TextCue enCue =
        SvrTextReadCue(&pstHdl->stHead, pstHdl->u32CodeType, pstNode, pstHdl->au8LineBuf, &stBuf, &s32OutLen);
    // A time line right behind another one leaves the cue a negative size: nothing can be read for it.
    if (enCue == TEXT_CUE_SHORT) {
        PlayerPrintf(PLAYER_LOG_WARNING, __func__, __LINE__, "WARNING!the subdata we read is shorter than its size!");
        return -1;
    }
    if (enCue == TEXT_CUE_UNCONVERTED) {
        PlayerPrintf(PLAYER_LOG_WARNING, __func__, __LINE__, "SVR_SUB_TRANSCODE_Line failed!");
        return -1;
    }
    if (s32OutLen >= SVR_SUB_STR_OUT_MAX_LEN) {
        PlayerPrintf(PLAYER_LOG_WARNING, __func__, __LINE__, "SVR_SUB_STR_OUT_MAX_LEN <= u32LineOutSize!");
        return -1;
    }
    // A converter may have written more than it reports.
    pstHdl->au8FrameBuf[s32OutLen] = '\0';
    *pstText = {pstHdl->au8FrameBuf, static_cast<uint32_t>(s32OutLen)};
    return 0;
}

static void SrtFillFrame(const SrtDemuxerHdl *pstHdl, const IndexNode *pstNode, FmtFrame *pstFrame) {
    SvrTextFillFrame(pstFrame, pstNode);
    const IndexNode *pstNext = pstNode + 1;
    if (pstNode->u32Duration == SUB_DURATION_UNKNOWN && pstHdl->u32CurIndex + 1 < pstHdl->u32IndexNum &&
        pstNext->s64StartPts > pstNode->s64StartPts) {
        pstFrame->u32Duration = static_cast<uint32_t>(pstNext->s64StartPts - pstNode->s64StartPts);
    }
}

// Whether the host's property asks for tags to stay.
static bool SrtKeepTags() {
    char aszValue[92] = {};
    const int32_t s32Len =
        SvrSysGetProperty("persist.vendor.media.qm.reservespecialcharacter", aszValue, sizeof(aszValue), "false");
    return s32Len >= 1 && SvrCaseEqual(aszValue, strnlen(aszValue, sizeof(aszValue)), "true", 4);
}

// Removes font, bold, italic and underline tags, round after round until none of the four kinds is left. Text without a
// '<' has none, and then the host is not asked.
static void SrtDelTags(SrtText *pstText) {
    static const char *const s_aapszTags[][2] = {{"<font", "</font>"}, {"<b", "</b>"}, {"<i", "</i>"}, {"<u", "</u>"}};
    if (memchr(pstText->pu8Text, '<', pstText->u32Len) == nullptr || SrtKeepTags()) {
        return;
    }
    const uint32_t u32Before = pstText->u32Len;
    for (bool bRemoved = true; bRemoved;) {
        bRemoved = false;
        for (const char *const *papszTag : s_aapszTags) {
            uint32_t u32New = pstText->u32Len;
            const int32_t s32Result = PlayerDelFormat(reinterpret_cast<char *>(pstText->pu8Text), pstText->u32Len,
                                                      &u32New, papszTag[0], papszTag[1]);
            // A removal shortens the text; one that does not would go on for ever.
            if (u32New < pstText->u32Len) {
                bRemoved = bRemoved || s32Result == 0;
                pstText->u32Len = u32New;
            }
            memset(pstText->pu8Text + pstText->u32Len, 0, u32Before - pstText->u32Len);
        }
    }
}

static uint8_t *SrtFindByte(uint8_t *pu8From, uint8_t *pu8End, uint8_t u8Byte) {
    return static_cast<uint8_t *>(memchr(pu8From, u8Byte, static_cast<size_t>(pu8End - pu8From)));
}

// Removes override blocks such as "{\an8}"; a block that does not close on its own line stays. After a removal the
// search begins where it did: what stood around the block may have become another one.
static void SrtDelBrace(SrtText *pstText) {
    uint8_t *pu8From = pstText->pu8Text;
    for (;;) {
        uint8_t *pu8End = pstText->pu8Text + pstText->u32Len;
        uint8_t *pu8Open = SrtFindByte(pu8From, pu8End, '{');
        while (pu8Open != nullptr && pu8Open + 1 < pu8End && pu8Open[1] != '\\') {
            pu8Open = SrtFindByte(pu8Open + 1, pu8End, '{');
        }
        uint8_t *pu8Close = pu8Open != nullptr ? SrtFindByte(pu8Open, pu8End, '}') : nullptr;
        if (pu8Close == nullptr) {
            return;
        }
        if (SrtFindByte(pu8Open, pu8Close, '\n') != nullptr) {
            pu8From = pu8Open + 1;
            continue;
        }
        memmove(pu8Open, pu8Close + 1, static_cast<size_t>(pu8End - pu8Close - 1));
        pstText->u32Len -= static_cast<uint32_t>(pu8Close + 1 - pu8Open);
        pstText->pu8Text[pstText->u32Len] = '\0';
    }
}

// Turns CR CR LF into CR LF, in one pass from the first carriage return on, and terminates the text.
static void SrtRepairLineEnds(SrtText *pstText) {
    uint8_t *pu8Text = pstText->pu8Text;
    const uint32_t u32Len = pstText->u32Len;
    const uint8_t *pu8Cr = SrtFindByte(pu8Text, pu8Text + u32Len, '\r');
    uint32_t u32To = pu8Cr != nullptr ? static_cast<uint32_t>(pu8Cr - pu8Text) : u32Len;
    for (uint32_t i = u32To; i < u32Len; i++) {
        const bool bDouble = u32Len - i > 2 && pu8Text[i] == '\r' && pu8Text[i + 1] == '\r' && pu8Text[i + 2] == '\n';
        i += bDouble ? 1 : 0;
        pu8Text[u32To++] = pu8Text[i];
    }
    pstText->u32Len = u32To;
    pu8Text[u32To] = '\0';
}

static int32_t SrtDemuxerRead(void *hFmt, FmtFrame *pstFrame) {
    SrtDemuxerHdl *pstHdl = static_cast<SrtDemuxerHdl *>(hFmt);
    if (SrtDemuxerReadChk(pstHdl, pstFrame) != 0) {
        return -1;
    }
    if (pstHdl->u32CurIndex >= pstHdl->u32IndexNum) {
        return -2;
    }
    const IndexNode *pstNode = &pstHdl->pstSrtIndexNodeList[pstHdl->u32CurIndex];
    SrtText stText = {};
    if (SrtDemuxerReadFramePre(pstHdl, pstNode) != 0 || SrtDemuxerReadTransCodeFrame(pstHdl, pstNode, &stText) != 0) {
        pstHdl->u32CurIndex++;
        return -1;
    }
    SrtFillFrame(pstHdl, pstNode, pstFrame);
    SrtDelTags(&stText);
    SrtDelBrace(&stText);
    if (stText.u32Len >= 3) {
        SrtRepairLineEnds(&stText);
    }
    pstFrame->pu8Data = stText.pu8Text;
    pstFrame->u32DataLen = stText.u32Len;
    pstHdl->u32CurIndex++;
    return 0;
}

static int32_t SrtDemuxerFree(void *hFmt, FmtFrame *pstFrame) {
    return SvrTextFree(__func__, &s_stSrtTraits, hFmt, pstFrame);
}

static int32_t SrtDemuxerInvoke(void *hFmt, int32_t s32Command, void *pvArg) {
    return SvrTextInvoke(__func__, &s_stSrtTraits, hFmt, s32Command, pvArg);
}

static int32_t SrtDemuxerSeekPts(void *hFmt, int32_t, int64_t s64Pts) {
    SrtDemuxerHdl *pstHdl = static_cast<SrtDemuxerHdl *>(hFmt);
    SVR_RETURN_UNLESS(pstHdl != nullptr, __func__, "invalid param");
    SVR_RETURN_UNLESS(pstHdl->stHead.bFileOpen != 0, __func__, "file not open");
    SVR_RETURN_UNLESS(pstHdl->u32IndexNum != 0, __func__, "srt node num is 0");
    SVR_RETURN_UNLESS(pstHdl->pstSrtIndexNodeList != nullptr, __func__, "pstSrtIndexNodeList is null");
    return SvrIndexSeek(pstHdl->pstSrtIndexNodeList, pstHdl->u32IndexNum, s64Pts, pstHdl->bEndsAscend != 0,
                        &pstHdl->u32CurIndex);
}

static int32_t SrtDemuxerClose(void *hFmt) {
    return SvrTextClose(__func__, &s_stSrtTraits, hFmt);
}

constinit FormatEntry g_srtDemuxer = {
    .pszLibName = "libpell_demuxer.so",
    .pszExtList = "srt",
    .pszProtocolList = "",
    .u32Version = 0x01000001,
    .pszDescription = "pellplayer demuxer",
    .fmt_find = SrtDemuxerFind,
    .fmt_open = SrtDemuxerOpen,
    .fmt_find_stream = SrtDemuxerFindStream,
    .fmt_get_info = SrtDemuxerGetInfo,
    .fmt_read = SrtDemuxerRead,
    .fmt_free = SrtDemuxerFree,
    .fmt_invoke = SrtDemuxerInvoke,
    .fmt_seek_pts = SrtDemuxerSeekPts,
    .fmt_seek_pos = SvrTextSeekPos,
    .fmt_close = SrtDemuxerClose,
};
