// VobSub index to node lists. The file is text: settings, then for each language an id line and its time stamps. A line
// is told by a word that stands anywhere in it; where it holds several, the order of IdxTakeLine decides.
#include "subtitle/idx/idx_demuxer.h"

#include "platform/check.h"
#include "protocol/file_window.h"
#include "subtitle/common/clock_scan.h"
#include "subtitle/common/cue_index.h"
#include "subtitle/common/text_demuxer.h"

#include <cstdlib>
#include <cstring>

constexpr int32_t IDX_LINE_SIZE = 256;

// A line being gathered.
struct IdxGather {
    uint8_t *pu8Line;
    int32_t s32Max; // bytes to store at most
    int32_t s32Len;
    bool bComment; // what comes until the line's end is not stored
    bool bDone;
};

// Takes bytes until the line is done. The place behind the last one taken.
static const uint8_t *IdxGatherBytes(IdxGather *pstGather, const uint8_t *pu8Text, const uint8_t *pu8End) {
    IdxGather stGather = *pstGather; // what is stored may not be taken for a change to it
    while (pu8Text < pu8End && !stGather.bDone) {
        const uint8_t u8Byte = *pu8Text++;
        const bool bLineEnd = u8Byte == '\n' || u8Byte == '\r';
        if (u8Byte == '#' || (bLineEnd && stGather.s32Len == 0)) {
            stGather.bComment = !bLineEnd;
        } else if (bLineEnd || !stGather.bComment) {
            stGather.pu8Line[stGather.s32Len++] = u8Byte;
            stGather.bDone = bLineEnd || stGather.s32Len == stGather.s32Max;
        }
    }
    *pstGather = stGather;
    return pu8Text;
}

// Takes a line that lies whole in the window, without a comment and not cut. False with nothing taken otherwise.
static bool IdxGatherQuick(IdxGather *pstGather, SvrFileHandle *pstFile) {
    const uint8_t *pu8Cur = SvrFileWindowCur(pstFile);
    const uint8_t *pu8End = SvrFileWindowEnd(pstFile);
    // The line feed that a carriage return left behind, and empty lines.
    while (pu8Cur < pu8End && (*pu8Cur == '\n' || *pu8Cur == '\r')) {
        pu8Cur++;
    }
    const uint8_t *pu8Far = pu8End - pu8Cur < pstGather->s32Max ? pu8End : pu8Cur + pstGather->s32Max;
    const uint8_t *pu8Stop = SvrFindByte(pu8Cur, pu8Far, '\n');
    if (pu8Stop == nullptr) {
        return false;
    }
    const uint8_t *pu8Cr = SvrFindByte(pu8Cur, pu8Stop, '\r');
    pu8Stop = pu8Cr != nullptr ? pu8Cr : pu8Stop;
    if (SvrFindByte(pu8Cur, pu8Stop, '#') != nullptr) {
        return false;
    }
    pstGather->s32Len = static_cast<int32_t>(pu8Stop + 1 - pu8Cur);
    memcpy(pstGather->pu8Line, pu8Cur, static_cast<size_t>(pstGather->s32Len));
    SvrFileWindowAdvance(pstFile, static_cast<int32_t>(pu8Stop + 1 - SvrFileWindowCur(pstFile)));
    return true;
}

// Reads a line into a buffer of at least two bytes, without a terminator. Our own file protocol shows its cached bytes,
// a foreign one is asked for one at a time.
static int32_t IdxGatherLine(uint8_t *pu8Line, int32_t s32Size, const Protocol *pstProtocol, void *hUrl) {
    IdxGather stGather = {.pu8Line = pu8Line, .s32Max = s32Size - 1};
    SvrFileHandle *pstFile = SvrFileWindowOf(pstProtocol, hUrl);
    if (pstFile != nullptr && IdxGatherQuick(&stGather, pstFile)) {
        return stGather.s32Len;
    }
    while (!stGather.bDone) {
        const uint8_t *pu8Cur = pstFile != nullptr ? SvrFileWindowCur(pstFile) : nullptr;
        if (pstFile != nullptr && pu8Cur < SvrFileWindowEnd(pstFile)) {
            const uint8_t *pu8After = IdxGatherBytes(&stGather, pu8Cur, SvrFileWindowEnd(pstFile));
            SvrFileWindowAdvance(pstFile, static_cast<int32_t>(pu8After - pu8Cur));
            continue;
        }
        uint8_t u8Byte = 0;
        if (pstProtocol->url_read(hUrl, &u8Byte, 1) != 1) {
            break;
        }
        IdxGatherBytes(&stGather, &u8Byte, &u8Byte + 1);
    }
    return stGather.s32Len;
}

