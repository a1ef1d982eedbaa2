// ASS/SSA operations: one stream whose extra data is the file's header, and whose frames are event lines as they stand
// in the file, converted; events of one start and duration come as one frame.
#include "subtitle/ass/ass_demuxer.h"

#include "platform/text/ascii.h"
#include "subtitle/common/line_reader.h"

#include <cstdlib>
#include <cstring>

// Asks the converter for its next best guess, after a file could not be parsed by the first.
constexpr int32_t ASS_CODETYPE_RETRY_HINT = 0x123456;

// The first letters of an extension that are looked at: "assx" is taken, too.
constexpr size_t ASS_EXT_LEN = 3;

static SubStreamInfo *AssStream(AssDemuxerHdl *pstHdl) {
    return &pstHdl->stHead.stFileInfo.pastProgramInfo[0].pastSubStream[0];
}

// Tells the host where the header stands now; the parse may have moved it.
static void AssHandHeader(AssDemuxerHdl *pstHdl) {
    AssStream(pstHdl)->pu8ExtraData = pstHdl->pu8Header;
    AssStream(pstHdl)->u32ExtraDataSize = pstHdl->u32HeaderLen;
}

static int32_t AssIdentifyAndParse(AssDemuxerHdl *pstHdl, int32_t s32Hint) {
    TextHead *pstHead = &pstHdl->stHead;
    pstHdl->u32CodeType = SvrTextIdentifyHinted("AssIdentifyCodeType", pstHead, s32Hint, PLAYER_LOG_ERROR);
    AssStream(pstHdl)->u32CodeType = pstHdl->u32CodeType;
    return AssParse(pstHdl, pstHead->hUrl, pstHead->pstProtocol);
}

// Identifies the code type and parses; a file that cannot be parsed is tried once more in the next best code type.
static int32_t AssIdentifyCodeType(AssDemuxerHdl *pstHdl) {
    const int32_t s32Hint = g_assDemuxer.s32CodeTypeHint;
    if (AssIdentifyAndParse(pstHdl, s32Hint) == 0) {
        return 0;
    }
    return s32Hint == ASS_CODETYPE_RETRY_HINT ? -1 : AssIdentifyAndParse(pstHdl, ASS_CODETYPE_RETRY_HINT);
}

static uint32_t *AssCodeType(void *hFmt) {
    return &static_cast<AssDemuxerHdl *>(hFmt)->u32CodeType;
}

static int32_t AssSetSrcCodeType(void *hFmt, uint32_t *pu32CodeType);

static void AssFreeOwn(void *hFmt) {
    free(static_cast<AssDemuxerHdl *>(hFmt)->pstAssIndexNodeList);
    free(static_cast<AssDemuxerHdl *>(hFmt)->pu8Header);
}

static constexpr TextTraits s_stAssTraits = {
    .pstEntry = &g_assDemuxer,
    .u32Format = SUB_STREAM_FORMAT_ASS,
    .u32HdlSize = sizeof(AssDemuxerHdl),
    .s32CreateFailedLevel = PLAYER_LOG_ERROR,
    .s32ResetLevel = PLAYER_LOG_INFO,
    .pszInvalid = "invalid param!",
    .pszNotOpen = "file not open!",
    .pszOpenNoSlot = "null",
    .pszOpenRefused = "not support demuxer!",
    .pszOpenNoMemory = "pstDemuxerHdl mallocz failed!",
    .pszCloseNoProtocol = "invalid param",
    .pszCloseNoSlot = "invalid param",
    .pszReindexFailed = "ASS:reparse index failed!",
    .pfnCodeType = AssCodeType,
    .pfnSetSrcCodeType = AssSetSrcCodeType,
    .pfnFreeOwn = AssFreeOwn,
};

