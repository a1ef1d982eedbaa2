// URLs: what a name and its parameters open, and that reads and seeks deliver the bytes that are there.
#include "fuzz/host.h"
#include "protocol/file_window.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <unistd.h>
#include <vector>

constexpr int32_t URL_PATTERN_SIZE = SVR_FILE_CACHE_SIZE * 5 / 2;
constexpr int32_t URL_READ_MAX = SVR_FILE_CACHE_SIZE * 3;

// The file is the end of the input, or this many bytes that tell where they stand.
static const size_t s_auSizes[] = {
    0, 0, 0, 0, SVR_FILE_CACHE_SIZE - 1, SVR_FILE_CACHE_SIZE, SVR_FILE_CACHE_SIZE + 1, URL_PATTERN_SIZE};

static FuzzBytes UrlPattern(size_t uSize) {
    static std::vector<uint8_t> s_vecPattern;
    if (s_vecPattern.empty()) {
        s_vecPattern.resize(URL_PATTERN_SIZE);
        for (size_t i = 0; i < s_vecPattern.size(); i++) {
            s_vecPattern[i] = static_cast<uint8_t>((i ^ i >> 7 ^ i >> 13) & 0xFF);
        }
    }
    return {s_vecPattern.data(), uSize};
}

static bool UrlHasRange(const SvrFileHandle *pstFile) {
    return pstFile->s64FileLength >= 1;
}

static void UrlCheckHandle(const SvrFileHandle *pstFile) {
    FUZZ_CHECK(pstFile->s32Fd >= 1 && pstFile->au8Cache <= pstFile->pu8Cur && pstFile->pu8Cur <= pstFile->pu8End);
    FUZZ_CHECK(pstFile->pu8End <= pstFile->au8Cache + SVR_FILE_CACHE_SIZE);
    const int64_t s64Size = static_cast<int64_t>(g_fuzzHost.astFile[FUZZ_FILE_MAIN].uLen);
    FUZZ_CHECK(!UrlHasRange(pstFile) || pstFile->s64FileLength <= s64Size - pstFile->s64FileOffset ||
               pstFile->s64FileOffset < 0);
}

// Reads, and compares with what stands there.
static void UrlRead(void *hUrl, const SvrFileHandle *pstFile, int32_t s32Size) {
    const int64_t s64Before = pstFile->s64CurPos + (UrlHasRange(pstFile) ? pstFile->s64FileOffset : 0);
    const bool bKnown = pstFile->bSeeksAgree != 0 && g_fuzzHost.stFaults.u32FailSeekAt == 0;
    // At the end of a block, so that a byte too many is seen.
    static const std::unique_ptr<uint8_t[]> s_pu8Room(new uint8_t[URL_READ_MAX]);
    uint8_t *pu8Read = s_pu8Room.get() + URL_READ_MAX - std::max(s32Size, 0);
    const int32_t s32Got = SvrUrlRead(hUrl, pu8Read, s32Size);
    FUZZ_CHECK(s32Got >= -1 && s32Got <= std::max(s32Size, -1));
    if (s32Got > 0 && bKnown) {
        const FuzzBytes stFile = g_fuzzHost.astFile[FUZZ_FILE_MAIN];
        FUZZ_CHECK(s64Before >= 0 && s64Before + s32Got <= static_cast<int64_t>(stFile.uLen));
        FUZZ_CHECK(memcmp(pu8Read, stFile.pu8 + s64Before, static_cast<size_t>(s32Got)) == 0);
        FUZZ_CHECK(!UrlHasRange(pstFile) || s64Before + s32Got <= pstFile->s64FileOffset + pstFile->s64FileLength);
    }
}

static void UrlSeek(void *hUrl, const SvrFileHandle *pstFile, int64_t s64Offset, int32_t s32Whence) {
    const int64_t s64Pos = SvrUrlSeek(hUrl, s64Offset, s32Whence);
    FUZZ_CHECK(s64Pos == -1 || s64Pos == pstFile->s64CurPos);
}

static int64_t UrlOffset(FuzzInput *pstInput) {
    static const int64_t s_as64Offsets[] = {0,         -1,        SVR_FILE_CACHE_SIZE, URL_PATTERN_SIZE,
                                            INT64_MAX, INT64_MIN, INT32_MIN,           1};
    const uint8_t u8Kind = FuzzTake8(pstInput);
    const int64_t s64Step = static_cast<int16_t>(FuzzTake16(pstInput));
    int64_t s64Offset = 0;
    __builtin_add_overflow(s_as64Offsets[u8Kind % std::size(s_as64Offsets)], s64Step, &s64Offset);
    return s64Offset;
}

