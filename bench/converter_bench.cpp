// What a converter costs an index build: one that does next to nothing, and the one of charset/.
//   converter_bench FOLDER
#include "bench/subject.h"
#include "charset/pell_charset.h"

static int32_t CopyCreate(void **phCharset, int32_t) {
    static int s_s32Instance;
    *phCharset = &s_s32Instance;
    return 0;
}

static int32_t CopyCodeType(void *, const uint8_t *, int32_t, int32_t, int32_t *ps32CodeType) {
    *ps32CodeType = PELL_CODE_UTF16LE;
    return 0;
}

// Copies the lower halves: the file holds nothing but ASCII.
static int32_t CopyConvert(void *, uint8_t *pu8Out, int32_t *ps32OutLen, const uint8_t *pu8In, int32_t s32InLen,
                           int32_t, int32_t, int32_t *ps32Used) {
    const int32_t s32Chars = s32InLen / 2 < *ps32OutLen ? s32InLen / 2 : *ps32OutLen;
    for (int32_t i = 0; i < s32Chars; i++) {
        pu8Out[i] = pu8In[static_cast<ptrdiff_t>(2) * i];
    }
    *ps32OutLen = s32Chars;
    *ps32Used = 2 * s32Chars;
    return 0;
}

static void CopyReserved() {}

static void CopyDestroy(void *) {}

static int32_t CopyStreamType(int32_t, int32_t *ps32StreamType) {
    *ps32StreamType = STREAM_TYPE_UTF16LE;
    return 0;
}

static CharsetOps s_stCopyOps = {CopyCreate, CopyCodeType, CopyConvert, CopyReserved, CopyDestroy, CopyStreamType};

int main(int argc, char **argv) {
    BenchExpect(argc == 2, "name a folder for the files");
    BenchIndex(BenchMakeFile(argv[1], "srt_utf16", 20000), "index, copying converter, ", &s_stCopyOps, 0.15, 0);
    CharsetOps stCharsetOps = g_charsetOps;
    BenchIndex(BenchMakeFile(argv[1], "srt_utf8", 20000), "index, converter of charset/, ", &stCharsetOps, 0.35, 0);
    return 0;
}
