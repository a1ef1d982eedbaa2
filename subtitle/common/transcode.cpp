// Code types and conversion: both are the host's converter's business; this is how a file and a line reach it.
#include "subtitle/common/transcode.h"
#include "platform/check.h"
#include "subtitle/common/line_reader.h"

#include <cstdlib>
#include <cstring>

constexpr int32_t TRANSCODE_TAB_WIDTH = 4;

int32_t SvrSubIdentifyCodeType(void *hUrl, Protocol *pstProtocol, void *hCharset, const CharsetOps *pstCharsetOps,
                               int32_t s32Hint) {
    SVR_RETURN_UNLESS(hUrl != nullptr && pstProtocol != nullptr && pstProtocol->url_read != nullptr &&
                          pstProtocol->url_seek != nullptr && hCharset != nullptr && pstCharsetOps != nullptr &&
                          pstCharsetOps->getCodeType != nullptr,
                      __func__, "invalid param!");
    // An empty file and a failed seek wrap round to a size that is too large.
    const uint32_t u32Size = static_cast<uint32_t>(pstProtocol->url_seek(hUrl, 0, 2));
    SVR_RETURN_UNLESS(u32Size - 1 < SVR_SUB_IDENTIFY_MAX_SIZE, __func__,
                      "subtitle file is larger than 5M or empty file! not identify!");
    SVR_RETURN_UNLESS(!SvrSubSeekFailed(pstProtocol->url_seek(hUrl, 0, 0)), __func__, "seek to 0 failed!");
    // The converter has the room behind the text to itself.
    uint8_t *pu8File = static_cast<uint8_t *>(PlayerMallocZ(1024 + 4 * u32Size));
    SVR_RETURN_UNLESS(pu8File != nullptr, __func__, "Mallocz failed!");

    const int32_t s32Size = static_cast<int32_t>(u32Size);
    int32_t s32Got = pstProtocol->url_read(hUrl, pu8File, s32Size);
    s32Got = s32Got > s32Size ? s32Size : s32Got;
    pstProtocol->url_seek(hUrl, 0, 0);
    int32_t s32CodeType = -1;
    const int32_t s32Result = pstCharsetOps->getCodeType(hCharset, pu8File, s32Got, s32Hint, &s32CodeType);
    free(pu8File);
    SVR_RETURN_UNLESS(s32Result == 0, __func__, "PELL_CHARSET_getCodeType failed!");
    return s32CodeType;
}

static const void *FindTab(const uint8_t *pu8Text, int32_t s32Len) {
    return s32Len > 0 ? memchr(pu8Text, '\t', static_cast<size_t>(s32Len)) : nullptr;
}

// Expands tabs into four blanks while the text leaves room for them; tabs that would not fit stay tabs. Works from the
// end, so that every byte moves once.
static void SvrSubReplaceTabBySpace(uint8_t *pu8Text, int32_t *ps32Len, int32_t s32Capacity, int32_t s32DstCodeType) {
    if (s32DstCodeType != SVR_TAB_CODETYPE || FindTab(pu8Text, *ps32Len) == nullptr) {
        return;
    }
    int32_t s32Len = *ps32Len;
    int32_t s32From = 0;
    for (; s32From < *ps32Len && !(pu8Text[s32From] == '\t' && s32Len > s32Capacity - TRANSCODE_TAB_WIDTH); s32From++) {
        s32Len += pu8Text[s32From] == '\t' ? TRANSCODE_TAB_WIDTH - 1 : 0;
    }
    const int32_t s32Tail = *ps32Len - s32From;
    int32_t s32To = s32Len - s32Tail;
    SVR_BOUNDED(__func__,
                memmove_s(pu8Text + s32To, static_cast<size_t>(s32Capacity - s32To), pu8Text + s32From,
                          static_cast<size_t>(s32Tail)),
                "memmove_s");
    while (s32From > 0) {
        const uint8_t u8Byte = pu8Text[--s32From];
        if (u8Byte != '\t') {
            pu8Text[--s32To] = u8Byte;
            continue;
        }
        s32To -= TRANSCODE_TAB_WIDTH;
        memset(pu8Text + s32To, ' ', TRANSCODE_TAB_WIDTH);
    }
    *ps32Len = s32Len;
}

// The unconverted text, as far as the output has room for it.
static void TranscodeCopy(TranscodeLine *pstLine, int32_t s32Capacity) {
    const size_t uRoom = s32Capacity > 0 ? static_cast<size_t>(s32Capacity) : 0;
    SVR_BOUNDED("SvrSubTranscodeLine",
                memcpy_s(pstLine->pu8LineOut, uRoom, pstLine->pu8LineIn, static_cast<size_t>(pstLine->s32LineInSize)),
                "memcpy_s");
    pstLine->s32LineOutSize = pstLine->s32LineInSize;
}

