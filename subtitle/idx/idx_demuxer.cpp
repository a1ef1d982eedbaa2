// VobSub operations: the host opens the index, the packet file is found beside it. One stream per language; a read
// delivers a subpicture unit as it stands in the packets, in a buffer that belongs to the frame.
#include "subtitle/idx/idx_demuxer.h"

#include "platform/check.h"
#include "platform/text/ascii.h"
#include "subtitle/common/line_reader.h"
#include "subtitle/common/text_demuxer.h"

#include <cstdlib>
#include <cstring>
#include <unistd.h>

// Bytes of the packet file's name: a stem of at most 4092 characters, the extension and a terminator.
constexpr size_t IDX_NAME_SIZE = 4096;
constexpr size_t IDX_EXT_LEN = 3;

constexpr size_t IDX_LINK_SIZE = 4096;
constexpr size_t IDX_PROC_SIZE = 64;
constexpr size_t IDX_RANGE_SIZE = 96; // "::offset=0::length=...::fd=..." and a terminator

static int32_t IdxDemuxerFind(const char *pszUrl, Protocol *) {
    SVR_RETURN_UNLESS(pszUrl != nullptr, __func__, "null");
    const char *pszExt = SvrTextExtension(pszUrl);
    if (pszExt == nullptr) {
        return -1;
    }
    switch (SvrListMatch(g_idxDemuxer.pszExtList, pszExt)) {
    case LIST_MATCH_INNER:
        SVR_LOG_RESULT(__func__, "find demuxer", 0);
        return 0;
    case LIST_MATCH_LAST:
        SVR_LOG_RESULT(__func__, "find demxuer", 0);
        return 0;
    default:
        return -1;
    }
}

// The path that a descriptor was opened by. 0 or -1.
static int32_t IdxPathOfFd(int32_t s32Fd, char *pszPath, const char *pszFunc) {
    char aszProc[IDX_PROC_SIZE];
    SVR_RETURN_UNLESS(snprintf_s(aszProc, sizeof(aszProc), "/proc/%d/fd/%d", getpid(), s32Fd) >= 0, pszFunc,
                      "snprintf_s failed!");
    const ssize_t sLen = readlink(aszProc, pszPath, IDX_LINK_SIZE - 1);
    if (sLen < 0) {
        PlayerPrintf(PLAYER_LOG_WARNING, pszFunc, __LINE__, "readlink failed ret:%d", static_cast<int>(sLen));
        return -1;
    }
    pszPath[sLen] = '\0';
    return 0;
}

// Opens the packet file whose descriptor the URL names. 0 or -1.
static int32_t CheckSubFd(const char *pszUrl, const Protocol *pstProtocol, void **phSub) {
    const char *pszSubFd = strstr(pszUrl, "::subfd=");
    SVR_RETURN_UNLESS(pszSubFd != nullptr, __func__, "not found subfd in url, try open file");
    int s32Fd = -1;
    const int s32Fields = sscanf_s(pszSubFd, "::subfd=%d", &s32Fd);
    if (s32Fields != 1 || s32Fd < 0) {
        PlayerPrintf(PLAYER_LOG_INFO, __func__, __LINE__, "not found subfd in url, try open file, ret=%d fd=%d",
                     s32Fields, s32Fd);
        return -1;
    }
    const int64_t s64Len = lseek64(s32Fd, 0, SEEK_END);
    char aszPath[IDX_LINK_SIZE];
    if (IdxPathOfFd(s32Fd, aszPath, __func__) != 0) {
        return -1;
    }
    char aszSubUrl[IDX_LINK_SIZE + IDX_RANGE_SIZE];
    SVR_RETURN_UNLESS(snprintf_s(aszSubUrl, sizeof(aszSubUrl), "%s::offset=0::length=%lld::fd=%d", aszPath,
                                 static_cast<long long>(s64Len), s32Fd) >= 0,
                      __func__, "snprintf_s failed!");
    return pstProtocol->url_open(aszSubUrl, 0, phSub) == 0 ? 0 : -1;
}

// Opens the packet file beside the index, by the first spelling of its extension that there is. 0 or -1.
static int32_t IdxOpenByName(const char *pszUrl, size_t uStemLen, const Protocol *pstProtocol, void **phSub) {
    static const char s_aaszExts[][IDX_EXT_LEN + 1] = {"sub", "SUB", "Sub", "SUb", "SuB", "sUB", "sUb", "suB"};
    char aszName[IDX_NAME_SIZE];
    memcpy(aszName, pszUrl, uStemLen);
    for (const auto &aszExt : s_aaszExts) {
        memcpy(aszName + uStemLen, aszExt, sizeof(s_aaszExts[0]));
        if (pstProtocol->url_open(aszName, 0, phSub) == 0) {
            return 0;
        }
    }
    return -1;
}

