// What every text demuxer does alike, run over a table of them: argument checks with each one's messages, the invoke
// commands, the life of frames and converters, and hosts whose memory, files and patience run out at any moment.
#include "tests/player.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <gtest/gtest.h>
#include <ostream>
#include <thread>

struct ContractRow {
    const char *pszName; // of the demuxer's operations
    FormatEntry *pstEntry;
    const char *pszFile;
    const char *pszHead, *pszCue; // a file is the head, then the cue any number of times, each '@' in it a new digit
    uint32_t u32Format;
    const char *pszOpenInvalid, *pszOpenNoSlot, *pszOpenRefused;
    const char *pszInvalid, *pszNotOpen;
    const char *pszStopped;
    int32_t s32StoppedResult; // of find-stream
    bool bStreamsAtOpen;      // else find-stream adds them
    bool bUrlTold;            // in the stream
    int64_t s64Pos;           // of the only cue's frame, filled with 0x5A before
    uint32_t u32FrameRate;
    int32_t s32Builds; // times that find-stream tries to build an index
};

static const ContractRow s_astRows[] = {
    {"Srt", &g_srtDemuxer, "movie.en.srt", "", "1\n00:00:01,000 --> 00:00:02,000\nHello <b>you</b>\n\n",
     SUB_STREAM_FORMAT_SRT, "invalid param", "null", "not support demuxer", "invalid param", "file not open",
     "stop reading srt subtitle", -1, true, true, 32, 0x5A5A5A5A, 1},
    {"Smi", &g_smiDemuxer, "movie.smi", "<SAMI>\n<BODY>\n", "<SYNC Start=1000><P Class=ENCC>Hello\n",
     SUB_STREAM_FORMAT_SMI, "invalid param", "invalid param", "not support demuxer!", "invalid param", "file not open",
     "stop reading smi subtitle", 0, false, false, 0x5A5A5A5A5A5A5A5A, 14, 1},
    {"Ass", &g_assDemuxer, "movie.en.ass", "[Script Info]\n[Events]\nFormat: x\n",
     "Dialogue: 0,0:00:01.@0,0:00:02.@0,Default,,Hello\n", SUB_STREAM_FORMAT_ASS, "invalid param!", "null",
     "not support demuxer!", "invalid param!", "file not open!", "stop reading ass subtitle", -1, true, true, 33,
     0x5A5A5A5A, 2},
};

static std::string Bytes(const ContractRow &stRow, int s32Cues) {
    std::string str = stRow.pszHead;
    for (int i = 0; i < s32Cues; i++) {
        std::string strCue = stRow.pszCue;
        std::replace(strCue.begin(), strCue.end(), '@', static_cast<char>('0' + i % 10));
        str += strCue;
    }
    return str;
}

// Named in test reports.
static void PrintTo(const ContractRow &stRow, std::ostream *pOut) {
    *pOut << stRow.pszName;
}

static std::string Op(const ContractRow &stRow, const char *pszOperation) {
    return std::string(stRow.pszName) + "Demuxer" + pszOperation;
}

struct ContractTest : testing::TestWithParam<ContractRow> {
    void SetUp() override {
        HostReset();
    }
    void TearDown() override {
        EXPECT_TRUE(HostNothingLeft());
        EXPECT_EQ(g_converter.s32Live, 0);
    }
};

INSTANTIATE_TEST_SUITE_P(Text, ContractTest, testing::ValuesIn(s_astRows),
                         [](const auto &row) { return std::string(row.param.pszName); });

