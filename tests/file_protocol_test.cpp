// Proves the URL dispatch and the file protocol: which URLs are served, how every open fails and what it leaves, and
// that reads and seeks through the cache are those of a plain array of bytes.
#include "tests/host_double.h"
#include "tests/test_files.h"

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <random>
#include <unistd.h>

constexpr int32_t MIB = 1 << 20;

static ptrdiff_t OpenDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

class FileProtocolTest : public testing::Test {
protected:
    void SetUp() override {
        HostReset();
        m_sDescriptors = OpenDescriptors();
    }
    void TearDown() override {
        EXPECT_TRUE(HostNothingLeft());
        EXPECT_EQ(OpenDescriptors(), m_sDescriptors);
    }

private:
    ptrdiff_t m_sDescriptors = 0;
};

static const std::string &RandomBytes() {
    static const std::string s_strBytes = [] {
        std::mt19937 rng(1);
        std::string str(size_t{3} * MIB, '\0');
        std::generate(str.begin(), str.end(), [&] { return static_cast<char>(rng()); });
        return str;
    }();
    return s_strBytes;
}

// What can be read of a file smaller than the cache.
static std::string ReadToEnd(void *hUrl) {
    std::string strAll;
    uint8_t u8 = 0;
    int32_t s32Got = 0;
    while ((s32Got = SvrUrlRead(hUrl, &u8, 1)) > 0) {
        strAll += static_cast<char>(u8);
    }
    EXPECT_EQ(s32Got, -1);
    return strAll;
}

static std::string Range(const std::string &strPath, const std::string &strOffset, const std::string &strLength,
                         const std::string &strFd = "") {
    return strPath + "::offset=" + strOffset + "::length=" + strLength + (strFd.empty() ? "" : "::fd=" + strFd);
}

// Opens, reads all and closes: what a URL stands for, or "fails".
static std::string Contents(const std::string &strUrl) {
    void *hUrl = nullptr;
    if (SvrUrlOpen(strUrl.c_str(), 0, &hUrl) != 0) {
        return hUrl == nullptr ? "fails" : "fails with a handle";
    }
    std::string strAll = ReadToEnd(hUrl);
    EXPECT_EQ(SvrUrlClose(hUrl), 0);
    return strAll;
}

TEST_F(FileProtocolTest, ServesPathsAndTheFileSchemeOnly) {
    const std::string strLetters(40, 'f');
    const struct {
        std::string strUrl;
        int32_t s32Result;
    } s_aCases[] = {{"/sdcard/a.srt", 0}, {"C:\\a.srt", 0}, {"file:///x.srt", 0},   {"FiLe:x.srt", 0}, {"abcd.srt", 0},
                    {"ab.srt", 0},        {"", 0},          {"letters", 0},         {"h2:x", 0},       {"rtp-x:y", 0},
                    {strLetters, 0},      {"::x", 0},       {"http://h/a", -1},     {"files:x", -1},   {"fil:x", -1},
                    {":x", -1},           {"ab:c", -1},     {strLetters + ":x", -1}};
    for (const auto &c : s_aCases) {
        HostReset();
        EXPECT_EQ(SvrUrlFind(c.strUrl.c_str()), c.s32Result) << c.strUrl;
        EXPECT_EQ(HostLogged("use pellplayer file protocol!", "SvrFileFind"), c.s32Result == 0) << c.strUrl;
        EXPECT_EQ(HostLogged("not file protocol", "SvrFileFind"), c.s32Result != 0) << c.strUrl;
    }
    EXPECT_EQ(SvrUrlFind(nullptr), -1);
    EXPECT_TRUE(HostLogged("input url is null", "SvrFileFind"));
}

