// The SAMI demuxer's handle, and what its index builder and its operations share.
#pragma once

#include "subtitle/common/cue_index.h"
#include "subtitle/common/text_reader.h"
#include "subtitle/common/text_scan.h"

constexpr int32_t SMI_CLASS_MAX_NUM = 32;
constexpr int32_t SMI_CLASS_TEXT_SIZE = 64;

// The rows of SMI_INFOMATCH.
enum SmiTag {
    SMI_TAG_SAMI,
    SMI_TAG_HEAD,
    SMI_TAG_HEAD_END,
    SMI_TAG_BODY,
    SMI_TAG_BODY_END,
    SMI_TAG_SAMI_END,
    SMI_TAG_NBSP,
    SMI_TAG_P_CLASS,
    SMI_TAG_SYNC,
    SMI_TAG_NONE
};

struct SmiDemuxerHdl {
    TextHead stHead;
    uint32_t u32MaxIndexNum;                    // capacity of the index, in nodes
    uint32_t u32IndexNum;                       // nodes in use
    uint32_t bEndsAscend;                       // the index can be searched by halving; 0 while it is built
    int32_t s32ClassNum;                        // language classes; each is a stream
    int32_t s32CurClass;                        // the class whose text is delivered
    IndexNode *pstSmiIndexNodeList;             // the index, owned; null until the first cue, and after a failed growth
    uint32_t u32CurIndex;                       // next node to deliver
    uint32_t u32CodeType;                       // code type of the file, 0 unknown
    int64_t s64BodyPos;                         // where the header ends and every index build begins
    uint8_t au8LineBuf[SVR_SUB_STR_IN_MAX_LEN]; // a raw line
    uint8_t au8TransBuf[SVR_SUB_STR_OUT_MAX_LEN];              // its converted text
    uint8_t au8DisplayBuf[SVR_SUB_STR_IN_MAX_LEN];             // the frame's text and a terminator
    char aszClassLang[SMI_CLASS_MAX_NUM][SMI_CLASS_TEXT_SIZE]; // each class's language; empty when it names none
    char aszClassName[SMI_CLASS_MAX_NUM][SMI_CLASS_TEXT_SIZE]; // each class's name; empty when it has none
    int64_t s64SyncStart, s64SyncEnd;                          // times of the sync tag last read
    uint32_t u32TransUsed;                                     // bytes of au8TransBuf to clear before its next use
    uint32_t u32SubBuffSize;                                   // bytes of text in au8DisplayBuf
};

static_assert(offsetof(SmiDemuxerHdl, stHead) == 0, "the shared helpers take the handle for its head");

// Reads the header: the language classes, and where the body begins. 0 or -1.
int32_t SmiSkipHead(SmiDemuxerHdl *pstHdl);

// Builds the index from scratch in the handle's code type. -1 when the body cannot be reached; a build that ends early
// keeps the cues gathered until then, unless memory ran out, and gives 0 as well.
int32_t SmiParse(SmiDemuxerHdl *pstHdl, void *hUrl, Protocol *pstProtocol);

// Reads lines from the current position on.
TextReader SmiReaderOf(SmiDemuxerHdl *pstHdl, void *hUrl, Protocol *pstProtocol);

// The tag that a text begins with whose first character is '<' or '&'.
SmiTag SmiMatchMarkup(TextSpan stText);

// The tag at the text's first character that is not a blank, and that character's index.
inline SmiTag SmiMatchTag(TextSpan stText, int32_t *ps32First) {
    int32_t s32First = 0;
    while (s32First < stText.s32Len && stText.pu8Text[s32First] == ' ') {
        s32First++;
    }
    *ps32First = s32First;
    stText = SvrSpanFrom(stText, s32First);
    const bool bMarkup = stText.s32Len > 0 && (stText.pu8Text[0] == '<' || stText.pu8Text[0] == '&');
    return bMarkup ? SmiMatchMarkup(stText) : SMI_TAG_NONE;
}

// Whether the sync tag that the text begins with has a start.
bool SmiHasStart(TextSpan stText);