TEST_P(ContractTest, OpenChecksItsArguments) {
    const ContractRow &stRow = GetParam();
    void *hFmt = nullptr;
    Protocol *pstProtocol = MemoryProtocol("x");
    EXPECT_EQ(stRow.pstEntry->fmt_open(nullptr, pstProtocol, &hFmt), -1);
    EXPECT_EQ(stRow.pstEntry->fmt_open("/x", nullptr, &hFmt), -1);
    EXPECT_EQ(stRow.pstEntry->fmt_open("/x", pstProtocol, nullptr), -1);
    EXPECT_EQ(HostCount(stRow.pszOpenInvalid), 3);
    HostReset();
    for (int i = 0; i < 5; i++) {
        Protocol stBroken = *pstProtocol;
        switch (i) {
        case 0:
            stBroken.url_find = nullptr;
            break;
        case 1:
            stBroken.url_open = nullptr;
            break;
        case 2:
            stBroken.url_close = nullptr;
            break;
        case 3:
            stBroken.url_read = nullptr;
            break;
        default:
            stBroken.url_seek = nullptr;
            break;
        }
        EXPECT_EQ(stRow.pstEntry->fmt_open("/x", &stBroken, &hFmt), -1) << i;
    }
    EXPECT_EQ(HostCount(stRow.pszOpenNoSlot), 5);
    g_memoryFile.s32FailOpenAt = 1;
    EXPECT_EQ(stRow.pstEntry->fmt_open("/x", pstProtocol, &hFmt), -1);
    EXPECT_TRUE(HostLogged(stRow.pszOpenRefused, Op(stRow, "Open")));
    EXPECT_EQ(hFmt, nullptr);
}

TEST_P(ContractTest, SlotsRefuseNullArguments) {
    const ContractRow &stRow = GetParam();
    void *hFmt = nullptr;
    FmtFrame stFrame = {};
    FileInfo *pstInfo = nullptr;
    ASSERT_EQ(stRow.pstEntry->fmt_open("/x.ass", MemoryProtocol(Bytes(stRow, 1)), &hFmt), 0);
    EXPECT_EQ(stRow.pstEntry->fmt_find_stream(nullptr, 0), -1);
    EXPECT_EQ(stRow.pstEntry->fmt_get_info(nullptr, &pstInfo), -1);
    EXPECT_EQ(stRow.pstEntry->fmt_get_info(hFmt, nullptr), -1);
    EXPECT_EQ(stRow.pstEntry->fmt_read(nullptr, &stFrame), -1);
    EXPECT_EQ(stRow.pstEntry->fmt_read(hFmt, nullptr), -1);
    EXPECT_EQ(stRow.pstEntry->fmt_free(nullptr, &stFrame), -1);
    EXPECT_EQ(stRow.pstEntry->fmt_free(hFmt, nullptr), -1);
    EXPECT_EQ(stRow.pstEntry->fmt_invoke(nullptr, INVOKE_STOP, nullptr), -1);
    EXPECT_EQ(stRow.pstEntry->fmt_seek_pts(nullptr, 8191, 0), -1);
    EXPECT_EQ(stRow.pstEntry->fmt_close(nullptr), -1);
    for (const char *pszOperation : {"GetInfo", "Free", "SeekPts"}) {
        EXPECT_TRUE(HostLogged(stRow.pszInvalid, Op(stRow, pszOperation))) << pszOperation;
    }
    for (const char *pszOperation : {"FindStream", "Invoke", "Close"}) {
        EXPECT_TRUE(HostLogged("invalid param", Op(stRow, pszOperation))) << pszOperation;
    }
    EXPECT_EQ(stRow.pstEntry->fmt_seek_pos(hFmt, 8191, 5), INT64_C(-1));
    EXPECT_EQ(stRow.pstEntry->fmt_close(hFmt), 0);
    EXPECT_EQ(g_memoryFile.s32Closes, 1);
}

TEST_P(ContractTest, TheStreamIsDescribed) {
    const ContractRow &stRow = GetParam();
    const std::string strUrl = "/films/" + std::string(stRow.pszFile);
    void *hFmt = PlayerOpen(strUrl, MemoryProtocol(Bytes(stRow, 1)));
    ASSERT_NE(hFmt, nullptr);
    EXPECT_EQ(g_formatEntry.fmt_invoke(hFmt, INVOKE_SET_CHARSET_OPS, ConverterDouble()), 0);
    ASSERT_EQ(g_formatEntry.fmt_find_stream(hFmt, 0), 0);
    const SubStreamInfo *pstStream = PlayerStream(hFmt);
    ASSERT_NE(pstStream, nullptr);
    EXPECT_EQ(pstStream->s32StreamIndex, 8191);
    EXPECT_EQ(pstStream->u32Format, stRow.u32Format);
    EXPECT_EQ(pstStream->u32CodeType, 7u);
    EXPECT_EQ(pstStream->u32Flag, 1u);
    EXPECT_STREQ(pstStream->aszUrl, stRow.bUrlTold ? strUrl.c_str() : "");
    g_formatEntry.fmt_close(hFmt);

    // A name of any length: what does not fit is cut, or the field stays empty; it is terminated either way.
    hFmt = PlayerOpen("/" + std::string(5000, 'n') + "." + stRow.pszFile, MemoryProtocol(Bytes(stRow, 1)));
    ASSERT_NE(hFmt, nullptr);
    EXPECT_EQ(PlayerStream(hFmt) != nullptr, stRow.bStreamsAtOpen);
    ASSERT_EQ(g_formatEntry.fmt_find_stream(hFmt, 0), 0);
    EXPECT_LT(strnlen(PlayerStream(hFmt)->aszUrl, 4096), 4096u);
    g_formatEntry.fmt_close(hFmt);
}

