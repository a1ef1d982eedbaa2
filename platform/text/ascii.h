// ASCII classification, comparison and number scanning on spans of untrusted bytes: no locale, no sign surprises, no
// terminator needed.
#pragma once

#include <cstddef>
#include <cstdint>

inline bool SvrIsSpace(uint8_t u8Char) {
    return u8Char == ' ' || (u8Char >= '\t' && u8Char <= '\r');
}

inline bool SvrIsDigit(uint8_t u8Char) {
    return u8Char >= '0' && u8Char <= '9';
}

inline uint8_t SvrLower(uint8_t u8Char) {
    return u8Char >= 'A' && u8Char <= 'Z' ? static_cast<uint8_t>(u8Char | 0x20) : u8Char;
}

inline bool SvrIsAlpha(uint8_t u8Char) {
    return SvrLower(u8Char) >= 'a' && SvrLower(u8Char) <= 'z';
}

inline const uint8_t *SvrSkipSpace(const uint8_t *pu8Text, const uint8_t *pu8End) {
    while (pu8Text < pu8End && SvrIsSpace(*pu8Text)) {
        pu8Text++;
    }
    return pu8Text;
}

// Reads what "%<width>d" reads: leading blanks, then a sign and digits of at most s32Width characters together. Returns
// the place after the number, or null when there is none. Values beyond 32 bits stop at the limit they ran into.
inline const uint8_t *SvrScanInt(const uint8_t *pu8Text, const uint8_t *pu8End, int32_t s32Width, int32_t *ps32Value) {
    pu8Text = SvrSkipSpace(pu8Text, pu8End);
    bool bNegative = false;
    if (pu8Text < pu8End && (*pu8Text == '-' || *pu8Text == '+')) {
        bNegative = *pu8Text == '-';
        pu8Text++;
        s32Width--;
    }
    const uint8_t *pu8First = pu8Text;
    int64_t s64Value = 0;
    for (; pu8Text < pu8End && s32Width > 0 && SvrIsDigit(*pu8Text); pu8Text++, s32Width--) {
        if (s64Value <= INT32_MAX) {
            s64Value = s64Value * 10 + (*pu8Text - '0');
        }
    }
    if (pu8Text == pu8First) {
        return nullptr;
    }
    s64Value = bNegative ? -s64Value : s64Value;
    s64Value = s64Value > INT32_MAX ? INT32_MAX : s64Value;
    *ps32Value = static_cast<int32_t>(s64Value < INT32_MIN ? INT32_MIN : s64Value);
    return pu8Text;
}

// Equal in length and, without regard to ASCII case, in every character.
bool SvrCaseEqual(const char *pszLeft, size_t uLeftLen, const char *pszRight, size_t uRightLen);

// Where an item stands in a comma-separated list.
enum ListMatch { LIST_MATCH_NONE, LIST_MATCH_INNER, LIST_MATCH_LAST };

// Finds a whole entry equal to the item without regard to case; the last entry is told apart from those before it.
ListMatch SvrListMatch(const char *pszList, const char *pszItem);
