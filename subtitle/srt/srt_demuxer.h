// The SubRip demuxer's handle, and what its index builder and its operations share.
#pragma once

#include "subtitle/common/cue_index.h"
#include "subtitle/common/text_demuxer.h"

struct SrtDemuxerHdl {
    TextHead stHead;
    uint32_t u32MaxIndexNum;                      // capacity of the index, in nodes
    uint32_t u32IndexNum;                         // nodes in use
    uint32_t bEndsAscend;                         // the index can be searched by halving; 0 while it is built
    IndexNode *pstSrtIndexNodeList;               // the index, owned; null after a failed growth
    uint32_t u32CurIndex;                         // next node to deliver
    uint32_t u32CodeType;                         // code type of the file, 0 unknown
    int64_t s64StartPos;                          // position of the first line
    uint8_t au8LineBuf[SVR_SUB_STR_IN_MAX_LEN];   // a raw line while parsing, a raw cue while reading
    uint8_t au8FrameBuf[SVR_SUB_STR_OUT_MAX_LEN]; // its converted text; while reading, the frame's text
    uint32_t u32FrameUsed;                        // bytes of au8FrameBuf to clear before it is used again
};

static_assert(offsetof(SrtDemuxerHdl, stHead) == 0, "the shared helpers take the handle for its head");

// Builds the index from scratch in the handle's code type. 0, or -1 when the file was not indexed to its end; the cues
// gathered until then stay, unless memory ran out.
int32_t SrtParse(SrtDemuxerHdl *pstHdl, void *hUrl, Protocol *pstProtocol);

// Reads a time line such as "00:00:01,000 --> 00:00:02,500". False when the text does not begin with one.
bool SrtScanTimeLine(TextSpan stText, int64_t *ps64Start, int64_t *ps64End);

// The frame buffer, for the shared conversion helpers.
inline TextBuf SrtFrameBuf(SrtDemuxerHdl *pstHdl) {
    return {pstHdl->au8FrameBuf, &pstHdl->u32FrameUsed};
}
