// SAMI file to language classes and cue index: class rules stand in the header, a line that begins with a sync tag
// opens a cue. The index keeps where that line stands; which class's text is taken from there is decided when it is
// read.
#include "subtitle/smi/smi_demuxer.h"

#include "subtitle/common/line_reader.h"

#include <cstring>

// Characters of "<sync start=".
constexpr int32_t SMI_SYNC_LEN = 12;

constexpr int32_t SMI_HEAD_MAX_LINES = 50000;
constexpr uint32_t SMI_LAST_DURATION = 5000;

// Times beyond it stop there: a start and a duration always add up within 64 bits.
constexpr int64_t SMI_TIME_MAX = INT64_MAX - UINT32_MAX;

constexpr char SMI_INFOMATCH[9][15] = {
    "<SAMI>", "<HEAD>", "</HEAD>", "<BODY>", "</BODY>", "</SAMI>", "&nbsp;", "<P CLASS", "<sync start=",
};

// A tag for comparison of eight bytes at once, its first ones and, when it has more, its last ones: the tag, and the
// bits that count; letters count in either case.
struct SmiPattern {
    uint8_t au8Word[16];
    uint8_t au8Counts[16];
    int32_t s32Len, s32Last; // of the tag; where its last eight bytes begin
};

struct SmiPatterns {
    SmiPattern astPattern[SMI_TAG_NONE];
};

static constexpr SmiPatterns SmiMakePatterns() {
    SmiPatterns stPatterns = {};
    for (int32_t i = 0; i < SMI_TAG_NONE; i++) {
        SmiPattern *pstPattern = &stPatterns.astPattern[i];
        int32_t j = 0;
        for (; SMI_INFOMATCH[i][j] != '\0'; j++) {
            const uint8_t u8Char = static_cast<uint8_t>(SMI_INFOMATCH[i][j]);
            pstPattern->au8Word[j] = u8Char;
            pstPattern->au8Counts[j] = SvrIsAlpha(u8Char) ? 0xDF : 0xFF;
        }
        pstPattern->s32Len = j;
        pstPattern->s32Last = j > 8 ? j - 8 : 0;
    }
    return stPatterns;
}

static constexpr SmiPatterns s_stPatterns = SmiMakePatterns();

static bool SmiHasEight(const uint8_t *pu8Text, const SmiPattern *pstPattern, int32_t s32At) {
    return ((SvrEightBytes(pu8Text + s32At) ^ SvrEightBytes(pstPattern->au8Word + s32At)) &
            SvrEightBytes(pstPattern->au8Counts + s32At)) == 0;
}

// Whether a text of eight bytes or more begins with the tag.
static bool SmiIsTag(TextSpan stText, SmiTag enTag) {
    const SmiPattern *pstPattern = &s_stPatterns.astPattern[enTag];
    return stText.s32Len >= pstPattern->s32Len && SmiHasEight(stText.pu8Text, pstPattern, 0) &&
           SmiHasEight(stText.pu8Text, pstPattern, pstPattern->s32Last);
}

TextReader SmiReaderOf(SmiDemuxerHdl *pstHdl, void *hUrl, Protocol *pstProtocol) {
    return SvrTextReaderOf(&pstHdl->stHead, hUrl, pstProtocol, pstHdl->u32CodeType, pstHdl->au8LineBuf,
                           {pstHdl->au8TransBuf, &pstHdl->u32TransUsed});
}

// The tags that a "<" and this character may begin, ended by SMI_TAG_NONE.
static const SmiTag *SmiTagsOf(uint8_t u8Second) {
    static const SmiTag s_aenS[] = {SMI_TAG_SYNC, SMI_TAG_SAMI, SMI_TAG_NONE};
    static const SmiTag s_aenH[] = {SMI_TAG_HEAD, SMI_TAG_NONE};
    static const SmiTag s_aenB[] = {SMI_TAG_BODY, SMI_TAG_NONE};
    static const SmiTag s_aenP[] = {SMI_TAG_P_CLASS, SMI_TAG_NONE};
    static const SmiTag s_aenSlash[] = {SMI_TAG_HEAD_END, SMI_TAG_BODY_END, SMI_TAG_SAMI_END, SMI_TAG_NONE};
    static const SmiTag s_aenNone[] = {SMI_TAG_NONE};
    switch (u8Second) {
    case 's':
        return s_aenS;
    case 'h':
        return s_aenH;
    case 'b':
        return s_aenB;
    case 'p':
        return s_aenP;
    case '/':
        return s_aenSlash;
    default:
        return s_aenNone;
    }
}

