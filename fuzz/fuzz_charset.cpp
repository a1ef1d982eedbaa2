// The converter: any text in any code type into any other, in pieces and at once.
#include "charset/pell_charset.h"
#include "fuzz/input.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

using Bytes = std::vector<uint8_t>;

struct CharsetPair {
    int32_t s32Src;
    int32_t s32Dst;
};

static int32_t CharsetNum() {
    int32_t s32Num = 0;
    while (PellCharsetAt(s32Num) != PELL_CODE_UNKNOWN) {
        s32Num++;
    }
    return s32Num;
}

// Opening a conversion takes longer than using it, so an instance stays for each pair.
static void *CharsetInstanceOf(CharsetPair stPair) {
    static void *s_ahInstance[64][64];
    void **phInstance = &s_ahInstance[stPair.s32Src][stPair.s32Dst];
    FUZZ_CHECK(*phInstance != nullptr || g_charsetOps.create(phInstance, 0) == 0);
    return *phInstance;
}

// Converts into a buffer of exactly so many bytes. What was written; *psUsed is how much was read.
static Bytes CharsetConvert(void *hCharset, CharsetPair stPair, const uint8_t *pu8In, size_t uLen, size_t uCapacity,
                            size_t *puUsed) {
    Bytes vecOut(uCapacity);
    uint8_t u8None = 0;
    int32_t s32OutLen = static_cast<int32_t>(uCapacity);
    int32_t s32Used = -7;
    const int32_t s32Result = g_charsetOps.convert(
        hCharset, uCapacity != 0 ? vecOut.data() : &u8None, &s32OutLen, uLen != 0 ? pu8In : &u8None,
        static_cast<int32_t>(uLen), PellCharsetAt(stPair.s32Src), PellCharsetAt(stPair.s32Dst), &s32Used);
    FUZZ_CHECK(s32Result == 0);
    FUZZ_CHECK(s32OutLen >= 0 && s32OutLen <= static_cast<int32_t>(uCapacity) && u8None == 0);
    FUZZ_CHECK(s32Used >= 0 && s32Used <= static_cast<int32_t>(uLen));
    vecOut.resize(static_cast<size_t>(s32OutLen));
    *puUsed = static_cast<size_t>(s32Used);
    return vecOut;
}

// Room for everything that a text can become: a byte becomes at most two characters of four bytes.
static Bytes CharsetConvertAll(void *hCharset, CharsetPair stPair, const Bytes &vecIn, size_t *puUsed) {
    return CharsetConvert(hCharset, stPair, vecIn.data(), vecIn.size(), vecIn.size() * 8 + 8, puUsed);
}

// Into buffers too small for all of it, one after the other: the same comes out.
static void CharsetCheckPieces(void *hCharset, CharsetPair stPair, const Bytes &vecIn, size_t uCapacity) {
    size_t uUsedAll = 0;
    const Bytes vecAll = CharsetConvertAll(hCharset, stPair, vecIn, &uUsedAll);
    Bytes vecPieces;
    size_t uDone = 0;
    size_t uUsed = 0;
    do {
        const Bytes vecPiece =
            CharsetConvert(hCharset, stPair, vecIn.data() + uDone, vecIn.size() - uDone, uCapacity, &uUsed);
        vecPieces.insert(vecPieces.end(), vecPiece.begin(), vecPiece.end());
        FUZZ_CHECK(uUsed > 0 || vecPiece.empty());
        uDone += uUsed;
    } while (uUsed > 0);
    FUZZ_CHECK(uCapacity < 16 || uDone == uUsedAll);
    FUZZ_CHECK(vecPieces.size() <= vecAll.size());
    FUZZ_CHECK(std::equal(vecPieces.begin(), vecPieces.end(), vecAll.begin()));
    FUZZ_CHECK(uDone != uUsedAll || vecPieces == vecAll);
}

