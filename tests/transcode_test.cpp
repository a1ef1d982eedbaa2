// Proves how files and lines reach the converter and what is made of its answers, good and bad; that tabs are expanded
// as far as there is room; and which part of a file name is its language.
#include "tests/host_double.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <random>

class TranscodeTest : public testing::Test {
protected:
    void SetUp() override {
        HostReset();
    }
    void TearDown() override {
        EXPECT_TRUE(HostNothingLeft());
    }
};

constexpr int32_t IDENTIFY_MAX = 5242880;

// Sees that it gets the file, with three times its size and a kilobyte of zeros behind it.
static int32_t IdentifyAndLook(void *, const uint8_t *pu8Text, int32_t s32Len, int32_t s32Hint, int32_t *ps32CodeType) {
    const uint8_t *pu8End = pu8Text + s32Len;
    EXPECT_TRUE(std::equal(pu8Text, pu8End, g_memoryFile.strBytes.begin(), g_memoryFile.strBytes.end(),
                           [](uint8_t u8, char ch) { return u8 == static_cast<uint8_t>(ch); }));
    EXPECT_TRUE(std::all_of(pu8End, pu8End + ptrdiff_t{3} * s32Len + 1024, [](uint8_t u8) { return u8 == 0; }));
    EXPECT_EQ(*ps32CodeType, -1);
    *ps32CodeType = s32Hint + 1;
    return 0;
}

TEST_F(TranscodeTest, IdentifiesWholeFilesUpToTheLimit) {
    static const char s_aszSize[] = "subtitle file is larger than 5M or empty file! not identify!";
    CharsetOps stOps = *ConverterDouble();
    stOps.getCodeType = IdentifyAndLook;
    for (const int32_t s32Size : {0, 1, 3, IDENTIFY_MAX, IDENTIFY_MAX + 1}) {
        HostReset();
        const bool bGood = s32Size > 0 && s32Size <= IDENTIFY_MAX;
        Protocol *pstProtocol = MemoryProtocol(std::string(static_cast<size_t>(s32Size), '\xEF'));
        EXPECT_EQ(SvrSubIdentifyCodeType(&g_memoryFile, pstProtocol, &g_converter, &stOps, 0x123456),
                  bGood ? 0x123457 : -1);
        EXPECT_EQ(HostLogged(s_aszSize, "SvrSubIdentifyCodeType"), !bGood);
        EXPECT_TRUE(!bGood || g_memoryFile.s64Pos == 0);
        EXPECT_LE(g_memoryFile.s32Reads, 1);
    }

    const struct {
        int32_t MemoryFile::*ps32FailAt;
        int32_t s32At, s32Result, s32Len;
        const char *pszMessage;
    } s_aFailures[] = {{&MemoryFile::s32FailSeekAt, 1, -1, 0, s_aszSize},
                       {&MemoryFile::s32FailSeekAt, 2, -1, 0, "seek to 0 failed!"},
                       {&MemoryFile::s32FailSeekAt, 3, 7, 10, ""},
                       {&MemoryFile::s32ShortReadAt, 1, 7, 5, ""},
                       {&MemoryFile::s32FailReadAt, 1, 7, -1, ""}};
    for (const auto &c : s_aFailures) {
        HostReset();
        CharsetOps *pstOps = ConverterDouble();
        Protocol *pstProtocol = MemoryProtocol("0123456789");
        g_memoryFile.*c.ps32FailAt = c.s32At;
        EXPECT_EQ(SvrSubIdentifyCodeType(&g_memoryFile, pstProtocol, &g_converter, pstOps, 0), c.s32Result);
        EXPECT_EQ(g_converter.s32LastLen, c.s32Len);
        EXPECT_EQ(HostLogged(c.pszMessage), *c.pszMessage != '\0');
    }
}

