// The hand-written line scanners of text SUB accept what the formatted patterns accept, and store the same numbers.
#include "tests/scan_reference.h"

#include <gtest/gtest.h>
#include <random>
#include <vector>

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
        ASSERT_TRUE(MicrodvdAgrees(stSpan, strText.c_str()));
        ASSERT_TRUE(SubviewerAgrees(stSpan, strText.c_str()));
        ASSERT_TRUE(DvdsubAgrees(stSpan, strText.c_str()));
        ASSERT_TRUE(MpsubAgrees(stSpan, strText.c_str()));
        int32_t as32Num[8];
        s32Found += SubScanSubviewer(stSpan, as32Num) == 8 ? 1 : 0;
    }
    EXPECT_GT(s32Found, 4000);
    EXPECT_LT(s32Found, 12000);
}
