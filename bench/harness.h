// What all benchmarks share: contenders that take turns, and the lines of the tables.
#pragma once

#include <functional>
#include <string>
#include <vector>

// Ends the program when a contender did not do its work.
void BenchExpect(bool bHolds, const std::string &strWhat);

// Thread CPU seconds of one run of a contender, a value for each round.
using BenchSeconds = std::vector<double>;

// Rounds in which every contender runs in turn, for long enough to be timed. An empty contender has no values.
std::vector<BenchSeconds> BenchMeasure(const std::vector<std::function<void()>> &vecContenders);

double BenchMedian(BenchSeconds vecSeconds);

// The median of the rounds' own ratios: what slows the machine down slows both down.
double BenchRatio(const BenchSeconds &vecLeft, const BenchSeconds &vecRight);

// One line of the table of goals: "what | at most dGoal strUnit | measured | met".
void TellGoal(const std::string &strWhat, double dGoal, const std::string &strUnit, double dMeasured);

// The goal as a ratio to the peer; "no peer" when it has no values.
void TellPeerGoal(const std::string &strWhat, double dGoal, const BenchSeconds &vecOurs, const BenchSeconds &vecPeer);

// One line of the table of times. Without values a limit is left blank and a peer is said to be missing; a null peer
// has no part in it.
void TellTimes(const std::string &strWhat, const BenchSeconds &vecOurs, const BenchSeconds &vecLimit,
               const BenchSeconds *pvecPeer);
