// Reading of one subtitle unit from the packet file: an MPEG program stream of 2048-byte packs, each with one packet
// of private stream 1. A unit begins with its size and goes on through the packs that follow, whatever their
// sub-stream.
#include "subtitle/idx/idx_demuxer.h"

#include "platform/check.h"
#include "protocol/file_window.h"
#include "subtitle/common/line_reader.h"

#include <cstdlib>
#include <cstring>

constexpr int32_t IDX_PACK_SIZE = 2048;

// Places in a pack.
constexpr uint32_t IDX_PES_START = 14;
constexpr uint32_t IDX_PES_LEN = 18;
constexpr uint32_t IDX_PES_HEAD_LEN = 22;
constexpr uint32_t IDX_PES_HEAD = 23; // its data; then one byte of sub-stream id, then the unit's

constexpr uint8_t IDX_CODE_PACK = 0xBA;
constexpr uint8_t IDX_CODE_PRIVATE_1 = 0xBD;

// A packet's length counts two bytes of flags, the length of the header data, that data, the sub-stream id.
constexpr uint32_t IDX_PES_OVERHEAD = 4;

static uint32_t IdxBigEndian16(const uint8_t *pu8) {
    return static_cast<uint32_t>(pu8[0]) << 8 | pu8[1];
}

static bool IdxIsStartCode(const uint8_t *pu8, uint8_t u8Code) {
    return pu8[0] == 0 && pu8[1] == 0 && pu8[2] == 1 && pu8[3] == u8Code;
}

// The node being read, when frame and handle are fit for it, else null.
static IdxIndexNode *GetNodeList(IdxDemuxerHdl *pstHdl, const FmtFrame *pstFrame, int32_t s32TmpDataSize) {
    const uint32_t u32Lang = IdxCurNumber(pstHdl);
    const char *pszUnfit = nullptr;
    if (pstFrame == nullptr) {
        pszUnfit = "pstFmtFrame is null!";
    } else if (s32TmpDataSize < 0) {
        pszUnfit = "s32TmpDataSize is negative!";
    } else if (u32Lang >= pstHdl->u8LangNum || u32Lang >= PELL_FORMAT_MAX_LANG_NUM) {
        pszUnfit = "CurIndex out of range!";
    } else if (pstHdl->astLang[u32Lang].curNodeIndex >= pstHdl->astLang[u32Lang].u32IndexNum) {
        pszUnfit = "curNodeIndex is outrange!";
    }
    if (pszUnfit != nullptr) {
        SVR_LOG_RESULT(__func__, pszUnfit, -1);
        return nullptr;
    }
    const IdxLangEntry *pstLang = &pstHdl->astLang[u32Lang];
    return pstLang->pstIDXIndexNodeList != nullptr ? &pstLang->pstIDXIndexNodeList[pstLang->curNodeIndex] : nullptr;
}

// Makes room for a unit of so many bytes. 0, or -1 with the frame's buffer as it was or gone.
static int32_t IdxGrowFrame(IdxIndexNode *pstNode, FmtFrame *pstFrame, uint32_t u32Size, const char *pszFunc) {
    if (u32Size <= pstNode->u32BufSize) {
        return 0;
    }
    const uint64_t u64Capacity = (static_cast<uint64_t>(u32Size) / IDX_FRAME_STEP + 1) * IDX_FRAME_STEP;
    SVR_RETURN_UNLESS(u64Capacity < UINT32_MAX, pszFunc, "");
    const uint32_t u32Capacity = static_cast<uint32_t>(u64Capacity);
    pstFrame->pu8Data = static_cast<uint8_t *>(PlayerReallocS(pstFrame->pu8Data, pstNode->u32BufSize, u32Capacity));
    SVR_RETURN_UNLESS(pstFrame->pu8Data != nullptr, pszFunc, "ptr realloc failed!");
    pstNode->u32BufSize = u32Capacity;
    return 0;
}

// Adds a pack's share to the unit; the first one tells the unit's size. 0 or -1.
static int32_t IdxParsePes(IdxDemuxerHdl *pstHdl, FmtFrame *pstFrame, const uint8_t *pu8Pack,
                           int32_t *ps32TmpDataSize) {
    IdxIndexNode *pstNode = GetNodeList(pstHdl, pstFrame, *ps32TmpDataSize);
    if (pstNode == nullptr) {
        return -1;
    }
    SVR_RETURN_UNLESS(IdxIsStartCode(pu8Pack, IDX_CODE_PACK), __func__, "broken packet without 0x000001ba!");
    SVR_RETURN_UNLESS(IdxIsStartCode(pu8Pack + IDX_PES_START, IDX_CODE_PRIVATE_1), __func__,
                      "broken packet without 0x000001bd!");
    const uint32_t u32PesLen = IdxBigEndian16(pu8Pack + IDX_PES_LEN);
    const uint32_t u32HeadLen = pu8Pack[IDX_PES_HEAD_LEN];
    const uint32_t u32First = IDX_PES_HEAD + u32HeadLen + 1; // a byte's worth of header data: well inside the pack
    if (pstFrame->u32DataLen == 0) {
        pstFrame->u32DataLen = IdxBigEndian16(pu8Pack + u32First);
    }
    SVR_RETURN_UNLESS(u32PesLen > u32HeadLen + IDX_PES_OVERHEAD, __func__,
                      "_IDX_PARSE_Pes error, peslen is shorter than pes's headlen");
    const uint32_t u32Len = u32PesLen - u32HeadLen - IDX_PES_OVERHEAD;
    const uint32_t u32Before = static_cast<uint32_t>(*ps32TmpDataSize);
    if (IdxGrowFrame(pstNode, pstFrame, u32Before + u32Len, __func__) != 0) {
        return -1;
    }
    SVR_RETURN_UNLESS(u32First + u32Len <= IDX_PACK_SIZE, __func__, "pu8Picbuf is outrange!");
    SVR_BOUNDED(__func__,
                memcpy_s(pstFrame->pu8Data + u32Before, pstNode->u32BufSize - u32Before, pu8Pack + u32First, u32Len),
                "memcpy_s");
    *ps32TmpDataSize = static_cast<int32_t>(u32Before + u32Len);
    return 0;
}

