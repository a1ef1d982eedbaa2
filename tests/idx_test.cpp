// VobSub, from a pair of files to frames: what an index line means, which packs make a unit, how the pair is found.
#include "tests/player.h"
#include "tests/test_files.h"

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <random>
#include <unistd.h>

static Protocol *const s_pstOwn = PellProtocolOf(&g_formatEntry);

struct IdxTest : testing::Test {
    void SetUp() override {
        HostReset();
    }
};

static std::string Big16(size_t u) {
    return {static_cast<char>(u >> 8), static_cast<char>(u)};
}

// A pack with its share of a unit.
static std::string Pack(const std::string &strShare, size_t uHead = 5) {
    std::string str("\0\0\1\xBA\x44\0\4\0\4\1\1\x89\xC3\xF8\0\0\1\xBD", 18);
    str += Big16(strShare.size() + uHead + 4) + "\x81\x80" + static_cast<char>(uHead) + std::string(uHead, '\xFF') +
           '\x20' + strShare;
    str.resize(std::max<size_t>(str.size(), 2048), '\xFF');
    return str;
}

// A unit of so many bytes all told, over as many packs as it takes.
static std::string Unit(char ch, size_t uSize) {
    const std::string strUnit = Big16(uSize) + std::string(uSize - 2, ch);
    std::string str;
    for (size_t i = 0; i < strUnit.size(); i += 2019) {
        str += Pack(strUnit.substr(i, 2019));
    }
    return str;
}

// An index and the packet file beside it.
static std::string Pair(const std::string &strIndex, const std::string &strPackets,
                        const std::string &strName = "film.sub", const std::string &strIndexName = "film.idx") {
    const std::string strPath = TempFile(strIndexName, strIndex);
    std::ofstream(std::filesystem::path(strPath).replace_filename(strName), std::ios::binary) << strPackets;
    return strPath;
}

// The next unit: "start+duration last-byte size|", "!|" for a failure, "" behind the last: a failure without a message.
static std::string ToldNext(void *hFmt, uint32_t u32StaleLen = 0) {
    FmtFrame stFrame = {};
    stFrame.u32DataLen = u32StaleLen;
    const size_t uMessages = g_host.vecMessages.size();
    if (g_formatEntry.fmt_read(hFmt, &stFrame) != 0) {
        EXPECT_TRUE(stFrame.pu8Data == nullptr && stFrame.u32DataLen == 0);
        return g_host.vecMessages.size() > uMessages ? "!|" : "";
    }
    const std::string strDuration = stFrame.u32Duration == UINT32_MAX ? "?" : std::to_string(stFrame.u32Duration);
    const std::string str = std::to_string(stFrame.s64Pts) + "+" + strDuration + " " +
                            static_cast<char>(stFrame.pu8Data[stFrame.u32DataLen - 1]) +
                            std::to_string(stFrame.u32DataLen) + "|";
    EXPECT_EQ(g_formatEntry.fmt_free(hFmt, &stFrame), 0);
    return str;
}

// Code and units of every language; "" for a pair that is refused.
static std::string Told(const std::string &strUrl, Protocol *pstProtocol = s_pstOwn) {
    void *hFmt = PlayerOpen(strUrl, pstProtocol);
    std::string str;
    for (uint32_t i = 0; hFmt != nullptr && PlayerStream(hFmt, i) != nullptr; i++) {
        str += std::string(PlayerStream(hFmt, i)->aszLang) + " ";
        g_formatEntry.fmt_seek_pts(hFmt, 8191 + static_cast<int32_t>(i), 0);
        for (std::string strNext; !(strNext = ToldNext(hFmt)).empty();) {
            str += strNext;
        }
    }
    EXPECT_EQ(g_formatEntry.fmt_close(hFmt), hFmt != nullptr ? 0 : -1);
    EXPECT_TRUE(HostNothingLeft());
    return str;
}

static std::string Repeat(int iTimes, const std::string &strText) {
    return iTimes == 0 ? "" : strText + Repeat(iTimes - 1, strText);
}

