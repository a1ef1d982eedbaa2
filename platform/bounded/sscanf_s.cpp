// Formatted input with bounded text conversions, the same on every C library and under every locale.
#include "platform/bounded/bounded.h"
#include "platform/text/ascii.h"
#include "platform/text/decimal.h"

#include <cstring>

struct ScanDirective {
    bool bSuppress; // '*': matched, not stored
    bool bLong;     // 64-bit number
    size_t uWidth;  // most characters to take
    char chKind;    // the conversion letter
    const char *pszSet;
    const char *pszSetEnd;
    bool bSetInverted;
};

// Reads one directive after its '%'; returns the place after it.
static const char *ScanParseDirective(const char *psz, ScanDirective *pstOut) {
    *pstOut = {};
    if (*psz == '*') {
        pstOut->bSuppress = true;
        psz++;
    }
    for (; SvrIsDigit(static_cast<uint8_t>(*psz)) && pstOut->uWidth < 1000000; psz++) {
        pstOut->uWidth = pstOut->uWidth * 10 + static_cast<size_t>(*psz - '0');
    }
    // A single l would be 4 bytes on one target and 8 on another: not offered.
    if (psz[0] == 'l' && psz[1] == 'l') {
        pstOut->bLong = true;
        psz += 2;
    }
    pstOut->chKind = *psz;
    if (*psz != '\0') {
        psz++;
    }
    if (pstOut->chKind == '[') {
        pstOut->bSetInverted = *psz == '^';
        psz += pstOut->bSetInverted ? 1 : 0;
        pstOut->pszSet = psz;
        // A ']' that stands first belongs to the set.
        psz += *psz != '\0' ? 1 : 0;
        while (*psz != '\0' && *psz != ']') {
            psz++;
        }
        pstOut->pszSetEnd = psz;
        psz += *psz != '\0' ? 1 : 0;
    }
    return psz;
}

static bool ScanInSet(const ScanDirective *pstDir, char chText) {
    for (const char *psz = pstDir->pszSet; psz < pstDir->pszSetEnd; psz++) {
        const bool bRange = psz + 2 < pstDir->pszSetEnd && psz[1] == '-';
        const char chLast = bRange ? psz[2] : psz[0];
        if (static_cast<uint8_t>(chText) >= static_cast<uint8_t>(*psz) &&
            static_cast<uint8_t>(chText) <= static_cast<uint8_t>(chLast)) {
            return !pstDir->bSetInverted;
        }
        psz += bRange ? 2 : 0;
    }
    return pstDir->bSetInverted;
}

// How many characters a text conversion matches.
static size_t ScanTextLen(const ScanDirective *pstDir, const char *pszText) {
    const size_t uMax = pstDir->uWidth != 0 ? pstDir->uWidth : (pstDir->chKind == 'c' ? 1 : SIZE_MAX);
    size_t uLen = 0;
    while (uLen < uMax && pszText[uLen] != '\0') {
        if (pstDir->chKind == 's' && SvrIsSpace(static_cast<uint8_t>(pszText[uLen]))) {
            break;
        }
        if (pstDir->chKind == '[' && !ScanInSet(pstDir, pszText[uLen])) {
            break;
        }
        uLen++;
    }
    return pstDir->chKind == 'c' && uLen < uMax ? 0 : uLen;
}

static int ScanDigit(char ch, int s32Base) {
    const int32_t s32Digit = SvrHexDigit(static_cast<uint8_t>(ch));
    return s32Digit < s32Base ? s32Digit : -1;
}

// Reads a number of at most uWidth characters (0: any); returns the place after it, or null.
static const char *ScanNumber(const ScanDirective *pstDir, const char *pszText, bool *pbNegative, uint64_t *pu64Value) {
    const int s32Base = pstDir->chKind == 'x' ? 16 : 10;
    size_t uLeft = pstDir->uWidth != 0 ? pstDir->uWidth : SIZE_MAX;
    *pbNegative = *pszText == '-';
    if (*pszText == '-' || *pszText == '+') {
        pszText++;
        uLeft--;
    }
    if (s32Base == 16 && uLeft > 2 && pszText[0] == '0' && (pszText[1] | 0x20) == 'x' &&
        ScanDigit(pszText[2], s32Base) >= 0) {
        pszText += 2;
        uLeft -= 2;
    }
    const char *pszFirst = pszText;
    uint64_t u64Value = 0;
    for (; uLeft > 0 && ScanDigit(*pszText, s32Base) >= 0; pszText++, uLeft--) {
        const uint64_t u64Digit = static_cast<uint64_t>(ScanDigit(*pszText, s32Base));
        const uint64_t u64Base = static_cast<uint64_t>(s32Base);
        u64Value = u64Value > (UINT64_MAX - u64Digit) / u64Base ? UINT64_MAX : u64Value * u64Base + u64Digit;
    }
    *pu64Value = u64Value;
    return pszText == pszFirst ? nullptr : pszText;
}

// The signed value, held within the type it goes to.
static int64_t ScanClampSigned(bool bNegative, uint64_t u64Value, int64_t s64Max) {
    const uint64_t u64Max = static_cast<uint64_t>(s64Max);
    if (!bNegative) {
        return static_cast<int64_t>(u64Value > u64Max ? u64Max : u64Value);
    }
    return u64Value > u64Max ? -s64Max - 1 : -static_cast<int64_t>(u64Value);
}

