#include "bench/make_inputs.h"

#include <cstdio>
#include <fstream>

static uint32_t NextRandom(uint32_t *pu32State) {
    *pu32State = *pu32State * 1664525u + 1013904223u;
    return *pu32State >> 16;
}

// Words in an order that a small generator decides, so that lines differ in length.
static std::string MakeText(uint32_t *pu32State) {
    static const char *const s_apszWords[] = {"the",   "rain",    "stops", "before", "anyone", "asks",
                                              "where", "they've", "gone",  "again",  "today",  "quietly"};
    std::string str;
    const uint32_t u32Words = 4 + NextRandom(pu32State) % 6;
    for (uint32_t i = 0; i < u32Words; i++) {
        str += i == 0 ? "" : " ";
        str += s_apszWords[NextRandom(pu32State) % (sizeof(s_apszWords) / sizeof(s_apszWords[0]))];
    }
    return str + "\n";
}

// "hh:mm:ss" and, behind the mark, as many digits of the second's fraction.
static std::string MakeClock(int32_t s32Ms, int s32HourDigits, char chMark, int s32Digits) {
    char aszClock[64];
    snprintf(aszClock, sizeof(aszClock), "%0*d:%02d:%02d%c%0*d", s32HourDigits, s32Ms / 3600000, s32Ms / 60000 % 60,
             s32Ms / 1000 % 60, chMark, s32Digits, s32Digits == 2 ? s32Ms / 10 % 100 : s32Ms % 1000);
    return aszClock;
}

using Decorate = std::string (*)(int32_t s32Cue, const std::string &strText);

static std::string MakeSrtOf(int32_t s32Cues, Decorate pfnDecorate) {
    std::string str;
    uint32_t u32State = 1;
    // 500,000 cues fit into the hundred hours that a time can tell.
    for (int32_t i = 0; i < s32Cues; i++) {
        str += std::to_string(i + 1) + "\n" + MakeClock(i * 700, 2, ',', 3) + " --> " +
               MakeClock(i * 700 + 650, 2, ',', 3) + "\n";
        str += pfnDecorate(i, MakeText(&u32State));
        str += i % 2 == 0 ? MakeText(&u32State) : "";
        str += "\n";
    }
    return str;
}

static std::string MakeSrt(int32_t s32Cues) {
    return MakeSrtOf(s32Cues, [](int32_t, const std::string &strText) { return strText; });
}

static std::string MakeSrtTags(int32_t s32Cues) {
    return MakeSrtOf(s32Cues, [](int32_t i, const std::string &strText) {
        return i % 4 == 0 ? "<i>" + strText + "</i> <font color=\"#ffff00\">more</font>\n" : strText;
    });
}

static std::string MakeSrtUtf8(int32_t s32Cues) {
    return MakeSrtOf(s32Cues, [](int32_t i, const std::string &strText) {
        return (i % 3 == 0 ? "na\xC3\xAFve caf\xC3\xA9 \xE2\x80\x94 " : "") + strText;
    });
}

static std::string MakeSrtUtf16(int32_t s32Cues) {
    std::string str = "\xFF\xFE";
    for (const char ch : MakeSrt(s32Cues)) {
        str += ch;
        str += '\0';
    }
    return str;
}

static std::string MakeAss(int32_t s32Cues) {
    std::string str = "[Script Info]\nScriptType: v4.00+\n\n[V4+ Styles]\nFormat: Name, Fontname, Fontsize\n"
                      "Style: Default,Sans,28\n\n[Events]\n"
                      "Format: Layer, Start, End, Style, Name, MarginL, MarginR, MarginV, Effect, Text\n";
    uint32_t u32State = 2;
    // Ten hours are what the format's one digit tells; the step is kept above its hundredths.
    const int32_t s32Step = 36000000 / (s32Cues + 1) / 10 * 10;
    for (int32_t i = 0; i < s32Cues; i++) {
        str += "Dialogue: 0," + MakeClock(i * s32Step, 1, '.', 2) + "," + MakeClock((i + 1) * s32Step, 1, '.', 2) +
               ",Default,,0,0,0,," + MakeText(&u32State);
    }
    return str;
}