// 0 asks for identification; it is what the host finds at its pointer afterwards.
static int32_t AssSetSrcCodeType(void *hFmt, uint32_t *pu32CodeType) {
    static const char s_aszFunc[] = "AssDemuxerInvoke";
    AssDemuxerHdl *pstHdl = static_cast<AssDemuxerHdl *>(hFmt);
    int32_t s32Result = 0;
    if (*pu32CodeType != 0) {
        pstHdl->u32CodeType = *pu32CodeType;
        s32Result = AssParse(pstHdl, pstHdl->stHead.hUrl, pstHdl->stHead.pstProtocol);
    } else {
        s32Result = AssIdentifyCodeType(pstHdl);
        if (s32Result != 0) {
            PlayerPrintf(PLAYER_LOG_ERROR, s_aszFunc, __LINE__, "WARNING! Unknow CodeType!");
        }
    }
    if (s32Result == -1) {
        SVR_LOG_RESULT(s_aszFunc, s_stAssTraits.pszReindexFailed, -1);
    }
    PlayerPrintf(s_stAssTraits.s32ResetLevel, s_aszFunc, __LINE__, "Reset code type to: %d",
                 static_cast<int32_t>(*pu32CodeType));
    AssHandHeader(pstHdl);
    return 0;
}

static int32_t AssDemuxerFind(const char *pszUrl, Protocol *) {
    SVR_RETURN_UNLESS(pszUrl != nullptr, __func__, "invalid param");
    const char *pszExt = SvrTextExtension(pszUrl);
    if (pszExt == nullptr || strlen(pszExt) < ASS_EXT_LEN ||
        (!SvrCaseEqual(pszExt, ASS_EXT_LEN, "ssa", ASS_EXT_LEN) &&
         !SvrCaseEqual(pszExt, ASS_EXT_LEN, "ass", ASS_EXT_LEN))) {
        return -1;
    }
    PlayerPrintf(PLAYER_LOG_INFO, __func__, __LINE__, "ass/ssa file!");
    return 0;
}

static int32_t AssDemuxerOpenInitFileInfo(AssDemuxerHdl *pstHdl, const char *pszUrl) {
    SubStreamInfo *pstStream = SvrTextDescribeStream(__func__, &s_stAssTraits, &pstHdl->stHead, pszUrl);
    const char *pszExt = SvrTextExtension(pszUrl);
    SVR_RETURN_UNLESS(pszExt != nullptr, __func__, "FileName Error");
    SvrSubGetLang(strrchr(pszUrl, '/'), pstStream->aszLang, sizeof(pstStream->aszLang), pszExt);
    return 0;
}

static int32_t AssMemberMallocz(AssDemuxerHdl *pstHdl) {
    pstHdl->pu8Header = static_cast<uint8_t *>(PlayerMallocZ(ASS_HEADER_STEP));
    SVR_RETURN_UNLESS(pstHdl->pu8Header != nullptr, __func__, "pstDemuxerHdl->pu8Header mallocz failed!");
    pstHdl->u32HeaderSize = ASS_HEADER_STEP;
    pstHdl->pstAssIndexNodeList = static_cast<IndexNode *>(PlayerMallocZ(SVR_INDEX_STEP * sizeof(IndexNode)));
    SVR_RETURN_UNLESS(pstHdl->pstAssIndexNodeList != nullptr, __func__,
                      "pstDemuxerHdl->pstAssIndexNodeList mallocz failed!");
    pstHdl->u32MaxIndexNum = SVR_INDEX_STEP;
    return 0;
}

// Builds the members of a handle whose URL is open. 0 or -1.
static int32_t AssOpenInitHdl(AssDemuxerHdl *pstHdl, const char *pszUrl) {
    SVR_RETURN_UNLESS(AssMemberMallocz(pstHdl) == 0, "AssDemuxerOpen", "Member Mallocz failed!");
    if (SvrTextAddStreams(&pstHdl->stHead.stFileInfo, 1) != 0) {
        return -1;
    }
    return AssDemuxerOpenInitFileInfo(pstHdl, pszUrl);
}

static int32_t AssDemuxerOpen(const char *pszUrl, Protocol *pstProtocol, void **phFmt) {
    AssDemuxerHdl *pstHdl = static_cast<AssDemuxerHdl *>(
        SvrTextOpen(__func__, "AssDemuxerOpenChk", &s_stAssTraits, pszUrl, pstProtocol, phFmt));
    if (pstHdl == nullptr) {
        return -1;
    }
    if (AssOpenInitHdl(pstHdl, pszUrl) != 0) {
        SvrTextRelease(__func__, &s_stAssTraits, &pstHdl->stHead);
        return -1;
    }
    pstProtocol->url_seek(pstHdl->stHead.hUrl, 0, 0);
    *phFmt = pstHdl;
    pstHdl->stHead.bFileOpen = 1;
    return 0;
}