// The tag that a text of eight bytes or more begins with.
static SmiTag SmiTagOf(TextSpan stText) {
    if (stText.pu8Text[0] == '&') {
        return SmiIsTag(stText, SMI_TAG_NBSP) ? SMI_TAG_NBSP : SMI_TAG_NONE;
    }
    const SmiTag *penTag = SmiTagsOf(SvrLower(stText.pu8Text[1]));
    while (*penTag != SMI_TAG_NONE && !SmiIsTag(stText, *penTag)) {
        penTag++;
    }
    return *penTag;
}

// Shorter text goes on with zeros, which no tag has.
__attribute__((noinline)) static SmiTag SmiTagOfShort(TextSpan stText) {
    uint8_t au8Text[8] = {};
    memcpy(au8Text, stText.pu8Text, static_cast<size_t>(stText.s32Len));
    return SmiTagOf({au8Text, sizeof(au8Text)});
}

SmiTag SmiMatchMarkup(TextSpan stText) {
    return stText.s32Len < 8 ? SmiTagOfShort(stText) : SmiTagOf(stText);
}

// The value of the digits that the text begins with.
static int64_t SmiScanDigits(const uint8_t *pu8Text, const uint8_t *pu8End) {
    int64_t s64Value = 0;
    for (; pu8Text < pu8End && SvrIsDigit(*pu8Text); pu8Text++) {
        const int64_t s64Digit = *pu8Text - '0';
        const bool bFits =
            s64Value < SMI_TIME_MAX / 10 || (s64Value == SMI_TIME_MAX / 10 && s64Digit <= SMI_TIME_MAX % 10);
        s64Value = bFits ? s64Value * 10 + s64Digit : SMI_TIME_MAX;
    }
    return s64Value;
}

// The number after "End=" as atoll reads it, or -1 when there is none.
static int64_t SmiScanEnd(TextSpan stText) {
    static const char s_aszEnd[] = "End=";
    constexpr ptrdiff_t END_LEN = sizeof(s_aszEnd) - 1;
    const uint8_t *pu8End = SvrSpanEnd(stText);
    const uint8_t *pu8Text = stText.pu8Text;
    do {
        pu8Text = SvrFindByte(pu8Text, pu8End, '=');
        if (pu8Text == nullptr) {
            return -1;
        }
        pu8Text++;
    } while (pu8Text - stText.pu8Text < END_LEN || !SvrBeginsWith({pu8Text - END_LEN, END_LEN}, s_aszEnd));
    pu8Text = SvrSkipSpace(pu8Text, pu8End);
    const bool bSigned = pu8Text < pu8End && (*pu8Text == '-' || *pu8Text == '+');
    const bool bNegative = bSigned && *pu8Text == '-';
    const int64_t s64Value = SmiScanDigits(pu8Text + (bSigned ? 1 : 0), pu8End);
    return bNegative ? -s64Value : s64Value;
}

// The first digit behind the sync tag that the text begins with, or null.
static const uint8_t *SmiFindStart(TextSpan stText) {
    for (int32_t i = SMI_SYNC_LEN; i < stText.s32Len && stText.pu8Text[i] != '\0'; i++) {
        if (SvrIsDigit(stText.pu8Text[i])) {
            return stText.pu8Text + i;
        }
    }
    return nullptr;
}

bool SmiHasStart(TextSpan stText) {
    return SmiFindStart(stText) != nullptr;
}

// Reads the times of the sync tag that the text begins with. False when it has no start.
static bool SmiGetPts(int64_t *ps64Start, int64_t *ps64End, TextSpan stText) {
    stText = SvrSpanUpToZero(stText);
    *ps64End = SmiScanEnd(stText);
    const uint8_t *pu8Start = SmiFindStart(stText);
    if (pu8Start == nullptr) {
        return false;
    }
    *ps64Start = SmiScanDigits(pu8Start, SvrSpanEnd(stText));
    return true;
}

