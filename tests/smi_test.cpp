// SAMI, from bytes to frames: what is a cue, how long it lasts, which stream's text it has, and what becomes of that.
#include "tests/player.h"

#include <cstring>
#include <gtest/gtest.h>

struct SmiTest : testing::Test {
    void SetUp() override {
        HostReset();
    }
    void TearDown() override {
        EXPECT_TRUE(HostNothingLeft());
    }
};

TEST_F(SmiTest, CuesOfAFile) {
    static const std::string s_strNul(1, '\0');
    static const struct {
        const char *pszWhat;
        std::string strBytes, strTold;
    } s_astRows[] = {
        {"a cue lasts until the next, the last one five seconds", "<SYNC Start=1000><P Class=A>a\n<SYNC Start=4000>\nb",
         "1000+3000 a\n|4000+5000 \nb|"},
        {"any case, and blanks before the tag", "<Sync Start=1>a\n   <sync start=2>b\n", "1+1 a\n|2+5000 b\n|"},
        {"no tab, no paragraph, and a number", "\t<SYNC Start=1>\n<P Class=A><SYNC Start=2>\n<SYNC Start=>\n", ""},
        {"an end of its own", "<SYNC Start=1000 end=2500>a\n<SYNC Start=4000>b\n", "1000+1500 a\n|4000+5000 b\n|"},
        {"an end before the start", "<SYNC Start=2500 End=1000>a\n", "2500+1500 a\n|"},
        {"an end with a sign; -1 is none", "<SYNC Start=5 End= -7>a\n<SYNC Start=5 End=-1>b\n", "5+12 a\n|5+5000 b\n|"},
        {"out of order", "<SYNC Start=9>c\n<SYNC Start=1>a\n<SYNC Start=4>b\n", "1+3 a\n|4+5000 b\n|9+8 c\n|"},
        {"equal starts keep their order", "<SYNC Start=9>c\n<SYNC Start=1 End=2>a\n<SYNC Start=1 End=3>b\n",
         "1+1 a\n|1+2 b\n|9+8 c\n|"},
        {"beyond 31 bits, the low half counts", "<SYNC Start=5 End=6>a\n<SYNC Start=2147483648 End=2147483650>b\n",
         "2147483648+2 b\n|5+1 a\n|"},
        {"numbers beyond 64 bits", "<SYNC Start=99999999999999999999 End=-99999999999999999999>a\n",
         "9223372032559808512+0 a\n|"},
        {"a number of 64 bits", "<SYNC Start=4294967296 End=8589934590>a\n", "4294967296+4294967294 a\n|"},
        {"quotes, a sign, empty lines", "\r\n<SYNC Start=\"-7\"><P Class=\"A\">\r\n\r\na\r\n", "7+5000 \na\n|"},
        {"a header", "<SAMI>\n<HEAD>\n.A {}\n</HEAD>\n<BODY>\n<SYNC Start=1>a\n", "1+5000 a\n|"},
        {"a file that ends in its header", "<SAMI>\n<HEAD>\nx\n", ""},
        {"unclosed tags take their line", "<SYNC Start=1\na\n<P Class\nb\n<SYNC Start=2>c", "1+1 a\nb\n|2+5000 c|"},
        {"a zero byte ends the times of a line, not its text",
         "<SYNC Start=1" + s_strNul + "End=9>a\n<SYNC Start=" + s_strNul + "5>b\nc" + s_strNul + "d",
         "1+5000 a\nb\nc" + s_strNul + "d|"},
    };
    for (const auto &stRow : s_astRows) {
        SCOPED_TRACE(stRow.pszWhat);
        void *hFmt = PlayerOpenBytes("a.smi", stRow.strBytes);
        ASSERT_NE(hFmt, nullptr);
        EXPECT_EQ(PlayerTold(PlayerReadAll(hFmt)), stRow.strTold);
        g_formatEntry.fmt_seek_pts(hFmt, 8191, INT64_MAX); // whatever the ends come to
        g_formatEntry.fmt_close(hFmt);
    }
}

