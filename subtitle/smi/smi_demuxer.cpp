// SAMI operations: one stream per language class. A read walks the cue's lines from its sync tag on, and gathers those
// of the paragraph that belongs to the selected class.
#include "subtitle/smi/smi_demuxer.h"

#include "platform/text/ascii.h"
#include "subtitle/common/line_reader.h"

#include <cstdlib>
#include <cstring>

// How far a cue has been read.
struct SmiCue {
    int32_t s32Paragraphs; // lines seen that begin with a paragraph
    int32_t s32Syncs;      // sync tags seen; the second one opens the next cue
};

// A read and what works for it log under the operation's name.
static const char s_aszRead[] = "SmiDemuxerRead";

static uint32_t *SmiCodeType(void *hFmt) {
    return &static_cast<SmiDemuxerHdl *>(hFmt)->u32CodeType;
}

static int32_t SmiReindex(void *hFmt) {
    SmiDemuxerHdl *pstHdl = static_cast<SmiDemuxerHdl *>(hFmt);
    return SmiParse(pstHdl, pstHdl->stHead.hUrl, pstHdl->stHead.pstProtocol);
}

static void SmiFreeOwn(void *hFmt) {
    free(static_cast<SmiDemuxerHdl *>(hFmt)->pstSmiIndexNodeList);
}

static constexpr TextTraits s_stSmiTraits = {
    .pstEntry = &g_smiDemuxer,
    .u32Format = SUB_STREAM_FORMAT_SMI,
    .u32HdlSize = sizeof(SmiDemuxerHdl),
    .s32CreateFailedLevel = PLAYER_LOG_ERROR,
    .s32UnknownLevel = PLAYER_LOG_WARNING,
    .s32ResetLevel = PLAYER_LOG_WARNING,
    .pszInvalid = "invalid param",
    .pszNotOpen = "file not open",
    .pszOpenNoSlot = "invalid param",
    .pszOpenRefused = "not support demuxer!",
    .pszCloseNoProtocol = "pstProtocol is null",
    .pszCloseNoSlot = "url_close is null",
    .pszReindexFailed = "SMI:reparse index failed!",
    .pfnCodeType = SmiCodeType,
    .pfnReindex = SmiReindex,
    .pfnFreeOwn = SmiFreeOwn,
};

static int32_t SmiDemuxerFind(const char *pszUrl, Protocol *) {
    SVR_RETURN_UNLESS(pszUrl != nullptr, __func__, "invalid param");
    const char *pszExt = SvrTextExtension(pszUrl);
    if (pszExt == nullptr) {
        return -1;
    }
    static const char s_aszLongExt[] = "sami";
    const size_t uLen = strlen(pszExt);
    if (!SvrCaseEqual(pszExt, uLen, g_smiDemuxer.pszExtList, strlen(g_smiDemuxer.pszExtList)) &&
        !SvrCaseEqual(pszExt, uLen, s_aszLongExt, sizeof(s_aszLongExt) - 1)) {
        return -1;
    }
    PlayerPrintf(PLAYER_LOG_WARNING, __func__, __LINE__, "use pellplayer smi demuxer!");
    return 0;
}

static int32_t SmiDemuxerOpen(const char *pszUrl, Protocol *pstProtocol, void **phFmt) {
    SmiDemuxerHdl *pstHdl =
        static_cast<SmiDemuxerHdl *>(SvrTextOpen(__func__, __func__, &s_stSmiTraits, pszUrl, pstProtocol, phFmt));
    if (pstHdl == nullptr) {
        return -1;
    }
    if (PlayerRealloc1MoreProgram(&pstHdl->stHead.stFileInfo) != 0) {
        SvrTextRelease(__func__, &s_stSmiTraits, &pstHdl->stHead);
        return -1;
    }
    *phFmt = pstHdl;
    pstHdl->stHead.bFileOpen = 1;
    return 0;
}

