// Byte-order marks and lines. A line comes byte by byte from a foreign protocol; from our own file protocol the bytes
// are taken out of the cached window as far as it goes. Both ways give the same lines, positions and results.
#include "subtitle/common/line_reader.h"
#include "platform/check.h"
#include "platform/text/ascii.h"
#include "protocol/file_window.h"

#include <cstring>

constexpr int32_t LINE_MAX_LEN = SVR_SUB_STR_IN_MAX_LEN;

enum LineByteOrder { LINE_LITTLE_ENDIAN, LINE_BIG_ENDIAN };

// Where bytes come from.
struct LineSource {
    void *hUrl;
    const Protocol *pstProtocol;
    SvrFileHandle *pstFile; // the window, or null for a foreign protocol
};

// A line being gathered: bytes beyond the limit are dropped.
struct LineSink {
    uint8_t *pu8Line;
    int32_t s32Len;
};

static inline bool LineReadByte(const LineSource *pstSource, uint8_t *pu8Byte) {
    SvrFileHandle *pstFile = pstSource->pstFile;
    if (pstFile != nullptr && SvrFileWindowCur(pstFile) < SvrFileWindowEnd(pstFile)) {
        *pu8Byte = *SvrFileWindowCur(pstFile);
        SvrFileWindowAdvance(pstFile, 1);
        return true;
    }
    return pstSource->pstProtocol->url_read(pstSource->hUrl, pu8Byte, 1) == 1;
}

static bool LineStepBack(const LineSource *pstSource) {
    return !SvrSubSeekFailed(pstSource->pstProtocol->url_seek(pstSource->hUrl, -1, 1));
}

static inline void LineAppend(LineSink *pstSink, uint8_t u8Byte) {
    if (pstSink->s32Len < LINE_MAX_LEN) {
        pstSink->pu8Line[pstSink->s32Len++] = u8Byte;
    }
}

// A line feed that ends a line is stored only behind text.
static inline void LineAppendEnd(LineSink *pstSink) {
    if (pstSink->s32Len > 0) {
        LineAppend(pstSink, '\n');
    }
}

// What has been gathered when the data ends.
static int32_t LineAtDataEnd(const LineSink *pstSink) {
    return pstSink->s32Len == 0 ? -1 : pstSink->s32Len;
}

// A carriage return that ended the line on its own: the byte after it belongs to the next line.
static int32_t LineEndAtCr(const LineSource *pstSource, LineSink *pstSink) {
    LineAppendEnd(pstSink);
    return LineStepBack(pstSource) ? pstSink->s32Len : -1;
}

// After two carriage returns: with a line feed behind them they store two line ends and leave the line feed unread.
static int32_t LineAfterTwoCr(const LineSource *pstSource, LineSink *pstSink) {
    uint8_t u8Byte = 0;
    if (!LineReadByte(pstSource, &u8Byte)) {
        return pstSink->s32Len == 0 ? -1 : LineEndAtCr(pstSource, pstSink);
    }
    if (u8Byte == '\n' && pstSink->s32Len >= 1 && pstSink->s32Len < LINE_MAX_LEN) {
        LineAppend(pstSink, '\n');
    } else if (!LineStepBack(pstSource)) {
        return -1;
    }
    return LineEndAtCr(pstSource, pstSink);
}

static int32_t LineAfterCr(const LineSource *pstSource, LineSink *pstSink) {
    uint8_t u8Byte = 0;
    if (!LineReadByte(pstSource, &u8Byte)) {
        return LineAtDataEnd(pstSink);
    }
    if (u8Byte == '\n') {
        LineAppendEnd(pstSink);
        return pstSink->s32Len;
    }
    return u8Byte == '\r' ? LineAfterTwoCr(pstSource, pstSink) : LineEndAtCr(pstSource, pstSink);
}

static int32_t LineReadSingle(const LineSource *pstSource, LineSink *pstSink) {
    uint8_t u8Byte = 0;
    while (LineReadByte(pstSource, &u8Byte)) {
        if (u8Byte == '\n') {
            LineAppendEnd(pstSink);
            return pstSink->s32Len;
        }
        if (u8Byte == '\r') {
            return LineAfterCr(pstSource, pstSink);
        }
        LineAppend(pstSink, u8Byte);
    }
    return LineAtDataEnd(pstSink);
}

static bool LineReadPair(const LineSource *pstSource, uint8_t *pu8Pair) {
    return LineReadByte(pstSource, &pu8Pair[0]) && LineReadByte(pstSource, &pu8Pair[1]);
}

