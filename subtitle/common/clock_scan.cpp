// Times of day that are not written in plain digits.
#include "subtitle/common/clock_scan.h"

const uint8_t *SvrScanClockAny(const uint8_t *pu8Text, const uint8_t *pu8End, const ClockForm *pstForm,
                               int64_t *ps64Time) {
    int32_t s32Sec = 0;
    for (int32_t i = 0; i < 3; i++) {
        int32_t s32Field = 0;
        if (i > 0 && (pu8Text == pu8End || *pu8Text++ != ':')) {
            return nullptr;
        }
        pu8Text = SvrScanInt(pu8Text, pu8End, 2, &s32Field);
        if (pu8Text == nullptr) {
            return nullptr;
        }
        s32Sec = s32Sec * 60 + s32Field;
    }
    if (pu8Text == pu8End || !SvrIsClockSeparator(pstForm->pszSeparators, *pu8Text)) {
        return nullptr;
    }
    int32_t s32Fraction = 0;
    pu8Text = SvrScanInt(pu8Text + 1, pu8End, pstForm->s32FractionWidth, &s32Fraction);
    *ps64Time = s32Sec * 1000 + s32Fraction * pstForm->s32FractionUnit;
    return pu8Text;
}
