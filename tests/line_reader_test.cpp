// Proves that lines come as described, in every stream type and at every length around the limit, and that the window
// of the library's own protocol gives the same lines, positions and results as bytes read one at a time.
#include "tests/host_double.h"
#include "tests/test_files.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <random>

constexpr int32_t MIB = 1 << 20;

class LineReaderTest : public testing::Test {
protected:
    void SetUp() override {
        HostReset();
    }
    void TearDown() override {
        EXPECT_TRUE(HostNothingLeft());
    }
};

struct LineResult {
    int32_t s32Result;
    std::string strBytes;
    bool operator==(const LineResult &) const = default;
};

// Reads a line into a buffer of exactly the promised size and sees that nothing is written behind the line.
static LineResult ReadLine(void *hUrl, Protocol *pstProtocol, const CharsetOps *pstOps) {
    std::vector<uint8_t> vecLine(SVR_SUB_STR_IN_MAX_LEN + 64, 0xEE);
    const int32_t s32Len = SvrSubReadLine(vecLine.data(), hUrl, pstProtocol, pstOps, 9);
    EXPECT_LE(s32Len, SVR_SUB_STR_IN_MAX_LEN);
    const auto itEnd = vecLine.begin() + (s32Len > 0 ? s32Len : 0);
    EXPECT_TRUE(s32Len < 0 || std::all_of(itEnd, vecLine.end(), [](uint8_t u8) { return u8 == 0xEE; }));
    return {s32Len, std::string(vecLine.begin(), itEnd)};
}

using Lines = std::vector<std::string>;

static std::string X(size_t uCount) {
    return std::string(uCount, 'x');
}

static Lines ReadLines(void *hUrl, Protocol *pstProtocol, const CharsetOps *pstOps) {
    Lines vecLines;
    for (;;) {
        const LineResult stLine = ReadLine(hUrl, pstProtocol, pstOps);
        if (stLine.s32Result == -1) {
            EXPECT_EQ(ReadLine(hUrl, pstProtocol, pstOps).s32Result, -1);
            return vecLines;
        }
        vecLines.push_back(stLine.strBytes);
    }
}

// A text with the lines it should give, each ended by '|'.
struct LineCase {
    std::string strText, strLines;
};

// Both ways, with the warnings that the lines call for.
static void ExpectLines(const std::string &strBytes, int32_t s32StreamType, const Lines &vecLines) {
    CharsetOps *pstOps = ConverterDouble();
    g_converter.s32StreamType = s32StreamType;
    const auto nTooLong = std::count_if(vecLines.begin(), vecLines.end(),
                                        [](const std::string &str) { return str.size() >= SVR_SUB_STR_IN_MAX_LEN; });
    Protocol *pstOwn = PellProtocolOf(&g_formatEntry);
    void *hUrl = nullptr;
    ASSERT_EQ(pstOwn->url_open(TempFile("a.srt", strBytes).c_str(), 0, &hUrl), 0);
    HostReset();
    EXPECT_EQ(ReadLines(hUrl, pstOwn, pstOps), vecLines) << "from the file";
    EXPECT_EQ(ReadLines(&g_memoryFile, MemoryProtocol(strBytes), pstOps), vecLines) << "from memory";
    EXPECT_EQ(HostCount("warning! a line is too long(> 1024 bytes)!"), 2 * nTooLong);
    pstOwn->url_close(hUrl);
}

// In single bytes, or as both kinds of UTF-16.
static void ExpectCase(const LineCase &stCase, bool bUtf16) {
    SCOPED_TRACE(testing::PrintToString(stCase.strText.substr(0, 8)) + " of " + std::to_string(stCase.strText.size()));
    Lines vecLines;
    for (size_t u = 0, uEnd = 0; u < stCase.strLines.size(); u = uEnd + 1) {
        uEnd = stCase.strLines.find('|', u);
        vecLines.push_back(stCase.strLines.substr(u, uEnd - u));
    }
    if (!bUtf16) {
        ExpectLines(stCase.strText, STREAM_TYPE_UTF8, vecLines);
        return;
    }
    for (const bool bBigEndian : {false, true}) {
        Lines vecWide;
        for (const std::string &strLine : vecLines) {
            vecWide.push_back(Utf16(strLine, bBigEndian));
        }
        const int32_t s32Type = bBigEndian ? STREAM_TYPE_UTF16BE : STREAM_TYPE_UTF16LE;
        ExpectLines(Utf16(stCase.strText, bBigEndian), s32Type, vecWide);
        // Half a pair behind the end is never part of a line.
        ExpectLines(Utf16(stCase.strText, bBigEndian) + "z", s32Type, vecWide);
    }
}

