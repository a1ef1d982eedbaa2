// Bounds-checked copies, fills and formatting.
#include "platform/bounded/bounded.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

static bool BoundedUsable(const void *pvDst, rsize_t uDstSize) {
    return pvDst != nullptr && uDstSize <= BOUNDED_SIZE_MAX;
}

static int BoundedMemFail(void *pvDst, rsize_t uDstSize, int s32Errno) {
    if (BoundedUsable(pvDst, uDstSize)) {
        memset(pvDst, 0, uDstSize);
    }
    return s32Errno;
}

static bool BoundedOverlap(const void *pvLeft, const void *pvRight, rsize_t uCount) {
    const uintptr_t uLeft = reinterpret_cast<uintptr_t>(pvLeft);
    const uintptr_t uRight = reinterpret_cast<uintptr_t>(pvRight);
    return uLeft < uRight ? uRight - uLeft < uCount : uLeft - uRight < uCount;
}

int memcpy_s(void *pvDst, rsize_t uDstSize, const void *pvSrc, rsize_t uCount) {
    if (!BoundedUsable(pvDst, uDstSize) || pvSrc == nullptr) {
        return BoundedMemFail(pvDst, uDstSize, EINVAL);
    }
    if (uCount > uDstSize) {
        return BoundedMemFail(pvDst, uDstSize, ERANGE);
    }
    if (BoundedOverlap(pvDst, pvSrc, uCount)) {
        return BoundedMemFail(pvDst, uDstSize, EINVAL);
    }
    memcpy(pvDst, pvSrc, uCount);
    return 0;
}

int memmove_s(void *pvDst, rsize_t uDstSize, const void *pvSrc, rsize_t uCount) {
    if (!BoundedUsable(pvDst, uDstSize) || pvSrc == nullptr) {
        return BoundedMemFail(pvDst, uDstSize, EINVAL);
    }
    if (uCount > uDstSize) {
        return BoundedMemFail(pvDst, uDstSize, ERANGE);
    }
    memmove(pvDst, pvSrc, uCount);
    return 0;
}

int memset_s(void *pvDst, rsize_t uDstSize, int s32Value, rsize_t uCount) {
    if (!BoundedUsable(pvDst, uDstSize)) {
        return EINVAL;
    }
    memset(pvDst, s32Value, uCount > uDstSize ? uDstSize : uCount);
    return uCount > uDstSize ? ERANGE : 0;
}

static int BoundedStrFail(char *pszDst, rsize_t uDstSize, int s32Errno) {
    if (BoundedUsable(pszDst, uDstSize) && uDstSize > 0) {
        pszDst[0] = '\0';
    }
    return s32Errno;
}

// Appends at pszDst + uUsed; the shared body of copy and concatenation.
static int BoundedStrPut(char *pszDst, rsize_t uDstSize, rsize_t uUsed, const char *pszSrc, rsize_t uCount) {
    if (pszSrc == nullptr || uCount > BOUNDED_SIZE_MAX) {
        return BoundedStrFail(pszDst, uDstSize, EINVAL);
    }
    const rsize_t uRoom = uDstSize - uUsed;
    const rsize_t uLen = strnlen(pszSrc, uCount < uRoom ? uCount : uRoom);
    if (uLen >= uRoom) {
        return BoundedStrFail(pszDst, uDstSize, ERANGE);
    }
    if (BoundedOverlap(pszDst + uUsed, pszSrc, uLen + 1)) {
        return BoundedStrFail(pszDst, uDstSize, EINVAL);
    }
    memcpy(pszDst + uUsed, pszSrc, uLen);
    pszDst[uUsed + uLen] = '\0';
    return 0;
}

int strncpy_s(char *pszDst, rsize_t uDstSize, const char *pszSrc, rsize_t uCount) {
    if (!BoundedUsable(pszDst, uDstSize) || uDstSize == 0) {
        return EINVAL;
    }
    return BoundedStrPut(pszDst, uDstSize, 0, pszSrc, uCount);
}

int strncat_s(char *pszDst, rsize_t uDstSize, const char *pszSrc, rsize_t uCount) {
    if (!BoundedUsable(pszDst, uDstSize) || uDstSize == 0) {
        return EINVAL;
    }
    const rsize_t uUsed = strnlen(pszDst, uDstSize);
    if (uUsed == uDstSize) {
        return BoundedStrFail(pszDst, uDstSize, EINVAL);
    }
    return BoundedStrPut(pszDst, uDstSize, uUsed, pszSrc, uCount);
}

int snprintf_s(char *pszDst, rsize_t uDstSize, const char *pszFormat, ...) {
    if (!BoundedUsable(pszDst, uDstSize) || uDstSize == 0) {
        return -1;
    }
    if (pszFormat == nullptr) {
        pszDst[0] = '\0';
        return -1;
    }
    va_list args;
    va_start(args, pszFormat);
    const int s32Len = vsnprintf(pszDst, uDstSize, pszFormat, args);
    va_end(args);
    if (s32Len < 0) {
        pszDst[0] = '\0';
    }
    return s32Len;
}
