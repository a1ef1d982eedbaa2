// Own files are read in windows of bytes, a foreign protocol's byte by byte. Whatever the file, both ways deliver the
// same cues, positions and results.
#include "tests/player.h"
#include "tests/test_files.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <random>

// Everything that a player sees of a file, and the messages about it.
static std::string SeenBy(const std::string &strPath, Protocol *pstProtocol, bool bConverter, int32_t s32StreamType) {
    void *hFmt = PlayerOpen(strPath, pstProtocol);
    HostReset();
    if (hFmt == nullptr) {
        return "not opened";
    }
    if (bConverter) {
        g_formatEntry.fmt_invoke(hFmt, INVOKE_SET_CHARSET_OPS, ConverterDouble());
        g_converter.s32StreamType = s32StreamType;
    }
    std::string strSeen = std::to_string(g_formatEntry.fmt_find_stream(hFmt, 0)) + "\n";
    const SubStreamInfo *pstStream = PlayerStream(hFmt);
    strSeen += pstStream != nullptr ? std::to_string(pstStream->u32ExtraDataSize) : "";
    for (const int64_t s64Pts : {INT64_C(0), INT64_C(2000), INT64_C(100000)}) {
        strSeen += std::to_string(g_formatEntry.fmt_seek_pts(hFmt, SUB_STREAM_INDEX_BASE, s64Pts)) + "\n";
        for (const PlayerCue &stCue : PlayerReadAll(hFmt)) {
            strSeen += PlayerTold({stCue}) + std::to_string(stCue.s64Pos) + "\n";
        }
    }
    g_formatEntry.fmt_close(hFmt);
    for (const HostMessage &stMessage : g_host.vecMessages) {
        strSeen += stMessage.strFunction + ": " + stMessage.strText + "\n";
    }
    return strSeen;
}

// No string of its own for gtest: files of a megabyte are not worth printing.
static bool SameBothWays(const std::string &strName, const std::string &strBytes,
                         std::initializer_list<int32_t> listStreamTypes = {-1, 0, 2, 3}) {
    const std::string strPath = TempFile(strName, strBytes);
    bool bSame = true;
    for (const int32_t s32StreamType :
         listStreamTypes) { // -1: without a converter; single bytes; UTF-16 of both orders
        const std::string strOwn = SeenBy(strPath, PellProtocolOf(&g_formatEntry), s32StreamType >= 0, s32StreamType);
        bSame = bSame && strOwn == SeenBy(strPath, ForeignFileProtocol(), s32StreamType >= 0, s32StreamType);
    }
    return bSame;
}

static void Mutate(std::mt19937 &random, std::string *pstrBytes) {
    static const std::string s_astrPieces[] = {"\r", "\n", "\r\n", "\r\r\n", "\n\n", std::string(1, '\0'),
                                               "\t", "<",  "{"};
    for (size_t i = random() % 12; i > 0 && !pstrBytes->empty(); i--) {
        const size_t uAt = random() % pstrBytes->size();
        switch (random() % 4) {
        case 0:
            pstrBytes->insert(uAt, s_astrPieces[random() % std::size(s_astrPieces)]);
            break;
        case 1:
            pstrBytes->erase(uAt, random() % 9);
            break;
        case 2:
            pstrBytes->insert(uAt, std::string(random() % 40 == 0 ? 2550 + random() % 20 : 3, 'x'));
            break;
        default:
            (*pstrBytes)[uAt] = static_cast<char>(random());
        }
    }
}

static const char *const s_apszExtensions[] = {".srt", ".lrc", ".smi", ".sub", ".ass", ".ssa"};

TEST(TwoWaysTest, SamplesAndTheirMutations) {
    std::mt19937 random(5);
    size_t uFiles = 0;
    for (const char *pszExtension : s_apszExtensions) {
        for (const std::string &strSample : SampleFiles(pszExtension)) {
            const std::string strBytes = ReadWholeFile(strSample).substr(0, 4000);
            for (int i = 0; i < 6; i++) {
                std::string strMutated = strBytes;
                if (i > 0) {
                    Mutate(random, &strMutated);
                }
                ASSERT_TRUE(SameBothWays(std::string("x") + pszExtension, strMutated)) << strSample << ", " << i;
            }
            uFiles++;
        }
    }
    EXPECT_GT(uFiles, 15u);
}

// The cues around the first megabyte, where the window ends, with every kind of line end there.
TEST(TwoWaysTest, AtTheEndOfTheWindow) {
    std::mt19937 random(6);
    for (const char *pszExtension : s_apszExtensions) {
        const std::vector<std::string> vecSamples = SampleFiles(pszExtension);
        ASSERT_FALSE(vecSamples.empty()) << pszExtension;
        for (const int32_t s32StreamType : {-1, 2}) {
            const std::string strSample = ReadWholeFile(vecSamples[random() % vecSamples.size()]);
            // Lines that mean nothing to any format fill the file up to its last cues.
            std::string strBytes(1 << 20, 'x');
            for (size_t uAt = 60; uAt < strBytes.size(); uAt += 61) {
                strBytes[uAt] = '\n';
            }
            strBytes.resize(strBytes.size() - random() % (strSample.size() + 9));
            std::string strTail = strSample;
            Mutate(random, &strTail);
            const std::string strHead = strSample.substr(0, strSample.size() / 2);
            ASSERT_TRUE(
                SameBothWays(std::string("x") + pszExtension, strHead + strBytes + "\n\n" + strTail, {s32StreamType}))
                << pszExtension;
        }
    }
}
