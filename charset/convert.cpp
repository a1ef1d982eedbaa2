// convert.cpp - text of one code type into another. UTF-8 to UTF-8 and long ASCII runs are checked and copied here,
// the rest goes through iconv handles that the instance keeps.
#include "charset/charset_internal.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace {

// Shorter ASCII runs go through iconv with the text around them: a call costs about as much as these bytes.
constexpr int32_t ASCII_RUN_MIN = 16;
constexpr int32_t CHARACTER_MAX = 8; // bytes of one character in any code type, combining marks composed

struct CharsetCursor {
    const uint8_t *pu8In;
    const uint8_t *pu8InEnd;
    uint8_t *pu8Out;
    uint8_t *pu8OutEnd;
};

// Why a conversion stopped.
enum CharsetStop {
    CHARSET_STOP_END,  // all read, but for a character cut off at the end
    CHARSET_STOP_FULL, // no room for the next character
    CHARSET_STOP_HELD  // no room, and the decoder has read a character that it has not written
};

// How the bytes at a position decode.
enum CharsetDecoded { CHARSET_DECODED, CHARSET_DECODED_INVALID, CHARSET_DECODED_CUT };

// UTF-32LE of one character; more than one code point when the character set combines several.
struct CharsetCharacter {
    int32_t s32InLen;
    int32_t s32WideLen;
    uint8_t au8Wide[CHARACTER_MAX];
};

bool CharsetPut(CharsetCursor *pstCursor, const uint8_t *pu8Bytes, size_t szLen) {
    if (static_cast<size_t>(pstCursor->pu8OutEnd - pstCursor->pu8Out) < szLen) {
        return false;
    }
    memcpy(pstCursor->pu8Out, pu8Bytes, szLen);
    pstCursor->pu8Out += szLen;
    return true;
}

bool CharsetPutReplacement(CharsetCursor *pstCursor, const CharsetType *pstDst) {
    return CharsetPut(pstCursor, pstDst->au8Replacement, pstDst->u8ReplacementSize);
}

// Copies what fits of the lLen bytes at the input.
void CharsetCopy(CharsetCursor *pstCursor, ptrdiff_t lLen) {
    size_t szLen = static_cast<size_t>(std::min(lLen, pstCursor->pu8OutEnd - pstCursor->pu8Out));
    CharsetPut(pstCursor, pstCursor->pu8In, szLen);
    pstCursor->pu8In += szLen;
}

// iconv on the cursor, reading no further than pu8InEnd. 0 or an errno value.
int CharsetIconv(iconv_t hIconv, CharsetCursor *pstCursor, const uint8_t *pu8InEnd) {
    char *pcIn = const_cast<char *>(reinterpret_cast<const char *>(pstCursor->pu8In));
    char *pcOut = reinterpret_cast<char *>(pstCursor->pu8Out);
    size_t szIn = static_cast<size_t>(pu8InEnd - pstCursor->pu8In);
    size_t szOut = static_cast<size_t>(pstCursor->pu8OutEnd - pstCursor->pu8Out);
    bool bFailed = iconv(hIconv, &pcIn, &szIn, &pcOut, &szOut) == static_cast<size_t>(-1);
    pstCursor->pu8In = pu8InEnd - szIn;
    pstCursor->pu8Out = pstCursor->pu8OutEnd - szOut;
    return bFailed ? errno : 0;
}

// Takes out the character that a decoder holds back in case a combining mark follows (Windows-1255 and 1258 do), and
// leaves the handle in its initial state.
size_t CharsetTakeHeld(iconv_t hIconv, uint8_t (&au8Held)[CHARACTER_MAX]) {
    char *pcOut = reinterpret_cast<char *>(au8Held);
    size_t szOut = sizeof(au8Held);
    iconv(hIconv, nullptr, nullptr, &pcOut, &szOut);
    return sizeof(au8Held) - szOut;
}

