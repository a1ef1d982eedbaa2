// The hand-written line scanners of text SUB accept what the formatted patterns accept, and store the same numbers.
#include "platform/bounded/bounded.h"
#include "subtitle/sub/sub_demuxer.h"

#include <cstring>
#include <gtest/gtest.h>
#include <random>
#include <string>

static void ExpectMicrodvd(TextSpan stSpan, const char *pszText) {
    SubFrames stOurs = {-7, -7};
    long long as64[2] = {-7, -7};
    char aszText[SVR_SUB_STR_IN_MAX_LEN] = {};
    const bool bRef =
        sscanf_s(pszText, "{%lld}{%lld}%2559[^\r\n]", &as64[0], &as64[1], aszText, sizeof(aszText)) == 3 ||
        sscanf_s(pszText, "{%lld}{}%2559[^\r\n]", &as64[0], aszText, sizeof(aszText)) == 2;
    const uint8_t *pu8Text = SubScanMicrodvd(stSpan, &stOurs);
    ASSERT_EQ(pu8Text != nullptr, bRef);
    ASSERT_EQ(stOurs.s64Start, as64[0]);
    ASSERT_EQ(stOurs.s64End, as64[1]);
    if (bRef) {
        const size_t uLen = static_cast<size_t>(SubTextLen(pu8Text, SvrSpanEnd(stSpan)));
        ASSERT_EQ(std::string(reinterpret_cast<const char *>(pu8Text), uLen), aszText);
    }
}

static void ExpectSubviewer(TextSpan stSpan, const char *pszText) {
    int32_t o[8] = {-7, -7, -7, -7, -7, -7, -7, -7};
    int r[8] = {-7, -7, -7, -7, -7, -7, -7, -7};
    int32_t s32Ref = sscanf_s(pszText, "%d:%d:%d.%d,%d:%d:%d.%d", r, r + 1, r + 2, r + 3, r + 4, r + 5, r + 6, r + 7);
    if (s32Ref != 8) {
        s32Ref = sscanf_s(pszText, "%d:%d:%d%*1[,.]%d --> %d:%d:%d%*1[,.]%d", r, r + 1, r + 2, r + 3, r + 4, r + 5,
                          r + 6, r + 7);
    }
    ASSERT_EQ(SubScanSubviewer(stSpan, o), s32Ref);
    ASSERT_EQ(memcmp(o, r, sizeof(r)), 0);
}

static void ExpectOthers(TextSpan stSpan, const char *pszText) {
    int32_t o[4] = {-7, -7, -7, -7};
    int r[4] = {-7, -7, -7, -7};
    ASSERT_EQ(SubScanDvdsub(stSpan, o), sscanf_s(pszText, "{T %d:%d:%d:%d", r, r + 1, r + 2, r + 3) == 4);
    ASSERT_EQ(memcmp(o, r, sizeof(r)), 0);
    float af[4] = {-7, -7, -7, -7};
    ASSERT_EQ(SubScanMpsub(stSpan, &af[0], &af[1]), sscanf_s(pszText, "%f %f", &af[2], &af[3]) == 2);
    ASSERT_EQ(memcmp(af, af + 2, 2 * sizeof(float)), 0);
}

TEST(SubScanTest, ScannersAgreeWithTheFormattedPatterns) {
    static const char *const s_apszLines[] = {
        "{12}{-34}text of it\r\n",
        "{ 9223372036854775808}{}x",
        "{-9223372036854775809}{5}x\nmore",
        "1:02:03.4,5:6:7.89",
        "00:00:01,500 --> 00:1:2.7",
        "  9999999999:-1:+2,3-->4:5:6,7",
        "{T 00:01:02:30\n",
        "{T1:2:-3:4",
        "1.5 -2e1 x",
        ".5.25",
        "  ",
        "inf nan(1)",
    };
    static const char s_aszBytes[] = "0123456789  \t:.,-+>{}T\r\nex";
    std::mt19937 random(8);
    int32_t s32Found = 0;
    for (int i = 0; i < 60000; i++) {
        std::string strText = s_apszLines[static_cast<size_t>(i) % std::size(s_apszLines)];
        for (uint32_t uEdits = static_cast<size_t>(i) < std::size(s_apszLines) ? 0 : random() % 4; uEdits > 0;
             uEdits--) {
            const size_t uAt = random() % (strText.size() + 1);
            const size_t uErase = random() % 3;
            strText.replace(uAt, uErase, random() % 3, s_aszBytes[random() % sizeof(s_aszBytes)]); // a zero byte, too
        }
        SCOPED_TRACE(testing::PrintToString(strText));
        // In a block of its own, so that a look beyond the end is seen.
        const std::vector<uint8_t> vecText(strText.begin(), strText.end());
        const TextSpan stSpan = {vecText.data(), static_cast<int32_t>(vecText.size())};
        ASSERT_NO_FATAL_FAILURE(ExpectMicrodvd(stSpan, strText.c_str()));
        ASSERT_NO_FATAL_FAILURE(ExpectSubviewer(stSpan, strText.c_str()));
        ASSERT_NO_FATAL_FAILURE(ExpectOthers(stSpan, strText.c_str()));
        int32_t as32Num[8];
        s32Found += SubScanSubviewer(stSpan, as32Num) == 8 ? 1 : 0;
    }
    EXPECT_GT(s32Found, 4000);
    EXPECT_LT(s32Found, 12000);
}