static int32_t AssDemuxerFindStream(void *hFmt, int32_t) {
    AssDemuxerHdl *pstHdl = static_cast<AssDemuxerHdl *>(hFmt);
    SVR_RETURN_UNLESS(pstHdl != nullptr && pstHdl->stHead.pstProtocol != nullptr && pstHdl->stHead.bFileOpen != 0 &&
                          pstHdl->stHead.hUrl != nullptr && pstHdl->stHead.stFileInfo.pastProgramInfo != nullptr &&
                          pstHdl->stHead.stFileInfo.pastProgramInfo->pastSubStream != nullptr,
                      __func__, "invalid param");
    TextHead *pstHead = &pstHdl->stHead;
    // What an earlier find-stream handed out does not outlive a parse that fails.
    AssStream(pstHdl)->pu8ExtraData = nullptr;
    AssStream(pstHdl)->u32ExtraDataSize = 0;
    SvrTextCreateCharset(__func__, &s_stAssTraits, pstHead);
    SVR_RETURN_UNLESS(AssIdentifyCodeType(pstHdl) == 0, __func__, "_ASS_PARSE failed!");
    AssHandHeader(pstHdl);
    pstHead->pstProtocol->url_seek(pstHead->hUrl, 0, 0);
    return 0;
}

static int32_t AssDemuxerGetInfo(void *hFmt, FileInfo **ppstInfo) {
    return SvrTextGetInfo(__func__, &s_stAssTraits, hFmt, ppstInfo);
}

static int32_t AssDemuxerReadChk(const AssDemuxerHdl *pstHdl, const FmtFrame *pstFrame) {
    SVR_RETURN_UNLESS(pstHdl != nullptr && pstFrame != nullptr, __func__, "invalid param!");
    SVR_RETURN_UNLESS(pstHdl->stHead.bFileOpen != 0, __func__, "file not open!");
    SVR_RETURN_UNLESS(pstHdl->pstAssIndexNodeList != nullptr && pstHdl->stHead.pstProtocol != nullptr &&
                          pstHdl->stHead.pstProtocol->url_seek != nullptr &&
                          pstHdl->stHead.pstProtocol->url_read != nullptr,
                      __func__, "invalid param!");
    return 0;
}

// Reads the current node's line behind the bytes gathered so far. 0 or -1.
static int32_t AssDemuxerReadFrame(AssDemuxerHdl *pstHdl, int32_t *ps32Gathered) {
    const TextHead *pstHead = &pstHdl->stHead;
    const IndexNode *pstNode = &pstHdl->pstAssIndexNodeList[pstHdl->u32CurIndex];
    if (pstNode->s32Size >= SVR_SUB_STR_IN_MAX_LEN) {
        PlayerPrintf(PLAYER_LOG_ERROR, __func__, __LINE__, "a line is larger than SVR_SUB_STR_IN_MAX_LEN");
        return -1;
    }
    if (SvrSubSeekFailed(pstHead->pstProtocol->url_seek(pstHead->hUrl, pstNode->s64Offset, 0))) {
        PlayerPrintf(PLAYER_LOG_ERROR, __func__, __LINE__, "WARNING!url_seek to NodePos failed!");
        return -1;
    }
    if (SvrTextReadNode(pstHead, pstNode, pstHdl->au8LineBuf + *ps32Gathered) != 0) {
        PlayerPrintf(PLAYER_LOG_ERROR, __func__, __LINE__, "WARNING! the subdata we read is shorter than its size!");
        return -1;
    }
    *ps32Gathered += pstNode->s32Size;
    return 0;
}

// Whether the next node belongs to the same frame: same start, same duration, and room left in the line buffer. Without
// room the frame ends here and the next read goes on with that node, so that no event is lost.
static bool AssNextBelongs(const AssDemuxerHdl *pstHdl, int32_t s32Gathered) {
    if (pstHdl->u32CurIndex + 1 >= pstHdl->u32IndexNum) {
        return false;
    }
    const IndexNode *pstNode = &pstHdl->pstAssIndexNodeList[pstHdl->u32CurIndex];
    const IndexNode *pstNext = pstNode + 1;
    return pstNext->s64StartPts == pstNode->s64StartPts && pstNext->u32Duration == pstNode->u32Duration &&
           pstNext->s32Size <= SVR_SUB_STR_IN_MAX_LEN - s32Gathered;
}