TEST_P(ContractTest, FreeClearsTheFrameAndMayComeTwice) {
    void *hFmt = PlayerOpenBytes(GetParam().pszFile, Bytes(GetParam(), 1));
    ASSERT_NE(hFmt, nullptr);
    FmtFrame stFrame;
    memset(&stFrame, 0x5A, sizeof(stFrame));
    ASSERT_EQ(g_formatEntry.fmt_read(hFmt, &stFrame), 0);
    EXPECT_EQ(stFrame.u32StreamType, 3u);
    EXPECT_EQ(stFrame.s32StreamIndex, 8191);
    EXPECT_EQ(stFrame.u32Reserved, 0u);
    EXPECT_EQ(stFrame.s64Pos, GetParam().s64Pos);
    EXPECT_EQ(stFrame.u32FrameRate, GetParam().u32FrameRate);
    EXPECT_EQ(stFrame.au32HostOwned[1], 0x5A5A5A5Au);
    EXPECT_EQ(stFrame.au8HostOwned[71], 0x5A);
    const FmtFrame stCleared = {};
    for (int i = 0; i < 2; i++) {
        EXPECT_EQ(g_formatEntry.fmt_free(hFmt, &stFrame), 0);
        EXPECT_EQ(memcmp(&stFrame, &stCleared, sizeof(stFrame)), 0);
    }
    EXPECT_EQ(g_formatEntry.fmt_read(hFmt, &stFrame), -2);
    EXPECT_EQ(g_formatEntry.fmt_read(hFmt, &stFrame), -2);
    g_formatEntry.fmt_close(hFmt);
}

TEST_P(ContractTest, InvokeCommands) {
    const ContractRow &stRow = GetParam();
    void *hFmt = PlayerOpenBytes(stRow.pszFile, Bytes(stRow, 3), ConverterDouble());
    ASSERT_NE(hFmt, nullptr);
    int32_t s32Reads = g_memoryFile.s32Reads;
    for (const int32_t s32Command : {1, 2, 6, 1000, -1}) {
        EXPECT_EQ(g_formatEntry.fmt_invoke(hFmt, s32Command, nullptr), 0) << s32Command;
    }
    for (const int32_t s32Command : {3, 4, 5}) {
        EXPECT_EQ(g_formatEntry.fmt_invoke(hFmt, s32Command, nullptr), -1) << s32Command;
    }
    EXPECT_EQ(HostCount("invalid argument"), 3);

    int32_t s32CodeType = 7; // the one in use: nothing happens
    EXPECT_EQ(g_formatEntry.fmt_invoke(hFmt, INVOKE_SET_SRC_CODETYPE, &s32CodeType), 0);
    EXPECT_EQ(g_memoryFile.s32Reads, s32Reads);
    s32CodeType = 9;
    EXPECT_EQ(g_formatEntry.fmt_invoke(hFmt, INVOKE_SET_SRC_CODETYPE, &s32CodeType), 0);
    EXPECT_GT(g_memoryFile.s32Reads, s32Reads);
    EXPECT_TRUE(HostLogged("Reset code type to: 9"));
    EXPECT_EQ(PlayerStream(hFmt)->u32CodeType, 7u);

    int32_t s32Dst = 31;
    EXPECT_EQ(g_formatEntry.fmt_invoke(hFmt, INVOKE_SET_DST_CODETYPE, &s32Dst), 0);
    EXPECT_EQ(PlayerReadAll(hFmt).size(), 3u);
    EXPECT_EQ(g_converter.s32LastSrc, 9);
    EXPECT_EQ(g_converter.s32LastDst, 31);

    s32CodeType = 0; // identify, write back, index again
    g_converter.s32CodeType = 13;
    EXPECT_EQ(g_formatEntry.fmt_invoke(hFmt, INVOKE_SET_SRC_CODETYPE, &s32CodeType), 0);
    EXPECT_EQ(PlayerReadAll(hFmt).size(), 3u);
    EXPECT_EQ(g_converter.s32LastSrc, 13);
    g_formatEntry.fmt_close(hFmt);
}