// The instance's handle for a pair, in its initial state; opened in place of the one unused longest. Null when the
// C library lacks the conversion.
iconv_t CharsetOpen(CharsetInstance *pstInstance, const CharsetType *pstSrc, const CharsetType *pstDst) {
    CharsetHandle *pstOldest = &pstInstance->astHandle[0];
    pstInstance->u32Clock = std::max(pstInstance->u32Clock + 1, 1u);
    for (CharsetHandle &stHandle : pstInstance->astHandle) {
        if (stHandle.u32LastUse != 0 && stHandle.pstSrc == pstSrc && stHandle.pstDst == pstDst) {
            stHandle.u32LastUse = pstInstance->u32Clock;
            iconv(stHandle.hIconv, nullptr, nullptr, nullptr, nullptr);
            return stHandle.hIconv;
        }
        pstOldest = stHandle.u32LastUse < pstOldest->u32LastUse ? &stHandle : pstOldest;
    }
    iconv_t hIconv = iconv_open(pstDst->pszIconv, pstSrc->pszIconv);
    if (hIconv == reinterpret_cast<iconv_t>(-1)) {
        return nullptr;
    }
    if (pstOldest->u32LastUse != 0) {
        iconv_close(pstOldest->hIconv);
    }
    *pstOldest = {hIconv, pstSrc, pstDst, pstInstance->u32Clock};
    return hIconv;
}

// The end of the valid UTF-8 at pu8In.
const uint8_t *CharsetSkipUtf8(const uint8_t *pu8In, const uint8_t *pu8InEnd) {
    int32_t s32Len = 1;
    while (s32Len > 0 && (pu8In = CharsetSkipAscii(pu8In, pu8InEnd)) < pu8InEnd) {
        while (pu8In < pu8InEnd && *pu8In >= 0x80 && (s32Len = CharsetUtf8Length(pu8In, pu8InEnd)) > 0) {
            pu8In += s32Len;
        }
    }
    return pu8In;
}

// UTF-8 to UTF-8: copies what is valid, replaces bytes that begin no character.
CharsetStop CharsetCopyUtf8(CharsetCursor *pstCursor, const CharsetType *pstDst) {
    while (pstCursor->pu8In < pstCursor->pu8InEnd) {
        ptrdiff_t lLen = CharsetSkipUtf8(pstCursor->pu8In, pstCursor->pu8InEnd) - pstCursor->pu8In;
        ptrdiff_t lRoom = pstCursor->pu8OutEnd - pstCursor->pu8Out;
        if (lLen > lRoom) {
            while (lRoom > 0 && (pstCursor->pu8In[lRoom] & 0xC0) == 0x80) {
                lRoom--; // not into a character
            }
            CharsetCopy(pstCursor, lRoom);
            return CHARSET_STOP_FULL;
        }
        CharsetCopy(pstCursor, lLen);
        if (pstCursor->pu8In == pstCursor->pu8InEnd || CharsetUtf8Length(pstCursor->pu8In, pstCursor->pu8InEnd) == 0) {
            break;
        }
        if (!CharsetPutReplacement(pstCursor, pstDst)) {
            return CHARSET_STOP_FULL;
        }
        pstCursor->pu8In++;
    }
    return CHARSET_STOP_END;
}

// Where iconv's part ends: before the next long ASCII run, but behind its first byte, which often is the second one of
// a character.
const uint8_t *CharsetSegmentEnd(const uint8_t *pu8In, const uint8_t *pu8InEnd) {
    while (pu8In < pu8InEnd) {
        const uint8_t *pu8RunEnd = CharsetSkipAscii(pu8In, pu8InEnd);
        if (pu8RunEnd - pu8In > ASCII_RUN_MIN) {
            return pu8In + 1;
        }
        pu8In = std::min(pu8RunEnd + 1, pu8InEnd);
    }
    return pu8InEnd;
}

