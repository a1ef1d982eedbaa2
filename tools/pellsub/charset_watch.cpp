// The converter as the plug-in gets it: it works as always, and notes what the plug-in's records do not tell.
#include "tools/pellsub/charset_watch.h"

static CharsetNote g_note;

CharsetNote &TheCharsetNote() {
    return g_note;
}

static int32_t WatchedGetCodeType(void *hCharset, const uint8_t *pu8Text, int32_t s32Len, int32_t s32Hint,
                                  int32_t *ps32CodeType) {
    if (g_note.forced != 0) {
        *ps32CodeType = g_note.forced;
        return 0;
    }
    const int32_t s32Ret = g_charsetOps.getCodeType(hCharset, pu8Text, s32Len, s32Hint, ps32CodeType);
    if (s32Ret == 0) {
        g_note.source = PellCharsetLastSource(hCharset);
    }
    return s32Ret;
}

static int32_t WatchedConvert(void *hCharset, uint8_t *pu8Out, int32_t *ps32OutLen, const uint8_t *pu8In,
                              int32_t s32InLen, int32_t s32SrcCodeType, int32_t s32DstCodeType, int32_t *ps32Used) {
    const int32_t s32Ret =
        g_charsetOps.convert(hCharset, pu8Out, ps32OutLen, pu8In, s32InLen, s32SrcCodeType, s32DstCodeType, ps32Used);
    g_note.incomplete += s32Ret != 0 || *ps32Used != s32InLen ? 1u : 0u;
    return s32Ret;
}

CharsetOps *WatchedCharsetOps() {
    static CharsetOps ops = g_charsetOps;
    ops.getCodeType = WatchedGetCodeType;
    ops.convert = WatchedConvert;
    return &ops;
}
