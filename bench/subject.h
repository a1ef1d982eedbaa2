// Generated files, opened by the library as its hosts do, and by the peer.
#pragma once

#include "bench/harness.h"
#include "bench/make_inputs.h"
#include "bench/peer.h"
#include "format/pell_format.h"

struct BenchFile {
    const InputKind *pstKind;
    int32_t s32Cues;
    std::string strPath;
    std::string strCase; // "srt, 20,000"
};

// Each of these ends the program when it cannot do its work.
BenchFile BenchMakeFile(const char *pszFolder, const std::string &strKind, int32_t s32Cues);
void *BenchOpen(const BenchFile &stFile, CharsetOps *pstCharsetOps = nullptr);

// Every cue: of both languages of a VobSub pair, of the first of SAMI, where the peer's packets, too, are one a sync.
void BenchReadAll(void *hFmt, const BenchFile &stFile);

// Null without a peer.
void *BenchOpenPeer(const BenchFile &stFile);

// Takes null.
void BenchClosePeer(void *hPeer);

// Reads the file in 1 MiB blocks and finds every line end: no index can be had for less.
size_t BenchFindLines(const std::string &strPath);

// Open, find-stream and close beside the same of the peer; 0 is no goal.
void BenchIndex(const BenchFile &stFile, const std::string &strWhat, CharsetOps *pstCharsetOps, double dPeerGoal,
                double dLimitGoal);
