/*
 * pell_format.h - the public header of libpell_format.so, a subtitle-format plug-in for a media player.
 *
 * A host loads the library, looks up the data symbol g_formatEntry and calls its slots in this order:
 * fmt_find, fmt_open, fmt_invoke (converter and destination code type), fmt_find_stream, fmt_get_info, then fmt_read
 * and fmt_free in pairs with fmt_seek_pts in between, and fmt_close.
 *
 * Conventions
 *   results    0 is success, -1 failure, unless a slot says otherwise
 *   times      milliseconds of presentation time, signed 64 bit; durations unsigned 32 bit
 *   positions  byte offsets into the file, signed 64 bit
 *   urls       a path, or path::offset=N::length=N[::fd=N].ext for a range of it or of an open descriptor; VobSub adds
 *              ::subfd=N for its packets. What stands behind the last dot of the whole URL tells the format
 *   threads    one call at a time on a handle; INVOKE_STOP alone may come from another thread. Find and open
 *              share state between handles and are called one at a time, and while no other handle is indexed
 *   functions  of the host (protocol, converter, library) neither throw nor jump through the plug-in
 *   memory     from the host's allocator (PlayerMallocZ, PlayerReallocS), released with free()
 *
 * The records are shared with code compiled elsewhere: on 32-bit targets the offsets are a contract, held by the
 * assertions at the foot of this file. On 64-bit targets the same fields follow each other at their natural
 * alignment. Stretches marked host-owned belong to the host; the library keeps their place and leaves them alone, but
 * fmt_free clears those of a frame.
 */
#ifndef PELL_FORMAT_H
#define PELL_FORMAT_H

#if !defined(__cplusplus) && (!defined(__STDC_VERSION__) || __STDC_VERSION__ < 201112L)
#error "pell_format.h takes C11 or C++"
#endif

#include <assert.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define PELL_API __attribute__((visibility("default")))

/* Kind code of a subtitle stream, in frames and in PlayerReallocNMoreStream. */
#define SUB_STREAM_KIND_SUBTITLE 3u

/* The first stream's index; stream n has SUB_STREAM_INDEX_BASE + n. */
#define SUB_STREAM_INDEX_BASE 8191

/* u32Duration of a cue whose end is not known. */
#define SUB_DURATION_UNKNOWN 0xFFFFFFFFu

/* Bytes of a raw line or cue; longer lines are cut; cues of this size or more fail their read (text SUB, SAMI: cut;
   lyrics: delivered empty). */
#define SVR_SUB_STR_IN_MAX_LEN 2560

/* Bytes of a buffer for converted text; the text stays below it (ASS: reaches it where a converter claims more). */
#define SVR_SUB_STR_OUT_MAX_LEN 10240

/* The largest file, in bytes, whose code type is identified. */
#define SVR_SUB_IDENTIFY_MAX_SIZE 0x500000

/* Values of SubStreamInfo::u32Format. */
enum SubStreamFormat {
    SUB_STREAM_FORMAT_ASS = 0, /* ASS and SSA */
    SUB_STREAM_FORMAT_LRC = 1,
    SUB_STREAM_FORMAT_SRT = 2,
    SUB_STREAM_FORMAT_SMI = 3,
    SUB_STREAM_FORMAT_SUB = 4, /* MicroDVD, SubViewer, MPSub and DVD subtitle text */
    SUB_STREAM_FORMAT_IDX = 8  /* VobSub */
};

