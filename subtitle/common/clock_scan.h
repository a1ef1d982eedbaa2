// Times of day in four fields, such as "00:00:01,500", read by hand: what a formatted scan accepts, at the speed of a
// look at each character. Fields are not range-checked.
#pragma once

#include "platform/text/ascii.h"

#include <cstring>

// How a format writes its times: hours ":" minutes ":" seconds, a separator, and a fraction.
struct ClockForm {
    int32_t s32FractionWidth;  // most characters of the fraction; the other fields have two
    int32_t s32FractionUnit;   // milliseconds that one of the fraction is worth
    const char *pszSeparators; // what may stand before the fraction; null: any character but zero
};

// Reads a time, in milliseconds. The place after it, or null when there is none.
inline const uint8_t *SvrScanClock(const uint8_t *pu8Text, const uint8_t *pu8End, const ClockForm *pstForm,
                                   int64_t *ps64Time) {
    static constexpr int32_t s_as32Unit[] = {3600000, 60000, 1000};
    *ps64Time = 0;
    int32_t s32Field = 0;
    for (int32_t i = 0; i < 3; i++) {
        pu8Text = SvrScanInt(pu8Text, pu8End, 2, &s32Field);
        if (pu8Text == nullptr || pu8Text == pu8End) {
            return nullptr;
        }
        const bool bSeparated = i < 2 ? *pu8Text == ':'
                                      : *pu8Text != '\0' && (pstForm->pszSeparators == nullptr ||
                                                             strchr(pstForm->pszSeparators, *pu8Text) != nullptr);
        if (!bSeparated) {
            return nullptr;
        }
        *ps64Time += static_cast<int64_t>(s32Field) * s_as32Unit[i];
        pu8Text++;
    }
    pu8Text = SvrScanInt(pu8Text, pu8End, pstForm->s32FractionWidth, &s32Field);
    *ps64Time += static_cast<int64_t>(s32Field) * pstForm->s32FractionUnit;
    return pu8Text;
}
