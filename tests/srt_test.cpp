// SubRip, from bytes to frames: what is a cue, where it begins and ends, and what its text becomes.
#include "tests/player.h"
#include "tests/test_files.h"

#include <cstring>
#include <gtest/gtest.h>

struct SrtTest : testing::Test {
    void SetUp() override {
        HostReset();
    }
    void TearDown() override {
        EXPECT_TRUE(HostNothingLeft());
    }
};

static const std::string s_strTime = "00:00:01,000 --> 00:00:02,500\n";

static std::string Line(int s32Start, int s32End) {
    char aszLine[64];
    snprintf(aszLine, sizeof(aszLine), "00:00:%02d,000 --> 00:00:%02d,000\n", s32Start, s32End);
    return aszLine;
}

TEST_F(SrtTest, CuesOfAFile) {
    static const struct {
        const char *pszWhat;
        std::string strBytes, strTold;
    } s_astRows[] = {
        {"nothing", "hello\nworld\n", ""},
        {"one cue", "1\n" + s_strTime + "Hello\n\n", "1000+1500 Hello\n\n|"},
        {"no empty line at the end", "1\n" + s_strTime + "Hello", "1000+1500 Hello|"},
        {"CR LF", "1\r\n00:00:01,000 --> 00:00:02,500\r\nHello\r\n\r\n", "1000+1500 Hello\r\n\r\n|"},
        {"no empty line between: the number and two bytes do not belong to the cue",
         "1\n" + Line(1, 2) + "One\n2\n" + Line(3, 4) + "Two\n", "1000+1000 On|3000+1000 Two\n|"},
        {"the same with CR LF loses less of it",
         "1\r\n00:00:01,000 --> 00:00:02,500\r\nOne\r\n2\r\n" + Line(3, 4) + "Two\n",
         "1000+1500 One\r|3000+1000 Two\n|"},
        {"a time line behind a time line", Line(1, 2) + Line(3, 4) + "Two\n\n", "!|3000+1000 Two\n\n|"},
        {"an empty cue is its empty line", Line(1, 2) + "\n" + Line(3, 4) + "Two\n\n",
         "1000+1000 \n|3000+1000 Two\n\n|"},
        {"a cue with nothing behind it cannot be converted", Line(1, 2), "!|"},
        {"sorted by start", Line(5, 6) + "b\n\n" + Line(1, 2) + "a\n\n", "1000+1000 a\n\n|5000+1000 b\n\n|"},
        {"end before start: until the next cue", Line(5, 4) + "a\n\n" + Line(9, 10) + "b\n\n",
         "5000+4000 a\n\n|9000+1000 b\n\n|"},
        {"end before start, last: unknown", Line(5, 4) + "a\n\n", "5000+4294967295 a\n\n|"},
        {"end before start, the next cue at the same time: unknown", Line(5, 4) + "a\n\n" + Line(5, 4) + "a\n\n",
         "5000+4294967295 a\n\n|5000+4294967295 a\n\n|"},
        {"a text line in the form of a time line opens a cue, and takes the one before its text",
         Line(1, 2) + "say\n" + Line(3, 4) + "x\n\n", "!|3000+1000 x\n\n|"},
        {"blank lines hold the number back", "1\n\n\n" + s_strTime + "Hello\n\n", "1000+1500 Hello\n\n|"},
    };
    for (const auto &stRow : s_astRows) {
        SCOPED_TRACE(stRow.pszWhat);
        EXPECT_EQ(PlayerTold(PlayerCuesOf("a.srt", stRow.strBytes)), stRow.strTold);
        // The window of the file protocol gives what single bytes give.
        void *hFmt = PlayerOpen(TempFile("a.srt", stRow.strBytes), PellProtocolOf(&g_formatEntry));
        ASSERT_NE(hFmt, nullptr);
        EXPECT_EQ(g_formatEntry.fmt_find_stream(hFmt, 0), 0);
        EXPECT_EQ(PlayerTold(PlayerReadAll(hFmt)), stRow.strTold);
        g_formatEntry.fmt_close(hFmt);
    }
}

