#include "bench/harness.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>

void BenchExpect(bool bHolds, const std::string &strWhat) {
    if (!bHolds) {
        fprintf(stderr, "failed: %s\n", strWhat.c_str());
        exit(1);
    }
}

static double ThreadSeconds() {
    timespec stTime = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &stTime);
    return static_cast<double>(stTime.tv_sec) + static_cast<double>(stTime.tv_nsec) * 1e-9;
}

static double TimeRuns(const std::function<void()> &fnWork, int s32Runs) {
    const double dStart = ThreadSeconds();
    for (int i = 0; i < s32Runs; i++) {
        fnWork();
    }
    return (ThreadSeconds() - dStart) / s32Runs;
}

std::vector<BenchSeconds> BenchMeasure(const std::vector<std::function<void()>> &vecContenders) {
    constexpr double TURN_SECONDS = 0.005;
    std::vector<int> vecRuns;
    double dRoundSeconds = 0;
    for (const std::function<void()> &fnWork : vecContenders) {
        // The first run finds caches cold; the second tells how many a turn takes.
        const double dSecond = fnWork ? (fnWork(), TimeRuns(fnWork, 1)) : 0;
        vecRuns.push_back(1 + static_cast<int>(TURN_SECONDS / std::max(dSecond, 1e-7)));
        dRoundSeconds += dSecond * vecRuns.back();
    }
    const int s32Rounds = dRoundSeconds > 0.1 ? 9 : 41;
    std::vector<BenchSeconds> vecSeconds(vecContenders.size());
    for (int s32Round = 0; s32Round < s32Rounds; s32Round++) {
        for (size_t i = 0; i < vecContenders.size(); i++) {
            if (vecContenders[i]) {
                vecSeconds[i].push_back(TimeRuns(vecContenders[i], vecRuns[i]));
            }
        }
    }
    return vecSeconds;
}

double BenchMedian(BenchSeconds vecSeconds) {
    std::sort(vecSeconds.begin(), vecSeconds.end());
    return vecSeconds[vecSeconds.size() / 2];
}

double BenchRatio(const BenchSeconds &vecLeft, const BenchSeconds &vecRight) {
    BenchSeconds vecRatios;
    for (size_t i = 0; i < vecLeft.size(); i++) {
        vecRatios.push_back(vecLeft[i] / vecRight[i]);
    }
    return BenchMedian(vecRatios);
}

// Three significant digits, without an exponent.
static std::string Number(double d) {
    char asz[64];
    snprintf(asz, sizeof(asz), d >= 100 ? "%.0f" : d >= 10 ? "%.1f" : d >= 1 ? "%.2f" : d >= 0.1 ? "%.3f" : "%.4f", d);
    return asz;
}

static std::string Duration(const BenchSeconds &vecSeconds) {
    if (vecSeconds.empty()) {
        return "";
    }
    const double d = BenchMedian(vecSeconds);
    return d >= 1e-3 ? Number(d * 1e3) + " ms" : d >= 1e-6 ? Number(d * 1e6) + " us" : Number(d * 1e9) + " ns";
}

static void Tell(const std::string &strWhat, double dGoal, const std::string &strUnit, const std::string &strMeasured,
                 const char *pszMet) {
    printf("goal | %s | <= %g %s | %s | %s |\n", strWhat.c_str(), dGoal, strUnit.c_str(), strMeasured.c_str(), pszMet);
}

void TellGoal(const std::string &strWhat, double dGoal, const std::string &strUnit, double dMeasured) {
    Tell(strWhat, dGoal, strUnit, Number(dMeasured), dMeasured <= dGoal ? "yes" : "**no**");
}

void TellPeerGoal(const std::string &strWhat, double dGoal, const BenchSeconds &vecOurs, const BenchSeconds &vecPeer) {
    if (vecPeer.empty()) {
        Tell(strWhat, dGoal, "x the peer", "no peer", "");
    } else {
        TellGoal(strWhat, dGoal, "x the peer", BenchRatio(vecOurs, vecPeer));
    }
}

void TellTimes(const std::string &strWhat, const BenchSeconds &vecOurs, const BenchSeconds &vecLimit,
               const BenchSeconds *pvecPeer) {
    const std::string strPeer = pvecPeer == nullptr ? "" : pvecPeer->empty() ? "no peer" : Duration(*pvecPeer);
    printf("time | %s | %s | %s | %s |\n", strWhat.c_str(), Duration(vecOurs).c_str(), Duration(vecLimit).c_str(),
           strPeer.c_str());
}
