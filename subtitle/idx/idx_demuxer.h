// The VobSub demuxer's handle, and what its index parser, its packet reader and its operations share.
#pragma once

#include "format/pell_format.h"

constexpr uint32_t PELL_FORMAT_MAX_LANG_NUM = 32;
constexpr uint32_t IDX_MAX_PALETTE_NUM = 16;
constexpr size_t IDX_LANG_LEN = 2;

// Nodes that a language's list begins with and grows by.
constexpr uint32_t IDX_INDEX_STEP = 512;

// Bytes that a frame's buffer begins with and grows by.
constexpr uint32_t IDX_FRAME_STEP = 10240;

// One subtitle unit.
struct IdxIndexNode {
    int64_t s64StartPts; // ms, with the language's delay and the file's offset
    uint32_t u32FilePos; // position of its first pack in the packet file
    uint32_t u32BufSize; // capacity of the frame buffer it is read into; 0 until then
};

struct IdxLangEntry {
    uint32_t u32MaxIndexNum;           // capacity of the list, in nodes
    uint32_t u32IndexNum;              // nodes in use
    IdxIndexNode *pstIDXIndexNodeList; // owned; null until the first time stamp, and after a failed growth
    char szLang[IDX_LANG_LEN + 1];     // letters of the language code; may be empty
    uint32_t curNodeIndex;             // next node to read
    int64_t s64Delay;                  // ms, added to the time stamps that follow
};

struct IdxDemuxerHdl {
    void *hIdxUrl;         // the index file; owned
    void *hSubUrl;         // the packet file; owned
    uint32_t bFileOpen;    // 1 once both files are open
    uint32_t bStopParse;   // 1 after INVOKE_STOP, never cleared
    Protocol *pstProtocol; // what both files are read through; not owned
    FileInfo stFileInfo;   // handed out by get-info; its programs are made and freed by the host's functions
    IdxLangEntry astLang[PELL_FORMAT_MAX_LANG_NUM];
    uint32_t bNewId;                           // 1 between an id line and the time stamp that creates its language
    int32_t s32TimeOffset;                     // ms, added to every time stamp
    int32_t s32CurStream;                      // the stream being read: SUB_STREAM_INDEX_BASE + language number
    uint8_t u8LangNum;                         // languages created; at most PELL_FORMAT_MAX_LANG_NUM
    uint8_t u8LangIdx;                         // the file's own choice of a language; kept, not used
    uint32_t au32Palette[IDX_MAX_PALETTE_NUM]; // 0xRRGGBB00 each
};

// The number of the language being read.
inline uint32_t IdxCurNumber(const IdxDemuxerHdl *pstHdl) {
    return static_cast<uint32_t>(pstHdl->s32CurStream - SUB_STREAM_INDEX_BASE);
}

// Reads the index from its current position to its end: size, palette, and the languages with their nodes. 0 or -1;
// what was built until then is the handle's.
int32_t IdxParseIdx(IdxDemuxerHdl *pstHdl, int32_t *ps32Width, int32_t *ps32Height);

// Sorts the nodes and describes a stream for each language. 0 or -1.
int32_t SetFileInfo(const char *pszUrl, IdxDemuxerHdl *pstHdl, int32_t s32Width, int32_t s32Height);

// Frees the languages' nodes.
void IdxNodeFree(IdxDemuxerHdl *pstHdl);

// Gathers the current node's unit into the frame's buffer, which has the node's u32BufSize bytes and may be replaced
// by a larger one. 0 when all of it is there, else -1; the buffer is the caller's either way, and null when growing it
// failed.
int32_t IdxReadNode(IdxDemuxerHdl *pstHdl, FmtFrame *pstFrame);