TEST_F(SrtTest, TextOfACue) {
    static const struct {
        const char *pszWhat;
        std::string strText, strDelivered;
    } s_astRows[] = {
        {"font, bold, italic, underline", "<font color=\"red\"><b>A</b></font> <i>B</i> <u>C</u>\n", "A B C\n\n"},
        {"a tag of each kind many times", "<i>a</i><i>b</i><i>c</i><b>d</b>\n", "abcd\n\n"},
        {"an override block", "{\\an8}Top\n", "Top\n\n"},
        {"several, and one inside the text", "{\\an8}{\\b1}To{\\b0}p\n", "Top\n\n"},
        {"one that only a removal completes", "{{\\an8}\\i1}Top\n", "Top\n\n"},
        {"a block that closes on the next line stays", "{\\an8\nTop}\n", "{\\an8\nTop}\n\n"},
        {"a block that never closes stays", "{\\an8 Top\n", "{\\an8 Top\n\n"},
        {"the one behind it goes all the same", "{\\an8\n}{\\b1}x\n", "{\\an8\n}x\n\n"},
        {"a brace without a backslash stays", "{an8}Top{\n", "{an8}Top{\n\n"},
        {"CR CR LF ends the cue, and becomes CR LF", "One\r\r\n", "One\r\n"},
        {"a tab stays, when UTF-8 is not asked for", "a\tb\n", "a\tb\n\n"},
    };
    for (const auto &stRow : s_astRows) {
        SCOPED_TRACE(stRow.pszWhat);
        const std::vector<PlayerCue> vecCues = PlayerCuesOf("a.srt", s_strTime + stRow.strText + "\n");
        ASSERT_GE(vecCues.size(), 1u);
        EXPECT_EQ(vecCues[0].strText, stRow.strDelivered);
        EXPECT_EQ(vecCues[0].s64Pos, static_cast<int64_t>(s_strTime.size()));
    }
}

// Carriage returns that come out of the conversion do not end lines, so that they can stand inside a cue.
TEST_F(SrtTest, DoubledCarriageReturnsAreRepaired) {
    static const struct {
        const char *pszText, *pszDelivered;
    } s_astRows[] = {
        {"a^^\nb\n", "a\r\nb\n\n"},         {"a^^^\nb^^\nc\n", "a\r\r\nb\r\nc\n\n"}, {"^^\nb\n", "\r\nb\n\n"},
        {"a^\nb^^b\n", "a\r\nb\r\rb\n\n"},  {"<b></b>^^\n<i>", "\r\n\n\n"},          {"{\\i1}x{\\i0}", "x\n\n"},
        {"<b></b>{\\b1}^{\\b0}", "\r\n\n"},
    };
    for (const auto &stRow : s_astRows) {
        SCOPED_TRACE(stRow.pszText);
        CharsetOps stOps = *ConverterDouble();
        stOps.convert = [](void *, uint8_t *pu8Out, int32_t *ps32OutLen, const uint8_t *pu8In, int32_t s32InLen,
                           int32_t, int32_t, int32_t *ps32Used) {
            for (int32_t i = 0; i < s32InLen; i++) {
                pu8Out[i] = pu8In[i] == '^' ? '\r' : pu8In[i];
            }
            *ps32OutLen = *ps32Used = s32InLen;
            return 0;
        };
        EXPECT_EQ(PlayerCuesOf("a.srt", s_strTime + stRow.pszText + "\n\n", &stOps).at(0).strText, stRow.pszDelivered);
    }
}