TEST_F(LineReaderTest, SingleByteLines) {
    const LineCase s_aCases[] = {{"a", "a|"},
                                 {"a\n\n\nb", "a\n|||b|"},
                                 {"a\r\nb\r\n", "a\n|b\n|"},
                                 {"\r\n\r\n", "||"},
                                 {"a\rb", "a\n|b|"},
                                 {"\rb", "|b|"},
                                 {"a\r", "a|"},
                                 {"\r", ""},
                                 {"a\r\r\nb", "a\n\n||b|"},
                                 {"\r\r\nb", "||b|"},
                                 {"a\r\rb", "a\n||b|"},
                                 {"a\r\r", "a\n|"},
                                 {"\r\r", ""},
                                 {"a\r\r\r\nb", "a\n|||b|"}};
    for (const LineCase &c : s_aCases) {
        ExpectCase(c, false);
    }
    for (const size_t uLen : {2557U, 2558U, 2559U, 2560U, 2561U, 3000U}) {
        const std::string strKept = X(std::min<size_t>(uLen, 2560)), strEnd = uLen < 2560 ? "\n|" : "|";
        ExpectCase({X(uLen), strKept + "|"}, false);
        ExpectCase({X(uLen) + "\nb", strKept + strEnd + "b|"}, false);
        ExpectCase({X(uLen) + "\r\nb", strKept + strEnd + "b|"}, false);
        ExpectCase({X(uLen) + "\rb", strKept + strEnd + "b|"}, false);
        ExpectCase({X(uLen) + "\r\r\nb", strKept + (uLen < 2559 ? "\n" : "") + strEnd + "|b|"}, false);
    }
    // The line feed behind two carriage returns is left unread, with the second one where it was not stored.
    for (const size_t uLen : {2559U, 2560U}) {
        ReadLine(&g_memoryFile, MemoryProtocol(X(uLen) + "\r\r\nb"), nullptr);
        EXPECT_EQ(g_memoryFile.s64Pos, 2561) << uLen;
    }
    for (const int32_t s32Type : {0, 6, 7, -1}) {
        ExpectLines(std::string("a\0b\nc", 5), s32Type, {std::string("a\0b\n", 4), "c"});
    }
}

TEST_F(LineReaderTest, Utf16Lines) {
    const LineCase s_aCases[] = {
        {"A", "A|"},
        {"A\nB\n", "A\n|B\n|"},
        {"\n\nB", "||B|"},
        {"A\r\nB", "A\r\n|B|"},
        {"\r\nB", "|B|"},
        {"A\rB\nC", "A\rB\n|C|"},
        {"\rBC\nD", "C\n|D|"},
        {"\rB\nC", "|C|"},
        {"A\r\r\nB", "A\r\r\n|B|"},
        {"A\r", "A|"},
        {"A\r\r", "A\r\r|"},
        {"\r", ""},
        {"\rB", ""},
    };
    for (const LineCase &c : s_aCases) {
        ExpectCase(c, true);
    }
    for (const size_t uLen : {1277U, 1278U, 1279U, 1280U, 1281U}) {
        const std::string strKept = X(std::min<size_t>(uLen, 1280));
        ExpectCase({X(uLen) + "\nb", strKept + (uLen <= 1279 ? "\n|b|" : "|b|")}, true);
        ExpectCase({X(uLen) + "\r\nb", strKept + (uLen <= 1278 ? "\r\n|b|" : "|b|")}, true);
    }
    ExpectCase({X(1278) + "\rab\nc", X(1278) + "\ra|c|"}, true);
    ExpectCase({X(1279) + "\rab\nc", X(1279) + "b|c|"}, true);
    // Codes that contain a line end's byte, and line ends of the other byte order.
    for (const bool bBigEndian : {false, true}) {
        const std::string strLf = Utf16("\n", bBigEndian);
        const std::string strOthers = "\n\n\r\r\n\r\x0A\x01\x01\x0A" + Utf16("\n\r", !bBigEndian);
        ExpectLines(strOthers + strLf + strOthers, bBigEndian ? STREAM_TYPE_UTF16BE : STREAM_TYPE_UTF16LE,
                    {strOthers + strLf, strOthers});
    }
}