// The next pack, shown where our own file protocol has it cached, else read into the pack buffer; null after a message.
// A pack at the end of the file may be short: it goes on with zeros, not with what the pack before it left behind.
static const uint8_t *IdxNextPack(const IdxDemuxerHdl *pstHdl, uint8_t *pu8Picbuf, const char *pszFunc) {
    SvrFileHandle *pstFile = SvrFileWindowOf(pstHdl->pstProtocol, pstHdl->hSubUrl);
    if (pstFile != nullptr && SvrFileWindowEnd(pstFile) - SvrFileWindowCur(pstFile) >= IDX_PACK_SIZE) {
        const uint8_t *pu8Pack = SvrFileWindowCur(pstFile);
        SvrFileWindowAdvance(pstFile, IDX_PACK_SIZE);
        return pu8Pack;
    }
    const int32_t s32Got = pstHdl->pstProtocol->url_read(pstHdl->hSubUrl, pu8Picbuf, IDX_PACK_SIZE);
    if (s32Got < static_cast<int32_t>(IDX_PES_HEAD)) {
        SVR_LOG_RESULT(pszFunc, "_IDX_READ_Node url_read pos failed! .sub file unstandard", -1);
        return nullptr;
    }
    if (s32Got < IDX_PACK_SIZE) {
        memset(pu8Picbuf + s32Got, 0, static_cast<size_t>(IDX_PACK_SIZE - s32Got));
    }
    return pu8Picbuf;
}

// Reads packs from the node's position on until the unit is whole.
static int32_t IdxReadUnit(IdxDemuxerHdl *pstHdl, FmtFrame *pstFrame, uint8_t *pu8Picbuf, const char *pszFunc) {
    const IdxIndexNode *pstNode = GetNodeList(pstHdl, pstFrame, 0);
    SVR_RETURN_UNLESS(pstNode != nullptr, pszFunc, "_IDX_PARSE_Pes failed!");
    SVR_RETURN_UNLESS(!SvrSubSeekFailed(pstHdl->pstProtocol->url_seek(pstHdl->hSubUrl, pstNode->u32FilePos, 0)),
                      pszFunc, "url_seek pos failed! a node missed");
    int32_t s32TmpDataSize = 0;
    do {
        const uint8_t *pu8Pack = IdxNextPack(pstHdl, pu8Picbuf, pszFunc);
        if (pu8Pack == nullptr) {
            return -1;
        }
        SVR_RETURN_UNLESS(IdxParsePes(pstHdl, pstFrame, pu8Pack, &s32TmpDataSize) == 0, pszFunc,
                          "_IDX_PARSE_Pes failed!");
        SVR_RETURN_UNLESS(pstFrame->u32DataLen != 0, pszFunc, "_IDX_PARSE_Pes failed, datasize error!");
    } while (static_cast<uint32_t>(s32TmpDataSize) < pstFrame->u32DataLen);
    SVR_RETURN_UNLESS(static_cast<uint32_t>(s32TmpDataSize) == pstFrame->u32DataLen, pszFunc,
                      "parse pes error, parsed size != datasize!");
    return 0;
}

int32_t IdxReadNode(IdxDemuxerHdl *pstHdl, FmtFrame *pstFrame) {
    SVR_RETURN_UNLESS(pstHdl != nullptr, __func__, "pstDemuxerHdl is NULL!");
    const uint32_t u32Lang = IdxCurNumber(pstHdl);
    SVR_RETURN_UNLESS(u32Lang < pstHdl->u8LangNum && u32Lang < PELL_FORMAT_MAX_LANG_NUM, __func__,
                      "CurIndex is out of range!");
    uint8_t *pu8Picbuf = static_cast<uint8_t *>(PlayerMallocZ(IDX_PACK_SIZE));
    SVR_RETURN_UNLESS(pu8Picbuf != nullptr, __func__, "");
    const int32_t s32Result = IdxReadUnit(pstHdl, pstFrame, pu8Picbuf, __func__);
    free(pu8Picbuf);
    return s32Result;
}