TEST_F(SmiTest, TextOfACue) {
    static const struct {
        const char *pszText, *pszDelivered;
    } s_astRows[] = {
        {"one<br>two&nbsp;three", "one\ntwo three"},
        {"<BR><br><Br><br/><BR >&NBSP;&nbsp;&nbsp", "\n\n<Br><br/><BR >&NBSP; &nbsp"},
        {"<b<br>r>&n<br>bsp;&nb&nbsp;sp;", "<b\nr>&n\nbsp;&nb sp;"},
        {"<font color=red>Yes</font></P>", "<font color=red>Yes</font></P>"},
        {"<P Class=ENCC> &nbsp;", "  "},
        {"  <P Class=ENCC>  <BODY>x <P Class=ENCC>", "x <P Class=ENCC>"},
        {"</BODY></SAMI>", ""},
        {"\n<P Class=A>a\n<P Class=B>b\nb", "\na\n"},
        {"a\n<P Class=A>a<SYNC Start=no>\n<SYNC Start=>b", "a\na<SYNC Start=no>\nb"},
        {"a\n  c\n<P Class=B><SYNC Start=7>b", "a\nc\n"},
    };
    for (const auto &stRow : s_astRows) {
        const std::string strBytes = "<SYNC Start=3>" + std::string(stRow.pszText);
        EXPECT_EQ(PlayerCuesOf("a.smi", strBytes).at(0).strText, stRow.pszDelivered) << stRow.pszText;
    }
}

TEST_F(SmiTest, EveryClassIsAStream) {
    const std::string strBytes = ".KRCC { Name: Korean Caption; lang: ko-KR; }\n  .ENCC {lang:en}\n .NONE\n<BODY>\n"
                                 "<SYNC Start=1000>\n<P Class=KRCC>\nK1\n<P Class=ENCC>E1\n<P Class=NONE>\nN1\n"
                                 "<SYNC Start=2000><P Class=KRCC>lost\n<P Class=ENCC>first\n";
    static const char *const s_aapszStreams[][3] = {{"ko", "KoreanCaption", "1000+1000 \nK1\n|2000+5000 first\n|"},
                                                    {"en", "", "1000+1000 E1\n|2000+5000 |"},
                                                    {"", "", "1000+1000 \nN1\n|2000+5000 |"}};
    void *hFmt = PlayerOpenBytes("a.smi", strBytes);
    ASSERT_NE(hFmt, nullptr);
    ASSERT_EQ(g_formatEntry.fmt_find_stream(hFmt, 0), 0); // once more changes nothing that a player sees
    for (int32_t i = 0; i < 3; i++) {
        const SubStreamInfo *pstStream = PlayerStream(hFmt, static_cast<uint32_t>(i));
        ASSERT_NE(pstStream, nullptr);
        EXPECT_EQ(pstStream->s32StreamIndex, 8191 + i);
        EXPECT_STREQ(pstStream->aszLang, s_aapszStreams[i][0]);
        EXPECT_STREQ(pstStream->aszTitle, s_aapszStreams[i][1]);
        EXPECT_EQ(g_formatEntry.fmt_seek_pts(hFmt, 8191 + i, 0), 0);
        EXPECT_EQ(PlayerTold(PlayerReadAll(hFmt)), s_aapszStreams[i][2]);
    }
    EXPECT_EQ(PlayerStream(hFmt, 3), nullptr);
    EXPECT_EQ(g_formatEntry.fmt_seek_pts(hFmt, 8190, 0) + g_formatEntry.fmt_seek_pts(hFmt, 8194, 0), -2);
    EXPECT_EQ(HostCount("streamIndex error"), 2);
    // The stream is chosen even where the time is not found.
    EXPECT_EQ(g_formatEntry.fmt_seek_pts(hFmt, 8191, 0), 0);
    EXPECT_EQ(g_formatEntry.fmt_seek_pts(hFmt, 8192, 7001), -1);
    FmtFrame stFrame = {};
    ASSERT_EQ(g_formatEntry.fmt_read(hFmt, &stFrame), 0);
    EXPECT_EQ(stFrame.s32StreamIndex, 8192);
    EXPECT_STREQ(reinterpret_cast<char *>(stFrame.pu8Data), "E1\n");
    g_formatEntry.fmt_close(hFmt);
}

