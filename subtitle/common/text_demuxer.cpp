// The operations that all text demuxers share.
#include "subtitle/common/text_demuxer.h"
#include "subtitle/common/transcode.h"

#include <cstdlib>
#include <cstring>

const char *SvrTextExtension(const char *pszUrl) {
    const char *pszDot = strrchr(pszUrl, '.');
    return pszDot != nullptr ? pszDot + 1 : nullptr;
}

int32_t SvrTextFind(const char *pszFunc, const FormatEntry *pstEntry, const char *pszUrl, int32_t s32FoundLevel,
                    const char *pszFound, const char *pszOther) {
    const char *pszExt = SvrTextExtension(pszUrl);
    if (pszExt == nullptr) {
        return -1;
    }
    switch (SvrListMatch(pstEntry->pszExtList, pszExt)) {
    case LIST_MATCH_INNER:
        SVR_LOG_RESULT(pszFunc, "find demuxer", 0);
        return 0;
    case LIST_MATCH_LAST:
        PlayerPrintf(s32FoundLevel, pszFunc, __LINE__, "%s", pszFound);
        return 0;
    case LIST_MATCH_NONE:
        break;
    }
    if (pszOther != nullptr) {
        PlayerPrintf(PLAYER_LOG_VERBOSE, pszFunc, __LINE__, "%s", pszOther);
    }
    return -1;
}

static int32_t TextOpenCheck(const char *pszFunc, const TextTraits *pstTraits, const char *pszUrl,
                             const Protocol *pstProtocol, void *const *phFmt) {
    SVR_RETURN_UNLESS(pszUrl != nullptr && pstProtocol != nullptr && phFmt != nullptr, pszFunc, pstTraits->pszInvalid);
    SVR_RETURN_UNLESS(pstProtocol->url_find != nullptr && pstProtocol->url_open != nullptr &&
                          pstProtocol->url_close != nullptr && pstProtocol->url_read != nullptr &&
                          pstProtocol->url_seek != nullptr,
                      pszFunc, pstTraits->pszOpenNoSlot);
    return 0;
}

void *SvrTextOpen(const char *pszFunc, const char *pszChkFunc, const TextTraits *pstTraits, const char *pszUrl,
                  Protocol *pstProtocol, void *const *phFmt) {
    if (TextOpenCheck(pszChkFunc, pstTraits, pszUrl, pstProtocol, phFmt) != 0) {
        return nullptr;
    }
    void *hUrl = nullptr;
    if (pstProtocol->url_open(pszUrl, 0, &hUrl) != 0) {
        SVR_LOG_RESULT(pszFunc, pstTraits->pszOpenRefused, -1);
        return nullptr;
    }
    TextHead *pstHead = static_cast<TextHead *>(PlayerMallocZ(pstTraits->u32HdlSize));
    if (pstHead == nullptr) {
        pstProtocol->url_close(hUrl);
        if (pstTraits->pszOpenNoMemory != nullptr) {
            SVR_LOG_RESULT(pszFunc, pstTraits->pszOpenNoMemory, -1);
        }
        return nullptr;
    }
    pstHead->hUrl = hUrl;
    pstHead->pstProtocol = pstProtocol;
    return pstHead;
}

int32_t SvrTextAddStreams(FileInfo *pstInfo, uint32_t u32Num) {
    if (PlayerRealloc1MoreProgram(pstInfo) != 0 || pstInfo->pastProgramInfo == nullptr) {
        return -1;
    }
    ProgramInfo *pstProgram = &pstInfo->pastProgramInfo[0];
    const bool bAdded = PlayerReallocNMoreStream(pstProgram, SUB_STREAM_KIND_SUBTITLE, u32Num) == 0;
    return bAdded && (u32Num == 0 || pstProgram->pastSubStream != nullptr) ? 0 : -1;
}

void SvrTextNameStream(const char *pszFunc, SubStreamInfo *pstStream, uint32_t u32Number, uint32_t u32Format,
                       const char *pszUrl) {
    pstStream->s32StreamIndex = SUB_STREAM_INDEX_BASE + static_cast<int32_t>(u32Number);
    pstStream->u32Flag = 1;
    pstStream->u32Format = u32Format;
    SVR_BOUNDED(pszFunc, memset_s(pstStream->aszUrl, sizeof(pstStream->aszUrl), 0, sizeof(pstStream->aszUrl)),
                "memset_s");
    SVR_BOUNDED(pszFunc, strncpy_s(pstStream->aszUrl, sizeof(pstStream->aszUrl), pszUrl, sizeof(pstStream->aszUrl) - 1),
                "strncpy_s");
}

