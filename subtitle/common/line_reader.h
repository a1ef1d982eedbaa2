// Lines and positions of a text file, through whatever protocol it was opened with.
#pragma once

#include "protocol/file_window.h"

// Whether an answer of url_seek means that it failed.
inline bool SvrSubSeekFailed(int64_t s64Result) {
    return static_cast<uint32_t>(s64Result) == UINT32_MAX;
}

// What the converter says of a code type; single bytes without one. 0, or -1 when lines of that type are not read.
int32_t SvrSubStreamType(const CharsetOps *pstCharsetOps, int32_t s32CodeType, int32_t *ps32StreamType);

// SvrSubReadLine for a known stream type, and sound arguments.
int32_t SvrSubReadLineOf(uint8_t *pu8Line, void *hUrl, const Protocol *pstProtocol, int32_t s32StreamType);

// Shows a line of UTF-16 where it stands, when it is whole in the window and SvrSubReadLine would store it as it is,
// and skips it. Its length, or 0.
int32_t SvrSubShowUtf16(SvrFileHandle *pstFile, int32_t s32StreamType, const uint8_t **ppu8Line);