TEST_F(SrtTest, TextIsFollowedByZeroes) {
    // A long cue first: nothing of it may show behind the short one, whatever the converter said of its length.
    const std::string strBytes = Line(1, 2) + std::string(900, 'x') + "\n\n" + Line(3, 4) + "<b>y</b>\n\n";
    for (const int32_t s32Stated : {-1, 10}) {
        void *hFmt = PlayerOpenBytes("a.srt", strBytes, ConverterDouble());
        ASSERT_NE(hFmt, nullptr);
        FmtFrame stFrame = {};
        g_converter.s32OutLen = s32Stated;
        ASSERT_EQ(g_formatEntry.fmt_read(hFmt, &stFrame), 0);
        ASSERT_EQ(stFrame.u32DataLen, s32Stated < 0 ? 902u : 10u);
        g_converter.s32OutLen = -1;
        ASSERT_EQ(g_formatEntry.fmt_read(hFmt, &stFrame), 0);
        ASSERT_EQ(std::string(reinterpret_cast<char *>(stFrame.pu8Data), stFrame.u32DataLen), "y\n\n");
        for (uint32_t i = stFrame.u32DataLen; i < SVR_SUB_STR_OUT_MAX_LEN; i++) {
            ASSERT_EQ(stFrame.pu8Data[i], 0) << i;
        }
        g_formatEntry.fmt_close(hFmt);
    }
}

TEST_F(SrtTest, TagsStayWhenTheHostsPropertySaysSo) {
    static const struct {
        const char *pszProperty, *pszDelivered;
    } s_astRows[] = {{"true", "<b>A</b>\n\n"}, {"TRUE", "<b>A</b>\n\n"}, {"truely", "A\n\n"}, {"1", "A\n\n"}};
    for (const auto &stRow : s_astRows) {
        g_host.strProperty = stRow.pszProperty;
        EXPECT_EQ(PlayerCuesOf("a.srt", s_strTime + "<b>A</b>\n\n").at(0).strText, stRow.pszDelivered);
    }
}

TEST_F(SrtTest, TabsExpandForUtf8) {
    for (const bool bConverter : {false, true}) {
        void *hFmt = PlayerOpenBytes("a.srt", s_strTime + "a\tb\n\n", bConverter ? ConverterDouble() : nullptr);
        ASSERT_NE(hFmt, nullptr);
        int32_t s32Utf8 = 2;
        g_formatEntry.fmt_invoke(hFmt, INVOKE_SET_DST_CODETYPE, &s32Utf8);
        EXPECT_EQ(PlayerReadAll(hFmt).at(0).strText, "a    b\n\n");
        g_formatEntry.fmt_close(hFmt);
    }
}

TEST_F(SrtTest, CuesOfEverySizeAreReadOrSkipped) {
    for (const size_t uLen : {2556u, 2557u, 2558u, 2559u, 2560u, 9000u}) {
        SCOPED_TRACE(uLen);
        std::string strText;
        while (strText.size() < uLen) {
            strText += std::string(std::min<size_t>(100, uLen - strText.size() - 1), 'x') + "\n";
        }
        const std::vector<PlayerCue> vecCues =
            PlayerCuesOf("a.srt", Line(1, 2) + strText + "\n" + Line(3, 4) + "next\n\n");
        ASSERT_EQ(vecCues.size(), 2u);
        EXPECT_EQ(vecCues[0].s32Result, uLen + 1 < 2560 ? 0 : -1);
        EXPECT_EQ(vecCues[1].strText, "next\n\n");
    }
    EXPECT_TRUE(HostLogged("a line is larger than SVR_SUB_STR_IN_MAX_LEN", "SrtDemuxerReadFramePre"));
}

