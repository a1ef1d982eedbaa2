// Text SUB operations: one stream of cues, each read again from the file, converted, and finished by its format.
#include "subtitle/sub/sub_demuxer.h"

#include "subtitle/common/line_reader.h"

#include <cstdlib>
#include <cstring>

// Of the stream's language field.
constexpr uint32_t SUB_LANG_SIZE = 64;

static uint32_t *SubCodeType(void *hFmt) {
    return &static_cast<SubDemuxerHdl *>(hFmt)->u32CodeType;
}

static int32_t SubReindex(void *hFmt) {
    SubDemuxerHdl *pstHdl = static_cast<SubDemuxerHdl *>(hFmt);
    return SubParse(pstHdl, pstHdl->stHead.hUrl, pstHdl->stHead.pstProtocol);
}

static void SubFreeOwn(void *hFmt) {
    free(static_cast<SubDemuxerHdl *>(hFmt)->pstSubIndexNodeList);
}

static constexpr TextTraits s_stSubTraits = {
    .pstEntry = &g_subDemuxer,
    .u32Format = SUB_STREAM_FORMAT_SUB,
    .u32HdlSize = sizeof(SubDemuxerHdl),
    .s32CreateFailedLevel = PLAYER_LOG_WARNING,
    .s32UnknownLevel = PLAYER_LOG_WARNING,
    .s32ResetLevel = PLAYER_LOG_WARNING,
    .pszInvalid = "invalid param",
    .pszNotOpen = "file not open",
    .pszOpenNoSlot = "null",
    .pszOpenRefused = "not support demuxer",
    .pszCloseNoProtocol = "pstProtocol is null",
    .pszCloseNoSlot = "url_close is null",
    .pszReindexFailed = "SUB:reparse index failed!",
    .pfnCodeType = SubCodeType,
    .pfnReindex = SubReindex,
    .pfnFreeOwn = SubFreeOwn,
};

static int32_t SubDemuxerFind(const char *pszUrl, Protocol *) {
    SVR_RETURN_UNLESS(pszUrl != nullptr, __func__, "invalid param");
    return SvrTextFind(__func__, &g_subDemuxer, pszUrl, PLAYER_LOG_WARNING, "use pellplayer sub demuxer!",
                       "not sub file");
}

static int32_t SubDemuxerOpen(const char *pszUrl, Protocol *pstProtocol, void **phFmt) {
    SubDemuxerHdl *pstHdl = static_cast<SubDemuxerHdl *>(
        SvrTextOpen(__func__, "CheckOpenParam", &s_stSubTraits, pszUrl, pstProtocol, phFmt));
    if (pstHdl == nullptr) {
        return -1;
    }
    pstHdl->s32FormatIndex = SUB_FORMAT_NONE;
    pstHdl->pstSubIndexNodeList = static_cast<IndexNode *>(PlayerMallocZ(SVR_INDEX_STEP * sizeof(IndexNode)));
    pstHdl->u32MaxIndexNum = SVR_INDEX_STEP;
    if (pstHdl->pstSubIndexNodeList == nullptr || SvrTextAddStreams(&pstHdl->stHead.stFileInfo, 1) != 0) {
        SvrTextRelease(__func__, &s_stSubTraits, &pstHdl->stHead);
        return -1;
    }
    SubStreamInfo *pstStream = SvrTextDescribeStream("SetDemuxerDefaultValue", &s_stSubTraits, &pstHdl->stHead, pszUrl);
    SvrSubGetLang(strrchr(pszUrl, '/'), pstStream->aszLang, SUB_LANG_SIZE, "sub");
    *phFmt = pstHdl;
    pstHdl->stHead.bFileOpen = 1;
    return 0;
}

