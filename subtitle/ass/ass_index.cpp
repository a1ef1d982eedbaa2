// ASS/SSA file to header and event index: an event line becomes a node, every other line is kept in the header. Which
// is which depends on the section a line stands in.
#include "subtitle/ass/ass_demuxer.h"

#include "subtitle/common/clock_scan.h"
#include "subtitle/common/line_reader.h"
#include "subtitle/common/text_reader.h"

#include <cstring>

// "h:mm:ss.cc", hundredths last
static constexpr ClockForm s_stAssClock = {2, 10, nullptr};

// A time field is looked for up to this many commas after "Dialogue:", both fields together.
constexpr uint32_t ASS_TIME_MAX_COMMAS = 8;

enum AssState {
    ASS_STATE_INIT,     // before the first line
    ASS_STATE_HEADER,   // sections before the events, and after them
    ASS_STATE_EVENTS,   // behind the line "[Events]"
    ASS_STATE_FORMAT,   // behind the line "Format:" of the events
    ASS_STATE_DIALOGUE, // among the events
};

// What the line loop knows beside the handle.
struct AssParser {
    TextReader stReader;
    int32_t s32StartPos; // where the line began; positions are those of 32 bits
    AssState enState;
    bool bFormatSeen; // a "Format:" line has followed "[Events]"
    bool bNoEvent;    // no event line met in the events section yet
};

// Where a time is looked for in a line.
struct AssCursor {
    const uint8_t *pu8Cur;
    const uint8_t *pu8End;
};

static int AssNodeCompare(const void *pvLeft, const void *pvRight) {
    if (pvLeft == nullptr || pvRight == nullptr) {
        return SvrIndexCompareStart(pvLeft, pvRight);
    }
    const IndexNode *pstLeft = static_cast<const IndexNode *>(pvLeft);
    const IndexNode *pstRight = static_cast<const IndexNode *>(pvRight);
    if (pstLeft->s64StartPts != pstRight->s64StartPts) {
        return SvrIndexCompareStart(pvLeft, pvRight);
    }
    return static_cast<int32_t>(static_cast<uint32_t>(pstLeft->s64Offset) - static_cast<uint32_t>(pstRight->s64Offset));
}

// The next time in the line, or -1. The cursor stops at its first colon, and commas passed on the way are counted.
static int64_t AssGetTime(AssCursor *pstCursor, uint32_t *pu32Commas) {
    const uint8_t *pu8Cur = pstCursor->pu8Cur;
    const uint8_t *pu8End = pstCursor->pu8End;
    while (pu8Cur < pu8End && *pu8Cur != ':' && *pu32Commas <= ASS_TIME_MAX_COMMAS) {
        *pu32Commas += *pu8Cur == ',' ? 1 : 0;
        pu8Cur++;
    }
    pstCursor->pu8Cur = pu8Cur;
    int64_t s64Time = 0;
    // The hour is the one digit before the colon. Before the cursor there is always a character: "Dialogue:".
    SVR_RETURN_UNLESS(*pu32Commas <= ASS_TIME_MAX_COMMAS &&
                          SvrScanClock(pu8Cur - 1, pu8End, &s_stAssClock, &s64Time) != nullptr,
                      __func__, "ass get time fail");
    return s64Time;
}

// Start and end of an event, the earlier one first. 0, or -1 after a message.
static int32_t AssGetPts(AssCursor stCursor, int64_t *ps64Start, int64_t *ps64End) {
    uint32_t u32Commas = 0;
    *ps64Start = AssGetTime(&stCursor, &u32Commas);
    SVR_RETURN_UNLESS(*ps64Start != -1, __func__, "WARNING! find *ps64StartPts failed! ");
    stCursor.pu8Cur = SvrFindByte(stCursor.pu8Cur, stCursor.pu8End, ',');
    SVR_RETURN_UNLESS(stCursor.pu8Cur != nullptr, __func__, "WARNINT! get end pts fail!");
    *ps64End = AssGetTime(&stCursor, &u32Commas);
    SVR_RETURN_UNLESS(*ps64End != -1, __func__, "null");
    if (*ps64End < *ps64Start) {
        PlayerPrintf(PLAYER_LOG_WARNING, __func__, __LINE__, "WARNING! *ps64StartPts > s64EndPts! ");
        const int64_t s64Later = *ps64Start;
        *ps64Start = *ps64End;
        *ps64End = s64Later;
    }
    return 0;
}

