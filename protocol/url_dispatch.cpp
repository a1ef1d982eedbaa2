// URL dispatch: picks the protocol that serves a URL and forwards the six operations to it.
#include "platform/check.h"
#include "protocol/file_window.h"

#include <cstdlib>

// What SvrUrlOpen hands out.
struct UrlHandle {
    FormatEntry *pstProtocolEntry;
    void *hMember; // the handle of the protocol's url_open
};

static FormatEntry *s_pstProtocolHead;
static uint8_t s_bProtocolRegistered;

// Fills the registry on first use, then picks the first protocol that serves the URL, or null.
static FormatEntry *UrlRegister(const char *pszUrl) {
    if (s_bProtocolRegistered == 0) {
        g_fileProtocol.pstNext = nullptr;
        s_pstProtocolHead = &g_fileProtocol;
        s_bProtocolRegistered = 1;
    } else {
        SVR_LOG_RESULT(__func__, "already regist protocol", 0);
    }
    for (FormatEntry *pstEntry = s_pstProtocolHead; pstEntry != nullptr; pstEntry = pstEntry->pstNext) {
        if (pstEntry->url_find != nullptr && pstEntry->url_find(pszUrl) == 0) {
            return pstEntry;
        }
    }
    return nullptr;
}

// The handle when its descriptor is there, so that a slot can be looked at; else null.
static UrlHandle *UrlUsable(void *hUrl) {
    UrlHandle *pstUrl = static_cast<UrlHandle *>(hUrl);
    return pstUrl != nullptr && pstUrl->pstProtocolEntry != nullptr ? pstUrl : nullptr;
}

int32_t SvrUrlFind(const char *pszUrl) {
    return UrlRegister(pszUrl) != nullptr ? 0 : -1;
}

int32_t SvrUrlOpen(const char *pszUrl, int32_t s32Flags, void **phUrl) {
    SVR_RETURN_UNLESS(phUrl != nullptr, __func__, "invalid param");
    UrlHandle *pstUrl = static_cast<UrlHandle *>(PlayerMallocZ(sizeof(UrlHandle)));
    SVR_RETURN_UNLESS(pstUrl != nullptr, __func__, "malloc handle fail");

    pstUrl->pstProtocolEntry = UrlRegister(pszUrl);
    if (pstUrl->pstProtocolEntry == nullptr || pstUrl->pstProtocolEntry->url_open == nullptr ||
        pstUrl->pstProtocolEntry->url_open(pszUrl, s32Flags, &pstUrl->hMember) != 0) {
        free(pstUrl);
        return -1;
    }
    *phUrl = pstUrl;
    return 0;
}

int32_t SvrUrlRead(void *hUrl, uint8_t *pu8Buf, int32_t s32Size) {
    UrlHandle *pstUrl = UrlUsable(hUrl);
    SVR_RETURN_UNLESS(pstUrl != nullptr && pstUrl->pstProtocolEntry->url_read != nullptr, __func__, "null");
    return pstUrl->pstProtocolEntry->url_read(pstUrl->hMember, pu8Buf, s32Size);
}

int64_t SvrUrlSeek(void *hUrl, int64_t s64Offset, int32_t s32Whence) {
    UrlHandle *pstUrl = UrlUsable(hUrl);
    SVR_RETURN_UNLESS(pstUrl != nullptr && pstUrl->pstProtocolEntry->url_seek != nullptr, __func__, "null");
    return pstUrl->pstProtocolEntry->url_seek(pstUrl->hMember, s64Offset, s32Whence);
}

int32_t SvrUrlReadSeek(void *hUrl, int32_t s32StreamIndex, int64_t s64Pts) {
    UrlHandle *pstUrl = UrlUsable(hUrl);
    SVR_RETURN_UNLESS(pstUrl != nullptr && pstUrl->pstProtocolEntry->url_read_seek != nullptr, __func__, "null");
    return pstUrl->pstProtocolEntry->url_read_seek(pstUrl->hMember, s32StreamIndex, s64Pts);
}

int32_t SvrUrlClose(void *hUrl) {
    UrlHandle *pstUrl = UrlUsable(hUrl);
    SVR_RETURN_UNLESS(pstUrl != nullptr && pstUrl->pstProtocolEntry->url_close != nullptr, __func__, "null");
    pstUrl->pstProtocolEntry->url_close(pstUrl->hMember);
    SVR_BOUNDED(__func__, memset_s(pstUrl, sizeof(*pstUrl), 0, sizeof(*pstUrl)), "memset_s");
    free(pstUrl);
    return 0;
}

SvrFileHandle *SvrFileWindowOf(const Protocol *pstProtocol, void *hUrl) {
    if (pstProtocol->url_read != SvrUrlRead || pstProtocol->url_seek != SvrUrlSeek) {
        return nullptr;
    }
    const UrlHandle *pstUrl = UrlUsable(hUrl);
    const bool bServed = pstUrl != nullptr && SvrFileServes(pstUrl->pstProtocolEntry);
    return bServed ? static_cast<SvrFileHandle *>(pstUrl->hMember) : nullptr;
}
