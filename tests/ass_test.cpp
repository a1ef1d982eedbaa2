// ASS/SSA, from bytes to header and frames: which line is which, what times an event has, which events share a frame.
#include "tests/player.h"

#include <cstring>
#include <gtest/gtest.h>

struct AssTest : testing::Test {
    void SetUp() override {
        HostReset();
    }
    void TearDown() override {
        EXPECT_TRUE(HostNothingLeft());
        EXPECT_EQ(g_converter.s32Live, 0);
    }
};

static const std::string s_strHead = "[Script Info]\nTitle: x\n[Events]\nFormat: Layer, Start, End, Text\n";

static std::string Event(const char *pszTimes, const char *pszText) {
    return std::string("Dialogue: 0,") + pszTimes + ",Default,," + pszText + "\n";
}

// The header as the host gets it, "-" when find-stream failed.
static std::string HeaderOf(const std::string &strBytes) {
    void *hFmt = PlayerOpenBytes("a.ass", strBytes);
    if (hFmt == nullptr) {
        return "-";
    }
    const SubStreamInfo *pstStream = PlayerStream(hFmt);
    std::string strHeader(reinterpret_cast<const char *>(pstStream->pu8ExtraData), pstStream->u32ExtraDataSize);
    g_formatEntry.fmt_close(hFmt);
    return strHeader;
}

TEST_F(AssTest, EveryLineIsHeaderOrEvent) {
    const std::string strEvent = Event("0:00:01.00,0:00:02.00", "a");
    static const std::string s_strComment = "Comment: 0,0:00:01.00,0:00:02.00,,,c\n";
    struct Row {
        const char *pszWhat;
        std::string strBytes, strHeader;
    };
    const Row astRows[] = {
        {"events are left out", s_strHead + strEvent + strEvent, s_strHead},
        {"comments and blank lines", s_strHead + s_strComment + "\n" + strEvent + s_strComment,
         s_strHead + s_strComment + s_strComment},
        {"an event line in any case, behind anything", s_strHead + "  dIALOGUE: 0,0:00:01.00,0:00:02.00,,,c\n",
         s_strHead},
        {"no [Script Info]", "[Events]\n[Events]\nFormat: x\n" + strEvent, "[Events]\n[Events]\nFormat: x\n"},
        {"a section behind the events keeps its lines, whatever they look like",
         s_strHead + strEvent + "[Fonts]\nfontname: a\n" + strEvent, s_strHead + "[Fonts]\nfontname: a\n" + strEvent},
        {"a second [Events] needs no new Format", s_strHead + strEvent + "[Events]\nx: y\n" + strEvent,
         s_strHead + "[Events]\nx: y\n"},
        {"[Events] without Format", "[Script Info]\n[Events]\n" + strEvent, "-"},
        {"no event", s_strHead + s_strComment, "-"},
        {"an event that is skipped counts", s_strHead + "Dialogue: 0,nonsense\n", s_strHead},
        {"events before [Events]", "[Script Info]\n" + strEvent, "-"},
        {"empty file but for a line end", "\n", "-"},
    };
    for (const Row &stRow : astRows) {
        EXPECT_EQ(HeaderOf(stRow.strBytes), stRow.strHeader) << stRow.pszWhat;
    }
    EXPECT_TRUE(HostLogged("missing [Script Info]!, not ass/ssa file!", "AssHeaderParseInit"));
    EXPECT_TRUE(HostLogged("missing FORMAT: after EVENTS!", "AssHeaderParsEvent"));
    EXPECT_TRUE(HostLogged("_ASS_HEADER_Store failed!", "AssHeaderParse"));
    EXPECT_TRUE(HostLogged("null", "AssParse"));
}