/* One subtitle stream. Entries come zero-filled; a demuxer writes only the fields of its format. */
typedef struct SubStreamInfo {
    int32_t s32StreamIndex;    /* SUB_STREAM_INDEX_BASE + stream number */
    uint32_t u32Format;        /* enum SubStreamFormat */
    uint32_t u32CodeType;      /* source code type found by find-stream; 0 unknown */
    uint32_t u32Flag;          /* always 1 */
    uint32_t u32HostOwned;     /* host-owned */
    char aszLang[256];         /* language, from the file name or the file's own tags; empty when unknown */
    char aszTitle[64];         /* title (SMI only) */
    uint16_t u16Width;         /* picture width (VobSub only) */
    uint16_t u16Height;        /* picture height (VobSub only) */
    uint32_t u32ExtraDataSize; /* bytes of extra data; 0 when there is none */
    uint8_t *pu8ExtraData;     /* ASS header text, not terminated, valid until the file is indexed anew or closed;
                                  VobSub palette, valid until close */
    uint32_t au32HostOwned[5]; /* host-owned */
    char aszUrl[4096];         /* the file's URL, at most 4095 characters; empty for SMI */
} SubStreamInfo;

/*
 * One program. The host's record goes on after the fields shown, so its size is the host's: the library describes
 * everything in element 0 and never steps to the next.
 */
typedef struct ProgramInfo {
    uint32_t au32HostOwned[4];    /* host-owned */
    uint32_t u32SubStreamNum;     /* number of subtitle streams */
    SubStreamInfo *pastSubStream; /* the streams, grown by PlayerReallocNMoreStream */
} ProgramInfo;

/* What fmt_get_info hands out: embedded in the demuxer's handle, valid until close. */
typedef struct FileInfo {
    uint32_t u32HostOwned;        /* host-owned */
    uint32_t u32Reserved1;        /* always 0 */
    uint8_t au8HostOwned1[544];   /* host-owned */
    ProgramInfo *pastProgramInfo; /* the programs; subtitle streams are in element 0 */
    uint8_t au8HostOwned2[12];    /* host-owned */
} FileInfo;

/* One delivered cue. The record is the host's and zero before the first read: VobSub takes a length that is there for
   the unit's, and fmt_free releases what pu8Data says. fmt_read fills it, and fmt_free of the same handle clears all of
   it. */
typedef struct FmtFrame {
    uint32_t u32StreamType;    /* always SUB_STREAM_KIND_SUBTITLE */
    int32_t s32StreamIndex;    /* the stream the cue belongs to */
    uint32_t u32Reserved;      /* always 0 */
    uint32_t u32DataLen;       /* bytes at pu8Data; a zero byte stands behind text, and lyrics and text SUB count it */
    uint8_t *pu8Data;          /* text: the demuxer's, valid until the next read, re-index or close.
                                  VobSub: a block of the frame's own that fmt_free releases before the close */
    uint32_t au32HostOwned[3]; /* host-owned */
    int64_t s64Pts;            /* start, ms */
    int64_t s64Pos;            /* position of the cue in the file (SRT, ASS, SUB; others leave it) */
    uint32_t u32Duration;      /* ms; SUB_DURATION_UNKNOWN, of lyrics and text SUB 0, when the end is not known */
    uint32_t u32FrameRate;     /* the video's rate as the host passes it in: whole frames per second in the upper
                                  16 bits, thousandths in the lower, which may not end in a zero (29.97 is
                                  29 << 16 | 971) unless they are 0; 0 unknown. SMI leaves the lower half of the cue's
                                  position here, lyrics 0 */
    uint8_t au8HostOwned[72];  /* host-owned */
} FmtFrame;

/* Commands of fmt_invoke. Every other code, 1 and 2 included, does nothing and gives 0. */
enum InvokeCommand {
    INVOKE_STOP = 0,             /* argument ignored. The index build under way ends at its next line and fails, and
                                    so does every later one; SMI keeps what it has and succeeds, but its reads fail.
                                    Not looked at while the code type is identified. The one call that may come from
                                    another thread */
    INVOKE_SET_SRC_CODETYPE = 3, /* int32_t *, in and out: the file's code type. A new value re-indexes the file;
                                    0 identifies the type first and writes it back (ASS: not).
                                    After find-stream: a later one identifies anew, and of lyrics it fails. 0 also
                                    when the new index could not be built: fmt_read tells */
    INVOKE_SET_DST_CODETYPE = 4, /* int32_t *: code type that cues are delivered in, one that contains
                                    ASCII; 2 also expands tabs */
    INVOKE_SET_CHARSET_OPS = 5   /* CharsetOps *, every slot filled: handed in before find-stream, which makes the
                                    instance; kept by pointer, must outlive the handle. Another table is called at
                                    once, with the instance that is there: hand it in right before a find-stream */
};