int32_t IdxReadLine(uint8_t *pu8Line, int32_t s32Size, Protocol *pstProtocol, void *hUrl) {
    if (pu8Line == nullptr || pstProtocol == nullptr || pstProtocol->url_read == nullptr) {
        SVR_LOG_RESULT(__func__, "invalid param!", 0);
        return 0;
    }
    if (s32Size > 0) {
        SVR_BOUNDED(__func__, memset_s(pu8Line, static_cast<size_t>(s32Size), 0, static_cast<size_t>(s32Size)),
                    "memset_s");
    }
    return s32Size < 2 ? 0 : IdxGatherLine(pu8Line, s32Size, pstProtocol, hUrl);
}

// Reads what "%x" reads: blanks, a sign, "0x" before a digit, digits. Values beyond 32 bits stop at the limit. The text
// ends in a character that is no digit. The place after the number, or null.
static const uint8_t *IdxScanHex(const uint8_t *pu8Text, const uint8_t *pu8End, uint32_t *pu32Value) {
    pu8Text = SvrSkipSpace(pu8Text, pu8End);
    const bool bNegative = *pu8Text == '-';
    pu8Text += *pu8Text == '-' || *pu8Text == '+' ? 1 : 0;
    if (pu8Text[0] == '0' && SvrLower(pu8Text[1]) == 'x' && SvrHexDigit(pu8Text[2]) >= 0) {
        pu8Text += 2;
    }
    if (SvrHexDigit(*pu8Text) < 0) {
        return nullptr;
    }
    uint64_t u64Value = 0;
    for (; SvrHexDigit(*pu8Text) >= 0; pu8Text++) {
        u64Value = u64Value * 16 + static_cast<uint64_t>(SvrHexDigit(*pu8Text));
        u64Value = u64Value > UINT32_MAX ? UINT32_MAX : u64Value;
    }
    *pu32Value = bNegative ? 0 - static_cast<uint32_t>(u64Value) : static_cast<uint32_t>(u64Value);
    return pu8Text;
}

// "hours:minutes:seconds:milliseconds, filepos: hexadecimal". The place after it, or null.
static const uint8_t *IdxScanTimeStamp(const char *pszText, IdxIndexNode *pstNode) {
    static constexpr ClockForm s_stClock = {3, 1, ":"};
    static const char s_aszFilePos[] = "filepos:";
    constexpr ptrdiff_t FILEPOS_LEN = sizeof(s_aszFilePos) - 1;
    const uint8_t *pu8Text = reinterpret_cast<const uint8_t *>(pszText);
    const uint8_t *pu8End = pu8Text + strlen(pszText);
    pu8Text = SvrScanClock(pu8Text, pu8End, &s_stClock, &pstNode->s64StartPts);
    if (pu8Text == nullptr || *pu8Text != ',') {
        return nullptr;
    }
    pu8Text = SvrSkipSpace(pu8Text + 1, pu8End);
    return pu8End - pu8Text > FILEPOS_LEN && memcmp(pu8Text, s_aszFilePos, FILEPOS_LEN) == 0
               ? IdxScanHex(pu8Text + FILEPOS_LEN, pu8End, &pstNode->u32FilePos)
               : nullptr;
}

enum IdxWord {
    IDX_WORD_SIZE,
    IDX_WORD_TIME_OFFSET,
    IDX_WORD_PALETTE,
    IDX_WORD_LANGIDX,
    IDX_WORD_ID,
    IDX_WORD_INDEX,
    IDX_WORD_DELAY,
    IDX_WORD_TIMESTAMP,
    IDX_WORD_NUM
};