// Windows-1255 and 1258 compose what they decode: a character that is cut off there reads differently.
static bool CharsetComposes(int32_t s32CodeType) {
    return s32CodeType == PELL_CODE_WINDOWS_1255 || s32CodeType == PELL_CODE_WINDOWS_1258;
}

// One character, one code: what was read without a replacement is written as it was.
static bool CharsetIsPlain(int32_t s32CodeType) {
    return s32CodeType < PELL_CODE_EUC_JP || s32CodeType == PELL_CODE_IBM866 || s32CodeType == PELL_CODE_WINDOWS_874 ||
           (s32CodeType >= PELL_CODE_WINDOWS_1250 && !CharsetComposes(s32CodeType));
}

static int32_t CharsetIndexOf(int32_t s32CodeType) {
    int32_t s32Index = 0;
    while (PellCharsetAt(s32Index) != s32CodeType) {
        s32Index++;
    }
    return s32Index;
}

static void CharsetCheckRoundTrip(int32_t s32Src, const Bytes &vecIn) {
    const CharsetPair stThere = {s32Src, CharsetIndexOf(PELL_CODE_UTF32LE)};
    const CharsetPair stBack = {stThere.s32Dst, s32Src};
    size_t uUsed = 0;
    const Bytes vecWide = CharsetConvertAll(CharsetInstanceOf(stThere), stThere, vecIn, &uUsed);
    static const uint8_t s_au8Replacement[] = {0xFD, 0xFF, 0, 0};
    for (size_t i = 0; i < vecWide.size(); i += 4) {
        if (memcmp(&vecWide[i], s_au8Replacement, 4) == 0) {
            return;
        }
    }
    size_t uUsedBack = 0;
    const Bytes vecBack = CharsetConvertAll(CharsetInstanceOf(stBack), stBack, vecWide, &uUsedBack);
    FUZZ_CHECK(uUsedBack == vecWide.size());
    FUZZ_CHECK(vecBack.size() == uUsed && std::equal(vecBack.begin(), vecBack.end(), vecIn.begin()));
}

static void CharsetCheckIdentify(const Bytes &vecIn, int32_t s32Hint) {
    void *hCharset = nullptr;
    FUZZ_CHECK(g_charsetOps.create(&hCharset, 0) == 0);
    int32_t as32Type[2] = {-7, -7};
    for (int32_t &s32Type : as32Type) {
        const int32_t s32Result =
            g_charsetOps.getCodeType(hCharset, vecIn.data(), static_cast<int32_t>(vecIn.size()), s32Hint, &s32Type);
        const int32_t s32Source = PellCharsetLastSource(hCharset);
        FUZZ_CHECK(s32Result == 0 || s32Result == -1);
        FUZZ_CHECK((s32Result == 0) == (s32Source != PELL_CHARSET_SOURCE_NONE));
        FUZZ_CHECK(s32Result == 0 ? PellCharsetName(s32Type) != nullptr : s32Type == -7);
    }
    FUZZ_CHECK(as32Type[0] == as32Type[1]);
    g_charsetOps.destroy(hCharset);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *pu8Data, size_t uSize) {
    FuzzInput stInput = {pu8Data, pu8Data + uSize};
    static const int32_t s_s32Num = CharsetNum();
    const uint8_t u8What = FuzzTake8(&stInput);
    const CharsetPair stPair = {FuzzTake8(&stInput) % s_s32Num, FuzzTake8(&stInput) % s_s32Num};
    const size_t uCapacity = FuzzTake8(&stInput);
    const Bytes vecIn(stInput.pu8Cur, stInput.pu8End);
    if (u8What % 8 == 0) {
        CharsetCheckIdentify(vecIn, u8What == 8 ? PELL_CHARSET_HINT_NEXT : PellCharsetAt(stPair.s32Src));
        return 0;
    }
    CharsetCheckPieces(CharsetInstanceOf(stPair), stPair, vecIn, uCapacity);
    if (CharsetIsPlain(PellCharsetAt(stPair.s32Src))) {
        CharsetCheckRoundTrip(stPair.s32Src, vecIn);
    }
    return 0;
}
