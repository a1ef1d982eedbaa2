// The bounds-checked memory and string functions of C11 Annex K, for C libraries that lack them. A violated constraint
// never reaches past the destination; what it leaves there and returns is Annex K's rule, given at each function. There
// is no constraint handler: the result is the report. Null pointers among a format's arguments, and %n, are not looked
// for.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>

using rsize_t = size_t;

// Larger sizes are taken for negative numbers gone astray.
constexpr rsize_t BOUNDED_SIZE_MAX = SIZE_MAX >> 1;

// 0, or an errno value. On a violation the whole destination is zeroed, when it and its size are usable.
int memcpy_s(void *pvDst, rsize_t uDstSize, const void *pvSrc, rsize_t uCount);
int memmove_s(void *pvDst, rsize_t uDstSize, const void *pvSrc, rsize_t uCount);

// 0, or an errno value. On a violation the value is stored into the whole destination, when it and its size are usable.
int memset_s(void *pvDst, rsize_t uDstSize, int s32Value, rsize_t uCount);

// 0, or an errno value. At most uCount characters and a terminator; on a violation (no room for both) the destination
// becomes the empty string.
int strncpy_s(char *pszDst, rsize_t uDstSize, const char *pszSrc, rsize_t uCount);
int strncat_s(char *pszDst, rsize_t uDstSize, const char *pszSrc, rsize_t uCount);

// The length the whole text has, also when it was cut to fit; negative on a violation, with an empty destination.
int snprintf_s(char *pszDst, rsize_t uDstSize, const char *pszFormat, ...) __attribute__((format(printf, 3, 4)));

// Formatted input: the number of stored conversions, or -1 when the input ends before the first one, or on a violation.
// Understands literals, blanks, and %d %x %f %c %s %[ with '*', widths, and ll before d and x; any other directive ends
// the scan. As in Annex K, c, s and [ take a size (rsize_t) after their pointer and fail when the text does not fit.
// Whole numbers that leave their type's range stop at its limit; %f (float *) reads what strtof reads, with a point
// under every locale.
int sscanf_s(const char *pszText, const char *pszFormat, ...);
