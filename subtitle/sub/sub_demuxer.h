// The text SUB demuxer's handle, and what its index builder, its formats and its operations share.
#pragma once

#include "subtitle/common/cue_index.h"
#include "subtitle/common/text_reader.h"

#include <cmath>

struct SubDemuxerHdl;

// The rows of g_subFormatTable.
enum SubFormat {
    SUB_FORMAT_NONE = -1,
    SUB_FORMAT_MICRODVD,
    SUB_FORMAT_SUBVIEWER,
    SUB_FORMAT_MPSUB,
    SUB_FORMAT_DVDSUB,
    SUB_FORMAT_NUM
};

// One kind of file that goes by the extension.
struct SubFormatDesc {
    // Reads the next cue into a cleared node. 0, or -1 when there is none.
    int32_t (*pfnParse)(SubDemuxerHdl *pstHdl, IndexNode *pstNode);
    // Makes text and times of a delivered frame what the host expects. 0 or -1.
    int32_t (*pfnPost)(SubDemuxerHdl *pstHdl, FmtFrame *pstFrame);
    const char *pszName;
};

extern const SubFormatDesc g_subFormatTable[SUB_FORMAT_NUM];

struct SubDemuxerHdl {
    TextHead stHead;
    uint32_t u32MaxIndexNum;                     // capacity of the index, in nodes
    uint32_t u32IndexNum;                        // nodes in use
    uint32_t bEndsAscend;                        // the index can be searched by halving; 0 while it is built
    uint32_t u32CurIndex;                        // next node to deliver
    uint32_t u32CodeType;                        // code type of the file, 0 unknown
    int32_t s32FormatIndex;                      // enum SubFormat
    uint32_t u32StartPos;                        // position of the first line that may be a cue
    double dFrameRate;                           // MicroDVD: frames per second; MPSub: ms that one of its units is
    float fMpsubClock;                           // MPSub: end of the last cue, ms
    const SubFormatDesc *pstSubFormat;           // the detected row; null until then
    uint8_t au8LineBuf[SVR_SUB_STR_IN_MAX_LEN];  // a raw line while parsing, a raw cue while reading
    uint8_t au8TextBuf[SVR_SUB_STR_OUT_MAX_LEN]; // its converted text; while reading, the frame's text
    uint32_t u32TextUsed;                        // bytes of au8TextBuf to clear before it is used again
    TextReader stReader;                         // the file's lines, while the index is built
    IndexNode *pstSubIndexNodeList;              // the index in file order, owned; null after a failed growth.
                                                 // MicroDVD: starts and durations in frames
};

static_assert(offsetof(SubDemuxerHdl, stHead) == 0, "the shared helpers take the handle for its head");

// The text buffer, for the shared conversion helpers.
inline TextBuf SubTextBuf(SubDemuxerHdl *pstHdl) {
    return {pstHdl->au8TextBuf, &pstHdl->u32TextUsed};
}

// Tells the format and builds the index from scratch in the handle's code type. 0, or -1 when no format
// fits, there is no cue, or the build was stopped; 0 also when memory ran out and the index is gone: reads report that.
int32_t SubParse(SubDemuxerHdl *pstHdl, void *hUrl, Protocol *pstProtocol);

// Reads a line. Its length, 0 for an empty one; -1 after a message under the name.
int32_t SubReadRawLine(SubDemuxerHdl *pstHdl, const char *pszFunc, TextSpan *pstLine);

// Reads a line and converts it. Its length, 0 for an empty one; -1 at the end of the file or after a failure.
int32_t SubReadLineUTF8(SubDemuxerHdl *pstHdl, TextSpan *pstText);

// Where the next line begins. 0, or -1 after a message under the name.
int32_t SubTakePos(const SubDemuxerHdl *pstHdl, const char *pszFunc, int64_t *ps64Pos);

struct SubFrames {
    int64_t s64Start;
    int64_t s64End;
};

// Reads "{12}{34}text" or "{12}{}text". The place of the text, of which there is at least one character, or null.
// Numbers read before the line turned out to be another stay.
const uint8_t *SubScanMicrodvd(TextSpan stText, SubFrames *pstFrames);

// How many bytes of a MicroDVD text count: up to the end of its line, a zero byte, or SVR_SUB_STR_IN_MAX_LEN - 1.
int32_t SubTextLen(const uint8_t *pu8Text, const uint8_t *pu8End);

// Reads "00:00:01.00,00:00:02.00" or "00:00:01,000 --> 00:00:02,000" into eight numbers. How many were read, and stay;
// 8 when it is a time line; -1 when the line is blank.
int32_t SubScanSubviewer(TextSpan stText, int32_t *ps32Num);

// Reads "{T 00:01:02:30" into four numbers.
bool SubScanDvdsub(TextSpan stText, int32_t *ps32Num);

// Reads "1.5 2", how long after the last cue's end and how long.
bool SubScanMpsub(TextSpan stText, float *pfWait, float *pfDuration);

// Turns "|" and "[br]" into line feeds. The smaller of both sizes is the result, and how much of the output is written,
// with zeros behind the text. The source is terminated; the output may lie at or before it in the same buffer.
uint32_t SubConvertLineBreaks(const uint8_t *pu8Src, uint32_t u32SrcLen, uint8_t *pu8Dst, uint32_t u32DstLen);

// The whole part of a number, held between two limits; 0 for what is not a number.
inline int64_t SubTruncate(double dValue, int64_t s64Min, int64_t s64Max) {
    if (std::isnan(dValue)) {
        return 0;
    }
    if (dValue >= static_cast<double>(s64Max)) {
        return s64Max;
    }
    return dValue <= static_cast<double>(s64Min) ? s64Min : static_cast<int64_t>(dValue);
}