/* Character stream types that CharsetOps::getStreamType answers with. Any other value reads single bytes. */
enum CharsetStreamType {
    STREAM_TYPE_UTF8 = 1,
    STREAM_TYPE_UTF16LE = 2,
    STREAM_TYPE_UTF16BE = 3,
    STREAM_TYPE_WIDE_FIRST = 4, /* 4 and 5 are wide types whose lines are not read */
    STREAM_TYPE_WIDE_LAST = 5,
    STREAM_TYPE_SINGLE_BYTE = 6 /* preset before every question */
};

/* The character-set converter that the host hands in. Code types are the converter's own numbers. */
typedef struct CharsetOps {
    /* Makes an instance; the second argument is always 0. 0 is success. */
    int32_t (*create)(void **phCharset, int32_t s32Reserved);
    /* Identifies s32Len bytes of text, -1 when they could not be read. The hint is g_formatEntry.s32CodeTypeHint, or
       0x123456 to ask for the next best guess. 0 is success and *ps32CodeType set. */
    int32_t (*getCodeType)(void *hCharset, const uint8_t *pu8Text, int32_t s32Len, int32_t s32Hint,
                           int32_t *ps32CodeType);
    /* Converts. *ps32OutLen: capacity in, bytes produced out. *ps32Used: bytes of input consumed. The input may begin
       at any address, and no terminator follows it. 0 is success; a failure leaves *ps32OutLen as it was. */
    int32_t (*convert)(void *hCharset, uint8_t *pu8Out, int32_t *ps32OutLen, const uint8_t *pu8In, int32_t s32InLen,
                       int32_t s32SrcCodeType, int32_t s32DstCodeType, int32_t *ps32Used);
    /* Never called, but must not be null. */
    void (*reserved)(void);
    void (*destroy)(void *hCharset);
    /* The stream type of a code type (enum CharsetStreamType), of 0 (not known), too. 0 is success; else no line is
       read. */
    int32_t (*getStreamType)(int32_t s32CodeType, int32_t *ps32StreamType);
} CharsetOps;

typedef struct Protocol Protocol;

/* 0 when the URL is accepted, -1 when not. By its name alone; the protocol is that of PellProtocolOf. */
typedef int32_t (*FmtFindFn)(const char *pszUrl, Protocol *pstProtocol);
/* 0 and *phFmt set; the handle is the caller's until fmt_close. Hosts pass PellProtocolOf(&g_formatEntry) or a protocol
   of their own, which is kept by pointer and outlives the handle. */
typedef int32_t (*FmtOpenFn)(const char *pszUrl, Protocol *pstProtocol, void **phFmt);
/* Identifies the encoding and indexes every cue (VobSub is indexed by open). The second argument is not read. */
typedef int32_t (*FmtFindStreamFn)(void *hFmt, int32_t s32Reserved);
/* *ppstInfo is the handle's own record, valid until fmt_close; what it points to moves when the file is indexed anew.
 */
typedef int32_t (*FmtGetInfoFn)(void *hFmt, FileInfo **ppstInfo);
/* 0: frame filled. -1: this cue failed, and the next call goes on behind it; but it comes again and again where text
   SUB cannot seek, VobSub has no memory for the frame, or the index is gone: bound the failures in a row. -2: no cue
   left (VobSub: -1). */
