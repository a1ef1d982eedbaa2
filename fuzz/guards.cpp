// Which gaps there are; the build puts one behind every buffer of these handles.
#include "fuzz/guards.h"

#ifdef PELL_FUZZ_GUARDS
#include "subtitle/ass/ass_demuxer.h"
#include "subtitle/smi/smi_demuxer.h"
#include "subtitle/srt/srt_demuxer.h"
#include "subtitle/sub/sub_demuxer.h"

#include <cstring>
#include <sanitizer/asan_interface.h>

static void Guard(const void *pvGap, size_t uSize, bool bOn) {
    if (bOn) {
        __asan_poison_memory_region(pvGap, uSize);
    } else {
        __asan_unpoison_memory_region(pvGap, uSize);
    }
}

#define GUARD(gap) Guard((gap), sizeof(gap), bOn)

static void GuardSrt(const SrtDemuxerHdl *pstHdl, bool bOn) {
    GUARD(pstHdl->au8LineBufGuard);
    GUARD(pstHdl->au8FrameBufGuard);
}

static void GuardAss(const AssDemuxerHdl *pstHdl, bool bOn) {
    GUARD(pstHdl->au8LineBufGuard);
    GUARD(pstHdl->au8FrameBufGuard);
}

static void GuardSub(const SubDemuxerHdl *pstHdl, bool bOn) {
    GUARD(pstHdl->au8LineBufGuard);
    GUARD(pstHdl->au8TextBufGuard);
}

static void GuardSmi(const SmiDemuxerHdl *pstHdl, bool bOn) {
    GUARD(pstHdl->au8LineBufGuard);
    GUARD(pstHdl->au8TransBufGuard);
    GUARD(pstHdl->au8DisplayBufGuard);
    GUARD(pstHdl->aszClassLangGuard);
    GUARD(pstHdl->aszClassNameGuard);
}

void FuzzGuard(const char *pszExtension, void *hFmt, bool bOn) {
    // The descriptor, then the demuxer's own handle.
    void *hMember = static_cast<void **>(hFmt)[1];
    if (strcmp(pszExtension, "srt") == 0) {
        GuardSrt(static_cast<SrtDemuxerHdl *>(hMember), bOn);
    } else if (strcmp(pszExtension, "ass") == 0) {
        GuardAss(static_cast<AssDemuxerHdl *>(hMember), bOn);
    } else if (strcmp(pszExtension, "sub") == 0) {
        GuardSub(static_cast<SubDemuxerHdl *>(hMember), bOn);
    } else if (strcmp(pszExtension, "smi") == 0) {
        GuardSmi(static_cast<SmiDemuxerHdl *>(hMember), bOn);
    }
}
#else
void FuzzGuard(const char *, void *, bool) {}
#endif