// A line, and what was found in it. All words end in a colon.
struct IdxLine {
    char aszText[IDX_LINE_SIZE];
    const char *apszWord[IDX_WORD_NUM]; // behind each word's first occurrence; null where there is none
    const char *pszFirst;               // behind the first colon; empty without one
    const char *pszLast;                // behind the last colon; empty without one
    bool bStamp;                        // a time stamp and nothing else: in stStamp, and no word is noted
    IdxIndexNode stStamp;
};

enum IdxStep { IDX_STEP_NEXT, IDX_STEP_END, IDX_STEP_FAILED };

struct IdxParse {
    IdxDemuxerHdl *pstHdl;
    int32_t s32Width, s32Height;
    bool bIdIgnored; // the last id line had no index: its delays and time stamps are passed over
};

// Notes the word that ends at a colon with a letter before it, when it is the first of its kind.
static void IdxNoteWord(IdxLine *pstLine, const char *pszColon) {
    static constexpr struct {
        const char *pszWord;
        size_t uLen;
    } s_astWords[IDX_WORD_NUM] = {{"size", 4}, {"time offset", 11}, {"palette", 7}, {"langidx", 7},
                                  {"id", 2},   {"index", 5},        {"delay", 5},   {"timestamp", 9}};
    const size_t uBefore = static_cast<size_t>(pszColon - pstLine->aszText);
    for (int32_t i = 0; i < IDX_WORD_NUM; i++) {
        const size_t uLen = s_astWords[i].uLen;
        const char *pszWord = s_astWords[i].pszWord;
        if (pszColon[-1] == pszWord[uLen - 1] && pstLine->apszWord[i] == nullptr && uBefore >= uLen &&
            memcmp(pszColon - uLen, pszWord, uLen) == 0) {
            pstLine->apszWord[i] = pszColon + 1;
        }
    }
}

static void IdxFindWords(IdxLine *pstLine) {
    memset(pstLine->apszWord, 0, sizeof(pstLine->apszWord));
    const char *psz = strchr(pstLine->aszText, ':');
    pstLine->pszFirst = psz != nullptr ? psz + 1 : "";
    pstLine->pszLast = pstLine->pszFirst;
    for (; psz != nullptr; psz = strchr(psz + 1, ':')) {
        pstLine->pszLast = psz + 1;
        // The colons of a time stand behind digits.
        if (psz > pstLine->aszText && SvrIsAlpha(static_cast<uint8_t>(psz[-1]))) {
            IdxNoteWord(pstLine, psz);
        }
    }
}

// Whether the line is a time stamp and nothing else, as most lines are.
static bool IdxIsStamp(IdxLine *pstLine) {
    static const char s_aszWord[] = "timestamp:";
    constexpr size_t WORD_LEN = sizeof(s_aszWord) - 1;
    pstLine->stStamp = {};
    if (strncmp(pstLine->aszText, s_aszWord, WORD_LEN) != 0) {
        return false;
    }
    const uint8_t *pu8After = IdxScanTimeStamp(pstLine->aszText + WORD_LEN, &pstLine->stStamp);
    return pu8After != nullptr && strchr(reinterpret_cast<const char *>(pu8After), ':') == nullptr;
}

static bool IdxNextLine(const IdxDemuxerHdl *pstHdl, IdxLine *pstLine) {
    const int32_t s32Len = IdxGatherLine(reinterpret_cast<uint8_t *>(pstLine->aszText), IDX_LINE_SIZE,
                                         pstHdl->pstProtocol, pstHdl->hIdxUrl);
    pstLine->aszText[s32Len] = '\0';
    pstLine->bStamp = s32Len > 0 && IdxIsStamp(pstLine);
    if (!pstLine->bStamp) {
        IdxFindWords(pstLine);
    }
    return s32Len > 0;
}

// What strtol reads where a long has 32 bits.
static int32_t IdxNumber(const char *pszText, int s32Base) {
    const int64_t s64Value = strtol(pszText, nullptr, s32Base);
    const int64_t s64Floored = s64Value < INT32_MIN ? INT32_MIN : s64Value;
    return static_cast<int32_t>(s64Floored > INT32_MAX ? INT32_MAX : s64Floored);
}

