// Words in spans of a file's text, found without regard to ASCII case. The text needs no terminator.
#pragma once

#include "platform/text/ascii.h"

// Whether the text begins with the word.
inline bool SvrBeginsWith(const uint8_t *pu8Text, const uint8_t *pu8End, const char *pszWord) {
    for (; *pszWord != '\0'; pszWord++, pu8Text++) {
        if (pu8Text == pu8End || SvrLower(*pu8Text) != SvrLower(static_cast<uint8_t>(*pszWord))) {
            return false;
        }
    }
    return true;
}

// The place behind the word's first occurrence, or null.
inline const uint8_t *SvrFindBehind(const uint8_t *pu8Text, const uint8_t *pu8End, const char *pszWord) {
    for (; pu8Text < pu8End; pu8Text++) {
        if (SvrBeginsWith(pu8Text, pu8End, pszWord)) {
            while (*pszWord++ != '\0') {
                pu8Text++;
            }
            return pu8Text;
        }
    }
    return nullptr;
}
