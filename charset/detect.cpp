// detect.cpp - a whole text into the code type it is written in: marks and validity first, then the hint, then
// statistics, then whatever reads least oddly.
#include "charset/charset_internal.h"

#include <uchardet.h>

#include <algorithm>
#include <cstring>

namespace {

constexpr int32_t SAMPLE_MAX = 0x10000; // bytes of lines that the statistics look at
constexpr int32_t BAD_PART = 100;       // a text decodes when at most one in so many of its high bytes is bad
constexpr int32_t BAD_PART_LAST = 8;    // the same when nothing decodes it properly
constexpr int32_t UTF8_PART = 16;       // and a damaged UTF-8 text has so many characters for a bad byte

struct CharsetGuess {
    int32_t s32CodeType;
    int32_t s32Source; // PELL_CHARSET_SOURCE_NONE: nothing found
};

// How a text reads in some code type.
struct CharsetReading {
    int32_t s32High; // bytes beyond ASCII in the sample
    int32_t s32Bad;  // what decodes to nothing, to a control character or to a private one
    int32_t s32Odd;  // what decodes, but hardly stands in such a place in any language
};

enum CharsetScript : uint8_t {
    CHARSET_SCRIPT_NONE, // blanks, digits, punctuation, East Asian characters: at home beside everything
    CHARSET_SCRIPT_SYMBOL,
    CHARSET_SCRIPT_LATIN,
    CHARSET_SCRIPT_GREEK,
    CHARSET_SCRIPT_CYRILLIC,
    CHARSET_SCRIPT_HEBREW,
    CHARSET_SCRIPT_ARABIC,
    CHARSET_SCRIPT_THAI
};
enum CharsetCase : uint8_t { CHARSET_CASE_NONE, CHARSET_CASE_LOWER, CHARSET_CASE_UPPER, CHARSET_CASE_MARK };

struct CharsetKind {
    CharsetScript eScript;
    CharsetCase eCase;
};

struct CharsetKindRange {
    uint16_t u16First;
    uint16_t u16Last;
    CharsetKind stKind;
    bool bPaired; // upper and lower case alternate, beginning with stKind's case
};

// What the supported code types contain, in order. What lies between is CHARSET_SCRIPT_NONE.
constexpr CharsetKindRange g_astKinds[] = {
    {'A', 'Z', {CHARSET_SCRIPT_LATIN, CHARSET_CASE_UPPER}, false},
    {'a', 'z', {CHARSET_SCRIPT_LATIN, CHARSET_CASE_LOWER}, false},
    {0xA2, 0xA6, {CHARSET_SCRIPT_SYMBOL, CHARSET_CASE_NONE}, false},
    {0xA8, 0xA8, {CHARSET_SCRIPT_SYMBOL, CHARSET_CASE_NONE}, false},
    {0xAC, 0xAC, {CHARSET_SCRIPT_SYMBOL, CHARSET_CASE_NONE}, false},
    {0xAF, 0xAF, {CHARSET_SCRIPT_SYMBOL, CHARSET_CASE_NONE}, false},
    {0xB1, 0xB3, {CHARSET_SCRIPT_SYMBOL, CHARSET_CASE_NONE}, false},
    {0xB5, 0xB6, {CHARSET_SCRIPT_SYMBOL, CHARSET_CASE_NONE}, false},
    {0xB8, 0xB9, {CHARSET_SCRIPT_SYMBOL, CHARSET_CASE_NONE}, false},
    {0xBC, 0xBE, {CHARSET_SCRIPT_SYMBOL, CHARSET_CASE_NONE}, false},
    {0xC0, 0xD6, {CHARSET_SCRIPT_LATIN, CHARSET_CASE_UPPER}, false},
    {0xD7, 0xD7, {CHARSET_SCRIPT_SYMBOL, CHARSET_CASE_NONE}, false},
    {0xD8, 0xDE, {CHARSET_SCRIPT_LATIN, CHARSET_CASE_UPPER}, false},
    {0xDF, 0xF6, {CHARSET_SCRIPT_LATIN, CHARSET_CASE_LOWER}, false},
    {0xF7, 0xF7, {CHARSET_SCRIPT_SYMBOL, CHARSET_CASE_NONE}, false},
    {0xF8, 0xFF, {CHARSET_SCRIPT_LATIN, CHARSET_CASE_LOWER}, false},
    {0x100, 0x138, {CHARSET_SCRIPT_LATIN, CHARSET_CASE_UPPER}, true},
    {0x139, 0x148, {CHARSET_SCRIPT_LATIN, CHARSET_CASE_UPPER}, true},
    {0x14A, 0x177, {CHARSET_SCRIPT_LATIN, CHARSET_CASE_UPPER}, true},
    {0x178, 0x178, {CHARSET_SCRIPT_LATIN, CHARSET_CASE_UPPER}, false},
    {0x179, 0x17E, {CHARSET_SCRIPT_LATIN, CHARSET_CASE_UPPER}, true},
    {0x192, 0x192, {CHARSET_SCRIPT_SYMBOL, CHARSET_CASE_NONE}, false},
    {0x1A0, 0x1A1, {CHARSET_SCRIPT_LATIN, CHARSET_CASE_UPPER}, true},
    {0x1AF, 0x1B0, {CHARSET_SCRIPT_LATIN, CHARSET_CASE_UPPER}, true},
    {0x218, 0x21B, {CHARSET_SCRIPT_LATIN, CHARSET_CASE_UPPER}, true},
    {0x2C6, 0x2DD, {CHARSET_SCRIPT_SYMBOL, CHARSET_CASE_NONE}, false},
    {0x384, 0x385, {CHARSET_SCRIPT_SYMBOL, CHARSET_CASE_NONE}, false},
    {0x386, 0x38F, {CHARSET_SCRIPT_GREEK, CHARSET_CASE_UPPER}, false},
    {0x390, 0x390, {CHARSET_SCRIPT_GREEK, CHARSET_CASE_LOWER}, false},
    {0x391, 0x3AB, {CHARSET_SCRIPT_GREEK, CHARSET_CASE_UPPER}, false},
    {0x3AC, 0x3CE, {CHARSET_SCRIPT_GREEK, CHARSET_CASE_LOWER}, false},
    {0x400, 0x42F, {CHARSET_SCRIPT_CYRILLIC, CHARSET_CASE_UPPER}, false},
    {0x430, 0x45F, {CHARSET_SCRIPT_CYRILLIC, CHARSET_CASE_LOWER}, false},
    {0x490, 0x491, {CHARSET_SCRIPT_CYRILLIC, CHARSET_CASE_UPPER}, true},
    {0x5B0, 0x5C4, {CHARSET_SCRIPT_HEBREW, CHARSET_CASE_MARK}, false},
    {0x5D0, 0x5F4, {CHARSET_SCRIPT_HEBREW, CHARSET_CASE_NONE}, false},
    {0x621, 0x64A, {CHARSET_SCRIPT_ARABIC, CHARSET_CASE_NONE}, false},
    {0x64B, 0x652, {CHARSET_SCRIPT_ARABIC, CHARSET_CASE_MARK}, false},
    {0x679, 0x6D2, {CHARSET_SCRIPT_ARABIC, CHARSET_CASE_NONE}, false},
    {0xE01, 0xE30, {CHARSET_SCRIPT_THAI, CHARSET_CASE_NONE}, false},
    {0xE31, 0xE31, {CHARSET_SCRIPT_THAI, CHARSET_CASE_MARK}, false},
    {0xE32, 0xE33, {CHARSET_SCRIPT_THAI, CHARSET_CASE_NONE}, false},
    {0xE34, 0xE3A, {CHARSET_SCRIPT_THAI, CHARSET_CASE_MARK}, false},
    {0xE40, 0xE46, {CHARSET_SCRIPT_THAI, CHARSET_CASE_NONE}, false},
    {0xE47, 0xE4E, {CHARSET_SCRIPT_THAI, CHARSET_CASE_MARK}, false},
    {0x1E00, 0x1EFF, {CHARSET_SCRIPT_LATIN, CHARSET_CASE_UPPER}, true},
    {0x2020, 0x2021, {CHARSET_SCRIPT_SYMBOL, CHARSET_CASE_NONE}, false},
    {0x2030, 0x2030, {CHARSET_SCRIPT_SYMBOL, CHARSET_CASE_NONE}, false},
    {0x20A0, 0x20BF, {CHARSET_SCRIPT_SYMBOL, CHARSET_CASE_NONE}, false},
    {0x2219, 0x2265, {CHARSET_SCRIPT_SYMBOL, CHARSET_CASE_NONE}, false},
    {0x2320, 0x2321, {CHARSET_SCRIPT_SYMBOL, CHARSET_CASE_NONE}, false},
};

// Two bytes at a time, the characters in daily use lie in these rows; seldom ones and other languages' texts do not.
struct CharsetRows {
    int32_t s32CodeType;
    uint8_t u8LeadFirst;
    uint8_t u8LeadLast;
    uint8_t u8TrailFirst;
};
constexpr CharsetRows g_astRows[] = {
    {PELL_CODE_WINDOWS_949, 0xB0, 0xC8, 0xA1}, // Hangul of KS X 1001
    {PELL_CODE_WINDOWS_936, 0xB0, 0xD7, 0xA1}, // level 1 of GB 2312
    {PELL_CODE_WINDOWS_950, 0xA4, 0xC6, 0x40}, // level 1 of Big5
    {PELL_CODE_WINDOWS_932, 0x82, 0x97, 0x40}, // kana and level 1 of JIS X 0208
    {PELL_CODE_EUC_JP, 0xA4, 0xCF, 0xA1},      // the same
};

// The order breaks ties. Two-byte types first, for hardly any other text has all its bytes in their rows, and the
// narrower rows before those that contain them; then the wider spread single-byte types.
constexpr int32_t g_as32Fallbacks[] = {
    PELL_CODE_WINDOWS_949,  PELL_CODE_WINDOWS_936,  PELL_CODE_WINDOWS_950,  PELL_CODE_WINDOWS_932,
    PELL_CODE_EUC_JP,       PELL_CODE_WINDOWS_1252, PELL_CODE_WINDOWS_1251, PELL_CODE_WINDOWS_1250,
    PELL_CODE_WINDOWS_1254, PELL_CODE_WINDOWS_1253, PELL_CODE_WINDOWS_1256, PELL_CODE_WINDOWS_1255,
    PELL_CODE_WINDOWS_874,  PELL_CODE_WINDOWS_1258, PELL_CODE_WINDOWS_1257, PELL_CODE_ISO_8859_2,
    PELL_CODE_KOI8_R,       PELL_CODE_KOI8_U,       PELL_CODE_IBM866,       PELL_CODE_ISO_8859_5,
    PELL_CODE_ISO_8859_7,   PELL_CODE_ISO_8859_15,
};

// What uchardet calls by the name of a subset. Its other names are in PellCharsetFromName, or are not ours.
struct CharsetSuperset {
    const char *pszName;
    int32_t s32CodeType;
};
constexpr CharsetSuperset g_astSupersets[] = {
    {"ISO-8859-1", PELL_CODE_WINDOWS_1252},
    {"ISO-8859-9", PELL_CODE_WINDOWS_1254},
    {"EUC-KR", PELL_CODE_WINDOWS_949},
};

CharsetKind CharsetKindOf(uint32_t u32Point) {
    for (const CharsetKindRange &stRange : g_astKinds) {
        if (u32Point > stRange.u16Last) {
            continue;
        }
        if (u32Point < stRange.u16First) {
            break;
        }
        CharsetKind stKind = stRange.stKind;
        if (stRange.bPaired && ((u32Point - stRange.u16First) & 1) != 0) {
            stKind.eCase = CHARSET_CASE_LOWER;
        }
        return stKind;
    }
    return {CHARSET_SCRIPT_NONE, CHARSET_CASE_NONE};
}

bool CharsetIsBad(uint32_t u32Point) {
    bool bControl = u32Point < 0x20 || (u32Point >= 0x7F && u32Point < 0xA0);
    bool bBlank = u32Point >= '\t' && u32Point <= '\r';
    return (bControl && !bBlank) || u32Point == 0xFFFD || (u32Point >= 0xE000 && u32Point < 0xF900) ||
           (u32Point & 0xFFFE) == 0xFFFE;
}

// Box drawing, half-width katakana: text in the wrong single-byte or two-byte type is full of them.
bool CharsetIsOddAnywhere(uint32_t u32Point) {
    return (u32Point >= 0x2500 && u32Point < 0x25A0) || (u32Point >= 0xFF61 && u32Point < 0xFFA0);
}

// The letters just read, for CharsetIsOddNext.
struct CharsetContext {
    uint32_t u32Last;
    CharsetKind stLast;
    int32_t s32LatinRun; // Latin letters beyond ASCII in a row
};

// Whether a character hardly follows the one before it: a change of script or from small to capital letters inside a
// word, a symbol stuck to a word, a combining mark without its letter, or more than two accented letters in a row.
// Pure ASCII is never odd.
bool CharsetIsOddNext(CharsetContext *pstContext, uint32_t u32Point) {
    CharsetKind stLast = pstContext->stLast;
    CharsetKind stKind = CharsetKindOf(u32Point);
    bool bAscii = u32Point < 0x80 && pstContext->u32Last < 0x80;
    bool bLetterLast = stLast.eScript > CHARSET_SCRIPT_SYMBOL;
    pstContext->s32LatinRun =
        stKind.eScript == CHARSET_SCRIPT_LATIN && u32Point >= 0x80 ? pstContext->s32LatinRun + 1 : 0;
    pstContext->u32Last = u32Point;
    pstContext->stLast = stKind;
    if (bAscii || stKind.eScript == CHARSET_SCRIPT_NONE) {
        return false;
    }
    return (stKind.eCase == CHARSET_CASE_MARK && stLast.eScript != stKind.eScript) ||
           (bLetterLast && stLast.eScript != stKind.eScript) ||
           (stLast.eCase == CHARSET_CASE_LOWER && stKind.eCase == CHARSET_CASE_UPPER) || pstContext->s32LatinRun > 2;
}

// The next line of [*ppu8Text, pu8End) with a byte beyond ASCII; steps past it. Its length, 0 when there is none.
int32_t CharsetNextLine(const uint8_t **ppu8Text, const uint8_t *pu8End, const uint8_t **ppu8Line) {
    const uint8_t *pu8Line = CharsetSkipAscii(*ppu8Text, pu8End);
    if (pu8Line == pu8End) {
        return 0;
    }
    const void *pvLineEnd = memchr(pu8Line, '\n', static_cast<size_t>(pu8End - pu8Line));
    while (pu8Line > *ppu8Text && pu8Line[-1] != '\n') {
        pu8Line--;
    }
    *ppu8Line = pu8Line;
    *ppu8Text = pvLineEnd != nullptr ? static_cast<const uint8_t *>(pvLineEnd) + 1 : pu8End;
    return static_cast<int32_t>(*ppu8Text - pu8Line);
}

// Bytes of the two-byte characters in a line that lie outside the rows in daily use; signs (lead bytes A1 to A3, or 81
// in Windows-932) count as daily.
int32_t CharsetSeldomBytes(const CharsetRows &stRows, const uint8_t *pu8Line, int32_t s32Len) {
    bool bShifted = stRows.s32CodeType == PELL_CODE_WINDOWS_932;
    int32_t s32Seldom = 0;
    for (int32_t i = 0; i + 1 < s32Len; i++) {
        uint8_t u8Lead = pu8Line[i];
        if (u8Lead < 0x80 || (bShifted && u8Lead >= 0xA0 && u8Lead < 0xE0)) {
            continue;
        }
        bool bSign = bShifted ? u8Lead == 0x81 : u8Lead >= 0xA1 && u8Lead <= 0xA3;
        bool bDaily = u8Lead >= stRows.u8LeadFirst && u8Lead <= stRows.u8LeadLast;
        s32Seldom += (bSign || bDaily) && pu8Line[i + 1] >= (bSign ? 0x40 : stRows.u8TrailFirst) ? 0 : 2;
        i++;
    }
    return s32Seldom;
}

// Adds a line, decoded in pieces, to the reading.
int32_t CharsetReadLine(CharsetInstance *pstInstance, const CharsetType *pstType, const uint8_t *pu8Line,
                        int32_t s32Len, CharsetReading *pstReading) {
    uint8_t au8Wide[1024];
    CharsetContext stContext = {};
    const CharsetType *pstWide = CharsetFind(PELL_CODE_UTF32LE);
    for (int32_t s32Used = 0; s32Len > 0; pu8Line += s32Used, s32Len -= s32Used) {
        int32_t s32WideLen = sizeof(au8Wide);
        if (CharsetConvert(pstInstance, au8Wide, &s32WideLen, pu8Line, s32Len, pstType, pstWide, &s32Used) != 0) {
            return -1;
        }
        if (s32Used == 0) {
            pstReading->s32Bad++; // cut off
            break;
        }
        for (int32_t i = 0; i < s32WideLen; i += 4) {
            uint32_t u32Point =
                au8Wide[i] | static_cast<uint32_t>(au8Wide[i + 1] << 8) | static_cast<uint32_t>(au8Wide[i + 2] << 16);
            bool bOddNext = CharsetIsOddNext(&stContext, u32Point);
            if (CharsetIsBad(u32Point)) {
                pstReading->s32Bad++;
            } else if (bOddNext || CharsetIsOddAnywhere(u32Point)) {
                pstReading->s32Odd++;
            }
        }
    }
    return 0;
}

// Reads the lines beyond ASCII, up to SAMPLE_MAX bytes of them. -1 when the conversion does not exist.
int32_t CharsetRead(CharsetInstance *pstInstance, int32_t s32CodeType, const uint8_t *pu8Text, int32_t s32Len,
                    CharsetReading *pstReading) {
    const CharsetType *pstType = CharsetFind(s32CodeType);
    const uint8_t *pu8End = pu8Text + s32Len;
    const uint8_t *pu8Line = nullptr;
    int32_t s32Room = SAMPLE_MAX;
    *pstReading = {};
    while (s32Room > 0 && (s32Len = CharsetNextLine(&pu8Text, pu8End, &pu8Line)) != 0) {
        s32Len = std::min(s32Len, s32Room);
        s32Room -= s32Len;
        for (int32_t i = 0; i < s32Len; i++) {
            pstReading->s32High += pu8Line[i] >> 7;
        }
        for (const CharsetRows &stRows : g_astRows) {
            pstReading->s32Odd += stRows.s32CodeType == s32CodeType ? CharsetSeldomBytes(stRows, pu8Line, s32Len) : 0;
        }
        if (CharsetReadLine(pstInstance, pstType, pu8Line, s32Len, pstReading) != 0) {
            return -1;
        }
    }
    return 0;
}

bool CharsetDecodes(CharsetInstance *pstInstance, int32_t s32CodeType, const uint8_t *pu8Text, int32_t s32Len) {
    CharsetReading stReading;
    return CharsetRead(pstInstance, s32CodeType, pu8Text, s32Len, &stReading) == 0 &&
           stReading.s32Bad <= stReading.s32High / BAD_PART;
}

CharsetGuess CharsetByMark(const uint8_t *pu8Text, int32_t s32Len) {
    static constexpr struct {
        uint8_t au8Mark[4];
        int32_t s32Len;
        int32_t s32CodeType;
    } astMarks[] = {
        {{0xFF, 0xFE, 0x00, 0x00}, 4, PELL_CODE_UTF32LE}, // before the mark that it begins with
        {{0x00, 0x00, 0xFE, 0xFF}, 4, PELL_CODE_UTF32BE},
        {{0xEF, 0xBB, 0xBF}, 3, PELL_CODE_UTF8},
        {{0xFF, 0xFE}, 2, PELL_CODE_UTF16LE},
        {{0xFE, 0xFF}, 2, PELL_CODE_UTF16BE},
    };
    for (const auto &stMark : astMarks) {
        if (s32Len >= stMark.s32Len && memcmp(pu8Text, stMark.au8Mark, static_cast<size_t>(stMark.s32Len)) == 0) {
            return {stMark.s32CodeType, PELL_CHARSET_SOURCE_BOM};
        }
    }
    return {PELL_CODE_UNKNOWN, PELL_CHARSET_SOURCE_NONE};
}

// UTF-16 without a mark: subtitles are full of digits and line ends, whose upper byte is zero, and hold no U+0000. So
// a quarter of the bytes on one side is zero, and next to none on the other: a few characters such as U+3000 end in
// a zero byte.
CharsetGuess CharsetByZeros(const uint8_t *pu8Text, int32_t s32Len) {
    int32_t as32Zeros[2] = {0, 0};
    int32_t s32Units = s32Len / 2;
    for (int32_t i = 0; i < s32Units * 2; i++) {
        as32Zeros[i & 1] += pu8Text[i] == 0 ? 1 : 0;
    }
    int32_t s32Upper = as32Zeros[1] > as32Zeros[0] ? 1 : 0;
    if (s32Units < 4 || as32Zeros[s32Upper] < s32Units / 4 || as32Zeros[1 - s32Upper] > as32Zeros[s32Upper] / 16) {
        return {PELL_CODE_UNKNOWN, PELL_CHARSET_SOURCE_NONE};
    }
    return {s32Upper == 1 ? PELL_CODE_UTF16LE : PELL_CODE_UTF16BE, PELL_CHARSET_SOURCE_STATISTICS};
}

// A hint is taken when it decodes the text. Wide types decode nearly everything, but no text of theirs is without a
// zero byte.
CharsetGuess CharsetByHint(CharsetInstance *pstInstance, const uint8_t *pu8Text, int32_t s32Len, int32_t s32Hint) {
    const CharsetType *pstHint = CharsetFind(s32Hint);
    if (pstHint == nullptr ||
        (pstHint->eLayout == CHARSET_LAYOUT_WIDE && memchr(pu8Text, 0, static_cast<size_t>(s32Len)) == nullptr) ||
        !CharsetDecodes(pstInstance, s32Hint, pu8Text, s32Len)) {
        return {PELL_CODE_UNKNOWN, PELL_CHARSET_SOURCE_NONE};
    }
    return {s32Hint, PELL_CHARSET_SOURCE_HINT};
}

// Deletes the detector whichever way its function ends.
struct CharsetDetector {
    uchardet_t hDetector;
    ~CharsetDetector() {
        uchardet_delete(hDetector);
    }
};

CharsetGuess CharsetByStatistics(CharsetInstance *pstInstance, const uint8_t *pu8Text, int32_t s32Len) {
    CharsetDetector stDetector = {uchardet_new()};
    const uint8_t *pu8At = pu8Text;
    const uint8_t *pu8Line = nullptr;
    int32_t s32Room = SAMPLE_MAX;
    for (int32_t s32LineLen; s32Room > 0 && (s32LineLen = CharsetNextLine(&pu8At, pu8Text + s32Len, &pu8Line)) != 0;) {
        s32LineLen = std::min(s32LineLen, s32Room);
        s32Room -= s32LineLen;
        uchardet_handle_data(stDetector.hDetector, reinterpret_cast<const char *>(pu8Line),
                             static_cast<size_t>(s32LineLen));
    }
    uchardet_data_end(stDetector.hDetector);
    const char *pszName = uchardet_get_charset(stDetector.hDetector);
    int32_t s32CodeType = PellCharsetFromName(pszName);
    for (const CharsetSuperset &stSuperset : g_astSupersets) {
        s32CodeType = strcmp(stSuperset.pszName, pszName) == 0 ? stSuperset.s32CodeType : s32CodeType;
    }
    if (s32CodeType == PELL_CODE_UNKNOWN || !CharsetDecodes(pstInstance, s32CodeType, pu8Text, s32Len)) {
        return {PELL_CODE_UNKNOWN, PELL_CHARSET_SOURCE_NONE};
    }
    return {s32CodeType, PELL_CHARSET_SOURCE_STATISTICS};
}

// The code type that reads least oddly, s32Not left out.
CharsetGuess CharsetByReading(CharsetInstance *pstInstance, const uint8_t *pu8Text, int32_t s32Len, int32_t s32Not) {
    CharsetGuess stBest = {PELL_CODE_UNKNOWN, PELL_CHARSET_SOURCE_NONE};
    int32_t s32Least = INT32_MAX;
    for (int32_t s32CodeType : g_as32Fallbacks) {
        CharsetReading stReading;
        if (s32CodeType == s32Not || CharsetRead(pstInstance, s32CodeType, pu8Text, s32Len, &stReading) != 0 ||
            stReading.s32Bad > stReading.s32High / BAD_PART_LAST) {
            continue;
        }
        int32_t s32Cost = stReading.s32Odd + 4 * stReading.s32Bad;
        if (s32Cost < s32Least) {
            s32Least = s32Cost;
            stBest = {s32CodeType, PELL_CHARSET_SOURCE_FALLBACK};
        }
    }
    return stBest;
}

// What neither marks nor validity decide.
CharsetGuess CharsetDoubtful(CharsetInstance *pstInstance, const uint8_t *pu8Text, int32_t s32Len, int32_t s32Hint,
                             const CharsetUtf8Count &stCount) {
    CharsetGuess stGuess = CharsetByHint(pstInstance, pu8Text, s32Len, s32Hint);
    if (stGuess.s32Source == PELL_CHARSET_SOURCE_NONE && stCount.s32Valid / UTF8_PART >= stCount.s32Invalid &&
        stCount.s32Valid != 0) {
        stGuess = {PELL_CODE_UTF8, PELL_CHARSET_SOURCE_STATISTICS}; // with a few bytes damaged
    }
    if (stGuess.s32Source == PELL_CHARSET_SOURCE_NONE) {
        stGuess = CharsetByStatistics(pstInstance, pu8Text, s32Len);
    }
    if (stGuess.s32Source == PELL_CHARSET_SOURCE_NONE) {
        stGuess = CharsetByReading(pstInstance, pu8Text, s32Len, PELL_CODE_UNKNOWN);
    }
    return stGuess;
}

// Another type than the first guess. Plain ASCII is as much Windows-1252 as anything.
CharsetGuess CharsetSecond(CharsetInstance *pstInstance, const uint8_t *pu8Text, int32_t s32Len,
                           const CharsetGuess &stFirst) {
    if (stFirst.s32Source == PELL_CHARSET_SOURCE_ASCII) {
        return {PELL_CODE_WINDOWS_1252, PELL_CHARSET_SOURCE_FALLBACK};
    }
    CharsetGuess stSecond = CharsetByReading(pstInstance, pu8Text, s32Len, stFirst.s32CodeType);
    return stSecond.s32Source != PELL_CHARSET_SOURCE_NONE ? stSecond : stFirst;
}

} // namespace