TEST_P(ContractTest, AConverterTableWithAHoleIsRefusedAndTheOldOneStays) {
    void *hFmt = PlayerOpenBytes(GetParam().pszFile, Bytes(GetParam(), 1), ConverterDouble());
    ASSERT_NE(hFmt, nullptr);
    const CharsetOps stWhole = *ConverterDouble();
    g_converter.s32Live = 1; // the instance of the open handle
    for (int i = 0; i < 6; i++) {
        CharsetOps stHoled = stWhole;
        switch (i) {
        case 0:
            stHoled.convert = nullptr;
            break;
        case 1:
            stHoled.create = nullptr;
            break;
        case 2:
            stHoled.destroy = nullptr;
            break;
        case 3:
            stHoled.getStreamType = nullptr;
            break;
        case 4:
            stHoled.getCodeType = nullptr;
            break;
        default:
            stHoled.reserved = nullptr;
            break;
        }
        EXPECT_EQ(g_formatEntry.fmt_invoke(hFmt, INVOKE_SET_CHARSET_OPS, &stHoled), -1) << i;
    }
    EXPECT_EQ(HostCount("invalid argument"), 6);
    EXPECT_EQ(PlayerReadAll(hFmt).size(), 1u);
    EXPECT_EQ(g_converter.s32Converts, 1);
    g_formatEntry.fmt_close(hFmt);
}

TEST_P(ContractTest, AConverterThatCannotBeMadeOrTellsNothing) {
    const ContractRow &stRow = GetParam();
    CharsetOps *pstOps = ConverterDouble();
    g_converter.bCreateFails = true;
    EXPECT_EQ(PlayerCuesOf(stRow.pszFile, Bytes(stRow, 2), pstOps).size(), 2u);
    EXPECT_TRUE(HostLogged("Charset Create failed", Op(stRow, "FindStream")));
    pstOps = ConverterDouble();
    g_converter.bIdentifyFails = true;
    EXPECT_EQ(PlayerCuesOf(stRow.pszFile, Bytes(stRow, 2), pstOps).size(), 2u);
    EXPECT_TRUE(HostLogged("WARNING! Unknow CodeType!"));
    EXPECT_EQ(g_converter.s32LastSrc, 0);
}

TEST_P(ContractTest, ASecondFindStreamLosesNothing) {
    void *hFmt = PlayerOpenBytes(GetParam().pszFile, Bytes(GetParam(), 2), ConverterDouble());
    ASSERT_NE(hFmt, nullptr);
    EXPECT_EQ(g_formatEntry.fmt_find_stream(hFmt, 0), 0);
    EXPECT_EQ(g_converter.s32Live, 1);
    EXPECT_EQ(PlayerReadAll(hFmt).size(), 2u);
    g_formatEntry.fmt_close(hFmt);
}

TEST_P(ContractTest, AStopEndsEveryBuildBeforeItsFirstLine) {
    const ContractRow &stRow = GetParam();
    void *hFmt = PlayerOpen("/" + std::string(stRow.pszFile), MemoryProtocol(Bytes(stRow, 2)));
    ASSERT_NE(hFmt, nullptr);
    EXPECT_EQ(g_formatEntry.fmt_invoke(hFmt, INVOKE_STOP, nullptr), 0);
    EXPECT_EQ(g_formatEntry.fmt_find_stream(hFmt, 0), stRow.s32StoppedResult);
    EXPECT_EQ(g_formatEntry.fmt_find_stream(hFmt, 0), stRow.s32StoppedResult);
    EXPECT_EQ(HostCount(stRow.pszStopped), 2 * stRow.s32Builds);
    EXPECT_EQ(PlayerReadAll(hFmt).size(), 0u);
    g_formatEntry.fmt_close(hFmt);
}