TEST_F(SmiTest, ClassesStandInTheHeaderAlone) {
    void *hFmt = PlayerOpenBytes("a.smi", ".ONE {lang:en}\n</HEAD>\n.TWO {lang:ko}\n<BODY>\n<SYNC Start=1>a\n");
    ASSERT_NE(hFmt, nullptr);
    EXPECT_EQ(PlayerStream(hFmt, 1), nullptr);
    EXPECT_EQ(PlayerTold(PlayerReadAll(hFmt)), "1+5000 a\n|");
    g_formatEntry.fmt_close(hFmt);
}

TEST_F(SmiTest, ClassesAndTheirNamesHaveALimit) {
    std::string strBytes;
    for (int i = 0; i < 40; i++) {
        strBytes +=
            ".C { Name: " + std::string(static_cast<size_t>(43 + i), 'n') + "; Lang: x" + std::to_string(i) + "\n";
    }
    void *hFmt = PlayerOpenBytes("a.smi", strBytes);
    ASSERT_NE(hFmt, nullptr);
    EXPECT_EQ(PlayerStream(hFmt, 32), nullptr);
    for (uint32_t i = 0; i < 32; i++) {
        EXPECT_EQ(PlayerStream(hFmt, i)->aszTitle, std::string(std::min(43 + i, 63u), 'n'));
        EXPECT_EQ(PlayerStream(hFmt, i)->aszLang, "x" + std::to_string(i) + "\n");
    }
    g_formatEntry.fmt_close(hFmt);
}

TEST_F(SmiTest, TextThatDoesNotFitLosesALineOrItsLastByte) {
    static const struct {
        size_t uFirst, uSecond, uDelivered; // lengths of two lines; the sync line's line feed counts with the first
    } s_astRows[] = {{1000, 1559, 2559}, {1000, 1560, 2559}, {1000, 1561, 1000}, {2559, 1, 2559}, {2560, 9, 2559}};
    for (const auto &stRow : s_astRows) {
        SCOPED_TRACE(stRow.uSecond);
        void *hFmt = PlayerOpenBytes("a.smi", "<SYNC Start=1>\n<SYNC Start=2>\n" + std::string(stRow.uFirst - 2, 'a') +
                                                  "\n" + std::string(stRow.uSecond - 1, 'b') + "\n<SYNC Start=3>x");
        ASSERT_NE(hFmt, nullptr);
        FmtFrame stFrame = {};
        for (const size_t uLen : {size_t(1), stRow.uDelivered, size_t(1)}) {
            ASSERT_EQ(g_formatEntry.fmt_read(hFmt, &stFrame), 0);
            EXPECT_EQ(stFrame.u32DataLen, uLen);
            const std::string strWhole(reinterpret_cast<char *>(stFrame.pu8Data), 2560);
            EXPECT_EQ(strWhole.find_first_not_of('\0', uLen), std::string::npos);
        }
        g_formatEntry.fmt_close(hFmt);
    }
    EXPECT_TRUE(HostLogged("SVR_SUB_STR_IN_MAX_LEN <= s32SubBuffSize", "SmiDemuxerRead"));
}