static void FindOriginalSize(IdxParse *pstParse, const IdxLine *pstLine) {
    pstParse->s32Width = IdxNumber(pstLine->pszFirst, 10);
    const char *pszTimes = strchr(pstLine->aszText, 'x');
    if (pszTimes != nullptr) {
        pstParse->s32Height = IdxNumber(pszTimes + 1, 10);
    }
}

static void FindOriginalPos(IdxDemuxerHdl *pstHdl, const IdxLine *pstLine) {
    pstHdl->s32TimeOffset = IdxNumber(pstLine->pszFirst, 0);
}

static void FindLangIdx(IdxDemuxerHdl *pstHdl, const IdxLine *pstLine) {
    pstHdl->u8LangIdx = static_cast<uint8_t>(IdxNumber(pstLine->pszLast, 0));
}

static void IdxParsePalette(IdxDemuxerHdl *pstHdl, const IdxLine *pstLine) {
    const char *pszItem = pstLine->pszLast;
    for (uint32_t &u32Colour : pstHdl->au32Palette) {
        u32Colour = pszItem != nullptr ? static_cast<uint32_t>(IdxNumber(pszItem, 16)) << 8 : 0;
        pszItem = pszItem != nullptr ? strchr(pszItem, ',') : nullptr;
        pszItem = pszItem != nullptr ? pszItem + 1 : nullptr;
    }
    if (pszItem != nullptr) {
        PlayerPrintf(PLAYER_LOG_WARNING, __func__, __LINE__, "IDX_MAX_PALETTE_NUM reached!");
    }
}

static IdxStep IdxParseId(IdxParse *pstParse, const IdxLine *pstLine) {
    IdxDemuxerHdl *pstHdl = pstParse->pstHdl;
    if (pstHdl->u8LangNum >= PELL_FORMAT_MAX_LANG_NUM) {
        SVR_LOG_RESULT(__func__, "PELL_FORMAT_MAX_LANG_NUM <= pstMember->u32MaxIndexNum!", 0);
        return IDX_STEP_END;
    }
    // An id line without time stamps is forgotten with the next one.
    IdxLangEntry *pstLang = &pstHdl->astLang[pstHdl->u8LangNum];
    memset(pstLang->szLang, 0, sizeof(pstLang->szLang));
    size_t uLen = 0;
    for (const char *psz = pstLine->pszFirst; *psz != '\0' && *psz != ':' && uLen < IDX_LANG_LEN; psz++) {
        if (SvrIsAlpha(static_cast<uint8_t>(*psz))) {
            pstLang->szLang[uLen++] = *psz;
        }
    }
    if (pstLine->apszWord[IDX_WORD_INDEX] == nullptr) {
        SVR_LOG_RESULT(__func__, "find index but parse failed!", -1);
        pstParse->bIdIgnored = true;
        return IDX_STEP_NEXT;
    }
    pstParse->bIdIgnored = false;
    pstHdl->bNewId = 1;
    return IDX_STEP_NEXT;
}

// "[-]hours:minutes:seconds:milliseconds". Behind a language's first time stamp it is for the language to come.
static void IdxParseDelay(IdxDemuxerHdl *pstHdl, const IdxLine *pstLine) {
    int s32Hours = 0, s32Minutes = 0, s32Seconds = 0, s32Millis = 0;
    if (sscanf_s(pstLine->apszWord[IDX_WORD_DELAY], "%d:%d:%d:%d", &s32Hours, &s32Minutes, &s32Seconds, &s32Millis) !=
        4) {
        SVR_LOG_RESULT(__func__, "find delay tag but parse failed!", -1);
        return;
    }
    PlayerPrintf(PLAYER_LOG_INFO, __func__, __LINE__, "delay: %d:%d:%d:%d", s32Hours, s32Minutes, s32Seconds,
                 s32Millis);
    const int64_t s64Hours = s32Hours < 0 ? -static_cast<int64_t>(s32Hours) : s32Hours;
    const int64_t s64Delay = (s64Hours * 3600 + static_cast<int64_t>(s32Minutes) * 60 + s32Seconds) * 1000 + s32Millis;
    if (pstHdl->u8LangNum < PELL_FORMAT_MAX_LANG_NUM) {
        pstHdl->astLang[pstHdl->u8LangNum].s64Delay = strchr(pstLine->aszText, '-') != nullptr ? -s64Delay : s64Delay;
    }
}

