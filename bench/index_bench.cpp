// How long until a file is indexed.   index_bench FOLDER
#include "bench/subject.h"

#include <cstdio>

struct IndexRow {
    const char *pszKind;
    int32_t s32Cues;
    double dPeerGoal;
    double dLimitGoal; // 0: none
};

static const IndexRow s_astRows[] = {
    {"srt", 20000, 0.05, 4},       {"srt", 500000, 0.04, 3},      {"ass", 20000, 0.06, 0},
    {"ass", 500000, 0.06, 0},      {"smi", 20000, 0.08, 0},       {"microdvd", 20000, 0.10, 0},
    {"microdvd", 500000, 0.10, 0}, {"subviewer", 20000, 0.10, 0}, {"mpsub", 20000, 0.10, 0},
    {"lrc", 5000, 0.5, 0},         {"vobsub", 2000, 0.15, 0},
};

int main(int argc, char **argv) {
    BenchExpect(argc == 2, "name a folder for the files");
    printf("peer | %s\n", g_pstPeer != nullptr ? g_pstPeer->strName.c_str() : "none");
    for (const IndexRow &stRow : s_astRows) {
        BenchIndex(BenchMakeFile(argv[1], stRow.pszKind, stRow.s32Cues), "index ", nullptr, stRow.dPeerGoal,
                   stRow.dLimitGoal);
    }
    return 0;
}
