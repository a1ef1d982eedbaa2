// What the tool finds wrong with files, the copies that it mends, and the two ways to read times.
#include "tests/pellsub_run.h"

#include <algorithm>
#include <string>

struct FileRow {
    const char *name;
    std::string bytes;
    const char *expected;
};

static const std::string kSamiHead = "<SAMI><HEAD><STYLE>\n.KO {Name:K; lang:ko-KR;}\n.EN {Name:E; lang:en-US;}\n"
                                     "</STYLE></HEAD><BODY>\n";
static const std::string kAssHead = "[Script Info]\n[Events]\n";
static const std::string kAssFields = "Format: Layer, Start, End, Style, Text\n";
static const std::string kAssEvent = "Dialogue: 0,0:00:01.00,0:00:02.00,Default,one\n";
static const std::string kDvdHead = "{HEAD\n}\n";
// A player goes by the first two numbers of a line, whatever stands behind them.
static const std::string kMpsub = "FORMAT=TIME\n1 2\none\n\n0.5 1e0\ntwo\n\n1.5.5 3 # x, y\nthree\n\n";

// "2 negative_time, 5 overlap": each finding's line and kind; "!kind" for an error.
static std::string FindingsText(const Json &file) {
    std::string text;
    for (const Json &finding : file["findings"]) {
        const std::string line = finding["line"].is_null() ? "-" : finding["line"].dump();
        text += (text.empty() ? "" : ", ") + line + " " + finding["kind"].get<std::string>();
    }
    return text + (file["error"].is_null() ? "" : " !" + file["error"]["kind"].get<std::string>());
}

// "1000-2000 one, 3000-? two": the cues that have something to read, line ends as "/".
static std::string CuesText(const Json &file) {
    std::string text;
    for (const Json &cue : file["cues"]) {
        std::string words = cue["text"];
        std::replace(words.begin(), words.end(), '\n', '/');
        if (!words.empty()) {
            const std::string end = cue["end_ms"].is_null() ? "?" : cue["end_ms"].dump();
            text += (text.empty() ? "" : ", ") + cue["start_ms"].dump() + "-" + end + " " + words;
        }
    }
    return text;
}

class PellsubCheck : public Pellsub {
protected:
    // One run over all files; each must come out as its row says.
    template <size_t N> Result Expect(Strings options, const FileRow (&rows)[N], std::string (*told)(const Json &)) {
        for (const FileRow &row : rows) {
            Write(row.name, row.bytes);
            options.emplace_back(row.name);
        }
        Result result = RunHere(options);
        const Json files = Json::parse(result.out)["files"];
        for (size_t i = 0; i < N; i++) {
            EXPECT_EQ(told(files[i]), rows[i].expected) << rows[i].name << ": " << files[i] << "\n" << result.err;
        }
        return result;
    }
};

// --- check ---------------------------------------------------------------------------------------------------------