// Any code type but UTF-8 to one that has every character, so that iconv stops for invalid input only.
CharsetStop CharsetToUnicode(iconv_t hIconv, CharsetCursor *pstCursor, const CharsetType *pstSrc,
                             const CharsetType *pstDst) {
    bool bAscii = pstSrc->eLayout != CHARSET_LAYOUT_WIDE && pstDst->eLayout != CHARSET_LAYOUT_WIDE;
    const uint8_t *pu8SegmentEnd = nullptr;
    while (pstCursor->pu8In < pstCursor->pu8InEnd) {
        if (bAscii && pu8SegmentEnd == nullptr) {
            // The byte before one beyond ASCII stays with it: a combining mark may follow.
            const uint8_t *pu8RunEnd = CharsetSkipAscii(pstCursor->pu8In, pstCursor->pu8InEnd);
            ptrdiff_t lRun = pu8RunEnd - pstCursor->pu8In;
            CharsetCopy(pstCursor, lRun != 0 && pu8RunEnd != pstCursor->pu8InEnd ? lRun - 1 : lRun);
        }
        if (pu8SegmentEnd == nullptr) {
            pu8SegmentEnd = bAscii ? CharsetSegmentEnd(pstCursor->pu8In, pstCursor->pu8InEnd) : pstCursor->pu8InEnd;
        }
        int s32Error = CharsetIconv(hIconv, pstCursor, pu8SegmentEnd);
        if (s32Error == EINVAL && pu8SegmentEnd != pstCursor->pu8InEnd) {
            pu8SegmentEnd = pstCursor->pu8InEnd; // a character reaches into the run
            continue;
        }
        uint8_t au8Held[CHARACTER_MAX];
        size_t szHeld = CharsetTakeHeld(hIconv, au8Held);
        if (s32Error == E2BIG || !CharsetPut(pstCursor, au8Held, szHeld)) {
            return szHeld != 0 ? CHARSET_STOP_HELD : CHARSET_STOP_FULL;
        }
        if (s32Error == EINVAL) {
            break;
        }
        if (s32Error == EILSEQ) {
            if (!CharsetPutReplacement(pstCursor, pstDst)) {
                return CHARSET_STOP_FULL;
            }
            pstCursor->pu8In += pstSrc->u8Unit;
        }
        pu8SegmentEnd = nullptr;
    }
    return CHARSET_STOP_END;
}

// The shortest run of bytes that is a character of its own. Null handle: the source is UTF-8.
CharsetDecoded CharsetDecodeOne(iconv_t hDecoder, const CharsetType *pstSrc, const uint8_t *pu8In,
                                const uint8_t *pu8InEnd, CharsetCharacter *pstChar) {
    uint8_t au8Held[CHARACTER_MAX];
    for (ptrdiff_t lLen = pstSrc->u8Unit; lLen <= std::min<ptrdiff_t>(pu8InEnd - pu8In, 4); lLen += pstSrc->u8Unit) {
        CharsetCursor stCursor = {pu8In, pu8In + lLen, pstChar->au8Wide, pstChar->au8Wide + CHARACTER_MAX};
        int s32Error = CharsetIconv(hDecoder, &stCursor, stCursor.pu8InEnd);
        const size_t szHeld = CharsetTakeHeld(hDecoder, au8Held);
        CharsetPut(&stCursor, au8Held, szHeld);
        if (s32Error == 0) {
            pstChar->s32InLen = static_cast<int32_t>(lLen);
            pstChar->s32WideLen = static_cast<int32_t>(stCursor.pu8Out - pstChar->au8Wide);
            return CHARSET_DECODED;
        }
        if (s32Error != EINVAL) {
            return CHARSET_DECODED_INVALID;
        }
    }
    return CHARSET_DECODED_CUT;
}

// The same for UTF-8, where the C library's decoder is laxer than ours.
CharsetDecoded CharsetDecodeOneUtf8(const uint8_t *pu8In, const uint8_t *pu8InEnd, CharsetCharacter *pstChar) {
    static constexpr uint8_t au8LeadBits[] = {0, 0x7F, 0x1F, 0x0F, 0x07};
    int32_t s32Len = CharsetUtf8Length(pu8In, pu8InEnd);
    if (s32Len <= 0) {
        return s32Len == 0 ? CHARSET_DECODED_CUT : CHARSET_DECODED_INVALID;
    }
    uint32_t u32Point = pu8In[0] & au8LeadBits[s32Len];
    for (int32_t i = 1; i < s32Len; i++) {
        u32Point = u32Point << 6 | (pu8In[i] & 0x3Fu);
    }
    pstChar->s32InLen = s32Len;
    pstChar->s32WideLen = 4;
    for (uint32_t i = 0; i < 4; i++) {
        pstChar->au8Wide[i] = static_cast<uint8_t>(u32Point >> (8 * i));
    }
    return CHARSET_DECODED;
}