int32_t CharsetIdentify(CharsetInstance *pstInstance, const uint8_t *pu8Text, int32_t s32Len, int32_t s32Hint,
                        int32_t *ps32CodeType) {
    CharsetGuess stGuess = CharsetByMark(pu8Text, s32Len);
    if (stGuess.s32Source == PELL_CHARSET_SOURCE_NONE) {
        stGuess = CharsetByZeros(pu8Text, s32Len);
    }
    if (stGuess.s32Source == PELL_CHARSET_SOURCE_NONE) {
        CharsetUtf8Count stCount = CharsetCountUtf8(pu8Text, s32Len);
        if (CharsetIsUtf8(stCount)) {
            stGuess = {PELL_CODE_UTF8, PELL_CHARSET_SOURCE_UTF8};
        } else if (stCount.s32Valid == 0 && stCount.s32Invalid == 0 && !stCount.bCut) {
            stGuess = {PELL_CODE_UTF8, PELL_CHARSET_SOURCE_ASCII};
        } else {
            stGuess = CharsetDoubtful(pstInstance, pu8Text, s32Len, s32Hint, stCount);
        }
        if (s32Hint == PELL_CHARSET_HINT_NEXT) {
            stGuess = CharsetSecond(pstInstance, pu8Text, s32Len, stGuess);
        }
    }
    if (stGuess.s32Source == PELL_CHARSET_SOURCE_NONE) {
        return -1;
    }
    *ps32CodeType = stGuess.s32CodeType;
    pstInstance->s32LastSource = stGuess.s32Source;
    return 0;
}