TEST_F(SrtTest, ACueThatCannotBeReadOrConvertedCostsOneRead) {
    const std::string strBytes = Line(1, 2) + "one\n\n" + Line(3, 4) + "two\n\n";
    static const struct {
        const char *pszMessage;
        int32_t MemoryFile::*pmFault;
    } s_astRows[] = {{"seek to s64Offset failed!", &MemoryFile::s32FailSeekAt},
                     {"WARNING!the subdata we read is shorter than its size!", &MemoryFile::s32FailReadAt},
                     {"WARNING!the subdata we read is shorter than its size!", &MemoryFile::s32ShortReadAt}};
    for (const auto &stRow : s_astRows) {
        void *hFmt = PlayerOpenBytes("a.srt", strBytes);
        ASSERT_NE(hFmt, nullptr);
        g_memoryFile.s32Reads = g_memoryFile.s32Seeks = 0;
        g_memoryFile.*stRow.pmFault = 1;
        EXPECT_EQ(PlayerTold(PlayerReadAll(hFmt)), "!|3000+1000 two\n\n|");
        EXPECT_TRUE(HostLogged(stRow.pszMessage));
        g_formatEntry.fmt_close(hFmt);
    }
    void *hFmt = PlayerOpenBytes("a.srt", strBytes, ConverterDouble());
    ASSERT_NE(hFmt, nullptr);
    g_converter.s32OutLen = SVR_SUB_STR_OUT_MAX_LEN;
    EXPECT_EQ(PlayerTold(PlayerReadAll(hFmt)), "!|!|");
    EXPECT_TRUE(HostLogged("SVR_SUB_TRANSCODE_Line failed!", "SrtDemuxerReadTransCodeFrame"));
    g_formatEntry.fmt_close(hFmt);
}

TEST_F(SrtTest, TheIndexGrowsAndKeepsWhatItHas) {
    std::string strBytes;
    for (int i = 0; i < 8193; i++) {
        char aszCue[64];
        snprintf(aszCue, sizeof(aszCue), "%02d:%02d:%02d,000 --> 23:59:59,000\n%d\n\n", i / 3600, i / 60 % 60, i % 60,
                 i);
        strBytes += aszCue;
    }
    const std::vector<PlayerCue> vecCues = PlayerCuesOf("a.srt", strBytes);
    ASSERT_EQ(vecCues.size(), 8193u);
    for (size_t i = 0; i < vecCues.size(); i++) {
        ASSERT_EQ(vecCues[i].s64Start, static_cast<int64_t>(i) * 1000);
        ASSERT_EQ(vecCues[i].strText, std::to_string(i) + "\n\n");
    }
    // No room for the 4097th cue: the index is gone, and every operation on it says so.
    void *hFmt = PlayerOpen("/a.srt", MemoryProtocol(strBytes));
    g_host.s32FailAt = g_host.s32Allocations + 1;
    EXPECT_EQ(g_formatEntry.fmt_find_stream(hFmt, 0), -1);
    EXPECT_TRUE(HostLogged("_SRT_NODE_Parse failed!", "SrtDemuxerFindStream"));
    FmtFrame stFrame = {};
    EXPECT_EQ(g_formatEntry.fmt_read(hFmt, &stFrame), -1);
    EXPECT_TRUE(HostLogged("pstSrtIndexNodeList is null", "SrtDemuxerReadChk"));
    EXPECT_EQ(g_formatEntry.fmt_seek_pts(hFmt, 8191, 0), -1);
    EXPECT_EQ(g_formatEntry.fmt_find_stream(hFmt, 0), -1);
    g_formatEntry.fmt_close(hFmt);
}