TEST_F(FileProtocolTest, DispatchRegistersOnceAndChecksItsHandles) {
    SvrUrlFind("x");
    HostReset();
    void *hUrl = nullptr;
    EXPECT_EQ(SvrUrlFind("x"), 0);
    EXPECT_EQ(SvrUrlOpen("http://x", 0, &hUrl), -1);
    EXPECT_EQ(hUrl, nullptr);
    EXPECT_EQ(HostCount("already regist protocol"), 2);
    EXPECT_EQ(SvrUrlOpen("x", 0, nullptr), -1);
    EXPECT_TRUE(HostLogged("invalid param", "SvrUrlOpen"));

    // No handle, one without a descriptor, one whose descriptor has no slots.
    FormatEntry stEmpty = {};
    void *apvNone[2] = {};
    void *apvEmpty[2] = {&stEmpty, nullptr};
    for (void *hBad : {static_cast<void *>(nullptr), static_cast<void *>(apvNone), static_cast<void *>(apvEmpty)}) {
        HostReset();
        uint8_t u8 = 0;
        EXPECT_EQ(SvrUrlRead(hBad, &u8, 1), -1);
        EXPECT_EQ(SvrUrlSeek(hBad, 0, 0), -1);
        EXPECT_EQ(SvrUrlReadSeek(hBad, 0, 0), -1);
        EXPECT_EQ(SvrUrlClose(hBad), -1);
        for (const char *pszFunction : {"SvrUrlRead", "SvrUrlSeek", "SvrUrlReadSeek", "SvrUrlClose"}) {
            EXPECT_TRUE(HostLogged("null", pszFunction));
        }
    }
}

TEST_F(FileProtocolTest, FailedOpensSayWhyAndLeaveNothing) {
    const std::string strPath = TempFile("a.srt", "0123456789");
    const std::string strEmpty = TempFile("empty.srt", "");
    const std::string strMin = "-9223372036854775808", strMax = "9223372036854775807";
    int as32Pipe[2];
    ASSERT_EQ(pipe(as32Pipe), 0);
    const struct {
        std::string strUrl;
        const char *pszMessage, *pszFunction;
    } s_aCases[] = {
        {strPath + ".none", "file open fail", "SvrFileOpenUrl"},
        {Range(strPath + ".none", "0", "3", "99999999999"), "file open fail", "SvrFileOpenUrl"},
        {strPath + "::length=3::fd=1", "file open fail", "SvrFileOpenUrl"},
        {std::string(4095, '/') + strPath, "file open fail", "SvrFileOpenUrl"},
        {std::string(4095 - strPath.size(), '/') + strPath, "file open fail", "SvrFileOpenUrl"},
        {std::string(4096 - strPath.size(), '/') + strPath, "file open fail", "SvrFileOpenUrl"},
        {Range(std::string(4095 - strPath.size(), '/') + strPath, "0", "3"), "file open fail", "SvrFileOpenUrl"},
        {Range(std::string(4096 - strPath.size(), '/') + strPath, "0", "3"), "file param offset is too long",
         "SvrFileOpenGetFileInfo"},
        {strPath + "::offset=5", "file param offset is too long", "SvrFileOpenGetFileInfo"},
        {strPath + "::length=5::offset=0", "file param offset is too long", "SvrFileOpenGetFileInfo"},
        {strEmpty, "read file fail", "SvrFileOpenPreRead"},
        {Range(strEmpty, "0", "0"), "read file fail", "SvrFileOpenPreRead"},
        {std::filesystem::path(strPath).parent_path(), "read file fail", "SvrFileOpenPreRead"},
        {Range(strPath, "10", "1"), "read file fail", "SvrFileOpenPreRead"},
        {Range(strPath, "20", "5"), "file length is error,input file len is -10, actual file len is 10",
         "SvrFileOpenChk"},
        {Range(strPath, strMax, strMax),
         "file length is error,input file len is -9223372036854775797, actual file len is 10", "SvrFileOpenChk"},
        {Range("", "0", "5", std::to_string(as32Pipe[0])),
         "file length is error,input file len is -1, actual file len is -1", "SvrFileOpenChk"},
        {Range(strPath, "-3", "5"), "Seek fail:s64FileOffset = -3", "SvrFileOpenChk"},
        {Range(strPath, strMin, "1"), "Seek fail:s64FileOffset = -9223372036854775808", "SvrFileOpenChk"}};
    for (const auto &c : s_aCases) {
        HostReset();
        EXPECT_EQ(Contents(c.strUrl), "fails") << c.strUrl;
        EXPECT_TRUE(HostLogged(c.pszMessage, c.pszFunction)) << c.strUrl << ": " << c.pszMessage;
    }
    close(as32Pipe[0]);
    close(as32Pipe[1]);

    const struct {
        int32_t s32FailAt;
        const char *pszMessage, *pszFunction;
    } s_aBlocks[] = {{1, "malloc handle fail", "SvrUrlOpen"}, {2, "SVR_FILE_Open malloc handle fail", "SvrFileOpen"}};
    for (const auto &c : s_aBlocks) {
        HostReset();
        g_host.s32FailAt = c.s32FailAt;
        EXPECT_EQ(Contents(strPath), "fails");
        EXPECT_TRUE(HostLogged(c.pszMessage, c.pszFunction));
    }
}