// Adds the event whose fields begin at the cursor, or passes over it. 0, or -1 when the build cannot go on.
static int32_t AssNodeParse(AssDemuxerHdl *pstHdl, const AssParser *pstParser, AssCursor stCursor) {
    int64_t s64Start = 0;
    int64_t s64End = 0;
    if (AssGetPts(stCursor, &s64Start, &s64End) != 0) {
        PlayerPrintf(PLAYER_LOG_WARNING, __func__, __LINE__, "WARNING! get pts failed!");
        return 0;
    }
    const int64_t s64EndPos = SvrTextTell(&pstParser->stReader);
    SVR_RETURN_UNLESS(!SvrSubSeekFailed(s64EndPos), __func__, "_ASS_NODE_Parse:SEEK_CUR 0 failed!");
    const int32_t s32StartPos = pstParser->s32StartPos;
    const int32_t s32EndPos = static_cast<int32_t>(s64EndPos);
    if (s32EndPos <= s32StartPos) {
        PlayerPrintf(PLAYER_LOG_WARNING, __func__, __LINE__, "WARNING! s32EndPos <= s32StartPos!");
        return 0;
    }
    const IndexNode stNode = {
        .s64StartPts = s64Start,
        .s64Offset = s32StartPos,
        .s32Size = static_cast<int32_t>(static_cast<uint32_t>(s32EndPos) - static_cast<uint32_t>(s32StartPos)),
        .u32Duration = static_cast<uint32_t>(s64End - s64Start),
    };
    return SvrIndexAppend(&pstHdl->pstAssIndexNodeList, &pstHdl->u32MaxIndexNum, &pstHdl->u32IndexNum, &stNode);
}

// Makes room for u32Need bytes of header. 0, or -1 with the header gone.
static int32_t AssHeaderGrow(AssDemuxerHdl *pstHdl, uint32_t u32Need) {
    const uint32_t u32Step = pstHdl->u32HeaderSize + ASS_HEADER_STEP;
    const uint32_t u32Size = u32Step > u32Need ? u32Step : u32Need;
    pstHdl->pu8Header = static_cast<uint8_t *>(PlayerReallocS(pstHdl->pu8Header, pstHdl->u32HeaderLen, u32Size));
    if (pstHdl->pu8Header == nullptr) {
        PlayerPrintf(PLAYER_LOG_ERROR, "AssHeaderStore", __LINE__, "realloc %u bytes for ass header error!", u32Size);
        pstHdl->u32HeaderLen = 0;
        return -1;
    }
    pstHdl->u32HeaderSize = u32Size;
    return 0;
}

static int32_t AssHeaderStore(AssDemuxerHdl *pstHdl, TextSpan stText) {
    const uint32_t u32Len = static_cast<uint32_t>(stText.s32Len);
    const uint32_t u32Need = pstHdl->u32HeaderLen + u32Len;
    // Growing by steps can leave room beyond the limit; what is stored stays below it all the same.
    if (u32Need > ASS_HEADER_MAX_SIZE) {
        PlayerPrintf(PLAYER_LOG_ERROR, __func__, __LINE__, "store ass header error, header too long(%u)", u32Need);
        return -1;
    }
    if (pstHdl->u32HeaderSize < u32Need && AssHeaderGrow(pstHdl, u32Need) != 0) {
        return -1;
    }
    SVR_BOUNDED(__func__,
                memcpy_s(pstHdl->pu8Header + pstHdl->u32HeaderLen, pstHdl->u32HeaderSize - pstHdl->u32HeaderLen,
                         stText.pu8Text, u32Len),
                "memcpy_s");
    pstHdl->u32HeaderLen = u32Need;
    return 0;
}

// The first line. A file that does not begin as it should is read all the same.
static int32_t AssHeaderParseInit(AssDemuxerHdl *pstHdl, AssParser *pstParser, TextSpan stText) {
    if (SvrFindBehind(stText, "[Script Info]") == nullptr) {
        PlayerPrintf(PLAYER_LOG_WARNING, __func__, __LINE__, "missing [Script Info]!, not ass/ssa file!");
    }
    pstParser->enState = ASS_STATE_HEADER;
    return AssHeaderStore(pstHdl, stText);
}

// The line behind "[Events]".
static int32_t AssHeaderParsEvent(AssDemuxerHdl *pstHdl, AssParser *pstParser, TextSpan stText) {
    if (SvrBeginsWith(stText, "Format:")) {
        pstParser->bFormatSeen = true;
        pstParser->enState = ASS_STATE_FORMAT;
    } else if (!pstParser->bFormatSeen) {
        PlayerPrintf(PLAYER_LOG_ERROR, __func__, __LINE__, "missing FORMAT: after EVENTS!");
        return -1;
    } else {
        pstParser->enState = ASS_STATE_DIALOGUE;
    }
    return AssHeaderStore(pstHdl, stText);
}

// A line among the events: an event, or one more line of the header.
static int32_t AssHeaderParseDialogue(AssDemuxerHdl *pstHdl, AssParser *pstParser, TextSpan stText) {
    const uint8_t *pu8Fields = SvrFindBehind(stText, "Dialogue:");
    if (pu8Fields != nullptr) {
        pstParser->bNoEvent = false;
        pstParser->enState = ASS_STATE_DIALOGUE;
        const TextSpan stFields =
            SvrSpanUpToZero(SvrSpanFrom(stText, static_cast<int32_t>(pu8Fields - stText.pu8Text)));
        const AssCursor stCursor = {pu8Fields, SvrSpanEnd(stFields)};
        return AssNodeParse(pstHdl, pstParser, stCursor);
    }
    if (SvrBeginsWith(stText, "[Events]")) {
        pstParser->enState = ASS_STATE_EVENTS;
    } else if (SvrBeginsWith(stText, "Format:")) {
        pstParser->enState = ASS_STATE_FORMAT;
    } else {
        pstParser->enState = SvrBeginsWith(stText, "[") ? ASS_STATE_HEADER : ASS_STATE_DIALOGUE;
    }
    return AssHeaderStore(pstHdl, stText);
}

