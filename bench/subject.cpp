#include "bench/subject.h"

#include <cstring>
#include <fcntl.h>
#include <unistd.h>

BenchFile BenchMakeFile(const char *pszFolder, const std::string &strKind, int32_t s32Cues) {
    const InputKind *pstKind = FindInput(strKind);
    const std::string strPath = pstKind != nullptr ? WriteInput(pstKind, s32Cues, pszFolder) : "";
    BenchExpect(!strPath.empty(), "write a file of the kind " + strKind);
    std::string strCues = std::to_string(s32Cues);
    strCues.insert(strCues.size() - 3, ",");
    return {pstKind, s32Cues, strPath, strKind + ", " + strCues};
}

void *BenchOpen(const BenchFile &stFile, CharsetOps *pstCharsetOps) {
    void *hFmt = nullptr;
    BenchExpect(g_formatEntry.fmt_open(stFile.strPath.c_str(), PellProtocolOf(&g_formatEntry), &hFmt) == 0,
                "open " + stFile.strCase);
    if (pstCharsetOps != nullptr) {
        g_formatEntry.fmt_invoke(hFmt, INVOKE_SET_CHARSET_OPS, pstCharsetOps);
    }
    BenchExpect(g_formatEntry.fmt_find_stream(hFmt, 0) == 0, "index " + stFile.strCase);
    return hFmt;
}

void BenchReadAll(void *hFmt, const BenchFile &stFile) {
    const int32_t s32Streams = stFile.pstKind->pfnMakePacks != nullptr ? 2 : 1;
    int32_t s32Cues = 0;
    for (int32_t i = 0; i < s32Streams; i++) {
        FmtFrame stFrame = {};
        g_formatEntry.fmt_seek_pts(hFmt, SUB_STREAM_INDEX_BASE + i, 0);
        for (; g_formatEntry.fmt_read(hFmt, &stFrame) == 0; s32Cues++) {
            g_formatEntry.fmt_free(hFmt, &stFrame);
        }
    }
    BenchExpect(s32Cues == stFile.s32Cues, "read every cue of " + stFile.strCase);
}

void *BenchOpenPeer(const BenchFile &stFile) {
    if (g_pstPeer == nullptr) {
        return nullptr;
    }
    void *hPeer = g_pstPeer->pfnOpen(stFile.strPath.c_str(), stFile.pstKind->pszPeer);
    BenchExpect(hPeer != nullptr, "let the peer open " + stFile.strCase);
    return hPeer;
}

void BenchClosePeer(void *hPeer) {
    if (hPeer != nullptr) {
        g_pstPeer->pfnClose(hPeer);
    }
}

size_t BenchFindLines(const std::string &strPath) {
    static std::vector<char> s_vecBlock(1 << 20);
    const int s32Fd = open(strPath.c_str(), O_RDONLY);
    size_t uLines = 0;
    for (ssize_t n = 0; (n = read(s32Fd, s_vecBlock.data(), s_vecBlock.size())) > 0;) {
        const char *psz = s_vecBlock.data();
        const char *pszEnd = psz + n;
        while ((psz = static_cast<const char *>(memchr(psz, '\n', static_cast<size_t>(pszEnd - psz)))) != nullptr) {
            uLines++;
            psz++;
        }
    }
    close(s32Fd);
    return uLines;
}

void BenchIndex(const BenchFile &stFile, const std::string &strWhat, CharsetOps *pstCharsetOps, double dPeerGoal,
                double dLimitGoal) {
    void *hFmt = BenchOpen(stFile, pstCharsetOps);
    BenchReadAll(hFmt, stFile);
    g_formatEntry.fmt_close(hFmt);
    std::function<void()> fnPeer;
    if (g_pstPeer != nullptr) {
        fnPeer = [&] {
            BenchClosePeer(BenchOpenPeer(stFile));
        };
    }
    const auto vecSeconds = BenchMeasure({[&] { g_formatEntry.fmt_close(BenchOpen(stFile, pstCharsetOps)); },
                                          [&] { BenchFindLines(stFile.strPath); }, fnPeer});
    TellPeerGoal(strWhat + stFile.strCase, dPeerGoal, vecSeconds[0], vecSeconds[2]);
    if (dLimitGoal > 0) {
        TellGoal(strWhat + stFile.strCase, dLimitGoal, "x the limit", BenchRatio(vecSeconds[0], vecSeconds[1]));
    }
    TellTimes(strWhat + stFile.strCase, vecSeconds[0], vecSeconds[1], &vecSeconds[2]);
}