static int32_t SubDemuxerFindStream(void *hFmt, int32_t) {
    SubDemuxerHdl *pstHdl = static_cast<SubDemuxerHdl *>(hFmt);
    TextHead *pstHead = static_cast<TextHead *>(hFmt);
    if (SvrTextFindStreamChk(__func__, pstHead) != 0) {
        return -1;
    }
    SubStreamInfo *pstStream = pstHead->stFileInfo.pastProgramInfo->pastSubStream;
    SVR_RETURN_UNLESS(pstStream != nullptr, __func__, "pastSubStream is null");

    SvrTextCreateCharset(__func__, &s_stSubTraits, pstHead);
    pstHdl->u32CodeType = SvrTextIdentify(__func__, &s_stSubTraits, pstHead);
    PlayerPrintf(PLAYER_LOG_WARNING, __func__, __LINE__, "SUB:encode type is %d",
                 static_cast<int32_t>(pstHdl->u32CodeType));
    pstStream->u32CodeType = pstHdl->u32CodeType;
    SVR_RETURN_UNLESS(SubParse(pstHdl, pstHead->hUrl, pstHead->pstProtocol) == 0, __func__, "_SUB_PARSE failed!");
    SVR_RETURN_UNLESS(!SvrSubSeekFailed(pstHead->pstProtocol->url_seek(pstHead->hUrl, 0, 0)), __func__, "null");
    return 0;
}

static int32_t SubDemuxerGetInfo(void *hFmt, FileInfo **ppstInfo) {
    return SvrTextGetInfo(__func__, &s_stSubTraits, hFmt, ppstInfo);
}

static int32_t CheckReadParam(const SubDemuxerHdl *pstHdl, const FmtFrame *pstFrame) {
    SVR_RETURN_UNLESS(pstHdl != nullptr && pstFrame != nullptr, __func__, "invalid param");
    SVR_RETURN_UNLESS(pstHdl->stHead.bFileOpen != 0, __func__, "file not open");
    SVR_RETURN_UNLESS(pstHdl->pstSubFormat != nullptr, __func__, "Invalid Sub Parse");
    SVR_RETURN_UNLESS(pstHdl->pstSubIndexNodeList != nullptr, __func__, "pstSubIndexNodeList is null");
    SVR_RETURN_UNLESS(pstHdl->stHead.pstProtocol != nullptr, __func__, "pstProtocol is null");
    SVR_RETURN_UNLESS(pstHdl->stHead.pstProtocol->url_seek != nullptr, __func__, "url_seek is null");
    SVR_RETURN_UNLESS(pstHdl->stHead.pstProtocol->url_read != nullptr, __func__, "url_read is null");
    return 0;
}

// Makes a frame of the cue that was read. Text that cannot be converted is delivered as it is.
static void SetFrameInfo(SubDemuxerHdl *pstHdl, const IndexNode *pstNode, TextCue enCue, int32_t s32Len,
                         FmtFrame *pstFrame) {
    pstFrame->pu8Data = pstHdl->au8TextBuf;
    if (enCue == TEXT_CUE_UNCONVERTED) {
        PlayerPrintf(PLAYER_LOG_WARNING, __func__, __LINE__, "SVR_SUB_TRANSCODE_Line failed!");
        pstFrame->pu8Data = pstHdl->au8LineBuf;
        s32Len = pstNode->s32Size;
    }
    pstFrame->pu8Data[s32Len] = '\0';
    pstFrame->u32DataLen = static_cast<uint32_t>(s32Len);
    SvrTextFillFrame(pstFrame, pstNode);
    if (pstHdl->pstSubFormat->pfnPost(pstHdl, pstFrame) == -1) {
        SVR_LOG_RESULT(__func__, "WARNING! Post-process failed!", -1);
    }
    pstFrame->u32DataLen = static_cast<uint32_t>(strlen(reinterpret_cast<const char *>(pstFrame->pu8Data))) + 1;
}

