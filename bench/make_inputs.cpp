#include "bench/make_inputs.h"

#include <cstdio>

// Words in an order that a small generator decides, so that lines differ in length.
static std::string MakeText(uint32_t *pu32State) {
    static const char *const s_apszWords[] = {"the",   "rain",    "stops", "before", "anyone", "asks",
                                              "where", "they've", "gone",  "again",  "today",  "quietly"};
    std::string str;
    *pu32State = *pu32State * 1664525u + 1013904223u;
    const uint32_t u32Words = 4 + (*pu32State >> 16) % 6;
    for (uint32_t i = 0; i < u32Words; i++) {
        *pu32State = *pu32State * 1664525u + 1013904223u;
        str += i == 0 ? "" : " ";
        str += s_apszWords[(*pu32State >> 16) % (sizeof(s_apszWords) / sizeof(s_apszWords[0]))];
    }
    return str + "\n";
}

static std::string MakeClock(int s32Ms) {
    char aszClock[32];
    snprintf(aszClock, sizeof(aszClock), "%02d:%02d:%02d,%03d", s32Ms / 3600000, s32Ms / 60000 % 60, s32Ms / 1000 % 60,
             s32Ms % 1000);
    return aszClock;
}

std::string MakeSrt(int s32Cues) {
    std::string str;
    uint32_t u32State = 1;
    // 500,000 cues fit into the hundred hours that a time can tell.
    for (int i = 0; i < s32Cues; i++) {
        str += std::to_string(i + 1) + "\n" + MakeClock(i * 700) + " --> " + MakeClock(i * 700 + 650) + "\n";
        str += MakeText(&u32State);
        str += i % 2 == 0 ? MakeText(&u32State) : "";
        str += "\n";
    }
    return str;
}

static std::string MakeHundredths(int s32Ms) {
    char aszClock[32];
    snprintf(aszClock, sizeof(aszClock), "%d:%02d:%02d.%02d", s32Ms / 3600000 % 10, s32Ms / 60000 % 60,
             s32Ms / 1000 % 60, s32Ms / 10 % 100);
    return aszClock;
}

std::string MakeAss(int s32Cues) {
    std::string str = "[Script Info]\nScriptType: v4.00+\n\n[V4+ Styles]\nFormat: Name, Fontname, Fontsize\n"
                      "Style: Default,Sans,28\n\n[Events]\n"
                      "Format: Layer, Start, End, Style, Name, MarginL, MarginR, MarginV, Effect, Text\n";
    uint32_t u32State = 2;
    // Ten hours are what the format's one digit tells; the step is kept above its hundredths.
    const int s32Step = 36000000 / s32Cues / 10 * 10;
    for (int i = 0; i < s32Cues; i++) {
        str += "Dialogue: 0," + MakeHundredths(i * s32Step) + "," + MakeHundredths(i * s32Step + s32Step) +
               ",Default,,0,0,0,," + MakeText(&u32State);
    }
    return str;
}

std::string MakeSmi(int s32Cues) {
    std::string str = "<SAMI>\n<HEAD>\n<STYLE TYPE=\"text/css\">\n<!--\n.KRCC { Name: Korean; lang: ko-KR; }\n"
                      ".ENCC { Name: English; lang: en-US; }\n-->\n</STYLE>\n</HEAD>\n<BODY>\n";
    uint32_t u32State = 3;
    for (int i = 0; i < s32Cues; i++) {
        str += "<SYNC Start=" + std::to_string(i * 900) + ">\n<P Class=KRCC>\n" + MakeText(&u32State) +
               "<P Class=ENCC>\n" + MakeText(&u32State);
    }
    return str + "</BODY>\n</SAMI>\n";
}