TEST_F(TranscodeTest, IdentificationFailsWithAMessage) {
    CharsetOps *pstOps = ConverterDouble();
    Protocol *pstProtocol = MemoryProtocol("abc");
    g_host.s32FailAt = 1;
    EXPECT_EQ(SvrSubIdentifyCodeType(&g_memoryFile, pstProtocol, &g_converter, pstOps, 0), -1);
    EXPECT_TRUE(HostLogged("Mallocz failed!", "SvrSubIdentifyCodeType"));
    g_converter.bIdentifyFails = true;
    EXPECT_EQ(SvrSubIdentifyCodeType(&g_memoryFile, pstProtocol, &g_converter, pstOps, 0), -1);
    EXPECT_TRUE(HostLogged("PELL_CHARSET_getCodeType failed!", "SvrSubIdentifyCodeType"));

    HostReset();
    g_memoryFile.s32Seeks = 0;
    Protocol stNoRead = *pstProtocol, stNoSeek = *pstProtocol;
    CharsetOps stNoIdentify = *pstOps;
    stNoRead.url_read = nullptr;
    stNoSeek.url_seek = nullptr;
    stNoIdentify.getCodeType = nullptr;
    EXPECT_EQ(SvrSubIdentifyCodeType(nullptr, pstProtocol, &g_converter, pstOps, 0), -1);
    EXPECT_EQ(SvrSubIdentifyCodeType(&g_memoryFile, pstProtocol, nullptr, pstOps, 0), -1);
    for (Protocol *pstBad : {static_cast<Protocol *>(nullptr), &stNoRead, &stNoSeek}) {
        EXPECT_EQ(SvrSubIdentifyCodeType(&g_memoryFile, pstBad, &g_converter, pstOps, 0), -1);
    }
    for (CharsetOps *pstBad : {static_cast<CharsetOps *>(nullptr), &stNoIdentify}) {
        EXPECT_EQ(SvrSubIdentifyCodeType(&g_memoryFile, pstProtocol, &g_converter, pstBad, 0), -1);
    }
    EXPECT_EQ(HostCount("invalid param!"), 7);
    EXPECT_EQ(g_memoryFile.s32Seeks, 0);
}

// A converter that writes '!' and answers as scripted.
struct ConvertScript {
    int32_t s32Result, s32OutLen, s32Used;
};
static ConvertScript g_convertScript;

static int32_t ConvertAsScripted(void *, uint8_t *pu8Out, int32_t *ps32OutLen, const uint8_t *, int32_t, int32_t,
                                 int32_t, int32_t *ps32Used) {
    std::fill_n(pu8Out, std::clamp(g_convertScript.s32OutLen, 0, *ps32OutLen), static_cast<uint8_t>('!'));
    *ps32OutLen = g_convertScript.s32OutLen;
    *ps32Used = g_convertScript.s32Used;
    return g_convertScript.s32Result;
}

struct Transcoded {
    int32_t s32Result;
    int32_t s32OutSize;
    std::string strOut; // as far as the capacity
};

// Runs one line through; whatever stands behind the capacity must stay.
static Transcoded Transcode(const std::string &strIn, int32_t s32Capacity, const CharsetOps *pstOps, int32_t s32Dst) {
    std::string strOut(static_cast<size_t>(s32Capacity) + 16, '#');
    TranscodeLine stLine = {reinterpret_cast<const uint8_t *>(strIn.data()), reinterpret_cast<uint8_t *>(strOut.data()),
                            static_cast<int32_t>(strIn.size()), s32Capacity, 0};
    void *hCharset = pstOps != nullptr ? &g_converter : nullptr;
    const int32_t s32Result = SvrSubTranscodeLine(hCharset, pstOps, &stLine, 3, s32Dst);
    EXPECT_EQ(strOut.substr(static_cast<size_t>(s32Capacity)), std::string(16, '#'));
    return {s32Result, stLine.s32LineOutSize, strOut.substr(0, static_cast<size_t>(s32Capacity))};
}

