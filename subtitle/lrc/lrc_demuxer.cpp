// Lyrics operations: one stream of cues without an end, delivered as they stand in the index.
#include "subtitle/lrc/lrc_demuxer.h"

#include <cstdlib>
#include <cstring>

static uint32_t *LrcCodeType(void *hFmt) {
    return &static_cast<LrcDemuxerHdl *>(hFmt)->u32CodeType;
}

static void LrcFreeLineBufs(LrcDemuxerHdl *pstHdl) {
    free(pstHdl->pu8LineBuf);
    free(pstHdl->pu8TextBuf);
    pstHdl->pu8LineBuf = nullptr;
    pstHdl->pu8TextBuf = nullptr;
}

static void LrcFreeOwn(void *hFmt) {
    LrcDemuxerHdl *pstHdl = static_cast<LrcDemuxerHdl *>(hFmt);
    LrcFreeLineBufs(pstHdl);
    free(pstHdl->pstLrcIndexNodeList);
}

static int32_t LrcInvokeSetSrcCodetype(void *hFmt, uint32_t *pu32CodeType);

static constexpr TextTraits s_stLrcTraits = {
    .pstEntry = &g_lrcDemuxer,
    .u32Format = SUB_STREAM_FORMAT_LRC,
    .u32HdlSize = sizeof(LrcDemuxerHdl),
    .s32CreateFailedLevel = PLAYER_LOG_ERROR,
    .s32UnknownLevel = PLAYER_LOG_ERROR,
    .s32ResetLevel = PLAYER_LOG_INFO,
    .pszInvalid = "invalid param",
    .pszNotOpen = "file not open",
    .pszOpenNoSlot = "null",
    .pszOpenRefused = "not support demuxer!",
    .pszCloseNoProtocol = "pstProtocol is null",
    .pszCloseNoSlot = "url_close is null",
    .pszReindexFailed = "LRC:reparse index failed!",
    .pfnCodeType = LrcCodeType,
    .pfnSetSrcCodeType = LrcInvokeSetSrcCodetype,
    .pfnFreeOwn = LrcFreeOwn,
};

// Makes the line buffers where they are missing. 0, or -1 with neither.
static int32_t LrcMallocLineBufs(LrcDemuxerHdl *pstHdl) {
    if (pstHdl->pu8LineBuf == nullptr) {
        pstHdl->pu8LineBuf = static_cast<uint8_t *>(PlayerMallocZ(SVR_SUB_STR_IN_MAX_LEN));
    }
    if (pstHdl->pu8LineBuf != nullptr && pstHdl->pu8TextBuf == nullptr) {
        pstHdl->pu8TextBuf = static_cast<uint8_t *>(PlayerMallocZ(SVR_SUB_STR_OUT_MAX_LEN));
        pstHdl->u32TextUsed = 0;
    }
    if (pstHdl->pu8LineBuf == nullptr || pstHdl->pu8TextBuf == nullptr) {
        LrcFreeLineBufs(pstHdl);
        return -1;
    }
    return 0;
}

// The line buffers live no longer than the build: lyrics are read from the index.
static int32_t LrcInvokeSetSrcCodetype(void *hFmt, uint32_t *pu32CodeType) {
    LrcDemuxerHdl *pstHdl = static_cast<LrcDemuxerHdl *>(hFmt);
    if (*pu32CodeType == 0) {
        *pu32CodeType =
            SvrTextIdentifyHinted(__func__, &pstHdl->stHead, g_lrcDemuxer.s32CodeTypeHint, PLAYER_LOG_ERROR);
    }
    pstHdl->u32CodeType = *pu32CodeType;
    if (LrcMallocLineBufs(pstHdl) != 0) {
        return -1;
    }
    const int32_t s32Parsed = LrcParse(pstHdl, pstHdl->stHead.hUrl, pstHdl->stHead.pstProtocol);
    LrcFreeLineBufs(pstHdl);
    if (s32Parsed == -1) {
        SVR_LOG_RESULT(__func__, s_stLrcTraits.pszReindexFailed, -1);
    }
    PlayerPrintf(s_stLrcTraits.s32ResetLevel, __func__, __LINE__, "Reset code type to: %d",
                 static_cast<int32_t>(pstHdl->u32CodeType));
    return 0;
}

static int32_t LrcDemuxerFind(const char *pszUrl, Protocol *) {
    SVR_RETURN_UNLESS(pszUrl != nullptr, __func__, "invalid param");
    return SvrTextFind(__func__, &g_lrcDemuxer, pszUrl, PLAYER_LOG_INFO, "use pellplayer lrc demuxer!", "not lrc file");
}

static int32_t LrcDemuxerOpenInitHdl(LrcDemuxerHdl *pstHdl, const char *pszUrl) {
    if (LrcMallocLineBufs(pstHdl) != 0) {
        return -1;
    }
    pstHdl->pstLrcIndexNodeList = static_cast<LrcIndexNode *>(PlayerMallocZ(LRC_INDEX_STEP * sizeof(LrcIndexNode)));
    pstHdl->u32MaxIndexNum = LRC_INDEX_STEP;
    if (pstHdl->pstLrcIndexNodeList == nullptr || SvrTextAddStreams(&pstHdl->stHead.stFileInfo, 1) != 0) {
        return -1;
    }
    SvrTextDescribeStream(__func__, &s_stLrcTraits, &pstHdl->stHead, pszUrl);
    return 0;
}

