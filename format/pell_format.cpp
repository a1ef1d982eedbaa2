// The aggregate entry: what the host's calls on g_formatEntry become. Find and open pick a demuxer, everything else is
// forwarded to it unchanged.
#include "format/demuxer_registry.h"
#include "platform/check.h"

#include <cstdlib>

// What open hands to the host, who never looks inside.
struct FmtHandle {
    FormatEntry *pstFormat;
    void *hMember; // the handle of the demuxer's fmt_open
};

// The handle when its descriptor is there, so that a slot can be looked at, else null.
static FmtHandle *FmtUsable(void *hFmt) {
    FmtHandle *pstFmt = static_cast<FmtHandle *>(hFmt);
    return pstFmt != nullptr && pstFmt->pstFormat != nullptr ? pstFmt : nullptr;
}

static int32_t SvrDemuxerFind(const char *pszUrl, Protocol *pstProtocol) {
    if (pstProtocol != nullptr && pstProtocol->url_find != g_formatEntry.url_find) {
        PlayerPrintf(PLAYER_LOG_ERROR, __func__, __LINE__, "svr demuxer not support other protocol");
        return -1;
    }
    return DemuxerRegister(pszUrl, pstProtocol) != nullptr ? 0 : -1;
}

static int32_t SvrDemuxerOpen(const char *pszUrl, Protocol *pstProtocol, void **phFmt) {
    SVR_RETURN_UNLESS(phFmt != nullptr, __func__, "invalid pFmtHandle param");
    FmtHandle *pstFmt = static_cast<FmtHandle *>(PlayerMallocZ(sizeof(FmtHandle)));
    SVR_RETURN_UNLESS(pstFmt != nullptr, __func__, "SVR_DEMUXER_Open malloc handl fail");

    pstFmt->pstFormat = DemuxerRegister(pszUrl, pstProtocol);
    if (pstFmt->pstFormat == nullptr) {
        free(pstFmt);
        return -1;
    }
    pstFmt->pstFormat->s32CodeTypeHint = g_formatEntry.s32CodeTypeHint;
    if (pstFmt->pstFormat->fmt_open == nullptr) {
        free(pstFmt);
        SVR_LOG_RESULT(__func__, "not support format", -1);
        return -1;
    }
    Protocol *pstUsed = pstProtocol != nullptr ? pstProtocol : PellProtocolOf(&g_formatEntry);
    if (pstFmt->pstFormat->fmt_open(pszUrl, pstUsed, &pstFmt->hMember) != 0) {
        free(pstFmt);
        return -1;
    }
    *phFmt = pstFmt;
    return 0;
}

// A demuxer that indexes at open has no find-stream: that is not a failure.
static int32_t SvrDemuxerFindStream(void *hFmt, int32_t) {
    FmtHandle *pstFmt = FmtUsable(hFmt);
    SVR_RETURN_UNLESS(pstFmt != nullptr, __func__, "null");
    if (pstFmt->pstFormat->fmt_find_stream == nullptr) {
        SVR_LOG_RESULT(__func__, "null", 0);
        return 0;
    }
    return pstFmt->pstFormat->fmt_find_stream(pstFmt->hMember, 0);
}

static int32_t SvrDemuxerGetInfo(void *hFmt, FileInfo **ppstInfo) {
    FmtHandle *pstFmt = FmtUsable(hFmt);
    SVR_RETURN_UNLESS(pstFmt != nullptr && pstFmt->pstFormat->fmt_get_info != nullptr, __func__, "null");
    return pstFmt->pstFormat->fmt_get_info(pstFmt->hMember, ppstInfo);
}

static int32_t SvrDemuxerRead(void *hFmt, FmtFrame *pstFrame) {
    FmtHandle *pstFmt = FmtUsable(hFmt);
    SVR_RETURN_UNLESS(pstFmt != nullptr && pstFmt->pstFormat->fmt_read != nullptr, __func__, "null");
    return pstFmt->pstFormat->fmt_read(pstFmt->hMember, pstFrame);
}

static int32_t SvrDemuxerFree(void *hFmt, FmtFrame *pstFrame) {
    FmtHandle *pstFmt = FmtUsable(hFmt);
    SVR_RETURN_UNLESS(pstFmt != nullptr && pstFmt->pstFormat->fmt_free != nullptr, __func__, "null");
    return pstFmt->pstFormat->fmt_free(pstFmt->hMember, pstFrame);
}

static int32_t SvrDemuxerInvoke(void *hFmt, int32_t s32Command, void *pvArg) {
    FmtHandle *pstFmt = FmtUsable(hFmt);
    SVR_RETURN_UNLESS(pstFmt != nullptr && pstFmt->pstFormat->fmt_invoke != nullptr, __func__, "null");
    return pstFmt->pstFormat->fmt_invoke(pstFmt->hMember, s32Command, pvArg);
}

static int32_t SvrDemuxerSeekPts(void *hFmt, int32_t s32StreamIndex, int64_t s64Pts) {
    FmtHandle *pstFmt = FmtUsable(hFmt);
    SVR_RETURN_UNLESS(pstFmt != nullptr && pstFmt->pstFormat->fmt_seek_pts != nullptr, __func__, "null");
    return pstFmt->pstFormat->fmt_seek_pts(pstFmt->hMember, s32StreamIndex, s64Pts);
}

static int64_t SvrDemuxerSeekPos(void *hFmt, int32_t s32StreamIndex, int64_t s64Pos) {
    FmtHandle *pstFmt = FmtUsable(hFmt);
    SVR_RETURN_UNLESS(pstFmt != nullptr && pstFmt->pstFormat->fmt_seek_pos != nullptr, __func__, "null");
    return pstFmt->pstFormat->fmt_seek_pos(pstFmt->hMember, s32StreamIndex, s64Pos);
}

static int32_t SvrDemuxerClose(void *hFmt) {
    FmtHandle *pstFmt = FmtUsable(hFmt);
    SVR_RETURN_UNLESS(pstFmt != nullptr && pstFmt->pstFormat->fmt_close != nullptr, __func__, "null");
    pstFmt->pstFormat->fmt_close(pstFmt->hMember);
    SVR_BOUNDED(__func__, memset_s(pstFmt, sizeof(*pstFmt), 0, sizeof(*pstFmt)), "memset_s");
    free(pstFmt);
    return 0;
}

constinit FormatEntry g_formatEntry = {
    .pszLibName = "libpell_demuxer.so",
    .pszExtList = "srt,mp3,ts,mpg,smi,tp,trp,idx,iptv,ass,ssa,sub",
    .pszProtocolList = "file",
    .u32Version = 0x01000001,
    .pszDescription = "pellplayer demuxer",
    .s32HostValue = -18,
    .fmt_find = SvrDemuxerFind,
    .fmt_open = SvrDemuxerOpen,
    .fmt_find_stream = SvrDemuxerFindStream,
    .fmt_get_info = SvrDemuxerGetInfo,
    .fmt_read = SvrDemuxerRead,
    .fmt_free = SvrDemuxerFree,
    .fmt_invoke = SvrDemuxerInvoke,
    .fmt_seek_pts = SvrDemuxerSeekPts,
    .fmt_seek_pos = SvrDemuxerSeekPos,
    .fmt_close = SvrDemuxerClose,
    .url_find = SvrUrlFind,
    .url_open = SvrUrlOpen,
    .url_read = SvrUrlRead,
    .url_seek = SvrUrlSeek,
    .url_close = SvrUrlClose,
    .url_read_seek = SvrUrlReadSeek,
};