static int32_t AssHeaderParseByState(AssDemuxerHdl *pstHdl, AssParser *pstParser, TextSpan stText) {
    switch (pstParser->enState) {
    case ASS_STATE_INIT:
        return AssHeaderParseInit(pstHdl, pstParser, stText);
    case ASS_STATE_HEADER:
        pstParser->enState = SvrBeginsWith(stText, "[Events]") ? ASS_STATE_EVENTS : ASS_STATE_HEADER;
        return AssHeaderStore(pstHdl, stText);
    case ASS_STATE_EVENTS:
        return AssHeaderParsEvent(pstHdl, pstParser, stText);
    default:
        return AssHeaderParseDialogue(pstHdl, pstParser, stText);
    }
}

static int32_t AssHeaderParseChk(AssDemuxerHdl *pstHdl, void *hUrl, Protocol *pstProtocol) {
    SVR_RETURN_UNLESS(!SvrSubSeekFailed(pstProtocol->url_seek(hUrl, pstHdl->s64StartPos, 0)), __func__,
                      "_ASS_PARSE_Header seek to s64StartPos failed!");
    return 0;
}

// Reads a line and tells where it began. 0, or -1 when the position cannot be told.
static int32_t AssHeaderParseReadFrame(AssParser *pstParser, TextSpan *pstText, TextLine *penLine) {
    const int64_t s64StartPos = SvrTextTell(&pstParser->stReader);
    SVR_RETURN_UNLESS(!SvrSubSeekFailed(s64StartPos), __func__, "get s32StartPos failed");
    pstParser->s32StartPos = static_cast<int32_t>(s64StartPos);
    int32_t s32Len = 0;
    *penLine = SvrTextReadLine(&pstParser->stReader, pstText, &s32Len);
    if (*penLine == TEXT_LINE_FAILED) {
        SVR_LOG_RESULT("AssHeaderParseTransCodeFrame", "Transcode subtitle failed!", -1);
    }
    return 0;
}

// The line loop. 0 at the end of a file with events, else -1.
static int32_t AssHeaderParse(AssDemuxerHdl *pstHdl, void *hUrl, Protocol *pstProtocol) {
    SVR_RETURN_UNLESS(AssHeaderParseChk(pstHdl, hUrl, pstProtocol) == 0, __func__, "AssHeaderParse failed!");
    AssParser stParser = {
        .stReader = SvrTextReaderOf(&pstHdl->stHead, hUrl, pstProtocol, pstHdl->u32CodeType, pstHdl->au8LineBuf,
                                    AssFrameBuf(pstHdl)),
        .s32StartPos = 0,
        .enState = ASS_STATE_INIT,
        .bFormatSeen = false,
        .bNoEvent = true,
    };
    for (;;) {
        if (SvrTextStopped(&pstHdl->stHead)) {
            PlayerPrintf(PLAYER_LOG_ERROR, __func__, __LINE__, "stop reading ass subtitle");
            return -1;
        }
        TextSpan stText = {};
        TextLine enLine = TEXT_LINE_END;
        SVR_RETURN_UNLESS(AssHeaderParseReadFrame(&stParser, &stText, &enLine) == 0, __func__,
                          "AssHeaderParseReadFrame failed");
        if (enLine == TEXT_LINE_END) {
            break;
        }
        SVR_RETURN_UNLESS(enLine != TEXT_LINE_FAILED, __func__, "Transcode subtitle failed!");
        SVR_RETURN_UNLESS(enLine == TEXT_LINE_EMPTY || AssHeaderParseByState(pstHdl, &stParser, stText) == 0, __func__,
                          "_ASS_HEADER_Store failed!");
    }
    return stParser.bNoEvent ? -1 : 0;
}

int32_t AssParse(AssDemuxerHdl *pstHdl, void *hUrl, Protocol *pstProtocol) {
    if (pstHdl->pstAssIndexNodeList == nullptr || pstHdl->pu8Header == nullptr) {
        return -1;
    }
    pstHdl->u32CurIndex = 0;
    pstHdl->u32IndexNum = 0;
    pstHdl->bEndsAscend = 0;
    pstHdl->u32HeaderLen = 0;
    const int32_t s32Marks = SvrTextSkipMarks(&pstHdl->stHead, hUrl, pstProtocol, pstHdl->u32CodeType);
    SVR_RETURN_UNLESS(s32Marks != -1, __func__, "Skip header failed!");
    pstHdl->s64StartPos = s32Marks;
    SVR_RETURN_UNLESS(AssHeaderParse(pstHdl, hUrl, pstProtocol) == 0, __func__, "null");
    pstHdl->bEndsAscend = SvrIndexFinish(pstHdl->pstAssIndexNodeList, pstHdl->u32IndexNum, AssNodeCompare);
    return 0;
}