// Writes one character, or what stands in for it. False when there is no room.
bool CharsetEncodeOne(iconv_t hEncoder, CharsetCursor *pstCursor, const CharsetCharacter *pstChar,
                      const CharsetType *pstDst) {
    uint8_t au8Out[CHARACTER_MAX];
    CharsetCursor stCursor = {pstChar->au8Wide, pstChar->au8Wide + pstChar->s32WideLen, au8Out, au8Out + CHARACTER_MAX};
    int s32Error = CharsetIconv(hEncoder, &stCursor, stCursor.pu8InEnd);
    uint8_t au8Held[CHARACTER_MAX];
    const size_t szHeld = CharsetTakeHeld(hEncoder, au8Held);
    CharsetPut(&stCursor, au8Held, szHeld);
    return s32Error == 0 ? CharsetPut(pstCursor, au8Out, static_cast<size_t>(stCursor.pu8Out - au8Out))
                         : CharsetPutReplacement(pstCursor, pstDst);
}

// To a code type that lacks characters, one character at a time: iconv on the whole would not say which of the two
// sides a character failed on. A character that keeps its code type keeps its bytes.
CharsetStop CharsetByCharacter(iconv_t hDecoder, iconv_t hEncoder, CharsetCursor *pstCursor, const CharsetType *pstSrc,
                               const CharsetType *pstDst) {
    bool bAscii = pstSrc->eLayout != CHARSET_LAYOUT_WIDE && pstDst->eLayout != CHARSET_LAYOUT_WIDE;
    CharsetCharacter stChar = {};
    while (pstCursor->pu8In < pstCursor->pu8InEnd) {
        if (bAscii) {
            CharsetCopy(pstCursor, CharsetSkipAscii(pstCursor->pu8In, pstCursor->pu8InEnd) - pstCursor->pu8In);
        }
        if (pstCursor->pu8In == pstCursor->pu8InEnd) {
            break;
        }
        CharsetDecoded eDecoded =
            pstSrc->eLayout == CHARSET_LAYOUT_UTF8
                ? CharsetDecodeOneUtf8(pstCursor->pu8In, pstCursor->pu8InEnd, &stChar)
                : CharsetDecodeOne(hDecoder, pstSrc, pstCursor->pu8In, pstCursor->pu8InEnd, &stChar);
        if (eDecoded == CHARSET_DECODED_CUT) {
            break;
        }
        bool bRoom;
        if (eDecoded == CHARSET_DECODED_INVALID) {
            stChar.s32InLen = pstSrc->u8Unit;
            bRoom = CharsetPutReplacement(pstCursor, pstDst);
        } else if (pstSrc == pstDst) {
            bRoom = CharsetPut(pstCursor, pstCursor->pu8In, static_cast<size_t>(stChar.s32InLen));
        } else {
            bRoom = CharsetEncodeOne(hEncoder, pstCursor, &stChar, pstDst);
        }
        if (!bRoom) {
            return CHARSET_STOP_FULL;
        }
        pstCursor->pu8In += stChar.s32InLen;
    }
    return CHARSET_STOP_END;
}

} // namespace

const uint8_t *CharsetSkipAscii(const uint8_t *pu8In, const uint8_t *pu8End) {
    for (uint64_t u64Word; pu8End - pu8In >= static_cast<ptrdiff_t>(sizeof(u64Word)); pu8In += sizeof(u64Word)) {
        memcpy(&u64Word, pu8In, sizeof(u64Word));
        if ((u64Word & 0x8080808080808080u) != 0) {
            break;
        }
    }
    while (pu8In < pu8End && *pu8In < 0x80) {
        pu8In++;
    }
    return pu8In;
}