typedef int32_t (*FmtReadFn)(void *hFmt, FmtFrame *pstFrame);
/* Releases what the frame owns and clears the whole record. */
typedef int32_t (*FmtFreeFn)(void *hFmt, FmtFrame *pstFrame);
/* enum InvokeCommand says what each command takes; unknown commands give 0. */
typedef int32_t (*FmtInvokeFn)(void *hFmt, int32_t s32Command, void *pvArg);
/* 0: the next read delivers the first cue that ends at the time (ms) or after it; time 0: the first cue. -1: there is
   none, and the next read is what it was. Selects the stream where there are several, SMI also with -1.
   Lyrics: the last cue that begins at the time or before it, else the first; 0 is a time like any other; never -1.
   VobSub: the last unit is not looked at; of the others the one before the first that begins at the time or later. -1:
   none does, or the protocol's seek failed, which may have moved it.
   Text SUB: 0 where there is none, too, and the next read gives -2. MicroDVD: behind the first read, which brings the
   rate, and by whole seconds. */
typedef int32_t (*FmtSeekPtsFn)(void *hFmt, int32_t s32StreamIndex, int64_t s64Pts);
/* Not supported by any demuxer: -1. */
typedef int64_t (*FmtSeekPosFn)(void *hFmt, int32_t s32StreamIndex, int64_t s64Pos);
/* Closes the file and frees the handle. */
typedef int32_t (*FmtCloseFn)(void *hFmt);

/* 0 when the protocol serves the URL, -1 when not. */
typedef int32_t (*UrlFindFn)(const char *pszUrl);
/* 0 and *phUrl set; the handle is the caller's until url_close. Flags: 1 create for writing, which the
   file protocol refuses; all else reading. */
typedef int32_t (*UrlOpenFn)(const char *pszUrl, int32_t s32Flags, void **phUrl);
/* Bytes delivered: as many as asked, or fewer at the end, even 0; -1 when nothing is left or on error. */
typedef int32_t (*UrlReadFn)(void *hUrl, uint8_t *pu8Buf, int32_t s32Size);
/* The new position. Whence: 0 start, 1 current, 2 end. Low 32 bits all ones: failed. */
typedef int64_t (*UrlSeekFn)(void *hUrl, int64_t s64Offset, int32_t s32Whence);
typedef int32_t (*UrlCloseFn)(void *hUrl);
/* Not called by any demuxer. */
typedef int32_t (*UrlReadSeekFn)(void *hUrl, int32_t s32StreamIndex, int64_t s64Pts);

/* How a demuxer reaches bytes: fields url_find to url_read_seek of a FormatEntry, seen through the first. All six are
   filled; url_find and url_read_seek are not called by demuxers. */
struct Protocol {
    UrlFindFn url_find;
    UrlOpenFn url_open;
    UrlReadFn url_read;
    UrlSeekFn url_seek;
    UrlCloseFn url_close;
    UrlReadSeekFn url_read_seek;
};

/* A plug-in descriptor: the aggregate entry, a demuxer or a protocol. Empty slots are null. */
typedef struct FormatEntry {
    const char *pszLibName;
    const char *pszExtList;      /* file extensions, comma-separated, no dots; that of g_formatEntry is not the list of
                                    what is read: fmt_find tells */
    const char *pszProtocolList; /* URL schemes, comma-separated */
    uint32_t u32Version;
    const char *pszDescription;
    int32_t s32HostValue; /* the host's; never read here */
    FmtFindFn fmt_find;
    FmtOpenFn fmt_open;
    FmtFindStreamFn fmt_find_stream;
    FmtGetInfoFn fmt_get_info;
    FmtReadFn fmt_read;
    FmtFreeFn fmt_free;
    FmtInvokeFn fmt_invoke;
    FmtSeekPtsFn fmt_seek_pts;
    FmtSeekPosFn fmt_seek_pos;
    FmtCloseFn fmt_close;
    UrlFindFn url_find;
    UrlOpenFn url_open;
    UrlReadFn url_read;
    UrlSeekFn url_seek;
    UrlCloseFn url_close;
    UrlReadSeekFn url_read_seek;
    void *pReserved1;
    struct FormatEntry *pstNext; /* written by the registries only */
    void *pReserved2;
    int32_t s32CodeTypeHint; /* in g_formatEntry: set by the host, 0 until then; open copies it into the demuxer, where
                                it holds for all files of the format */
} FormatEntry;