TEST_P(ContractTest, AStopFromAnotherThreadEndsALongBuild) {
    const ContractRow &stRow = GetParam();
    const std::string strBytes = Bytes(stRow, 400000);
    void *hFmt = PlayerOpen("/" + std::string(stRow.pszFile), MemoryProtocol(strBytes));
    ASSERT_NE(hFmt, nullptr);
    std::atomic<bool> bStarted = false;
    int32_t s32Result = 0;
    std::thread build([&] {
        bStarted = true;
        s32Result = g_formatEntry.fmt_find_stream(hFmt, 0);
    });
    while (!bStarted) {
        std::this_thread::yield();
    }
    EXPECT_EQ(g_formatEntry.fmt_invoke(hFmt, INVOKE_STOP, nullptr), 0);
    build.join();
    EXPECT_EQ(s32Result, stRow.s32StoppedResult);
    EXPECT_TRUE(HostLogged(stRow.pszStopped));
    EXPECT_LT(g_memoryFile.s64Pos, static_cast<int64_t>(strBytes.size()));
    g_formatEntry.fmt_close(hFmt);
}

// A whole life under whatever fault is set. What was built is gone afterwards, however far it came.
static void LiveOnce(const ContractRow &stRow, Protocol *pstProtocol, CharsetOps *pstOps) {
    void *hFmt = PlayerOpen("/" + std::string(stRow.pszFile), pstProtocol);
    if (hFmt == nullptr) {
        return;
    }
    g_formatEntry.fmt_invoke(hFmt, INVOKE_SET_CHARSET_OPS, pstOps);
    g_formatEntry.fmt_find_stream(hFmt, 0);
    PlayerReadAll(hFmt);
    g_formatEntry.fmt_seek_pts(hFmt, 8191, 1500);
    int32_t s32CodeType = 3;
    g_formatEntry.fmt_invoke(hFmt, INVOKE_SET_SRC_CODETYPE, &s32CodeType);
    PlayerReadAll(hFmt);
    EXPECT_EQ(g_formatEntry.fmt_close(hFmt), 0);
}

TEST_P(ContractTest, EveryAllocationMayFail) {
    const ContractRow &stRow = GetParam();
    const std::string strBytes = Bytes(stRow, 4100); // enough for the index to grow
    LiveOnce(stRow, MemoryProtocol(strBytes), ConverterDouble());
    const int32_t s32Allocations = g_host.s32Allocations;
    ASSERT_GT(s32Allocations, 5);
    for (int32_t i = 1; i <= s32Allocations; i++) {
        HostReset();
        g_host.s32FailAt = i;
        LiveOnce(stRow, MemoryProtocol(strBytes), ConverterDouble());
        EXPECT_TRUE(HostNothingLeft()) << "allocation " << i;
        EXPECT_EQ(g_converter.s32Live, 0) << "allocation " << i;
        EXPECT_EQ(g_memoryFile.s32Opens, g_memoryFile.s32Closes) << "allocation " << i;
    }
}

TEST_P(ContractTest, EveryProtocolCallMayFail) {
    const ContractRow &stRow = GetParam();
    const std::string strBytes = Bytes(stRow, 3);
    LiveOnce(stRow, MemoryProtocol(strBytes), ConverterDouble());
    const int32_t s32Calls = std::max(g_memoryFile.s32Reads, g_memoryFile.s32Seeks);
    for (int32_t *ps32Fault :
         {&g_memoryFile.s32FailReadAt, &g_memoryFile.s32FailSeekAt, &g_memoryFile.s32ShortReadAt}) {
        for (int32_t i = 1; i <= s32Calls; i++) {
            HostReset();
            Protocol *pstProtocol = MemoryProtocol(strBytes);
            *ps32Fault = i;
            LiveOnce(stRow, pstProtocol, ConverterDouble());
            EXPECT_TRUE(HostNothingLeft()) << "call " << i;
            EXPECT_EQ(g_converter.s32Live, 0) << "call " << i;
            EXPECT_EQ(g_memoryFile.s32Opens, g_memoryFile.s32Closes) << "call " << i;
        }
    }
}