static const std::string s_strId = "id: en, index: 0\n";
static const std::string s_strA = "timestamp: 00:00:01:000, filepos: 000000000\n";
static const std::string s_strB = "timestamp: 00:00:02:500, filepos: 000000800\n";

// Every line of a file, with the position behind it.
static std::string Lines(const std::string &strPath, int32_t s32Size, Protocol *pstProtocol) {
    std::string str;
    void *hUrl = nullptr;
    EXPECT_EQ(pstProtocol->url_open(strPath.c_str(), 0, &hUrl), 0);
    uint8_t au8Line[64];
    for (int32_t s32Len = 1; s32Len > 0;) {
        memset(au8Line, 0x5A, sizeof(au8Line));
        s32Len = IdxReadLine(au8Line, s32Size, pstProtocol, hUrl);
        EXPECT_EQ(std::count(au8Line + s32Len, au8Line + 64, 0), s32Size - s32Len);
        str += std::string(au8Line, au8Line + s32Len) + std::to_string(pstProtocol->url_seek(hUrl, 0, 1)) + "|";
    }
    pstProtocol->url_close(hUrl);
    return str;
}

TEST_F(IdxTest, LinesAreTheSameThroughWindowAndSlots) {
    std::mt19937 random(7);
    std::string strRandom;
    while (strRandom.size() < 0x200000) { // two windows to the byte
        strRandom += random() % 40 == 0 ? "\n\r#:"[random() % 4] : static_cast<char>(random() % 3 + 'a');
    }
    const std::string strPath = TempFile("a.idx", strRandom);
    EXPECT_EQ(Lines(strPath, 64, s_pstOwn), Lines(strPath, 64, ForeignFileProtocol()));
    static const struct {
        const char *pszBytes, *pszLines;
        int32_t s32Size;
    } s_astRows[] = {
        {"one\r\ntwo\n\n\rthree", "one\r4|two\n9|three16|16|", 64},
        {"# no\n#\nyes # no # no\n #\n", "yes \n21| \n24|24|", 64},
        {"abcdefghi\nj", "abcd4|efgh8|i\n10|j11|11|", 5},
        {"a", "0|", 1},
    };
    for (const auto &stRow : s_astRows) {
        for (Protocol *pstProtocol : {s_pstOwn, ForeignFileProtocol()}) {
            EXPECT_EQ(Lines(TempFile("a.idx", stRow.pszBytes), stRow.s32Size, pstProtocol), stRow.pszLines);
        }
    }
    EXPECT_EQ(IdxReadLine(nullptr, 9, ForeignFileProtocol(), nullptr), 0);
}