TEST_F(TranscodeTest, TheConverterIsAskedAndItsAnswersAreWeighed) {
    static const char s_aszFailed[] = "Transcode a line failed!",
                      s_aszPartly[] = "WARNING! a line transcoded uncomplete!";
    static const char s_aszTooLong[] = "transcode SVR_SUB_STR_OUT_MAX_LEN <= ps32LineOutSize!";
    const struct {
        ConvertScript stScript;
        int32_t s32Result;
        std::string strOut;
        std::vector<const char *> vecMessages;
    } s_aCases[] = {{{0, 3, 6}, 3, "!!!", {}},
                    {{0, 0, 6}, 0, "", {}},
                    {{0, 3, 5}, 3, "!!!", {s_aszPartly}},
                    {{0, 10239, 6}, 10239, std::string(10239, '!'), {}},
                    {{0, 10240, 6}, -1, "", {s_aszTooLong}},
                    {{-1, 6, 6}, 6, "ab\tcde", {s_aszFailed}},
                    {{-1, 10240, 0}, 6, "ab\tcde", {s_aszFailed, s_aszPartly}},
                    // The failed call left too little room for the text.
                    {{-1, 5, 6}, 6, std::string(5, '\0'), {s_aszFailed, "memcpy_s"}},
                    {{-1, -5, 6}, 6, "", {s_aszFailed, "memcpy_s"}}};
    CharsetOps stOps = *ConverterDouble();
    stOps.convert = ConvertAsScripted;
    for (const auto &c : s_aCases) {
        SCOPED_TRACE(std::to_string(c.stScript.s32Result) + ", " + std::to_string(c.stScript.s32OutLen));
        HostReset();
        g_convertScript = c.stScript;
        const Transcoded stDone = Transcode("ab\tcde", SVR_SUB_STR_OUT_MAX_LEN, &stOps, 1);
        EXPECT_EQ(stDone.s32Result, c.s32Result);
        EXPECT_TRUE(c.s32Result == -1 || stDone.s32OutSize == c.s32Result);
        EXPECT_EQ(stDone.strOut.substr(0, c.strOut.size()), c.strOut);
        ASSERT_EQ(g_host.vecMessages.size(), c.vecMessages.size());
        for (size_t i = 0; i < c.vecMessages.size(); i++) {
            EXPECT_NE(g_host.vecMessages[i].strText.find(c.vecMessages[i]), std::string::npos);
            EXPECT_EQ(g_host.vecMessages[i].s32Level, PLAYER_LOG_WARNING);
        }
    }
    // A negative length is no length.
    g_convertScript = {0, -5, 6};
    EXPECT_LT(Transcode("ab\tcde", SVR_SUB_STR_OUT_MAX_LEN, &stOps, 2).s32Result, 0);
    // The answer is expanded like any text, and only then held against the limit.
    CharsetOps *pstCopies = ConverterDouble();
    EXPECT_EQ(Transcode("a\tb", SVR_SUB_STR_OUT_MAX_LEN, pstCopies, 2).strOut.substr(0, 7), "a    b#");
    EXPECT_EQ(g_converter.s32LastSrc, 3);
    EXPECT_EQ(g_converter.s32LastDst, 2);
    EXPECT_EQ(Transcode(std::string(10236, '\t'), SVR_SUB_STR_OUT_MAX_LEN, pstCopies, 2).s32Result, 10239);
}

TEST_F(TranscodeTest, WithoutAConverterTheTextIsCopied) {
    const std::string strAll = {"\0\xFF\t\r\n", 5};
    CharsetOps stNoConvert = *ConverterDouble();
    stNoConvert.convert = nullptr;
    for (const CharsetOps *pstOps :
         {static_cast<const CharsetOps *>(nullptr), static_cast<const CharsetOps *>(&stNoConvert)}) {
        EXPECT_EQ(Transcode(strAll, 100, pstOps, 1).strOut.substr(0, 6), strAll + "#");
        EXPECT_EQ(Transcode(strAll, 100, pstOps, 1).s32Result, 5);
    }
    EXPECT_EQ(Transcode(std::string(20000, 'x'), 20000, nullptr, 1).s32Result, 20000);
    EXPECT_TRUE(g_host.vecMessages.empty());
    const Transcoded stCut = Transcode("ab\tcd", 4, nullptr, 2);
    EXPECT_EQ(stCut.s32OutSize, 5);
    EXPECT_EQ(stCut.strOut, std::string(4, '\0'));
    ASSERT_EQ(g_host.vecMessages.size(), 1U);
    EXPECT_NE(g_host.vecMessages[0].strText.find("] memcpy_s failed"), std::string::npos);

    uint8_t u8 = 'a';
    TranscodeLine astBad[] = {{nullptr, &u8, 1, 1, 0}, {&u8, nullptr, 1, 1, 0}, {&u8, &u8, 0, 1, 0}};
    EXPECT_EQ(SvrSubTranscodeLine(nullptr, nullptr, nullptr, 0, 0), -1);
    for (TranscodeLine &stBad : astBad) {
        EXPECT_EQ(SvrSubTranscodeLine(nullptr, nullptr, &stBad, 0, 0), -1);
    }
    EXPECT_EQ(HostCount("invalid param!"), 4);
}

// Blanks for tabs one after the other, until one would come too near the end.
static std::string ExpandTabs(std::string str, size_t uCapacity) {
    for (size_t i = 0; i < str.size() && (str[i] != '\t' || str.size() + 4 <= uCapacity); i++) {
        if (str[i] == '\t') {
            str.replace(i, 1, "    ");
        }
    }
    return str;
}