static bool LineIsUnit(const uint8_t *pu8Pair, LineByteOrder enOrder, uint8_t u8Code) {
    return enOrder == LINE_LITTLE_ENDIAN ? pu8Pair[0] == u8Code && pu8Pair[1] == 0
                                         : pu8Pair[1] == u8Code && pu8Pair[0] == 0;
}

static void LineAppendPair(LineSink *pstSink, const uint8_t *pu8Pair) {
    LineAppend(pstSink, pu8Pair[0]);
    LineAppend(pstSink, pu8Pair[1]);
}

static int32_t LineReadUtf16(const LineSource *pstSource, LineSink *pstSink, LineByteOrder enOrder) {
    uint8_t au8Pair[2];
    while (LineReadPair(pstSource, au8Pair)) {
        if (LineIsUnit(au8Pair, enOrder, '\n')) {
            if (pstSink->s32Len > 0 && pstSink->s32Len <= LINE_MAX_LEN - 2) {
                LineAppendPair(pstSink, au8Pair);
            }
            return pstSink->s32Len;
        }
        if (!LineIsUnit(au8Pair, enOrder, '\r')) {
            if (pstSink->s32Len <= LINE_MAX_LEN - 2) {
                LineAppendPair(pstSink, au8Pair);
            }
            continue;
        }
        // A carriage return is kept together with the pair behind it, whatever that is, or both are dropped.
        uint8_t au8Next[2];
        if (!LineReadPair(pstSource, au8Next)) {
            break;
        }
        if (pstSink->s32Len > 0 && pstSink->s32Len < LINE_MAX_LEN - 3) {
            LineAppendPair(pstSink, au8Pair);
            LineAppendPair(pstSink, au8Next);
        }
        if (LineIsUnit(au8Next, enOrder, '\n')) {
            return pstSink->s32Len;
        }
    }
    return LineAtDataEnd(pstSink);
}

// The offset of a UTF-16 code below 256 in a span of whole pairs, or -1.
static int32_t LineFindUnit(const uint8_t *pu8Text, int32_t s32Len, LineByteOrder enOrder, uint8_t u8Code) {
    const uint8_t *pu8End = pu8Text + s32Len;
    const uint8_t *pu8 = pu8Text;
    while (pu8 < pu8End) {
        pu8 = SvrFindByte(pu8, pu8End, u8Code);
        if (pu8 == nullptr) {
            break;
        }
        const int32_t s32Pair = static_cast<int32_t>(pu8 - pu8Text) & ~1;
        if (LineIsUnit(pu8Text + s32Pair, enOrder, u8Code)) {
            return s32Pair;
        }
        pu8++;
    }
    return -1;
}

int32_t SvrSubShowUtf16(SvrFileHandle *pstFile, int32_t s32StreamType, const uint8_t **ppu8Line) {
    const LineByteOrder enOrder = s32StreamType == STREAM_TYPE_UTF16BE ? LINE_BIG_ENDIAN : LINE_LITTLE_ENDIAN;
    const uint8_t *pu8Cur = SvrFileWindowCur(pstFile);
    const ptrdiff_t sWindow = SvrFileWindowEnd(pstFile) - pu8Cur;
    // A line that fills the buffer has a message of its own.
    const int32_t s32Look = sWindow < LINE_MAX_LEN - 2 ? static_cast<int32_t>(sWindow) & ~1 : LINE_MAX_LEN - 2;
    const int32_t s32Lf = LineFindUnit(pu8Cur, s32Look, enOrder, '\n');
    if (s32Lf <= 0) {
        return 0;
    }
    const int32_t s32Cr = LineFindUnit(pu8Cur, s32Lf, enOrder, '\r');
    if (s32Cr >= 0 && (s32Cr != s32Lf - 2 || s32Cr == 0 || s32Cr >= LINE_MAX_LEN - 3)) {
        return 0;
    }
    *ppu8Line = pu8Cur;
    SvrFileWindowAdvance(pstFile, s32Lf + 2);
    return s32Lf + 2;
}

static int32_t LineRead(const LineSource *pstSource, uint8_t *pu8Line, int32_t s32StreamType) {
    const bool bUtf16 = s32StreamType == STREAM_TYPE_UTF16LE || s32StreamType == STREAM_TYPE_UTF16BE;
    const LineByteOrder enOrder = s32StreamType == STREAM_TYPE_UTF16BE ? LINE_BIG_ENDIAN : LINE_LITTLE_ENDIAN;
    LineSink stSink = {pu8Line, 0};
    return bUtf16 ? LineReadUtf16(pstSource, &stSink, enOrder) : LineReadSingle(pstSource, &stSink);
}