// Fails every read in its turn, by -1 or by nothing delivered: the line is that of a file which ends there.
static void ExpectFailedReadsToEndTheData(const std::string &strBytes, int32_t MemoryFile::*ps32FailAt) {
    const CharsetOps *pstOps = ConverterDouble();
    g_converter.s32StreamType = strBytes[1] == '\0' ? STREAM_TYPE_UTF16LE : STREAM_TYPE_SINGLE_BYTE;
    for (int32_t s32At = 1;; s32At++) {
        Protocol *pstProtocol = MemoryProtocol(strBytes);
        g_memoryFile.*ps32FailAt = s32At;
        LineResult stLine = {};
        int64_t s64Start = 0;
        int32_t s32Before = 0;
        do {
            s64Start = g_memoryFile.s64Pos;
            s32Before = g_memoryFile.s32Reads;
            stLine = ReadLine(&g_memoryFile, pstProtocol, pstOps);
        } while (stLine.s32Result != -1 && g_memoryFile.s32Reads < s32At);
        if (g_memoryFile.s32Reads < s32At) {
            EXPECT_GT(s32At, static_cast<int32_t>(strBytes.size()));
            return;
        }
        MemoryProtocol(strBytes.substr(static_cast<size_t>(s64Start), static_cast<size_t>(s32At - s32Before - 1)));
        EXPECT_EQ(stLine, ReadLine(&g_memoryFile, pstProtocol, pstOps)) << s32At;
    }
}

TEST_F(LineReaderTest, AFailedReadEndsTheDataAndAFailedSeekFails) {
    const std::string strText = "ab\r\n\n\r\rc\r\r\nd\r\re\rf\n";
    for (const std::string &strBytes : {strText, Utf16(strText, false)}) {
        ExpectFailedReadsToEndTheData(strBytes, &MemoryFile::s32FailReadAt);
        ExpectFailedReadsToEndTheData(strBytes, &MemoryFile::s32ShortReadAt);
    }
    const struct {
        const char *pszBytes;
        int32_t s32FailSeekAt;
    } s_aSeeks[] = {{"a\rb", 1},     {"\rb", 1},     {"a\r\rb", 1}, {"a\r\rb", 2},
                    {"a\r\r\nb", 1}, {"\r\r\nb", 2}, {"a\r\r", 1}};
    for (const auto &c : s_aSeeks) {
        Protocol *pstProtocol = MemoryProtocol(c.pszBytes);
        g_memoryFile.s32FailSeekAt = c.s32FailSeekAt;
        EXPECT_EQ(ReadLine(&g_memoryFile, pstProtocol, nullptr).s32Result, -1) << testing::PrintToString(c.pszBytes);
    }
}

TEST_F(LineReaderTest, RefusesWhatItCannotRead) {
    uint8_t au8Line[SVR_SUB_STR_IN_MAX_LEN];
    CharsetOps stOps = *ConverterDouble();
    Protocol *pstProtocol = MemoryProtocol("a\n");
    EXPECT_EQ(SvrSubReadLine(nullptr, &g_memoryFile, pstProtocol, &stOps, 0), -1);
    EXPECT_EQ(SvrSubReadLine(au8Line, nullptr, pstProtocol, &stOps, 0), -1);
    EXPECT_EQ(SvrSubReadLine(au8Line, &g_memoryFile, nullptr, &stOps, 0), -1);
    EXPECT_EQ(HostCount("invalid param!"), 3);
    g_converter.bStreamTypeFails = true;
    EXPECT_EQ(SvrSubReadLine(au8Line, &g_memoryFile, pstProtocol, &stOps, 0), -1);
    EXPECT_TRUE(HostLogged("get stream type failed!", "SvrSubReadLine"));
    g_converter.bStreamTypeFails = false;
    for (const int32_t s32Type : {STREAM_TYPE_WIDE_FIRST, STREAM_TYPE_WIDE_LAST}) {
        g_converter.s32StreamType = s32Type;
        EXPECT_EQ(SvrSubReadLine(au8Line, &g_memoryFile, pstProtocol, &stOps, 0), -1);
    }
    EXPECT_EQ(g_memoryFile.s32Reads, 0);
    // The converter is asked about the code type given; without the question the bytes are single.
    stOps.getStreamType = [](int32_t s32CodeType, int32_t *ps32StreamType) {
        EXPECT_EQ(*ps32StreamType, STREAM_TYPE_SINGLE_BYTE);
        *ps32StreamType = s32CodeType == 77 ? STREAM_TYPE_UTF16LE : STREAM_TYPE_WIDE_LAST;
        return 0;
    };
    pstProtocol = MemoryProtocol(Utf16("a\n", false) + "a\n\na");
    EXPECT_EQ(SvrSubReadLine(au8Line, &g_memoryFile, pstProtocol, &stOps, 77), 4);
    EXPECT_EQ(SvrSubReadLine(au8Line, &g_memoryFile, pstProtocol, nullptr, 77), 2);
    stOps.getStreamType = nullptr;
    EXPECT_EQ(SvrSubReadLine(au8Line, &g_memoryFile, pstProtocol, &stOps, 77), 0);
}