TEST_F(FileProtocolTest, UrlsNameBytes) {
    const std::string strBytes = "0123456789";
    const std::string strPath = TempFile("a.srt", strBytes);
    const int s32Fd = open(TempFile("fd.srt", "abcdefghij").c_str(), O_RDONLY);
    const std::string strFd = std::to_string(s32Fd);
    const struct {
        std::string strUrl, strBytes;
    } s_aCases[] = {{strPath, strBytes},
                    {std::string(4094 - strPath.size(), '/') + strPath, strBytes},
                    {Range(std::string(4094 - strPath.size(), '/') + strPath, "8", "1"), "8"},
                    {Range(strPath, "0", "0"), strBytes},
                    {Range(strPath, "0", "-1"), strBytes},
                    {Range(strPath, "3", "4"), "3456"},
                    {Range(strPath, "5", "9223372036854775807"), "56789"},
                    {Range("no such file", "2", "5", strFd), "cdefg"},
                    // Not descriptors that can be taken: the path is opened.
                    {Range(strPath, "3", "4", "0"), "3456"},
                    {Range(strPath, "3", "4", "-" + strFd), "3456"},
                    {Range(strPath, "3", "4", "2147483647"), "3456"},
                    {Range(strPath, "3", "4", "99999999999999999999"), "3456"},
                    // Without an offset nothing is a parameter.
                    {TempFile("a::length=3::fd=" + strFd, "xyz"), "xyz"}};
    for (const auto &c : s_aCases) {
        EXPECT_EQ(Contents(c.strUrl), c.strBytes) << c.strUrl;
    }
    EXPECT_TRUE(HostLogged("correct the file length to 5", "SvrFileOpenChk"));

    HostReset();
    EXPECT_EQ(Contents(Range(strPath, "4", "6")), "456789");
    EXPECT_EQ(g_host.vecMessages.size(), 2U); // one protocol, and it is the file's
    HostReset();
    EXPECT_EQ(Contents(Range(strPath, "4", "100")), "456789");
    ASSERT_EQ(g_host.vecMessages.size(), 4U);
    EXPECT_EQ(g_host.vecMessages[2].strText,
              "file length input is error,input file length is 100, offset is 4, actual file length is 10");
    EXPECT_EQ(g_host.vecMessages[3].strText, "correct the file length to 6");
    EXPECT_EQ(g_host.vecMessages[2].s32Level, PLAYER_LOG_WARNING);
    EXPECT_EQ(close(s32Fd), 0); // the caller's own was not closed
}

TEST_F(FileProtocolTest, WithoutARangePositionsAreTheFiles) {
    const std::string strPath = TempFile("fd.srt", "abcdefghij");
    const int s32Fd = open(strPath.c_str(), O_RDONLY);
    const std::string strUrl = Range("", "0", "0", std::to_string(s32Fd));
    EXPECT_EQ(lseek(s32Fd, 4, SEEK_SET), 4);
    EXPECT_EQ(Contents(strUrl), "efghij");

    lseek(s32Fd, 4, SEEK_SET);
    void *hUrl = nullptr;
    ASSERT_EQ(SvrUrlOpen(strUrl.c_str(), 0, &hUrl), 0);
    EXPECT_EQ(SvrUrlSeek(hUrl, 0, 0), 0); // still the first cached byte
    EXPECT_EQ(ReadToEnd(hUrl), "efghij");
    EXPECT_EQ(SvrUrlSeek(hUrl, 0, 0), 0); // behind the read position: the start of the file
    EXPECT_EQ(ReadToEnd(hUrl), "abcdefghij");
    SvrUrlClose(hUrl);
    close(s32Fd);

    // An offset alone shifts where seeks lead.
    ASSERT_EQ(SvrUrlOpen(Range(strPath, "3", "0").c_str(), 0, &hUrl), 0);
    EXPECT_EQ(SvrUrlSeek(hUrl, 0, 2), 10);
    EXPECT_EQ(SvrUrlSeek(hUrl, 2, 0), 5);
    EXPECT_EQ(ReadToEnd(hUrl), "fghij");
    EXPECT_EQ(SvrUrlSeek(hUrl, -10, 2), 0);
    EXPECT_EQ(SvrUrlSeek(hUrl, 6, 0), 6);
    EXPECT_EQ(SvrUrlSeek(hUrl, 2, 0), 5); // also back to what is cached
    SvrUrlClose(hUrl);
}

