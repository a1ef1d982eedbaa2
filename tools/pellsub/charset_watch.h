// The converter as the plug-in gets it: it works as always, and notes what the plug-in's records do not tell.
#pragma once

#include "charset/pell_charset.h"
#include "format/pell_format.h"

#include <cstdint>

struct CharsetNote {
    int32_t forced = PELL_CODE_UNKNOWN;        // answered instead of identifying; unknown: identify
    int32_t source = PELL_CHARSET_SOURCE_NONE; // how the last identification decided
    uint64_t incomplete = 0;                   // conversions that failed or left input over
};

// One file is open at a time, so there is one note. Reset it before each.
CharsetNote &TheCharsetNote();

// The table to hand in.
CharsetOps *WatchedCharsetOps();