TEST_F(IdxTest, LanguagesAndTimesOfAnIndex) {
    static const struct {
        std::string strIndex, strTold; // each language's code and units; "" where the index is refused
    } s_astRows[] = {
        {s_strId + s_strA + s_strB + "id: fr, index: 1\nid: d, index: 9\r\n" + s_strB, // one without time stamps
         "en 1000+1500 a9|2500+? b9|di 2500+? b9|"},
        {s_strId + s_strB + s_strA, "en 1000+1500 a9|2500+? b9|"},
        {s_strId + s_strA + "id: fr\ndelay: 0:0:1:0\ntimestamp: x\n" + s_strB + "id: :e, index:\n" + s_strB,
         "en 1000+? a9| 2500+? b9|"}, // an id without index takes its lines with it
        {"a:1b id: en, index: 0\n" + s_strA, "bi 1000+? a9|"},
        {s_strId + s_strA + "delay: -01:00:00:001\nid: de, index: 1\n" + s_strA + s_strB, // for the language to come
         "en 1000+? a9|de -3599001+1500 a9|-3597501+? b9|"},
        {s_strId + "delay: 0:0:-1:500\ndelay: -1:0:0:0 -\n" + s_strA, "en -3599000+? a9|"},
        {s_strId + "delay: 0:0:5\ndelay:0:0:0:9 " + s_strA, "en 1009+? a9|"}, // one that is none
        {"delay: 0:0:9:0\n" + s_strId + s_strA, "en 10000+? a9|"},            // for the first language
        {s_strId + "delay: 99999999999:0:0:0\n" + s_strA, "en 7730941129201000+? a9|"},
        {"time offset: 0x10\n" + s_strId + s_strA + "time offset: -010:x\n" + s_strB, "en 1016+1476 a9|2492+? b9|"},
        {"time offset: 2147482000\n" + s_strId + s_strA + s_strB, // beyond 31 bits, the low half counts
         "en 2147484500+4294965796 b9|2147483000+? a9|"},
        {s_strId + s_strA + "langidx: id: fr, index: 1\nid: fr, index: 1 " + s_strB, "en 1000+? a9|"},
        {s_strId + s_strA + "Timestamp: x\nID: x\nDELAY: x\ntimestamp : x\n", "en 1000+? a9|"},
        {s_strId + "x timestamp:\t 1: +2: 3:  04, \tfilepos: 0X800z timestamp: x", "en 3723004+? b9|"},
        {s_strId + "timestamp:-1:-2:-3:-04,filepos:-fffff800", "en -3723004+? b9|"},
        {s_strId + "timestamp: 0:0:0:0, filepos: 100000800", "en !|"},
        {s_strId + Repeat(1025, s_strA), "en " + Repeat(1024, "1000+0 a9|") + "1000+? a9|"},
        {Repeat(32, s_strId + s_strA) + "delay: 1:0:0:0\n" + s_strB + s_strId + "timestamp: x\n", // one id too many
         Repeat(31, "en 1000+? a9|") + "en 1000+1500 a9|2500+? b9|"},
        {s_strA + s_strId + s_strA, ""},
        {s_strId + "timestamp: 00:00:00:9991, filepos: 0", ""},
        {s_strId + "timestamp: 00:00:00:000, filepos: -", ""},
    };
    for (const auto &stRow : s_astRows) {
        EXPECT_EQ(Told(Pair(stRow.strIndex, Unit('a', 9) + Unit('b', 9))), stRow.strTold) << stRow.strIndex;
    }
    EXPECT_TRUE(HostLogged("missing first id: xx, index: xx! or index outrange", "IdxParseTimeStamp"));
}

TEST_F(IdxTest, StreamsAreDescribed) {
    // Size, first three colours, last one, warnings.
    static const char *const s_aapszRows[][2] = {
        {"size: 720x576\npalette: 000000, ffffff\n", "720x576 0 ffffff00 0 0 0"},
        {"size:70000x-1\npalette: 1,2,3,4,5,6,7,8,9,a,b,c,d,e,f,10\n", "4464x65535 100 200 300 1000 0"},
        {"size: 99999999999x\npalette:: 0xab ,, zz,4,5,6,7,8,9,0,1,2,3,4,5,6,7,8\n", "65535x0 ab00 0 0 600 1"},
        {"maxsize: 1x2\npalette: 1,2,3,4,5,6,7,8,9,0,1,2,3,4,5,6\npalette:\n", "1x0 0 0 0 0 0"}, // the first 'x'
    };
    for (const auto &apszRow : s_aapszRows) {
        HostReset();
        void *hFmt = PlayerOpen(Pair(apszRow[0] + s_strId + s_strA, "x"), s_pstOwn);
        ASSERT_NE(hFmt, nullptr);
        const SubStreamInfo *pstStream = PlayerStream(hFmt);
        uint32_t au32[16];
        ASSERT_EQ(pstStream->u32ExtraDataSize, sizeof(au32));
        memcpy(au32, pstStream->pu8ExtraData, sizeof(au32));
        char aszTold[100];
        snprintf(aszTold, sizeof(aszTold), "%ux%u %x %x %x %x %d", pstStream->u16Width, pstStream->u16Height, au32[0],
                 au32[1], au32[2], au32[15], HostCount("IDX_MAX_PALETTE_NUM reached!"));
        EXPECT_STREQ(aszTold, apszRow[1]);
        g_formatEntry.fmt_close(hFmt);
    }
}