TEST_F(FileProtocolTest, APipeIsReadOnceAndNotSought) {
    int as32Pipe[2];
    ASSERT_EQ(pipe(as32Pipe), 0);
    ASSERT_EQ(write(as32Pipe[1], "hello", 5), 5);
    close(as32Pipe[1]);
    void *hUrl = nullptr;
    ASSERT_EQ(SvrUrlOpen(Range("", "0", "0", std::to_string(as32Pipe[0])).c_str(), 0, &hUrl), 0);
    EXPECT_EQ(SvrUrlSeek(hUrl, 0, 2), -1);
    EXPECT_TRUE(HostLogged("lseek fail", "SvrFileSeekEnd"));
    EXPECT_EQ(SvrUrlSeek(hUrl, 6, 1), -1);
    EXPECT_TRUE(HostLogged("lseek fail", "SvrFileSeekCur"));
    EXPECT_EQ(SvrUrlSeek(hUrl, 6, 0), -1);
    EXPECT_TRUE(HostLogged("lseek fail", "SvrFileSeekSet"));
    EXPECT_EQ(ReadToEnd(hUrl), "hello");
    SvrUrlClose(hUrl);
    close(as32Pipe[0]);
}

TEST_F(FileProtocolTest, RefusesArgumentsWithoutMoving) {
    constexpr int64_t s64Min = INT64_MIN, s64Max = INT64_MAX;
    const std::string strPath = TempFile("a.srt", std::string(20, 'a') + "0123456789");
    void *hUrl = nullptr;
    uint8_t u8 = 0;
    EXPECT_EQ(g_fileProtocol.url_open(nullptr, 0, &hUrl), -1);
    EXPECT_EQ(g_fileProtocol.url_open("x", 0, nullptr), -1);
    EXPECT_EQ(HostCount("invalid param"), 2);
    EXPECT_EQ(g_fileProtocol.url_read(nullptr, &u8, 1), -1);
    EXPECT_TRUE(HostLogged("invalid param", "SvrFileRead"));
    EXPECT_EQ(g_fileProtocol.url_seek(nullptr, 0, 1), -1);
    EXPECT_TRUE(HostLogged("invalid param", "SvrFileSeek"));
    EXPECT_EQ(g_fileProtocol.url_close(nullptr), -1);
    EXPECT_TRUE(HostLogged("invalid param", "SvrFileClose"));

    ASSERT_EQ(SvrUrlOpen(Range(strPath, "20", "10").c_str(), 0, &hUrl), 0);
    EXPECT_EQ(SvrUrlRead(hUrl, nullptr, 1), -1);
    EXPECT_EQ(SvrUrlReadSeek(hUrl, 0, 0), -1);
    EXPECT_EQ(SvrUrlRead(hUrl, &u8, 1), 1);
    HostReset();
    EXPECT_EQ(SvrUrlSeek(hUrl, 0, 3), -1);
    EXPECT_EQ(SvrUrlSeek(hUrl, 0, -1), -1);
    EXPECT_TRUE(g_host.vecMessages.empty());
    const struct {
        int64_t s64Offset;
        int32_t s32Whence;
        const char *pszMessage, *pszFunction;
    } s_aCases[] = {{-1, 0, "seek fail", "SvrFileSeekSet"},      {s64Max, 0, "lseek fail", "SvrFileSeekSet"},
                    {10, 1, "lseek fail", "SvrFileSeekCur"},     {-2, 1, "lseek fail", "SvrFileSeekCur"},
                    {s64Min, 1, "lseek fail", "SvrFileSeekCur"}, {s64Max, 1, "lseek fail", "SvrFileSeekCur"},
                    {-31, 2, "lseek fail", "SvrFileSeekEnd"},    {s64Max, 2, "lseek fail", "SvrFileSeekEnd"}};
    for (const auto &c : s_aCases) {
        HostReset();
        EXPECT_EQ(SvrUrlSeek(hUrl, c.s64Offset, c.s32Whence), -1) << c.s64Offset << " from " << c.s32Whence;
        EXPECT_TRUE(HostLogged(c.pszMessage, c.pszFunction)) << c.s64Offset << " from " << c.s32Whence;
        EXPECT_EQ(SvrUrlSeek(hUrl, 0, 1), 1);
    }
    // From the end, the file before the range can be reached.
    EXPECT_EQ(SvrUrlSeek(hUrl, -12, 2), -2);
    EXPECT_EQ(SvrUrlSeek(hUrl, s64Max, 0), -1);
    EXPECT_EQ(ReadToEnd(hUrl), "aa0123456789");
    // Once back in the range, it cannot be left from where the reading stands.
    EXPECT_EQ(SvrUrlSeek(hUrl, 1, 0), 1);
    EXPECT_EQ(SvrUrlSeek(hUrl, -2, 1), -1);
    EXPECT_EQ(ReadToEnd(hUrl), "123456789");
    SvrUrlClose(hUrl);
}

