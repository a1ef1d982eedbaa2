// Proves the bounds-checked functions: results and destinations of good and violating calls, formatted input against
// the C library's on everything the library parses with it, and the scanning helpers.
#include "platform/bounded/bounded.h"
#include "platform/text/ascii.h"
#include "platform/text/decimal.h"
#include "tests/test_files.h"

#include <algorithm>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

using namespace std::string_literals;

TEST(BoundedTest, ViolationsAreReportedAndLeaveADefinedDestination) {
    constexpr rsize_t uHuge = SIZE_MAX;
    // Each call gets a buffer that holds the text "abc" and a terminator; '#' stands behind.
    const struct {
        const char *pszName;
        int (*pfnCall)(char *psz);
        bool bGood;
        std::string strAfter;
    } s_aCases[] = {{"copy", [](char *p) { return memcpy_s(p, 8, "xyz", 2); }, true, "xyc\0####"s},
                    {"copy nothing", [](char *p) { return memcpy_s(p, 0, "x", 0); }, true, "abc\0####"s},
                    {"copy too much", [](char *p) { return memcpy_s(p, 6, "01234567", 7); }, false, "\0\0\0\0\0\0##"s},
                    {"copy from nowhere", [](char *p) { return memcpy_s(p, 3, nullptr, 1); }, false, "\0\0\0\0####"s},
                    {"copy to a wild size", [](char *p) { return memcpy_s(p, uHuge, "x", 1); }, false, "abc\0####"s},
                    {"copy onto itself", [](char *p) { return memcpy_s(p + 1, 3, p, 2); }, false, "a\0\0\0####"s},
                    {"copy behind itself", [](char *p) { return memcpy_s(p + 2, 2, p, 2); }, true, "abab####"s},
                    {"move up", [](char *p) { return memmove_s(p + 1, 3, p, 3); }, true, "aabc####"s},
                    {"move down", [](char *p) { return memmove_s(p, 8, p + 1, 3); }, true, "bc\0\0####"s},
                    {"move too much", [](char *p) { return memmove_s(p, 2, p + 1, 3); }, false, "\0\0c\0####"s},
                    {"fill", [](char *p) { return memset_s(p, 8, 'x', 2); }, true, "xxc\0####"s},
                    {"fill too much", [](char *p) { return memset_s(p, 3, 'x', 4); }, false, "xxx\0####"s},
                    {"fill a wild count", [](char *p) { return memset_s(p, 3, 'x', uHuge); }, false, "xxx\0####"s},
                    {"fill a wild size", [](char *p) { return memset_s(p, uHuge, 'x', 2); }, false, "abc\0####"s},
                    {"text", [](char *p) { return strncpy_s(p, 8, "xy", 5); }, true, "xy\0\0####"s},
                    {"text cut", [](char *p) { return strncpy_s(p, 3, "xyz", 2); }, true, "xy\0\0####"s},
                    {"text that fills", [](char *p) { return strncpy_s(p, 8, "1234567", 100); }, true, "1234567\0"s},
                    {"text too long", [](char *p) { return strncpy_s(p, 8, "12345678", 8); }, false, "\0bc\0####"s},
                    {"text into nothing", [](char *p) { return strncpy_s(p, 0, "x", 0); }, false, "abc\0####"s},
                    {"text of a wild count", [](char *p) { return strncpy_s(p, 8, "x", uHuge); }, false, "\0bc\0####"s},
                    {"text onto itself", [](char *p) { return strncpy_s(p + 1, 7, p, 3); }, false, "a\0c\0####"s},
                    {"text into one byte", [](char *p) { return strncpy_s(p, 1, "x", 1); }, false, "\0bc\0####"s},
                    {"text to nowhere", [](char *) { return strncpy_s(nullptr, 8, "x", 1); }, false, "abc\0####"s},
                    {"append", [](char *p) { return strncat_s(p, 8, "xyz", 2); }, true, "abcxy\0##"s},
                    {"append onto itself", [](char *p) { return strncat_s(p, 8, p + 4, 1); }, false, "\0bc\0####"s},
                    {"append that fills", [](char *p) { return strncat_s(p, 8, "wxyz", 9); }, true, "abcwxyz\0"s},
                    {"append too much", [](char *p) { return strncat_s(p, 7, "wxyz", 9); }, false, "\0bc\0####"s},
                    {"append to no text", [](char *p) { return strncat_s(p, 3, "x", 1); }, false, "\0bc\0####"s},
                    {"print", [](char *p) { return snprintf_s(p, 8, "%d", 1234567) - 7; }, true, "1234567\0"s},
                    {"print cut", [](char *p) { return snprintf_s(p, 5, "%d", 123456) - 6; }, true, "1234\0###"s},
                    {"print into nothing", [](char *p) { return snprintf_s(p, 0, "%d", 1); }, false, "abc\0####"s}};
    for (const auto &c : s_aCases) {
        std::string str = "abc\0####"s;
        EXPECT_EQ(c.pfnCall(str.data()) == 0, c.bGood) << c.pszName;
        EXPECT_EQ(str, c.strAfter) << c.pszName;
    }
}

