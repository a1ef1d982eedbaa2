// The memory that an indexed cue keeps.   heap_bench FOLDER
#include "bench/subject.h"

#include <malloc.h>

static double LiveBytes() {
    const struct mallinfo2 stInfo = mallinfo2();
    return static_cast<double>(stInfo.uordblks + stInfo.hblkhd);
}

// What an indexed file keeps.
static double IndexedBytes(const BenchFile &stFile) {
    const double dBefore = LiveBytes();
    void *hFmt = BenchOpen(stFile);
    const double dAfter = LiveBytes();
    g_formatEntry.fmt_close(hFmt);
    return dAfter - dBefore;
}

int main(int argc, char **argv) {
    BenchExpect(argc == 2, "name a folder for the files");
    // The slope between two sizes: what does not grow with the file falls out.
    for (const char *pszKind : {"srt", "ass", "smi", "microdvd"}) {
        const double dSmall = IndexedBytes(BenchMakeFile(argv[1], pszKind, 20000));
        const double dLarge = IndexedBytes(BenchMakeFile(argv[1], pszKind, 500000));
        TellGoal(std::string("live heap of a cue, ") + pszKind, 32, "bytes", (dLarge - dSmall) / (500000 - 20000));
    }
    return 0;
}