// Runs the converter; a line it refuses is delivered as it is. Returns how many bytes of the output it may have
// written.
static int32_t TranscodeConvert(void *hCharset, const CharsetOps *pstCharsetOps, TranscodeLine *pstLine,
                                int32_t s32SrcCodeType, int32_t s32DstCodeType) {
    const int32_t s32Capacity = pstLine->s32LineOutSize;
    if (pstCharsetOps->convert(hCharset, pstLine->pu8LineOut, &pstLine->s32LineOutSize, pstLine->pu8LineIn,
                               pstLine->s32LineInSize, s32SrcCodeType, s32DstCodeType, &pstLine->s32LineInUsed) == 0) {
        return pstLine->s32LineOutSize;
    }
    PlayerPrintf(PLAYER_LOG_WARNING, "SvrSubTranscodeLine", __LINE__, "Transcode a line failed!");
    const int32_t s32Left = pstLine->s32LineOutSize < s32Capacity ? pstLine->s32LineOutSize : s32Capacity;
    TranscodeCopy(pstLine, s32Left);
    return s32Capacity;
}

int32_t SvrSubTranscodeTouched(void *hCharset, const CharsetOps *pstCharsetOps, TranscodeLine *pstLine,
                               int32_t s32SrcCodeType, int32_t s32DstCodeType, int32_t *ps32Touched) {
    static const char s_aszFunc[] = "SvrSubTranscodeLine";
    *ps32Touched = 0;
    SVR_RETURN_UNLESS(pstLine != nullptr, s_aszFunc, "invalid param!");
    SVR_RETURN_UNLESS(pstLine->pu8LineIn != nullptr && pstLine->pu8LineOut != nullptr && pstLine->s32LineInSize > 0,
                      s_aszFunc, "invalid param!");
    const int32_t s32Capacity = pstLine->s32LineOutSize;
    const int32_t s32TabRoom = s32Capacity < SVR_SUB_STR_OUT_MAX_LEN ? s32Capacity : SVR_SUB_STR_OUT_MAX_LEN;
    if (!SvrSubConverts(hCharset, pstCharsetOps)) {
        TranscodeCopy(pstLine, s32Capacity);
        if (pstLine->s32LineOutSize <= s32TabRoom) {
            SvrSubReplaceTabBySpace(pstLine->pu8LineOut, &pstLine->s32LineOutSize, s32TabRoom, s32DstCodeType);
        }
        *ps32Touched = pstLine->s32LineOutSize < s32Capacity ? pstLine->s32LineOutSize : s32Capacity;
        return pstLine->s32LineOutSize;
    }
    *ps32Touched = TranscodeConvert(hCharset, pstCharsetOps, pstLine, s32SrcCodeType, s32DstCodeType);
    if (pstLine->s32LineOutSize <= s32TabRoom) {
        SvrSubReplaceTabBySpace(pstLine->pu8LineOut, &pstLine->s32LineOutSize, s32TabRoom, s32DstCodeType);
    }
    // As unsigned: a converter that claims a negative length is refused with those that claim too much.
    if (static_cast<uint32_t>(pstLine->s32LineOutSize) >= SVR_SUB_STR_OUT_MAX_LEN) {
        *ps32Touched = s32Capacity;
        PlayerPrintf(PLAYER_LOG_WARNING, s_aszFunc, __LINE__, "transcode SVR_SUB_STR_OUT_MAX_LEN <= ps32LineOutSize!");
        return -1;
    }
    *ps32Touched = pstLine->s32LineOutSize > *ps32Touched ? pstLine->s32LineOutSize : *ps32Touched;
    if (pstLine->s32LineInUsed != pstLine->s32LineInSize) {
        PlayerPrintf(PLAYER_LOG_WARNING, s_aszFunc, __LINE__, "WARNING! a line transcoded uncomplete!");
    }
    return pstLine->s32LineOutSize;
}

int32_t SvrSubTranscodeLine(void *hCharset, const CharsetOps *pstCharsetOps, TranscodeLine *pstLine,
                            int32_t s32SrcCodeType, int32_t s32DstCodeType) {
    int32_t s32Touched = 0;
    return SvrSubTranscodeTouched(hCharset, pstCharsetOps, pstLine, s32SrcCodeType, s32DstCodeType, &s32Touched);
}
