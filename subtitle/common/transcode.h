// Conversion of lines and cues for the demuxers, beside the exported SvrSubTranscodeLine.
#pragma once

#include "format/pell_format.h"

#include <cstring>

// The one destination code type that has tabs expanded.
constexpr int32_t SVR_TAB_CODETYPE = 2;

// As SvrSubTranscodeLine; *ps32Touched is how many bytes of the output buffer may no longer be what they were.
int32_t SvrSubTranscodeTouched(void *hCharset, const CharsetOps *pstCharsetOps, TranscodeLine *pstLine,
                               int32_t s32SrcCodeType, int32_t s32DstCodeType, int32_t *ps32Touched);

// Whether text goes through a converter.
inline bool SvrSubConverts(const void *hCharset, const CharsetOps *pstCharsetOps) {
    return hCharset != nullptr && pstCharsetOps != nullptr && pstCharsetOps->convert != nullptr;
}

// Whether a line stands in the converted text as it stands in the file: no converter, and no tab that is expanded.
// The line is not empty.
inline bool SvrSubTranscodeKeeps(const void *hCharset, const CharsetOps *pstCharsetOps, const uint8_t *pu8Line,
                                 int32_t s32Len, int32_t s32DstCodeType) {
    if (SvrSubConverts(hCharset, pstCharsetOps)) {
        return false;
    }
    return s32DstCodeType != SVR_TAB_CODETYPE || memchr(pu8Line, '\t', static_cast<size_t>(s32Len)) == nullptr;
}