static int32_t IdxOpenSub(const char *pszUrl, const Protocol *pstProtocol, void **phSub, const char *pszFunc) {
    const size_t uLen = strlen(pszUrl);
    SVR_RETURN_UNLESS(uLen >= IDX_EXT_LEN && uLen < IDX_NAME_SIZE, pszFunc, "filename len is too long!");
    if (CheckSubFd(pszUrl, pstProtocol, phSub) == 0) {
        return 0;
    }
    SVR_RETURN_UNLESS(IdxOpenByName(pszUrl, uLen - IDX_EXT_LEN, pstProtocol, phSub) == 0, pszFunc,
                      "sub file open fail!");
    return 0;
}

// Opens both files. 0, or -1 with neither open.
static int32_t GetHanle(const char *pszUrl, const Protocol *pstProtocol, void **phIdx, void **phSub) {
    SVR_RETURN_UNLESS(pstProtocol->url_open(pszUrl, 0, phIdx) == 0, __func__, "file url_open failed!");
    if (IdxOpenSub(pszUrl, pstProtocol, phSub, __func__) != 0) {
        pstProtocol->url_close(*phIdx);
        return -1;
    }
    return 0;
}

// Closes and frees whatever a handle holds, and the handle.
static void IdxRelease(IdxDemuxerHdl *pstHdl, const char *pszFunc) {
    pstHdl->pstProtocol->url_close(pstHdl->hIdxUrl);
    pstHdl->pstProtocol->url_close(pstHdl->hSubUrl);
    IdxNodeFree(pstHdl);
    PlayerFreeAllPrograms(&pstHdl->stFileInfo);
    SVR_BOUNDED(pszFunc, memset_s(pstHdl, sizeof(*pstHdl), 0, sizeof(*pstHdl)), "memset_s");
    free(pstHdl);
}

static int32_t IdxOpenCheck(const char *pszUrl, const Protocol *pstProtocol, void *const *phFmt, const char *pszFunc) {
    SVR_RETURN_UNLESS(pszUrl != nullptr && phFmt != nullptr, pszFunc, "pszFileName or pFmtHandle is null!");
    SVR_RETURN_UNLESS(pstProtocol != nullptr, pszFunc, "pstProtocol is null!");
    SVR_RETURN_UNLESS(pstProtocol->url_find != nullptr, pszFunc, "pstProtocol->url_find is null!");
    SVR_RETURN_UNLESS(pstProtocol->url_open != nullptr, pszFunc, "pstProtocol->url_open is null!");
    SVR_RETURN_UNLESS(pstProtocol->url_close != nullptr, pszFunc, "pstProtocol->url_close is null!");
    SVR_RETURN_UNLESS(pstProtocol->url_read != nullptr, pszFunc, "pstProtocol->url_read is null!");
    SVR_RETURN_UNLESS(pstProtocol->url_seek != nullptr, pszFunc, "pstProtocol->url_seek is null!");
    return 0;
}

// Parses the index and describes its streams. 0 or -1.
static int32_t IdxBuild(IdxDemuxerHdl *pstHdl, const char *pszUrl, const char *pszFunc) {
    int32_t s32Width = 0;
    int32_t s32Height = 0;
    SVR_RETURN_UNLESS(IdxParseIdx(pstHdl, &s32Width, &s32Height) == 0, pszFunc, " _IDX_PARSE_Idx failed!");
    SVR_RETURN_UNLESS(SetFileInfo(pszUrl, pstHdl, s32Width, s32Height) == 0, pszFunc, " get file info failed!");
    return 0;
}

