// code_types.cpp - code type numbers into rows and names, and names and their aliases into code type numbers.
#include "charset/charset_internal.h"

#include <cstring>

namespace {

constexpr size_t CHARSET_NAME_SIZE = 32;

#define CHARSET_UTF8(number, name)                                                                                     \
    {                                                                                                                  \
        number, name, name, CHARSET_LAYOUT_UTF8, 1, 3, {                                                               \
            0xEF, 0xBF, 0xBD                                                                                           \
        }                                                                                                              \
    }
#define CHARSET_SINGLE(number, name, iconv)                                                                            \
    {                                                                                                                  \
        number, name, iconv, CHARSET_LAYOUT_SINGLE, 1, 1, {                                                            \
            '?'                                                                                                        \
        }                                                                                                              \
    }
#define CHARSET_MULTI(number, name, iconv)                                                                             \
    {                                                                                                                  \
        number, name, iconv, CHARSET_LAYOUT_MULTI, 1, 1, {                                                             \
            '?'                                                                                                        \
        }                                                                                                              \
    }

// By number: PellCharsetAt gives them in this order.
constexpr CharsetType g_astTypes[] = {
    CHARSET_UTF8(PELL_CODE_UTF8, "UTF-8"),
    {PELL_CODE_UTF16LE, "UTF-16LE", "UTF-16LE", CHARSET_LAYOUT_WIDE, 2, 2, {0xFD, 0xFF}},
    {PELL_CODE_UTF16BE, "UTF-16BE", "UTF-16BE", CHARSET_LAYOUT_WIDE, 2, 2, {0xFF, 0xFD}},
    {PELL_CODE_UTF32LE, "UTF-32LE", "UTF-32LE", CHARSET_LAYOUT_WIDE, 4, 4, {0xFD, 0xFF, 0x00, 0x00}},
    {PELL_CODE_UTF32BE, "UTF-32BE", "UTF-32BE", CHARSET_LAYOUT_WIDE, 4, 4, {0x00, 0x00, 0xFF, 0xFD}},
    CHARSET_SINGLE(PELL_CODE_ISO_8859_1, "ISO-8859-1", "ISO-8859-1"),
    CHARSET_SINGLE(PELL_CODE_ISO_8859_2, "ISO-8859-2", "ISO-8859-2"),
    CHARSET_SINGLE(PELL_CODE_ISO_8859_5, "ISO-8859-5", "ISO-8859-5"),
    CHARSET_SINGLE(PELL_CODE_ISO_8859_7, "ISO-8859-7", "ISO-8859-7"),
    CHARSET_SINGLE(PELL_CODE_ISO_8859_9, "ISO-8859-9", "ISO-8859-9"),
    CHARSET_SINGLE(PELL_CODE_ISO_8859_15, "ISO-8859-15", "ISO-8859-15"),
    CHARSET_SINGLE(PELL_CODE_KOI8_R, "KOI8-R", "KOI8-R"),
    CHARSET_SINGLE(PELL_CODE_KOI8_U, "KOI8-U", "KOI8-U"),
    CHARSET_MULTI(PELL_CODE_EUC_JP, "EUC-JP", "EUC-JP"),
    CHARSET_MULTI(PELL_CODE_EUC_KR, "EUC-KR", "EUC-KR"),
    CHARSET_SINGLE(PELL_CODE_IBM866, "IBM866", "IBM866"),
    CHARSET_SINGLE(PELL_CODE_WINDOWS_874, "WINDOWS-874", "CP874"),
    CHARSET_MULTI(PELL_CODE_WINDOWS_932, "WINDOWS-932", "CP932"),
    {PELL_CODE_WINDOWS_936, "WINDOWS-936", "GB18030", CHARSET_LAYOUT_MULTI, 1, 4, {0x84, 0x31, 0xA4, 0x37}},
    CHARSET_MULTI(PELL_CODE_WINDOWS_949, "WINDOWS-949", "CP949"),
    CHARSET_MULTI(PELL_CODE_WINDOWS_950, "WINDOWS-950", "CP950"),
    CHARSET_SINGLE(PELL_CODE_WINDOWS_1250, "WINDOWS-1250", "CP1250"),
    CHARSET_SINGLE(PELL_CODE_WINDOWS_1251, "WINDOWS-1251", "CP1251"),
    CHARSET_SINGLE(PELL_CODE_WINDOWS_1252, "WINDOWS-1252", "CP1252"),
    CHARSET_SINGLE(PELL_CODE_WINDOWS_1253, "WINDOWS-1253", "CP1253"),
    CHARSET_SINGLE(PELL_CODE_WINDOWS_1254, "WINDOWS-1254", "CP1254"),
    CHARSET_SINGLE(PELL_CODE_WINDOWS_1255, "WINDOWS-1255", "CP1255"),
    CHARSET_SINGLE(PELL_CODE_WINDOWS_1256, "WINDOWS-1256", "CP1256"),
    CHARSET_SINGLE(PELL_CODE_WINDOWS_1257, "WINDOWS-1257", "CP1257"),
    CHARSET_SINGLE(PELL_CODE_WINDOWS_1258, "WINDOWS-1258", "CP1258"),
};
constexpr int32_t TYPE_NUM = static_cast<int32_t>(sizeof(g_astTypes) / sizeof(g_astTypes[0]));

struct CharsetAlias {
    const char *pszAlias; // as CharsetPlainName leaves it
    int32_t s32CodeType;
};

// Beside these, a page number alone or behind one of the prefixes below is a name.
constexpr CharsetAlias g_astAliases[] = {
    {"UTF16", PELL_CODE_UTF16LE},          {"UNICODE", PELL_CODE_UTF16LE},       {"UCS2", PELL_CODE_UTF16LE},
    {"UTF32", PELL_CODE_UTF32LE},          {"UCS4", PELL_CODE_UTF32LE},          {"ASCII", PELL_CODE_UTF8},
    {"USASCII", PELL_CODE_UTF8},           {"LATIN1", PELL_CODE_ISO_8859_1},     {"L1", PELL_CODE_ISO_8859_1},
    {"LATIN2", PELL_CODE_ISO_8859_2},      {"L2", PELL_CODE_ISO_8859_2},         {"CYRILLIC", PELL_CODE_ISO_8859_5},
    {"GREEK", PELL_CODE_ISO_8859_7},       {"LATIN5", PELL_CODE_ISO_8859_9},     {"L5", PELL_CODE_ISO_8859_9},
    {"LATIN9", PELL_CODE_ISO_8859_15},     {"KOI8", PELL_CODE_KOI8_R},           {"UJIS", PELL_CODE_EUC_JP},
    {"SJIS", PELL_CODE_WINDOWS_932},       {"SHIFTJIS", PELL_CODE_WINDOWS_932},  {"MSKANJI", PELL_CODE_WINDOWS_932},
    {"WINDOWS31J", PELL_CODE_WINDOWS_932}, {"TIS620", PELL_CODE_WINDOWS_874},    {"ISO885911", PELL_CODE_WINDOWS_874},
    {"GBK", PELL_CODE_WINDOWS_936},        {"GB2312", PELL_CODE_WINDOWS_936},    {"GB18030", PELL_CODE_WINDOWS_936},
    {"EUCCN", PELL_CODE_WINDOWS_936},      {"UHC", PELL_CODE_WINDOWS_949},       {"KSC56011987", PELL_CODE_EUC_KR},
    {"BIG5", PELL_CODE_WINDOWS_950},       {"ISO88598", PELL_CODE_WINDOWS_1255}, {"ISO885913", PELL_CODE_WINDOWS_1257},
};
constexpr const char *g_apszPagePrefixes[] = {"CP", "WINDOWS", "WIN", "MS", "IBM"};

// Upper case without '-', '_' and blanks; false when nothing or too much is left.
bool CharsetPlainName(const char *pszName, char *pszPlain) {
    size_t szLen = 0;
    for (; *pszName != '\0'; pszName++) {
        char c = *pszName;
        if (c == '-' || c == '_' || c == ' ' || c == '\t') {
            continue;
        }
        if (szLen + 1 == CHARSET_NAME_SIZE) {
            return false;
        }
        pszPlain[szLen++] = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    }
    pszPlain[szLen] = '\0';
    return szLen != 0;
}

// The code page that a plain name such as "CP1252" or "1252" numbers, 0 when it numbers none of ours.
int32_t CharsetFromPage(const char *pszPlain) {
    for (const char *pszPrefix : g_apszPagePrefixes) {
        size_t szLen = strlen(pszPrefix);
        if (strncmp(pszPlain, pszPrefix, szLen) == 0) {
            pszPlain += szLen;
            break;
        }
    }
    int32_t s32Page = 0;
    for (; *pszPlain >= '0' && *pszPlain <= '9' && s32Page < 10000; pszPlain++) {
        s32Page = s32Page * 10 + (*pszPlain - '0');
    }
    return *pszPlain == '\0' && s32Page >= PELL_CODE_IBM866 && CharsetFind(s32Page) != nullptr ? s32Page : 0;
}

} // namespace

