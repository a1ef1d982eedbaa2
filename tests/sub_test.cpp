// Text SUB, from bytes to frames: which format a file is in, what is a cue, and what becomes of its times and text.
#include "tests/player.h"

#include <algorithm>
#include <gtest/gtest.h>

struct SubTest : testing::Test {
    void SetUp() override {
        HostReset();
    }
    void TearDown() override {
        EXPECT_TRUE(HostNothingLeft());
    }
};

static std::string Told(const std::string &strBytes) {
    void *hFmt = PlayerOpenBytes("a.sub", strBytes);
    const std::string strTold = hFmt != nullptr ? PlayerToldTerminated(hFmt) : "none";
    g_formatEntry.fmt_close(hFmt);
    return strTold;
}

static std::string Lines(size_t uCount) {
    std::string str(2 * uCount, '\n');
    for (size_t i = 0; i < uCount; i++) {
        str[2 * i] = 'x';
    }
    return str;
}

TEST_F(SubTest, CuesOfAFile) {
    static const std::string s_strNul(1, '\0');
    static const std::pair<std::string, std::string> s_astRows[] = {
        {"{1}{1}25\n{100}{250}Hello|World\n", "4000+6000 Hello\nWorld|"},
        {"{1}{1}23.976\r\n{24}{}a\r\n", "1001+0 a|"},
        {"{1}{1}10.0.5|\n", "33+0 10.0.5\n|"},
        {"{1}{}...\n{1}{60}\n{30}{}a\n", "1000+1000 a|"},
        {"{1}{1}25\n\n{9}{3}b[br]c\n?\n{ -5}{+3}{y:i}a\rlost\n{1}{2}\n", "360+0 b\nc|-200+320 {y:i}a|"},
        {"{30}{60}a[br]\n{60}{30}[br]", "1000+1000 a\n|2000+0 \n|"},
        {"{5}{5}" + s_strNul + "\n{30}{30}a" + s_strNul + "b\n", "1000+0 a|"},
        {"{9223372036854775807}{}a\n{-9}{9223372036854775807}a\n", "9223372036854775807+0 a|-300+266 a|"},
        {"{1}{1}" + std::string(400, '9') + "\n{7}{8}a\n", "0+0 a|"},
        {"00:00:01.50,00:00:03.00\na|b[br]c\n\n00:00:03,5 --> 00:00:03,2\nd\ne\n\n",
         "1050+1950 a\nb\nc\n|3005+0 d\ne\n|"},
        {"[INFORMATION]\n1\n-1:2:3.4,0:0:0.0\na\n\n\n0:0:1.0,0:0:2.0\nb\n\n", "-3476996+3476996 a\n|"},
        {"0:0:1.0,0:0:2.0\r\nlost at the end", "none"},
        {"FORMAT=TIME\n\n1 2\na\n\n0.5 3\nb|b\n\n1 1\nc\n\n", "1000+2000 a\n|3500+3000 b|b\n|7500+1000 c\n|"},
        {"FORMAT=25.9\n-.4 +1e1 x\na\n\nx 1 2\n2 -1\nb\n\n1 1\nlost", "-10+250 a\n|290+0 b\n|"},
        {"FORMAT=TIME\n.1 .1\na\n\n16777.215 .001\nc\n\n0 9\nd\n\n", "100+100 a\n|16777414+1 c\n|16777416+9000 d\n|"},
        {"FORMAT=-1000000\n1e30 1\na\n\nnan inf\nb\n\n0 9e9\nc\n\n", "-9223372036854775808+0 a\n|0+0 b\n|0+0 c\n|"},
        {"FORMAT=TIME\ninf 9e9\na\n\n", "9223372036854775807+4294967295 a\n|"},
        {"{T 00:01:02:30\nHello\n}\n{T1:0:0:5\nlost\nxy}\na\n\n", "62030+0 Hello\n|"},
        {"{T 0:0:1:0\n\na\n }b\n{T\n}\n{T 0:0:2:0\n}", "1000+0 \na\n|2000+0 |"},
        {Lines(49) + std::string(50, '\n') + "{30}{60}a\n", "1000+1000 a|"},
        {Lines(100) + "{30}{60}a\n", "none"},
        {"FORMAT=\nFORMAT=TIM\nformat=TIME\n{T 1:2:3\n{1}{2\n1:2:3.4,5:6:7\n1:2:3,4-->5:6:7\n", "none"},
    };
    for (const auto &[strBytes, strTold] : s_astRows) {
        EXPECT_EQ(Told(strBytes), strTold) << strBytes.substr(0, 200);
    }
}