TEST_F(LineReaderTest, HeadersAreCountedInTheirStreamType) {
    const struct {
        int32_t s32Type;
        std::string strBytes;
        int32_t s32Result;
    } s_aCases[] = {{1, "\xEF\xBB\xBF\xEF\xBB\xBFhello", 6},
                    {1,
                     "\xEF\xBB"
                     "A",
                     0},
                    {1, "\xEF\xBB\xBF\xEF\xBB", 3},
                    {1, "\xFF\xFE", 0},
                    {1, "", 0},
                    {2,
                     "\xFF\xFE\xFF\xFE\xFF\xFE"
                     "a",
                     6},
                    {2, "\xFF\xFE\xFE\xFF", 2},
                    {2, "\xFF", 0},
                    {3, "\xFE\xFF\xFE\xFF\xFF\xFE", 4},
                    {6, "\xEF\xBB\xBF", 0},
                    {4, "\xFF\xFE", 0}};
    CharsetOps *pstOps = ConverterDouble();
    for (const auto &c : s_aCases) {
        g_converter.s32StreamType = c.s32Type;
        Protocol *pstProtocol = MemoryProtocol(c.strBytes);
        g_memoryFile.s64Pos = 1; // it starts at the beginning by itself
        EXPECT_EQ(SvrSubSkipHeader(&g_memoryFile, pstProtocol, &g_converter, pstOps, 0), c.s32Result)
            << c.s32Type << testing::PrintToString(c.strBytes);
    }
    EXPECT_TRUE(g_host.vecMessages.empty());

    Protocol *pstProtocol = MemoryProtocol("\xEF\xBB\xBF");
    CharsetOps stNoStreamType = *pstOps;
    stNoStreamType.getStreamType = nullptr;
    EXPECT_EQ(SvrSubSkipHeader(&g_memoryFile, pstProtocol, nullptr, pstOps, 0), 0);
    EXPECT_EQ(SvrSubSkipHeader(&g_memoryFile, pstProtocol, &g_converter, nullptr, 0), 0);
    EXPECT_EQ(SvrSubSkipHeader(&g_memoryFile, pstProtocol, &g_converter, &stNoStreamType, 0), 0);
    EXPECT_EQ(SvrSubSkipHeader(nullptr, pstProtocol, &g_converter, pstOps, 0), -1);
    EXPECT_EQ(SvrSubSkipHeader(&g_memoryFile, nullptr, &g_converter, pstOps, 0), -1);
    EXPECT_EQ(HostCount("invalid param!"), 5);
    EXPECT_EQ(g_memoryFile.s32Seeks, 0);
    g_memoryFile.s32FailSeekAt = 1;
    EXPECT_EQ(SvrSubSkipHeader(&g_memoryFile, pstProtocol, &g_converter, pstOps, 0), -1);
    EXPECT_TRUE(HostLogged("seek 0 failed!", "SvrSubSkipHeader"));
    g_converter.bStreamTypeFails = true;
    EXPECT_EQ(SvrSubSkipHeader(&g_memoryFile, pstProtocol, &g_converter, pstOps, 0), -1);
    EXPECT_TRUE(HostLogged("get stream type failed!", "SvrSubSkipHeader"));
}

// The same file twice: read through the window, and as a foreign protocol's byte by byte.
struct TwoWays {
    void *hOwn;
    void *hForeign;
};

static TwoWays OpenTwice(const std::string &strPath) {
    TwoWays stWays = {};
    EXPECT_EQ(SvrUrlOpen(strPath.c_str(), 0, &stWays.hOwn), 0);
    EXPECT_EQ(SvrUrlOpen(strPath.c_str(), 0, &stWays.hForeign), 0);
    return stWays;
}

static void CloseBoth(const TwoWays &stWays) {
    SvrUrlClose(stWays.hOwn);
    SvrUrlClose(stWays.hForeign);
}

