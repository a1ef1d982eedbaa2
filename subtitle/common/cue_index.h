// The cue index that SRT, ASS, SMI and text SUB share: one node a cue, grown by a fixed step, sorted by start time,
// searched by time.
#pragma once

#include <cstdint>

// Nodes that an index begins with and grows by.
constexpr uint32_t SVR_INDEX_STEP = 4096;

struct IndexNode {
    int64_t s64StartPts;  // start, ms
    int64_t s64Offset;    // position of the cue in the file
    int32_t s32Size;      // bytes of the cue in the file; not trusted: it can come out zero or negative
    uint32_t u32Duration; // ms; SUB_DURATION_UNKNOWN when the end is not known
};

// Makes room for u32Step more nodes of u32NodeSize bytes. 0, or -1 with the index gone: null, capacity and count 0.
int32_t SvrIndexGrow(void **ppvNodes, uint32_t *pu32Max, uint32_t *pu32Num, uint32_t u32NodeSize, uint32_t u32Step);

// Appends a node, growing the index by SVR_INDEX_STEP when it is full. 0, or -1 with the index gone.
int32_t SvrIndexAppend(IndexNode **ppstNodes, uint32_t *pu32Max, uint32_t *pu32Num, const IndexNode *pstNode);

// Ascending start time, by the signed difference of the low 32 bits; 0 when a pointer is null. For qsort.
int SvrIndexCompareStart(const void *pvLeft, const void *pvRight);

// Sorts the nodes, unless they stand in order already. The comparison may contradict itself for times far apart; that
// costs the order, nothing else.
void SvrIndexSort(void *pvNodes, uint32_t u32Num, uint32_t u32NodeSize, int (*pfnCompare)(const void *, const void *));

// Moves the read cursor to the first node whose end is not before the time; time 0 is the first node. 0, or -1 with the
// cursor where it was when there is no such node.
int32_t SvrIndexSeek(const IndexNode *pstNodes, uint32_t u32Num, int64_t s64Pts, uint32_t *pu32Cur);
