// Growth, order and search of a cue index.
#include "subtitle/common/cue_index.h"
#include "platform/check.h"

#include <cstdlib>
#include <cstring>

int32_t SvrIndexGrow(void **ppvNodes, uint32_t *pu32Max, uint32_t *pu32Num, uint32_t u32NodeSize, uint32_t u32Step) {
    const uint64_t u64OldSize = static_cast<uint64_t>(*pu32Max) * u32NodeSize;
    const uint64_t u64NewSize = u64OldSize + static_cast<uint64_t>(u32Step) * u32NodeSize;
    if (u64NewSize > UINT32_MAX) {
        free(*ppvNodes);
        *ppvNodes = nullptr;
    } else {
        *ppvNodes = PlayerReallocS(*ppvNodes, static_cast<uint32_t>(u64OldSize), static_cast<uint32_t>(u64NewSize));
    }
    if (*ppvNodes == nullptr) {
        *pu32Max = 0;
        *pu32Num = 0;
        return -1;
    }
    *pu32Max += u32Step;
    return 0;
}

int32_t SvrIndexGrowByStep(IndexNode **ppstNodes, uint32_t *pu32Max, uint32_t *pu32Num) {
    void *pvNodes = *ppstNodes;
    const int32_t s32Grown = SvrIndexGrow(&pvNodes, pu32Max, pu32Num, sizeof(IndexNode), SVR_INDEX_STEP);
    *ppstNodes = static_cast<IndexNode *>(pvNodes);
    return s32Grown;
}

int SvrIndexCompareStart(const void *pvLeft, const void *pvRight) {
    if (pvLeft == nullptr || pvRight == nullptr) {
        return 0;
    }
    return SvrIndexCompareTimes(static_cast<const IndexNode *>(pvLeft)->s64StartPts,
                                static_cast<const IndexNode *>(pvRight)->s64StartPts);
}

// Exchanges two stretches that do not overlap.
static void IndexSwap(uint8_t *pu8Left, uint8_t *pu8Right, size_t uSize) {
    uint8_t au8Chunk[256];
    while (uSize > 0) {
        const size_t uChunk = uSize < sizeof(au8Chunk) ? uSize : sizeof(au8Chunk);
        memcpy(au8Chunk, pu8Left, uChunk);
        memcpy(pu8Left, pu8Right, uChunk);
        memcpy(pu8Right, au8Chunk, uChunk);
        pu8Left += uChunk;
        pu8Right += uChunk;
        uSize -= uChunk;
    }
}

// Exchanges two stretches that follow each other: of uLeft and uRight bytes.
static void IndexRotate(uint8_t *pu8Nodes, size_t uLeft, size_t uRight) {
    while (uLeft != 0 && uRight != 0) {
        if (uLeft <= uRight) {
            IndexSwap(pu8Nodes, pu8Nodes + uLeft, uLeft);
            pu8Nodes += uLeft;
            uRight -= uLeft;
        } else {
            IndexSwap(pu8Nodes + uLeft - uRight, pu8Nodes + uLeft, uRight);
            uLeft -= uRight;
        }
    }
}

// Nodes being sorted.
struct IndexSpan {
    uint8_t *pu8Nodes;
    size_t uNodeSize;
    IndexCompareFn pfnCompare;
};

static uint8_t *IndexAt(const IndexSpan *pstSpan, uint32_t u32Node) {
    return pstSpan->pu8Nodes + u32Node * pstSpan->uNodeSize;
}

// The first of the nodes from u32First to u32End that stands behind the key, or with bEqual beside it.
static uint32_t IndexBound(const IndexSpan *pstSpan, uint32_t u32First, uint32_t u32End, uint32_t u32Key, bool bEqual) {
    while (u32First < u32End) {
        const uint32_t u32Mid = u32First + (u32End - u32First) / 2;
        const int s32Order = pstSpan->pfnCompare(IndexAt(pstSpan, u32Mid), IndexAt(pstSpan, u32Key));
        if (s32Order < 0 || (s32Order == 0 && !bEqual)) {
            u32First = u32Mid + 1;
        } else {
            u32End = u32Mid;
        }
    }
    return u32First;
}

