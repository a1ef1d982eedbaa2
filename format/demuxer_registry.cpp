// The demuxer registry: a chain through pstNext, filled from one array on the first find or open.
#include "format/demuxer_registry.h"
#include "platform/check.h"

// The order decides when several demuxers would accept a URL.
static FormatEntry *const s_apstDemuxers[] = {
    &g_srtDemuxer, &g_lrcDemuxer, &g_smiDemuxer, &g_idxDemuxer, &g_subDemuxer, &g_assDemuxer,
};

static FormatEntry *s_pstDemuxerHead;
static uint8_t s_bDemuxerRegistered;

static void DemuxerAppend(FormatEntry *pstDemuxer) {
    FormatEntry **ppstLink = &s_pstDemuxerHead;
    while (*ppstLink != nullptr) {
        ppstLink = &(*ppstLink)->pstNext;
    }
    pstDemuxer->pstNext = nullptr;
    *ppstLink = pstDemuxer;
}

FormatEntry *DemuxerRegister(const char *pszUrl, Protocol *pstProtocol) {
    if (s_bDemuxerRegistered == 0) {
        for (FormatEntry *pstDemuxer : s_apstDemuxers) {
            DemuxerAppend(pstDemuxer);
        }
        s_bDemuxerRegistered = 1;
    } else {
        PlayerPrintf(PLAYER_LOG_WARNING, __func__, __LINE__, "alredy regist demuxer");
    }
    for (FormatEntry *pstDemuxer = s_pstDemuxerHead; pstDemuxer != nullptr; pstDemuxer = pstDemuxer->pstNext) {
        if (pstDemuxer->fmt_find != nullptr && pstDemuxer->fmt_find(pszUrl, pstProtocol) == 0) {
            return pstDemuxer;
        }
    }
    return nullptr;
}