TEST_F(PellsubCheck, FindsWhatAPersonShouldKnow) {
    const std::string good = "1\n00:00:01,000 --> 00:00:02,000\none\n\n";
    const std::string cutText = std::string(1500, 'x') + "\n" + std::string(1500, 'y') + "\n";
    const std::string lateBytes = good + "2\n00:00:03,000 --> 00:00:04,000\n\xC3(\n";
    const FileRow rows[] = {
        {"good.srt", good, ""},
        {"two.srt", "1\n00:00:05,000 --> 00:00:04,000\n \n\n2\n00:00:01,000 --> 00:00:09,000\ntwo\n",
         "2 end_before_start, 2 empty_cue, 2 overlap, 6 out_of_order"},
        {"lost.srt", good + "2\n00:00:03 --> 00:00:04\ntwo\n\n3\n00:00:05,000 -->\nthree\n",
         "6 time_spelling, 6 cue_lost, 10 time_not_understood"},
        {"long.srt", "1\n00:00:01,000 --> 00:00:02,000\n" + std::string(2560, 'x') + "\n\n" + good,
         "- cues_not_delivered, 2 long_cue, 2 cue_lost, 3 long_line"},
        {"bytes.srt", "\xEF\xBB\xBF" + lateBytes, "7 undecodable"},
        {"wide.srt", "\xFF\xFE" + Wide("1\r00:00:01,000 --> 00:00:02,000\r\n\n", 1), "1 line_ends, 2 cue_lost !no_cue"},
        {"odd.srt", "\xFF\xFE" + Wide("1\n00:00:01,000 --> 00:00:02,000\none", 1) + "\r",
         "- not_converted, 3 line_ends"},
        {"arrow.srt", "1\n00:00:01,000 --> 00:00:02,000\nFrom A --> B:\n1\n\n", ""},
        {"digits.sub", "0:0:1.000,0:0:2.000\n1984\n\n0:0:3.000,0:0:4.000\ntwo,\n1\n\n0:0:5.000,0:0:6.000\nthree\n\n",
         ""},
        {"brace.sub", kDvdHead + "{T 00:00:01:500\nsmile {:-}\nmore\n}\n", ""},
        {"numbers.sub", kMpsub, ""},
        {"cut.sub", "FORMAT=TIME\n1 2\n" + cutText + "\n", "2 cut_cue"},
        {"cutd.sub", kDvdHead + "{T 00:00:01:500\n" + cutText + "}\n", "3 cut_cue"},
        {"cut.smi", "<SYNC Start=1000>" + cutText, "1 cut_cue"},
        {"rate.sub", "{1}{9}one\nsome text\n", "- frame_rate_guessed, 2 line_not_understood"},
        {"told.sub", "{1}{1}25\n{25}{50}one\n", ""},
        {"year.sub", "{10}{20}1984\n{30}{40}one\n", "1 cue_lost"},
        {"music.lrc", "[00:01.00]one\n[00:01.50]two\n[00:02.05]three\n", "2 two_readings"},
        {"view.sub", "00:00:01.50,00:00:02.00\none\n\n", "1 two_readings"},
        {"hours.sub", kDvdHead + "{T 00:00:01:500\none\n}\n{T 999999:999999:999999:500\ntwo\n}\n", ""},
        {"ends.sub", "00:00:01.00,00:00:02.00\none\n\n\n00:00:03.00,00:00:04.00\ntwo\n",
         "4 blank_before_time, 5 not_closed, 5 cue_lost"},
        {"order.smi", kSamiHead + "<SYNC Start=1000>\n<P Class=EN>one\n<P Class=KO>two\n", "5 class_order"},
        {"fonts.ass",
         kAssHead + kAssFields + kAssEvent + "[Fonts]\nfontname: a\nDialogue: 0,0:00:03.00,0:00:04.00,Top,font\n", ""},
        {"alone.idx", "id: en, index: 0\ntimestamp: 00:00:00:000, filepos: 000000000\n", " !no_packet_file"},
    };
    const Result result = Expect({"check", "--as", "json"}, rows, FindingsText);
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(RunHere({"check", "good.srt"}).out, "good.srt: nothing found\n");
    Write("none.srt", "\n");
    EXPECT_NE(RunHere({"check", "none.srt"}).err.find("does not look like it; no line of it looks like a cue\n"),
              std::string::npos);
    const Result lost = RunHere({"check", "lost.srt"});
    EXPECT_EQ(lost.status, 1);
    EXPECT_EQ(lost.err, "");
    EXPECT_EQ(lost.out.find("lost.srt: line 6: 00:00:03.000: a player does not read this time as it is meant: "
                            "00:00:03 --> 00:00:04 (--repair mends it)\n"),
              0u)
        << lost.out;
}

// --- repair --------------------------------------------------------------------------------------------------------

