// Growth, order and search of a cue index.
#include "subtitle/common/cue_index.h"
#include "platform/check.h"

#include <cstdlib>

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

int32_t SvrIndexAppend(IndexNode **ppstNodes, uint32_t *pu32Max, uint32_t *pu32Num, const IndexNode *pstNode) {
    if (*pu32Num >= *pu32Max) {
        void *pvNodes = *ppstNodes;
        const int32_t s32Grown = SvrIndexGrow(&pvNodes, pu32Max, pu32Num, sizeof(IndexNode), SVR_INDEX_STEP);
        *ppstNodes = static_cast<IndexNode *>(pvNodes);
        if (s32Grown != 0) {
            return -1;
        }
    }
    (*ppstNodes)[(*pu32Num)++] = *pstNode;
    return 0;
}

int SvrIndexCompareStart(const void *pvLeft, const void *pvRight) {
    if (pvLeft == nullptr || pvRight == nullptr) {
        return 0;
    }
    const uint32_t u32Left = static_cast<uint32_t>(static_cast<const IndexNode *>(pvLeft)->s64StartPts);
    const uint32_t u32Right = static_cast<uint32_t>(static_cast<const IndexNode *>(pvRight)->s64StartPts);
    return static_cast<int32_t>(u32Left - u32Right);
}

void SvrIndexSort(void *pvNodes, uint32_t u32Num, uint32_t u32NodeSize, int (*pfnCompare)(const void *, const void *)) {
    const uint8_t *pu8Nodes = static_cast<const uint8_t *>(pvNodes);
    for (uint32_t i = 1; i < u32Num; i++) {
        const uint8_t *pu8Node = pu8Nodes + static_cast<size_t>(i) * u32NodeSize;
        if (pfnCompare(pu8Node - u32NodeSize, pu8Node) > 0) {
            qsort(pvNodes, u32Num, u32NodeSize, pfnCompare);
            return;
        }
    }
}

// By the distance to the start: the end itself may be beyond 64 bits.
static bool IndexEndsBefore(const IndexNode *pstNode, int64_t s64Pts) {
    return s64Pts > pstNode->s64StartPts &&
           static_cast<uint64_t>(s64Pts) - static_cast<uint64_t>(pstNode->s64StartPts) > pstNode->u32Duration;
}

int32_t SvrIndexSeek(const IndexNode *pstNodes, uint32_t u32Num, int64_t s64Pts, uint32_t *pu32Cur) {
    uint32_t i = 0;
    while (s64Pts != 0 && i < u32Num && IndexEndsBefore(&pstNodes[i], s64Pts)) {
        i++;
    }
    if (i == u32Num) {
        return -1;
    }
    *pu32Cur = i;
    return 0;
}
