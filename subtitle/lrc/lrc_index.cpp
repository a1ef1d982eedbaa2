// Lyrics file to cue index: one cue for each time tag of a line, all with the text behind the last of them. The index
// holds the text.
#include "subtitle/lrc/lrc_demuxer.h"

#include "platform/text/ascii.h"
#include "subtitle/common/line_reader.h"
#include "subtitle/common/text_reader.h"

#include <cstdlib>
#include <cstring>

static constexpr char s_aszOffset[] = "[offset:";
static constexpr int32_t LRC_OFFSET_LEN = sizeof(s_aszOffset) - 1; // its characters

// Of a node while the index is sorted.
struct LrcPlace {
    int64_t s64StartPts;
    uint32_t u32Node; // the one that belongs here
};

// A tag: from its "[" to the end of the line, where its value begins, and what follows its "]".
struct LrcTag {
    TextSpan stTag, stValue, stBehind;
};

static TextReader LrcReaderOf(LrcDemuxerHdl *pstHdl) {
    const TextHead *pstHead = &pstHdl->stHead;
    return SvrTextReaderOf(pstHead, pstHead->hUrl, pstHead->pstProtocol, pstHdl->u32CodeType, pstHdl->pu8LineBuf,
                           {pstHdl->pu8TextBuf, &pstHdl->u32TextUsed});
}

// Reads a line and converts it; the text ends at its first zero byte.
static TextLine LrcReadAndTransCodeLine(TextReader *pstReader, TextSpan *pstText) {
    int32_t s32Len = 0;
    const TextLine enLine = SvrTextReadLine(pstReader, pstText, &s32Len);
    if (enLine == TEXT_LINE_READ) {
        *pstText = SvrSpanUpToZero(*pstText);
    }
    return enLine;
}

// The text from the first such character on; false when there is none.
static bool LrcFindChar(TextSpan stText, char chWanted, TextSpan *pstFound) {
    const uint8_t *pu8Found = SvrFindByte(stText.pu8Text, SvrSpanEnd(stText), static_cast<uint8_t>(chWanted));
    if (pu8Found == nullptr) {
        return false;
    }
    *pstFound = SvrSpanFrom(stText, static_cast<int32_t>(pu8Found - stText.pu8Text));
    return true;
}

static bool LrcParseFindTag(TextSpan stText, LrcTag *pstTag) {
    const char *pszMissing = nullptr;
    if (!LrcFindChar(stText, '[', &pstTag->stTag)) {
        pszMissing = "tagStart == NULL";
    } else if (!LrcFindChar(pstTag->stTag, ':', &pstTag->stValue)) {
        pszMissing = "tagColon == NULL";
    } else if (!LrcFindChar(pstTag->stValue, ']', &pstTag->stBehind)) {
        pszMissing = "tagEnd == NULL";
    }
    if (pszMissing != nullptr) {
        PlayerPrintf(PLAYER_LOG_ERROR, __func__, __LINE__, "Check [%s], return NULL", pszMissing);
        return false;
    }
    pstTag->stValue = SvrSpanFrom(pstTag->stValue, 1);
    pstTag->stBehind = SvrSpanFrom(pstTag->stBehind, 1);
    return true;
}

bool LrcScanTimeTag(TextSpan stTag, int64_t *ps64Time) {
    const uint8_t *pu8End = SvrSpanEnd(stTag);
    int32_t s32Min = 0;
    int32_t s32Sec = 0;
    int32_t s32Frac = 0;
    const uint8_t *pu8Text = SvrScanInt(stTag.pu8Text + 1, pu8End, 2, &s32Min);
    if (pu8Text == nullptr || pu8Text == pu8End || *pu8Text != ':') {
        return false;
    }
    pu8Text = SvrScanInt(pu8Text + 1, pu8End, 2, &s32Sec);
    if (pu8Text == nullptr) {
        return false;
    }
    if (pu8Text < pu8End && *pu8Text == '.') {
        SvrScanInt(pu8Text + 1, pu8End, 2, &s32Frac);
    }
    *ps64Time = (static_cast<int64_t>(s32Min) * 60 + s32Sec) * 1000 + s32Frac;
    return true;
}

static bool LrcParseGetPts(const LrcTag *pstTag, int64_t *ps64Time) {
    if (!LrcScanTimeTag(pstTag->stTag, ps64Time)) {
        PlayerPrintf(PLAYER_LOG_DETAIL, __func__, __LINE__, "timestamp tag not found !");
        return false;
    }
    return true;
}

