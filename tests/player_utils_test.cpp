// Proves the stand-in for the host's utility library: what the plug-in relies on, and what a user of it sees.
#include "platform/player_utils/player_utils.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <malloc.h>
#include <string>

TEST(PlayerUtilsTest, BlocksAreZeroFilledAndKeepTheirContents) {
    char *psz = static_cast<char *>(PlayerMallocZ(100));
    ASSERT_NE(psz, nullptr);
    EXPECT_EQ(std::string(psz, 100), std::string(100, '\0'));
    std::copy_n("0123456789", 10, psz);
    psz = static_cast<char *>(PlayerReallocS(psz, 10, 100000));
    ASSERT_NE(psz, nullptr);
    EXPECT_EQ(std::string(psz, 10), "0123456789");
    psz = static_cast<char *>(PlayerReallocS(psz, 100000, 5));
    EXPECT_EQ(std::string(psz, 5), "01234");
    free(psz);
    psz = static_cast<char *>(PlayerReallocS(nullptr, 0, 16));
    ASSERT_NE(psz, nullptr);
    memset(psz, 1, 16);
    free(psz);
}

TEST(PlayerUtilsTest, ProgramsAndStreamsAreAppendedZeroFilled) {
    mallopt(M_PERTURB, 0x5A); // no block is zero by chance
    FileInfo stInfo = {};
    for (uint32_t i = 0; i < 3; i++) {
        ASSERT_EQ(PlayerRealloc1MoreProgram(&stInfo), 0);
        EXPECT_EQ(stInfo.pastProgramInfo[i].pastSubStream, nullptr);
        EXPECT_EQ(stInfo.pastProgramInfo[i].u32SubStreamNum, 0U);
        stInfo.pastProgramInfo[i].u32SubStreamNum = i + 1;
    }
    EXPECT_EQ(stInfo.pastProgramInfo[0].u32SubStreamNum, 1U);
    ProgramInfo *pstProgram = &stInfo.pastProgramInfo[0];
    ASSERT_EQ(PlayerReallocNMoreStream(pstProgram, SUB_STREAM_KIND_SUBTITLE, 1), 0);
    pstProgram->pastSubStream[0].s32StreamIndex = SUB_STREAM_INDEX_BASE;
    void *pvBehind = PlayerMallocZ(16); // the streams move when they grow
    ASSERT_EQ(PlayerReallocNMoreStream(pstProgram, SUB_STREAM_KIND_SUBTITLE, 2), 0);
    free(pvBehind);
    EXPECT_EQ(pstProgram->pastSubStream[0].s32StreamIndex, SUB_STREAM_INDEX_BASE);
    const char *pszNew = reinterpret_cast<const char *>(&pstProgram->pastSubStream[1]);
    EXPECT_EQ(std::string(pszNew, 2 * sizeof(SubStreamInfo)), std::string(2 * sizeof(SubStreamInfo), '\0'));
    EXPECT_NE(PlayerReallocNMoreStream(pstProgram, 2, 1), 0);
    EXPECT_NE(PlayerReallocNMoreStream(pstProgram, SUB_STREAM_KIND_SUBTITLE, UINT32_MAX), 0);
    EXPECT_EQ(pstProgram->pastSubStream[0].s32StreamIndex, SUB_STREAM_INDEX_BASE);
    for (int i = 0; i < 2; i++) {
        PlayerFreeAllPrograms(&stInfo);
        EXPECT_EQ(stInfo.pastProgramInfo, nullptr);
    }
}

TEST(PlayerUtilsTest, TagsAreRemovedOnePairACall) {
    // Calls until nothing is left to remove.
    const struct {
        std::string strText, strTag, strLeft;
        int s32Calls;
    } s_aCases[] = {{"plain", "b", "plain", 0},
                    {"", "b", "", 0},
                    {"<b>x</b>", "b", "x", 1},
                    {"<B>x</B>", "b", "x", 1},
                    {"a<b>b</b>c<b>d</b>e", "b", "abcde", 2},
                    {"<font color=\"#ff0000\" face='x'>x</font>", "font", "x", 1},
                    {"<font\nsize=1>x", "font", "x", 1},
                    {"x</i>", "i", "x", 1},
                    {"<b>x", "b", "x", 1},
                    {"<br>x", "b", "<br>x", 0},
                    {"<br><b>x</b>", "b", "<br>x", 1},
                    {"<b", "b", "<b", 0},
                    {"<b x", "b", "<b x", 0},
                    {"</b", "b", "</b", 0},
                    {"<u>x</i>", "u", "x</i>", 1},
                    {"<<b>b>", "b", "", 2}};
    for (const auto &c : s_aCases) {
        std::string str = c.strText + "</b><b>"; // behind the end of the text
        uint32_t u32Len = static_cast<uint32_t>(c.strText.size());
        int s32Calls = 0;
        while (PlayerDelFormat(str.data(), u32Len, &u32Len, ("<" + c.strTag).c_str(),
                               ("</" + c.strTag + ">").c_str()) == 0) {
            ASSERT_LE(++s32Calls, 10) << c.strText;
        }
        EXPECT_EQ(str.substr(0, u32Len), c.strLeft) << c.strText;
        EXPECT_EQ(s32Calls, c.s32Calls) << c.strText;
    }
    uint32_t u32Len = 0;
    EXPECT_NE(PlayerDelFormat(nullptr, 0, &u32Len, "<b", "</b>"), 0);
}

TEST(PlayerUtilsTest, PropertiesComeFromTheEnvironment) {
    char aszValue[8];
    EXPECT_EQ(SvrSysGetProperty("persist.pell.test", aszValue, sizeof(aszValue), "false"), 5);
    EXPECT_STREQ(aszValue, "false");
    setenv("PERSIST_PELL_TEST", "true", 1);
    EXPECT_EQ(SvrSysGetProperty("persist.pell.test", aszValue, sizeof(aszValue), "false"), 4);
    EXPECT_STREQ(aszValue, "true");
    EXPECT_EQ(SvrSysGetProperty("persist.pell.test", aszValue, 3, "false"), 2);
    EXPECT_STREQ(aszValue, "tr");
    EXPECT_LE(SvrSysGetProperty("persist.pell.none", aszValue, sizeof(aszValue), nullptr), 0);
    EXPECT_LE(SvrSysGetProperty(std::string(500, 'k').c_str(), aszValue, sizeof(aszValue), ""), 0);
    EXPECT_LE(SvrSysGetProperty("x", aszValue, 0, "false"), 0);
}

// What a message of each kind and level writes.
static std::string Logged(int32_t s32Level, const char *pszText) {
    testing::internal::CaptureStderr();
    PlayerPrintf(s32Level, "Function", 7, "%s", pszText);
    PlayerDbgPrintf(s32Level, "Check", 8, pszText, -1);
    return testing::internal::GetCapturedStderr();
}

TEST(PlayerUtilsTest, MessagesAreLinesUpToTheLevelAskedFor) {
    setenv("PELL_LOG_LEVEL", "3", 1); // looked at once
    EXPECT_EQ(Logged(PLAYER_LOG_INFO, "text"), "");
    EXPECT_EQ(Logged(PLAYER_LOG_WARNING, "text"), "3 Function 7 text\n3 Check 8 text (-1)\n");
    EXPECT_EQ(Logged(PLAYER_LOG_ERROR, "a\nb\x1B[0m\n"), "2 Function 7 a b [0m\n2 Check 8 a b [0m  (-1)\n");
    EXPECT_EQ(Logged(PLAYER_LOG_ERROR, std::string(5000, 'x').c_str()).substr(0, 12), "2 Function 7");
}
