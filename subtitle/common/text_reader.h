// Lines of a text file for the index builders: read, and converted where a converter is at work. A line that lies whole
// in our own file protocol's window, and needs no conversion, is shown where it stands.
#pragma once

#include "protocol/file_window.h"
#include "subtitle/common/text_demuxer.h"

enum TextLine { TEXT_LINE_READ, TEXT_LINE_EMPTY, TEXT_LINE_END, TEXT_LINE_FAILED };

// Made afresh after every seek; while it is used, the position is nobody else's to move.
struct TextReader {
    void *hUrl;
    Protocol *pstProtocol;
    const TextHead *pstHead;
    uint32_t u32CodeType;
    uint8_t *pu8Line;       // SVR_SUB_STR_IN_MAX_LEN bytes, for lines that cannot be shown where they stand
    TextBuf stBuf;          // for converted lines
    bool bAsks;             // the quick way is not always open: line types are asked for, or no window
    bool bShown;            // no line needs a conversion
    SvrFileHandle *pstFile; // the window, or null where every line is read
    const uint8_t *pu8Cr;   // the next carriage return, or how far none was found
};

TextReader SvrTextReaderOf(const TextHead *pstHead, void *hUrl, Protocol *pstProtocol, uint32_t u32CodeType,
                           uint8_t *pu8Line, TextBuf stBuf);

// The line is not whole in the window, or is one that only the full reader understands.
constexpr int32_t TEXT_NOT_QUICK = -2;

// The slower ways of the functions below.
int32_t SvrTextReadRawSlow(TextReader *pstReader, int32_t s32StreamType, TextSpan *pstLine);
int32_t SvrTextReadRawAsking(TextReader *pstReader, TextSpan *pstLine);
TextLine SvrTextConvertLine(TextReader *pstReader, TextSpan stLine, TextSpan *pstText);

// The first carriage return from the read position on, or a place from pu8Far on that none comes before.
const uint8_t *SvrTextLookForCr(const SvrFileHandle *pstFile, const uint8_t *pu8Far);

// A line that ends in the window with a line feed, and has no carriage return but one before that. A line that would
// fill the line buffer has a message of its own.
inline int32_t SvrTextReadRawQuick(TextReader *pstReader, TextSpan *pstLine) {
    SvrFileHandle *pstFile = pstReader->pstFile;
    const uint8_t *pu8Cur = SvrFileWindowCur(pstFile);
    const size_t uWindow = static_cast<size_t>(SvrFileWindowEnd(pstFile) - pu8Cur);
    if (uWindow > 0 && *pu8Cur == '\n') {
        SvrFileWindowAdvance(pstFile, 1);
        return 0;
    }
    const size_t uLook = uWindow < SVR_SUB_STR_IN_MAX_LEN - 1 ? uWindow : SVR_SUB_STR_IN_MAX_LEN - 1;
    const uint8_t *pu8Lf = static_cast<const uint8_t *>(memchr(pu8Cur, '\n', uLook));
    if (pu8Lf == nullptr) {
        return TEXT_NOT_QUICK;
    }
    if (pstReader->pu8Cr < pu8Lf && (pstReader->pu8Cr < pu8Cur || *pstReader->pu8Cr != '\r')) {
        pstReader->pu8Cr = SvrTextLookForCr(pstFile, pu8Lf);
    }
    int32_t s32Len = static_cast<int32_t>(pu8Lf - pu8Cur);
    *pstLine = {pu8Cur, s32Len + 1};
    if (pstReader->pu8Cr < pu8Lf) {
        if (pstReader->pu8Cr != pu8Lf - 1) {
            return TEXT_NOT_QUICK;
        }
        s32Len--;
        memcpy(pstReader->pu8Line, pu8Cur, static_cast<size_t>(s32Len));
        pstReader->pu8Line[s32Len] = '\n';
        *pstLine = {pstReader->pu8Line, s32Len + 1};
    }
    SvrFileWindowAdvance(pstFile, static_cast<int32_t>(pu8Lf + 1 - pu8Cur));
    return s32Len > 0 ? s32Len + 1 : 0;
}

// As SvrSubReadLine; the line is valid until the next one is read.
inline int32_t SvrTextReadRaw(TextReader *pstReader, TextSpan *pstLine) {
    if (pstReader->bAsks) {
        return SvrTextReadRawAsking(pstReader, pstLine);
    }
    const int32_t s32Quick = SvrTextReadRawQuick(pstReader, pstLine);
    return s32Quick != TEXT_NOT_QUICK ? s32Quick : SvrTextReadRawSlow(pstReader, STREAM_TYPE_SINGLE_BYTE, pstLine);
}

// The text of a line that was read, converted where it needs that: read, or failed.
inline TextLine SvrTextConvert(TextReader *pstReader, TextSpan *pstText) {
    return pstReader->bShown ? TEXT_LINE_READ : SvrTextConvertLine(pstReader, *pstText, pstText);
}

// Reads a line and converts it. The text, and the raw line's length, are valid until the next one. Empty: there is
// nothing in it. Failed: it could not be converted.
inline TextLine SvrTextReadLine(TextReader *pstReader, TextSpan *pstText, int32_t *ps32RawLen) {
    *ps32RawLen = SvrTextReadRaw(pstReader, pstText);
    if (*ps32RawLen <= 0) {
        return *ps32RawLen < 0 ? TEXT_LINE_END : TEXT_LINE_EMPTY;
    }
    return SvrTextConvert(pstReader, pstText);
}

// Where the next line begins, as url_seek tells it.
inline int64_t SvrTextTell(const TextReader *pstReader) {
    return pstReader->pstFile != nullptr ? SvrFileWindowPos(pstReader->pstFile)
                                         : pstReader->pstProtocol->url_seek(pstReader->hUrl, 0, 1);
}