int32_t SvrTextSkipMarks(const TextHead *pstHead, void *hUrl, Protocol *pstProtocol, uint32_t u32CodeType) {
    return SvrSubSkipHeader(hUrl, pstProtocol, pstHead->hCharset, pstHead->pstCharsetOps,
                            static_cast<int32_t>(u32CodeType));
}

int32_t SvrTextReadNode(const TextHead *pstHead, const IndexNode *pstNode, uint8_t *pu8Buf) {
    const int32_t s32Size = pstNode->s32Size;
    return s32Size >= 0 && pstHead->pstProtocol->url_read(pstHead->hUrl, pu8Buf, s32Size) >= s32Size ? 0 : -1;
}

SubStreamInfo *SvrTextDescribeStream(const char *pszFunc, const TextTraits *pstTraits, TextHead *pstHead,
                                     const char *pszUrl) {
    pstHead->stFileInfo.u32Reserved1 = 0;
    ProgramInfo *pstProgram = &pstHead->stFileInfo.pastProgramInfo[0];
    pstProgram->u32SubStreamNum = 1;
    SubStreamInfo *pstStream = &pstProgram->pastSubStream[0];
    SvrTextNameStream(pszFunc, pstStream, 0, pstTraits->u32Format, pszUrl);
    return pstStream;
}

int32_t SvrTextFindStreamChk(const char *pszFunc, const TextHead *pstHead) {
    SVR_RETURN_UNLESS(pstHead != nullptr && pstHead->pstProtocol != nullptr, pszFunc, "invalid param");
    SVR_RETURN_UNLESS(pstHead->pstProtocol->url_seek != nullptr, pszFunc, "url_seek is null");
    SVR_RETURN_UNLESS(pstHead->bFileOpen != 0 && pstHead->hUrl != nullptr, pszFunc, "invalid param");
    SVR_RETURN_UNLESS(pstHead->stFileInfo.pastProgramInfo != nullptr, pszFunc, "pastProgramInfo is null");
    return 0;
}

static void TextDestroyCharset(TextHead *pstHead) {
    if (pstHead->hCharset != nullptr) {
        pstHead->pfnCharsetDestroy(pstHead->hCharset);
        pstHead->hCharset = nullptr;
    }
}

void SvrTextCreateCharset(const char *pszFunc, const TextTraits *pstTraits, TextHead *pstHead) {
    const CharsetOps *pstOps = pstHead->pstCharsetOps;
    if (pstOps == nullptr || pstOps->create == nullptr || pstOps->destroy == nullptr) {
        return;
    }
    // A second find-stream would otherwise lose the first one's instance.
    TextDestroyCharset(pstHead);
    pstHead->pfnCharsetDestroy = pstOps->destroy;
    if (pstOps->create(&pstHead->hCharset, 0) != 0) {
        pstHead->hCharset = nullptr;
        PlayerPrintf(pstTraits->s32CreateFailedLevel, pszFunc, __LINE__, "Charset Create failed");
    }
}

uint32_t SvrTextIdentify(const char *pszFunc, const TextTraits *pstTraits, TextHead *pstHead) {
    return SvrTextIdentifyHinted(pszFunc, pstHead, pstTraits->pstEntry->s32CodeTypeHint, pstTraits->s32UnknownLevel);
}

uint32_t SvrTextIdentifyHinted(const char *pszFunc, TextHead *pstHead, int32_t s32Hint, int32_t s32UnknownLevel) {
    const int32_t s32CodeType =
        SvrSubIdentifyCodeType(pstHead->hUrl, pstHead->pstProtocol, pstHead->hCharset, pstHead->pstCharsetOps, s32Hint);
    if (s32CodeType == -1) {
        PlayerPrintf(s32UnknownLevel, pszFunc, __LINE__, "WARNING! Unknow CodeType!");
        return 0;
    }
    return static_cast<uint32_t>(s32CodeType);
}

bool SvrTextKeeps(const TextHead *pstHead) {
    return !SvrSubConverts(pstHead->hCharset, pstHead->pstCharsetOps) && pstHead->u32DstCodeType != SVR_TAB_CODETYPE;
}

// How many bytes to clear before the next conversion, when so many are known to have been written. A converter that
// stores in wide steps goes on behind the length it states; what is left there would pass for text of a later cue.
static uint32_t TextUsed(const uint8_t *pu8Text, int32_t s32Touched) {
    static constexpr uint8_t s_au8Clear[4] = {}; // no letter of any code type is longer
    const bool bRoom = s32Touched <= SVR_SUB_STR_OUT_MAX_LEN - static_cast<int32_t>(sizeof(s_au8Clear));
    const bool bMore = bRoom && memcmp(pu8Text + s32Touched, s_au8Clear, sizeof(s_au8Clear)) != 0;
    return static_cast<uint32_t>(bMore ? SVR_SUB_STR_OUT_MAX_LEN : s32Touched);
}