// The first time stamp behind an id line creates the language.
static int32_t IdxCreateLang(IdxDemuxerHdl *pstHdl, const char *pszFunc) {
    IdxLangEntry *pstLang = &pstHdl->astLang[pstHdl->u8LangNum];
    pstLang->pstIDXIndexNodeList =
        static_cast<IdxIndexNode *>(PlayerMallocZ(pstLang->u32MaxIndexNum * sizeof(IdxIndexNode)));
    SVR_RETURN_UNLESS(pstLang->pstIDXIndexNodeList != nullptr, pszFunc, "Mallocz failed!");
    pstHdl->u8LangNum++;
    pstHdl->bNewId = 0;
    return 0;
}

static int32_t IdxAppendNode(IdxLangEntry *pstLang, const IdxIndexNode *pstNode, const char *pszFunc) {
    if (pstLang->u32IndexNum >= pstLang->u32MaxIndexNum) {
        PlayerPrintf(PLAYER_LOG_INFO, pszFunc, __LINE__, "maxnodenum is not big enough, realloc!");
        void *pvNodes = pstLang->pstIDXIndexNodeList;
        const int32_t s32Grown = SvrIndexGrow(&pvNodes, &pstLang->u32MaxIndexNum, &pstLang->u32IndexNum,
                                              sizeof(IdxIndexNode), IDX_INDEX_STEP);
        pstLang->pstIDXIndexNodeList = static_cast<IdxIndexNode *>(pvNodes);
        SVR_RETURN_UNLESS(s32Grown == 0, pszFunc, "nodenum realloc failed!");
    }
    pstLang->pstIDXIndexNodeList[pstLang->u32IndexNum++] = *pstNode;
    return 0;
}

static int32_t IdxParseTimeStamp(IdxDemuxerHdl *pstHdl, const IdxLine *pstLine) {
    IdxIndexNode stNode = pstLine->stStamp;
    SVR_RETURN_UNLESS(pstLine->bStamp || IdxScanTimeStamp(pstLine->apszWord[IDX_WORD_TIMESTAMP], &stNode) != nullptr,
                      __func__, "find pts and pos but parse failed!");
    if (pstHdl->bNewId == 1 && IdxCreateLang(pstHdl, __func__) != 0) {
        return -1;
    }
    SVR_RETURN_UNLESS(pstHdl->u8LangNum > 0, __func__, "missing first id: xx, index: xx! or index outrange");
    IdxLangEntry *pstLang = &pstHdl->astLang[pstHdl->u8LangNum - 1];
    stNode.s64StartPts += pstLang->s64Delay + pstHdl->s32TimeOffset;
    return IdxAppendNode(pstLang, &stNode, __func__);
}

static IdxStep IdxTakeStamp(const IdxParse *pstParse, const IdxLine *pstLine) {
    return pstParse->bIdIgnored || IdxParseTimeStamp(pstParse->pstHdl, pstLine) == 0 ? IDX_STEP_NEXT : IDX_STEP_FAILED;
}

static IdxStep IdxTakeLine(IdxParse *pstParse, const IdxLine *pstLine) {
    if (pstLine->bStamp) {
        return IdxTakeStamp(pstParse, pstLine);
    }
    IdxDemuxerHdl *pstHdl = pstParse->pstHdl;
    if (pstLine->apszWord[IDX_WORD_SIZE] != nullptr) {
        FindOriginalSize(pstParse, pstLine);
    } else if (pstLine->apszWord[IDX_WORD_TIME_OFFSET] != nullptr) {
        FindOriginalPos(pstHdl, pstLine);
    } else if (pstLine->apszWord[IDX_WORD_PALETTE] != nullptr) {
        IdxParsePalette(pstHdl, pstLine);
    } else if (pstLine->apszWord[IDX_WORD_LANGIDX] != nullptr) {
        FindLangIdx(pstHdl, pstLine);
    } else if (pstLine->apszWord[IDX_WORD_ID] != nullptr) {
        return IdxParseId(pstParse, pstLine);
    } else {
        if (pstLine->apszWord[IDX_WORD_DELAY] != nullptr && !pstParse->bIdIgnored) {
            IdxParseDelay(pstHdl, pstLine);
        }
        if (pstLine->apszWord[IDX_WORD_TIMESTAMP] != nullptr) {
            return IdxTakeStamp(pstParse, pstLine);
        }
    }
    return IDX_STEP_NEXT;
}