static std::string MakeSmi(int32_t s32Cues) {
    std::string str = "<SAMI>\n<HEAD>\n<STYLE TYPE=\"text/css\">\n<!--\n.KRCC { Name: Korean; lang: ko-KR; }\n"
                      ".ENCC { Name: English; lang: en-US; }\n-->\n</STYLE>\n</HEAD>\n<BODY>\n";
    uint32_t u32State = 3;
    for (int32_t i = 0; i < s32Cues; i++) {
        str += "<SYNC Start=" + std::to_string(i * 900) + ">\n<P Class=KRCC>\n" + MakeText(&u32State) +
               "<P Class=ENCC>\n" + MakeText(&u32State);
    }
    return str + "</BODY>\n</SAMI>\n";
}

// One line a second: 5,000 lines fit into the hundred minutes that a time tag can tell.
static std::string MakeLrc(int32_t s32Cues) {
    std::string str = "[ti:Rain]\n[ar:Nobody]\n";
    uint32_t u32State = 4;
    for (int32_t i = 0; i < s32Cues; i++) {
        char aszTag[32];
        snprintf(aszTag, sizeof(aszTag), "[%02d:%02d.%02d]", i / 60, i % 60, i % 100);
        str += aszTag + MakeText(&u32State);
    }
    return str;
}

static std::string MakeMicrodvd(int32_t s32Cues) {
    std::string str = "{1}{1}25.000\n";
    uint32_t u32State = 5;
    for (int32_t i = 1; i <= s32Cues; i++) {
        str += "{" + std::to_string(i * 20) + "}{" + std::to_string(i * 20 + 18) + "}" + MakeText(&u32State);
    }
    return str;
}

static std::string MakeSubviewer(int32_t s32Cues) {
    std::string str = "[INFORMATION]\n[TITLE]Rain\n[END INFORMATION]\n[SUBTITLE]\n";
    uint32_t u32State = 6;
    for (int32_t i = 0; i < s32Cues; i++) {
        str += MakeClock(i * 700, 2, '.', 2) + "," + MakeClock(i * 700 + 650, 2, '.', 2) + "\n" + MakeText(&u32State);
        str += "\n";
    }
    return str;
}

static std::string MakeMpsub(int32_t s32Cues) {
    std::string str = "TITLE=Rain\nFORMAT=TIME\n\n";
    uint32_t u32State = 7;
    for (int32_t i = 0; i < s32Cues; i++) {
        str += i % 2 == 0 ? "0.5 1.5\n" : "1 2\n";
        str += MakeText(&u32State) + "\n";
    }
    return str;
}

constexpr uint32_t PACK_SIZE = 2048;
constexpr uint32_t PACK_HEAD_SIZE = 24; // pack header, PES header without times, sub-stream

// Bytes of a unit in one of its packs: all packs but the last are full.
static uint32_t VobSubPackData(int32_t s32Unit, bool bLast) {
    return bLast ? 300 + static_cast<uint32_t>(s32Unit) * 37 % 1200 : PACK_SIZE - PACK_HEAD_SIZE;
}

VobSubUnit VobSubUnitAt(int32_t s32Unit) {
    // One to four packs in turn: ten packs for every four units.
    static const uint32_t s_au32Before[] = {0, 1, 3, 6};
    const uint32_t u32Unit = static_cast<uint32_t>(s32Unit);
    return {(u32Unit / 4 * 10 + s_au32Before[u32Unit % 4]) * PACK_SIZE, u32Unit % 4 + 1};
}

// Units of the two languages come in turn, one every second.
static std::string MakeVobSubIndex(int32_t s32Units) {
    std::string str = "# VobSub index file, v7 (do not modify this line!)\nsize: 720x576\npalette: 000000";
    for (int i = 1; i < 16; i++) {
        str += ", 8080ff";
    }
    str += "\nlangidx: 0\n";
    for (int32_t s32Lang = 0; s32Lang < 2; s32Lang++) {
        str += s32Lang == 0 ? "\nid: en, index: 0\n" : "\nid: de, index: 1\n";
        for (int32_t i = s32Lang; i < s32Units; i += 2) {
            char aszPos[32];
            snprintf(aszPos, sizeof(aszPos), ", filepos: %09x\n", VobSubUnitAt(i).u32Pos);
            str += "timestamp: " + MakeClock(i * 1000, 2, ':', 3) + aszPos;
        }
    }
    return str;
}