static int32_t IdxDemuxerOpen(const char *pszUrl, Protocol *pstProtocol, void **phFmt) {
    if (IdxOpenCheck(pszUrl, pstProtocol, phFmt, __func__) != 0) {
        return -1;
    }
    void *hIdxUrl = nullptr;
    void *hSubUrl = nullptr;
    if (GetHanle(pszUrl, pstProtocol, &hIdxUrl, &hSubUrl) != 0) {
        return -1;
    }
    IdxDemuxerHdl *pstHdl = static_cast<IdxDemuxerHdl *>(PlayerMallocZ(sizeof(IdxDemuxerHdl)));
    if (pstHdl == nullptr) {
        SVR_LOG_RESULT(__func__, "malloc handle fail!", -1);
        pstProtocol->url_close(hIdxUrl);
        pstProtocol->url_close(hSubUrl);
        return -1;
    }
    pstHdl->hIdxUrl = hIdxUrl;
    pstHdl->hSubUrl = hSubUrl;
    pstHdl->bFileOpen = 1;
    pstHdl->pstProtocol = pstProtocol;
    pstHdl->s32CurStream = SUB_STREAM_INDEX_BASE;
    for (IdxLangEntry &stLang : pstHdl->astLang) {
        stLang.u32MaxIndexNum = IDX_INDEX_STEP;
    }
    if (IdxBuild(pstHdl, pszUrl, __func__) != 0) {
        IdxRelease(pstHdl, __func__);
        return -1;
    }
    *phFmt = pstHdl;
    return 0;
}

static int32_t IdxDemuxerGetInfo(void *hFmt, FileInfo **ppstInfo) {
    IdxDemuxerHdl *pstHdl = static_cast<IdxDemuxerHdl *>(hFmt);
    SVR_RETURN_UNLESS(pstHdl != nullptr && ppstInfo != nullptr && pstHdl->bFileOpen != 0, __func__, "null");
    *ppstInfo = &pstHdl->stFileInfo;
    return 0;
}

// All but data and size. A unit stays until the next one of its language begins.
static void IdxFillFrame(const IdxDemuxerHdl *pstHdl, const IdxLangEntry *pstLang, FmtFrame *pstFrame) {
    const IdxIndexNode *pstNode = &pstLang->pstIDXIndexNodeList[pstLang->curNodeIndex];
    const bool bLast = pstLang->curNodeIndex + 1 == pstLang->u32IndexNum;
    const uint32_t u32Duration =
        bLast ? SUB_DURATION_UNKNOWN
              : static_cast<uint32_t>(pstNode[1].s64StartPts) - static_cast<uint32_t>(pstNode->s64StartPts);
    SvrTextBeginFrame(pstFrame, pstHdl->s32CurStream - SUB_STREAM_INDEX_BASE, pstNode->s64StartPts, u32Duration);
}

// A unit that cannot be read is skipped; the end, alone among the failures, is not reported.
static int32_t IdxDemuxerRead(void *hFmt, FmtFrame *pstFrame) {
    IdxDemuxerHdl *pstHdl = static_cast<IdxDemuxerHdl *>(hFmt);
    SVR_RETURN_UNLESS(pstHdl != nullptr && pstFrame != nullptr && pstHdl->bFileOpen != 0, __func__, "null");
    const uint32_t u32Lang = IdxCurNumber(pstHdl);
    SVR_RETURN_UNLESS(u32Lang < PELL_FORMAT_MAX_LANG_NUM, __func__, "null");
    SVR_RETURN_UNLESS(u32Lang < pstHdl->u8LangNum, __func__, "CurIndex outrange! ");
    IdxLangEntry *pstLang = &pstHdl->astLang[u32Lang];
    SVR_RETURN_UNLESS(pstLang->pstIDXIndexNodeList != nullptr, __func__, "pstIDXIndexNodeList is null");
    if (pstLang->curNodeIndex >= pstLang->u32IndexNum) {
        return -1;
    }
    pstFrame->pu8Data = static_cast<uint8_t *>(PlayerMallocZ(IDX_FRAME_STEP));
    SVR_RETURN_UNLESS(pstFrame->pu8Data != nullptr, __func__, "pstIDXIndexNodeList->pu8Data malloc failed!");
    pstLang->pstIDXIndexNodeList[pstLang->curNodeIndex].u32BufSize = IDX_FRAME_STEP;
    const int32_t s32Result = IdxReadNode(pstHdl, pstFrame);
    if (s32Result == 0) {
        IdxFillFrame(pstHdl, pstLang, pstFrame);
    } else {
        free(pstFrame->pu8Data);
        pstFrame->pu8Data = nullptr;
        pstFrame->u32DataLen = 0;
        SVR_LOG_RESULT(__func__, " _IDX_READ_Node error!", s32Result);
    }
    pstLang->curNodeIndex++;
    return s32Result;
}

static int32_t IdxDemuxerFree(void *hFmt, FmtFrame *pstFrame) {
    const IdxDemuxerHdl *pstHdl = static_cast<const IdxDemuxerHdl *>(hFmt);
    SVR_RETURN_UNLESS(pstHdl != nullptr && pstFrame != nullptr && pstHdl->bFileOpen != 0, __func__, "null");
    free(pstFrame->pu8Data);
    SVR_BOUNDED(__func__, memset_s(pstFrame, sizeof(*pstFrame), 0, sizeof(*pstFrame)), "memset_s");
    return 0;
}