/* The protocol slots of a descriptor as a Protocol, as fmt_find and fmt_open take it. */
static inline Protocol *PellProtocolOf(FormatEntry *pstEntry) {
#ifdef __cplusplus
    return reinterpret_cast<Protocol *>(&pstEntry->url_find);
#else
    return (Protocol *)&pstEntry->url_find;
#endif
}

/* Argument record of SvrSubTranscodeLine. */
typedef struct TranscodeLine {
    const uint8_t *pu8LineIn; /* raw text */
    uint8_t *pu8LineOut;      /* output buffer, normally SVR_SUB_STR_OUT_MAX_LEN bytes */
    int32_t s32LineInSize;    /* bytes of raw text */
    int32_t s32LineOutSize;   /* in: capacity of the output buffer; out: bytes produced */
    int32_t s32LineInUsed;    /* out: bytes of raw text consumed by the converter */
} TranscodeLine;

/* The plug-in: the one symbol a host needs. The host may set s32CodeTypeHint before it opens. */
extern PELL_API FormatEntry g_formatEntry;

/* The demuxers and the protocol behind it. */
extern PELL_API FormatEntry g_srtDemuxer;
extern PELL_API FormatEntry g_lrcDemuxer;
extern PELL_API FormatEntry g_smiDemuxer;
extern PELL_API FormatEntry g_idxDemuxer;
extern PELL_API FormatEntry g_subDemuxer;
extern PELL_API FormatEntry g_assDemuxer;
extern PELL_API FormatEntry g_fileProtocol;

/* URL dispatch; the protocol slots of g_formatEntry. Handles come from SvrUrlOpen. */
PELL_API int32_t SvrUrlFind(const char *pszUrl);
PELL_API int32_t SvrUrlOpen(const char *pszUrl, int32_t s32Flags, void **phUrl);
PELL_API int32_t SvrUrlRead(void *hUrl, uint8_t *pu8Buf, int32_t s32Size);
PELL_API int64_t SvrUrlSeek(void *hUrl, int64_t s64Offset, int32_t s32Whence);
PELL_API int32_t SvrUrlClose(void *hUrl);
PELL_API int32_t SvrUrlReadSeek(void *hUrl, int32_t s32StreamIndex, int64_t s64Pts);

/* Bytes of byte-order marks at the start of the file; 0 without a converter; -1 on error. The position is left behind
   what was looked at: seek to the result. */
PELL_API int32_t SvrSubSkipHeader(void *hUrl, Protocol *pstProtocol, void *hCharset, const CharsetOps *pstCharsetOps,
                                  int32_t s32CodeType);

/* Reads one line into pu8Line (SVR_SUB_STR_IN_MAX_LEN bytes; not terminated). Bytes stored, line end included; 0 for
   an empty line; -1 when no data is left or on error. A longer line is cut and its rest dropped. Of single bytes a line
   end is stored as one line feed (CR CR LF: as two); UTF-16 keeps its line ends. */
PELL_API int32_t SvrSubReadLine(uint8_t *pu8Line, void *hUrl, Protocol *pstProtocol, const CharsetOps *pstCharsetOps,
                                int32_t s32CodeType);

/* The code type the converter finds for the whole file (at most SVR_SUB_IDENTIFY_MAX_SIZE bytes), or -1. */
PELL_API int32_t SvrSubIdentifyCodeType(void *hUrl, Protocol *pstProtocol, void *hCharset,
                                        const CharsetOps *pstCharsetOps, int32_t s32Hint);

/* Converts one line or cue of at least a byte, and expands tabs when the destination is 2. Without a converter, and
   when it fails, the text is copied as it is; a copy that does not fit leaves zeros, and the result is the length of
   the text all the same. Bytes produced, also left in s32LineOutSize; -1: a bad record, or with a converter
   SVR_SUB_STR_OUT_MAX_LEN bytes or more. */