static UrlReadFn s_pfnOwnRead;
static int s_sOneByteReads;

static int32_t CountingRead(void *hUrl, uint8_t *pu8Buf, int32_t s32Size) {
    s_sOneByteReads += s32Size == 1 ? 1 : 0;
    return s_pfnOwnRead(hUrl, pu8Buf, s32Size);
}

// A host may put its own function in, to count or to decrypt: then no byte of the cache goes past it.
TEST_F(FileProtocolTest, AReadPutInByTheHostSeesEveryByte) {
    const std::string strCues = "1\n00:00:01,000 --> 00:00:02,000\nOne\n\n";
    s_pfnOwnRead = g_fileProtocol.url_read;
    g_fileProtocol.url_read = CountingRead;
    void *hFmt = nullptr;
    ASSERT_EQ(g_formatEntry.fmt_open(TempFile("a.srt", strCues).c_str(), PellProtocolOf(&g_formatEntry), &hFmt), 0);
    EXPECT_EQ(g_formatEntry.fmt_find_stream(hFmt, 0), 0);
    EXPECT_EQ(g_formatEntry.fmt_close(hFmt), 0);
    g_fileProtocol.url_read = s_pfnOwnRead;
    EXPECT_GE(s_sOneByteReads, static_cast<int>(strCues.size()));
}

TEST_F(FileProtocolTest, TheDescriptorIsLeftAloneInsideTheCache) {
    const int s32Fd = open(TempFile("fd.srt", RandomBytes()).c_str(), O_RDONLY);
    void *hUrl = nullptr;
    ASSERT_EQ(SvrUrlOpen(Range("", "100", "2000000", std::to_string(s32Fd)).c_str(), 0, &hUrl), 0);
    EXPECT_TRUE(HostLogged("file is already open, fd=" + std::to_string(s32Fd + 1), "SvrFileOpenUrl"));
    uint8_t u8 = 0;
    EXPECT_EQ(SvrUrlRead(hUrl, &u8, 1), 1);
    EXPECT_EQ(lseek(s32Fd, 0, SEEK_CUR), 100 + MIB);
    EXPECT_EQ(SvrUrlSeek(hUrl, -1, 1), 0);
    EXPECT_EQ(lseek(s32Fd, 0, SEEK_CUR), 100 + MIB);
    // Both share one position: outside the range the protocol reads nothing.
    EXPECT_EQ(SvrUrlSeek(hUrl, MIB - 1, 1), MIB - 1);
    lseek(s32Fd, 99, SEEK_SET);
    uint8_t au8Two[2];
    EXPECT_EQ(SvrUrlRead(hUrl, au8Two, 2), -1);
    EXPECT_TRUE(HostLogged("invalid current position: offset=99", "SvrFileReadGetCurPos"));
    // What is cached stays where it was.
    EXPECT_EQ(SvrUrlSeek(hUrl, 0, 1), MIB - 1);
    EXPECT_EQ(SvrUrlRead(hUrl, au8Two, 1), 1);
    SvrUrlClose(hUrl);
    close(s32Fd);
}

