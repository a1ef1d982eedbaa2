/*
 * pell_charset.h - libpell_charset.so: turns text of any supported character set into any other, and names the
 * character set that a text is written in.
 *
 * A host hands g_charsetOps to the plug-in (INVOKE_SET_CHARSET_OPS). An instance is used by one thread at a time;
 * instances are independent of each other. Nothing here looks at the locale.
 */
#ifndef PELL_CHARSET_H
#define PELL_CHARSET_H

#include "format/pell_format.h"

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Code types: the numbers stay the same for good. 2 to 9 are Unicode, 101 to 119 the parts of ISO 8859, 121 to 129
 * the KOI8 family, 131 to 139 the EUC family. Code pages have their own page number.
 */
enum PellCodeType {
    PELL_CODE_UNKNOWN = 0,
    PELL_CODE_UTF8 = 2,
    PELL_CODE_UTF16LE = 3,
    PELL_CODE_UTF16BE = 4,
    PELL_CODE_UTF32LE = 5,
    PELL_CODE_UTF32BE = 6,
    PELL_CODE_ISO_8859_1 = 101,
    PELL_CODE_ISO_8859_2 = 102,
    PELL_CODE_ISO_8859_5 = 105,
    PELL_CODE_ISO_8859_7 = 107,
    PELL_CODE_ISO_8859_9 = 109,
    PELL_CODE_ISO_8859_15 = 115,
    PELL_CODE_KOI8_R = 121,
    PELL_CODE_KOI8_U = 122,
    PELL_CODE_EUC_JP = 131,
    PELL_CODE_EUC_KR = 132,
    PELL_CODE_IBM866 = 866,
    PELL_CODE_WINDOWS_874 = 874,
    PELL_CODE_WINDOWS_932 = 932,
    PELL_CODE_WINDOWS_936 = 936, /* converted as GB18030, which contains it */
    PELL_CODE_WINDOWS_949 = 949,
    PELL_CODE_WINDOWS_950 = 950,
    PELL_CODE_WINDOWS_1250 = 1250,
    PELL_CODE_WINDOWS_1251 = 1251,
    PELL_CODE_WINDOWS_1252 = 1252,
    PELL_CODE_WINDOWS_1253 = 1253,
    PELL_CODE_WINDOWS_1254 = 1254,
    PELL_CODE_WINDOWS_1255 = 1255,
    PELL_CODE_WINDOWS_1256 = 1256,
    PELL_CODE_WINDOWS_1257 = 1257,
    PELL_CODE_WINDOWS_1258 = 1258
};

/* A hint for getCodeType that is not a code type: asks for the next best guess. */
#define PELL_CHARSET_HINT_NEXT 0x123456

/* What the last getCodeType of an instance went by. */
enum PellCharsetSource {
    PELL_CHARSET_SOURCE_NONE = 0,       /* nothing asked yet, or nothing found */
    PELL_CHARSET_SOURCE_BOM = 1,        /* a byte-order mark */
    PELL_CHARSET_SOURCE_UTF8 = 2,       /* not all ASCII, and valid UTF-8 from beginning to end */
    PELL_CHARSET_SOURCE_ASCII = 3,      /* bytes below 128 only; the code type is PELL_CODE_UTF8 */
    PELL_CHARSET_SOURCE_STATISTICS = 4, /* the frequencies of its bytes */
    PELL_CHARSET_SOURCE_HINT = 5,       /* the caller's hint, in a case left open by the first three */
    PELL_CHARSET_SOURCE_FALLBACK = 6    /* the least implausible of the code types that decode the text */
};

/*
 * The converter.
 *
 * create         0, or -1 without memory. The second argument is not read.
 * getCodeType    0 and *ps32CodeType set; -1 for bad arguments or when no code type decodes the text. Byte-order
 *                marks decide, then zero bytes in the manner of UTF-16, then valid UTF-8. After those a hint that is
 *                a code type and decodes the text settles it, else the statistics do. PELL_CHARSET_HINT_NEXT gives
 *                another type than hint 0 would, except for text whose mark or zero bytes leave no other.
 * convert        0; -1 for bad arguments, a code type that is not known, or a conversion that cannot be opened, with
 *                nothing written and the capacity left as it was. Lengths are bytes. A character cut off at the end
 *                of the input, or with no room left in the output, is not consumed. A byte that begins no character
 *                becomes U+FFFD, and so does a character that the destination lacks; '?' stands in where the
 *                destination lacks U+FFFD too. Byte-order marks are characters like others. Source 0 is UTF-8 when
 *                the text is valid UTF-8, Windows-1252 otherwise; destination 0 is UTF-8.
 * destroy        takes null.
 * getStreamType  0; -1 for a null pointer.
 */
extern PELL_API const CharsetOps g_charsetOps;

/* The usual name of a code type: static, upper case. Null for 0 and for numbers that are not code types. */
PELL_API const char *PellCharsetName(int32_t s32CodeType);

/* The code type of a name or a common alias, 0 when there is none. Case, '-', '_' and blanks are ignored. */
PELL_API int32_t PellCharsetFromName(const char *pszName);

/* The code types in the order of their numbers: n counts from 0; 0 comes back when there is no n-th. */
PELL_API int32_t PellCharsetAt(int32_t s32Index);

/* enum PellCharsetSource of the instance's last getCodeType. NONE for null. */
PELL_API int32_t PellCharsetLastSource(const void *hCharset);

#ifdef __cplusplus
}
#endif

#endif
