// The one door through which the readers of lines look at the file protocol's cached bytes, instead of asking for them
// one at a time. It only shows and skips what is cached; everything else goes through the protocol's slots.
#pragma once

#include "protocol/file_protocol.h"

// The file behind a URL handle when protocol and handle are this library's own, else null.
SvrFileHandle *SvrFileWindowOf(const Protocol *pstProtocol, void *hUrl);

// The cached bytes from the read position on; there may be none.
inline const uint8_t *SvrFileWindowCur(const SvrFileHandle *pstFile) {
    return pstFile->pu8Cur;
}

inline const uint8_t *SvrFileWindowEnd(const SvrFileHandle *pstFile) {
    return pstFile->pu8End;
}

// What url_seek(0, current) would answer.
inline int64_t SvrFileWindowPos(const SvrFileHandle *pstFile) {
    return pstFile->s64CurPos;
}

// Skips bytes of the window; there must be as many.
inline void SvrFileWindowAdvance(SvrFileHandle *pstFile, int32_t s32Bytes) {
    pstFile->pu8Cur += s32Bytes;
    pstFile->s64CurPos += s32Bytes;
}
