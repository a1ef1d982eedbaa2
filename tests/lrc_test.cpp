// Lyrics, from bytes to frames: what is a cue, which offsets its time has, and which text it gets.
#include "tests/player.h"

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <random>

struct LrcTest : testing::Test {
    void SetUp() override {
        HostReset();
    }
    void TearDown() override {
        EXPECT_TRUE(HostNothingLeft());
    }
};

static std::string Told(const std::string &strBytes) {
    void *hFmt = PlayerOpenBytes("a.lrc", strBytes);
    if (hFmt == nullptr) {
        return "not indexed";
    }
    const std::string strTold = PlayerToldTerminated(hFmt);
    g_formatEntry.fmt_close(hFmt);
    return strTold;
}

TEST_F(LrcTest, CuesOfAFile) {
    static const std::string s_strNul(1, '\0');
    static const struct {
        std::string strBytes, strTold;
    } s_astRows[] = {
        {"[00:12.00][01:30.50]chorus\n", "12000+0 chorus\n|90050+0 chorus\n|"},
        {"[01:02]a\n[1:2.3]b\n[100:00.00]c\n[00:07.5]d", "7005+0 d|62000+0 a\n|62003+0 b\n|"},
        {"[ 1: 2. 3]a\n[-1:+2.-3]b\n[00:01.]c\n[1:2 ]d\n", "-58003+0 b\n|1000+0 c\n|62000+0 d\n|62003+0 a\n|"},
        {"[00:01.567]a\n[99:99.99]b\n[00 :01]c\n[:01]d\n[0x:1]e\n", "1056+0 a\n|6039099+0 b\n|"},
        {"[00:10.00]\n[00:11.00]", "10000+0 \n|11000+0 |"},
        {"[00:05.00]a[ar:b]c\n", "5000+0 a[ar:b]c\n|"},
        {"[00:05.00][ar:b][00:06.00]c\nx[y[00:07.00]z:w]\n", "5000+0 c\n|6000+0 c\n|"},
        {"[00:20.00]b\n[00:10.00]a\n\n", "10000+0 a\n|20000+0 b\n|"},
        {"[ti:x]\nplain\n[unclosed:\n[no colon]\n", ""},
        {"", ""},
        {"[00:01.00]a" + s_strNul + "b\n" + s_strNul + "[00:02.00]c\n", "1000+0 a|"},
    };
    for (const auto &stRow : s_astRows) {
        EXPECT_EQ(Told(stRow.strBytes), stRow.strTold) << stRow.strBytes;
    }
    for (const char *pszMissing : {"tagStart", "tagColon", "tagEnd"}) {
        EXPECT_TRUE(HostLogged("Check [" + std::string(pszMissing) + " == NULL], return NULL", "LrcParseFindTag"));
    }
    EXPECT_TRUE(HostLogged("node str is len invalid:0", "LrcParseLine"));
    EXPECT_TRUE(HostLogged("### invalid line", "LrcParseLine"));
    EXPECT_TRUE(HostLogged("timestamp tag not found !", "LrcParseGetPts"));
    EXPECT_EQ(HostCount("LrcParseLine failed!"), HostCount("### invalid line"));
}

TEST_F(LrcTest, OffsetsOfTheFileAndOfALine) {
    static const struct {
        const char *pszBytes, *pszTold;
        int32_t s32Dropped; // lines taken for the file's offset while indexing
    } s_astRows[] = {
        {"[offset:500]\n[00:01.00]a", "1500+0 a|", 1},
        {"[ti:x]\n[offset: -200]\n\n[00:01.00]a", "800+0 a|", 1},
        {"[offset:1]\n[offset:2]\n[00:01.00]a\n[offset:4]\n", "1002+0 a\n|", 3},
        {"[offset:300][00:01.00]x\n[00:02.00]y", "1300+0 x\n|2000+0 y|", 0},
        {"[offset:7]\n[offset:300][00:01.00]x", "1307+0 x|", 1},
        {"[offset:300][ti:x]\n[offset:4]\n[00:01.00]x", "1004+0 x|", 1}, // the first has a tag behind it
        {"[offset:none]\n[Offset:9]\n[00:01.00]x", "1000+0 x|", 1},
        {"[00:01.00][offset:300][00:02.00]x", "2001+0 x|", 0}, // the number is that of the first tag
        {"[offset:99999999999]\n[00:01.00]a", "2147484647+0 a|", 1},
    };
    for (const auto &stRow : s_astRows) {
        HostReset();
        EXPECT_EQ(Told(stRow.pszBytes), stRow.pszTold) << stRow.pszBytes;
        EXPECT_EQ(HostCount("maybe is file offset, not line offset"), stRow.s32Dropped) << stRow.pszBytes;
    }
}