// Adds a program and streams each time, and describes the classes in the first ones; the others stay unused. 0 or -1.
static int32_t SmiSetFileInfo(SmiDemuxerHdl *pstHdl) {
    FileInfo *pstInfo = &pstHdl->stHead.stFileInfo;
    pstHdl->s32ClassNum = pstHdl->s32ClassNum == 0 ? 1 : pstHdl->s32ClassNum;
    const uint32_t u32ClassNum = static_cast<uint32_t>(pstHdl->s32ClassNum);
    if (SvrTextAddStreams(pstInfo, u32ClassNum) != 0) {
        return -1;
    }
    ProgramInfo *pstProgram = &pstInfo->pastProgramInfo[0];
    pstInfo->u32Reserved1 = 0;
    pstProgram->u32SubStreamNum = u32ClassNum;
    for (int32_t i = 0; i < pstHdl->s32ClassNum; i++) {
        SubStreamInfo *pstStream = &pstProgram->pastSubStream[i];
        pstStream->s32StreamIndex = SUB_STREAM_INDEX_BASE + i;
        pstStream->u32Format = SUB_STREAM_FORMAT_SMI;
        pstStream->u32CodeType = pstHdl->u32CodeType;
        pstStream->u32Flag = 1;
        SVR_BOUNDED(
            __func__,
            strncpy_s(pstStream->aszLang, SMI_CLASS_TEXT_SIZE, pstHdl->aszClassLang[i], SMI_CLASS_TEXT_SIZE - 1),
            "strncpy_s");
        SVR_BOUNDED(
            __func__,
            strncpy_s(pstStream->aszTitle, SMI_CLASS_TEXT_SIZE, pstHdl->aszClassName[i], SMI_CLASS_TEXT_SIZE - 1),
            "strncpy_s");
    }
    return 0;
}

static int32_t SmiDemuxerFindStream(void *hFmt, int32_t) {
    SmiDemuxerHdl *pstHdl = static_cast<SmiDemuxerHdl *>(hFmt);
    TextHead *pstHead = static_cast<TextHead *>(hFmt);
    if (SvrTextFindStreamChk(__func__, pstHead) != 0) {
        return -1;
    }
    SvrTextCreateCharset(__func__, &s_stSmiTraits, pstHead);
    pstHdl->u32CodeType = SvrTextIdentify(__func__, &s_stSmiTraits, pstHead);
    if (SmiSkipHead(pstHdl) != 0) {
        return -1;
    }
    SVR_RETURN_UNLESS(SmiSetFileInfo(pstHdl) == 0, __func__, " get file info failed!");
    SVR_RETURN_UNLESS(SmiParse(pstHdl, pstHead->hUrl, pstHead->pstProtocol) == 0, __func__, "_SMI_PARSE failed!");
    pstHead->pstProtocol->url_seek(pstHead->hUrl, 0, 0);
    return 0;
}

static int32_t SmiDemuxerGetInfo(void *hFmt, FileInfo **ppstInfo) {
    return SvrTextGetInfo(__func__, &s_stSmiTraits, hFmt, ppstInfo);
}

// Passes the tags that the text begins with, the first of which is enTag, and counts sync tags. A tag that is not
// closed takes the rest of its line with it. The place where text begins, or -1 when the next cue does.
static int32_t SmiSkipTags(SmiCue *pstCue, TextSpan stText, SmiTag enTag) {
    int32_t s32Pos = 0;
    int32_t s32First = 0;
    while (enTag != SMI_TAG_NBSP && enTag != SMI_TAG_NONE) {
        s32Pos += s32First;
        if (enTag < SMI_TAG_NBSP) {
            s32Pos += static_cast<int32_t>(strlen(SMI_INFOMATCH[enTag]));
        } else {
            const TextSpan stTag = SvrSpanFrom(stText, s32Pos);
            if (enTag == SMI_TAG_SYNC && SmiHasStart(stTag) && ++pstCue->s32Syncs == 2) {
                return -1;
            }
            const uint8_t *pu8Close = SvrFindByte(stTag.pu8Text, SvrSpanEnd(stTag), '>');
            s32Pos = pu8Close != nullptr ? static_cast<int32_t>(pu8Close - stText.pu8Text) + 1 : stText.s32Len;
        }
        enTag = SmiMatchTag(SvrSpanFrom(stText, s32Pos), &s32First);
    }
    return s32Pos;
}

