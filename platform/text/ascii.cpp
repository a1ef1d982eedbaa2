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
    // Nine digits fit 32 bits, whatever they are.
    uint32_t u32Value = 0;
    const uint8_t *pu8Nine = pu8Limit - pu8Text > 9 ? pu8Text + 9 : pu8Limit;
    for (uint32_t u32Digit = 0; pu8Text < pu8Nine && (u32Digit = *pu8Text - uint32_t{'0'}) <= 9; pu8Text++) {
        u32Value = u32Value * 10 + u32Digit;
    }
    if (pu8Text == pu8First) {
        return nullptr;
    }
    // The negative range is wider by one.
    constexpr uint64_t MOST = UINT64_C(1) << 63;
    uint64_t u64Value = u32Value;
    for (; pu8Text < pu8Limit && SvrIsDigit(*pu8Text); pu8Text++) {
        const uint32_t u32Digit = *pu8Text - uint32_t{'0'};
        const bool bFits = u64Value < MOST / 10 || (u64Value == MOST / 10 && u32Digit <= MOST % 10);
        u64Value = bFits ? u64Value * 10 + u32Digit : MOST;
    }
    const uint64_t u64Positive = u64Value < MOST ? u64Value : MOST - 1;
    *ps64Value = static_cast<int64_t>(bNegative ? ~u64Value + 1 : u64Positive);
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
