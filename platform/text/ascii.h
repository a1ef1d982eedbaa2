// ASCII classification, comparison and number scanning on spans of untrusted bytes: no locale, no sign surprises, no
// terminator needed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

inline bool SvrIsSpace(uint8_t u8Char) {
    return u8Char == ' ' || (u8Char >= '\t' && u8Char <= '\r');
}

inline bool SvrIsDigit(uint8_t u8Char) {
    return u8Char >= '0' && u8Char <= '9';
}

inline uint8_t SvrLower(uint8_t u8Char) {
    return u8Char >= 'A' && u8Char <= 'Z' ? static_cast<uint8_t>(u8Char | 0x20) : u8Char;
}

// 0 to 15, or -1.
inline int32_t SvrHexDigit(uint8_t u8Char) {
    const uint8_t u8Lower = SvrLower(u8Char);
    return SvrIsDigit(u8Char) ? u8Char - '0' : (u8Lower >= 'a' && u8Lower <= 'f' ? u8Lower - 'a' + 10 : -1);
}

constexpr bool SvrIsAlpha(uint8_t u8Char) {
    return (u8Char | 0x20) >= 'a' && (u8Char | 0x20) <= 'z';
}

// Eight bytes as a number in this machine's order, for comparing them at once.
inline uint64_t SvrEightBytes(const uint8_t *pu8Bytes) {
    uint64_t u64Bytes = 0;
    memcpy(&u64Bytes, pu8Bytes, sizeof(u64Bytes));
    return u64Bytes;
}

// The first such byte of a span, or null.
inline const uint8_t *SvrFindByte(const uint8_t *pu8Text, const uint8_t *pu8End, uint8_t u8Byte) {
    return static_cast<const uint8_t *>(memchr(pu8Text, u8Byte, static_cast<size_t>(pu8End - pu8Text)));
}

inline const uint8_t *SvrSkipSpace(const uint8_t *pu8Text, const uint8_t *pu8End) {
    while (pu8Text < pu8End && SvrIsSpace(*pu8Text)) {
        pu8Text++;
    }
    return pu8Text;
}

// Reads what "%lld" reads, of at most s32Width characters behind the blanks. The place after the number, or null when
// there is none. Values beyond 64 bits stop at the limit they ran into.
const uint8_t *SvrScanInt64(const uint8_t *pu8Text, const uint8_t *pu8End, int32_t s32Width, int64_t *ps64Value);

// The same for "%d" and 32 bits.
const uint8_t *SvrScanIntAny(const uint8_t *pu8Text, const uint8_t *pu8End, int32_t s32Width, int32_t *ps32Value);

// The same, quick for one or two digits: most numbers in time lines have no more.
inline const uint8_t *SvrScanInt(const uint8_t *pu8Text, const uint8_t *pu8End, int32_t s32Width, int32_t *ps32Value) {
    if (s32Width < 2 || pu8End - pu8Text < 3 || !SvrIsDigit(pu8Text[0])) {
        return SvrScanIntAny(pu8Text, pu8End, s32Width, ps32Value);
    }
    *ps32Value = pu8Text[0] - '0';
    if (!SvrIsDigit(pu8Text[1])) {
        return pu8Text + 1;
    }
    if (s32Width > 2 && SvrIsDigit(pu8Text[2])) {
        return SvrScanIntAny(pu8Text, pu8End, s32Width, ps32Value);
    }
    *ps32Value = *ps32Value * 10 + (pu8Text[1] - '0');
    return pu8Text + 2;
}

// Equal in length and, without regard to ASCII case, in every character.
bool SvrCaseEqual(const char *pszLeft, size_t uLeftLen, const char *pszRight, size_t uRightLen);

// Where an item stands in a comma-separated list.
enum ListMatch { LIST_MATCH_NONE, LIST_MATCH_INNER, LIST_MATCH_LAST };

// Finds a whole entry equal to the item without regard to case; the last entry is told apart from those before it.
ListMatch SvrListMatch(const char *pszList, const char *pszItem);
