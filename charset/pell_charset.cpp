// pell_charset.cpp - the slots of g_charsetOps: checks what a host passes in and hands it to the converter or to the
// detector.
#include "charset/charset_internal.h"

#include <cstdlib>

namespace {

int32_t CharsetCreate(void **phCharset, int32_t) {
    if (phCharset == nullptr) {
        return -1;
    }
    *phCharset = calloc(1, sizeof(CharsetInstance));
    return *phCharset != nullptr ? 0 : -1;
}

void CharsetDestroy(void *hCharset) {
    auto *pstInstance = static_cast<CharsetInstance *>(hCharset);
    if (pstInstance == nullptr) {
        return;
    }
    for (CharsetHandle &stHandle : pstInstance->astHandle) {
        if (stHandle.u32LastUse != 0) {
            iconv_close(stHandle.hIconv);
        }
    }
    free(pstInstance);
}

int32_t CharsetGetCodeType(void *hCharset, const uint8_t *pu8Text, int32_t s32Len, int32_t s32Hint,
                           int32_t *ps32CodeType) {
    auto *pstInstance = static_cast<CharsetInstance *>(hCharset);
    if (pstInstance == nullptr) {
        return -1;
    }
    pstInstance->s32LastSource = PELL_CHARSET_SOURCE_NONE;
    if (pu8Text == nullptr || s32Len <= 0 || ps32CodeType == nullptr) {
        return -1;
    }
    try {
        return CharsetIdentify(pstInstance, pu8Text, s32Len, s32Hint, ps32CodeType);
    } catch (...) { // the host may be written in C
        return -1;
    }
}

int32_t CharsetConvertSlot(void *hCharset, uint8_t *pu8Out, int32_t *ps32OutLen, const uint8_t *pu8In, int32_t s32InLen,
                           int32_t s32SrcCodeType, int32_t s32DstCodeType, int32_t *ps32Used) {
    if (hCharset == nullptr || pu8Out == nullptr || ps32OutLen == nullptr || *ps32OutLen < 0 || pu8In == nullptr ||
        s32InLen < 0 || ps32Used == nullptr) {
        return -1;
    }
    *ps32Used = 0;
    if (s32SrcCodeType == PELL_CODE_UNKNOWN) {
        CharsetUtf8Count stCount = CharsetCountUtf8(pu8In, s32InLen);
        bool bAscii = stCount.s32Valid == 0 && stCount.s32Invalid == 0 && !stCount.bCut;
        s32SrcCodeType = bAscii || CharsetIsUtf8(stCount) ? PELL_CODE_UTF8 : PELL_CODE_WINDOWS_1252;
    }
    const CharsetType *pstSrc = CharsetFind(s32SrcCodeType);
    const CharsetType *pstDst = CharsetFind(s32DstCodeType == PELL_CODE_UNKNOWN ? PELL_CODE_UTF8 : s32DstCodeType);
    if (pstSrc == nullptr || pstDst == nullptr) {
        return -1;
    }
    return CharsetConvert(static_cast<CharsetInstance *>(hCharset), pu8Out, ps32OutLen, pu8In, s32InLen, pstSrc, pstDst,
                          ps32Used);
}

void CharsetReserved() {}

int32_t CharsetGetStreamType(int32_t s32CodeType, int32_t *ps32StreamType) {
    if (ps32StreamType == nullptr) {
        return -1;
    }
    switch (s32CodeType) {
    case PELL_CODE_UTF8:
        *ps32StreamType = STREAM_TYPE_UTF8;
        break;
    case PELL_CODE_UTF16LE:
        *ps32StreamType = STREAM_TYPE_UTF16LE;
        break;
    case PELL_CODE_UTF16BE:
        *ps32StreamType = STREAM_TYPE_UTF16BE;
        break;
    case PELL_CODE_UTF32LE:
        *ps32StreamType = STREAM_TYPE_WIDE_FIRST;
        break;
    case PELL_CODE_UTF32BE:
        *ps32StreamType = STREAM_TYPE_WIDE_LAST;
        break;
    default:
        *ps32StreamType = STREAM_TYPE_SINGLE_BYTE;
        break;
    }
    return 0;
}

} // namespace

int32_t PellCharsetLastSource(const void *hCharset) {
    return hCharset != nullptr ? static_cast<const CharsetInstance *>(hCharset)->s32LastSource
                               : static_cast<int32_t>(PELL_CHARSET_SOURCE_NONE);
}

const CharsetOps g_charsetOps = {
    .create = CharsetCreate,
    .getCodeType = CharsetGetCodeType,
    .convert = CharsetConvertSlot,
    .reserved = CharsetReserved,
    .destroy = CharsetDestroy,
    .getStreamType = CharsetGetStreamType,
};