int32_t SvrTextTranscode(const TextHead *pstHead, uint32_t u32CodeType, const uint8_t *pu8In, int32_t s32InLen,
                         const TextBuf *pstBuf, int32_t *ps32OutLen) {
    SVR_BOUNDED(__func__, memset_s(pstBuf->pu8Text, SVR_SUB_STR_OUT_MAX_LEN, 0, *pstBuf->pu32Used), "memset_s");
    TranscodeLine stLine = {
        .pu8LineIn = pu8In,
        .pu8LineOut = pstBuf->pu8Text,
        .s32LineInSize = s32InLen,
        .s32LineOutSize = SVR_SUB_STR_OUT_MAX_LEN,
        .s32LineInUsed = 0,
    };
    int32_t s32Touched = 0;
    const int32_t s32Result =
        SvrSubTranscodeTouched(pstHead->hCharset, pstHead->pstCharsetOps, &stLine, static_cast<int32_t>(u32CodeType),
                               static_cast<int32_t>(pstHead->u32DstCodeType), &s32Touched);
    *pstBuf->pu32Used = TextUsed(pstBuf->pu8Text, s32Touched);
    *ps32OutLen = stLine.s32LineOutSize;
    return s32Result;
}

// Fills the buffer with the text itself, and clears what a longer one before it left behind.
static TextCue TextReadKept(const TextHead *pstHead, const IndexNode *pstNode, const TextBuf *pstBuf) {
    const uint32_t u32Len = static_cast<uint32_t>(pstNode->s32Size);
    const uint32_t u32Before = *pstBuf->pu32Used;
    *pstBuf->pu32Used = u32Before > u32Len ? u32Before : u32Len;
    if (SvrTextReadNode(pstHead, pstNode, pstBuf->pu8Text) != 0) {
        return TEXT_CUE_SHORT;
    }
    if (u32Before > u32Len) {
        memset(pstBuf->pu8Text + u32Len, 0, u32Before - u32Len);
    }
    *pstBuf->pu32Used = u32Len;
    return TEXT_CUE_READ;
}

TextCue SvrTextReadCue(const TextHead *pstHead, uint32_t u32CodeType, const IndexNode *pstNode, uint8_t *pu8Line,
                       const TextBuf *pstBuf, int32_t *ps32OutLen) {
    *ps32OutLen = pstNode->s32Size;
    if (pstNode->s32Size > 0 && SvrTextKeeps(pstHead)) {
        return TextReadKept(pstHead, pstNode, pstBuf);
    }
    if (SvrTextReadNode(pstHead, pstNode, pu8Line) != 0) {
        return TEXT_CUE_SHORT;
    }
    return SvrTextTranscode(pstHead, u32CodeType, pu8Line, pstNode->s32Size, pstBuf, ps32OutLen) == -1
               ? TEXT_CUE_UNCONVERTED
               : TEXT_CUE_READ;
}

void SvrTextFillFrame(FmtFrame *pstFrame, const IndexNode *pstNode) {
    SvrTextBeginFrame(pstFrame, 0, pstNode->s64StartPts, pstNode->u32Duration);
    pstFrame->s64Pos = pstNode->s64Offset;
}

int32_t SvrTextGetInfo(const char *pszFunc, const TextTraits *pstTraits, void *hFmt, FileInfo **ppstInfo) {
    TextHead *pstHead = static_cast<TextHead *>(hFmt);
    SVR_RETURN_UNLESS(pstHead != nullptr && ppstInfo != nullptr, pszFunc, pstTraits->pszInvalid);
    SVR_RETURN_UNLESS(pstHead->bFileOpen != 0, pszFunc, pstTraits->pszNotOpen);
    *ppstInfo = &pstHead->stFileInfo;
    return 0;
}

int32_t SvrTextFree(const char *pszFunc, const TextTraits *pstTraits, void *hFmt, FmtFrame *pstFrame) {
    const TextHead *pstHead = static_cast<const TextHead *>(hFmt);
    SVR_RETURN_UNLESS(pstHead != nullptr && pstFrame != nullptr, pszFunc, pstTraits->pszInvalid);
    SVR_RETURN_UNLESS(pstHead->bFileOpen != 0, pszFunc, pstTraits->pszNotOpen);
    SVR_BOUNDED(pszFunc, memset_s(pstFrame, sizeof(*pstFrame), 0, sizeof(*pstFrame)), "memset_s");
    return 0;
}