static bool SmiHas(const uint8_t *pu8Text, const uint8_t *pu8End, const char *pszWord, ptrdiff_t sWordLen) {
    return pu8End - pu8Text >= sWordLen && memcmp(pu8Text, pszWord, static_cast<size_t>(sWordLen)) == 0;
}

// How many bytes of the text a line break or hard space takes that it begins with, and what becomes of it; any other
// character is itself.
static int32_t SmiMatchBreak(const uint8_t *pu8Text, const uint8_t *pu8End, uint8_t *pu8Becomes) {
    if (SmiHas(pu8Text, pu8End, "<br>", 4) || SmiHas(pu8Text, pu8End, "<BR>", 4)) {
        *pu8Becomes = '\n';
        return 4;
    }
    const bool bSpace = SmiHas(pu8Text, pu8End, "&nbsp;", 6);
    *pu8Becomes = bSpace ? ' ' : *pu8Text;
    return bSpace ? 6 : 1;
}

// The next such character, or the end.
static const uint8_t *SmiNext(const uint8_t *pu8Text, const uint8_t *pu8End, uint8_t u8Char) {
    const uint8_t *pu8Found = SvrFindByte(pu8Text, pu8End, u8Char);
    return pu8Found != nullptr ? pu8Found : pu8End;
}

// Copies text with its line breaks and hard spaces resolved; what is written for them begins no new one. Returns the
// length, which is not more than that of the text.
static uint32_t SmiGetDisplayData(TextSpan stText, uint8_t *pu8Out) {
    const uint8_t *pu8Text = stText.pu8Text;
    const uint8_t *pu8End = SvrSpanEnd(stText);
    const uint8_t *pu8Tag = SmiNext(pu8Text, pu8End, '<');
    const uint8_t *pu8Entity = SmiNext(pu8Text, pu8End, '&');
    uint8_t *pu8To = pu8Out;
    for (;;) {
        const uint8_t *pu8Stop = pu8Tag < pu8Entity ? pu8Tag : pu8Entity;
        memcpy(pu8To, pu8Text, static_cast<size_t>(pu8Stop - pu8Text));
        pu8To += pu8Stop - pu8Text;
        if (pu8Stop == pu8End) {
            return static_cast<uint32_t>(pu8To - pu8Out);
        }
        pu8Text = pu8Stop + SmiMatchBreak(pu8Stop, pu8End, pu8To++);
        pu8Tag = pu8Tag < pu8Text ? SmiNext(pu8Text, pu8End, '<') : pu8Tag;
        pu8Entity = pu8Entity < pu8Text ? SmiNext(pu8Text, pu8End, '&') : pu8Entity;
    }
}

// Adds text to the frame's, when both fit into the buffer as they are. Text that fills it to the last byte loses that
// byte to the terminator.
static void SmiAppend(SmiDemuxerHdl *pstHdl, TextSpan stText) {
    if (static_cast<int64_t>(pstHdl->u32SubBuffSize) + stText.s32Len > SVR_SUB_STR_IN_MAX_LEN) {
        PlayerPrintf(PLAYER_LOG_WARNING, s_aszRead, __LINE__, "SVR_SUB_STR_IN_MAX_LEN <= s32SubBuffSize");
        return;
    }
    const uint32_t u32Room = SVR_SUB_STR_IN_MAX_LEN - pstHdl->u32SubBuffSize;
    uint8_t *pu8To = pstHdl->au8DisplayBuf + pstHdl->u32SubBuffSize;
    uint32_t u32Len = SmiGetDisplayData(stText, pu8To);
    if (u32Len == u32Room) {
        pu8To[--u32Len] = '\0';
    }
    pstHdl->u32SubBuffSize += u32Len;
}