static int32_t SubDemuxerRead(void *hFmt, FmtFrame *pstFrame) {
    SubDemuxerHdl *pstHdl = static_cast<SubDemuxerHdl *>(hFmt);
    if (CheckReadParam(pstHdl, pstFrame) != 0) {
        return -1;
    }
    if (pstHdl->u32CurIndex >= pstHdl->u32IndexNum) {
        return -2;
    }
    const TextHead *pstHead = &pstHdl->stHead;
    IndexNode stNode = pstHdl->pstSubIndexNodeList[pstHdl->u32CurIndex];
    SVR_RETURN_UNLESS(!SvrSubSeekFailed(pstHead->pstProtocol->url_seek(pstHead->hUrl, stNode.s64Offset, 0)), __func__,
                      "ERREOR!Seek fail");
    pstHdl->u32CurIndex++;
    stNode.s32Size = stNode.s32Size < SVR_SUB_STR_IN_MAX_LEN ? stNode.s32Size : SVR_SUB_STR_IN_MAX_LEN - 1;
    const TextBuf stBuf = SubTextBuf(pstHdl);
    int32_t s32Len = 0;
    const TextCue enCue = SvrTextReadCue(pstHead, pstHdl->u32CodeType, &stNode, pstHdl->au8LineBuf, &stBuf, &s32Len);
    if (enCue == TEXT_CUE_SHORT) {
        PlayerPrintf(PLAYER_LOG_ERROR, __func__, __LINE__, "ERROR!the subdata we read is shorter than its size!");
        return -1;
    }
    SetFrameInfo(pstHdl, &stNode, enCue, s32Len, pstFrame);
    return 0;
}

static int32_t SubDemuxerFree(void *hFmt, FmtFrame *pstFrame) {
    return SvrTextFree(__func__, &s_stSubTraits, hFmt, pstFrame);
}

static int32_t SubDemuxerInvoke(void *hFmt, int32_t s32Command, void *pvArg) {
    return SvrTextInvoke(__func__, &s_stSubTraits, hFmt, s32Command, pvArg);
}

// A time in the unit that starts are counted in: MicroDVD counts frames, and finds them by whole seconds.
static int64_t SubSeekTarget(const SubDemuxerHdl *pstHdl, int64_t s64Pts) {
    if (pstHdl->s32FormatIndex != SUB_FORMAT_MICRODVD || !(pstHdl->dFrameRate >= 1.0)) {
        return s64Pts;
    }
    const int64_t s64Seconds = s64Pts / 1000;
    return SubTruncate(static_cast<double>(s64Seconds) * pstHdl->dFrameRate, INT64_MIN, INT64_MAX);
}

static int32_t SubDemuxerSeekPts(void *hFmt, int32_t, int64_t s64Pts) {
    SubDemuxerHdl *pstHdl = static_cast<SubDemuxerHdl *>(hFmt);
    SVR_RETURN_UNLESS(pstHdl != nullptr, __func__, "invalid param");
    SVR_RETURN_UNLESS(pstHdl->stHead.bFileOpen != 0, __func__, "file not open");
    SVR_RETURN_UNLESS(pstHdl->u32IndexNum != 0, __func__, "sub node num is 0");
    SVR_RETURN_UNLESS(pstHdl->pstSubIndexNodeList != nullptr, __func__, "pstSubIndexNodeList is null");
    pstHdl->u32CurIndex = s64Pts == 0 ? 0
                                      : SvrIndexFind(pstHdl->pstSubIndexNodeList, pstHdl->u32IndexNum,
                                                     SubSeekTarget(pstHdl, s64Pts), pstHdl->bEndsAscend != 0);
    return 0;
}

static int32_t SubDemuxerClose(void *hFmt) {
    return SvrTextClose(__func__, &s_stSubTraits, hFmt);
}

constinit FormatEntry g_subDemuxer = {
    .pszLibName = "libpell_demuxer.so",
    .pszExtList = "sub",
    .pszProtocolList = "",
    .u32Version = 0x01000001,
    .pszDescription = "pellplayer demuxer",
    .fmt_find = SubDemuxerFind,
    .fmt_open = SubDemuxerOpen,
    .fmt_find_stream = SubDemuxerFindStream,
    .fmt_get_info = SubDemuxerGetInfo,
    .fmt_read = SubDemuxerRead,
    .fmt_free = SubDemuxerFree,
    .fmt_invoke = SubDemuxerInvoke,
    .fmt_seek_pts = SubDemuxerSeekPts,
    .fmt_seek_pos = SvrTextSeekPos,
    .fmt_close = SubDemuxerClose,
};
