// How long it takes to read every cue of an indexed file, beside the peer's packets and the limit: finding the line
// ends of the text, or reading the same packs.   read_bench FOLDER
#include "bench/subject.h"

#include <fcntl.h>
#include <unistd.h>

struct ReadRow {
    const char *pszKind;
    int32_t s32Cues;
    double dPeerGoal; // 0: none
};

static const ReadRow s_astRows[] = {
    {"srt", 20000, 0.5},        {"srt", 500000, 0.5},   {"srt_tags", 20000, 0.85}, {"ass", 20000, 0.35},
    {"ass", 500000, 0.35},      {"smi", 20000, 0.6},    {"microdvd", 20000, 0.45}, {"microdvd", 500000, 0.45},
    {"subviewer", 20000, 0.35}, {"mpsub", 20000, 0.35}, {"lrc", 5000, 0},          {"vobsub", 2000, 0.5},
};

// The packs of one language after the other's, as the cues are read.
static void ReadPacks(int s32Fd, int32_t s32Units) {
    char achPack[2048];
    for (int32_t s32Lang = 0; s32Lang < 2; s32Lang++) {
        for (int32_t i = s32Lang; i < s32Units; i += 2) {
            const VobSubUnit stUnit = VobSubUnitAt(i);
            lseek(s32Fd, stUnit.u32Pos, SEEK_SET);
            for (uint32_t j = 0; j < stUnit.u32Packs; j++) {
                BenchExpect(read(s32Fd, achPack, sizeof(achPack)) == sizeof(achPack), "read a pack");
            }
        }
    }
}

static void MeasureRead(const BenchFile &stFile, double dPeerGoal) {
    void *hFmt = BenchOpen(stFile);
    void *hPeer = BenchOpenPeer(stFile);
    std::function<void()> fnPeer;
    if (hPeer != nullptr) {
        fnPeer = [&] {
            int32_t s32Packets = 0;
            for (g_pstPeer->pfnSeek(hPeer, 0); g_pstPeer->pfnRead(hPeer);) {
                s32Packets++;
            }
            BenchExpect(s32Packets == stFile.s32Cues, "let the peer read " + stFile.strCase);
        };
    }
    const int s32Packs = open((stFile.strPath.substr(0, stFile.strPath.rfind('.')) + ".sub").c_str(), O_RDONLY);
    const auto fnLimit = [&] {
        if (stFile.pstKind->pfnMakePacks != nullptr) {
            ReadPacks(s32Packs, stFile.s32Cues);
        } else {
            BenchFindLines(stFile.strPath);
        }
    };
    const auto vecSeconds = BenchMeasure({[&] { BenchReadAll(hFmt, stFile); }, fnLimit, fnPeer});
    close(s32Packs);
    BenchClosePeer(hPeer);
    g_formatEntry.fmt_close(hFmt);
    if (dPeerGoal > 0) {
        TellPeerGoal("read all " + stFile.strCase, dPeerGoal, vecSeconds[0], vecSeconds[2]);
    }
    TellTimes("read all " + stFile.strCase, vecSeconds[0], vecSeconds[1], &vecSeconds[2]);
}

int main(int argc, char **argv) {
    BenchExpect(argc == 2, "name a folder for the files");
    for (const ReadRow &stRow : s_astRows) {
        MeasureRead(BenchMakeFile(argv[1], stRow.pszKind, stRow.s32Cues), stRow.dPeerGoal);
    }
    return 0;
}