// Takes from a line what belongs to the selected class. False when the cue is over.
static bool SmiTakeLine(SmiDemuxerHdl *pstHdl, SmiCue *pstCue, TextSpan stText) {
    int32_t s32First = 0;
    const SmiTag enTag = SmiMatchTag(stText, &s32First);
    if (enTag == SMI_TAG_P_CLASS) {
        if (pstCue->s32Paragraphs > pstHdl->s32CurClass) {
            return false;
        }
        pstCue->s32Paragraphs++;
    }
    stText = SvrSpanFrom(stText, s32First);
    const int32_t s32Pos = SmiSkipTags(pstCue, stText, enTag);
    if (s32Pos == -1) {
        return false;
    }
    if (s32Pos < stText.s32Len && (pstHdl->s32ClassNum == 1 || pstHdl->s32CurClass == pstCue->s32Paragraphs - 1)) {
        SmiAppend(pstHdl, SvrSpanFrom(stText, s32Pos));
    }
    return true;
}

// Gathers the text of the cue at the current position. 0 or -1.
static int32_t SmiGetNode(SmiDemuxerHdl *pstHdl) {
    const TextHead *pstHead = &pstHdl->stHead;
    SVR_BOUNDED(s_aszRead, memset_s(pstHdl->au8DisplayBuf, sizeof(pstHdl->au8DisplayBuf), 0, pstHdl->u32SubBuffSize),
                "memset_s");
    pstHdl->u32SubBuffSize = 0;
    SmiCue stCue = {};
    TextReader stReader = SmiReaderOf(pstHdl, pstHead->hUrl, pstHead->pstProtocol);
    for (;;) {
        SVR_RETURN_UNLESS(!SvrTextStopped(pstHead), s_aszRead, "stop reading smi subtitle");
        TextSpan stText = {};
        int32_t s32Len = 0;
        const TextLine enLine = SvrTextReadLine(&stReader, &stText, &s32Len);
        SVR_RETURN_UNLESS(enLine != TEXT_LINE_FAILED, s_aszRead, "null");
        if (enLine == TEXT_LINE_END || (enLine == TEXT_LINE_READ && !SmiTakeLine(pstHdl, &stCue, stText))) {
            break;
        }
    }
    PlayerPrintf(PLAYER_LOG_VERBOSE, s_aszRead, __LINE__, "SmiGetDispalyData:%s",
                 reinterpret_cast<const char *>(pstHdl->au8DisplayBuf));
    return 0;
}

static void SmiFillFrame(SmiDemuxerHdl *pstHdl, const IndexNode *pstNode, FmtFrame *pstFrame) {
    SvrTextBeginFrame(pstFrame, pstHdl->s32CurClass, pstNode->s64StartPts, pstNode->u32Duration);
    pstFrame->u32DataLen = pstHdl->u32SubBuffSize;
    pstFrame->pu8Data = pstHdl->au8DisplayBuf;
    pstFrame->u32FrameRate = static_cast<uint32_t>(pstNode->s64Offset);
}