static int32_t TextSetSrcCodeType(const char *pszFunc, const TextTraits *pstTraits, TextHead *pstHead, void *pvArg) {
    SVR_RETURN_UNLESS(pvArg != nullptr, pszFunc, "invalid argument");
    uint32_t *pu32CodeType = pstTraits->pfnCodeType(pstHead);
    uint32_t *pu32Asked = static_cast<uint32_t *>(pvArg);
    if (*pu32Asked == *pu32CodeType) {
        return 0;
    }
    if (pstTraits->pfnSetSrcCodeType != nullptr) {
        return pstTraits->pfnSetSrcCodeType(pstHead, pu32Asked);
    }
    if (*pu32Asked == 0) {
        *pu32Asked = SvrTextIdentifyHinted(pszFunc, pstHead, pstTraits->pstEntry->s32CodeTypeHint, PLAYER_LOG_ERROR);
    }
    *pu32CodeType = *pu32Asked;
    if (pstTraits->pfnReindex(pstHead) == -1) {
        SVR_LOG_RESULT(pszFunc, pstTraits->pszReindexFailed, -1);
    }
    PlayerPrintf(pstTraits->s32ResetLevel, pszFunc, __LINE__, "Reset code type to: %d",
                 static_cast<int32_t>(*pu32Asked));
    return 0;
}

static int32_t TextSetDstCodeType(const char *pszFunc, TextHead *pstHead, const void *pvArg) {
    SVR_RETURN_UNLESS(pvArg != nullptr, pszFunc, "invalid argument");
    pstHead->u32DstCodeType = *static_cast<const uint32_t *>(pvArg);
    return 0;
}

static int32_t TextSetCharsetOps(const char *pszFunc, TextHead *pstHead, const void *pvArg) {
    const CharsetOps *pstOps = static_cast<const CharsetOps *>(pvArg);
    SVR_RETURN_UNLESS(pstOps != nullptr && pstOps->convert != nullptr && pstOps->create != nullptr &&
                          pstOps->destroy != nullptr && pstOps->getStreamType != nullptr &&
                          pstOps->getCodeType != nullptr && pstOps->reserved != nullptr,
                      pszFunc, "invalid argument");
    pstHead->pstCharsetOps = pstOps;
    return 0;
}

int32_t SvrTextInvoke(const char *pszFunc, const TextTraits *pstTraits, void *hFmt, int32_t s32Command, void *pvArg) {
    TextHead *pstHead = static_cast<TextHead *>(hFmt);
    SVR_RETURN_UNLESS(pstHead != nullptr && pstHead->hUrl != nullptr && pstHead->pstProtocol != nullptr, pszFunc,
                      "invalid param");
    switch (s32Command) {
    case INVOKE_STOP:
        __atomic_store_n(&pstHead->bStopParse, 1, __ATOMIC_RELAXED);
        return 0;
    case INVOKE_SET_SRC_CODETYPE:
        return TextSetSrcCodeType(pszFunc, pstTraits, pstHead, pvArg);
    case INVOKE_SET_DST_CODETYPE:
        return TextSetDstCodeType(pszFunc, pstHead, pvArg);
    case INVOKE_SET_CHARSET_OPS:
        return TextSetCharsetOps(pszFunc, pstHead, pvArg);
    default:
        return 0;
    }
}

void SvrTextRelease(const char *pszFunc, const TextTraits *pstTraits, TextHead *pstHead) {
    if (pstHead->hUrl != nullptr) {
        pstHead->pstProtocol->url_close(pstHead->hUrl);
    }
    TextDestroyCharset(pstHead);
    pstHead->pstCharsetOps = nullptr;
    PlayerFreeAllPrograms(&pstHead->stFileInfo);
    pstTraits->pfnFreeOwn(pstHead);
    SVR_BOUNDED(pszFunc, memset_s(pstHead, pstTraits->u32HdlSize, 0, pstTraits->u32HdlSize), "memset_s");
    free(pstHead);
}

int64_t SvrTextSeekPos(void *, int32_t, int64_t) {
    return -1;
}

int32_t SvrTextClose(const char *pszFunc, const TextTraits *pstTraits, void *hFmt) {
    TextHead *pstHead = static_cast<TextHead *>(hFmt);
    SVR_RETURN_UNLESS(pstHead != nullptr, pszFunc, "invalid param");
    SVR_RETURN_UNLESS(pstHead->pstProtocol != nullptr, pszFunc, pstTraits->pszCloseNoProtocol);
    SVR_RETURN_UNLESS(pstHead->pstProtocol->url_close != nullptr, pszFunc, pstTraits->pszCloseNoSlot);
    SvrTextRelease(pszFunc, pstTraits, pstHead);
    return 0;
}
