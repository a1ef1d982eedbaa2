// The cue index: order, search and growth, also for times that no order holds.
#include "subtitle/common/cue_index.h"
#include "tests/host_double.h"

#include <algorithm>
#include <cstdlib>
#include <gtest/gtest.h>
#include <random>
#include <tuple>

static std::vector<IndexNode> RandomNodes(std::mt19937_64 &random, size_t uCount, int s32Bits) {
    std::vector<IndexNode> vecNodes(uCount);
    for (size_t i = 0; i < uCount; i++) {
        const int64_t s64Start = static_cast<int64_t>(random() & ((uint64_t{1} << s32Bits) - 1));
        vecNodes[i] = {s64Start, static_cast<int64_t>(i), 0, static_cast<uint32_t>(random() % 5000)};
    }
    return vecNodes;
}

TEST(CueIndexTest, SortsByStartAndKeepsEveryNodeWhateverTheTimes) {
    std::mt19937_64 random(2);
    for (const int s32Bits : {1, 8, 31, 32, 40, 63}) {
        std::vector<IndexNode> vecNodes = RandomNodes(random, 3000, s32Bits);
        SvrIndexSort(vecNodes.data(), 3000, sizeof(IndexNode), SvrIndexCompareStart);
        if (s32Bits <= 31) {
            // Equal ones keep their order.
            EXPECT_TRUE(std::is_sorted(vecNodes.begin(), vecNodes.end(), [](const IndexNode &a, const IndexNode &b) {
                return std::tie(a.s64StartPts, a.s64Offset) < std::tie(b.s64StartPts, b.s64Offset);
            }));
        }
        std::vector<bool> vecSeen(3000);
        for (const IndexNode &stNode : vecNodes) {
            ASSERT_LT(stNode.s64Offset, 3000);
            EXPECT_FALSE(vecSeen[static_cast<size_t>(stNode.s64Offset)]);
            vecSeen[static_cast<size_t>(stNode.s64Offset)] = true;
        }
    }
}

TEST(CueIndexTest, ComparesTheLowHalves) {
    const IndexNode stLow = {5, 0, 0, 0};
    const IndexNode stHigh = {(INT64_C(1) << 32) + 4, 0, 0, 0};
    const IndexNode stFar = {INT64_C(0x80000006), 0, 0, 0};
    EXPECT_GT(SvrIndexCompareStart(&stLow, &stHigh), 0);
    EXPECT_GT(SvrIndexCompareStart(&stLow, &stFar), 0); // wraps
    EXPECT_EQ(SvrIndexCompareStart(nullptr, &stFar), 0);
}

TEST(CueIndexTest, SeekAgreesWithTheRuleInWords) {
    std::mt19937_64 random(3);
    for (int i = 0; i < 200; i++) {
        std::vector<IndexNode> vecNodes = RandomNodes(random, 1 + static_cast<size_t>(i) % 20, 14);
        if (i % 3 == 0) {
            vecNodes[vecNodes.size() / 2].u32Duration = SUB_DURATION_UNKNOWN;
        }
        if (i % 2 == 0) { // ends that ascend are found by halving
            std::sort(vecNodes.begin(), vecNodes.end(), [](const IndexNode &a, const IndexNode &b) {
                return a.s64StartPts + a.u32Duration < b.s64StartPts + b.u32Duration;
            });
        }
        const bool bEndsAscend = SvrIndexEndsAscend(vecNodes.data(), static_cast<uint32_t>(vecNodes.size()));
        EXPECT_TRUE(bEndsAscend || i % 2 != 0);
        for (int64_t s64Pts = -1; s64Pts < 22000; s64Pts += 37) {
            uint32_t u32Expected = 0;
            for (const IndexNode &stNode : vecNodes) {
                const int64_t s64End = stNode.s64StartPts + stNode.u32Duration;
                if (s64Pts == stNode.s64StartPts || (s64Pts > stNode.s64StartPts && s64Pts < s64End) ||
                    s64Pts < stNode.s64StartPts || s64Pts == s64End) {
                    break;
                }
                u32Expected++;
            }
            uint32_t u32Cur = UINT32_MAX;
            const bool bFound = u32Expected < vecNodes.size();
            ASSERT_EQ(
                SvrIndexSeek(vecNodes.data(), static_cast<uint32_t>(vecNodes.size()), s64Pts, bEndsAscend, &u32Cur),
                bFound ? 0 : -1);
            ASSERT_EQ(u32Cur, bFound ? u32Expected : UINT32_MAX);
        }
    }
}

TEST(CueIndexTest, FinishingSortsAndTellsWhetherEndsAscend) {
    std::mt19937_64 random(4);
    int32_t s32Ascending = 0;
    for (uint32_t i = 0; i < 600; i++) {
        std::vector<IndexNode> vecNodes = RandomNodes(random, 1 + i % 4, 14);
        const uint32_t u32Num = static_cast<uint32_t>(vecNodes.size());
        if (i % 2 == 0) { // a file in order is not sorted
            SvrIndexSort(vecNodes.data(), u32Num, sizeof(IndexNode), SvrIndexCompareStart);
        }
        const bool bAscend = SvrIndexFinish(vecNodes.data(), u32Num, SvrIndexCompareStart);
        EXPECT_EQ(bAscend, SvrIndexEndsAscend(vecNodes.data(), u32Num));
        EXPECT_TRUE(std::is_sorted(vecNodes.begin(), vecNodes.end(), [](const IndexNode &a, const IndexNode &b) {
            return a.s64StartPts < b.s64StartPts;
        }));
        s32Ascending += bAscend ? 1 : 0;
    }
    EXPECT_GT(s32Ascending, 100);
    EXPECT_LT(s32Ascending, 500);
}

TEST(CueIndexTest, GrowthBeyondAnAllocationsSizeIsRefused) {
    HostReset();
    void *pvNodes = PlayerMallocZ(64);
    uint32_t u32Max = UINT32_MAX / 24 - 100;
    uint32_t u32Num = 7;
    EXPECT_EQ(SvrIndexGrow(&pvNodes, &u32Max, &u32Num, 24, 4096), -1);
    EXPECT_EQ(pvNodes, nullptr);
    EXPECT_EQ(u32Max, 0u);
    EXPECT_EQ(u32Num, 0u);
    EXPECT_TRUE(HostNothingLeft());
}
