// What all text demuxers do alike: the head of their handles, and the operations on it, steered by one read-only record
// per demuxer. Every helper takes the name of the operation it works for, which is the name it logs under.
#pragma once

#include "platform/check.h"
#include "subtitle/common/cue_index.h"
#include "subtitle/common/text_scan.h"

// First member of every text demuxer's handle.
struct TextHead {
    void *hUrl;            // what url_open returned; owned
    uint32_t bFileOpen;    // 1 once open has succeeded
    uint32_t bStopParse;   // 1 after INVOKE_STOP, never cleared; written by another thread, see SvrTextStopped
    Protocol *pstProtocol; // what the file is read through; not owned
    FileInfo stFileInfo;   // handed out by get-info; its programs are made and freed by the host's functions
    void *hCharset;        // converter instance, null when there is none; owned
    void (*pfnCharsetDestroy)(void *hCharset); // of the table that made it; the host may have handed in another since
    const CharsetOps *pstCharsetOps;           // handed in by the host, may be null; not owned
    uint32_t u32DstCodeType;                   // code type that cues are delivered in
};

// What one demuxer does in its own way.
struct TextTraits {
    FormatEntry *pstEntry;                // its descriptor
    uint32_t u32Format;                   // enum SubStreamFormat
    uint32_t u32HdlSize;                  // bytes of its handle
    int32_t s32CreateFailedLevel;         // of "Charset Create failed"
    int32_t s32UnknownLevel;              // of "WARNING! Unknow CodeType!" at find-stream
    int32_t s32ResetLevel;                // of "Reset code type to: %d"
    const char *pszInvalid;               // bad arguments of open, get-info and free
    const char *pszNotOpen;               // handle that is not open
    const char *pszOpenNoSlot;            // protocol that lacks a slot, at open
    const char *pszOpenRefused;           // URL that the protocol does not open
    const char *pszOpenNoMemory;          // no memory for the handle; null: not reported
    const char *pszCloseNoProtocol;       // handle without a protocol, at close
    const char *pszCloseNoSlot;           // protocol without url_close, at close
    const char *pszReindexFailed;         // index that could not be rebuilt in a new code type
    uint32_t *(*pfnCodeType)(void *hFmt); // where the handle keeps its code type
    int32_t (*pfnReindex)(void *hFmt);    // builds the index in the current code type; 0 or -1
    // Takes a new source code type in its own way, without pfnReindex; the argument is not null. Null: the common way.
    int32_t (*pfnSetSrcCodeType)(void *hFmt, uint32_t *pu32CodeType);
    void (*pfnFreeOwn)(void *hFmt); // frees the index and other blocks of its own; may find them null
};

// The bytes of a text buffer that earlier conversions left behind; only they are cleared before the next one.
struct TextBuf {
    uint8_t *pu8Text; // SVR_SUB_STR_OUT_MAX_LEN bytes
    uint32_t *pu32Used;
};

// Whether a stop was asked for. Read afresh at each call, and never torn.
inline bool SvrTextStopped(const TextHead *pstHead) {
    return __atomic_load_n(&pstHead->bStopParse, __ATOMIC_RELAXED) == 1;
}

// The text after the last "." of a URL, or null.
const char *SvrTextExtension(const char *pszUrl);

// Whether the URL's extension is in the demuxer's list. 0 or -1, each after its message; null: none.
int32_t SvrTextFind(const char *pszFunc, const FormatEntry *pstEntry, const char *pszUrl, int32_t s32FoundLevel,
                    const char *pszFound, const char *pszOther);

// How every open begins: checks the arguments (under the name pszChkFunc), opens the URL and makes a zeroed handle of
// the demuxer's size with URL and protocol in it. The handle is the caller's, to be given up with SvrTextRelease; null
// after a failure, with nothing left open.
void *SvrTextOpen(const char *pszFunc, const char *pszChkFunc, const TextTraits *pstTraits, const char *pszUrl,
                  Protocol *pstProtocol, void *const *phFmt);

// Adds a program, and streams to the first program. 0 or -1. A host may leave the array of no streams away.
int32_t SvrTextAddStreams(FileInfo *pstInfo, uint32_t u32Num);

