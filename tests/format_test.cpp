// The aggregate entry: its descriptors, the probe, and the forwarding of every slot.
#include "tests/player.h"
#include "tests/test_files.h"

#include <cstring>
#include <gtest/gtest.h>

static const char s_aszCue[] = "1\n00:00:01,000 --> 00:00:02,000\nHello\n\n";

struct FormatTest : testing::Test {
    void SetUp() override {
        HostReset();
        g_formatEntry.s32CodeTypeHint = 0;
    }
    void TearDown() override {
        EXPECT_TRUE(HostNothingLeft());
    }
};

struct DescriptorRow {
    const FormatEntry *pstEntry;
    const char *pszExtList;
    const char *pszProtocolList;
    int32_t s32HostValue;
    bool bDemuxer, bProtocol;
};

TEST_F(FormatTest, DescriptorsSayWhatTheyAre) {
    static const DescriptorRow s_astRows[] = {
        {&g_formatEntry, "srt,mp3,ts,mpg,smi,tp,trp,idx,iptv,ass,ssa,sub", "file", -18, true, true},
        {&g_srtDemuxer, "srt", "", 0, true, false},
        {&g_lrcDemuxer, "lrc", "", 0, true, false},
        {&g_smiDemuxer, "smi", "", 0, true, false},
        {&g_idxDemuxer, "idx", "", 0, true, false},
        {&g_subDemuxer, "sub", "", 0, true, false},
        {&g_assDemuxer, "ssa,ass", "", 0, true, false},
        {&g_fileProtocol, "", "file", 0, false, true},
    };
    for (const DescriptorRow &stRow : s_astRows) {
        SCOPED_TRACE(stRow.pszExtList);
        const FormatEntry &stEntry = *stRow.pstEntry;
        EXPECT_STREQ(stEntry.pszLibName, "libpell_demuxer.so");
        EXPECT_STREQ(stEntry.pszExtList, stRow.pszExtList);
        EXPECT_STREQ(stEntry.pszProtocolList, stRow.pszProtocolList);
        EXPECT_EQ(stEntry.u32Version, 0x01000001u);
        EXPECT_STREQ(stEntry.pszDescription, "pellplayer demuxer");
        EXPECT_EQ(stEntry.s32HostValue, stRow.s32HostValue);
        EXPECT_EQ(stEntry.fmt_find != nullptr, stRow.bDemuxer);
        EXPECT_EQ(stEntry.fmt_close != nullptr, stRow.bDemuxer);
        EXPECT_EQ(stEntry.url_find != nullptr, stRow.bProtocol);
        EXPECT_EQ(stEntry.url_read_seek != nullptr, stRow.bProtocol);
        EXPECT_EQ(stEntry.pReserved1, nullptr);
        EXPECT_EQ(stEntry.pReserved2, nullptr);
    }
}

TEST_F(FormatTest, FindGoesByTheLastExtension) {
    static const struct {
        const char *pszUrl;
        int32_t s32Result;
    } s_astRows[] = {
        {"/x/movie.srt", 0},      {"/x/movie.SRT", 0}, {"/x/movie.en.Srt", 0},
        {"/x/movie.srt2", -1},    {"/x/movie.sr", -1}, {"/x/movie.mp3", -1},
        {"/x/movie.srt.txt", -1}, {"/x/movie", -1},    {"", -1},
        {"/x/movie.smi", 0},      {"/x/movie.SMI", 0}, {"/x/movie.Sami", 0},
        {"/x/movie.smi.txt", -1}, {"/x/movie.SSA", 0}, {"/x/movie.assx", 0},
        {"/x/movie.as", -1},      {"/x/song.LRC", 0},  {"/x/a.b.lrc", 0},
        {"/x/song.lrcx", -1},     {"lrc", -1},         {"/x/movie.SUB", 0},
        {"/x/movie.sub.txt", -1}, {"/x/movie.IDX", 0}, {"/x/movie.idx.txt", -1},
    };
    for (const auto &stRow : s_astRows) {
        EXPECT_EQ(g_formatEntry.fmt_find(stRow.pszUrl, PellProtocolOf(&g_formatEntry)), stRow.s32Result)
            << stRow.pszUrl;
    }
    EXPECT_TRUE(HostLogged("use pellplayer srt demuxer!ext match", "SrtDemuxerFind"));
    EXPECT_TRUE(HostLogged("find demxuer", "IdxDemuxerFind"));
    EXPECT_TRUE(HostLogged("use pellplayer sub demuxer!", "SubDemuxerFind"));
    EXPECT_TRUE(HostLogged("not sub file", "SubDemuxerFind"));
    EXPECT_TRUE(HostLogged("ass/ssa file!", "AssDemuxerFind"));
    EXPECT_TRUE(HostLogged("use pellplayer lrc demuxer!", "LrcDemuxerFind"));
    EXPECT_TRUE(HostLogged("not lrc file", "LrcDemuxerFind"));
    EXPECT_TRUE(HostLogged("use pellplayer smi demuxer!", "SmiDemuxerFind"));
    EXPECT_TRUE(HostLogged("alredy regist demuxer", "DemuxerRegister"));
    EXPECT_EQ(g_formatEntry.fmt_find(nullptr, PellProtocolOf(&g_formatEntry)), -1);
}