// Copies what follows the property's name, without blanks; a longer value is cut. A value ends at '-' too, so that
// "ko-KR" gives "ko".
static void SmiGetProperty(TextSpan stText, const char *pszName, char *pszSlot) {
    const uint8_t *pu8Value = SvrFindBehind(stText, pszName);
    const uint8_t *pu8End = SvrSpanEnd(stText);
    int32_t s32Len = 0;
    for (; pu8Value != nullptr && pu8Value < pu8End && s32Len < SMI_CLASS_TEXT_SIZE - 1; pu8Value++) {
        if (*pu8Value == '-' || *pu8Value == ';' || *pu8Value == '}') {
            break;
        }
        if (*pu8Value != ' ') {
            pszSlot[s32Len++] = static_cast<char>(*pu8Value);
        }
    }
}

static void SmiGetSubLang(SmiDemuxerHdl *pstHdl, TextSpan stText) {
    stText = SvrSpanUpToZero(stText);
    SmiGetProperty(stText, "Name:", pstHdl->aszClassName[pstHdl->s32ClassNum]);
    SmiGetProperty(stText, "Lang:", pstHdl->aszClassLang[pstHdl->s32ClassNum]);
}

// Takes what a header line says. False when the line ends the header.
static bool SmiTakeHeadLine(SmiDemuxerHdl *pstHdl, const TextReader *pstReader, TextSpan stText) {
    int32_t s32First = 0;
    const SmiTag enTag = SmiMatchTag(stText, &s32First);
    if (enTag == SMI_TAG_HEAD_END) {
        pstHdl->s64BodyPos = SvrTextTell(pstReader);
    }
    if (enTag >= SMI_TAG_HEAD_END && enTag != SMI_TAG_NONE) {
        return false;
    }
    if (s32First < stText.s32Len && stText.pu8Text[s32First] == '.' && pstHdl->s32ClassNum < SMI_CLASS_MAX_NUM) {
        SmiGetSubLang(pstHdl, SvrSpanFrom(stText, s32First));
        pstHdl->s32ClassNum++;
    }
    return true;
}

int32_t SmiSkipHead(SmiDemuxerHdl *pstHdl) {
    const TextHead *pstHead = &pstHdl->stHead;
    // Marks are looked for but stay in the first line; a second find-stream begins where the first left off.
    SVR_RETURN_UNLESS(SvrTextSkipMarks(pstHead, pstHead->hUrl, pstHead->pstProtocol, pstHdl->u32CodeType) != -1,
                      __func__, "Skip SMI file header failed!");
    SVR_RETURN_UNLESS(!SvrSubSeekFailed(pstHead->pstProtocol->url_seek(pstHead->hUrl, pstHdl->s64BodyPos, 0)), __func__,
                      "Seek SMI file failed!");
    TextReader stReader = SmiReaderOf(pstHdl, pstHead->hUrl, pstHead->pstProtocol);
    for (int32_t i = 0; i < SMI_HEAD_MAX_LINES; i++) {
        pstHdl->s64BodyPos = SvrTextTell(&stReader);
        TextSpan stText = {};
        int32_t s32Len = 0;
        const TextLine enLine = SvrTextReadLine(&stReader, &stText, &s32Len);
        SVR_RETURN_UNLESS(enLine != TEXT_LINE_FAILED, __func__, "null");
        if (enLine == TEXT_LINE_END || (enLine == TEXT_LINE_READ && !SmiTakeHeadLine(pstHdl, &stReader, stText))) {
            break;
        }
    }
    return 0;
}

static int SmiNodeCompare(const void *pvLeft, const void *pvRight) {
    return SvrIndexCompareLow(static_cast<const IndexNode *>(pvLeft)->s64StartPts,
                              static_cast<const IndexNode *>(pvRight)->s64StartPts);
}

// The distance between two times, as far as a duration holds it.
static uint32_t SmiDistance(int64_t s64Left, int64_t s64Right) {
    const uint64_t u64Left = static_cast<uint64_t>(s64Left);
    const uint64_t u64Right = static_cast<uint64_t>(s64Right);
    return static_cast<uint32_t>(s64Left > s64Right ? u64Left - u64Right : u64Right - u64Left);
}