TEST_F(AssTest, TimesOfAnEvent) {
    static const struct {
        const char *pszWhat, *pszEvent, *pszTold; // without the line itself
    } s_astRows[] = {
        {"hundredths", "Dialogue: 0,0:00:01.50,0:00:03.00,Default,,0,0,0,,Hello\n", "1500+1500"},
        {"SSA v4 marks its events", "Dialogue: Marked=0,1:02:03.04,1:02:03.05,x,,a\n", "3723040+10"},
        {"end before start: swapped", "Dialogue: 0,0:00:05.00,0:00:02.00,,,a\n", "2000+3000"},
        {"one digit of the hour", "Dialogue: 0,12:00:01.00,13:00:02.00,,,a\n", "7201000+3601000"},
        {"start behind the ninth comma", "Dialogue: 0,,,,,,,,,0:00:01.00,0:00:02.00,a\n", nullptr},
        {"start behind the eighth", "Dialogue: ,,,,,,,0:00:01.00,0:00:02.00,a\n", "1000+1000"},
        {"no end", "Dialogue: 0,0:00:01.00\n", nullptr},
        {"end without a fraction", "Dialogue: 0,0:00:01.00,0:00:02,a\n", nullptr},
        {"nothing", "Dialogue:\n", nullptr},
        {"colon at once", "Dialogue::::::\n", nullptr},
    };
    for (const auto &stRow : s_astRows) {
        const std::string strTold =
            stRow.pszTold == nullptr ? "" : std::string(stRow.pszTold) + " " + stRow.pszEvent + "|";
        EXPECT_EQ(PlayerTold(PlayerCuesOf("a.ass", s_strHead + stRow.pszEvent)), strTold) << stRow.pszWhat;
    }
    EXPECT_TRUE(HostLogged("WARNING! get pts failed!", "AssNodeParse"));
    EXPECT_TRUE(HostLogged("WARNING! *ps64StartPts > s64EndPts! ", "AssGetPts"));
}

TEST_F(AssTest, EventsOfOneTimeShareAFrame) {
    const std::string strA = Event("0:00:01.00,0:00:02.00", "a");
    const std::string strB = Event("0:00:01.00,0:00:02.00", "b");
    const std::string strLong = Event("0:00:01.00,0:00:03.00", "c");
    const std::string strEarly = Event("0:00:00.50,0:00:03.00", "d");
    const std::vector<PlayerCue> vecCues = PlayerCuesOf("a.ass", s_strHead + strA + strB + strLong + strA + strEarly);
    EXPECT_EQ(PlayerTold(vecCues), "500+2500 " + strEarly + "|1000+1000 " + strA + strB + "|1000+2000 " + strLong +
                                       "|1000+1000 " + strA + "|");
    EXPECT_EQ(vecCues.at(1).s64Pos, static_cast<int64_t>(s_strHead.size() + strA.size())); // of the last line
}

TEST_F(AssTest, MergedLinesThatDoNotFitGoOnInTheNextFrame) {
    // Sizes that fill the line buffer exactly, and one byte beyond it.
    for (const size_t uLast : {560u, 561u}) {
        std::string strBytes = s_strHead;
        std::vector<std::string> vecLines;
        for (const size_t uLen : {size_t{1000}, size_t{1000}, uLast, size_t{30}}) {
            std::string strLine = Event("0:00:01.00,0:00:02.00", "");
            strLine.insert(strLine.size() - 1, uLen > strLine.size() ? uLen - strLine.size() : 0, 'x');
            vecLines.push_back(strLine);
            strBytes += strLine;
        }
        ASSERT_EQ(vecLines[2].size(), uLast);
        const std::string strFirst = vecLines[0] + vecLines[1];
        EXPECT_EQ(PlayerTold(PlayerCuesOf("a.ass", strBytes)),
                  uLast == 560 ? "1000+1000 " + strFirst + vecLines[2] + "|1000+1000 " + vecLines[3] + "|"
                               : "1000+1000 " + strFirst + "|1000+1000 " + vecLines[2] + vecLines[3] + "|");
    }
    // A line that is too long by itself costs its own read and no other event.
    const std::string strShort = Event("0:00:01.00,0:00:02.00", "a");
    EXPECT_EQ(
        PlayerTold(PlayerCuesOf(
            "a.ass", s_strHead + strShort + Event("0:00:01.00,0:00:02.00", std::string(2600, 'x').c_str()) + strShort)),
        "1000+1000 " + strShort + "|!|1000+1000 " + strShort + "|");
}

