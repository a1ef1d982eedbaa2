// The ASS/SSA demuxer's handle, and what its parser and its operations share.
#pragma once

#include "subtitle/common/cue_index.h"
#include "subtitle/common/text_demuxer.h"

// Bytes that the header begins with and grows by at least, and may have at most.
constexpr uint32_t ASS_HEADER_STEP = 4096;
constexpr uint32_t ASS_HEADER_MAX_SIZE = 0x200000;

struct AssDemuxerHdl {
    TextHead stHead;
    uint32_t u32MaxIndexNum;                    // capacity of the index, in nodes
    uint32_t u32IndexNum;                       // nodes in use
    uint32_t bEndsAscend;                       // the index can be searched by halving; 0 while it is built
    IndexNode *pstAssIndexNodeList;             // the index, owned; null after a failed growth
    uint32_t u32CurIndex;                       // next node to deliver
    uint32_t u32CodeType;                       // code type of the file, 0 unknown
    int64_t s64StartPos;                        // position of the first line
    uint8_t au8LineBuf[SVR_SUB_STR_IN_MAX_LEN]; // a raw line while parsing, the raw lines of one frame while reading
    uint8_t au8FrameBuf[SVR_SUB_STR_OUT_MAX_LEN + 1]; // its converted text; while reading, the frame's, and a zero byte
    uint8_t *pu8Header;                               // every converted line but the events, owned; not terminated
    uint32_t u32HeaderLen;                            // bytes of it in use
    uint32_t u32HeaderSize;                           // bytes allocated for it
    uint32_t u32FrameUsed;                            // bytes of au8FrameBuf to clear before it is used again
};

static_assert(offsetof(AssDemuxerHdl, stHead) == 0, "the shared helpers take the handle for its head");

// Builds header and index from scratch in the handle's code type. 0 when the file was parsed to its end and has an
// event line, else -1; the events gathered until then stay, unsorted, unless memory ran out.
int32_t AssParse(AssDemuxerHdl *pstHdl, void *hUrl, Protocol *pstProtocol);

// The frame buffer, for the shared conversion helpers.
inline TextBuf AssFrameBuf(AssDemuxerHdl *pstHdl) {
    return {pstHdl->au8FrameBuf, &pstHdl->u32FrameUsed};
}
