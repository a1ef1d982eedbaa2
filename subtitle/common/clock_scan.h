// Times of day in four fields, such as "00:00:01,500", read by hand: what a formatted scan accepts, at the speed of a
// look at each character. Fields are not range-checked.
#pragma once

#include "platform/text/ascii.h"

// How a format writes its times: hours ":" minutes ":" seconds, a separator, and a fraction.
struct ClockForm {
    int32_t s32FractionWidth;  // most characters of the fraction, up to three; the other fields have two
    int32_t s32FractionUnit;   // milliseconds that one of the fraction is worth
    const char *pszSeparators; // what may stand before the fraction; null: any character but zero
};

inline bool SvrIsClockSeparator(const char *pszSeparators, uint8_t u8Char) {
    if (pszSeparators == nullptr) {
        return u8Char != '\0';
    }
    while (*pszSeparators != '\0' && static_cast<uint8_t>(*pszSeparators) != u8Char) {
        pszSeparators++;
    }
    return *pszSeparators != '\0';
}

// Reads a time that has blanks, signs or single digits in it, as SvrScanClock does.
const uint8_t *SvrScanClockAny(const uint8_t *pu8Text, const uint8_t *pu8End, const ClockForm *pstForm,
                               int64_t *ps64Time);

// Whether eight bytes are "h:mm:ss" and any other, compared at once: the difference to the form is at most 9 for a
// digit and 0 for a colon, and with what is added to it stays below 0x80. A byte whose sum carries into the next is
// 0x80 or more by itself.
inline bool SvrIsClock(const uint8_t *pu8Text) {
    constexpr uint8_t FORM[] = {'0', ':', '0', '0', ':', '0', '0', 0};
    constexpr uint8_t COUNTS[] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0};
    constexpr uint8_t ADDED[] = {0x76, 0x7F, 0x76, 0x76, 0x7F, 0x76, 0x76, 0};
    const uint64_t u64Differs = (SvrEightBytes(pu8Text) ^ SvrEightBytes(FORM)) & SvrEightBytes(COUNTS);
    return (((u64Differs + SvrEightBytes(ADDED)) | u64Differs) & UINT64_C(0x8080808080808080)) == 0;
}

inline int32_t SvrClockPair(const uint8_t *pu8Digits) {
    return pu8Digits[0] * 10 + pu8Digits[1] - '0' * 11;
}

// Reads a time, in milliseconds. The place after it, or null when there is none. In most files it has digits only, two
// in each field but perhaps the first.
inline const uint8_t *SvrScanClock(const uint8_t *pu8Text, const uint8_t *pu8End, const ClockForm *pstForm,
                                   int64_t *ps64Time) {
    constexpr ptrdiff_t LOOK = 12; // a digit of tens, the eight, three of the fraction
    pu8Text = SvrSkipSpace(pu8Text, pu8End);
    if (pu8End - pu8Text < LOOK) {
        return SvrScanClockAny(pu8Text, pu8End, pstForm, ps64Time);
    }
    const int32_t s32Tens = pu8Text[1] != ':' ? pu8Text[0] - '0' : 0;
    const uint8_t *pu8Ones = pu8Text + (pu8Text[1] != ':' ? 1 : 0);
    if (static_cast<uint32_t>(s32Tens) > 9 || !SvrIsClock(pu8Ones) ||
        !SvrIsClockSeparator(pstForm->pszSeparators, pu8Ones[7])) {
        return SvrScanClockAny(pu8Text, pu8End, pstForm, ps64Time);
    }
    const uint8_t *pu8Fraction = pu8Ones + 8;
    int32_t s32Fraction = 0;
    for (int32_t i = 0; i < pstForm->s32FractionWidth; i++) {
        if (!SvrIsDigit(*pu8Fraction)) {
            return SvrScanClockAny(pu8Text, pu8End, pstForm, ps64Time);
        }
        s32Fraction = s32Fraction * 10 + *pu8Fraction++ - '0';
    }
    const int32_t s32Hours = s32Tens * 10 + pu8Ones[0] - '0';
    const int32_t s32Sec = (s32Hours * 60 + SvrClockPair(pu8Ones + 2)) * 60 + SvrClockPair(pu8Ones + 5);
    *ps64Time = s32Sec * 1000 + s32Fraction * pstForm->s32FractionUnit;
    return pu8Fraction;
}