// Seeks both, and reads lines up to the position or the end.
static void CompareLines(const TwoWays &stWays, int32_t s32StreamType, int64_t s64From, int64_t s64To) {
    CharsetOps *pstOps = ConverterDouble();
    g_converter.s32StreamType = s32StreamType;
    ASSERT_EQ(SvrUrlSeek(stWays.hOwn, s64From, 0), s64From);
    ASSERT_EQ(SvrUrlSeek(stWays.hForeign, s64From, 0), s64From);
    for (int64_t s64Pos = s64From; s64Pos < s64To;) {
        const LineResult stOwn = ReadLine(stWays.hOwn, PellProtocolOf(&g_formatEntry), pstOps);
        ASSERT_EQ(stOwn, ReadLine(stWays.hForeign, ForeignFileProtocol(), pstOps)) << "type " << s32StreamType;
        ASSERT_EQ(SvrUrlSeek(stWays.hForeign, 0, 1), SvrUrlSeek(stWays.hOwn, 0, 1));
        s64Pos = stOwn.s32Result == -1 ? s64To : SvrUrlSeek(stWays.hOwn, 0, 1);
    }
}

TEST_F(LineReaderTest, WindowAndBytesAgreeOnWholeFiles) {
    std::vector<std::string> vecPaths = SampleFiles(".srt");
    std::mt19937 rng(5);
    const std::string astrTokens[] = {"\n",        "\r",   {"\n\0", 2}, {"\0\n", 2}, {"\r\0", 2},
                                      {"\0\r", 2}, "\n\n", "\r\n",      "a",         {"a\0", 2}};
    for (int i = 0; i < 8; i++) {
        std::string strBytes;
        while (strBytes.size() < 12000) {
            strBytes += rng() % 400 != 0 ? astrTokens[rng() % std::size(astrTokens)]
                                         : Utf16(X(1274 + rng() % 10), rng() % 2 != 0) + "\r";
        }
        vecPaths.push_back(TempFile("random.srt", strBytes));
    }
    // The end on the cache boundary, where a read may deliver nothing.
    for (const char *pszEnd : {"xx", "x\n", "x\r", "\r\r"}) {
        std::string strBytes;
        while (strBytes.size() < MIB) {
            strBytes += X(2047) + "\n";
        }
        vecPaths.push_back(TempFile("exact.srt", strBytes.substr(0, MIB - 2) + pszEnd));
    }
    for (const std::string &strPath : vecPaths) {
        SCOPED_TRACE(strPath);
        const TwoWays stWays = OpenTwice(strPath);
        for (const int32_t s32Type : {STREAM_TYPE_UTF8, STREAM_TYPE_UTF16LE, STREAM_TYPE_UTF16BE}) {
            CompareLines(stWays, s32Type, 0, INT64_MAX);
        }
        CloseBoth(stWays);
    }
}

TEST_F(LineReaderTest, WindowAndBytesAgreeAcrossTheCacheBoundary) {
    const std::string astrTexts[] = {"\n",       "ab\r\n",         "a\r",           "abc\r\r\n", "\r\r\ra",
                                     "\r\nab\n", X(1283) + "\r\n", X(2566) + "\r\n"};
    for (const std::string &strText : astrTexts) {
        for (const std::string &strLine : {strText, Utf16(strText, false), Utf16(strText, true)}) {
            const int64_t s64Line = static_cast<int64_t>(strLine.size());
            std::string strBytes;
            while (strBytes.size() < MIB + 16384) {
                strBytes += strLine;
            }
            const TwoWays stWays = OpenTwice(TempFile("boundary.srt", strBytes));
            // The cache is filled from its first byte on, so that its end falls on every byte of a line: for long
            // lines, those around the limit and the end.
            for (int64_t s64First = 0; s64First < s64Line; s64First++) {
                const int64_t s64Boundary = s64First + MIB;
                if (s64Line > 1000 && s64Boundary % s64Line > 2 && s64Boundary % s64Line < s64Line - 18) {
                    continue;
                }
                for (const int32_t s32Type : {STREAM_TYPE_UTF8, STREAM_TYPE_UTF16LE, STREAM_TYPE_UTF16BE}) {
                    for (void *hUrl : {stWays.hOwn, stWays.hForeign}) {
                        SvrUrlSeek(hUrl, 0, 2);
                        ASSERT_EQ(SvrUrlSeek(hUrl, s64First, 0), s64First);
                    }
                    CompareLines(stWays, s32Type, (s64Boundary / s64Line - 1) * s64Line, s64Boundary + s64Line);
                }
            }
            CloseBoth(stWays);
        }
    }
}