static void UrlUse(void *hUrl, FuzzInput *pstInput) {
    const SvrFileHandle *pstFile = SvrFileWindowOf(PellProtocolOf(&g_formatEntry), hUrl);
    FUZZ_CHECK(pstFile != nullptr);
    UrlCheckHandle(pstFile);
    for (int32_t i = FuzzTake8(pstInput) % 16; i > 0; i--) {
        const uint8_t u8Step = FuzzTake8(pstInput);
        if (u8Step % 2 == 0) {
            UrlRead(hUrl, pstFile, static_cast<int32_t>(UrlOffset(pstInput) % URL_READ_MAX));
        } else {
            UrlSeek(hUrl, pstFile, UrlOffset(pstInput), u8Step / 2 % 5 - 1);
        }
        UrlCheckHandle(pstFile);
    }
    FUZZ_CHECK(SvrUrlReadSeek(hUrl, 0, 0) == -1 && SvrUrlClose(hUrl) == 0);
}

// The same URL as a host passes it in.
static void UrlDemux(const char *pszUrl) {
    const int32_t s32Found = g_formatEntry.fmt_find(pszUrl, PellProtocolOf(&g_formatEntry));
    FUZZ_CHECK(s32Found == 0 || s32Found == -1);
    void *hFmt = nullptr;
    FmtFrame stFrame = {};
    if (g_formatEntry.fmt_open(pszUrl, nullptr, &hFmt) != 0) {
        return;
    }
    FUZZ_CHECK(s32Found == 0);
    g_formatEntry.fmt_find_stream(hFmt, 0);
    g_formatEntry.fmt_read(hFmt, &stFrame);
    FUZZ_CHECK(g_formatEntry.fmt_free(hFmt, &stFrame) == 0 && g_formatEntry.fmt_close(hFmt) == 0);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *pu8Data, size_t uSize) {
    FuzzInput stInput = {pu8Data, pu8Data + uSize};
    FuzzHostBegin();
    const size_t uFileLen = s_auSizes[FuzzTake8(&stInput) % std::size(s_auSizes)];
    g_fuzzHost.stFaults.u32FailOpenAt = FuzzTake8(&stInput) % 8;
    g_fuzzHost.stFaults.u32FailReadAt = FuzzTake8(&stInput) % 8;
    g_fuzzHost.stFaults.u32ShortReadAt = FuzzTake8(&stInput) % 8;
    g_fuzzHost.stFaults.u32FailSeekAt = FuzzTake8(&stInput) % 8;
    const uint8_t u8Flags = FuzzTake8(&stInput);
    g_fuzzHost.stFaults.bInterrupted = (u8Flags & 1) != 0;
    g_host.s32FailAt = u8Flags / 2 % 8;
    FuzzInput stSteps = {stInput.pu8Cur, stInput.pu8Cur + std::min<size_t>(FuzzLeft(&stInput), 64)};
    stInput.pu8Cur = stSteps.pu8End;
    // The URL ends at a zero byte, and the file begins there.
    const uint8_t *pu8Zero = std::find(stInput.pu8Cur, stInput.pu8End, 0);
    const std::string strUrl(reinterpret_cast<const char *>(stInput.pu8Cur),
                             static_cast<size_t>(pu8Zero - stInput.pu8Cur));
    g_fuzzHost.astFile[FUZZ_FILE_MAIN] = {pu8Zero, static_cast<size_t>(stInput.pu8End - pu8Zero)};
    // Descriptors for the URL to name: the first at the start, the second somewhere.
    FuzzHostFd(FUZZ_FILE_MAIN);
    lseek64(FuzzHostFd(FUZZ_FILE_MAIN), FuzzTake16(&stSteps), SEEK_SET);

    UrlDemux(strUrl.c_str());
    g_fuzzHost.astFile[FUZZ_FILE_MAIN] = uFileLen != 0 ? UrlPattern(uFileLen) : g_fuzzHost.astFile[FUZZ_FILE_MAIN];
    void *hUrl = nullptr;
    const int32_t s32Found = SvrUrlFind(strUrl.c_str());
    if (SvrUrlOpen(strUrl.c_str(), u8Flags >> 7, &hUrl) == 0) {
        FUZZ_CHECK(s32Found == 0);
        UrlUse(hUrl, &stSteps);
    }
    FuzzHostEnd();
    return 0;
}
