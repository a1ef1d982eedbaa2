// Units of VobSub out of any packet file: from the window of our own files, byte counts from a foreign protocol, and by
// a reading of the packs that is as plain as can be.
#include "fuzz/shapes.h"
#include "subtitle/idx/idx_demuxer.h"

#include <algorithm>
#include <cstring>
#include <vector>

static uint32_t PacketsBig16(const uint8_t *pu8) {
    return static_cast<uint32_t>(pu8[0] << 8 | pu8[1]);
}

// The unit that begins at a position; false when there is none.
static bool PacketsUnitAt(FuzzBytes stFile, uint32_t u32Pos, std::vector<uint8_t> *pvecUnit) {
    size_t uSize = 0;
    for (size_t uPos = u32Pos; uPos < stFile.uLen; uPos += FUZZ_PACK_SIZE) {
        uint8_t au8Pack[FUZZ_PACK_SIZE] = {};
        const size_t uGot = std::min(FUZZ_PACK_SIZE, stFile.uLen - uPos);
        memcpy(au8Pack, stFile.pu8 + uPos, uGot);
        if (uGot < 23 || memcmp(au8Pack, "\0\0\1\xBA", 4) != 0 || memcmp(au8Pack + 14, "\0\0\1\xBD", 4) != 0) {
            return false;
        }
        const size_t uHead = au8Pack[22];
        const size_t uLen = PacketsBig16(au8Pack + 18);
        uSize = uSize == 0 ? PacketsBig16(au8Pack + 24 + uHead) : uSize;
        if (uLen < uHead + 5 || 24 + uLen - 4 > FUZZ_PACK_SIZE || uSize == 0) {
            return false;
        }
        pvecUnit->insert(pvecUnit->end(), au8Pack + 24 + uHead, au8Pack + 24 + uLen - 4);
        if (pvecUnit->size() >= uSize) {
            return pvecUnit->size() == uSize;
        }
    }
    return false;
}

static void PacketsRead(IdxDemuxerHdl *pstHdl, bool bFaults) {
    IdxLangEntry *pstLang = &pstHdl->astLang[0];
    for (uint32_t i = 0; i < pstLang->u32IndexNum; i++) {
        std::vector<uint8_t> vecUnit;
        const bool bUnit =
            PacketsUnitAt(g_fuzzHost.astFile[FUZZ_FILE_MAIN], pstLang->pstIDXIndexNodeList[i].u32FilePos, &vecUnit);
        FmtFrame stFrame = {};
        const int32_t s32Result = g_idxDemuxer.fmt_read(pstHdl, &stFrame);
        FUZZ_CHECK(s32Result == 0 || s32Result == -1);
        FUZZ_CHECK(bFaults || (s32Result == 0) == bUnit);
        if (s32Result == 0) {
            FUZZ_CHECK(bFaults || stFrame.u32DataLen == vecUnit.size());
            FUZZ_CHECK(bFaults || memcmp(stFrame.pu8Data, vecUnit.data(), vecUnit.size()) == 0);
        } else {
            FUZZ_CHECK(stFrame.pu8Data == nullptr && stFrame.u32DataLen == 0);
        }
        FUZZ_CHECK(bFaults || pstLang->curNodeIndex == i + 1);
        pstLang->curNodeIndex = i + 1;
        g_idxDemuxer.fmt_free(pstHdl, &stFrame);
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *pu8Data, size_t uSize) {
    FuzzInput stInput = {pu8Data, pu8Data + uSize};
    FuzzHostBegin();
    const uint8_t u8Flags = FuzzTake8(&stInput);
    const uint8_t u8FailAllocationAt = FuzzTake8(&stInput);
    const uint8_t u8FailReadAt = FuzzTake8(&stInput);
    const uint8_t u8ShortReadAt = FuzzTake8(&stInput);
    IdxIndexNode astNodes[4] = {};
    for (IdxIndexNode &stNode : astNodes) {
        // As a rule where a pack begins.
        const size_t uPos = FuzzTake16(&stInput);
        const bool bAnywhere = (uPos & 0x8000) != 0;
        stNode.u32FilePos = static_cast<uint32_t>(bAnywhere ? uPos & 0x7FFF : uPos % FUZZ_PACKS_MAX * FUZZ_PACK_SIZE);
    }
    astNodes[3].u32FilePos ^= (u8Flags & 2) != 0 ? 0xFFFF0000 : 0;
    g_fuzzHost.astFile[FUZZ_FILE_MAIN] =
        (u8Flags & 1) != 0 ? FuzzBytes{stInput.pu8Cur, FuzzLeft(&stInput)} : FuzzBuildPacks(&stInput);

    static IdxDemuxerHdl s_stHdl;
    s_stHdl = {};
    s_stHdl.pstProtocol = (u8Flags & 4) != 0 ? FuzzMemoryProtocol() : PellProtocolOf(&g_formatEntry);
    s_stHdl.bFileOpen = 1;
    s_stHdl.s32CurStream = SUB_STREAM_INDEX_BASE;
    s_stHdl.u8LangNum = 1;
    s_stHdl.astLang[0].u32IndexNum = static_cast<uint32_t>(std::size(astNodes));
    s_stHdl.astLang[0].pstIDXIndexNodeList = astNodes;
    if (s_stHdl.pstProtocol->url_open("/film.sub", 0, &s_stHdl.hSubUrl) == 0) {
        // Counted from here.
        HostReset();
        g_fuzzHost.u32Reads = 0;
        g_host.s32FailAt = u8FailAllocationAt;
        g_fuzzHost.stFaults.u32FailReadAt = u8FailReadAt;
        g_fuzzHost.stFaults.u32ShortReadAt = u8ShortReadAt;
        PacketsRead(&s_stHdl, u8FailAllocationAt != 0 || u8FailReadAt != 0 || u8ShortReadAt != 0);
        s_stHdl.pstProtocol->url_close(s_stHdl.hSubUrl);
    }
    FuzzHostEnd();
    return 0;
}
