// Index build and read-all of every format, through g_formatEntry and over the library's own file protocol, beside the
// memory limit on the same bytes: read them in 1 MiB blocks and find every line end.
#include "bench/make_inputs.h"
#include "format/pell_format.h"

#include <benchmark/benchmark.h>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <string>
#include <unistd.h>
#include <vector>

struct BenchRow {
    const char *pszName;
    std::string (*pfnMake)(int s32Cues);
    int s32Cues;
};

static const BenchRow s_astRows[] = {
    {"srt", MakeSrt, 20000},  {"srt", MakeSrt, 500000}, {"ass", MakeAss, 20000},
    {"ass", MakeAss, 500000}, {"smi", MakeSmi, 20000},
};

struct BenchFile {
    std::string strPath;
    size_t uBytes;
    int s32Cues;
};

// Rates: bytes per second, and the time of one cue.
static void Report(benchmark::State &state, const BenchFile &stFile) {
    state.SetBytesProcessed(static_cast<int64_t>(stFile.uBytes) * static_cast<int64_t>(state.iterations()));
    state.counters["per_cue"] =
        benchmark::Counter(stFile.s32Cues, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

static void *OpenIndexed(const BenchFile &stFile) {
    void *hFmt = nullptr;
    if (g_formatEntry.fmt_open(stFile.strPath.c_str(), PellProtocolOf(&g_formatEntry), &hFmt) != 0 ||
        g_formatEntry.fmt_find_stream(hFmt, 0) != 0) {
        abort();
    }
    return hFmt;
}

// Reads on to the end; the number of cues.
static int ReadAll(void *hFmt) {
    int s32Cues = 0;
    FmtFrame stFrame = {};
    while (g_formatEntry.fmt_read(hFmt, &stFrame) == 0) {
        benchmark::DoNotOptimize(stFrame.pu8Data);
        g_formatEntry.fmt_free(hFmt, &stFrame);
        s32Cues++;
    }
    return s32Cues;
}

static void BenchIndex(benchmark::State &state, const BenchFile &stFile) {
    for (auto _ : state) {
        g_formatEntry.fmt_close(OpenIndexed(stFile));
    }
    Report(state, stFile);
}

static void BenchReadAll(benchmark::State &state, const BenchFile &stFile) {
    void *hFmt = OpenIndexed(stFile);
    for (auto _ : state) {
        g_formatEntry.fmt_seek_pts(hFmt, SUB_STREAM_INDEX_BASE, 0);
        if (ReadAll(hFmt) != stFile.s32Cues) {
            state.SkipWithError("not every cue came");
        }
    }
    g_formatEntry.fmt_close(hFmt);
    Report(state, stFile);
}

static void BenchLimit(benchmark::State &state, const BenchFile &stFile) {
    std::vector<char> vecBlock(1 << 20);
    for (auto _ : state) {
        const int s32Fd = open(stFile.strPath.c_str(), O_RDONLY);
        size_t uLines = 0;
        for (ssize_t n = 0; (n = read(s32Fd, vecBlock.data(), vecBlock.size())) > 0;) {
            const char *psz = vecBlock.data();
            const char *pszEnd = psz + n;
            while ((psz = static_cast<const char *>(memchr(psz, '\n', static_cast<size_t>(pszEnd - psz)))) != nullptr) {
                uLines++;
                psz++;
            }
        }
        close(s32Fd);
        benchmark::DoNotOptimize(uLines);
    }
    Report(state, stFile);
}

int main(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    char aszFolder[] = "/tmp/pell_bench_XXXXXX";
    if (mkdtemp(aszFolder) == nullptr) {
        return 1;
    }
    std::vector<BenchFile> vecFiles;
    for (const BenchRow &stRow : s_astRows) {
        const std::string strBytes = stRow.pfnMake(stRow.s32Cues);
        const std::string strPath = std::string(aszFolder) + "/" + std::to_string(stRow.s32Cues) + "." + stRow.pszName;
        std::ofstream(strPath, std::ios::binary) << strBytes;
        vecFiles.push_back({strPath, strBytes.size(), stRow.s32Cues});
    }
    for (size_t i = 0; i < vecFiles.size(); i++) {
        const std::string strCase = std::string(s_astRows[i].pszName) + "/" + std::to_string(vecFiles[i].s32Cues);
        benchmark::RegisterBenchmark((strCase + "/index").c_str(), BenchIndex, vecFiles[i]);
        benchmark::RegisterBenchmark((strCase + "/read_all").c_str(), BenchReadAll, vecFiles[i]);
        benchmark::RegisterBenchmark((strCase + "/limit").c_str(), BenchLimit, vecFiles[i]);
    }
    benchmark::RunSpecifiedBenchmarks();
    for (const BenchFile &stFile : vecFiles) {
        unlink(stFile.strPath.c_str());
    }
    rmdir(aszFolder);
    return 0;
}