int32_t IdxParseIdx(IdxDemuxerHdl *pstHdl, int32_t *ps32Width, int32_t *ps32Height) {
    SVR_RETURN_UNLESS(pstHdl != nullptr, __func__, "invalid param!");
    IdxParse stParse = {pstHdl, *ps32Width, *ps32Height, false};
    IdxStep enStep = IDX_STEP_NEXT;
    IdxLine stLine;
    while (enStep == IDX_STEP_NEXT && IdxNextLine(pstHdl, &stLine)) {
        SVR_RETURN_UNLESS(__atomic_load_n(&pstHdl->bStopParse, __ATOMIC_RELAXED) != 1, __func__,
                          "stop reading idx-sub subtitle");
        enStep = IdxTakeLine(&stParse, &stLine);
    }
    *ps32Width = stParse.s32Width;
    *ps32Height = stParse.s32Height;
    return enStep == IDX_STEP_FAILED ? -1 : 0;
}

static int IdxNodeCompare(const void *pvLeft, const void *pvRight) {
    return SvrIndexCompareLow(static_cast<const IdxIndexNode *>(pvLeft)->s64StartPts,
                              static_cast<const IdxIndexNode *>(pvRight)->s64StartPts);
}

static void IdxDescribeStream(IdxDemuxerHdl *pstHdl, uint32_t u32Lang, const char *pszUrl, SubStreamInfo *pstStream) {
    static const char s_aszFunc[] = "SetFileInfo";
    SvrTextNameStream(s_aszFunc, pstStream, u32Lang, SUB_STREAM_FORMAT_IDX, pszUrl);
    pstStream->pu8ExtraData = reinterpret_cast<uint8_t *>(pstHdl->au32Palette);
    pstStream->u32ExtraDataSize = sizeof(pstHdl->au32Palette);
    SVR_BOUNDED(
        s_aszFunc,
        strncpy_s(pstStream->aszLang, sizeof(pstStream->aszLang), pstHdl->astLang[u32Lang].szLang, IDX_LANG_LEN),
        "strncpy_s");
}

int32_t SetFileInfo(const char *pszUrl, IdxDemuxerHdl *pstHdl, int32_t s32Width, int32_t s32Height) {
    FileInfo *pstInfo = &pstHdl->stFileInfo;
    const uint32_t u32LangNum = pstHdl->u8LangNum;
    if (SvrTextAddStreams(pstInfo, u32LangNum) != 0) {
        return -1;
    }
    ProgramInfo *pstProgram = &pstInfo->pastProgramInfo[0];
    pstInfo->u32Reserved1 = 0;
    pstProgram->u32SubStreamNum = u32LangNum;
    for (uint32_t i = 0; i < u32LangNum; i++) {
        const IdxLangEntry *pstLang = &pstHdl->astLang[i];
        SvrIndexSort(pstLang->pstIDXIndexNodeList, pstLang->u32IndexNum, sizeof(IdxIndexNode), IdxNodeCompare);
        SubStreamInfo *pstStream = &pstProgram->pastSubStream[i];
        IdxDescribeStream(pstHdl, i, pszUrl, pstStream);
        pstStream->u16Width = static_cast<uint16_t>(s32Width);
        pstStream->u16Height = static_cast<uint16_t>(s32Height);
    }
    return 0;
}

void IdxNodeFree(IdxDemuxerHdl *pstHdl) {
    for (uint32_t i = 0; i < pstHdl->u8LangNum; i++) {
        IdxLangEntry *pstLang = &pstHdl->astLang[i];
        if (pstLang->pstIDXIndexNodeList != nullptr) {
            const size_t uSize = pstLang->u32MaxIndexNum * sizeof(IdxIndexNode);
            SVR_BOUNDED(__func__, memset_s(pstLang->pstIDXIndexNodeList, uSize, 0, uSize), "memset_s");
            free(pstLang->pstIDXIndexNodeList);
            pstLang->pstIDXIndexNodeList = nullptr;
        }
    }
}