TEST_F(IdxTest, PacksToUnits) {
    static const struct {
        std::string strPackets, strTold;
        const char *pszMessage = "find demxuer", *pszFunction = "IdxDemuxerFind";
    } s_astRows[] = {
        {Unit('a', 10240) + Unit('b', 99), "en 1000+? a10240|"},
        {Unit('a', 65535), "en 1000+? a65535|"},
        {Pack(Big16(1769) + std::string(1767, 'a'), 255), "en 1000+? a1769|"},            // to the end of the pack
        {Unit('a', 3000).substr(0, 2088), "en 1000+? " + std::string(1, '\0') + "3000|"}, // cut: zeros follow
        {Pack(Big16(9) + "aaa") + "x" + Unit('b', 9), "en !|", "broken packet without 0x000001ba!", "IdxParsePes"},
        {Pack(Big16(9)).insert(14, 1, '\xFF'), "en !|", "broken packet without 0x000001bd!", "IdxParsePes"},
        {Pack(""), "en !|", "_IDX_PARSE_Pes error, peslen is shorter than pes's headlen", "IdxParsePes"},
        {Pack(std::string(2020, 'a')), "en !|", "pu8Picbuf is outrange!", "IdxParsePes"},
        {Pack(Big16(0)), "en !|", "_IDX_PARSE_Pes failed, datasize error!", "IdxReadNode"},
        {Pack(Big16(9) + "12345678"), "en !|", "parse pes error, parsed size != datasize!", "IdxReadNode"},
        {std::string(23, 'x'), "en !|", "_IDX_PARSE_Pes failed!", "IdxReadNode"},
        {Pack(Big16(9)), "en !|", "_IDX_READ_Node url_read pos failed! .sub file unstandard", "IdxReadNode"},
        {Unit('a', 65535).substr(0, size_t{2048} * 9), "en !|",
         "_IDX_READ_Node url_read pos failed! .sub file unstandard", "IdxReadNode"},
    };
    for (const auto &stRow : s_astRows) {
        HostReset();
        EXPECT_EQ(Told(Pair(s_strId + s_strA, stRow.strPackets)), stRow.strTold);
        EXPECT_TRUE(HostLogged(stRow.pszMessage, stRow.pszFunction)) << stRow.pszMessage;
    }
}

TEST_F(IdxTest, LongIndexesAndBrokenOnesEnd) {
    std::string strIndex = s_strId;
    for (int i = 0; i < 200000; i++) {
        char aszLine[64];
        snprintf(aszLine, sizeof(aszLine), "timestamp: %02d:%02d:%02d:%03d, filepos: 000000000\n", i / 3600,
                 i / 60 % 60, i % 60, i % 1000);
        strIndex += aszLine;
    }
    const std::string strTold = Told(Pair(strIndex, Unit('a', 9)));
    EXPECT_EQ(std::count(strTold.begin(), strTold.end(), '|'), 200000);
    EXPECT_EQ(strTold.substr(strTold.size() - 15), "199999999+? a9|");
    EXPECT_EQ(Told(Pair(s_strId + Repeat(9, s_strA) + s_strB, Pack("") + Unit('b', 9))),
              "en " + Repeat(9, "!|") + "2500+? b9|");
}