TEST_F(FileProtocolTest, ASeekBackReadsAgainWhatFailed) {
    void *hUrl = nullptr;
    ASSERT_EQ(SvrUrlOpen(TempFile("a.srt", RandomBytes()).c_str(), 0, &hUrl), 0);
    // The seek is the first call, and gets half of what it reads.
    g_system = {.bWatched = HostSeesSystemCalls(), .s32Calls = 0, .s32FailAt = 3, .s32ShortAt = 2};
    EXPECT_EQ(SvrUrlSeek(hUrl, MIB + 5, SEEK_SET), MIB + 5);
    g_system = {};
    std::string strRead(MIB, '\0');
    EXPECT_EQ(SvrUrlRead(hUrl, reinterpret_cast<uint8_t *>(strRead.data()), MIB),
              HostSeesSystemCalls() ? MIB / 2 : MIB);
    EXPECT_EQ(SvrUrlSeek(hUrl, MIB + 5, SEEK_SET), MIB + 5);
    EXPECT_EQ(SvrUrlRead(hUrl, reinterpret_cast<uint8_t *>(strRead.data()), MIB), MIB);
    EXPECT_EQ(strRead, RandomBytes().substr(MIB + 5, MIB));
    SvrUrlClose(hUrl);
}

TEST_F(FileProtocolTest, TheEndOnACacheBoundaryGivesZeroOnce) {
    uint8_t au8Buf[4096];
    for (const int32_t s32Size : {MIB - 1, MIB, MIB + 1}) {
        const std::string strPath = TempFile("a.srt", RandomBytes().substr(0, static_cast<size_t>(s32Size)));
        void *hUrl = nullptr;
        ASSERT_EQ(SvrUrlOpen(strPath.c_str(), 0, &hUrl), 0);
        int32_t s32Got = 0, s32Total = 0;
        while ((s32Got = SvrUrlRead(hUrl, au8Buf, 4096)) > 0) {
            s32Total += s32Got;
        }
        EXPECT_EQ(s32Total, s32Size);
        EXPECT_EQ(s32Got, s32Size == MIB ? 0 : -1) << s32Size;
        EXPECT_EQ(SvrUrlRead(hUrl, au8Buf, 1), -1) << s32Size;
        SvrUrlClose(hUrl);
    }
}

// Where a seek leads, or -1: a plain file goes on behind its end, a step inside a range does not leave it.
static int64_t ModelSeek(int64_t s64Pos, int64_t s64Size, bool bRange, int64_t s64Offset, int32_t s32Whence) {
    const int64_t s64Target = s64Offset + (s32Whence == 0 ? 0 : (s32Whence == 1 ? s64Pos : s64Size));
    const bool bLeaves = bRange && s32Whence == 1 && s64Offset != 0 && s64Target > s64Size;
    return s64Target < 0 || bLeaves ? -1 : s64Target;
}

