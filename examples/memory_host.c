/*
 * A host that brings its own bytes and its own converter: the subtitle file stands in memory, its text is Latin-1 and
 * is wanted in UTF-8. Whatever a real host has in their place (an archive, a network stream, its character sets), the
 * tables are filled like these.
 */
#include "format/pell_format.h"

#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

/* --- a protocol: reading bytes --------------------------------------------------------------------------------- */

static const char text[] = "1\n00:00:01,000 --> 00:00:02,500\nUn caf\xe9?\n\n"
                           "2\n00:00:03,000 --> 00:00:04,000\n<i>Non, deux th\xe9s.</i>\n\n";

typedef struct MemoryFile {
    const char *pData;
    int64_t s64Size;
    int64_t s64Position;
} MemoryFile;

static int32_t MemoryFind(const char *pszUrl) {
    return strncmp(pszUrl, "memory:", 7) == 0 ? 0 : -1;
}

static int32_t MemoryOpen(const char *pszUrl, int32_t s32Flags, void **phUrl) {
    MemoryFile *pstFile = MemoryFind(pszUrl) == 0 ? malloc(sizeof(*pstFile)) : NULL;

    (void)s32Flags; /* always 0: reading */
    if (pstFile == NULL) {
        return -1;
    }
    *pstFile = (MemoryFile){text, sizeof(text) - 1, 0};
    *phUrl = pstFile;
    return 0;
}

static int32_t MemoryRead(void *hUrl, uint8_t *pu8Buf, int32_t s32Size) {
    MemoryFile *pstFile = hUrl;
    int64_t s64Left = pstFile->s64Size - pstFile->s64Position;
    int32_t s32Count = s64Left < s32Size ? (int32_t)s64Left : s32Size;

    if (s32Count <= 0) {
        return -1; /* nothing is left */
    }
    memcpy(pu8Buf, pstFile->pData + pstFile->s64Position, (size_t)s32Count);
    pstFile->s64Position += s32Count;
    return s32Count;
}

static int64_t MemorySeek(void *hUrl, int64_t s64Offset, int32_t s32Whence) {
    MemoryFile *pstFile = hUrl;
    int64_t as64From[] = {0, pstFile->s64Position, pstFile->s64Size};
    int64_t s64Target = 0;

    if (s32Whence < 0 || s32Whence > 2 || __builtin_add_overflow(as64From[s32Whence], s64Offset, &s64Target) ||
        s64Target < 0 || s64Target > pstFile->s64Size) {
        return -1;
    }
    pstFile->s64Position = s64Target;
    return s64Target;
}

static int32_t MemoryClose(void *hUrl) {
    free(hUrl);
    return 0;
}

static int32_t MemoryReadSeek(void *hUrl, int32_t s32StreamIndex, int64_t s64Pts) {
    (void)hUrl, (void)s32StreamIndex, (void)s64Pts;
    return -1; /* no demuxer asks */
}

/* --- a converter: Latin-1 to UTF-8 ----------------------------------------------------------------------------- */

/* The numbers are the converter's own, but for three: 0 is unknown, -1 is "not found", and a destination of 2 also
   has tabs made into blanks. */
enum { CODE_UTF8 = 2, CODE_LATIN1 = 100 };

static int32_t CharsetCreate(void **phCharset, int32_t s32Reserved) {
    static char instance; /* nothing is kept from call to call */

    (void)s32Reserved;
    *phCharset = &instance;
    return 0;
}

static int32_t CharsetGetCodeType(void *hCharset, const uint8_t *pu8Text, int32_t s32Len, int32_t s32Hint,
                                  int32_t *ps32CodeType) {
    (void)hCharset, (void)pu8Text, (void)s32Len, (void)s32Hint;
    *ps32CodeType = CODE_LATIN1;
    return 0;
}

