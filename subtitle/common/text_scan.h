// Spans of a file's text, and words in them, found without regard to ASCII case. The text needs no terminator.
#pragma once

#include "platform/text/ascii.h"

#include <cstring>

struct TextSpan {
    const uint8_t *pu8Text;
    int32_t s32Len;
};

inline const uint8_t *SvrSpanEnd(TextSpan stText) {
    return stText.pu8Text + stText.s32Len;
}

// The text from an index on.
inline TextSpan SvrSpanFrom(TextSpan stText, int32_t s32Pos) {
    return {stText.pu8Text + s32Pos, stText.s32Len - s32Pos};
}

// The text up to its first zero byte, where a terminator would have ended it.
inline TextSpan SvrSpanUpToZero(TextSpan stText) {
    const void *pvZero = memchr(stText.pu8Text, 0, static_cast<size_t>(stText.s32Len));
    const ptrdiff_t sLen = pvZero != nullptr ? static_cast<const uint8_t *>(pvZero) - stText.pu8Text : stText.s32Len;
    return {stText.pu8Text, static_cast<int32_t>(sLen)};
}

// Whether the text begins with the word.
inline bool SvrBeginsWith(TextSpan stText, const char *pszWord) {
    for (int32_t i = 0; pszWord[i] != '\0'; i++) {
        if (i == stText.s32Len) {
            return false;
        }
        // Letters of either case differ in this one bit.
        const int32_t s32Differs = stText.pu8Text[i] ^ static_cast<uint8_t>(pszWord[i]);
        if (s32Differs != 0 && (s32Differs != 0x20 || !SvrIsAlpha(stText.pu8Text[i]))) {
            return false;
        }
    }
    return true;
}

// The place behind the word's first occurrence, or null.
inline const uint8_t *SvrFindBehind(TextSpan stText, const char *pszWord) {
    const uint8_t u8First = SvrLower(static_cast<uint8_t>(*pszWord));
    for (int32_t i = 0; i < stText.s32Len; i++) {
        if (SvrLower(stText.pu8Text[i]) == u8First && SvrBeginsWith(SvrSpanFrom(stText, i), pszWord)) {
            const uint8_t *pu8Behind = stText.pu8Text + i;
            while (*pszWord++ != '\0') {
                pu8Behind++;
            }
            return pu8Behind;
        }
    }
    return nullptr;
}
