// Short decimal numbers come out of one exact division; all others go through the C library, in its locale's terms.
#include "platform/text/decimal.h"
#include "platform/text/ascii.h"

#include <cfloat>
#include <clocale>
#include <cstdlib>
#include <cstring>

static_assert(FLT_EVAL_METHOD == 0, "a quotient is rounded once, to its own type");

// Powers of ten that a double holds exactly; a float holds the first eleven.
static constexpr double s_adPowers[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                        1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

// What a type holds exactly: the quotient of two such numbers is the nearest to the decimal number they stand for.
struct DecimalExact {
    uint64_t u64Max;
    int32_t s32MaxPower;
};

static constexpr DecimalExact s_stFloatExact = {9999999, 10};
static constexpr DecimalExact s_stDoubleExact = {999999999999999, 22};

// A number as a whole one, and how many of its digits are a fraction.
struct DecimalParts {
    uint64_t u64Digits;
    int32_t s32Power;
    bool bNegative;
};

// Whether the number may go on in a way that digits and a point do not tell: an exponent, or hexadecimal digits.
static bool DecimalGoesOn(const uint8_t *pu8Text, const uint8_t *pu8End) {
    return pu8Text < pu8End && (SvrLower(*pu8Text) == 'e' || SvrLower(*pu8Text) == 'x');
}

// Reads a plain number that the type holds exactly. The place after it, or null.
static const uint8_t *DecimalScanPlain(const uint8_t *pu8Text, const uint8_t *pu8End, DecimalExact stExact,
                                       DecimalParts *pstParts) {
    *pstParts = {};
    if (pu8Text < pu8End && (*pu8Text == '-' || *pu8Text == '+')) {
        pstParts->bNegative = *pu8Text++ == '-';
    }
    bool bDigit = false;
    bool bPoint = false;
    for (; pu8Text < pu8End && (SvrIsDigit(*pu8Text) || (*pu8Text == '.' && !bPoint)); pu8Text++) {
        if (*pu8Text == '.') {
            bPoint = true;
            continue;
        }
        bDigit = true;
        pstParts->s32Power += bPoint ? 1 : 0;
        pstParts->u64Digits = pstParts->u64Digits * 10 + static_cast<uint64_t>(*pu8Text - '0');
        if (pstParts->u64Digits > stExact.u64Max || pstParts->s32Power > stExact.s32MaxPower) {
            return nullptr;
        }
    }
    return bDigit && !DecimalGoesOn(pu8Text, pu8End) ? pu8Text : nullptr;
}

static bool DecimalMayHold(uint8_t u8Char) {
    return SvrIsDigit(u8Char) || SvrIsAlpha(u8Char) || (u8Char != '\0' && strchr("+-._()", u8Char) != nullptr);
}

// A text of its own for the C library, with the locale's point in it.
struct DecimalCopy {
    char aszText[SVR_DECIMAL_MAX_LEN + 16];
    int32_t s32Point; // where the point stands; beyond all text when there is none
    int32_t s32PointLen;
};

static void DecimalCopyOut(const uint8_t *pu8Text, const uint8_t *pu8End, DecimalCopy *pstCopy) {
    const char *pszPoint = localeconv()->decimal_point;
    const size_t uPointLen = strnlen(pszPoint, sizeof(pstCopy->aszText) - SVR_DECIMAL_MAX_LEN - 1);
    int32_t s32To = 0;
    pstCopy->s32Point = INT32_MAX;
    pstCopy->s32PointLen = static_cast<int32_t>(uPointLen);
    for (int32_t i = 0; i < SVR_DECIMAL_MAX_LEN && pu8Text + i < pu8End && DecimalMayHold(pu8Text[i]); i++) {
        if (pu8Text[i] != '.') {
            pstCopy->aszText[s32To++] = static_cast<char>(pu8Text[i]);
            continue;
        }
        if (pstCopy->s32Point != INT32_MAX) {
            break;
        }
        pstCopy->s32Point = s32To;
        memcpy(pstCopy->aszText + s32To, pszPoint, uPointLen);
        s32To += pstCopy->s32PointLen;
    }
    pstCopy->aszText[s32To] = '\0';
}

// Lets the C library read the number, rounded to a float where asked for. The place after it, or null.
static const uint8_t *DecimalScanAny(const uint8_t *pu8Text, const uint8_t *pu8End, bool bFloat, double *pdValue) {
    if (pu8Text == pu8End || (!SvrIsDigit(*pu8Text) && strchr("+-.iInN", *pu8Text) == nullptr)) {
        return nullptr;
    }
    DecimalCopy stCopy;
    DecimalCopyOut(pu8Text, pu8End, &stCopy);
    char *pszAfter = nullptr;
    const double dValue = bFloat ? strtof(stCopy.aszText, &pszAfter) : strtod(stCopy.aszText, &pszAfter);
    const int32_t s32Len = static_cast<int32_t>(pszAfter - stCopy.aszText);
    if (s32Len == 0) {
        return nullptr;
    }
    *pdValue = dValue;
    return pu8Text + (s32Len > stCopy.s32Point ? s32Len - stCopy.s32PointLen + 1 : s32Len);
}

const uint8_t *SvrScanFloat(const uint8_t *pu8Text, const uint8_t *pu8End, float *pfValue) {
    pu8Text = SvrSkipSpace(pu8Text, pu8End);
    DecimalParts stParts = {};
    const uint8_t *pu8After = DecimalScanPlain(pu8Text, pu8End, s_stFloatExact, &stParts);
    if (pu8After != nullptr) {
        const float fValue = static_cast<float>(stParts.u64Digits) / static_cast<float>(s_adPowers[stParts.s32Power]);
        *pfValue = stParts.bNegative ? -fValue : fValue;
        return pu8After;
    }
    double dValue = 0;
    pu8After = DecimalScanAny(pu8Text, pu8End, true, &dValue);
    if (pu8After != nullptr) {
        *pfValue = static_cast<float>(dValue);
    }
    return pu8After;
}

const uint8_t *SvrScanDouble(const uint8_t *pu8Text, const uint8_t *pu8End, double *pdValue) {
    pu8Text = SvrSkipSpace(pu8Text, pu8End);
    DecimalParts stParts = {};
    const uint8_t *pu8After = DecimalScanPlain(pu8Text, pu8End, s_stDoubleExact, &stParts);
    if (pu8After == nullptr) {
        return DecimalScanAny(pu8Text, pu8End, false, pdValue);
    }
    const double dValue = static_cast<double>(stParts.u64Digits) / s_adPowers[stParts.s32Power];
    *pdValue = stParts.bNegative ? -dValue : dValue;
    return pu8After;
}