// Merges two runs in place: halves the longer one, finds where that node belongs in the other, brings what stands
// between there by a rotation, and does the same with both sides. Each side is at most three quarters of the whole.
static void IndexMerge(const IndexSpan *pstSpan, uint32_t u32First, uint32_t u32Mid, uint32_t u32End) {
    if (u32First == u32Mid || u32Mid == u32End ||
        pstSpan->pfnCompare(IndexAt(pstSpan, u32Mid - 1), IndexAt(pstSpan, u32Mid)) <= 0) {
        return;
    }
    uint32_t u32Left = u32First + (u32Mid - u32First) / 2;
    uint32_t u32Right = u32Mid + (u32End - u32Mid) / 2;
    if (u32End - u32First == 2) {
        u32Right = u32End;
    } else if (u32Mid - u32First >= u32End - u32Mid) {
        u32Right = IndexBound(pstSpan, u32Mid, u32End, u32Left, true);
    } else {
        u32Left = IndexBound(pstSpan, u32First, u32Mid, u32Right, false);
    }
    IndexRotate(IndexAt(pstSpan, u32Left), (u32Mid - u32Left) * pstSpan->uNodeSize,
                (u32Right - u32Mid) * pstSpan->uNodeSize);
    const uint32_t u32Split = u32Left + (u32Right - u32Mid);
    if (u32End - u32First > 2) {
        IndexMerge(pstSpan, u32First, u32Left, u32Split);
        IndexMerge(pstSpan, u32Split, u32Right, u32End);
    }
}

void SvrIndexSort(void *pvNodes, uint32_t u32Num, uint32_t u32NodeSize, IndexCompareFn pfnCompare) {
    const IndexSpan stSpan = {static_cast<uint8_t *>(pvNodes), u32NodeSize, pfnCompare};
    for (uint64_t u64Run = 1; u64Run < u32Num; u64Run *= 2) {
        for (uint64_t u64First = 0; u64First + u64Run < u32Num; u64First += 2 * u64Run) {
            const uint64_t u64End = u64First + 2 * u64Run < u32Num ? u64First + 2 * u64Run : u32Num;
            IndexMerge(&stSpan, static_cast<uint32_t>(u64First), static_cast<uint32_t>(u64First + u64Run),
                       static_cast<uint32_t>(u64End));
        }
    }
}

// By the distance to the start: the end itself may be beyond 64 bits.
static bool IndexEndsBefore(const IndexNode *pstNode, int64_t s64Pts) {
    return s64Pts > pstNode->s64StartPts &&
           static_cast<uint64_t>(s64Pts) - static_cast<uint64_t>(pstNode->s64StartPts) > pstNode->u32Duration;
}

bool SvrIndexEndsAscend(const IndexNode *pstNodes, uint32_t u32Num) {
    int64_t s64Last = INT64_MIN;
    for (uint32_t i = 0; i < u32Num; i++) {
        int64_t s64End = 0;
        if (__builtin_add_overflow(pstNodes[i].s64StartPts, static_cast<int64_t>(pstNodes[i].u32Duration), &s64End) ||
            s64End < s64Last) {
            return false;
        }
        s64Last = s64End;
    }
    return true;
}

// Most files are in order: one look then tells both. All comparisons agree on times of 31 bits; equal starts are in
// order as the file has them.
bool SvrIndexFinish(IndexNode *pstNodes, uint32_t u32Num, IndexCompareFn pfnCompare) {
    int64_t s64Start = 0;
    int64_t s64End = 0;
    bool bEndsAscend = true;
    for (const IndexNode *pstNode = pstNodes; pstNode < pstNodes + u32Num; pstNode++) {
        if (pstNode->s64StartPts < s64Start || pstNode->s64StartPts > INT32_MAX) {
            SvrIndexSort(pstNodes, u32Num, sizeof(IndexNode), pfnCompare);
            return SvrIndexEndsAscend(pstNodes, u32Num);
        }
        s64Start = pstNode->s64StartPts;
        bEndsAscend = bEndsAscend && s64Start + pstNode->u32Duration >= s64End;
        s64End = s64Start + pstNode->u32Duration;
    }
    return bEndsAscend;
}

uint32_t SvrIndexFind(const IndexNode *pstNodes, uint32_t u32Num, int64_t s64Pts, bool bEndsAscend) {
    uint32_t u32First = 0;
    uint32_t u32End = u32Num;
    // Halving leaves the walk below nothing to do; where ends do not ascend, it has it all.
    while (bEndsAscend && u32First < u32End) {
        const uint32_t u32Mid = u32First + (u32End - u32First) / 2;
        if (IndexEndsBefore(&pstNodes[u32Mid], s64Pts)) {
            u32First = u32Mid + 1;
        } else {
            u32End = u32Mid;
        }
    }
    while (u32First < u32Num && IndexEndsBefore(&pstNodes[u32First], s64Pts)) {
        u32First++;
    }
    return u32First;
}

int32_t SvrIndexSeek(const IndexNode *pstNodes, uint32_t u32Num, int64_t s64Pts, bool bEndsAscend, uint32_t *pu32Cur) {
    const uint32_t u32Found = s64Pts != 0 ? SvrIndexFind(pstNodes, u32Num, s64Pts, bEndsAscend) : 0;
    if (u32Found == u32Num) {
        return -1;
    }
    *pu32Cur = u32Found;
    return 0;
}
