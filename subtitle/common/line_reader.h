// Lines and positions of a text file, through whatever protocol it was opened with.
#pragma once

#include "format/pell_format.h"

// Whether an answer of url_seek means that it failed.
inline bool SvrSubSeekFailed(int64_t s64Result) {
    return static_cast<uint32_t>(s64Result) == UINT32_MAX;
}

// The current position: what url_seek(0, current) answers.
int64_t SvrSubTell(void *hUrl, const Protocol *pstProtocol);