TEST_F(SubTest, ASearchForATimeLineOrATextEndHasALimit) {
    static const std::string s_strCut = Lines(1280).substr(0, 2559);
    static const struct {
        // Around as many lines as are looked at, and what comes of them; then around one more.
        std::string strBefore, strAfter, strTold, strToldBeyond;
    } s_astRows[] = {
        {"0:0:1.0,0:0:2.0\na\n\n", "0:0:3.0,0:0:4.0\nb\n\n", "1000+1000 a\n|3000+1000 b\n|",
         "1000+1000 a\n|0+0 0:0:3.0,0:0:4.0\nb\n|"},
        {"0:0:1.0,0:0:2.0\n", "\n", "1000+1000 " + s_strCut + "|", "1000+1000 |"},
        {"{T 0:0:1:0\n", "}\n", "1000+0 " + s_strCut + "|", "1000+0 |"},
    };
    for (const auto &stRow : s_astRows) {
        EXPECT_TRUE(Told(stRow.strBefore + Lines(49999) + stRow.strAfter) == stRow.strTold) << stRow.strBefore;
        EXPECT_EQ(Told(stRow.strBefore + Lines(50000) + stRow.strAfter), stRow.strToldBeyond);
    }
}

TEST_F(SubTest, TheFrameRateComesFromTheFileOrElseFromTheFrame) {
    static const struct {
        const char *pszHead;
        std::vector<std::pair<uint32_t, int64_t>> vecRates; // as the host packs them, and where frame 1000 begins
    } s_astRows[] = {
        {"", {{0, 33333}, {25 << 16, 40000}, {23 << 16 | 976, 41708}, {29 << 16 | 970, 7936}, {1, 1000000000}}},
        {"{1}{1}1\n", {{0, 33333}, {50 << 16, 20000}}},
        {"{1}{1}1.5\n", {{0, 666666}, {50 << 16, 666666}}},
    };
    for (const auto &stRow : s_astRows) {
        for (const auto &[u32Packed, s64Pts] : stRow.vecRates) {
            void *hFmt = PlayerOpenBytes("a.sub", std::string(stRow.pszHead) + "{1000}{1001}a\n");
            ASSERT_NE(hFmt, nullptr);
            FmtFrame stFrame = {};
            stFrame.u32FrameRate = u32Packed;
            ASSERT_EQ(g_formatEntry.fmt_read(hFmt, &stFrame), 0);
            EXPECT_EQ(stFrame.s64Pts, s64Pts) << stRow.pszHead << u32Packed;
            EXPECT_EQ(stFrame.u32Duration, s64Pts / 1000);
            g_formatEntry.fmt_close(hFmt);
        }
    }
}