TEST_F(PellsubCheck, MendsWhatAPlayerTripsOver) {
    const std::string wide = "\xFF\xFE" + std::string(2, '\0') + Wide("1\n00:00:01,000 --> 00:00:02,000\none\n", 3);
    const std::string turns = "<SYNC Start=1000>\n<P Class=KO>a\n<SYNC Start=2000>\n<P Class=EN>b\n"
                              "<SYNC Start=3000>\n<P Class=KO>c\n<P Class=EN>d\n";
    const FileRow rows[] = {
        {"tight.srt", "1\n00:00:01,000 --> 00:00:02,000\none\n2\n00:00:03,000 --> 00:00:04,000\ntwo",
         "1000-2000 one, 3000-4000 two"},
        {"blank.srt", "1\n00:00:01,000 --> 00:00:02,000\none\n\nmore\n\n2\n00:00:03,000 --> 00:00:04,000\ntwo\n",
         "1000-2000 one/more, 3000-4000 two"},
        {"years.srt", "00:00:01,000 --> 00:00:02,000\n1984\n\n00:00:03,000 --> 00:00:04,000\ntwo\n",
         "1000-2000 1984, 3000-4000 two"},
        {"times.srt",
         "00:01,5 -> 2:03.25\na\n\n100:00:00,000 --> 1234:00:00,000\nb\n\n-00:00:01,000 --> 00:00:01,000\nc\n\n"
         "00:00:01:0000 --> 00:00:2\nd\n",
         "0-1000 c, 1000-2000 d, 1500-123250 a, 360000000-362439999 b"},
        {"utf32.srt", wide, "1000-2000 one"},
        {"crlf.srt", "1\r\r\n00:00:01,000 --> 00:00:02,000\r\r\none\r\r\n", "1000-2000 one"},
        {"head.sub", "[TITLE]x\n\n-00:00:01.00,00:00:02.50\none\n\n\n00:00:03.00,00:00:04.00\ntwo\n\nmore",
         "0-2050 one, 3000-4000 two/more"},
        {"arrow.sub", "1\n00:00:01,500 --> 00:00:02,500\none\n2\n00:00:03,500 --> 00:00:04,500\ntwo\n",
         "1500-2500 one, 3500-4500 two"},
        {"mp.sub", "FORMAT=TIME\n1 2\none\n\n1,5 2\ntwo", "1000-3000 one, 4500-6500 two"},
        {"numbers.sub", kMpsub, "1000-3000 one, 3500-4500 two, 6000-6500 three"},
        {"dvd.sub", kDvdHead + "{T 00:00:01:00 one}\n{T 00:00:02:00\ntwo\n", "1000-1000 one, 2000-2000 two"},
        {"micro.sub", "{1}{1}10\n {10}{20}one\n{30}{40}two\n", "1000-2000 one, 3000-4000 two"},
        {"tenths.sub", "[10][20]one\n[-5][40]two\n", "1000-2000 one, 0-4000 two"},
        {"tags.lrc", "[offset:20]\n[10.00]a\n[100:00.00][0:00:01]b\n[00:02.00]c[00:03.00]d\n[00:04.00]e\n",
         "1020-1020 b, 2020-2020 cd, 4020-4020 e, 10020-10020 a, 6000020-6000020 b"},
        {"one.smi", "<BODY><SYNC Start=1000>a <SYNC ID=x  Start='2000' End=2500><P>b\n", "1000-2000 a, 2000-2500 b"},
        {"two.smi", kSamiHead + turns, "1000-3000 a, 3000-8000 c, 2000-3000 b, 3000-8000 d"},
        {"inline.smi", kSamiHead + "<SYNC Start=1000><P Class=KO>a<P Class=EN>b\n", "1000-6000 a, 1000-6000 b"},
        {"events.ass",
         kAssHead + "Dialogue: 0,12:00:01.5,0:00:02.00,Default,,0,0,0,,far\n"
                    "Dialogue: 0,10:00:01.5,10:00:02.00,Default,,0,0,0,,one\n",
         "2000-7201050 far, 36001500-36002000 one"},
        {"format.ass", kAssHead + kAssFields + "Dialogue: 0,0:00:01,0:00:02.5,Default,one\n", "1000-2500 one"},
    };
    Strings options = {"dump", "--repair", "--as", "json"};
    const Result result = Expect(options, rows, CuesText);
    EXPECT_EQ(result.err.find("pellsub: tight.srt: line 4: blank line put in before this cue\n"), 0u) << result.err;
    EXPECT_NE(result.err.find("pellsub: utf32.srt: UTF-32 turned into UTF-8\n"), result.err.npos) << result.err;
}