// A valid text of the form, with a few characters taken out, put in or changed.
static std::string Mutated(std::string str, std::mt19937 &rng) {
    static const char s_aszChars[] = "0123456789  \t\n\r+-:.,[]{}>=xXaFT%";
    for (size_t uEdits = rng() % 4; uEdits > 0; uEdits--) {
        const size_t uAt = rng() % (str.size() + 1);
        const char ch = s_aszChars[rng() % (sizeof(s_aszChars) - 1)];
        switch (rng() % 4) {
        case 0:
            str.erase(uAt, 1);
            break;
        case 1:
            str.insert(uAt, 1, ch);
            break;
        case 2:
            str.insert(uAt, 1, ch).erase(std::min(uAt + 1, str.size()), 1);
            break;
        default:
            str.resize(uAt);
        }
    }
    return str;
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"

TEST(BoundedTest, FormattedInputIsThatOfTheCLibrary) {
    // n: numbers only, t: two numbers and text, l: a long number and text.
    const struct {
        const char *pszFormat, *pszText;
        char chKind;
    } s_aForms[] = {{"%2d:%2d:%2d%*1c%2d", "01:02:03.45", 'n'},
                    {"[%2d:%2d.%2d]", "[01:02.03]", 'n'},
                    {"%d:%d:%d.%d,%d:%d:%d.%d", "1:02:03.4,5:6:7.89", 'n'},
                    {"%d:%d:%d%*1[,.]%d --> %d:%d:%d%*1[,.]%d", "00:00:01,500 --> 00:00:02.750", 'n'},
                    {"FORMAT=%d", "FORMAT=23", 'n'},
                    {"timestamp: %2d:%2d:%2d:%3d, filepos: %x", "timestamp: 00:01:02:345, filepos: 000abc", 'n'},
                    {"timestamp: %2d:%2d:%2d:%3d, filepos: %x", "timestamp: 0:1:2:3, filepos: 0x1F", 'n'},
                    {"{%d}{%d}%2559[^\r\n]", "{12}{-34} text of it\r\n", 't'},
                    {"{%lld}{}%2559[^\r\n]", "{1234567}{}text\nmore", 'l'}};
    std::mt19937 rng(11);
    for (int i = 0; i < 60000; i++) {
        const auto &c = s_aForms[rng() % std::size(s_aForms)];
        std::string str = Mutated(c.pszText, rng);
        str = rng() % 64 == 0 ? str + std::string(2550 + rng() % 20, 'y') : str;
        int as32Ours[8] = {}, as32Theirs[8] = {};
        long long s64Ours = 0, s64Theirs = 0;
        char aszOurs[2560] = {}, aszTheirs[2560] = {};
        int s32Ours = 0, s32Theirs = 0;
        int *o = as32Ours, *t = as32Theirs;
        if (c.chKind == 'n') {
            s32Ours = sscanf_s(str.c_str(), c.pszFormat, o, o + 1, o + 2, o + 3, o + 4, o + 5, o + 6, o + 7);
            s32Theirs = sscanf(str.c_str(), c.pszFormat, t, t + 1, t + 2, t + 3, t + 4, t + 5, t + 6, t + 7);
        } else if (c.chKind == 't') {
            s32Ours = sscanf_s(str.c_str(), c.pszFormat, o, o + 1, aszOurs, sizeof(aszOurs));
            s32Theirs = sscanf(str.c_str(), c.pszFormat, t, t + 1, aszTheirs);
        } else {
            s32Ours = sscanf_s(str.c_str(), c.pszFormat, &s64Ours, aszOurs, sizeof(aszOurs));
            s32Theirs = sscanf(str.c_str(), c.pszFormat, &s64Theirs, aszTheirs);
        }
        ASSERT_EQ(s32Ours, s32Theirs) << c.pszFormat << " on " << testing::PrintToString(str);
        ASSERT_EQ(memcmp(as32Ours, as32Theirs, sizeof(as32Ours)), 0) << c.pszFormat << " on " << str;
        ASSERT_EQ(s64Ours, s64Theirs) << str;
        ASSERT_STREQ(aszOurs, aszTheirs);
    }
}

// "%<width>d" of the C library: the value and the characters it took, -1 when there is no number.
static int NaiveScanInt(const std::string &str, int32_t s32Width, int32_t *ps32Value) {
    int s32Taken = -1;
    const std::string strFormat = std::string("%") + std::to_string(s32Width) + "d%n";
    return sscanf(str.c_str(), strFormat.c_str(), ps32Value, &s32Taken) == 1 ? s32Taken : -1;
}

#pragma GCC diagnostic pop

TEST(BoundedTest, NumbersAreScannedInsideTheirSpan) {
    std::mt19937 rng(12);
    for (int i = 0; i < 20000; i++) {
        const std::string str = Mutated("  -12345", rng);
        const uint8_t *pu8 = reinterpret_cast<const uint8_t *>(str.data());
        const int32_t s32Width = static_cast<int32_t>(1 + rng() % 9);
        int32_t s32Value = 99, s32Expected = 99;
        const uint8_t *pu8After = SvrScanInt(pu8, pu8 + str.size(), s32Width, &s32Value);
        ASSERT_EQ(pu8After == nullptr ? -1 : pu8After - pu8, NaiveScanInt(str, s32Width, &s32Expected)) << str;
        ASSERT_EQ(s32Value, s32Expected) << str;
    }
    const struct {
        std::string strText;
        size_t uSpan;
        int32_t s32Value;
    } s_aCases[] = {{"1234", 2, 12},
                    {"2147483647", 10, INT32_MAX},
                    {"2147483648", 10, INT32_MAX},
                    {"-2147483648", 11, INT32_MIN},
                    {"-2147483649", 11, INT32_MIN},
                    {"99999999999999999999999999", 26, INT32_MAX},
                    {"-99999999999999999999999999", 27, INT32_MIN},
                    {"000000000000000000000000000007", 30, 7}};
    for (const auto &c : s_aCases) {
        int32_t s32Value = 0;
        const uint8_t *pu8 = reinterpret_cast<const uint8_t *>(c.strText.data());
        EXPECT_EQ(SvrScanInt(pu8, pu8 + c.uSpan, INT32_MAX, &s32Value), pu8 + c.uSpan) << c.strText;
        EXPECT_EQ(s32Value, c.s32Value) << c.strText;
    }
}

TEST(BoundedTest, TextConversionsHaveASizeAndNumbersALimit) {
    char aszText[4] = "zzz";
    unsigned int u32 = 0;
    int s32 = 0;
    long long s64 = 0;
    EXPECT_EQ(sscanf_s("abc def", "%s%d", aszText, sizeof(aszText), &s32), 1);
    EXPECT_STREQ(aszText, "abc");
    EXPECT_EQ(sscanf_s("abcd", "%s", aszText, sizeof(aszText)), 0);
    EXPECT_STREQ(aszText, "");
    EXPECT_EQ(sscanf_s("abcd", "%4c", aszText, sizeof(aszText)), 1);
    EXPECT_EQ(memcmp(aszText, "abcd", 4), 0);
    EXPECT_EQ(sscanf_s("abcd", "%4[a-d]", aszText, sizeof(aszText)), 0);
    EXPECT_EQ(sscanf_s("a]b", "%[]a]", aszText, sizeof(aszText)), 1);
    EXPECT_STREQ(aszText, "a]");
    EXPECT_EQ(sscanf_s("99999999999 123456789abc -99999999999999999999", "%d%x%lld", &s32, &u32, &s64), 3);
    EXPECT_EQ(s32, INT32_MAX);
    EXPECT_EQ(u32, UINT32_MAX);
    EXPECT_EQ(s64, INT64_MIN);
    float af[3] = {};
    EXPECT_EQ(sscanf_s(" 1.25-.5e1,9", "%f%*f,%2f%f", &af[0], &af[1], &af[2]), 2);
    EXPECT_EQ(af[0] * 100 + af[1], 134.0f);
    EXPECT_EQ(sscanf_s("1234.5 e1", "%3f %f %f", &af[0], &af[1], &af[2]), 2);
    EXPECT_EQ(af[0] * 100 + af[1], 12304.5f);
    EXPECT_EQ(sscanf_s("  ", "%f", &af[0]), -1);
    EXPECT_EQ(sscanf_s(nullptr, "%d", &s32), -1);
    EXPECT_EQ(sscanf_s("1", nullptr, &s32), -1);
}

struct Decimal {
    std::string strText;
    float fValue;
    double dValue;
    ptrdiff_t sFloatLen, sDoubleLen; // 0: no number
};

static Decimal ScanDecimal(const std::string &strText) {
    Decimal stOut = {strText, 0, 0, 0, 0};
    // In a block of its own, so that a look beyond the end is seen.
    const std::vector<uint8_t> vecText(strText.begin(), strText.end());
    const uint8_t *pu8End = vecText.data() + vecText.size();
    const uint8_t *pu8Float = SvrScanFloat(vecText.data(), pu8End, &stOut.fValue);
    const uint8_t *pu8Double = SvrScanDouble(vecText.data(), pu8End, &stOut.dValue);
    stOut.sFloatLen = pu8Float != nullptr ? pu8Float - vecText.data() : 0;
    stOut.sDoubleLen = pu8Double != nullptr ? pu8Double - vecText.data() : 0;
    return stOut;
}

static void ExpectSameDecimal(const Decimal &a, const Decimal &b) {
    ASSERT_EQ(a.sFloatLen, b.sFloatLen) << a.strText;
    ASSERT_EQ(a.sDoubleLen, b.sDoubleLen) << a.strText;
    ASSERT_EQ(memcmp(&a.fValue, &b.fValue, sizeof(float)), 0) << a.strText;
    ASSERT_EQ(memcmp(&a.dValue, &b.dValue, sizeof(double)), 0) << a.strText;
}

// Numbers and near misses, and what the C library makes of them in its own locale.
static std::vector<Decimal> Decimals() {
    static const char *const s_apszTexts[] = {
        "  -12.375",        "0.1",  "1234567.8", "-16777217.",  ".5e-3 x",
        "0x1.8p3",          "1e40", "inf",       "-nan(1)",     "4.35,7",
        "123456789012.345", "0e1",  "infinity",  "0.000000007", "900719925474099.3"};
    std::mt19937 rng(13);
    std::vector<Decimal> vecDecimals;
    for (int i = 0; i < 60000; i++) {
        std::string str = s_apszTexts[rng() % std::size(s_apszTexts)];
        for (char &ch : str) {
            ch = SvrIsDigit(static_cast<uint8_t>(ch)) ? static_cast<char>('0' + rng() % 10) : ch;
        }
        vecDecimals.push_back({Mutated(str, rng), 0, 0, 0, 0});
    }
    vecDecimals.push_back({std::string(4095, '7') + ".5", 0, 0, 0, 0});
    for (Decimal &stDecimal : vecDecimals) {
        const char *pszText = stDecimal.strText.c_str();
        char *pszAfter = nullptr;
        stDecimal.fValue = strtof(pszText, &pszAfter);
        stDecimal.sFloatLen = std::min<ptrdiff_t>(pszAfter - pszText, SVR_DECIMAL_MAX_LEN);
        stDecimal.dValue = strtod(pszText, &pszAfter);
        stDecimal.sDoubleLen = std::min<ptrdiff_t>(pszAfter - pszText, SVR_DECIMAL_MAX_LEN);
    }
    return vecDecimals;
}

TEST(BoundedTest, DecimalsAreThoseOfTheCLibraryUnderEveryLocale) {
    const std::vector<Decimal> vecDecimals = Decimals();
    for (const Decimal &stDecimal : vecDecimals) {
        ASSERT_NO_FATAL_FAILURE(ExpectSameDecimal(ScanDecimal(stDecimal.strText), stDecimal));
    }
    const std::string strFile = TempFile("x", "");
    const std::string strFolder = strFile.substr(0, strFile.rfind('/'));
    if (system(("localedef -i de_DE -f UTF-8 " + strFolder + "/de_DE.UTF-8 2>&1").c_str()) != 0) {
        GTEST_SKIP() << "localedef has no sources to make a locale from";
    }
    setenv("LOCPATH", strFolder.c_str(), 1);
    ASSERT_NE(setlocale(LC_ALL, "de_DE.UTF-8"), nullptr);
    EXPECT_STREQ(localeconv()->decimal_point, ",");
    for (const Decimal &stDecimal : vecDecimals) {
        ASSERT_NO_FATAL_FAILURE(ExpectSameDecimal(ScanDecimal(stDecimal.strText), stDecimal));
    }
    setlocale(LC_ALL, "C");
    unsetenv("LOCPATH");
}

TEST(BoundedTest, ListsAreSearchedByWholeEntries) {
    const struct {
        const char *pszList, *pszItem;
        ListMatch enMatch;
    } s_aCases[] = {
        {"srt", "srt", LIST_MATCH_LAST},     {"srt", "SrT", LIST_MATCH_LAST},    {"ass,ssa", "ass", LIST_MATCH_INNER},
        {"ass,ssa", "SSA", LIST_MATCH_LAST}, {"ass,ssa", "as", LIST_MATCH_NONE}, {"ass,ssa", "asss", LIST_MATCH_NONE},
        {"ass,ssa", "s,s", LIST_MATCH_NONE}, {"ass,ssa", "", LIST_MATCH_NONE},   {"", "", LIST_MATCH_LAST},
        {"a,,b", "", LIST_MATCH_INNER},      {"a@", "a`", LIST_MATCH_NONE},      {"a[", "a{", LIST_MATCH_NONE},
        {"\xC4", "\xE4", LIST_MATCH_NONE}};
    for (const auto &c : s_aCases) {
        EXPECT_EQ(SvrListMatch(c.pszList, c.pszItem), c.enMatch) << c.pszList << " has " << c.pszItem;
    }
}