static void ScanStoreNumber(const ScanDirective *pstDir, bool bNegative, uint64_t u64Value, va_list *pArgs) {
    if (pstDir->chKind == 'd' && pstDir->bLong) {
        *va_arg(*pArgs, long long *) = ScanClampSigned(bNegative, u64Value, INT64_MAX);
    } else if (pstDir->chKind == 'd') {
        *va_arg(*pArgs, int *) = static_cast<int>(ScanClampSigned(bNegative, u64Value, INT32_MAX));
    } else if (pstDir->bLong) {
        *va_arg(*pArgs, unsigned long long *) = bNegative ? 0 - u64Value : u64Value;
    } else {
        const uint32_t u32Value = u64Value > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(u64Value);
        *va_arg(*pArgs, unsigned int *) = bNegative ? 0 - u32Value : u32Value;
    }
}

static bool ScanStoreText(const ScanDirective *pstDir, const char *pszText, size_t uLen, va_list *pArgs) {
    char *pszDst = va_arg(*pArgs, char *);
    const rsize_t uDstSize = va_arg(*pArgs, rsize_t);
    if (pstDir->chKind == 'c') {
        return memcpy_s(pszDst, uDstSize, pszText, uLen) == 0;
    }
    return strncpy_s(pszDst, uDstSize, pszText, uLen) == 0;
}

// Reads a floating-point number of at most the directive's width. The place after it, or null.
static const char *ScanFloat(const ScanDirective *pstDir, const char *pszText, va_list *pArgs) {
    const uint8_t *pu8Text = reinterpret_cast<const uint8_t *>(pszText);
    const size_t uLen = strnlen(pszText, pstDir->uWidth != 0 ? pstDir->uWidth : SIZE_MAX);
    float fValue = 0;
    const uint8_t *pu8After = SvrScanFloat(pu8Text, pu8Text + uLen, &fValue);
    if (pu8After == nullptr) {
        return nullptr;
    }
    if (!pstDir->bSuppress) {
        *va_arg(*pArgs, float *) = fValue;
    }
    return pszText + (pu8After - pu8Text);
}

// Matches one directive. The place after it, or null when it does not match.
static const char *ScanConvert(const ScanDirective *pstDir, const char *pszText, va_list *pArgs) {
    if (pstDir->chKind == 'd' || pstDir->chKind == 'x') {
        bool bNegative = false;
        uint64_t u64Value = 0;
        const char *pszAfter = ScanNumber(pstDir, pszText, &bNegative, &u64Value);
        if (pszAfter != nullptr && !pstDir->bSuppress) {
            ScanStoreNumber(pstDir, bNegative, u64Value, pArgs);
        }
        return pszAfter;
    }
    if (pstDir->chKind == 'f' && !pstDir->bLong) {
        return ScanFloat(pstDir, pszText, pArgs);
    }
    if (pstDir->chKind != 'c' && pstDir->chKind != 's' && pstDir->chKind != '[') {
        return nullptr;
    }
    const size_t uLen = ScanTextLen(pstDir, pszText);
    if (uLen == 0 || (!pstDir->bSuppress && !ScanStoreText(pstDir, pszText, uLen, pArgs))) {
        return nullptr;
    }
    return pszText + uLen;
}

static const char *ScanBlanks(const char *psz) {
    while (SvrIsSpace(static_cast<uint8_t>(*psz))) {
        psz++;
    }
    return psz;
}

static int ScanRun(const char *pszText, const char *pszFormat, va_list *pArgs) {
    int s32Stored = 0;
    while (*pszFormat != '\0') {
        if (SvrIsSpace(static_cast<uint8_t>(*pszFormat))) {
            pszFormat = ScanBlanks(pszFormat);
            pszText = ScanBlanks(pszText);
            continue;
        }
        ScanDirective stDir = {};
        const bool bConversion = *pszFormat == '%' && pszFormat[1] != '%';
        if (!bConversion) {
            pszFormat += *pszFormat == '%' ? 1 : 0;
        } else {
            pszFormat = ScanParseDirective(pszFormat + 1, &stDir);
            pszText = stDir.chKind != 'c' && stDir.chKind != '[' ? ScanBlanks(pszText) : pszText;
        }
        if (*pszText == '\0') {
            return s32Stored == 0 ? -1 : s32Stored;
        }
        const char *pszAfter =
            bConversion ? ScanConvert(&stDir, pszText, pArgs) : (*pszText == *pszFormat ? pszText + 1 : nullptr);
        if (pszAfter == nullptr) {
            return s32Stored;
        }
        pszFormat += bConversion ? 0 : 1;
        s32Stored += bConversion && !stDir.bSuppress ? 1 : 0;
        pszText = pszAfter;
    }
    return s32Stored;
}

int sscanf_s(const char *pszText, const char *pszFormat, ...) {
    if (pszText == nullptr || pszFormat == nullptr) {
        return -1;
    }
    va_list args;
    va_start(args, pszFormat);
    const int s32Stored = ScanRun(pszText, pszFormat, &args);
    va_end(args);
    return s32Stored;
}
