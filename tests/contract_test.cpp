// What all demuxers do alike, run over a table of them: argument checks with each one's messages, the invoke commands,
// the life of frames, and hosts whose memory, files and patience run out at any moment. Converters and code types are
// for the text demuxers alone.
#include "tests/player.h"
#include "tests/test_files.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <filesystem>
#include <gtest/gtest.h>
#include <malloc.h>
#include <ostream>
#include <thread>
#include <unistd.h>

struct ContractFile {
    const char *pszName; // of the demuxer's operations
    FormatEntry *pstEntry;
    const char *pszFile;
    uint32_t u32Format;
    std::string strHead, strCue; // a file is the head, then the cue any number of times, each '@' in it a new digit
    std::string strFiller;       // before the head of a file on disk
};

struct ContractWords {
    const char *pszRefused, *pszRefusedBy; // a URL that does not open: message and function
    const char *pszReadCheck;              // function that checks the arguments of a read
    const char *pszStopped;
    const char *pszOpenNoSlot = "null"; // '*' stands for "find" and so on
    const char *pszOpenInvalid = "invalid param", *pszOpenNoProtocol = "invalid param";
    const char *pszInvalid = "invalid param", *pszNotOpen = "file not open";
    const char *pszCloseInvalid = "invalid param", *pszCloseNoProtocol = "pstProtocol is null";
};

struct ContractDeeds {
    int64_t s64Pos = INT64_C(0x5A5A5A5A5A5A5A5A); // of the only cue's frame, filled with 0x5A before
    uint32_t u32FrameRate = 0x5A5A5A5A;
    int32_t s32Converts = 1;    // conversions that the read of a cue takes
    int32_t s32Builds = 1;      // times that find-stream tries to build an index; 0: open has built it
    int32_t s32Stopped = -1;    // result of a find-stream that was stopped
    bool bStreamsAtOpen = true; // else find-stream adds them
    bool bUrlTold = true;       // in the stream
    bool bTypeTold = true;      // the code type, to who sets none
    bool bText = true;          // takes converters and code types
    size_t uLongName = 5000;    // of a file that still opens
    int32_t s32End = -2;        // of a read behind the last cue
    bool bWidePositions = true; // else 32 bits of a cue's place are kept
};

struct ContractRow : ContractFile, ContractWords, ContractDeeds {};

static std::string Repeated(const std::string &strText, int s32Times) {
    std::string str;
    for (int i = 0; i < s32Times; i++) {
        str += strText;
    }
    return str;
}

static const ContractRow s_astTextRows[] = {
    {{"Srt", &g_srtDemuxer, "movie.en.srt", SUB_STREAM_FORMAT_SRT, "",
      "1\n00:00:01,000 --> 00:00:02,000\nHello <b>you</b>\n\n"},
     {"not support demuxer", "SrtDemuxerOpen", "SrtDemuxerReadChk", "stop reading srt subtitle"},
     {.s64Pos = 32}},
    {{"Lrc", &g_lrcDemuxer, "song.lrc", SUB_STREAM_FORMAT_LRC, "[ti:Song]\n", "[00:01.00]Hello\n"},
     {"not support demuxer!", "LrcDemuxerOpen", "LrcDemuxerRead", "stop reading lrc subtitle"},
     {.u32FrameRate = 0, .s32Converts = 0}},
    {{"Smi", &g_smiDemuxer, "movie.smi", SUB_STREAM_FORMAT_SMI, "<SAMI>\n<BODY>\n",
      "<SYNC Start=1000><P Class=ENCC>Hello\n"},
     {"not support demuxer!", "SmiDemuxerOpen", "SmiDemuxerRead", "stop reading smi subtitle", "invalid param"},
     {.u32FrameRate = 14, .s32Stopped = 0, .bStreamsAtOpen = false, .bUrlTold = false}},
    {{"Sub", &g_subDemuxer, "movie.en.sub", SUB_STREAM_FORMAT_SUB, "{1}{1}25\n", "{1@}{20}Hello|you\n"},
     {"not support demuxer", "SubDemuxerOpen", "CheckReadParam", "stop reading sub subtitle"},
     {.s64Pos = 9}},
    {{"Ass", &g_assDemuxer, "movie.en.ass", SUB_STREAM_FORMAT_ASS, "[Script Info]\n[Events]\nFormat: x\n",
      "Dialogue: 0,0:00:01.@0,0:00:02.@0,Default,,Hello\n",
      Repeated("; more than the first header buffer holds\n", 110)},
     {"not support demuxer!", "AssDemuxerOpen", "AssDemuxerReadChk", "stop reading ass subtitle", "null",
      "invalid param!", "invalid param!", "invalid param!", "file not open!", "invalid param", "invalid param"},
     {.s64Pos = 33, .s32Builds = 2, .bTypeTold = false, .bWidePositions = false}},
};

