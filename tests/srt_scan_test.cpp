// The hand-written time scanners accept what the formatted patterns accept, and read the same times.
#include "tests/scan_reference.h"

#include <gtest/gtest.h>
#include <random>

static TextSpan Span(const std::string &strText) {
    return {reinterpret_cast<const uint8_t *>(strText.data()), static_cast<int32_t>(strText.size())};
}

TEST(SrtScanTest, KnownLines) {
    static const struct {
        const char *pszText;
        bool bTimeLine;
        int64_t s64Start, s64End;
    } s_astRows[] = {
        {"00:00:01,000 --> 00:00:02,500\n", true, 1000, 2500},
        {"00:00:01.000 --> 00:00:02.000", true, 1000, 2000},
        {"00:00:01:000 --> 00:00:02:000", true, 1000, 2000},
        {"0:00:01,000 --> 0:00:02,000", true, 1000, 2000},
        {"99:59:59,999-->00:00:00,5", true, 359999999, 5},
        {"  -1:+2:3, 4  \t-->\n 00:00:02,0000", true, -3600000 + 120000 + 3000 + 4, 2000},
        {"00:00:01,000 --> 00:00:02,000 X1:40 X2:600", true, 1000, 2000},
        {"100:00:01,000 --> 100:00:02,000", false, 0, 0},
        {"00:00:01,0000 --> 00:00:02,000", false, 0, 0},
        {"00:00:01 --> 00:00:02", false, 0, 0},
        {"00:00:01,000 -> 00:00:02,000", false, 0, 0},
        {"00:00:01,000 -->", false, 0, 0},
        {"x00:00:01,000 --> 00:00:02,000", false, 0, 0},
        {"", false, 0, 0},
    };
    for (const auto &stRow : s_astRows) {
        int64_t s64Start = 0, s64End = 0;
        const std::string strText = stRow.pszText;
        EXPECT_EQ(SrtScanTimeLine(Span(strText), &s64Start, &s64End), stRow.bTimeLine) << strText;
        if (stRow.bTimeLine) {
            EXPECT_EQ(s64Start, stRow.s64Start) << strText;
            EXPECT_EQ(s64End, stRow.s64End) << strText;
        }
        EXPECT_TRUE(TimeLineAgrees(Span(strText), strText.c_str())) << strText;
    }
}

// Good lines with a few characters changed, dropped or doubled: near enough to be accepted often.
TEST(SrtScanTest, AgreesWithTheFormattedPatterns) {
    static const char s_aszBytes[] = "0123456789 :,.->+\t\r\nx";
    std::mt19937 random(1);
    const auto pick = [&](size_t uBelow) {
        return static_cast<size_t>(random() % uBelow);
    };
    int s32Accepted = 0;
    for (int i = 0; i < 200000; i++) {
        std::string strText = "01:02:03,456 --> 04:05:06,789";
        for (size_t uEdits = pick(4); uEdits > 0 && !strText.empty(); uEdits--) {
            const size_t uAt = pick(strText.size());
            const char ch = s_aszBytes[pick(sizeof(s_aszBytes) - 1)];
            switch (pick(3)) {
            case 0:
                strText[uAt] = ch;
                break;
            case 1:
                strText.erase(uAt, 1);
                break;
            default:
                strText.insert(uAt, 1, ch);
                break;
            }
        }
        int64_t s64Start = 0, s64End = 0;
        s32Accepted += ReferenceTimeLine(strText.c_str(), &s64Start, &s64End) ? 1 : 0;
        ASSERT_TRUE(TimeLineAgrees(Span(strText), strText.c_str())) << strText;
    }
    EXPECT_GT(s32Accepted, 50000);
    EXPECT_LT(s32Accepted, 150000);
}

// The form of ASS: any separator before the hundredths.
TEST(SrtScanTest, AgreesWithTheFormattedPatternOfHundredths) {
    static const char s_aszBytes[] = "0123456789 :,.-+\tx";
    std::mt19937 random(2);
    int s32Accepted = 0;
    for (int i = 0; i < 100000; i++) {
        std::string strText = "1:02:03.45,0:00:05.00";
        for (uint32_t uEdits = random() % 4; uEdits > 0; uEdits--) {
            strText[random() % 12] = s_aszBytes[random() % (sizeof(s_aszBytes) - 1)];
        }
        int64_t s64Time = 0;
        s32Accepted += ReferenceHundredths(strText.c_str(), &s64Time) ? 1 : 0;
        ASSERT_TRUE(HundredthsAgree(Span(strText), strText.c_str())) << strText;
    }
    EXPECT_GT(s32Accepted, 25000);
    EXPECT_LT(s32Accepted, 90000);
}