int32_t CharsetUtf8Length(const uint8_t *pu8In, const uint8_t *pu8End) {
    uint8_t u8Lead = pu8In[0];
    if (u8Lead < 0x80) {
        return 1;
    }
    if (u8Lead < 0xC2 || u8Lead > 0xF4) {
        return -1;
    }
    int32_t s32Len = u8Lead < 0xE0 ? 2 : u8Lead < 0xF0 ? 3 : 4;
    // The second byte's range keeps out longer forms, surrogates and what is above U+10FFFF.
    uint8_t u8Low = u8Lead == 0xE0 ? 0xA0 : u8Lead == 0xF0 ? 0x90 : 0x80;
    uint8_t u8High = u8Lead == 0xED ? 0x9F : u8Lead == 0xF4 ? 0x8F : 0xBF;
    for (int32_t i = 1; i < s32Len; i++, u8Low = 0x80, u8High = 0xBF) {
        if (pu8In + i == pu8End) {
            return 0;
        }
        if (pu8In[i] < u8Low || pu8In[i] > u8High) {
            return -1;
        }
    }
    return s32Len;
}

CharsetUtf8Count CharsetCountUtf8(const uint8_t *pu8In, int32_t s32InLen) {
    CharsetUtf8Count stCount = {};
    const uint8_t *pu8End = pu8In + s32InLen;
    while ((pu8In = CharsetSkipAscii(pu8In, pu8End)) < pu8End) {
        int32_t s32Len = CharsetUtf8Length(pu8In, pu8End);
        if (s32Len == 0) {
            stCount.bCut = true;
            break;
        }
        stCount.s32Valid += s32Len > 0 ? 1 : 0;
        stCount.s32Invalid += s32Len > 0 ? 0 : 1;
        pu8In += std::max(s32Len, 1);
    }
    return stCount;
}

bool CharsetIsUtf8(const CharsetUtf8Count &stCount) {
    return stCount.s32Valid != 0 && stCount.s32Invalid == 0;
}

int32_t CharsetConvert(CharsetInstance *pstInstance, uint8_t *pu8Out, int32_t *ps32OutLen, const uint8_t *pu8In,
                       int32_t s32InLen, const CharsetType *pstSrc, const CharsetType *pstDst, int32_t *ps32Used) {
    const CharsetType *pstPivot = CharsetFind(PELL_CODE_UTF32LE);
    bool bFromUtf8 = pstSrc->eLayout == CHARSET_LAYOUT_UTF8;
    bool bToUtf8 = pstDst->eLayout == CHARSET_LAYOUT_UTF8;
    bool bWhole = !bFromUtf8 && (bToUtf8 || pstDst->eLayout == CHARSET_LAYOUT_WIDE);
    iconv_t hDecoder = bFromUtf8 ? nullptr : CharsetOpen(pstInstance, pstSrc, bWhole ? pstDst : pstPivot);
    iconv_t hEncoder = bWhole || bToUtf8 ? nullptr : CharsetOpen(pstInstance, pstPivot, pstDst);
    if ((hDecoder == nullptr && !bFromUtf8) || (hEncoder == nullptr && !bWhole && !bToUtf8)) {
        return -1;
    }
    CharsetCursor stCursor;
    CharsetStop eStop;
    do {
        stCursor = {pu8In, pu8In + s32InLen, pu8Out, pu8Out + *ps32OutLen};
        eStop = bWhole    ? CharsetToUnicode(hDecoder, &stCursor, pstSrc, pstDst)
                : bToUtf8 ? CharsetCopyUtf8(&stCursor, pstDst)
                          : CharsetByCharacter(hDecoder, hEncoder, &stCursor, pstSrc, pstDst);
        // Once more without the character that was read and could not be written.
        s32InLen = static_cast<int32_t>(stCursor.pu8In - pu8In) - 1;
    } while (eStop == CHARSET_STOP_HELD);
    *ps32OutLen = static_cast<int32_t>(stCursor.pu8Out - pu8Out);
    *ps32Used = static_cast<int32_t>(stCursor.pu8In - pu8In);
    return 0;
}
