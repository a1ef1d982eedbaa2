// The cue index that SRT, ASS, SMI and text SUB share: one node a cue, grown by a fixed step, sorted by start time
// (text SUB: in the order of the file), searched by time.
#pragma once

#include <cstdint>

// Nodes that an index begins with and grows by.
constexpr uint32_t SVR_INDEX_STEP = 4096;

struct IndexNode {
    int64_t s64StartPts;  // start, ms (MicroDVD: frames)
    int64_t s64Offset;    // position of the cue in the file
    int32_t s32Size;      // bytes of the cue in the file (SMI: 0); not trusted: it can come out zero or negative
    uint32_t u32Duration; // in the same unit; SUB_DURATION_UNKNOWN (text SUB: 0) when the end is not known
};

// Makes room for u32Step more nodes of u32NodeSize bytes. 0, or -1 with the index gone: null, capacity and count 0.
int32_t SvrIndexGrow(void **ppvNodes, uint32_t *pu32Max, uint32_t *pu32Num, uint32_t u32NodeSize, uint32_t u32Step);

// The same for the nodes above, by SVR_INDEX_STEP.
int32_t SvrIndexGrowByStep(IndexNode **ppstNodes, uint32_t *pu32Max, uint32_t *pu32Num);

// Appends a node, growing the index when it is full. 0, or -1 with the index gone.
inline int32_t SvrIndexAppend(IndexNode **ppstNodes, uint32_t *pu32Max, uint32_t *pu32Num, const IndexNode *pstNode) {
    if (*pu32Num >= *pu32Max && SvrIndexGrowByStep(ppstNodes, pu32Max, pu32Num) != 0) {
        return -1;
    }
    (*ppstNodes)[(*pu32Num)++] = *pstNode;
    return 0;
}

// The signed difference of the low 32 bits: ascending, for times that are less than 2^31 ms apart.
inline int SvrIndexCompareTimes(int64_t s64Left, int64_t s64Right) {
    return static_cast<int32_t>(static_cast<uint32_t>(s64Left) - static_cast<uint32_t>(s64Right));
}

// The low 32 bits as signed values: an order that holds for all times.
inline int SvrIndexCompareLow(int64_t s64Left, int64_t s64Right) {
    const int32_t s32Left = static_cast<int32_t>(s64Left);
    const int32_t s32Right = static_cast<int32_t>(s64Right);
    return s32Left < s32Right ? -1 : (s32Left > s32Right ? 1 : 0);
}

// Compares the starts of two nodes by their difference; 0 when a pointer is null.
int SvrIndexCompareStart(const void *pvLeft, const void *pvRight);

// Less than, equal to or greater than 0, as for qsort.
typedef int (*IndexCompareFn)(const void *pvLeft, const void *pvRight);

// Sorts nodes in place; equal ones keep their order. The comparison of times far apart contradicts itself. That may
// cost the order and never reaches outside the array: qsort promises neither.
void SvrIndexSort(void *pvNodes, uint32_t u32Num, uint32_t u32NodeSize, IndexCompareFn pfnCompare);

// Sorts the cues of a build, unless their starts are in order: of equal starts the comparison may only say what the
// file's order says. Whether no cue ends before one that stands ahead of it, and every end can be told in 64 bits.
bool SvrIndexFinish(IndexNode *pstNodes, uint32_t u32Num, IndexCompareFn pfnCompare);

// The same without sorting.
bool SvrIndexEndsAscend(const IndexNode *pstNodes, uint32_t u32Num);

// The first node whose end is not before the time, or u32Num. Ends that ascend are found without a walk.
uint32_t SvrIndexFind(const IndexNode *pstNodes, uint32_t u32Num, int64_t s64Pts, bool bEndsAscend);

// Moves the read cursor to the first node whose end is not before the time; time 0 is the first node. 0, or -1 with the
// cursor where it was when there is no such node.
int32_t SvrIndexSeek(const IndexNode *pstNodes, uint32_t u32Num, int64_t s64Pts, bool bEndsAscend, uint32_t *pu32Cur);