TEST_F(AssTest, TheHeaderGrowsToTwoMebibytesAndNoFurther) {
    const std::string strEvent = Event("0:00:01.00,0:00:02.00", "a");
    for (const size_t uOver : {0u, 1u}) {
        std::string strHead = s_strHead;
        while (strHead.size() < 0x200000 - 200) {
            strHead += std::string(99, 'h') + "\n";
        }
        strHead += std::string(0x200000 - strHead.size() - 1 + uOver, 'h') + "\n";
        EXPECT_EQ(HeaderOf(strHead + strEvent) == strHead, uOver == 0);
    }
    EXPECT_TRUE(HostLogged("store ass header error, header too long(2097153)", "AssHeaderStore"));
}

// Lines that conversion lengthens leave the allocation with room beyond the limit.
TEST_F(AssTest, AHeaderThatConversionLengthensIsHeldToTheSameLimit) {
    CharsetOps stOps = *ConverterDouble();
    stOps.convert = [](void *, uint8_t *pu8Out, int32_t *ps32OutLen, const uint8_t *pu8In, int32_t s32InLen, int32_t,
                       int32_t, int32_t *ps32Used) {
        memcpy(pu8Out, pu8In, static_cast<size_t>(s32InLen));
        *ps32Used = s32InLen;
        *ps32OutLen = pu8In[0] == 'T' ? 5000 : (pu8In[0] == 'h' ? 4000 : s32InLen);
        return 0;
    };
    std::string strBytes = "[Script Info]\nTitle: x\n";
    for (int i = 0; i < 524; i++) { // 2,101,000 bytes and a little
        strBytes += "h\n";
    }
    strBytes += "[Events]\nFormat: x\n" + Event("0:00:01.00,0:00:02.00", "a");
    EXPECT_EQ(PlayerOpenBytes("a.ass", strBytes, &stOps), nullptr);
    EXPECT_TRUE(HostLogged("store ass header error, header too long(2101014)", "AssHeaderStore"));
}

TEST_F(AssTest, AFileThatCannotBeParsedIsTriedInTheNextBestCodeType) {
    g_formatEntry.s32CodeTypeHint = 5;
    EXPECT_EQ(PlayerOpenBytes("a.ass", "no event", ConverterDouble()), nullptr);
    EXPECT_EQ(g_converter.s32Identifies, 2);
    EXPECT_EQ(g_converter.s32LastHint, 0x123456);
    g_formatEntry.s32CodeTypeHint = 0x123456;
    EXPECT_EQ(PlayerOpenBytes("a.ass", "no event", ConverterDouble()), nullptr);
    EXPECT_EQ(g_converter.s32Identifies, 1);
    g_formatEntry.s32CodeTypeHint = 0;
}