TEST_F(LrcTest, TimesThatNoOrderHoldsKeepEveryCue) {
    std::mt19937 random(4);
    std::string strBytes;
    for (int i = 0; i < 2000; i++) {
        const char *const apszOffsets[] = {"[offset:2147483647]", "[offset:-2147483648]", "", ""};
        strBytes += apszOffsets[random() % 4] + std::string("[") + std::to_string(random() % 100) + ":" +
                    std::to_string(random() % 100) + "]" + std::to_string(i) + "\n";
    }
    HostReset();
    const std::string strTold = Told(strBytes);
    std::vector<bool> vecSeen(2000);
    for (const PlayerCue &stCue : PlayerCuesOf("a.lrc", strBytes, nullptr)) {
        vecSeen.at(std::stoul(stCue.strText)) = true;
    }
    EXPECT_EQ(std::count(vecSeen.begin(), vecSeen.end(), true), 2000);

    // The last block that is asked for is there to sort quickly; without it the order is the same.
    HostReset();
    Told(strBytes);
    g_host.s32FailAt = g_host.s32Allocations * 2;
    EXPECT_EQ(Told(strBytes), strTold);
    g_host.s32FailAt = 0;
}

TEST_F(LrcTest, TextIsStoredWholeOrNotAtAll) {
    // A line is at most 2560 bytes of the file; only a converter makes it longer.
    CharsetOps stOps = *ConverterDouble();
    stOps.convert = [](void *, uint8_t *pu8Out, int32_t *ps32OutLen, const uint8_t *pu8In, int32_t s32InLen, int32_t,
                       int32_t, int32_t *ps32Used) {
        memset(pu8Out, 'x', static_cast<size_t>(g_converter.s32OutLen));
        memcpy(pu8Out, pu8In, static_cast<size_t>(s32InLen));
        *ps32OutLen = g_converter.s32OutLen;
        *ps32Used = s32InLen;
        return 0;
    };
    for (const int32_t s32Len : {1, 2559, 2560, 10229}) {
        g_converter.s32OutLen = s32Len + 10; // with "[00:01.00]"
        const std::vector<PlayerCue> vecCues = PlayerCuesOf("a.lrc", "[00:01.00]y", &stOps);
        ASSERT_EQ(vecCues.size(), 1u);
        EXPECT_EQ(vecCues[0].strText.size(), s32Len < 2560 ? static_cast<size_t>(s32Len) + 1 : 1u);
        EXPECT_EQ(HostCount("node str is len invalid:" + std::to_string(s32Len)), s32Len < 2560 ? 0 : 1);
    }
}

TEST_F(LrcTest, SeekGoesToTheCueThatIsShown) {
    void *hFmt = PlayerOpenBytes("a.lrc", "[00:01.00]a\n[00:02.00]b\n[00:03.00]c\n");
    ASSERT_NE(hFmt, nullptr);
    static const struct {
        int64_t s64Pts;
        char chFirst;
    } s_astRows[] = {{0, 'a'}, {-5, 'a'}, {2500, 'b'}, {2000, 'b'}, {1999, 'a'}, {9000, 'c'}, {INT64_MAX, 'c'}};
    for (const auto &stRow : s_astRows) {
        ASSERT_EQ(g_formatEntry.fmt_seek_pts(hFmt, 12345, stRow.s64Pts), 0);
        EXPECT_EQ(PlayerReadAll(hFmt).at(0).strText[0], stRow.chFirst) << stRow.s64Pts;
    }
    g_formatEntry.fmt_close(hFmt);
}

TEST_F(LrcTest, AnIndexThatCannotGrowStartsAgain) {
    std::string strBytes;
    for (int i = 0; i < 600; i++) {
        strBytes += "[00:00][00:01]" + std::to_string(i) + "\n";
    }
    EXPECT_EQ(Told(strBytes).substr(0, 8), "0+0 0\n|0");
    void *hFmt = PlayerOpen("/a.lrc", MemoryProtocol(strBytes));
    ASSERT_NE(hFmt, nullptr);
    g_host.s32FailAt = g_host.s32Allocations + 1;
    EXPECT_EQ(g_formatEntry.fmt_find_stream(hFmt, 0), 0);
    EXPECT_TRUE(HostLogged("PlayerReallocS fail !", "LrcReallocNodeList"));
    EXPECT_EQ(HostCount("LrcParseLine failed!"), 1);
    EXPECT_EQ(PlayerReadAll(hFmt).size(), 1200u - 512 - 2);
    g_formatEntry.fmt_close(hFmt);
}