TEST_F(SubTest, SeekGoesByTheEndOfACue) {
    static const struct {
        const char *pszBytes;
        std::vector<std::pair<int64_t, std::string>> vecSeeks; // a time, and the text read there; empty at the end
    } s_astRows[] = {
        {"0:0:1.0,0:0:3.0\na\n\n0:0:5.0,0:0:6.0\nb\n\n", {{2500, "a\n"}, {4000, "b\n"}, {6000, "b\n"}, {6001, ""}}},
        {"{1}{1}25\n{-9}{-2}a\n{3}{25}b\n{26}{26}c\n",
         {{0, "a"}, {999, "b"}, {1999, "b"}, {2000, ""}, {INT64_MAX, ""}}},
        {"FORMAT=25\n1 1\na\n\n25 1\nb\n\n", {{50, "a\n"}, {600, "b\n"}, {700, "b\n"}, {701, ""}}},
        {"{9223372036854775807}{}a", {{INT64_MAX, "a"}}},
        {"{1}{2}a\n{9}{9}b\n", {{9999, "b"}, {9999, ""}}}, // one frame a second until the first read
    };
    for (const auto &stRow : s_astRows) {
        void *hFmt = PlayerOpenBytes("a.sub", stRow.pszBytes);
        ASSERT_NE(hFmt, nullptr);
        for (const auto &[s64Pts, strText] : stRow.vecSeeks) {
            SCOPED_TRACE(stRow.pszBytes + std::to_string(s64Pts));
            EXPECT_EQ(g_formatEntry.fmt_seek_pts(hFmt, 8191, s64Pts), 0);
            FmtFrame stFrame = {};
            EXPECT_EQ(g_formatEntry.fmt_read(hFmt, &stFrame), strText.empty() ? -2 : 0);
            EXPECT_EQ(stFrame.pu8Data != nullptr ? reinterpret_cast<char *>(stFrame.pu8Data) : "", strText);
        }
        g_formatEntry.fmt_close(hFmt);
    }
}

TEST_F(SubTest, LongTextIsCutWhereTheBuffersEnd) {
    // With the length delivered, tabs as four blanks each.
    static const std::pair<std::string, size_t> s_astRows[] = {
        {"{30}{30}" + std::string(3000, 'a'), 2551},
        {"{30}{30}" + std::string(2000, '\t'), 2559},
        {"FORMAT=TIME\n1 1\n" + std::string(2558, '\t') + "\nlost\n\n", 10233},
        {"0:0:1.0,0:0:2.0\n" + std::string(2557, '|') + "\tlost\n\n", 2562},
    };
    for (const auto &[strBytes, uLen] : s_astRows) {
        void *hFmt = PlayerOpenBytes("a.sub", strBytes);
        ASSERT_NE(hFmt, nullptr);
        int32_t s32Expanded = 2;
        g_formatEntry.fmt_invoke(hFmt, INVOKE_SET_DST_CODETYPE, &s32Expanded);
        const std::string strText = PlayerReadAll(hFmt).at(0).strText;
        EXPECT_EQ(strText.size(), uLen + 1) << strBytes.substr(0, 20);
        g_formatEntry.fmt_close(hFmt);
    }
}

TEST_F(SubTest, AReadThatFails) {
    void *hFmt = PlayerOpenBytes("a.sub", "{1}{1}25\n{1}{2}a|b\n{2}{3}b\n{3}{4}c\n", ConverterDouble());
    ASSERT_NE(hFmt, nullptr);
    FmtFrame stFrame = {};
    g_memoryFile.s32FailSeekAt = g_memoryFile.s32Seeks + 1;
    EXPECT_EQ(g_formatEntry.fmt_read(hFmt, &stFrame), -1); // the cue is tried again
    EXPECT_TRUE(HostLogged("ERREOR!Seek fail", "SubDemuxerRead"));
    g_converter.s32OutLen = SVR_SUB_STR_OUT_MAX_LEN; // refused: the raw text comes, finished in place
    ASSERT_EQ(g_formatEntry.fmt_read(hFmt, &stFrame), 0);
    EXPECT_STREQ(reinterpret_cast<char *>(stFrame.pu8Data), "a\nb");
    EXPECT_TRUE(HostLogged("SVR_SUB_TRANSCODE_Line failed!", "SetFrameInfo"));
    g_converter.s32OutLen = 2; // "{2" has no text: it comes as it is
    ASSERT_EQ(g_formatEntry.fmt_read(hFmt, &stFrame), 0);
    EXPECT_STREQ(reinterpret_cast<char *>(stFrame.pu8Data), "{2");
    EXPECT_TRUE(HostLogged("WARNING! Post-process failed!", "SetFrameInfo"));
    g_memoryFile.s32ShortReadAt = g_memoryFile.s32Reads + 1;
    EXPECT_EQ(g_formatEntry.fmt_read(hFmt, &stFrame), -1);
    EXPECT_TRUE(HostLogged("ERROR!the subdata we read is shorter than its size!", "SubDemuxerRead"));
    EXPECT_EQ(g_formatEntry.fmt_read(hFmt, &stFrame), -2);
    g_formatEntry.fmt_close(hFmt);
}