TEST_F(AssTest, TheHeaderIsHandedOutAgainAfterAChangeOfCodeType) {
    const std::string strEvent = Event("0:00:01.00,0:00:02.00", "a");
    void *hFmt = PlayerOpenBytes("a.ass", s_strHead + strEvent, ConverterDouble());
    ASSERT_NE(hFmt, nullptr);
    int32_t s32CodeType = 9;
    g_converter.s32OutLen = 8; // every line now comes out as its first eight bytes
    EXPECT_EQ(g_formatEntry.fmt_invoke(hFmt, INVOKE_SET_SRC_CODETYPE, &s32CodeType), 0);
    EXPECT_TRUE(HostLogged("ASS:reparse index failed!", "AssDemuxerInvoke"));
    EXPECT_EQ(
        std::string(reinterpret_cast<char *>(PlayerStream(hFmt)->pu8ExtraData), PlayerStream(hFmt)->u32ExtraDataSize),
        "[Script Title: x[Events]Format: Dialogue"); // no longer an event
    s32CodeType = 0;
    g_converter.s32OutLen = -1;
    EXPECT_EQ(g_formatEntry.fmt_invoke(hFmt, INVOKE_SET_SRC_CODETYPE, &s32CodeType), 0);
    EXPECT_EQ(s32CodeType, 0);
    EXPECT_EQ(PlayerStream(hFmt)->u32ExtraDataSize, s_strHead.size());
    EXPECT_EQ(PlayerReadAll(hFmt).size(), 1u);

    // A header that memory has no room for is gone, for the host as well.
    g_host.s32FailAt = g_host.s32Allocations + 2;
    g_memoryFile.strBytes = s_strHead + std::string(2500, 'h') + "\n" + std::string(2500, 'h') + "\n" + strEvent;
    s32CodeType = 11;
    EXPECT_EQ(g_formatEntry.fmt_invoke(hFmt, INVOKE_SET_SRC_CODETYPE, &s32CodeType), 0);
    g_host.s32FailAt = g_host.s32Allocations + 1;
    s32CodeType = 12;
    EXPECT_EQ(g_formatEntry.fmt_invoke(hFmt, INVOKE_SET_SRC_CODETYPE, &s32CodeType), 0);
    g_formatEntry.fmt_close(hFmt);
}

// Its events stand in the file's order, where halving would miss the first.
TEST_F(AssTest, AnIndexThatAStopLeftIsSearchedFromItsBegin) {
    static const char s_aszHead[] = "[Script Info]\n[Events]\nFormat: x\n";
    static const char s_aszFirst[] = "Dialogue: 0,0:00:05.00,0:00:05.00,x\nDialogue: 0,0:00:01.00,0:00:01.00,x\n";
    void *hFmt =
        PlayerOpenBytes("a.ass", s_aszHead + std::string(s_aszFirst) + "Dialogue: 0,0:00:07.00,0:00:07.00,x\n");
    ASSERT_NE(hFmt, nullptr);
    const size_t uFirst = strlen(s_aszHead) + strlen(s_aszFirst);
    g_memoryFile.s32StopReadAt = g_memoryFile.s32Reads + static_cast<int32_t>(uFirst) + 4;
    g_memoryFile.hStopped = hFmt;
    int32_t s32CodeType = 9;
    EXPECT_EQ(g_formatEntry.fmt_invoke(hFmt, INVOKE_SET_SRC_CODETYPE, &s32CodeType), 0);
    FmtFrame stFrame = {};
    EXPECT_EQ(g_formatEntry.fmt_seek_pts(hFmt, 8191, 4500), 0);
    EXPECT_EQ(g_formatEntry.fmt_read(hFmt, &stFrame), 0);
    EXPECT_EQ(stFrame.s64Pts, 5000);
    g_formatEntry.fmt_close(hFmt);
}

TEST_F(AssTest, ConversionThatFailsWhileReadingStillDeliversWithinTheBuffer) {
    for (const int32_t s32Claimed : {SVR_SUB_STR_OUT_MAX_LEN, INT32_MAX}) {
        void *hFmt = PlayerOpenBytes("a.ass", s_strHead + Event("0:00:01.00,0:00:02.00", "a"), ConverterDouble());
        ASSERT_NE(hFmt, nullptr);
        g_converter.s32OutLen = s32Claimed;
        FmtFrame stFrame = {};
        EXPECT_EQ(g_formatEntry.fmt_read(hFmt, &stFrame), 0);
        EXPECT_EQ(stFrame.u32DataLen, static_cast<uint32_t>(SVR_SUB_STR_OUT_MAX_LEN));
        EXPECT_TRUE(HostLogged("SVR_SUB_TRANSCODE_Line failed!", "AssDemuxerRead"));
        g_formatEntry.fmt_close(hFmt);
    }
}
