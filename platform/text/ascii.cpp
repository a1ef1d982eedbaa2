// ASCII comparison of spans, and the comma-separated lists that descriptors carry.
#include "platform/text/ascii.h"

#include <cstring>

const uint8_t *SvrScanInt64(const uint8_t *pu8Text, const uint8_t *pu8End, int32_t s32Width, int64_t *ps64Value) {
    pu8Text = SvrSkipSpace(pu8Text, pu8End);
    const uint8_t *pu8Limit = pu8End - pu8Text > s32Width ? pu8Text + s32Width : pu8End;
    bool bNegative = false;
    if (pu8Text < pu8Limit && (*pu8Text == '-' || *pu8Text == '+')) {
        bNegative = *pu8Text++ == '-';
    }
    const uint8_t *pu8First = pu8Text;
    // Downwards, where the range is wider by one. Nine digits fit whatever they are, and into 32 bits.
    int32_t s32Value = 0;
    const uint8_t *pu8Nine = pu8Limit - pu8Text > 9 ? pu8Text + 9 : pu8Limit;
    while (pu8Text < pu8Nine && SvrIsDigit(*pu8Text)) {
        s32Value = s32Value * 10 - (*pu8Text++ - '0');
    }
    if (pu8Text == pu8First) {
        return nullptr;
    }
    int64_t s64Value = s32Value;
    for (; pu8Text < pu8Limit && SvrIsDigit(*pu8Text); pu8Text++) {
        const int64_t s64Digit = *pu8Text - '0';
        s64Value = s64Value < (INT64_MIN + s64Digit) / 10 ? INT64_MIN : s64Value * 10 - s64Digit;
    }
    const int64_t s64Positive = s64Value == INT64_MIN ? INT64_MAX : -s64Value;
    *ps64Value = bNegative ? s64Value : s64Positive;
    return pu8Text;
}

const uint8_t *SvrScanIntAny(const uint8_t *pu8Text, const uint8_t *pu8End, int32_t s32Width, int32_t *ps32Value) {
    int64_t s64Value = 0;
    pu8Text = SvrScanInt64(pu8Text, pu8End, s32Width, &s64Value);
    if (pu8Text != nullptr) {
        s64Value = s64Value < INT32_MIN ? INT32_MIN : s64Value;
        *ps32Value = static_cast<int32_t>(s64Value > INT32_MAX ? INT32_MAX : s64Value);
    }
    return pu8Text;
}

bool SvrCaseEqual(const char *pszLeft, size_t uLeftLen, const char *pszRight, size_t uRightLen) {
    if (uLeftLen != uRightLen) {
        return false;
    }
    for (size_t i = 0; i < uLeftLen; i++) {
        if (SvrLower(static_cast<uint8_t>(pszLeft[i])) != SvrLower(static_cast<uint8_t>(pszRight[i]))) {
            return false;
        }
    }
    return true;
}

ListMatch SvrListMatch(const char *pszList, const char *pszItem) {
    const size_t uItemLen = strlen(pszItem);
    for (;;) {
        const char *pszComma = strchr(pszList, ',');
        const size_t uEntryLen = pszComma != nullptr ? static_cast<size_t>(pszComma - pszList) : strlen(pszList);
        if (SvrCaseEqual(pszList, uEntryLen, pszItem, uItemLen)) {
            return pszComma != nullptr ? LIST_MATCH_INNER : LIST_MATCH_LAST;
        }
        if (pszComma == nullptr) {
            return LIST_MATCH_NONE;
        }
        pszList = pszComma + 1;
    }
}
