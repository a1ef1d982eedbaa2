// How long a seek by time takes, and a seek with the read of the cue it finds, at times spread over the whole file.
//   seek_bench FOLDER
#include "bench/subject.h"

constexpr int SEEKS = 100;

// Times in an order that jumps about.
static int64_t SeekTime(int s32Seek, int64_t s64Last) {
    return 1 + s64Last / SEEKS * (s32Seek * 37 % SEEKS);
}

static int64_t LastStart(void *hFmt) {
    int64_t s64Last = 0;
    FmtFrame stFrame = {};
    while (g_formatEntry.fmt_read(hFmt, &stFrame) == 0) {
        s64Last = stFrame.s64Pts;
        g_formatEntry.fmt_free(hFmt, &stFrame);
    }
    return s64Last;
}

// As if the values were those of a single seek.
static BenchSeconds PerSeek(BenchSeconds vecSeconds) {
    for (double &d : vecSeconds) {
        d /= SEEKS;
    }
    return vecSeconds;
}

static void SeekAndRead(void *hFmt, int64_t s64Last) {
    FmtFrame stFrame = {};
    for (int i = 0; i < SEEKS; i++) {
        BenchExpect(g_formatEntry.fmt_seek_pts(hFmt, SUB_STREAM_INDEX_BASE, SeekTime(i, s64Last)) == 0 &&
                        g_formatEntry.fmt_read(hFmt, &stFrame) == 0,
                    "seek and read");
        g_formatEntry.fmt_free(hFmt, &stFrame);
    }
}

// Files below 1 MiB, which the file protocol's cache holds whole.
static void MeasureSeekRead(const BenchFile &stFile) {
    void *hFmt = BenchOpen(stFile);
    void *hPeer = BenchOpenPeer(stFile);
    const int64_t s64Last = LastStart(hFmt);
    std::function<void()> fnPeer;
    if (hPeer != nullptr) {
        fnPeer = [&] {
            for (int i = 0; i < SEEKS; i++) {
                BenchExpect(g_pstPeer->pfnSeek(hPeer, SeekTime(i, s64Last)) && g_pstPeer->pfnRead(hPeer),
                            "peer's seek");
            }
        };
    }
    auto vecSeconds = BenchMeasure({[&] { SeekAndRead(hFmt, s64Last); }, fnPeer});
    BenchClosePeer(hPeer);
    g_formatEntry.fmt_close(hFmt);
    TellPeerGoal("seek and read " + stFile.strCase, 0.5, vecSeconds[0], vecSeconds[1]);
    const BenchSeconds vecPeer = PerSeek(vecSeconds[1]);
    TellTimes("seek and read " + stFile.strCase, PerSeek(vecSeconds[0]), {}, &vecPeer);
}

static void MeasureSeekAlone(const BenchFile &stSmall, const BenchFile &stLarge) {
    void *ahFmt[] = {BenchOpen(stSmall), BenchOpen(stLarge)};
    const int64_t as64Last[] = {LastStart(ahFmt[0]), LastStart(ahFmt[1])};
    std::vector<std::function<void()>> vecContenders;
    for (int i = 0; i < 2; i++) {
        vecContenders.emplace_back([&ahFmt, &as64Last, i] {
            for (int j = 0; j < SEEKS; j++) {
                g_formatEntry.fmt_seek_pts(ahFmt[i], SUB_STREAM_INDEX_BASE, SeekTime(j, as64Last[i]));
            }
        });
    }
    const auto vecSeconds = BenchMeasure(vecContenders);
    TellGoal("seek " + stLarge.strCase, 1, "us", BenchMedian(PerSeek(vecSeconds[1])) * 1e6);
    TellGoal("seek " + stLarge.strCase, 3, "x " + stSmall.strCase, BenchRatio(vecSeconds[1], vecSeconds[0]));
    TellTimes("seek " + stSmall.strCase, PerSeek(vecSeconds[0]), {}, nullptr);
    TellTimes("seek " + stLarge.strCase, PerSeek(vecSeconds[1]), {}, nullptr);
    g_formatEntry.fmt_close(ahFmt[0]);
    g_formatEntry.fmt_close(ahFmt[1]);
}

int main(int argc, char **argv) {
    BenchExpect(argc == 2, "name a folder for the files");
    for (const char *pszKind : {"srt", "ass", "smi", "microdvd", "subviewer"}) {
        MeasureSeekRead(BenchMakeFile(argv[1], pszKind, 5000));
    }
    MeasureSeekAlone(BenchMakeFile(argv[1], "srt", 20000), BenchMakeFile(argv[1], "srt", 500000));
    return 0;
}
