// The lyrics demuxer's handle, and what its index builder and its operations share.
#pragma once

#include "subtitle/common/cue_index.h"
#include "subtitle/common/text_demuxer.h"

// Nodes that the index begins with and grows by.
constexpr uint32_t LRC_INDEX_STEP = 512;

// One time tag. Lyrics are delivered from the index: every tag of a line holds the line's text.
struct LrcIndexNode {
    int64_t s64StartPts;                 // ms, offsets applied
    char szText[SVR_SUB_STR_IN_MAX_LEN]; // terminated; empty when the line's text was empty or did not fit
};

struct LrcDemuxerHdl {
    TextHead stHead;
    int32_t s32FileOffset;             // ms, of the last offset line in a header; a build without one keeps it
    uint32_t u32MaxIndexNum;           // capacity of the index, in nodes
    uint32_t u32IndexNum;              // nodes in use
    uint32_t u32CurIndex;              // next node to deliver
    LrcIndexNode *pstLrcIndexNodeList; // the index, owned; null after a failed growth
    uint32_t u32CodeType;              // code type of the file, 0 unknown
    int64_t s64StartPos;               // position of the first line
    uint8_t *pu8LineBuf;               // a raw line, SVR_SUB_STR_IN_MAX_LEN bytes, owned
    uint8_t *pu8TextBuf;               // its converted text, SVR_SUB_STR_OUT_MAX_LEN bytes, owned
    uint32_t u32TextUsed;              // bytes of pu8TextBuf to clear before it is used again
};

static_assert(offsetof(LrcDemuxerHdl, stHead) == 0, "the shared helpers take the handle for its head");

// Builds the index from scratch in the handle's code type. 0, or -1 when the file was not indexed to its end; the cues
// gathered until then stay, unsorted. Without memory to grow, those until then are lost and the build goes on.
int32_t LrcParse(LrcDemuxerHdl *pstHdl, void *hUrl, Protocol *pstProtocol);

// Reads a time tag such as "[01:02.50]", in milliseconds; the fraction counts as it is written. Minutes and seconds
// must be there.
bool LrcScanTimeTag(TextSpan stTag, int64_t *ps64Time);
