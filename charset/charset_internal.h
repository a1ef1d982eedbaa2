// charset_internal.h - what the parts of the converter share: the table of code types, the instance, the conversion
// that both the convert slot and the detector run.
#ifndef PELL_CHARSET_INTERNAL_H
#define PELL_CHARSET_INTERNAL_H

#include "charset/pell_charset.h"

#include <iconv.h>

// How a code type lays out its characters.
enum CharsetLayout : uint8_t {
    CHARSET_LAYOUT_WIDE,   // code units of two or four bytes
    CHARSET_LAYOUT_UTF8,   // one to four bytes each, the lower half ASCII
    CHARSET_LAYOUT_SINGLE, // one byte each, the lower half ASCII
    CHARSET_LAYOUT_MULTI   // one to four bytes each; single bytes below 128 are ASCII, later bytes may look like it
};

struct CharsetType {
    int32_t s32CodeType;
    const char *pszName;
    const char *pszIconv;
    CharsetLayout eLayout;
    uint8_t u8Unit;            // bytes skipped when no character begins here
    uint8_t u8ReplacementSize; // bytes at au8Replacement
    uint8_t au8Replacement[4]; // U+FFFD, or '?' where the code type lacks it
};

constexpr int32_t CHARSET_HANDLE_NUM = 6;

struct CharsetHandle {
    iconv_t hIconv;
    const CharsetType *pstSrc;
    const CharsetType *pstDst;
    uint32_t u32LastUse; // 0: empty
};

struct CharsetInstance {
    CharsetHandle astHandle[CHARSET_HANDLE_NUM];
    uint32_t u32Clock;
    int32_t s32LastSource;
};

// The row of a code type, null when there is none.
const CharsetType *CharsetFind(int32_t s32CodeType);

// Bytes of the UTF-8 character at [pu8In, pu8End), which is not empty: 0 when the input ends inside it, -1 when none
// begins here. Strict: shortest forms only, no surrogates, nothing above U+10FFFF.
int32_t CharsetUtf8Length(const uint8_t *pu8In, const uint8_t *pu8End);

// The first byte at or after pu8In that is not ASCII, or pu8End.
const uint8_t *CharsetSkipAscii(const uint8_t *pu8In, const uint8_t *pu8End);

struct CharsetUtf8Count {
    int32_t s32Valid;   // characters of two bytes and more
    int32_t s32Invalid; // bytes that begin no character
    bool bCut;          // the text ends inside a character
};
CharsetUtf8Count CharsetCountUtf8(const uint8_t *pu8In, int32_t s32InLen);

// A text that is UTF-8 and not plain ASCII. A cut last character needs a whole one before it: alone it is as likely
// the last accent of a Latin-1 text.
bool CharsetIsUtf8(const CharsetUtf8Count &stCount);

// The convert slot with rows in place of numbers and its arguments checked.
int32_t CharsetConvert(CharsetInstance *pstInstance, uint8_t *pu8Out, int32_t *ps32OutLen, const uint8_t *pu8In,
                       int32_t s32InLen, const CharsetType *pstSrc, const CharsetType *pstDst, int32_t *ps32Used);

// The getCodeType slot with its arguments checked. May throw what uchardet throws.
int32_t CharsetIdentify(CharsetInstance *pstInstance, const uint8_t *pu8Text, int32_t s32Len, int32_t s32Hint,
                        int32_t *ps32CodeType);

#endif