PELL_API int32_t SvrSubTranscodeLine(void *hCharset, const CharsetOps *pstCharsetOps, TranscodeLine *pstLine,
                                     int32_t s32SrcCodeType, int32_t s32DstCodeType);

/* The language tag of a file name such as "/movie.en.srt": written to pszOut (zero-filled by the caller, u32OutSize
   bytes, at most 31 used) without a terminator. pszExt is the extension that ends the name, without its dot, in either
   case. 0 when a tag was written, else -1 and pszOut untouched. */
PELL_API int32_t SvrSubGetLang(const char *pszName, char *pszOut, uint32_t u32OutSize, const char *pszExt);

/* The tags that are recognised in SAMI text. */
extern PELL_API const char SMI_INFOMATCH[9][15];

struct SrtDemuxerHdl;

/* Describes the one stream of a handle of g_srtDemuxer.fmt_open (those of g_formatEntry are others); the result is that
   of SvrSubGetLang. */
PELL_API int32_t SrtDemuxerInitFileInfo(struct SrtDemuxerHdl *pstHdl, const char *pszUrl);

struct LrcDemuxerHdl;

/* Finds the offset that the lines before the first timed one give the file, and goes back to the first line. The handle
   is one of g_lrcDemuxer.fmt_open. 0 or -1. */
PELL_API int32_t LrcParseHead(struct LrcDemuxerHdl *pstHdl);

/* Reads one line of a VobSub index into pu8Line, zero-filled to its s32Size bytes: without comments ('#' to the end of
   the line), and with the first character of its line end. Bytes stored, at most s32Size - 1 (the rest is the next
   line); 0 when no data is left. Empty lines are passed over. */
PELL_API int32_t IdxReadLine(uint8_t *pu8Line, int32_t s32Size, Protocol *pstProtocol, void *hUrl);

static_assert(offsetof(FormatEntry, url_find) == 16 * sizeof(void *), "field n stands at n - 1 pointers");
static_assert(offsetof(FormatEntry, s32CodeTypeHint) == 25 * sizeof(void *), "field n stands at n - 1 pointers");
static_assert(sizeof(FormatEntry) == 26 * sizeof(void *), "26 pointer-sized fields");
static_assert(sizeof(Protocol) == 6 * sizeof(void *), "six slots");
static_assert(sizeof(CharsetOps) == 6 * sizeof(void *), "six slots");
static_assert(offsetof(FileInfo, pastProgramInfo) == 552, "552 on every target");

#if UINTPTR_MAX == 0xFFFFFFFFu
static_assert(sizeof(FileInfo) == 568, "32-bit layout");
static_assert(offsetof(ProgramInfo, u32SubStreamNum) == 16, "32-bit layout");
static_assert(offsetof(ProgramInfo, pastSubStream) == 20, "32-bit layout");
static_assert(offsetof(SubStreamInfo, aszLang) == 20, "32-bit layout");
static_assert(offsetof(SubStreamInfo, aszTitle) == 276, "32-bit layout");
static_assert(offsetof(SubStreamInfo, u16Width) == 340, "32-bit layout");
static_assert(offsetof(SubStreamInfo, u32ExtraDataSize) == 344, "32-bit layout");
static_assert(offsetof(SubStreamInfo, pu8ExtraData) == 348, "32-bit layout");
static_assert(offsetof(SubStreamInfo, aszUrl) == 372, "32-bit layout");
static_assert(sizeof(SubStreamInfo) == 4468, "32-bit layout");
static_assert(offsetof(FmtFrame, pu8Data) == 16, "32-bit layout");
static_assert(offsetof(FmtFrame, s64Pts) == 32, "32-bit layout");
static_assert(offsetof(FmtFrame, s64Pos) == 40, "32-bit layout");
static_assert(offsetof(FmtFrame, u32Duration) == 48, "32-bit layout");
static_assert(offsetof(FmtFrame, u32FrameRate) == 52, "32-bit layout");
static_assert(sizeof(FmtFrame) == 128, "32-bit layout");
#endif

#ifdef __cplusplus
}
#endif

#endif