static bool LrcIsOffset(TextSpan stText) {
    return stText.s32Len >= LRC_OFFSET_LEN && memcmp(stText.pu8Text, s_aszOffset, LRC_OFFSET_LEN) == 0;
}

// The number that the text begins with; false, and 0, when there is none.
static bool LrcScanOffset(TextSpan stText, int32_t *ps32Offset) {
    *ps32Offset = 0;
    return SvrScanInt(stText.pu8Text, SvrSpanEnd(stText), INT32_MAX, ps32Offset) != nullptr;
}

// Takes the offset of a header line. False when the header has ended: an offset with a time tag behind it is the
// line's own.
static bool LrcTakeHeadLine(LrcDemuxerHdl *pstHdl, TextSpan stText) {
    LrcTag stTag = {};
    int64_t s64Time = 0;
    if (!LrcParseFindTag(stText, &stTag)) {
        return true;
    }
    if (LrcParseGetPts(&stTag, &s64Time)) {
        return false;
    }
    int32_t s32Offset = 0;
    if (!LrcIsOffset(stTag.stTag) || !LrcScanOffset(stTag.stValue, &s32Offset)) {
        return true;
    }
    LrcTag stNext = {};
    if (!LrcParseFindTag(stTag.stBehind, &stNext)) {
        pstHdl->s32FileOffset = s32Offset;
        return true;
    }
    return !LrcParseGetPts(&stNext, &s64Time);
}

static void LrcScanHead(LrcDemuxerHdl *pstHdl) {
    static const char s_aszRead[] = "LrcReadAndTransCodeLine";
    if (pstHdl->pu8LineBuf == nullptr) {
        SVR_LOG_RESULT(s_aszRead, "invalid param!", -1);
        return;
    }
    TextReader stReader = LrcReaderOf(pstHdl);
    // A file without times is header to its end. After a stop the lines behind it report.
    while (!SvrTextStopped(&pstHdl->stHead)) {
        TextSpan stText = {};
        const TextLine enLine = LrcReadAndTransCodeLine(&stReader, &stText);
        if (enLine == TEXT_LINE_FAILED) {
            SVR_LOG_RESULT(s_aszRead, "null", -1);
        }
        if (enLine == TEXT_LINE_FAILED || enLine == TEXT_LINE_END ||
            (enLine == TEXT_LINE_READ && !LrcTakeHeadLine(pstHdl, stText))) {
            return;
        }
    }
}

static int32_t LrcSeekToStart(const LrcDemuxerHdl *pstHdl) {
    const TextHead *pstHead = &pstHdl->stHead;
    SVR_RETURN_UNLESS(!SvrSubSeekFailed(pstHead->pstProtocol->url_seek(pstHead->hUrl, pstHdl->s64StartPos, 0)),
                      "LrcParseHead", "seek to s64StartPos failed!");
    return 0;
}

int32_t LrcParseHead(LrcDemuxerHdl *pstHdl) {
    SVR_RETURN_UNLESS(pstHdl != nullptr && pstHdl->stHead.hUrl != nullptr && pstHdl->stHead.pstProtocol != nullptr,
                      __func__, "invalid param!");
    if (LrcSeekToStart(pstHdl) != 0) {
        return -1;
    }
    SVR_RETURN_UNLESS(pstHdl->pu8TextBuf != nullptr, __func__, "invalid param!");
    LrcScanHead(pstHdl);
    return LrcSeekToStart(pstHdl);
}

static int32_t LrcReallocNodeList(LrcDemuxerHdl *pstHdl) {
    constexpr uint64_t u64NodeSize = sizeof(LrcIndexNode);
    if ((pstHdl->u32MaxIndexNum + uint64_t{LRC_INDEX_STEP}) * u64NodeSize > UINT32_MAX) {
        PlayerPrintf(PLAYER_LOG_ERROR, __func__, __LINE__, "maxNodeNum is overflow!");
        return -1;
    }
    void *pvNodes = pstHdl->pstLrcIndexNodeList;
    const int32_t s32Grown =
        SvrIndexGrow(&pvNodes, &pstHdl->u32MaxIndexNum, &pstHdl->u32IndexNum, sizeof(LrcIndexNode), LRC_INDEX_STEP);
    pstHdl->pstLrcIndexNodeList = static_cast<LrcIndexNode *>(pvNodes);
    if (s32Grown != 0) {
        PlayerPrintf(PLAYER_LOG_ERROR, __func__, __LINE__, "PlayerReallocS fail !");
    }
    return s32Grown;
}