static int32_t AssDemuxerRead(void *hFmt, FmtFrame *pstFrame) {
    AssDemuxerHdl *pstHdl = static_cast<AssDemuxerHdl *>(hFmt);
    if (AssDemuxerReadChk(pstHdl, pstFrame) != 0) {
        return -1;
    }
    if (pstHdl->u32CurIndex >= pstHdl->u32IndexNum) {
        return -2;
    }
    int32_t s32Gathered = 0;
    int32_t s32Result = AssDemuxerReadFrame(pstHdl, &s32Gathered);
    while (s32Result == 0 && AssNextBelongs(pstHdl, s32Gathered)) {
        pstHdl->u32CurIndex++;
        s32Result = AssDemuxerReadFrame(pstHdl, &s32Gathered);
    }
    const IndexNode *pstNode = &pstHdl->pstAssIndexNodeList[pstHdl->u32CurIndex++];
    if (s32Result != 0) {
        return -1;
    }
    const TextBuf stBuf = AssFrameBuf(pstHdl);
    int32_t s32OutLen = 0;
    if (SvrTextTranscode(&pstHdl->stHead, pstHdl->u32CodeType, pstHdl->au8LineBuf, s32Gathered, &stBuf, &s32OutLen) ==
        -1) {
        SVR_LOG_RESULT(__func__, "SVR_SUB_TRANSCODE_Line failed!", -1);
    }
    SvrTextFillFrame(pstFrame, pstNode);
    pstFrame->pu8Data = pstHdl->au8FrameBuf;
    // A failed conversion leaves whatever length the converter claimed.
    const uint32_t u32OutLen = s32OutLen > 0 ? static_cast<uint32_t>(s32OutLen) : 0;
    pstFrame->u32DataLen = u32OutLen < SVR_SUB_STR_OUT_MAX_LEN ? u32OutLen : SVR_SUB_STR_OUT_MAX_LEN;
    pstFrame->pu8Data[pstFrame->u32DataLen] = '\0';
    return 0;
}

static int32_t AssDemuxerFree(void *hFmt, FmtFrame *pstFrame) {
    return SvrTextFree(__func__, &s_stAssTraits, hFmt, pstFrame);
}

static int32_t AssDemuxerInvoke(void *hFmt, int32_t s32Command, void *pvArg) {
    return SvrTextInvoke(__func__, &s_stAssTraits, hFmt, s32Command, pvArg);
}

static int32_t AssDemuxerSeekPts(void *hFmt, int32_t, int64_t s64Pts) {
    AssDemuxerHdl *pstHdl = static_cast<AssDemuxerHdl *>(hFmt);
    SVR_RETURN_UNLESS(pstHdl != nullptr, __func__, "invalid param!");
    SVR_RETURN_UNLESS(pstHdl->stHead.bFileOpen != 0, __func__, "file not open!");
    SVR_RETURN_UNLESS(pstHdl->u32IndexNum != 0, __func__, "ass node num is 0");
    SVR_RETURN_UNLESS(pstHdl->pstAssIndexNodeList != nullptr, __func__, "invalid param!");
    return SvrIndexSeek(pstHdl->pstAssIndexNodeList, pstHdl->u32IndexNum, s64Pts, pstHdl->bEndsAscend != 0,
                        &pstHdl->u32CurIndex);
}

static int32_t AssDemuxerClose(void *hFmt) {
    return SvrTextClose(__func__, &s_stAssTraits, hFmt);
}

constinit FormatEntry g_assDemuxer = {
    .pszLibName = "libpell_demuxer.so",
    .pszExtList = "ssa,ass",
    .pszProtocolList = "",
    .u32Version = 0x01000001,
    .pszDescription = "pellplayer demuxer",
    .fmt_find = AssDemuxerFind,
    .fmt_open = AssDemuxerOpen,
    .fmt_find_stream = AssDemuxerFindStream,
    .fmt_get_info = AssDemuxerGetInfo,
    .fmt_read = AssDemuxerRead,
    .fmt_free = AssDemuxerFree,
    .fmt_invoke = AssDemuxerInvoke,
    .fmt_seek_pts = AssDemuxerSeekPts,
    .fmt_seek_pos = SvrTextSeekPos,
    .fmt_close = AssDemuxerClose,
};