static int32_t IdxDemuxerInvoke(void *hFmt, int32_t s32Command, void *) {
    IdxDemuxerHdl *pstHdl = static_cast<IdxDemuxerHdl *>(hFmt);
    SVR_RETURN_UNLESS(pstHdl != nullptr && pstHdl->hIdxUrl != nullptr && pstHdl->pstProtocol != nullptr, __func__,
                      "invalid param");
    if (s32Command == INVOKE_STOP) {
        __atomic_store_n(&pstHdl->bStopParse, 1, __ATOMIC_RELAXED);
    }
    return 0;
}

// Selects the stream and its first unit.
static int32_t IdxSeekStart(IdxDemuxerHdl *pstHdl, int32_t s32StreamIndex, IdxLangEntry *pstLang) {
    pstLang->curNodeIndex = 0;
    pstHdl->s32CurStream = s32StreamIndex;
    return SvrSubSeekFailed(pstHdl->pstProtocol->url_seek(pstHdl->hIdxUrl, 0, 0)) ? -1 : 0;
}

static int32_t IdxDemuxerSeekPts(void *hFmt, int32_t s32StreamIndex, int64_t s64Pts) {
    IdxDemuxerHdl *pstHdl = static_cast<IdxDemuxerHdl *>(hFmt);
    SVR_RETURN_UNLESS(pstHdl != nullptr && pstHdl->bFileOpen != 0 && s32StreamIndex >= SUB_STREAM_INDEX_BASE &&
                          s32StreamIndex < SUB_STREAM_INDEX_BASE + pstHdl->u8LangNum &&
                          pstHdl->pstProtocol != nullptr && pstHdl->pstProtocol->url_seek != nullptr,
                      __func__, "null");
    IdxLangEntry *pstLang = &pstHdl->astLang[s32StreamIndex - SUB_STREAM_INDEX_BASE];
    const IdxIndexNode *pstNodes = pstLang->pstIDXIndexNodeList;
    SVR_RETURN_UNLESS(pstNodes != nullptr, __func__, "pstIDXIndexNodeList is null!");
    if (s64Pts == 0) {
        return IdxSeekStart(pstHdl, s32StreamIndex, pstLang);
    }
    // The last unit is not looked at: a time behind the start of the one before it is not found.
    uint32_t u32Found = 0;
    while (u32Found + 1 < pstLang->u32IndexNum && pstNodes[u32Found].s64StartPts < s64Pts) {
        u32Found++;
    }
    if (u32Found + 1 >= pstLang->u32IndexNum) {
        return -1;
    }
    pstHdl->s32CurStream = s32StreamIndex;
    pstLang->curNodeIndex = u32Found > 0 ? u32Found - 1 : 0;
    const int64_t s64FilePos = pstNodes[pstLang->curNodeIndex].u32FilePos;
    SVR_RETURN_UNLESS(!SvrSubSeekFailed(pstHdl->pstProtocol->url_seek(pstHdl->hSubUrl, s64FilePos, 0)), __func__,
                      "_IDX_READ_Node url_seek pos failed! a node missed");
    return 0;
}

static int32_t IdxDemuxerClose(void *hFmt) {
    IdxDemuxerHdl *pstHdl = static_cast<IdxDemuxerHdl *>(hFmt);
    SVR_RETURN_UNLESS(pstHdl != nullptr && pstHdl->pstProtocol != nullptr && pstHdl->pstProtocol->url_close != nullptr,
                      __func__, "null");
    IdxRelease(pstHdl, __func__);
    return 0;
}

// The index is complete once open returns: there is no find-stream.
constinit FormatEntry g_idxDemuxer = {
    .pszLibName = "libpell_demuxer.so",
    .pszExtList = "idx",
    .pszProtocolList = "",
    .u32Version = 0x01000001,
    .pszDescription = "pellplayer demuxer",
    .fmt_find = IdxDemuxerFind,
    .fmt_open = IdxDemuxerOpen,
    .fmt_get_info = IdxDemuxerGetInfo,
    .fmt_read = IdxDemuxerRead,
    .fmt_free = IdxDemuxerFree,
    .fmt_invoke = IdxDemuxerInvoke,
    .fmt_seek_pts = IdxDemuxerSeekPts,
    .fmt_seek_pos = SvrTextSeekPos,
    .fmt_close = IdxDemuxerClose,
};