// Adds a cue without text.
static int32_t LrcAddCue(LrcDemuxerHdl *pstHdl, int64_t s64Start) {
    if (pstHdl->u32IndexNum >= pstHdl->u32MaxIndexNum && LrcReallocNodeList(pstHdl) != 0) {
        return -1;
    }
    LrcIndexNode *pstNode = &pstHdl->pstLrcIndexNodeList[pstHdl->u32IndexNum++];
    pstNode->s64StartPts = s64Start;
    pstNode->szText[0] = '\0';
    return 0;
}

// Gives a line's text to the cues from u32First on.
static void LrcSetText(LrcDemuxerHdl *pstHdl, uint32_t u32First, TextSpan stText) {
    static const char s_aszParseLine[] = "LrcParseLine";
    const size_t uLen = static_cast<size_t>(stText.s32Len);
    if (uLen == 0 || uLen >= SVR_SUB_STR_IN_MAX_LEN) {
        PlayerPrintf(PLAYER_LOG_WARNING, s_aszParseLine, __LINE__, "node str is len invalid:%zu", uLen);
        return;
    }
    for (uint32_t i = u32First; i < pstHdl->u32IndexNum; i++) {
        char *pszText = pstHdl->pstLrcIndexNodeList[i].szText;
        SVR_BOUNDED(s_aszParseLine,
                    strncpy_s(pszText, SVR_SUB_STR_IN_MAX_LEN, reinterpret_cast<const char *>(stText.pu8Text), uLen),
                    "strncpy_s");
    }
}

// Moves to the first tag behind the line's offset, when it has one. False when the line holds nothing but an offset.
static bool LrcTakeLineOffset(LrcTag *pstTag, int32_t *ps32Offset) {
    TextSpan stFrom = pstTag->stTag;
    while (LrcFindChar(stFrom, '[', &stFrom) && !LrcIsOffset(stFrom)) {
        stFrom = SvrSpanFrom(stFrom, 1);
    }
    if (!LrcIsOffset(stFrom)) {
        return true;
    }
    // The number is that of the line's first tag, whichever that is.
    LrcScanOffset(pstTag->stValue, ps32Offset);
    if (!LrcParseFindTag(SvrSpanFrom(stFrom, LRC_OFFSET_LEN), pstTag)) {
        SVR_LOG_RESULT("LrcParseLine", "maybe is file offset, not line offset", 0);
        return false;
    }
    return true;
}

// Adds the line's cues. 0, or -1 when it has no tag or memory ran out.
static int32_t LrcParseLine(LrcDemuxerHdl *pstHdl, TextSpan stText) {
    LrcTag stTag = {};
    SVR_RETURN_UNLESS(LrcParseFindTag(stText, &stTag), __func__, "### invalid line");
    int32_t s32LineOffset = 0;
    if (!LrcTakeLineOffset(&stTag, &s32LineOffset)) {
        return 0;
    }
    const uint32_t u32First = pstHdl->u32IndexNum;
    TextSpan stLyric = {};
    do {
        int64_t s64Time = 0;
        if (!LrcParseGetPts(&stTag, &s64Time)) {
            continue;
        }
        if (LrcAddCue(pstHdl, s64Time + s32LineOffset + pstHdl->s32FileOffset) != 0) {
            return -1;
        }
        stLyric = stTag.stBehind;
    } while (LrcParseFindTag(stTag.stBehind, &stTag));
    if (pstHdl->u32IndexNum > u32First) {
        LrcSetText(pstHdl, u32First, stLyric);
    }
    return 0;
}

static int LrcNodeCompare(const void *pvLeft, const void *pvRight) {
    if (pvLeft == nullptr || pvRight == nullptr) {
        return 0;
    }
    return SvrIndexCompareTimes(static_cast<const LrcIndexNode *>(pvLeft)->s64StartPts,
                                static_cast<const LrcIndexNode *>(pvRight)->s64StartPts);
}