// What every stream says of itself: number, format and URL.
void SvrTextNameStream(const char *pszFunc, SubStreamInfo *pstStream, uint32_t u32Number, uint32_t u32Format,
                       const char *pszUrl);

// Bytes of byte-order marks at the start of the file, or -1.
int32_t SvrTextSkipMarks(const TextHead *pstHead, void *hUrl, Protocol *pstProtocol, uint32_t u32CodeType);

// Reads a node's bytes from the current position into a buffer that has room for them. 0, or -1 when they are fewer, or
// the size came out negative.
int32_t SvrTextReadNode(const TextHead *pstHead, const IndexNode *pstNode, uint8_t *pu8Buf);

// Describes the one stream: everything but code type, language and extra data.
SubStreamInfo *SvrTextDescribeStream(const char *pszFunc, const TextTraits *pstTraits, TextHead *pstHead,
                                     const char *pszUrl);

// What find-stream wants of a handle. 0 or -1.
int32_t SvrTextFindStreamChk(const char *pszFunc, const TextHead *pstHead);

// Makes the converter instance when the host handed in a table; without one, or when it fails, there is none.
void SvrTextCreateCharset(const char *pszFunc, const TextTraits *pstTraits, TextHead *pstHead);

// The file's code type for find-stream, by the host's hint; 0 when it cannot be told.
uint32_t SvrTextIdentify(const char *pszFunc, const TextTraits *pstTraits, TextHead *pstHead);

// The same by a hint of the caller's, and with the caller's level of the warning.
uint32_t SvrTextIdentifyHinted(const char *pszFunc, TextHead *pstHead, int32_t s32Hint, int32_t s32UnknownLevel);

// Whether every text is delivered as it stands in the file.
bool SvrTextKeeps(const TextHead *pstHead);

enum TextCue { TEXT_CUE_READ, TEXT_CUE_SHORT, TEXT_CUE_UNCONVERTED };

// Reads a node's bytes from the current position and converts them into the buffer; *ps32OutLen is the text's length.
// Short: they could not be read. Unconverted: they stand in the line buffer, which has room for them, as does the text
// buffer.
TextCue SvrTextReadCue(const TextHead *pstHead, uint32_t u32CodeType, const IndexNode *pstNode, uint8_t *pu8Line,
                       const TextBuf *pstBuf, int32_t *ps32OutLen);

// Converts a line or cue into the buffer. The result is that of SvrSubTranscodeLine, *ps32OutLen the length it left.
int32_t SvrTextTranscode(const TextHead *pstHead, uint32_t u32CodeType, const uint8_t *pu8In, int32_t s32InLen,
                         const TextBuf *pstBuf, int32_t *ps32OutLen);

// What every frame says of its cue: stream number, start in milliseconds, duration.
inline void SvrTextBeginFrame(FmtFrame *pstFrame, int32_t s32Number, int64_t s64Pts, uint32_t u32Duration) {
    pstFrame->u32StreamType = SUB_STREAM_KIND_SUBTITLE;
    pstFrame->s32StreamIndex = SUB_STREAM_INDEX_BASE + s32Number;
    pstFrame->u32Reserved = 0;
    pstFrame->s64Pts = s64Pts;
    pstFrame->u32Duration = u32Duration;
}

// Stream, times and position of a cue of the only stream.
void SvrTextFillFrame(FmtFrame *pstFrame, const IndexNode *pstNode);

// The slots that need nothing of a format's own.
int32_t SvrTextGetInfo(const char *pszFunc, const TextTraits *pstTraits, void *hFmt, FileInfo **ppstInfo);
int32_t SvrTextFree(const char *pszFunc, const TextTraits *pstTraits, void *hFmt, FmtFrame *pstFrame);
int32_t SvrTextInvoke(const char *pszFunc, const TextTraits *pstTraits, void *hFmt, int32_t s32Command, void *pvArg);
int64_t SvrTextSeekPos(void *hFmt, int32_t s32StreamIndex, int64_t s64Pos); // not supported: -1
int32_t SvrTextClose(const char *pszFunc, const TextTraits *pstTraits, void *hFmt);

// Closes and frees whatever a handle holds, and the handle; also one that open built only in part.
void SvrTextRelease(const char *pszFunc, const TextTraits *pstTraits, TextHead *pstHead);