int32_t SvrSubStreamType(const CharsetOps *pstCharsetOps, int32_t s32CodeType, int32_t *ps32StreamType) {
    *ps32StreamType = STREAM_TYPE_SINGLE_BYTE;
    if (pstCharsetOps == nullptr || pstCharsetOps->getStreamType == nullptr) {
        return 0;
    }
    SVR_RETURN_UNLESS(pstCharsetOps->getStreamType(s32CodeType, ps32StreamType) == 0, "SvrSubReadLine",
                      "get stream type failed!");
    return *ps32StreamType >= STREAM_TYPE_WIDE_FIRST && *ps32StreamType <= STREAM_TYPE_WIDE_LAST ? -1 : 0;
}

int32_t SvrSubReadLineOf(uint8_t *pu8Line, void *hUrl, const Protocol *pstProtocol, int32_t s32StreamType) {
    const LineSource stSource = {hUrl, pstProtocol, SvrFileWindowOf(pstProtocol, hUrl)};
    const int32_t s32Len = LineRead(&stSource, pu8Line, s32StreamType);
    if (s32Len >= LINE_MAX_LEN) {
        PlayerPrintf(PLAYER_LOG_WARNING, "SvrSubReadLine", __LINE__, "warning! a line is too long(> 1024 bytes)!");
    }
    return s32Len;
}

int32_t SvrSubReadLine(uint8_t *pu8Line, void *hUrl, Protocol *pstProtocol, const CharsetOps *pstCharsetOps,
                       int32_t s32CodeType) {
    SVR_RETURN_UNLESS(pu8Line != nullptr && hUrl != nullptr && pstProtocol != nullptr &&
                          pstProtocol->url_read != nullptr && pstProtocol->url_seek != nullptr,
                      __func__, "invalid param!");
    int32_t s32StreamType = 0;
    if (SvrSubStreamType(pstCharsetOps, s32CodeType, &s32StreamType) != 0) {
        return -1;
    }
    return SvrSubReadLineOf(pu8Line, hUrl, pstProtocol, s32StreamType);
}

// How many bytes the marks at the read position take, one after the other.
static int32_t LineCountMarks(void *hUrl, const Protocol *pstProtocol, const uint8_t *pu8Mark, int32_t s32MarkLen) {
    uint8_t au8Read[3];
    int32_t s32Count = 0;
    while (s32Count <= INT32_MAX - s32MarkLen && pstProtocol->url_read(hUrl, au8Read, s32MarkLen) == s32MarkLen &&
           memcmp(au8Read, pu8Mark, static_cast<size_t>(s32MarkLen)) == 0) {
        s32Count += s32MarkLen;
    }
    return s32Count;
}

int32_t SvrSubSkipHeader(void *hUrl, Protocol *pstProtocol, void *hCharset, const CharsetOps *pstCharsetOps,
                         int32_t s32CodeType) {
    SVR_RETURN_UNLESS(hUrl != nullptr && pstProtocol != nullptr && pstProtocol->url_read != nullptr &&
                          pstProtocol->url_seek != nullptr,
                      __func__, "invalid param!");
    if (hCharset == nullptr || pstCharsetOps == nullptr || pstCharsetOps->getStreamType == nullptr) {
        SVR_LOG_RESULT(__func__, "invalid param!", 0);
        return 0;
    }
    SVR_RETURN_UNLESS(!SvrSubSeekFailed(pstProtocol->url_seek(hUrl, 0, 0)), __func__, "seek 0 failed!");
    int32_t s32StreamType = STREAM_TYPE_SINGLE_BYTE;
    SVR_RETURN_UNLESS(pstCharsetOps->getStreamType(s32CodeType, &s32StreamType) == 0, __func__,
                      "get stream type failed!");
    static const uint8_t s_au8Utf8[] = {0xEF, 0xBB, 0xBF};
    static const uint8_t s_au8Utf16Le[] = {0xFF, 0xFE};
    static const uint8_t s_au8Utf16Be[] = {0xFE, 0xFF};
    switch (s32StreamType) {
    case STREAM_TYPE_UTF8:
        return LineCountMarks(hUrl, pstProtocol, s_au8Utf8, sizeof(s_au8Utf8));
    case STREAM_TYPE_UTF16LE:
        return LineCountMarks(hUrl, pstProtocol, s_au8Utf16Le, sizeof(s_au8Utf16Le));
    case STREAM_TYPE_UTF16BE:
        return LineCountMarks(hUrl, pstProtocol, s_au8Utf16Be, sizeof(s_au8Utf16Be));
    default:
        return 0;
    }
}