static int LrcPlaceCompare(const void *pvLeft, const void *pvRight) {
    return SvrIndexCompareTimes(static_cast<const LrcPlace *>(pvLeft)->s64StartPts,
                                static_cast<const LrcPlace *>(pvRight)->s64StartPts);
}

static bool LrcIsSorted(const LrcIndexNode *pstNodes, uint32_t u32Num) {
    for (uint32_t i = 1; i < u32Num; i++) {
        if (LrcNodeCompare(&pstNodes[i - 1], &pstNodes[i]) > 0) {
            return false;
        }
    }
    return true;
}

// Brings each node to its place, and each place to itself, along the circles that they form.
static void LrcMoveNodes(LrcIndexNode *pstNodes, LrcPlace *pstPlaces, uint32_t u32Num) {
    for (uint32_t i = 0; i < u32Num; i++) {
        if (pstPlaces[i].u32Node == i) {
            continue;
        }
        const LrcIndexNode stHeld = pstNodes[i];
        uint32_t u32To = i;
        while (pstPlaces[u32To].u32Node != i) {
            const uint32_t u32From = pstPlaces[u32To].u32Node;
            pstNodes[u32To] = pstNodes[u32From];
            pstPlaces[u32To].u32Node = u32To;
            u32To = u32From;
        }
        pstNodes[u32To] = stHeld;
        pstPlaces[u32To].u32Node = u32To;
    }
}

// Nodes are large: their places are sorted, and each node is moved once. Without memory for that, the nodes themselves.
static void LrcSort(LrcDemuxerHdl *pstHdl) {
    LrcIndexNode *pstNodes = pstHdl->pstLrcIndexNodeList;
    const uint32_t u32Num = pstHdl->u32IndexNum;
    if (LrcIsSorted(pstNodes, u32Num)) {
        return;
    }
    // Cannot overflow: the nodes themselves are held below 4 GiB.
    LrcPlace *pstPlaces = static_cast<LrcPlace *>(PlayerMallocZ(u32Num * static_cast<uint32_t>(sizeof(LrcPlace))));
    if (pstPlaces == nullptr) {
        SvrIndexSort(pstNodes, u32Num, sizeof(LrcIndexNode), LrcNodeCompare);
        return;
    }
    for (uint32_t i = 0; i < u32Num; i++) {
        pstPlaces[i] = {pstNodes[i].s64StartPts, i};
    }
    SvrIndexSort(pstPlaces, u32Num, sizeof(LrcPlace), LrcPlaceCompare);
    LrcMoveNodes(pstNodes, pstPlaces, u32Num);
    free(pstPlaces);
}

static int32_t LrcNodeParse(LrcDemuxerHdl *pstHdl) {
    static const char s_aszParse[] = "LrcParse";
    TextReader stReader = LrcReaderOf(pstHdl);
    for (;;) {
        if (SvrTextStopped(&pstHdl->stHead)) {
            PlayerPrintf(PLAYER_LOG_ERROR, s_aszParse, __LINE__, "stop reading lrc subtitle");
            return -1;
        }
        TextSpan stText = {};
        const TextLine enLine = LrcReadAndTransCodeLine(&stReader, &stText);
        SVR_RETURN_UNLESS(enLine != TEXT_LINE_FAILED, s_aszParse, "null");
        if (enLine == TEXT_LINE_END) {
            LrcSort(pstHdl);
            return 0;
        }
        if (enLine == TEXT_LINE_READ && LrcParseLine(pstHdl, stText) != 0) {
            PlayerPrintf(PLAYER_LOG_WARNING, s_aszParse, __LINE__, "LrcParseLine failed!");
        }
    }
}

int32_t LrcParse(LrcDemuxerHdl *pstHdl, void *hUrl, Protocol *pstProtocol) {
    if (pstHdl->pstLrcIndexNodeList == nullptr) {
        return -1;
    }
    pstHdl->u32IndexNum = 0;
    pstHdl->u32CurIndex = 0;
    const int32_t s32Marks = SvrTextSkipMarks(&pstHdl->stHead, hUrl, pstProtocol, pstHdl->u32CodeType);
    SVR_RETURN_UNLESS(s32Marks != -1, __func__, "Skip header failed!");
    pstHdl->s64StartPos = s32Marks;
    SVR_RETURN_UNLESS(LrcParseHead(pstHdl) == 0, __func__, "null");
    return LrcNodeParse(pstHdl);
}
