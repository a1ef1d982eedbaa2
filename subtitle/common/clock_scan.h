// Times of day in four fields, such as "00:00:01,500", read by hand: what a formatted scan accepts, at the speed of a
// look at each character. Fields are not range-checked.
#pragma once

#include "platform/text/ascii.h"

// How a format writes its times: hours ":" minutes ":" seconds, a separator, and a fraction.
struct ClockForm {
    int32_t s32FractionWidth;  // most characters of the fraction; the other fields have two
    int32_t s32FractionUnit;   // milliseconds that one of the fraction is worth
    const char *pszSeparators; // what may stand before the fraction; null: any character but zero
};

// Reads two digits with a colon before them. False when something else stands there.
inline bool SvrScanClockPair(const uint8_t *pu8Text, int32_t *ps32Value) {
    const uint32_t u32Tens = static_cast<uint32_t>(pu8Text[1]) - '0';
    const uint32_t u32Ones = static_cast<uint32_t>(pu8Text[2]) - '0';
    *ps32Value = static_cast<int32_t>(u32Tens * 10 + u32Ones);
    return pu8Text[0] == ':' && u32Tens <= 9 && u32Ones <= 9;
}

// Reads "mm:ss" behind a colon where there are digits only, as most files have it; the seconds, or -1 when there is
// more to it.
inline int32_t SvrScanClockQuick(const uint8_t *pu8Colon, const uint8_t *pu8End) {
    int32_t s32Min = 0;
    int32_t s32Sec = 0;
    const bool bPlain =
        pu8End - pu8Colon > 6 && SvrScanClockPair(pu8Colon, &s32Min) && SvrScanClockPair(pu8Colon + 3, &s32Sec);
    return bPlain ? s32Min * 60 + s32Sec : -1;
}

// Reads "h:m:s" with blanks, signs and single digits, in seconds. The place after it, or null.
inline const uint8_t *SvrScanClockSlow(const uint8_t *pu8Text, const uint8_t *pu8End, int32_t *ps32Sec) {
    *ps32Sec = 0;
    for (int32_t i = 0; i < 3; i++) {
        int32_t s32Field = 0;
        if (i > 0 && (pu8Text == pu8End || *pu8Text++ != ':')) {
            return nullptr;
        }
        pu8Text = SvrScanInt(pu8Text, pu8End, 2, &s32Field);
        if (pu8Text == nullptr) {
            return nullptr;
        }
        *ps32Sec = *ps32Sec * 60 + s32Field;
    }
    return pu8Text;
}

// Reads a fraction: where it has all its digits as they come.
inline const uint8_t *SvrScanClockFraction(const uint8_t *pu8Text, const uint8_t *pu8End, int32_t s32Width,
                                           int32_t *ps32Fraction) {
    if (s32Width == 3 && pu8End - pu8Text >= 3) {
        const uint32_t u32Hundreds = static_cast<uint32_t>(pu8Text[0]) - '0';
        const uint32_t u32Tens = static_cast<uint32_t>(pu8Text[1]) - '0';
        const uint32_t u32Ones = static_cast<uint32_t>(pu8Text[2]) - '0';
        if (u32Hundreds <= 9 && u32Tens <= 9 && u32Ones <= 9) {
            *ps32Fraction = static_cast<int32_t>(u32Hundreds * 100 + u32Tens * 10 + u32Ones);
            return pu8Text + 3;
        }
    }
    return SvrScanInt(pu8Text, pu8End, s32Width, ps32Fraction);
}

inline bool SvrIsClockSeparator(const char *pszSeparators, uint8_t u8Char) {
    if (pszSeparators == nullptr) {
        return u8Char != '\0';
    }
    while (*pszSeparators != '\0' && static_cast<uint8_t>(*pszSeparators) != u8Char) {
        pszSeparators++;
    }
    return *pszSeparators != '\0';
}

// Reads a time, in milliseconds. The place after it, or null when there is none.
inline const uint8_t *SvrScanClock(const uint8_t *pu8Text, const uint8_t *pu8End, const ClockForm *pstForm,
                                   int64_t *ps64Time) {
    pu8Text = SvrSkipSpace(pu8Text, pu8End);
    // The shortest time is "1:2:3,4".
    if (pu8End - pu8Text < 7) {
        return nullptr;
    }
    int32_t s32Sec = -1;
    if (SvrIsDigit(pu8Text[0])) {
        const bool bPair = SvrIsDigit(pu8Text[1]);
        const uint8_t *pu8Colon = pu8Text + (bPair ? 2 : 1);
        if (*pu8Colon != ':') {
            return nullptr;
        }
        s32Sec = SvrScanClockQuick(pu8Colon, pu8End);
        if (s32Sec >= 0) {
            s32Sec += (bPair ? (pu8Text[0] - '0') * 10 + pu8Text[1] - '0' : pu8Text[0] - '0') * 3600;
            pu8Text = pu8Colon + 6;
        }
    }
    pu8Text = s32Sec >= 0 ? pu8Text : SvrScanClockSlow(pu8Text, pu8End, &s32Sec);
    if (pu8Text == nullptr || pu8Text == pu8End || !SvrIsClockSeparator(pstForm->pszSeparators, *pu8Text)) {
        return nullptr;
    }
    int32_t s32Fraction = 0;
    pu8Text = SvrScanClockFraction(pu8Text + 1, pu8End, pstForm->s32FractionWidth, &s32Fraction);
    *ps64Time = static_cast<int64_t>(s32Sec) * 1000 + static_cast<int64_t>(s32Fraction) * pstForm->s32FractionUnit;
    return pu8Text;
}