TEST_F(SrtTest, SeekFindsTheFirstCueThatReachesTheTime) {
    // The third has no known end, so every later time is within it.
    const std::string strBytes = Line(1, 2) + "a\n\n" + Line(4, 6) + "b\n\n" + Line(8, 9) + "c\n\n";
    static const struct {
        int64_t s64Pts;
        const char *pszNext; // null: no such cue, and the next read is the one before
    } s_astRows[] = {{0, "a\n\n"},    {-5, "a\n\n"},   {1000, "a\n\n"}, {2000, "a\n\n"}, {2001, "b\n\n"},
                     {5999, "b\n\n"}, {6000, "b\n\n"}, {6001, "c\n\n"}, {9000, "c\n\n"}, {9001, nullptr}};
    void *hFmt = PlayerOpenBytes("a.srt", strBytes);
    ASSERT_NE(hFmt, nullptr);
    FmtFrame stFrame = {};
    for (const auto &stRow : s_astRows) {
        SCOPED_TRACE(stRow.s64Pts);
        ASSERT_EQ(g_formatEntry.fmt_seek_pts(hFmt, 8191, 4000), 0);
        EXPECT_EQ(g_formatEntry.fmt_seek_pts(hFmt, 8191, stRow.s64Pts), stRow.pszNext != nullptr ? 0 : -1);
        ASSERT_EQ(g_formatEntry.fmt_read(hFmt, &stFrame), 0);
        EXPECT_STREQ(reinterpret_cast<char *>(stFrame.pu8Data), stRow.pszNext != nullptr ? stRow.pszNext : "b\n\n");
    }
    g_formatEntry.fmt_close(hFmt);

    hFmt = PlayerOpenBytes("a.srt", Line(5, 4) + "open end\n\n");
    EXPECT_EQ(g_formatEntry.fmt_seek_pts(hFmt, 8191, 4000000000LL), 0);
    EXPECT_EQ(g_formatEntry.fmt_seek_pts(hFmt, 8191, 5000000000LL), -1);
    g_formatEntry.fmt_close(hFmt);
    hFmt = PlayerOpenBytes("a.srt", "no cue\n");
    EXPECT_EQ(g_formatEntry.fmt_seek_pts(hFmt, 8191, 0), -1);
    EXPECT_TRUE(HostLogged("srt node num is 0", "SrtDemuxerSeekPts"));
    g_formatEntry.fmt_close(hFmt);
}

TEST_F(SrtTest, AFailedHeaderOrFirstSeekFailsTheBuild) {
    CharsetOps *pstOps = ConverterDouble();
    g_converter.bStreamTypeFails = true;
    EXPECT_EQ(PlayerOpenBytes("a.srt", s_strTime, pstOps), nullptr);
    EXPECT_TRUE(HostLogged("Skip header failed!", "SrtParse"));
    void *hFmt = PlayerOpen("/a.srt", MemoryProtocol(s_strTime));
    g_memoryFile.s32FailSeekAt = 1; // without a converter the only seek ahead of the lines
    EXPECT_EQ(g_formatEntry.fmt_find_stream(hFmt, 0), -1);
    EXPECT_TRUE(HostLogged("seek to s64StartPos failed!", "SrtParse"));
    g_formatEntry.fmt_close(hFmt);
}

TEST_F(SrtTest, Utf16IsReadInPairs) {
    // A converter that takes the zero bytes out, as one to UTF-8 would for these characters.
    for (const bool bBigEndian : {false, true}) {
        CharsetOps stOps = *ConverterDouble();
        g_converter.s32StreamType = bBigEndian ? STREAM_TYPE_UTF16BE : STREAM_TYPE_UTF16LE;
        stOps.convert = [](void *, uint8_t *pu8Out, int32_t *ps32OutLen, const uint8_t *pu8In, int32_t s32InLen,
                           int32_t, int32_t, int32_t *ps32Used) {
            int32_t s32Out = 0;
            for (int32_t i = 0; i < s32InLen; i++) {
                if (pu8In[i] != 0) {
                    pu8Out[s32Out++] = pu8In[i];
                }
            }
            *ps32OutLen = s32Out;
            *ps32Used = s32InLen;
            return 0;
        };
        const std::string strMark = bBigEndian ? "\xFE\xFF" : "\xFF\xFE";
        const std::string strBytes = "1\r\n00:00:01,000 --> 00:00:02,500\r\nOne\r\n\r\n2\r\n" + Line(3, 4) + "Two\n\n";
        EXPECT_EQ(PlayerTold(PlayerCuesOf("a.srt", strMark + Utf16(strBytes, bBigEndian), &stOps)),
                  "1000+1500 One\r\n\r\n|3000+1000 Two\n\n|");
    }
}