static void CompareWithModel(const std::string &strUrl, const std::string &strBytes, bool bRange, uint32_t u32Seed) {
    void *hUrl = nullptr;
    ASSERT_EQ(SvrUrlOpen(strUrl.c_str(), 0, &hUrl), 0) << strUrl;
    std::mt19937 rng(u32Seed);
    std::vector<uint8_t> vecBuf(size_t{3} * MIB);
    const int64_t s64Size = static_cast<int64_t>(strBytes.size());
    const int32_t as32Sizes[] = {0, 1, 2, 100, 100, 4096, MIB - 1, MIB, MIB + 1, 3 * MIB};
    const int64_t as64Places[] = {0, MIB, int64_t{2} * MIB, s64Size, s64Size - MIB, s64Size / 2};
    int64_t s64Pos = 0;
    bool bZeroSeen = false;
    for (int i = 0; i < 250; i++) {
        if (rng() % 2 == 0) {
            const int32_t s32Size = as32Sizes[rng() % std::size(as32Sizes)];
            const int64_t s64Left = std::max<int64_t>(s64Size - s64Pos, 0);
            const int32_t s32Got = SvrUrlRead(hUrl, vecBuf.data(), s32Size);
            if (s64Left == 0 && s32Size > 0) {
                ASSERT_TRUE(s32Got == -1 || (s32Got == 0 && !bZeroSeen)) << s32Got;
                bZeroSeen = true;
                continue;
            }
            ASSERT_EQ(s32Got, std::min<int64_t>(s64Left, s32Size)) << "at " << s64Pos;
            ASSERT_TRUE(s32Got == 0 || memcmp(vecBuf.data(), &strBytes[static_cast<size_t>(s64Pos)],
                                              static_cast<size_t>(s32Got)) == 0);
            s64Pos += s32Got;
        } else {
            const int32_t s32Whence = static_cast<int32_t>(rng() % 3);
            const int64_t s64Near = rng() % 2 == 0 ? s64Pos : as64Places[rng() % std::size(as64Places)];
            // From the end, far enough before the start that the file is not reached there either.
            const int64_t s64Target =
                rng() % 16 == 0 ? -10000 : std::max<int64_t>(s64Near + 3 - static_cast<int32_t>(rng() % 7), 0);
            const int64_t s64Offset = s64Target - (s32Whence == 0 ? 0 : (s32Whence == 1 ? s64Pos : s64Size));
            const int64_t s64Expected = ModelSeek(s64Pos, s64Size, bRange, s64Offset, s32Whence);
            ASSERT_EQ(SvrUrlSeek(hUrl, s64Offset, s32Whence), s64Expected) << s64Offset << " from " << s32Whence;
            s64Pos = s64Expected < 0 ? s64Pos : s64Expected;
        }
        bZeroSeen = false;
        ASSERT_EQ(SvrUrlSeek(hUrl, 0, 1), s64Pos);
    }
    EXPECT_EQ(SvrUrlClose(hUrl), 0);
}

TEST_F(FileProtocolTest, ReadsAndSeeksLikeAnArray) {
    uint32_t u32Seed = 1;
    for (const int32_t s32Size : {1, 4095, MIB - 1, MIB, MIB + 1, 2 * MIB + MIB / 2}) {
        const std::string strBytes = RandomBytes().substr(4097, static_cast<size_t>(s32Size));
        const std::string strWhole = TempFile("whole.srt", strBytes);
        const std::string strPart = TempFile("part.srt", RandomBytes().substr(0, static_cast<size_t>(s32Size) + 4100));
        const int s32Fd = open(strPart.c_str(), O_RDONLY);
        const std::string strLength = std::to_string(s32Size);
        CompareWithModel(strWhole, strBytes, false, u32Seed++);
        CompareWithModel(Range(strPart, "4097", strLength), strBytes, true, u32Seed++);
        CompareWithModel(Range("", "4097", strLength, std::to_string(s32Fd)), strBytes, true, u32Seed++);
        close(s32Fd);
    }
}

// The first byte of each lies before the border, the rest behind it.
TEST_F(FileProtocolTest, FilesBeyondTwoAndFourGiB) {
    const std::string strPath = TempFile("far.srt", "");
    const std::string strBytes = "far away";
    for (const int64_t s64At : {INT64_C(0x7FFFFFFF), INT64_C(0xFFFFFFFF)}) {
        const int s32Fd = open(strPath.c_str(), O_WRONLY | O_LARGEFILE);
        ASSERT_EQ(pwrite64(s32Fd, strBytes.data(), strBytes.size(), s64At), static_cast<ssize_t>(strBytes.size()));
        close(s32Fd);
        void *hUrl = nullptr;
        ASSERT_EQ(SvrUrlOpen(strPath.c_str(), 0, &hUrl), 0);
        const int64_t s64Size = static_cast<int64_t>(strBytes.size());
        EXPECT_EQ(SvrUrlSeek(hUrl, 0, 2), s64At + s64Size);
        EXPECT_EQ(SvrUrlSeek(hUrl, -s64Size, 1), s64At);
        EXPECT_EQ(ReadToEnd(hUrl), strBytes);
        SvrUrlClose(hUrl);
        EXPECT_EQ(Contents(Range(strPath, std::to_string(s64At), std::to_string(s64Size))), strBytes);
    }
}