/* Never more than *ps32OutLen bytes, never half a character; what was not consumed is the caller's to know. */
static int32_t CharsetConvert(void *hCharset, uint8_t *pu8Out, int32_t *ps32OutLen, const uint8_t *pu8In,
                              int32_t s32InLen, int32_t s32SrcCodeType, int32_t s32DstCodeType, int32_t *ps32Used) {
    int32_t s32Out = 0;
    int32_t s32In = 0;

    (void)hCharset;
    if (s32SrcCodeType != CODE_LATIN1 || s32DstCodeType != CODE_UTF8) {
        return -1;
    }
    for (; s32In < s32InLen && s32Out + (pu8In[s32In] < 0x80 ? 1 : 2) <= *ps32OutLen; s32In++) {
        if (pu8In[s32In] < 0x80) {
            pu8Out[s32Out++] = pu8In[s32In];
        } else {
            pu8Out[s32Out++] = (uint8_t)(0xC0 | pu8In[s32In] >> 6);
            pu8Out[s32Out++] = (uint8_t)(0x80 | (pu8In[s32In] & 0x3F));
        }
    }
    *ps32OutLen = s32Out;
    *ps32Used = s32In;
    return 0;
}

static void CharsetReserved(void) {}

static void CharsetDestroy(void *hCharset) {
    (void)hCharset;
}

static int32_t CharsetGetStreamType(int32_t s32CodeType, int32_t *ps32StreamType) {
    *ps32StreamType = s32CodeType == CODE_UTF8 ? STREAM_TYPE_UTF8 : STREAM_TYPE_SINGLE_BYTE;
    return 0;
}

/* --- the host -------------------------------------------------------------------------------------------------- */

static void ShowStreams(FormatEntry *entry, void *file) {
    FileInfo *info = NULL;

    if (entry->fmt_get_info(file, &info) != 0 || info->pastProgramInfo == NULL) {
        return;
    }
    for (uint32_t i = 0; i < info->pastProgramInfo[0].u32SubStreamNum; i++) {
        SubStreamInfo *stream = &info->pastProgramInfo[0].pastSubStream[i];
        printf("stream %d, language %.*s\n", (int)stream->s32StreamIndex, (int)sizeof(stream->aszLang),
               stream->aszLang);
    }
}

static void ShowCues(FormatEntry *entry, void *file) {
    FmtFrame frame = {0};
    int32_t result = entry->fmt_read(file, &frame);

    /* -1: this cue failed, the next one may not */
    for (int failed = 0; result != -2 && failed < 100; result = entry->fmt_read(file, &frame)) {
        failed = result == 0 ? 0 : failed + 1;
        if (result != 0) {
            continue;
        }
        printf("%lld to %lld ms: %.*s\n", (long long)frame.s64Pts, (long long)(frame.s64Pts + frame.u32Duration),
               (int)frame.u32DataLen, (char *)frame.pu8Data);
        entry->fmt_free(file, &frame);
    }
}

int main(void) {
    /* Both tables are kept by pointer and outlive the handle. */
    static Protocol memory = {MemoryFind, MemoryOpen, MemoryRead, MemorySeek, MemoryClose, MemoryReadSeek};
    static CharsetOps charset = {CharsetCreate,   CharsetGetCodeType, CharsetConvert,
                                 CharsetReserved, CharsetDestroy,     CharsetGetStreamType};
    static const char url[] = "memory:/film.fr.srt";
    void *library = dlopen("libpell_format.so", RTLD_NOW);
    FormatEntry *entry = library != NULL ? dlsym(library, "g_formatEntry") : NULL;
    int32_t destination = CODE_UTF8;
    void *file = NULL;
    int32_t result = -1;

    /* fmt_find looks at the name and takes the plug-in's own protocol only; fmt_open takes any. */
    if (entry == NULL || entry->fmt_find(url, PellProtocolOf(entry)) != 0 ||
        entry->fmt_open(url, &memory, &file) != 0) {
        fprintf(stderr, "cannot open the plug-in or the file\n");
        return 1;
    }
    if (entry->fmt_invoke(file, INVOKE_SET_CHARSET_OPS, &charset) == 0 &&
        entry->fmt_invoke(file, INVOKE_SET_DST_CODETYPE, &destination) == 0) {
        result = entry->fmt_find_stream(file, 0);
    }
    if (result == 0) {
        ShowStreams(entry, file);
        ShowCues(entry, file);
    }
    entry->fmt_close(file);
    return result == 0 ? 0 : 1;
}