static int32_t SmiDemuxerRead(void *hFmt, FmtFrame *pstFrame) {
    SmiDemuxerHdl *pstHdl = static_cast<SmiDemuxerHdl *>(hFmt);
    SVR_RETURN_UNLESS(pstHdl != nullptr && pstFrame != nullptr, s_aszRead, "invalid param");
    SVR_RETURN_UNLESS(pstHdl->stHead.bFileOpen != 0, s_aszRead, "file not open");
    if (pstHdl->u32CurIndex >= pstHdl->u32IndexNum) {
        return -2;
    }
    const IndexNode *pstNode = &pstHdl->pstSmiIndexNodeList[pstHdl->u32CurIndex++];
    const TextHead *pstHead = &pstHdl->stHead;
    SVR_RETURN_UNLESS(pstHead->hUrl != nullptr && pstHead->pstProtocol != nullptr, s_aszRead, "invalid param!");
    if (SvrSubSeekFailed(pstHead->pstProtocol->url_seek(pstHead->hUrl, pstNode->s64Offset, 0))) {
        PlayerPrintf(PLAYER_LOG_WARNING, s_aszRead, __LINE__, "seek to s64Offset failed!");
        return -1;
    }
    if (SmiGetNode(pstHdl) != 0) {
        return -1;
    }
    SmiFillFrame(pstHdl, pstNode, pstFrame);
    return 0;
}

static int32_t SmiDemuxerFree(void *hFmt, FmtFrame *pstFrame) {
    return SvrTextFree(__func__, &s_stSmiTraits, hFmt, pstFrame);
}

static int32_t SmiDemuxerInvoke(void *hFmt, int32_t s32Command, void *pvArg) {
    return SvrTextInvoke(__func__, &s_stSmiTraits, hFmt, s32Command, pvArg);
}

static int32_t SmiDemuxerSeekPts(void *hFmt, int32_t s32StreamIndex, int64_t s64Pts) {
    SmiDemuxerHdl *pstHdl = static_cast<SmiDemuxerHdl *>(hFmt);
    SVR_RETURN_UNLESS(pstHdl != nullptr, __func__, "invalid param");
    SVR_RETURN_UNLESS(pstHdl->stHead.bFileOpen != 0, __func__, "file not open");
    SVR_RETURN_UNLESS(pstHdl->u32IndexNum != 0, __func__, "smi node num is 0");
    SVR_RETURN_UNLESS(pstHdl->pstSmiIndexNodeList != nullptr, __func__, "pstSmiIndexNodeList is null");
    SVR_RETURN_UNLESS(pstHdl->stHead.pstProtocol != nullptr, __func__, "pstProtocol is null");
    SVR_RETURN_UNLESS(pstHdl->stHead.pstProtocol->url_seek != nullptr, __func__, "url_seek is null");
    SVR_RETURN_UNLESS(s32StreamIndex >= SUB_STREAM_INDEX_BASE &&
                          s32StreamIndex < SUB_STREAM_INDEX_BASE + pstHdl->s32ClassNum,
                      __func__, "streamIndex error");
    // The class is selected even where the time is not found.
    pstHdl->s32CurClass = s32StreamIndex - SUB_STREAM_INDEX_BASE;
    return SvrIndexSeek(pstHdl->pstSmiIndexNodeList, pstHdl->u32IndexNum, s64Pts, pstHdl->bEndsAscend != 0,
                        &pstHdl->u32CurIndex);
}

static int32_t SmiDemuxerClose(void *hFmt) {
    return SvrTextClose(__func__, &s_stSmiTraits, hFmt);
}

constinit FormatEntry g_smiDemuxer = {
    .pszLibName = "libpell_demuxer.so",
    .pszExtList = "smi",
    .pszProtocolList = "",
    .u32Version = 0x01000001,
    .pszDescription = "pellplayer demuxer",
    .fmt_find = SmiDemuxerFind,
    .fmt_open = SmiDemuxerOpen,
    .fmt_find_stream = SmiDemuxerFindStream,
    .fmt_get_info = SmiDemuxerGetInfo,
    .fmt_read = SmiDemuxerRead,
    .fmt_free = SmiDemuxerFree,
    .fmt_invoke = SmiDemuxerInvoke,
    .fmt_seek_pts = SmiDemuxerSeekPts,
    .fmt_seek_pos = SvrTextSeekPos,
    .fmt_close = SmiDemuxerClose,
};
