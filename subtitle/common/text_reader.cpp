// Lines of a text file, as quickly as the window allows.
#include "subtitle/common/text_reader.h"
#include "subtitle/common/line_reader.h"
#include "subtitle/common/transcode.h"

TextReader SvrTextReaderOf(const TextHead *pstHead, void *hUrl, Protocol *pstProtocol, uint32_t u32CodeType,
                           uint8_t *pu8Line, TextBuf stBuf) {
    const CharsetOps *pstOps = pstHead->pstCharsetOps;
    SvrFileHandle *pstFile = pu8Line != nullptr ? SvrFileWindowOf(pstProtocol, hUrl) : nullptr;
    return {
        .hUrl = hUrl,
        .pstProtocol = pstProtocol,
        .pstHead = pstHead,
        .u32CodeType = u32CodeType,
        .pu8Line = pu8Line,
        .stBuf = stBuf,
        .bAsks = pstFile == nullptr || (pstOps != nullptr && pstOps->getStreamType != nullptr),
        .bShown = SvrTextKeeps(pstHead),
        .pstFile = pstFile,
        .pu8Cr = pstFile != nullptr ? SvrFileWindowCur(pstFile) : nullptr,
    };
}

// Looking further than the line saves a look at each of the next ones.
constexpr ptrdiff_t READER_CR_LOOK = 256;

const uint8_t *SvrTextLookForCr(const SvrFileHandle *pstFile, const uint8_t *pu8Far) {
    const uint8_t *pu8Cur = SvrFileWindowCur(pstFile);
    pu8Far = SvrFileWindowEnd(pstFile) - pu8Far < READER_CR_LOOK ? SvrFileWindowEnd(pstFile) : pu8Far + READER_CR_LOOK;
    const uint8_t *pu8Cr = SvrFindByte(pu8Cur, pu8Far, '\r');
    return pu8Cr != nullptr ? pu8Cr : pu8Far;
}

int32_t SvrTextReadRawSlow(TextReader *pstReader, int32_t s32StreamType, TextSpan *pstLine) {
    const int32_t s32Len = SvrSubReadLineOf(pstReader->pu8Line, pstReader->hUrl, pstReader->pstProtocol, s32StreamType);
    // The window may have been filled anew.
    pstReader->pu8Cr = pstReader->pstFile != nullptr ? SvrFileWindowCur(pstReader->pstFile) : nullptr;
    *pstLine = {pstReader->pu8Line, s32Len};
    return s32Len;
}

int32_t SvrTextReadRawAsking(TextReader *pstReader, TextSpan *pstLine) {
    if (pstReader->pstFile == nullptr) {
        const int32_t s32Len =
            SvrSubReadLine(pstReader->pu8Line, pstReader->hUrl, pstReader->pstProtocol,
                           pstReader->pstHead->pstCharsetOps, static_cast<int32_t>(pstReader->u32CodeType));
        *pstLine = {pstReader->pu8Line, s32Len};
        return s32Len;
    }
    int32_t s32StreamType = 0;
    if (SvrSubStreamType(pstReader->pstHead->pstCharsetOps, static_cast<int32_t>(pstReader->u32CodeType),
                         &s32StreamType) != 0) {
        return -1;
    }
    if (s32StreamType != STREAM_TYPE_UTF16LE && s32StreamType != STREAM_TYPE_UTF16BE) {
        const int32_t s32Quick = SvrTextReadRawQuick(pstReader, pstLine);
        return s32Quick != TEXT_NOT_QUICK ? s32Quick : SvrTextReadRawSlow(pstReader, s32StreamType, pstLine);
    }
    pstLine->s32Len = SvrSubShowUtf16(pstReader->pstFile, s32StreamType, &pstLine->pu8Text);
    return pstLine->s32Len > 0 ? pstLine->s32Len : SvrTextReadRawSlow(pstReader, s32StreamType, pstLine);
}

TextLine SvrTextConvertLine(TextReader *pstReader, TextSpan stLine, TextSpan *pstText) {
    const TextHead *pstHead = pstReader->pstHead;
    if (SvrSubTranscodeKeeps(pstHead->hCharset, pstHead->pstCharsetOps, stLine.pu8Text, stLine.s32Len,
                             static_cast<int32_t>(pstHead->u32DstCodeType))) {
        *pstText = stLine;
        return TEXT_LINE_READ;
    }
    pstText->pu8Text = pstReader->stBuf.pu8Text;
    return SvrTextTranscode(pstHead, pstReader->u32CodeType, stLine.pu8Text, stLine.s32Len, &pstReader->stBuf,
                            &pstText->s32Len) == -1
               ? TEXT_LINE_FAILED
               : TEXT_LINE_READ;
}