const CharsetType *CharsetFind(int32_t s32CodeType) {
    for (const CharsetType &stType : g_astTypes) {
        if (stType.s32CodeType == s32CodeType) {
            return &stType;
        }
    }
    return nullptr;
}

const char *PellCharsetName(int32_t s32CodeType) {
    const CharsetType *pstType = CharsetFind(s32CodeType);
    return pstType != nullptr ? pstType->pszName : nullptr;
}

int32_t PellCharsetAt(int32_t s32Index) {
    return s32Index >= 0 && s32Index < TYPE_NUM ? g_astTypes[s32Index].s32CodeType : PELL_CODE_UNKNOWN;
}

int32_t PellCharsetFromName(const char *pszName) {
    char aszPlain[CHARSET_NAME_SIZE];
    char aszOther[CHARSET_NAME_SIZE];
    if (pszName == nullptr || !CharsetPlainName(pszName, aszPlain)) {
        return PELL_CODE_UNKNOWN;
    }
    for (const CharsetType &stType : g_astTypes) {
        if (CharsetPlainName(stType.pszName, aszOther) && strcmp(aszPlain, aszOther) == 0) {
            return stType.s32CodeType;
        }
    }
    for (const CharsetAlias &stAlias : g_astAliases) {
        if (strcmp(aszPlain, stAlias.pszAlias) == 0) {
            return stAlias.s32CodeType;
        }
    }
    return CharsetFromPage(aszPlain);
}