TEST_F(FormatTest, FindRefusesAForeignProtocolWithoutProbing) {
    Protocol stForeign = *PellProtocolOf(&g_formatEntry);
    stForeign.url_find = [](const char *) {
        return 0;
    };
    EXPECT_EQ(g_formatEntry.fmt_find("/x/movie.srt", &stForeign), -1);
    EXPECT_TRUE(HostLogged("svr demuxer not support other protocol", "SvrDemuxerFind"));
    EXPECT_FALSE(HostLogged("alredy regist demuxer"));
    // Without one the demuxers are asked, and SRT wants a protocol.
    EXPECT_EQ(g_formatEntry.fmt_find("/x/movie.srt", nullptr), -1);
    EXPECT_TRUE(HostLogged("pstProtocol is null", "SrtDemuxerFind"));
}

TEST_F(FormatTest, OpenFailsCleanly) {
    void *hFmt = nullptr;
    Protocol *pstOwn = PellProtocolOf(&g_formatEntry);
    EXPECT_EQ(g_formatEntry.fmt_open("/x/movie.srt", pstOwn, nullptr), -1);
    EXPECT_TRUE(HostLogged("invalid pFmtHandle param", "SvrDemuxerOpen"));
    EXPECT_EQ(g_formatEntry.fmt_open("/x/movie.txt", pstOwn, &hFmt), -1);
    EXPECT_EQ(g_formatEntry.fmt_open("/no/such/folder/movie.srt", pstOwn, &hFmt), -1);
    EXPECT_TRUE(HostLogged("file open fail", "SvrFileOpenUrl"));
    EXPECT_EQ(hFmt, nullptr);

    const FmtOpenFn fnOpen = g_srtDemuxer.fmt_open;
    g_srtDemuxer.fmt_open = nullptr;
    EXPECT_EQ(g_formatEntry.fmt_open("/x/movie.srt", pstOwn, &hFmt), -1);
    g_srtDemuxer.fmt_open = fnOpen;
    EXPECT_TRUE(HostLogged("not support format", "SvrDemuxerOpen"));
}

TEST_F(FormatTest, OpenTakesItsOwnProtocolWhereNoneIsPassedOn) {
    // The SRT probe refuses a null protocol, so the replacement shows with a probe that does not.
    const FmtFindFn fnFind = g_srtDemuxer.fmt_find;
    g_srtDemuxer.fmt_find = [](const char *, Protocol *) {
        return 0;
    };
    void *hFmt = PlayerOpen(TempFile("movie.srt", s_aszCue), nullptr);
    g_srtDemuxer.fmt_find = fnFind;
    ASSERT_NE(hFmt, nullptr);
    EXPECT_EQ(g_formatEntry.fmt_find_stream(hFmt, 0), 0);
    EXPECT_EQ(PlayerReadAll(hFmt).size(), 1u);
    EXPECT_EQ(g_formatEntry.fmt_close(hFmt), 0);
}

TEST_F(FormatTest, NullHandlesAreRefusedUnderTheOperationsName) {
    FmtFrame stFrame = {};
    FileInfo *pstInfo = nullptr;
    EXPECT_EQ(g_formatEntry.fmt_find_stream(nullptr, 0), -1);
    EXPECT_EQ(g_formatEntry.fmt_get_info(nullptr, &pstInfo), -1);
    EXPECT_EQ(g_formatEntry.fmt_read(nullptr, &stFrame), -1);
    EXPECT_EQ(g_formatEntry.fmt_free(nullptr, &stFrame), -1);
    EXPECT_EQ(g_formatEntry.fmt_invoke(nullptr, INVOKE_STOP, nullptr), -1);
    EXPECT_EQ(g_formatEntry.fmt_seek_pts(nullptr, 8191, 0), -1);
    EXPECT_EQ(g_formatEntry.fmt_seek_pos(nullptr, 8191, 0), INT64_C(-1));
    EXPECT_EQ(g_formatEntry.fmt_close(nullptr), -1);
    for (const char *pszName : {"FindStream", "GetInfo", "Read", "Free", "Invoke", "SeekPts", "SeekPos", "Close"}) {
        EXPECT_TRUE(HostLogged("null", std::string("SvrDemuxer") + pszName)) << pszName;
    }
}

TEST_F(FormatTest, TwoHandlesAreIndependentAndTheHintIsCopiedAtEachOpen) {
    const std::string strOne = TempFile("one.srt", s_aszCue);
    const std::string strTwo = TempFile("two.srt", std::string(s_aszCue) + s_aszCue);
    g_formatEntry.s32CodeTypeHint = 11;
    void *hOne = PlayerOpen(strOne, PellProtocolOf(&g_formatEntry));
    EXPECT_EQ(g_srtDemuxer.s32CodeTypeHint, 11);
    g_formatEntry.s32CodeTypeHint = 12;
    void *hTwo = PlayerOpen(strTwo, PellProtocolOf(&g_formatEntry));
    EXPECT_EQ(g_srtDemuxer.s32CodeTypeHint, 12);
    ASSERT_NE(hOne, nullptr);
    ASSERT_NE(hTwo, nullptr);
    EXPECT_EQ(g_formatEntry.fmt_find_stream(hTwo, 0), 0);
    EXPECT_EQ(g_formatEntry.fmt_find_stream(hOne, 0), 0);
    EXPECT_EQ(PlayerReadAll(hOne).size(), 1u);
    g_formatEntry.fmt_close(hOne);
    EXPECT_EQ(PlayerReadAll(hTwo).size(), 2u);
    g_formatEntry.fmt_close(hTwo);
}
