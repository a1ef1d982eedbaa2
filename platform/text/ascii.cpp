// ASCII comparison of spans, and the comma-separated lists that descriptors carry.
#include "platform/text/ascii.h"

#include <cstring>

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