TEST_F(SubTest, ABuildThatFails) {
    static const char s_aszSeek[] = "ERREOR!Seek fail";
    static const struct {
        const char *pszBytes;
        int32_t s32Seek; // which one after open fails
        const char *pszMessage, *pszFunction;
        int32_t s32Level;
        std::string strTold; // what is read then
    } s_astRows[] = {
        {"{1}{2}a\n", 1, "Seek sub file failed!", "SubParse", 2, "none"},
        {"{1}{1}25\n{25}{50}a\n", 2, s_aszSeek, "SubGetFormat", 2, "40+0 25|1000+1000 a|"},
        {"{30}{60}a\n{1}{2}b\n", 6, s_aszSeek, "SubParseMicrodvd", 2, "1000+1000 a|"},
        {"0:0:1.0,0:0:2.0\na\n\n", 3, s_aszSeek, "SubParseSubviewer", 2, "none"},
        {"0:0:1.0,0:0:2.0\na\n\n", 4, s_aszSeek, "SubReadForParse", 2, "none"},
        {"FORMAT=1\n1 1\na\n\n", 3, s_aszSeek, "SubParseMpsub", 2, "none"},
        {"{T 0:0:1:0\na\n}\n", 4, s_aszSeek, "SubParseDvdsub", 2, "none"},
        {"0:0:1.0,0:0:2.0\na\n\n \n", 0, "[SubParseSubviewer][", "SubParseSubviewer", 2, "1000+1000 a\n|"},
        {"{1}{1}25\n", 0, "null", "SubParseMicrodvd", 2, "none"},
        {"{1}{1}25\n", 0, "Read frame rate from file:25.000000, text:25", "SubGetFormat", 3, "none"},
        {"{T 0:0:1:0\n}\n", 0, "Detected Sub type:dvdsubtitle", "SubParse", 3, "1000+0 |"},
        {"x\n", 0, "Format detect failed. It is not a MicroDvd/MPSUB/Subviewer/DVDSub file!", "SubParse", 2, "none"},
        {"x\n", 0, "Invalid Sub Parse", "CheckReadParam", 2, "none"},
    };
    for (const auto &stRow : s_astRows) {
        SCOPED_TRACE(stRow.pszBytes + std::to_string(stRow.s32Seek));
        HostReset();
        void *hFmt = PlayerOpen("/a.sub", MemoryProtocol(stRow.pszBytes));
        ASSERT_NE(hFmt, nullptr);
        g_memoryFile.s32FailSeekAt = g_memoryFile.s32Seeks + stRow.s32Seek;
        const bool bIndexed = g_formatEntry.fmt_find_stream(hFmt, 0) == 0;
        FmtFrame stFrame = {};
        EXPECT_EQ(bIndexed ? PlayerToldTerminated(hFmt) : "none", stRow.strTold);
        EXPECT_LT(g_formatEntry.fmt_read(hFmt, &stFrame), 0);
        EXPECT_TRUE(std::any_of(g_host.vecMessages.begin(), g_host.vecMessages.end(), [&](const HostMessage &m) {
            return m.strText.starts_with(stRow.pszMessage) && m.strFunction == stRow.pszFunction &&
                   m.s32Level == stRow.s32Level;
        }));
        g_formatEntry.fmt_close(hFmt);
    }
}