TEST_F(IdxTest, ThePacketFileIsFound) {
    const std::string strIndex = s_strId + "timestamp: 0:0:0:0, filepos: fffff000\n";
    const int s32Fd = open(TempFile("other", "x").c_str(), O_RDWR | O_LARGEFILE);
    ASSERT_EQ(pwrite64(s32Fd, Unit('a', 9).data(), 2048, 0xFFFFF000), 2048);
    const std::string strNone = "not found subfd in url, try open file";
    const struct {
        std::string strIndexName, strName, strTold, strMessage, strFunction; // the unit stands behind the descriptor
    } astRows[] = {
        {"film.idx", "film.sub", "en !|", strNone, "CheckSubFd"},
        {"film.IDX", "film.suB", "en !|", strNone, "CheckSubFd"},
        {"film.idx", "film.txt", "", "sub file open fail!", "GetHanle"},
        {"film::subfd=-1.idx", "film::subfd=-1.sub", "en !|", strNone + ", ret=1 fd=-1", "CheckSubFd"},
        {"film::subfd=9999.idx", "film::subfd=9999.Sub", "en !|", "readlink failed ret:-1", "CheckSubFd"},
        {"film::subfd=" + std::to_string(s32Fd) + ".idx", "none", "en 0+? a9|", "find demxuer", "IdxDemuxerFind"},
    };
    for (const auto &stRow : astRows) {
        HostReset();
        EXPECT_EQ(Told(Pair(strIndex, "x", stRow.strName, stRow.strIndexName)), stRow.strTold) << stRow.strName;
        EXPECT_TRUE(HostLogged(stRow.strMessage, stRow.strFunction)) << stRow.strName;
    }
    close(s32Fd);
    // Names without an extension, and without room for one.
    Protocol *pstMemory = MemoryProtocol("#");
    for (const size_t uLen : {2u, 3u, 4095u, 4096u}) {
        void *hFmt = nullptr;
        g_idxDemuxer.fmt_open(std::string(uLen, 'x').c_str(), pstMemory, &hFmt);
        EXPECT_EQ(g_idxDemuxer.fmt_close(hFmt), uLen == 2 || uLen == 4096 ? -1 : 0);
    }
    EXPECT_EQ(HostCount("filename len is too long!"), 2);
    EXPECT_EQ(g_memoryFile.s32Opens, g_memoryFile.s32Closes);
}

TEST_F(IdxTest, ASeekSelectsALanguageAndAUnit) {
    const std::string strIndex = s_strId + s_strA + s_strB + "timestamp: 0:0:4:0, filepos: 0\n" + s_strId + s_strB;
    void *hFmt = PlayerOpen(Pair(strIndex, Unit('a', 9) + Unit('b', 9)), s_pstOwn);
    ASSERT_NE(hFmt, nullptr);
    static const struct {
        int32_t s32Stream, s32Result;
        int64_t s64Pts;
        std::string strNext;  // of the read that follows
        uint32_t u32StaleLen; // what the frame that it goes to still has
    } s_astRows[] = {
        {8191, 0, 2500, "1000+1500 a9|", 0},
        {8192, 0, 0, "2500+? b9|", 0},
        {8192, -1, 2500, "", 0},
        {8191, -1, 2501, "", 0},
        {8193, -1, 0, "", 0},
        {8191, 0, -5, "1000+1500 a9|", 0},
        {8191, -1, 9999, "2500+1500 b9|", 0},
        {8191, 0, 0, "!|", 8},
        {8191, 0, 0, "!|", UINT32_MAX},
    };
    for (const auto &stRow : s_astRows) {
        EXPECT_EQ(g_formatEntry.fmt_seek_pts(hFmt, stRow.s32Stream, stRow.s64Pts), stRow.s32Result) << stRow.s64Pts;
        EXPECT_EQ(ToldNext(hFmt, stRow.u32StaleLen), stRow.strNext) << stRow.s64Pts;
    }
    g_formatEntry.fmt_close(hFmt);
}

TEST_F(IdxTest, AUnitWithoutRoomFailsAlone) {
    void *hFmt = PlayerOpen(Pair(s_strId + s_strA + s_strA, Unit('a', 10241)), ForeignFileProtocol());
    ASSERT_NE(hFmt, nullptr);
    g_host.s32FailAt = g_host.s32Allocations + 3; // behind the frame's buffer and the pack's: the larger one
    EXPECT_EQ(ToldNext(hFmt), "!|");
    EXPECT_TRUE(HostLogged("ptr realloc failed!", "IdxParsePes"));
    EXPECT_EQ(ToldNext(hFmt), "1000+? a10241|");
    g_formatEntry.fmt_close(hFmt);
    EXPECT_TRUE(HostNothingLeft());
}