static int32_t LrcDemuxerOpen(const char *pszUrl, Protocol *pstProtocol, void **phFmt) {
    LrcDemuxerHdl *pstHdl =
        static_cast<LrcDemuxerHdl *>(SvrTextOpen(__func__, __func__, &s_stLrcTraits, pszUrl, pstProtocol, phFmt));
    if (pstHdl == nullptr) {
        return -1;
    }
    if (LrcDemuxerOpenInitHdl(pstHdl, pszUrl) != 0) {
        if (pstProtocol->url_close(pstHdl->stHead.hUrl) != 0) {
            PlayerPrintf(PLAYER_LOG_WARNING, __func__, __LINE__, "protocol->url_close failed!");
        }
        pstHdl->stHead.hUrl = nullptr;
        SvrTextRelease(__func__, &s_stLrcTraits, &pstHdl->stHead);
        return -1;
    }
    *phFmt = pstHdl;
    pstHdl->stHead.bFileOpen = 1;
    return 0;
}

static int32_t LrcDemuxerFindStream(void *hFmt, int32_t) {
    LrcDemuxerHdl *pstHdl = static_cast<LrcDemuxerHdl *>(hFmt);
    TextHead *pstHead = static_cast<TextHead *>(hFmt);
    if (SvrTextFindStreamChk(__func__, pstHead) != 0) {
        return -1;
    }
    const ProgramInfo *pstProgram = pstHead->stFileInfo.pastProgramInfo;
    SVR_RETURN_UNLESS(pstProgram->pastSubStream != nullptr, __func__, "pastSubStream is null");

    SvrTextCreateCharset(__func__, &s_stLrcTraits, pstHead);
    pstHdl->u32CodeType = SvrTextIdentify(__func__, &s_stLrcTraits, pstHead);
    pstProgram->pastSubStream[0].u32CodeType = pstHdl->u32CodeType;
    SVR_RETURN_UNLESS(LrcParse(pstHdl, pstHead->hUrl, pstHead->pstProtocol) == 0, __func__, "_LRC_PARSE failed!");
    pstHead->pstProtocol->url_seek(pstHead->hUrl, 0, 0);
    return 0;
}

static int32_t LrcDemuxerGetInfo(void *hFmt, FileInfo **ppstInfo) {
    return SvrTextGetInfo(__func__, &s_stLrcTraits, hFmt, ppstInfo);
}

static void LrcFillFrame(LrcIndexNode *pstNode, FmtFrame *pstFrame) {
    SvrTextBeginFrame(pstFrame, 0, pstNode->s64StartPts, 0);
    pstFrame->u32DataLen = static_cast<uint32_t>(strnlen(pstNode->szText, sizeof(pstNode->szText) - 1)) + 1;
    pstFrame->pu8Data = reinterpret_cast<uint8_t *>(pstNode->szText);
    pstFrame->u32FrameRate = 0;
}

static int32_t LrcDemuxerRead(void *hFmt, FmtFrame *pstFrame) {
    LrcDemuxerHdl *pstHdl = static_cast<LrcDemuxerHdl *>(hFmt);
    SVR_RETURN_UNLESS(pstHdl != nullptr && pstFrame != nullptr, __func__, "invalid param");
    SVR_RETURN_UNLESS(pstHdl->stHead.bFileOpen != 0, __func__, "file not open");
    SVR_RETURN_UNLESS(pstHdl->pstLrcIndexNodeList != nullptr, __func__, "pstLrcIndexNodeList is null");
    if (pstHdl->u32CurIndex >= pstHdl->u32IndexNum) {
        return -2;
    }
    LrcFillFrame(&pstHdl->pstLrcIndexNodeList[pstHdl->u32CurIndex++], pstFrame);
    return 0;
}

static int32_t LrcDemuxerFree(void *hFmt, FmtFrame *pstFrame) {
    return SvrTextFree(__func__, &s_stLrcTraits, hFmt, pstFrame);
}

static int32_t LrcDemuxerInvoke(void *hFmt, int32_t s32Command, void *pvArg) {
    return SvrTextInvoke(__func__, &s_stLrcTraits, hFmt, s32Command, pvArg);
}

static int32_t LrcDemuxerSeekPts(void *hFmt, int32_t, int64_t s64Pts) {
    LrcDemuxerHdl *pstHdl = static_cast<LrcDemuxerHdl *>(hFmt);
    SVR_RETURN_UNLESS(pstHdl != nullptr, __func__, "invalid param");
    SVR_RETURN_UNLESS(pstHdl->stHead.bFileOpen != 0, __func__, "file not open");
    SVR_RETURN_UNLESS(pstHdl->pstLrcIndexNodeList != nullptr, __func__, "pstLrcIndexNodeList is null");
    uint32_t u32Behind = 0;
    while (u32Behind < pstHdl->u32IndexNum && pstHdl->pstLrcIndexNodeList[u32Behind].s64StartPts <= s64Pts) {
        u32Behind++;
    }
    pstHdl->u32CurIndex = u32Behind > 0 ? u32Behind - 1 : 0;
    return 0;
}

static int32_t LrcDemuxerClose(void *hFmt) {
    return SvrTextClose(__func__, &s_stLrcTraits, hFmt);
}

constinit FormatEntry g_lrcDemuxer = {
    .pszLibName = "libpell_demuxer.so",
    .pszExtList = "lrc",
    .pszProtocolList = "",
    .u32Version = 0x01000001,
    .pszDescription = "pellplayer demuxer",
    .fmt_find = LrcDemuxerFind,
    .fmt_open = LrcDemuxerOpen,
    .fmt_find_stream = LrcDemuxerFindStream,
    .fmt_get_info = LrcDemuxerGetInfo,
    .fmt_read = LrcDemuxerRead,
    .fmt_free = LrcDemuxerFree,
    .fmt_invoke = LrcDemuxerInvoke,
    .fmt_seek_pts = LrcDemuxerSeekPts,
    .fmt_seek_pos = SvrTextSeekPos,
    .fmt_close = LrcDemuxerClose,
};