// Adds a cue with the times of the sync tag last read. One without an end lasts until the next one in the file.
static int32_t SmiNodeSave(SmiDemuxerHdl *pstHdl, int64_t s64Offset) {
    const IndexNode stNode = {
        .s64StartPts = pstHdl->s64SyncStart,
        .s64Offset = s64Offset,
        .s32Size = 0,
        .u32Duration =
            pstHdl->s64SyncEnd != -1 ? SmiDistance(pstHdl->s64SyncEnd, pstHdl->s64SyncStart) : SUB_DURATION_UNKNOWN,
    };
    SVR_RETURN_UNLESS(
        SvrIndexAppend(&pstHdl->pstSmiIndexNodeList, &pstHdl->u32MaxIndexNum, &pstHdl->u32IndexNum, &stNode) == 0,
        __func__, "realloc smiIndexNodeList failuer");
    if (pstHdl->u32IndexNum > 1) {
        IndexNode *pstPrev = &pstHdl->pstSmiIndexNodeList[pstHdl->u32IndexNum - 2];
        pstPrev->u32Duration = pstPrev->u32Duration == SUB_DURATION_UNKNOWN
                                   ? SmiDistance(stNode.s64StartPts, pstPrev->s64StartPts)
                                   : pstPrev->u32Duration;
    }
    return 0;
}

// Whether the line opens a cue; its times are then in the handle.
static bool SmiMatchSync(SmiDemuxerHdl *pstHdl, TextSpan stText) {
    int32_t s32First = 0;
    return SmiMatchTag(stText, &s32First) == SMI_TAG_SYNC &&
           SmiGetPts(&pstHdl->s64SyncStart, &pstHdl->s64SyncEnd, SvrSpanFrom(stText, s32First));
}

// Indexes the lines from the current position on. 0 when they were read to their end.
static int32_t SmiNodeParse(SmiDemuxerHdl *pstHdl, void *hUrl, Protocol *pstProtocol) {
    TextReader stReader = SmiReaderOf(pstHdl, hUrl, pstProtocol);
    for (;;) {
        const int64_t s64Pos = SvrTextTell(&stReader);
        SVR_RETURN_UNLESS(!SvrSubSeekFailed(s64Pos), __func__, "seek fail!");
        SVR_RETURN_UNLESS(!SvrTextStopped(&pstHdl->stHead), __func__, "stop reading smi subtitle");
        TextSpan stText = {};
        int32_t s32Len = 0;
        const TextLine enLine = SvrTextReadLine(&stReader, &stText, &s32Len);
        if (enLine == TEXT_LINE_END) {
            return 0;
        }
        SVR_RETURN_UNLESS(enLine != TEXT_LINE_FAILED, __func__, "null");
        if (enLine == TEXT_LINE_READ && SmiMatchSync(pstHdl, stText)) {
            SVR_RETURN_UNLESS(SmiNodeSave(pstHdl, s64Pos) == 0, __func__, "null");
        }
    }
}

int32_t SmiParse(SmiDemuxerHdl *pstHdl, void *hUrl, Protocol *pstProtocol) {
    SVR_RETURN_UNLESS(pstHdl != nullptr && hUrl != nullptr && pstProtocol != nullptr, __func__, "invalid param");
    pstHdl->u32IndexNum = 0;
    pstHdl->bEndsAscend = 0;
    pstHdl->u32CurIndex = 0;
    SVR_RETURN_UNLESS(!SvrSubSeekFailed(pstProtocol->url_seek(hUrl, pstHdl->s64BodyPos, 0)), __func__,
                      "Seek SMI file failed!");
    if (SmiNodeParse(pstHdl, hUrl, pstProtocol) != 0) {
        SVR_LOG_RESULT(__func__, "null", -1);
    } else if (pstHdl->u32IndexNum > 0) {
        IndexNode *pstLast = &pstHdl->pstSmiIndexNodeList[pstHdl->u32IndexNum - 1];
        pstLast->u32Duration = pstLast->u32Duration == SUB_DURATION_UNKNOWN ? SMI_LAST_DURATION : pstLast->u32Duration;
    }
    pstHdl->bEndsAscend = SvrIndexFinish(pstHdl->pstSmiIndexNodeList, pstHdl->u32IndexNum, SmiNodeCompare);
    return 0;
}
