// The language tag of a file name: what stands between the last two dots of "movie.en.srt".
#include "platform/check.h"
#include "platform/text/ascii.h"

#include <cstring>

constexpr size_t LANG_NAME_MAX_LEN = 4096;
constexpr size_t LANG_TAG_SIZE = 32;

static const char *LangNextDot(const char *psz, const char *pszEnd) {
    return static_cast<const char *>(memchr(psz, '.', static_cast<size_t>(pszEnd - psz)));
}

// The dot that opens the tag: the one before ".ext", or the last one when nothing equals the extension.
static const char *LangOpeningDot(const char *pszDot, const char *pszEnd, const char *pszExt) {
    for (;;) {
        const char *pszNext = LangNextDot(pszDot + 1, pszEnd);
        if (pszNext == nullptr ||
            SvrCaseEqual(pszNext + 1, static_cast<size_t>(pszEnd - pszNext - 1), pszExt, strlen(pszExt))) {
            return pszDot;
        }
        pszDot = pszNext;
    }
}

int32_t SvrSubGetLang(const char *pszName, char *pszOut, uint32_t u32OutSize, const char *pszExt) {
    SVR_RETURN_UNLESS(pszName != nullptr && pszOut != nullptr && pszExt != nullptr, __func__, "invalid param");
    const char *pszParams = strstr(pszName, "::offset=");
    const size_t uLen = pszParams != nullptr ? static_cast<size_t>(pszParams - pszName) : strlen(pszName);
    SVR_RETURN_UNLESS(uLen <= LANG_NAME_MAX_LEN, __func__, "fileUrl is too long");
    const char *pszEnd = pszName + uLen;
    const char *pszDot = LangNextDot(pszName, pszEnd);
    SVR_RETURN_UNLESS(pszDot != nullptr, __func__, "null");

    char aszTag[LANG_TAG_SIZE];
    size_t uTagLen = 0;
    for (const char *psz = LangOpeningDot(pszDot, pszEnd, pszExt) + 1; psz < pszEnd; psz++) {
        // A tag too long for the destination runs on over its dot.
        if (*psz == '.' && uTagLen + 1 < u32OutSize) {
            SVR_BOUNDED(__func__, memcpy_s(pszOut, u32OutSize, aszTag, uTagLen), "memcpy_s");
            return 0;
        }
        if (uTagLen < LANG_TAG_SIZE - 1) {
            aszTag[uTagLen++] = *psz;
        }
    }
    return -1;
}