TEST_F(PellsubCheck, SumsUpWhatItMendsAlike) {
    std::string bytes;
    for (int i = 1; i <= 6; i++) {
        const std::string n = std::to_string(i);
        bytes += n + "\n00:00:0" + n + " --> 00:00:09\ntext\n\n";
    }
    Write("a.srt", bytes);
    Write("good.srt", "1\n00:00:01,000 --> 00:00:02,000\none\n\n");
    const Result result = RunHere({"info", "--repair", "--url", "./a.srt", "./good.srt"});
    EXPECT_EQ(Split(result.err, '\n').front(),
              "pellsub: ./a.srt: line 2: time written as players read it: 00:00:01 --> 00:00:09");
    EXPECT_NE(result.err.find("pellsub: ./a.srt: 3 more: time written as players read it\n"), result.err.npos);
    EXPECT_EQ(result.err.find("good.srt: line"), result.err.npos) << result.err;
    EXPECT_NE(result.out.find("    cues      6\n"), result.out.npos) << result.out;
    EXPECT_EQ(result.status, 0);
}

// --- timing --------------------------------------------------------------------------------------------------------

TEST_F(PellsubCheck, ReadsTimesTheCommonWayWhenAsked) {
    const FileRow rows[] = {
        {"a.lrc", "[offset:200]\n[00:01.50][00:03.25]a\n[00:02.125]b\n[00:05]c\n[00:06:75]d\n",
         "1300-1300 a, 1925-1925 b, 3050-3050 a, 4800-4800 c, 6550-6550 d"},
        {"a.sub", "00:00:01.50,00:00:03.05\none\n\n00:00:04.5,00:00:05.500\ntwo\n\n", "1500-3050 one, 4500-5500 two"},
        {"m.sub", "FORMAT=25\n25 50\none\n\n25 25\n10 20\n\n", "1000-3000 one, 4000-5000 10 20"},
        {"f.sub", "FORMAT=25\n25 50\nFORMAT=50 x\n\n25 25\ntwo\n\n", "1000-3000 FORMAT=50 x, 4000-5000 two"},
        {"d.sub", kDvdHead + "{T 00:00:01:05\none\n}\n", "1050-1050 one"},
        {"a.srt", "1\n00:00:01,5 --> 00:00:02.25\none\n", "1500-2250 one"},
        {"a.smi", "<SYNC Start=1000>one\n", "1000-6000 one"},
    };
    const Result result = Expect({"dump", "--timing", "common", "--as", "json"}, rows, CuesText);
    EXPECT_EQ(result.err.find("line"), result.err.npos) << result.err;
    const FileRow mended[] = {{"both.lrc", "[offset:-500]\n[10.5]a\n[00:01.50]b\n", "2000-2000 b, 11000-11000 a"},
                              {"both.sub", "\n00:01.5,00:02.25\none", "1500-2250 one"}};
    Expect({"dump", "--repair", "--timing", "common", "--as", "json"}, mended, CuesText);
    const FileRow asRead[] = {
        {"read.srt", "00:00:01,5 --> 00:00:02.25\none\n\n00:03,5 --> 00:04,5\ntwo\n", "1005-2025 one, 3500-4500 two"}};
    Expect({"dump", "--repair", "--timing", "player", "--as", "json"}, asRead, CuesText);
}