// Index and packets are the same bytes: a pack with the only unit, which no index line is in, then the index.
static const ContractRow s_stVobSubRow = {
    {"Idx", &g_idxDemuxer, "film.idx", SUB_STREAM_FORMAT_IDX,
     std::string("\0\0\1\xBA..........\0\0\1\xBD\0\x0B\x81\x80\0\x20\0\7Hello\nid: en, index: 0\n", 49),
     "timestamp: 00:00:0@:000, filepos: 000000000\n"},
    {"file url_open failed!", "GetHanle", "IdxDemuxerRead", "stop reading idx-sub subtitle",
     "pstProtocol->url_* is null!", "pszFileName or pFmtHandle is null!", "pstProtocol is null!", "null", "null",
     "null", "null"},
    {.s32Converts = 0, .s32Builds = 0, .s32Stopped = 0, .bText = false, .uLongName = 4000, .s32End = -1}};

static std::string Bytes(const ContractRow &stRow, int s32Cues) {
    std::string str = stRow.strHead;
    for (int i = 0; i < s32Cues; i++) {
        std::string strCue = stRow.strCue;
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

struct TextContractTest : ContractTest {};

static std::string RowName(const testing::TestParamInfo<ContractRow> &stInfo) {
    return stInfo.param.pszName;
}

INSTANTIATE_TEST_SUITE_P(Text, ContractTest, testing::ValuesIn(s_astTextRows), RowName);
INSTANTIATE_TEST_SUITE_P(VobSub, ContractTest, testing::Values(s_stVobSubRow), RowName);
INSTANTIATE_TEST_SUITE_P(Text, TextContractTest, testing::ValuesIn(s_astTextRows), RowName);

// Reads to the end, or so many cues. How many were delivered. The end alone is no failure that is reported.
static int32_t ReadToEnd(const ContractRow &stRow, void *hFmt, int32_t s32Most = 5000) {
    int32_t s32Cues = 0;
    FmtFrame stFrame = {};
    for (int32_t i = 0; i < s32Most; i++) {
        const size_t uMessages = g_host.vecMessages.size();
        const int32_t s32Result = g_formatEntry.fmt_read(hFmt, &stFrame);
        if (s32Result != 0 && g_host.vecMessages.size() == uMessages) {
            EXPECT_EQ(s32Result, stRow.s32End);
            break;
        }
        s32Cues += s32Result == 0 ? 1 : 0;
        EXPECT_TRUE(s32Result == 0 || s32Result == -1 || s32Result == stRow.s32End) << s32Result;
        const std::string strText(reinterpret_cast<const char *>(stFrame.pu8Data),
                                  s32Result == 0 ? stFrame.u32DataLen : 0);
        EXPECT_LE(strText.size(), 10240u);
        g_formatEntry.fmt_free(hFmt, &stFrame);
    }
    return s32Cues;
}

// Empties a slot of a table of functions.
template <typename Table> static void Empty(Table *pstTable, size_t uPlace) {
    memset(reinterpret_cast<uint8_t *>(pstTable) + uPlace * sizeof(void *), 0, sizeof(void *));
}

// The list is the host's to lengthen where a demuxer looks names up in it.
TEST(FindTest, AnExtensionMayStandBeforeAComma) {
    for (FormatEntry *pstEntry : {&g_srtDemuxer, &g_lrcDemuxer, &g_subDemuxer, &g_idxDemuxer}) {
        HostReset();
        const char *const pszList = pstEntry->pszExtList;
        const std::string strLonger = std::string(pszList) + ",txt";
        const std::string strUrl = "/movie." + std::string(pszList);
        pstEntry->pszExtList = strLonger.c_str();
        EXPECT_EQ(pstEntry->fmt_find(strUrl.c_str(), MemoryProtocol("")), 0) << pszList;
        EXPECT_TRUE(HostLogged("find demuxer")) << pszList;
        EXPECT_EQ(pstEntry->fmt_find("/movie.txt", MemoryProtocol("")), 0) << pszList;
        EXPECT_EQ(pstEntry->fmt_find("/movie.text", MemoryProtocol("")), -1) << pszList;
        pstEntry->pszExtList = pszList;
    }
}

TEST_P(ContractTest, OpenChecksItsArguments) {
    const ContractRow &stRow = GetParam();
    void *hFmt = nullptr;
    Protocol *pstProtocol = MemoryProtocol("x");
    EXPECT_EQ(stRow.pstEntry->fmt_open(nullptr, pstProtocol, &hFmt), -1);
    EXPECT_EQ(stRow.pstEntry->fmt_open("/x", pstProtocol, nullptr), -1);
    EXPECT_TRUE(HostLogged(stRow.pszOpenInvalid));
    EXPECT_EQ(stRow.pstEntry->fmt_open("/x", nullptr, &hFmt), -1);
    EXPECT_TRUE(HostLogged(stRow.pszOpenNoProtocol));
    EXPECT_EQ(g_host.vecMessages.size(), 3u);
    // The slots and their places, the one that is looked at last first: each missing alone, and with those before it.
    static const std::pair<const char *, size_t> s_astSlots[] = {
        {"seek", 3}, {"read", 2}, {"close", 4}, {"open", 1}, {"find", 0}};
    Protocol stEmptied = *pstProtocol;
    for (const auto &[pszSlot, uPlace] : s_astSlots) {
        std::string strMessage = stRow.pszOpenNoSlot;
        if (const size_t uName = strMessage.find('*'); uName != std::string::npos) {
            strMessage.replace(uName, 1, pszSlot);
        }
        Protocol stHoled = *pstProtocol;
        Empty(&stHoled, uPlace);
        Empty(&stEmptied, uPlace);
        HostReset();
        EXPECT_EQ(stRow.pstEntry->fmt_open("/x", &stHoled, &hFmt), -1) << pszSlot;
        EXPECT_EQ(stRow.pstEntry->fmt_open("/x", &stEmptied, &hFmt), -1) << pszSlot;
        EXPECT_EQ(HostCount(strMessage), 2) << pszSlot;
    }
    g_memoryFile.s32FailOpenAt = 1;
    EXPECT_EQ(stRow.pstEntry->fmt_open("/x", pstProtocol, &hFmt), -1);
    EXPECT_TRUE(HostLogged(stRow.pszRefused, stRow.pszRefusedBy));
    EXPECT_EQ(hFmt, nullptr);
}

static void ExpectRefused(int32_t s32Result, const std::string &strSaid, const std::string &strFunction) {
    EXPECT_EQ(s32Result, -1) << strFunction;
    EXPECT_EQ(g_host.vecMessages.back().strFunction + ": " + g_host.vecMessages.back().strText,
              strFunction + ": " + strSaid);
}

TEST_P(ContractTest, SlotsRefuseNullsAndHandlesThatAreNotOpen) {
    const ContractRow &stRow = GetParam();
    const FormatEntry *pstEntry = stRow.pstEntry;
    EXPECT_EQ(pstEntry->fmt_find_stream == nullptr, stRow.s32Builds == 0);
    FmtFrame stFrame = {};
    FileInfo *pstInfo = nullptr;
    std::vector<uint8_t> vecClosed(1 << 16); // more zeros than a close leaves of any handle
    for (uint8_t *hFmt : {static_cast<uint8_t *>(nullptr), vecClosed.data()}) {
        const char *pszSaid = hFmt == nullptr ? stRow.pszInvalid : stRow.pszNotOpen;
        ExpectRefused(pstEntry->fmt_get_info(hFmt, &pstInfo), pszSaid, Op(stRow, "GetInfo"));
        ExpectRefused(pstEntry->fmt_read(hFmt, &stFrame), pszSaid, stRow.pszReadCheck);
        ExpectRefused(pstEntry->fmt_free(hFmt, &stFrame), pszSaid, Op(stRow, "Free"));
        ExpectRefused(pstEntry->fmt_invoke(hFmt, INVOKE_STOP, nullptr), "invalid param", Op(stRow, "Invoke"));
        ExpectRefused(pstEntry->fmt_seek_pts(hFmt, 8191, 0), pszSaid, Op(stRow, "SeekPts"));
        ExpectRefused(pstEntry->fmt_close(hFmt), hFmt == nullptr ? stRow.pszCloseInvalid : stRow.pszCloseNoProtocol,
                      Op(stRow, "Close"));
        if (stRow.s32Builds > 0) {
            ExpectRefused(pstEntry->fmt_find_stream(hFmt, 0), "invalid param", Op(stRow, "FindStream"));
        }
    }
    void *hFmt = nullptr;
    ASSERT_EQ(pstEntry->fmt_open("/x.ass", MemoryProtocol(Bytes(stRow, 1)), &hFmt), 0);
    ExpectRefused(pstEntry->fmt_get_info(hFmt, nullptr), stRow.pszInvalid, Op(stRow, "GetInfo"));
    ExpectRefused(pstEntry->fmt_read(hFmt, nullptr), stRow.pszInvalid, stRow.pszReadCheck);
    ExpectRefused(pstEntry->fmt_free(hFmt, nullptr), stRow.pszInvalid, Op(stRow, "Free"));
    EXPECT_EQ(pstEntry->fmt_seek_pos(hFmt, 8191, 5), INT64_C(-1));
    EXPECT_EQ(pstEntry->fmt_close(hFmt), 0);
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
    EXPECT_EQ(pstStream->u32CodeType, stRow.bText ? 7u : 0u);
    EXPECT_EQ(pstStream->u32Flag, 1u);
    EXPECT_STREQ(pstStream->aszUrl, stRow.bUrlTold ? strUrl.c_str() : "");
    g_formatEntry.fmt_close(hFmt);

    // A name of any length: what does not fit is cut, or the field stays empty; it is terminated either way.
    hFmt = PlayerOpen("/" + std::string(stRow.uLongName, 'n') + "." + stRow.pszFile, MemoryProtocol(Bytes(stRow, 1)));
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
    stFrame.u32DataLen = 0; // as a free leaves it
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
    EXPECT_EQ(g_formatEntry.fmt_read(hFmt, &stFrame), GetParam().s32End);
    EXPECT_EQ(g_formatEntry.fmt_read(hFmt, &stFrame), GetParam().s32End);
    g_formatEntry.fmt_close(hFmt);
}

TEST_P(ContractTest, CommandsWithoutAnEffect) {
    const ContractRow &stRow = GetParam();
    CharsetOps *pstOps = ConverterDouble();
    void *hFmt = PlayerOpenBytes(stRow.pszFile, Bytes(stRow, 1), pstOps);
    ASSERT_NE(hFmt, nullptr);
    const int32_t s32Reads = g_memoryFile.s32Reads;
    const int32_t s32Refusal = stRow.bText ? -1 : 0;
    for (const int32_t s32Command : {1, 2, 6, 1000, -1}) {
        EXPECT_EQ(g_formatEntry.fmt_invoke(hFmt, s32Command, nullptr), 0) << s32Command;
    }
    for (const int32_t s32Command : {3, 4, 5}) {
        EXPECT_EQ(g_formatEntry.fmt_invoke(hFmt, s32Command, nullptr), s32Refusal) << s32Command;
    }
    for (size_t uPlace = 0; uPlace < 6; uPlace++) {
        CharsetOps stHoled = *pstOps;
        Empty(&stHoled, uPlace);
        EXPECT_EQ(g_formatEntry.fmt_invoke(hFmt, INVOKE_SET_CHARSET_OPS, &stHoled), s32Refusal) << uPlace;
    }
    EXPECT_EQ(HostCount("invalid argument"), stRow.bText ? 9 : 0);
    EXPECT_EQ(g_memoryFile.s32Reads, s32Reads);
    const int32_t s32Converts = g_converter.s32Converts;
    EXPECT_EQ(ReadToEnd(stRow, hFmt), 1); // with the converter of before
    EXPECT_EQ(g_converter.s32Converts - s32Converts, stRow.s32Converts);
    int32_t s32CodeType = 0;
    EXPECT_EQ(g_formatEntry.fmt_invoke(hFmt, INVOKE_SET_SRC_CODETYPE, &s32CodeType), 0);
    EXPECT_EQ(s32CodeType, stRow.bText && stRow.bTypeTold ? 7 : 0);
    g_formatEntry.fmt_close(hFmt);
}

TEST_P(TextContractTest, ASecondFindStreamGivesTheSameCues) {
    const ContractRow &stRow = GetParam();
    void *hFmt = PlayerOpenBytes(stRow.pszFile, Bytes(stRow, 3));
    ASSERT_NE(hFmt, nullptr);
    const std::string strTold = PlayerTold(PlayerReadAll(hFmt));
    EXPECT_EQ(std::count(strTold.begin(), strTold.end(), '+'), 3);
    ASSERT_EQ(g_formatEntry.fmt_find_stream(hFmt, 0), 0);
    EXPECT_EQ(PlayerTold(PlayerReadAll(hFmt)), strTold);
    g_formatEntry.fmt_close(hFmt);
}

TEST_P(TextContractTest, CodeTypesAreSet) {
    const ContractRow &stRow = GetParam();
    void *hFmt = PlayerOpenBytes(stRow.pszFile, Bytes(stRow, 3), ConverterDouble());
    ASSERT_NE(hFmt, nullptr);
    const int32_t s32Reads = g_memoryFile.s32Reads;
    int32_t s32Dst = 31;
    EXPECT_EQ(g_formatEntry.fmt_invoke(hFmt, INVOKE_SET_DST_CODETYPE, &s32Dst), 0);
    int32_t s32CodeType = 7; // the one in use: nothing happens
    EXPECT_EQ(g_formatEntry.fmt_invoke(hFmt, INVOKE_SET_SRC_CODETYPE, &s32CodeType), 0);
    EXPECT_EQ(g_memoryFile.s32Reads, s32Reads);
    s32CodeType = 9;
    EXPECT_EQ(g_formatEntry.fmt_invoke(hFmt, INVOKE_SET_SRC_CODETYPE, &s32CodeType), 0);
    EXPECT_GT(g_memoryFile.s32Reads, s32Reads);
    EXPECT_TRUE(HostLogged("Reset code type to: 9"));
    EXPECT_EQ(PlayerStream(hFmt)->u32CodeType, 7u);

    EXPECT_EQ(PlayerReadAll(hFmt).size(), 3u);
    EXPECT_EQ(g_converter.s32LastSrc, 9);
    EXPECT_EQ(g_converter.s32LastDst, 31);

    s32CodeType = 0; // identify, index again
    g_converter.s32CodeType = 13;
    EXPECT_EQ(g_formatEntry.fmt_invoke(hFmt, INVOKE_SET_SRC_CODETYPE, &s32CodeType), 0);
    EXPECT_EQ(PlayerReadAll(hFmt).size(), 3u);
    EXPECT_EQ(g_converter.s32LastSrc, 13);
    g_formatEntry.fmt_close(hFmt);
}

// A host that pads what it copies out of a frame finds zeros behind the text.
TEST_P(TextContractTest, NothingOfALongerCueIsLeftBehind) {
    const ContractRow &stRow = GetParam();
    std::string strBytes = Bytes(stRow, 2);
    strBytes.insert(strBytes.find("Hello"), 300, 'x');
    for (CharsetOps *pstOps : {static_cast<CharsetOps *>(nullptr), ConverterDouble()}) {
        void *hFmt = PlayerOpenBytes(stRow.pszFile, strBytes, pstOps);
        ASSERT_NE(hFmt, nullptr);
        FmtFrame stFrame = {};
        ASSERT_EQ(g_formatEntry.fmt_read(hFmt, &stFrame), 0);
        ASSERT_GT(stFrame.u32DataLen, 300u);
        ASSERT_EQ(g_formatEntry.fmt_read(hFmt, &stFrame), 0);
        ASSERT_LT(stFrame.u32DataLen, 100u);
        const std::string strBehind(reinterpret_cast<char *>(stFrame.pu8Data) + stFrame.u32DataLen, 300);
        EXPECT_EQ(strBehind, std::string(300, '\0')) << (pstOps != nullptr);
        g_formatEntry.fmt_close(hFmt);
    }
}

TEST_P(TextContractTest, AConverterThatCannotBeMadeOrTellsNothing) {
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

TEST_P(ContractTest, AStopEndsEveryBuildBeforeItsFirstLine) {
    const ContractRow &stRow = GetParam();
    void *hFmt = PlayerOpen("/" + std::string(stRow.pszFile), MemoryProtocol(Bytes(stRow, 2)));
    ASSERT_NE(hFmt, nullptr);
    const int32_t s32Reads = g_memoryFile.s32Reads;
    EXPECT_EQ(g_formatEntry.fmt_invoke(hFmt, INVOKE_STOP, nullptr), 0);
    EXPECT_EQ(g_formatEntry.fmt_find_stream(hFmt, 0), stRow.s32Stopped);
    EXPECT_EQ(g_formatEntry.fmt_find_stream(hFmt, 0), stRow.s32Stopped);
    // SAMI reads its header all the same, and text SUB the lines that tell its form.
    const bool bReads = stRow.u32Format == SUB_STREAM_FORMAT_SMI || stRow.u32Format == SUB_STREAM_FORMAT_SUB;
    EXPECT_EQ(g_memoryFile.s32Reads != s32Reads, bReads);
    EXPECT_EQ(HostCount(stRow.pszStopped), 2 * stRow.s32Builds);
    EXPECT_EQ(HostLogged("null", "SvrDemuxerFindStream"), stRow.s32Builds == 0);
    EXPECT_EQ(ReadToEnd(stRow, hFmt), stRow.s32Builds == 0 ? 2 : 0);
    g_formatEntry.fmt_close(hFmt);
}

TEST_P(TextContractTest, AStopFromAnotherThreadEndsALongBuild) {
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
    EXPECT_EQ(s32Result, stRow.s32Stopped);
    EXPECT_TRUE(HostLogged(stRow.pszStopped));
    EXPECT_LT(g_memoryFile.s64Pos, static_cast<int64_t>(strBytes.size()));
    g_formatEntry.fmt_close(hFmt);
}

// Where a life's bytes come from. A text demuxer takes one file, VobSub the same bytes twice.
struct ContractSource {
    std::string strUrl, strBytes;
    bool bOwn; // through the library's own protocol
};

static ContractSource Source(const ContractRow &stRow, int32_t s32Cues, bool bOwn) {
    ContractSource stSource = {"/" + std::string(stRow.pszFile), Bytes(stRow, s32Cues), bOwn};
    if (bOwn) {
        stSource.strBytes = stRow.strFiller + stSource.strBytes;
        stSource.strUrl = TempFile(stRow.pszFile, stSource.strBytes);
        std::string strPackets = stSource.strUrl;
        strPackets.replace(strPackets.size() - 3, 3, "sub");
        if (strPackets != stSource.strUrl) {
            std::filesystem::copy_file(stSource.strUrl, strPackets);
        }
    }
    return stSource;
}

// A descriptor that is left open takes this number from the next.
static int LowestDescriptor() {
    const int s32Fd = dup(STDERR_FILENO);
    close(s32Fd);
    return s32Fd;
}

// All that a host does with a file after opening it. Every result is a documented one.
static void UseAll(const ContractRow &stRow, void *hFmt, CharsetOps *pstOps) {
    const auto Expect = [](int64_t s64Result) {
        EXPECT_TRUE(s64Result == 0 || s64Result == -1) << s64Result;
    };
    FileInfo *pstInfo = nullptr;
    Expect(g_formatEntry.fmt_invoke(hFmt, INVOKE_SET_CHARSET_OPS, pstOps));
    Expect(g_formatEntry.fmt_find_stream(hFmt, 0));
    Expect(g_formatEntry.fmt_get_info(hFmt, &pstInfo));
    ReadToEnd(stRow, hFmt, 9);
    Expect(g_formatEntry.fmt_seek_pts(hFmt, 8191, 1500));
    Expect(g_formatEntry.fmt_seek_pos(hFmt, 8191, 20));
    int32_t s32CodeType = 3;
    Expect(g_formatEntry.fmt_invoke(hFmt, INVOKE_SET_SRC_CODETYPE, &s32CodeType));
    ReadToEnd(stRow, hFmt, 9);
    Expect(g_formatEntry.fmt_find_stream(hFmt, 0));
    ReadToEnd(stRow, hFmt, 9);
}

// A whole life, in which one allocation, protocol call or system call fails. What was built is gone afterwards, however
// far it came.
static void LiveOnce(const ContractRow &stRow, const ContractSource &stSource, int32_t *ps32Fault, int32_t s32FailAt) {
    SCOPED_TRACE(s32FailAt);
    HostReset();
    g_system = {};
    Protocol *pstProtocol = MemoryProtocol(stSource.strBytes);
    pstProtocol = stSource.bOwn ? PellProtocolOf(&g_formatEntry) : pstProtocol;
    CharsetOps *pstOps = ConverterDouble();
    const int s32Descriptor = LowestDescriptor();
    *ps32Fault = s32FailAt;
    g_system.bWatched = true;
    void *hFmt = nullptr;
    const int32_t s32Opened = g_formatEntry.fmt_open(stSource.strUrl.c_str(), pstProtocol, &hFmt);
    EXPECT_EQ(s32Opened, hFmt != nullptr ? 0 : -1);
    // What opening has built is whole.
    EXPECT_TRUE(hFmt == nullptr || g_host.s32FailAt == 0 || g_host.s32Allocations < g_host.s32FailAt);
    if (hFmt != nullptr) {
        g_memoryFile.hStopped = hFmt;
        UseAll(stRow, hFmt, pstOps);
        const int32_t s32Closed = g_formatEntry.fmt_close(hFmt);
        EXPECT_TRUE(s32Closed == 0 || (s32Closed == -1 && g_memoryFile.s32FailCloseAt > 0)) << s32Closed;
    }
    g_system.bWatched = false;
    EXPECT_TRUE(HostNothingLeft());
    EXPECT_EQ(g_converter.s32Live, 0);
    EXPECT_EQ(LowestDescriptor(), s32Descriptor);
    const bool bRefused = g_memoryFile.s32FailOpenAt > 0 && g_memoryFile.s32FailOpenAt <= g_memoryFile.s32Opens;
    EXPECT_EQ(g_memoryFile.s32Opens - (bRefused ? 1 : 0), g_memoryFile.s32Closes);
}

// Each of the calls that a life without faults makes, failing in turn.
static void LiveThroughEvery(const ContractRow &stRow, const ContractSource &stSource, const int32_t *ps32Calls,
                             int32_t *ps32Fault, int32_t s32Least) {
    LiveOnce(stRow, stSource, ps32Fault, 0);
    const int32_t s32Calls = *ps32Calls;
    ASSERT_GE(s32Calls, s32Least);
    for (int32_t i = 1; i <= s32Calls; i++) {
        LiveOnce(stRow, stSource, ps32Fault, i);
    }
}

TEST_P(ContractTest, EveryAllocationMayFail) {
    for (const bool bOwn : {false, true}) {
        const ContractSource stSource = Source(GetParam(), bOwn ? 3 : 4100, bOwn); // 4100: the index has to grow
        LiveThroughEvery(GetParam(), stSource, &g_host.s32Allocations, &g_host.s32FailAt, 5);
    }
}

TEST_P(ContractTest, EveryProtocolCallMayFail) {
    const ContractSource stSource = Source(GetParam(), 3, false);
    MemoryFile &st = g_memoryFile;
    LiveThroughEvery(GetParam(), stSource, &st.s32Opens, &st.s32FailOpenAt, 1);
    LiveThroughEvery(GetParam(), stSource, &st.s32Reads, &st.s32FailReadAt, 20);
    LiveThroughEvery(GetParam(), stSource, &st.s32Reads, &st.s32ShortReadAt, 20);
    LiveThroughEvery(GetParam(), stSource, &st.s32Seeks, &st.s32FailSeekAt, 3);
    LiveThroughEvery(GetParam(), stSource, &st.s32Closes, &st.s32FailCloseAt, 1);
}

TEST_P(ContractTest, EverySystemCallMayFail) {
    const ContractSource stSource = Source(GetParam(), 3, true);
    const int32_t s32Least = HostSeesSystemCalls() ? 5 : 0;
    LiveThroughEvery(GetParam(), stSource, &g_system.s32Calls, &g_system.s32FailAt, s32Least);
    LiveThroughEvery(GetParam(), stSource, &g_system.s32Calls, &g_system.s32ShortAt, s32Least);
}

TEST_P(ContractTest, AStopMayComeDuringEveryRead) {
    const ContractSource stSource = Source(GetParam(), 3, false);
    LiveThroughEvery(GetParam(), stSource, &g_memoryFile.s32Reads, &g_memoryFile.s32StopReadAt, 20);
}

// A converter that fails, tells less or claims more, in every stream type and with both kinds of protocol.
TEST_P(TextContractTest, ConvertersMayDoAnything) {
    const ContractRow &stRow = GetParam();
    const int32_t as32Claims[] = {-1, 0, 1, 10240};
    for (int i = 0; i < 2 * 4 * 4 * 2 * 8; i++) {
        const bool bOwn = i % 2 != 0;
        static ContractSource s_astSource[2];
        s_astSource[bOwn] = i < 2 ? Source(stRow, 3, bOwn) : s_astSource[bOwn];
        HostReset();
        CharsetOps *pstOps = ConverterDouble();
        g_converter.s32StreamType = i / 2 % 4;
        g_converter.s32OutLen = as32Claims[i / 8 % 4];
        g_converter.s32UsedLess = i / 32 % 2;
        g_converter.bIdentifyFails = i / 64 % 2 != 0;
        g_converter.bConvertFails = i / 128 % 2 != 0;
        g_converter.bStreamTypeFails = i / 256 % 2 != 0;
        Protocol *pstProtocol = MemoryProtocol(s_astSource[bOwn].strBytes);
        void *hFmt = PlayerOpen(s_astSource[bOwn].strUrl, bOwn ? PellProtocolOf(&g_formatEntry) : pstProtocol);
        ASSERT_NE(hFmt, nullptr);
        UseAll(stRow, hFmt, pstOps);
        EXPECT_EQ(g_formatEntry.fmt_close(hFmt), 0);
        ASSERT_EQ(g_converter.s32Live, 0) << i;
    }
}

// Memory in use and descriptors stand after thousands of lives where they stood after the first few.
TEST(SoakTest, TenThousandLivesLeaveNothing) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    constexpr int LIVES = 600;
#else
    constexpr int LIVES = sizeof(void *) == 8 ? 10000 : 1000; // 32-bit tests run under emulation
#endif
    std::vector<ContractRow> vecRows(std::begin(s_astTextRows), std::end(s_astTextRows));
    vecRows.push_back(s_stVobSubRow);
    std::vector<ContractSource> vecSources;
    for (const ContractRow &stRow : vecRows) {
        vecSources.push_back(Source(stRow, 3, true));
    }
    size_t uInUse = 0;
    const int s32Descriptor = LowestDescriptor();
    for (int i = 0; i < LIVES; i++) {
        HostReset();
        if (i == 60) {
            uInUse = mallinfo2().uordblks;
        }
        const size_t uRow = static_cast<size_t>(i) % vecRows.size();
        void *hFmt = PlayerOpen(vecSources[uRow].strUrl, PellProtocolOf(&g_formatEntry));
        ASSERT_NE(hFmt, nullptr);
        UseAll(vecRows[uRow], hFmt, ConverterDouble());
        ASSERT_EQ(g_formatEntry.fmt_close(hFmt), 0);
    }
    EXPECT_TRUE(HostNothingLeft());
    EXPECT_EQ(LowestDescriptor(), s32Descriptor);
    HostReset();
    EXPECT_LT(mallinfo2().uordblks, uInUse + 4096);
}

// What stands before the cues is longer than 32 bits can tell; each cue is read where it stands.
TEST_P(TextContractTest, CuesBeyondFourGiB) {
    const ContractRow &stRow = GetParam();
    const std::string strBytes = Bytes(stRow, 3);
    const std::string strNear = PlayerTold(PlayerCuesOf(stRow.pszFile, strBytes));
    void *hFmt = PlayerOpen("/" + std::string(stRow.pszFile), MemoryProtocol(strBytes));
    ASSERT_NE(hFmt, nullptr);
    g_memoryFile.s64HoleAt = std::max<int64_t>(static_cast<int64_t>(stRow.strHead.size()) - 1, 1);
    g_memoryFile.s64Hole = INT64_C(0x123456789A);
    ASSERT_EQ(g_formatEntry.fmt_find_stream(hFmt, 0), 0);
    EXPECT_EQ(PlayerTold(PlayerReadAll(hFmt)) == strNear, stRow.bWidePositions);
    g_formatEntry.fmt_close(hFmt);
}