TEST_F(LrcTest, AFailedBuildLeavesWhatItHasAndReencodingFreesTheLineBuffers) {
    void *hFmt = PlayerOpenBytes("a.lrc", "[00:02]b\n[00:01]a\n[00:03]c\n", ConverterDouble());
    ASSERT_NE(hFmt, nullptr);
    int32_t s32CodeType = 9;
    EXPECT_EQ(g_formatEntry.fmt_invoke(hFmt, INVOKE_SET_SRC_CODETYPE, &s32CodeType), 0);
    EXPECT_EQ(PlayerToldTerminated(hFmt), "1000+0 a\n|2000+0 b\n|3000+0 c\n|");
    for (int32_t i = 1; i <= 2; i++) { // either buffer
        s32CodeType = 9 + i;
        g_host.s32FailAt = g_host.s32Allocations + i;
        EXPECT_EQ(g_formatEntry.fmt_invoke(hFmt, INVOKE_SET_SRC_CODETYPE, &s32CodeType), -1);
    }
    g_converter.s32OutLen = SVR_SUB_STR_OUT_MAX_LEN; // more than is taken
    s32CodeType = 12;
    EXPECT_EQ(g_formatEntry.fmt_invoke(hFmt, INVOKE_SET_SRC_CODETYPE, &s32CodeType), 0);
    EXPECT_TRUE(HostLogged("null", "LrcReadAndTransCodeLine"));
    EXPECT_TRUE(HostLogged("LRC:reparse index failed!", "LrcInvokeSetSrcCodetype"));
    EXPECT_EQ(PlayerToldTerminated(hFmt), "");
    g_formatEntry.fmt_close(hFmt);
}

TEST_F(LrcTest, TheHeadIsParsedWhereThereAreLineBuffers) {
    void *hFmt = nullptr;
    ASSERT_EQ(g_lrcDemuxer.fmt_open("/a.lrc", MemoryProtocol("[ti:x]\n[00:01]a\n"), &hFmt), 0);
    EXPECT_EQ(LrcParseHead(static_cast<LrcDemuxerHdl *>(hFmt)), 0);
    int32_t s32CodeType = 9;
    EXPECT_EQ(g_lrcDemuxer.fmt_invoke(hFmt, INVOKE_SET_SRC_CODETYPE, &s32CodeType), 0); // frees them
    EXPECT_EQ(LrcParseHead(static_cast<LrcDemuxerHdl *>(hFmt)), -1);
    EXPECT_TRUE(HostLogged("invalid param!", "LrcParseHead"));
    EXPECT_EQ(LrcParseHead(nullptr), -1);
    g_lrcDemuxer.fmt_close(hFmt);
}

TEST_F(LrcTest, AStopInTheMiddleKeepsTheCuesInFileOrder) {
    void *hFmt = PlayerOpen("/a.lrc", MemoryProtocol("[00:02]b\n[00:01]a\n[00:03]c\n"));
    ASSERT_NE(hFmt, nullptr);
    CharsetOps stOps = *ConverterDouble();
    static void *s_hFmt;
    static int32_t s_s32Lines;
    s_hFmt = hFmt;
    s_s32Lines = 0;
    stOps.convert = [](void *, uint8_t *pu8Out, int32_t *ps32OutLen, const uint8_t *pu8In, int32_t s32InLen, int32_t,
                       int32_t, int32_t *ps32Used) {
        if (++s_s32Lines == 3) { // the first is the header's
            g_formatEntry.fmt_invoke(s_hFmt, INVOKE_STOP, nullptr);
        }
        memcpy(pu8Out, pu8In, static_cast<size_t>(s32InLen));
        *ps32OutLen = *ps32Used = s32InLen;
        return 0;
    };
    g_formatEntry.fmt_invoke(hFmt, INVOKE_SET_CHARSET_OPS, &stOps);
    EXPECT_EQ(g_formatEntry.fmt_find_stream(hFmt, 0), -1);
    EXPECT_TRUE(HostLogged("stop reading lrc subtitle", "LrcParse"));
    EXPECT_EQ(PlayerToldTerminated(hFmt), "2000+0 b\n|1000+0 a\n|");
    g_formatEntry.fmt_close(hFmt);
}