TEST_F(TranscodeTest, TabsBecomeBlanksWhileThereIsRoom) {
    struct TabCase {
        std::string strIn;
        int32_t s32Capacity;
    };
    std::vector<TabCase> vecCases;
    for (size_t uLen = 10232; uLen <= 10240; uLen++) {
        vecCases.push_back({std::string(uLen - 2, 'x') + "\ty", SVR_SUB_STR_OUT_MAX_LEN});
        vecCases.push_back({std::string(1, '\t') + std::string(uLen - 2, 'x') + "\t", SVR_SUB_STR_OUT_MAX_LEN + 100});
    }
    std::mt19937 rng(3);
    for (int i = 0; i < 400; i++) {
        const size_t uMax = i % 8 == 0 ? 10000 : 12;
        std::string strIn(1 + rng() % uMax, 'x');
        std::generate(strIn.begin(), strIn.end(), [&] { return "\t\tab\0"[rng() % 5]; });
        const int32_t s32Room = static_cast<int32_t>(rng() % 16);
        vecCases.push_back(
            {strIn, i % 2 == 0 ? SVR_SUB_STR_OUT_MAX_LEN : static_cast<int32_t>(strIn.size()) + s32Room});
    }
    for (const TabCase &c : vecCases) {
        const std::string strExpected =
            ExpandTabs(c.strIn, static_cast<size_t>(std::min(c.s32Capacity, SVR_SUB_STR_OUT_MAX_LEN)));
        const Transcoded stDone = Transcode(c.strIn, c.s32Capacity, nullptr, 2);
        ASSERT_EQ(stDone.s32Result, static_cast<int32_t>(strExpected.size()));
        ASSERT_EQ(stDone.strOut.substr(0, strExpected.size()), strExpected);
    }
    EXPECT_EQ(ExpandTabs("a\tb", SVR_SUB_STR_OUT_MAX_LEN), "a    b");
    EXPECT_TRUE(g_host.vecMessages.empty());
}

TEST_F(TranscodeTest, TheLanguageStandsBetweenTheLastDots) {
    const std::string strLong(40, 'l');
    const struct {
        std::string strName, strExt, strTag;
        uint32_t u32Size;
        int32_t s32Result;
    } s_aCases[] = {{"/movie.en.srt", "srt", "en", 256, 0},
                    {"/movie.chs.eng.srt", "srt", "eng", 256, 0},
                    {"/MOVIE.EN.SRT", "srt", "EN", 256, 0},
                    {"/movie.en.sub::offset=0::length=99::fd=5", "sub", "en", 64, 0},
                    {"/movie.en.srt.bak", "srt", "", 256, -1},
                    {"/movie.srt.srt", "srt", "srt", 256, 0},
                    {"/movie..srt", "srt", "", 256, 0},
                    {"/movie.srt", "srt", "", 256, -1},
                    {"/a.b.c", "srt", "", 256, -1},
                    {"/movie", "srt", "", 256, -1},
                    {"/movie::offset=0.en.srt", "srt", "", 256, -1},
                    {std::string("/a.") + strLong + ".srt", "srt", strLong.substr(0, 31), 256, 0},
                    // Only what is shorter than the destination less one; else it runs on over its dot to the end.
                    {"/a.abc.srt", "srt", "abc", 5, 0},
                    {"/a.abc.srt", "srt", "", 4, -1},
                    {std::string("/a.") + strLong + ".srt", "srt", strLong.substr(0, 31), 33, 0},
                    {std::string("/a.") + strLong + ".srt", "srt", "", 32, -1},
                    {std::string(4089, 'n') + ".en.srt", "srt", "en", 256, 0},
                    {std::string(4089, 'n') + ".en.srt::offset=0::length=1", "srt", "en", 256, 0},
                    {std::string(4090, 'n') + ".en.srt", "srt", "", 256, -1}};
    for (const auto &c : s_aCases) {
        char aszOut[256 + 8] = {};
        std::fill(aszOut + c.strTag.size(), std::end(aszOut), '#');
        EXPECT_EQ(SvrSubGetLang(c.strName.c_str(), aszOut, c.u32Size, c.strExt.c_str()), c.s32Result) << c.strName;
        EXPECT_EQ(std::string(aszOut, sizeof(aszOut)), c.strTag + std::string(sizeof(aszOut) - c.strTag.size(), '#'));
    }
    EXPECT_EQ(HostCount("null"), 2);
    EXPECT_EQ(HostCount("fileUrl is too long"), 1);
    char ch = 0;
    EXPECT_EQ(SvrSubGetLang(nullptr, &ch, 1, "srt"), -1);
    EXPECT_EQ(SvrSubGetLang("/a.en.srt", nullptr, 1, "srt"), -1);
    EXPECT_EQ(SvrSubGetLang("/a.en.srt", &ch, 1, nullptr), -1);
    EXPECT_EQ(HostCount("invalid param"), 3);
}