static void AppendBytes(std::string *pstr, std::initializer_list<uint32_t> listBytes) {
    for (const uint32_t u32Byte : listBytes) {
        *pstr += static_cast<char>(u32Byte & 0xFF);
    }
}

static void AppendPack(std::string *pstr, int32_t s32Unit, uint32_t u32Data) {
    const uint32_t u32Len = u32Data + 4;
    AppendBytes(pstr, {0, 0, 1, 0xBA, 0x44, 0, 4, 0, 4, 1, 1, 0x89, 0xC3, 0xF8});
    AppendBytes(pstr, {0, 0, 1, 0xBD, u32Len >> 8, u32Len, 0x81, 0, 0, 0x20 + static_cast<uint32_t>(s32Unit) % 2});
    pstr->append(u32Data, static_cast<char>(s32Unit | 1));
    const uint32_t u32Left = PACK_SIZE - PACK_HEAD_SIZE - u32Data;
    if (u32Left > 0) {
        AppendBytes(pstr, {0, 0, 1, 0xBE, (u32Left - 6) >> 8, u32Left - 6});
        pstr->append(u32Left - 6, '\xFF');
    }
}

static std::string MakeVobSubPacks(int32_t s32Units) {
    std::string str;
    for (int32_t i = 0; i < s32Units; i++) {
        const VobSubUnit stUnit = VobSubUnitAt(i);
        const uint32_t u32Size = (stUnit.u32Packs - 1) * VobSubPackData(i, false) + VobSubPackData(i, true);
        for (uint32_t j = 1; j <= stUnit.u32Packs; j++) {
            AppendPack(&str, i, VobSubPackData(i, j == stUnit.u32Packs));
        }
        // A unit begins with its size.
        str[stUnit.u32Pos + PACK_HEAD_SIZE] = static_cast<char>(u32Size >> 8);
        str[stUnit.u32Pos + PACK_HEAD_SIZE + 1] = static_cast<char>(u32Size);
    }
    return str;
}

static const InputKind s_astKinds[] = {
    {"srt", "srt", "srt", MakeSrt, nullptr},
    {"srt_tags", "srt", "srt", MakeSrtTags, nullptr},
    {"srt_utf8", "srt", "srt", MakeSrtUtf8, nullptr},
    {"srt_utf16", "srt", "srt", MakeSrtUtf16, nullptr},
    {"ass", "ass", "ass", MakeAss, nullptr},
    {"smi", "smi", "sami", MakeSmi, nullptr},
    {"lrc", "lrc", "lrc", MakeLrc, nullptr},
    {"microdvd", "sub", "microdvd", MakeMicrodvd, nullptr},
    {"subviewer", "sub", "subviewer", MakeSubviewer, nullptr},
    {"mpsub", "sub", "mpsub", MakeMpsub, nullptr},
    {"vobsub", "idx", "vobsub", MakeVobSubIndex, MakeVobSubPacks},
};

const InputKind *FindInput(const std::string &strName) {
    for (const InputKind &stKind : s_astKinds) {
        if (strName == stKind.pszName) {
            return &stKind;
        }
    }
    return nullptr;
}

std::string WriteInput(const InputKind *pstKind, int32_t s32Cues, const std::string &strFolder) {
    const std::string strStem = strFolder + "/" + pstKind->pszName + std::to_string(s32Cues) + ".";
    const std::string strPath = strStem + pstKind->pszExt;
    bool bWritten = !!(std::ofstream(strPath, std::ios::binary) << pstKind->pfnMake(s32Cues));
    if (pstKind->pfnMakePacks != nullptr) {
        bWritten = bWritten && std::ofstream(strStem + "sub", std::ios::binary) << pstKind->pfnMakePacks(s32Cues);
    }
    return bWritten ? strPath : "";
}