TEST_F(SmiTest, ABuildThatEndsEarlyKeepsWhatItHas) {
    std::string strBytes;
    for (int i = 0; i < 4097; i++) {
        strBytes += "<SYNC Start=" + std::to_string(i) + ">\n";
    }
    static const struct {
        const char *pszMessage, *pszFunction;
        int32_t s32Allocation, s32Seek; // which one after open fails
        int32_t s32Result, s32Cues, s32Nulls;
    } s_astRows[] = {
        {"Seek SMI file failed!", "SmiSkipHead", 0, 1, -1, 0, 0},
        {" get file info failed!", "SmiDemuxerFindStream", 2, 0, -1, 0, 0},
        {"realloc smiIndexNodeList failuer", "SmiNodeSave", 3, 0, 0, 0, 2},
        {"realloc smiIndexNodeList failuer", "SmiNodeSave", 4, 0, 0, 0, 2},
        {"Seek SMI file failed!", "SmiParse", 0, 3, -1, 0, 0},
        {"seek fail!", "SmiNodeParse", 0, 4, 0, 0, 1},
        {"seek fail!", "SmiNodeParse", 0, 6, 0, 2, 1},
    };
    for (const auto &stRow : s_astRows) {
        SCOPED_TRACE(std::string(stRow.pszMessage) + std::to_string(stRow.s32Allocation + stRow.s32Seek));
        HostReset();
        void *hFmt = PlayerOpen("/a.smi", MemoryProtocol(strBytes));
        ASSERT_NE(hFmt, nullptr);
        g_host.s32FailAt = g_host.s32Allocations + stRow.s32Allocation;
        g_memoryFile.s32FailSeekAt = g_memoryFile.s32Seeks + stRow.s32Seek;
        EXPECT_EQ(g_formatEntry.fmt_find_stream(hFmt, 0), stRow.s32Result);
        EXPECT_TRUE(HostLogged(stRow.pszMessage, stRow.pszFunction));
        EXPECT_EQ(HostCount("null"), stRow.s32Nulls);
        EXPECT_EQ(PlayerReadAll(hFmt).size(), static_cast<size_t>(stRow.s32Cues));
        g_formatEntry.fmt_close(hFmt);
    }
}

TEST_F(SmiTest, AReadThatFailsCostsOneCue) {
    void *hFmt = PlayerOpenBytes("a.smi", "<SYNC Start=1>a\n<SYNC Start=2>b\n<SYNC Start=3>c\n", ConverterDouble());
    ASSERT_NE(hFmt, nullptr);
    g_memoryFile.s32FailSeekAt = g_memoryFile.s32Seeks + 1;
    FmtFrame stFrame = {};
    EXPECT_EQ(g_formatEntry.fmt_read(hFmt, &stFrame), -1);
    EXPECT_TRUE(HostLogged("seek to s64Offset failed!", "SmiDemuxerRead"));
    g_converter.s32OutLen = SVR_SUB_STR_OUT_MAX_LEN;
    EXPECT_EQ(g_formatEntry.fmt_read(hFmt, &stFrame), -1);
    EXPECT_TRUE(HostLogged("null", "SmiDemuxerRead"));
    g_converter.s32OutLen = -1;
    g_formatEntry.fmt_invoke(hFmt, INVOKE_STOP, nullptr);
    EXPECT_EQ(g_formatEntry.fmt_read(hFmt, &stFrame), -1);
    EXPECT_TRUE(HostLogged("stop reading smi subtitle", "SmiDemuxerRead"));
    EXPECT_EQ(g_formatEntry.fmt_read(hFmt, &stFrame), -2);
    g_formatEntry.fmt_close(hFmt);
}

TEST_F(SmiTest, TheHeaderIsLookedThroughForFiftyThousandLines) {
    for (const int s32Lines : {49999, 50000}) {
        std::string strBytes = ".ONE {Name: One; lang: en-US;}\n";
        for (int i = 1; i < s32Lines; i++) {
            strBytes += i % 2 == 0 ? "\n" : "x\n"; // empty lines count
        }
        strBytes += ".TWO {Name: Two; lang: ko-KR;}\n<BODY>\n<SYNC Start=1000><P Class=ONE>\nHello\n";
        void *hFmt = PlayerOpenBytes("a.smi", strBytes);
        ASSERT_NE(hFmt, nullptr);
        EXPECT_EQ(PlayerStream(hFmt, 1) != nullptr, s32Lines == 49999);
        EXPECT_EQ(PlayerReadAll(hFmt).size(), 1u);
        g_formatEntry.fmt_close(hFmt);
    }
}
