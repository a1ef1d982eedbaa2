// What the tool converts to, and that it reads the same out of it again.
#include "tests/pellsub_run.h"
#include "tests/vobsub_files.h"

#include <filesystem>
#include <fstream>
#include <set>

namespace fs = std::filesystem;

class PellsubConvert : public Pellsub {
protected:
    // The document that comes of the file.
    std::string Converted(const std::string &name, const std::string &format, const std::string &options = "") {
        const Result result = RunHere(Split("convert " + name + " -o - --to " + format + options, ' '));
        EXPECT_LE(result.status, 1) << result.err;
        warnings = result.err;
        return result.out;
    }

    // The same without what stands before the first cue.
    std::string Cues(const std::string &name, const std::string &format, const std::string &options = "") {
        const std::string document = Converted(name, format, options);
        const size_t ass = document.find("Dialogue:");
        return format == "vtt" ? document.substr(8) : document.substr(format == "ass" ? ass : 0);
    }

    std::set<std::string> FilesIn(const std::string &name) {
        std::set<std::string> names;
        for (const auto &entry : fs::directory_iterator(fs::path(directory) / name)) {
            names.insert(entry.path().filename());
        }
        return names;
    }

    std::string warnings;
};

static const std::string kSubRipTime = "1\n00:00:01,000 --> 00:00:02,000\n";
static const std::string kTwoSeconds = "00:00:01.000 --> 00:00:02.000";
static const std::string kJoiner = "\xE2\x81\xA0";

static std::string SubRip(const std::string &text) {
    return kSubRipTime + text + "\n\n";
}

static std::string WebVtt(const std::string &text, const std::string &settings = "") {
    return kTwoSeconds + settings + "\n" + text + "\n\n";
}

static std::string Ass(const std::string &text) {
    return "Dialogue: 0,0:00:01.00,0:00:02.00,Default,,0,0,0,," + text + "\n";
}

static std::string AssFile(const std::string &text, const std::string &style = "Default") {
    return "[V4+ Styles]\nFormat: Name, Fontname, Bold, Italic, Alignment\nStyle: Default,Arial,0,0,2\n"
           "Style: Top, Arial,0,-1,8\n[Events]\nFormat: Layer, Start, End, Style, Text\n"
           "Dialogue: 0,0:00:01.00,0:00:02.00," +
           style + "," + text + "\n";
}

static std::string Sami(const std::string &text) {
    return "<SAMI><BODY>\n<SYNC Start=1000><P Class=ENCC>\n" + text +
           "\n<SYNC Start=2000><P Class=ENCC>&nbsp;\n</BODY></SAMI>\n";
}

TEST_F(PellsubConvert, KeepsMarkupAsFarAsTheFormatHasIt) {
    const struct {
        const char *name;
        std::string bytes;
        const char *format;
        std::string cues;
    } rows[] = {
        {"a.srt", SubRip("{\\an8}<i>one\r\ntwo</i> <FONT size=1 color='red'>r</font><b>"), "vtt",
         WebVtt("<i>one\ntwo</i> <c.red>r</c>", " line:0")},
        {"b.srt", SubRip("<i>a {\\b1}b</i>\tc{\\b0} <s>d</s> < e"), "ass",
         Ass("{\\i1}a {\\b1}b{\\i0}    c{\\b0} <s>d</s> < e")},
        {"c.srt", SubRip("<<b>b>x</b> <i>y</i>"), "vtt", WebVtt("x y")}, // does not come out even
        {"d.srt", "\xFF\xFE" + Wide(SubRip("<u>one</u>"), 1), "ass", Ass("{\\u1}one")},
        {"a.ass", AssFile("{\\pos(1,2)\\t(0,5,\\i0)\\c&H0000FF&}a{\\r}, b\\Nc{\\p1}m 0 0{\\p0} {\\an7}{\\an3}"), "srt",
         SubRip("{\\an7}<font color=\"#ff0000\">a</font>, b\nc ")},
        {"b.ass", AssFile("{\\s1}a{\\s}\\hb", "*Top"), "vtt",
         WebVtt("<c.strike><i>a</i></c><i>\xC2\xA0"
                "b</i>",
                " line:0")},
        {"c.ass", AssFile("{\\an5\\b500}a{\\b700}b{\\b}c"), "json", "\"alignment\":5,\"runs\":[{\"text\":\"a\"},"},
        {"d.ass", AssFile("up", "Top") + "Dialogue: 0,0:00:01.00,0:00:02.00,Default,down\n", "vtt",
         WebVtt("<i>up</i>", " line:0") + WebVtt("down")},
        {"a.smi", Sami("<font color=\"#ffcc00\">a<br/> <B>b</B>&amp;<br><br></font> c<!-- x -->"), "vtt",
         WebVtt("<c.colorFFCC00>a</c>\n<c.colorFFCC00><b>b</b></c><c.colorFFCC00>&amp;</c>\nc")},
        {"b.smi", Sami("&lt;i&gt;no tag&lt;/i&gt; {\\x} <s>s</s>"), "srt",
         SubRip("<" + kJoiner + "i>no tag<" + kJoiner + "/i> {" + kJoiner + "\\x} s")},
        {"a.sub", "{1}{1}30\n{30}{60}{Y:i}{c:$0000FF}one|{y:b}two{y:b}\n", "srt",
         SubRip("<font color=\"#ff0000\"><i>one</i></font>\n<b><i>two{y:b}</i></b>")},
        {"a.lrc", "[00:01.00]a <00:01.20>b\n[00:02.00]\n", "srt", SubRip("a b")},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        Write(row.name, row.bytes);
        const std::string cues = Cues(row.name, row.format);
        EXPECT_NE(cues.find(row.cues), cues.npos) << cues;
        EXPECT_TRUE(row.format == std::string("json") || cues == row.cues) << cues;
        EXPECT_EQ(warnings, "");
    }
}

// Whatever a text holds, it ends no cue, begins no markup, and is there when the file is read again.
TEST_F(PellsubConvert, KeepsTextHarmless) {
    Write("a.smi", Sami("--&gt; &lt;b&gt;&lt;font x{\\i1}C:\\New\\\\N, &amp;amp;&#10;&#10; [1:2] }"));
    const std::string text = "--> <b><font x{\\i1}C:\\New\\\\N, &amp;\n[1:2] }";
    const struct {
        const char *format;
        std::vector<std::pair<const char *, const char *>> written; // differently, and how
    } rows[] = {
        {"srt", {{"\xE2\x86\x92", "-->"}}},
        {"ass", {{"\xEF\xBD\x9B", "{"}, {"\xEF\xBD\x9D", "}"}}},
        {"lrc", {}},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.format);
        Write("out." + std::string(row.format), Converted("a.smi", row.format));
        const Result result = RunHere({"dump", "--as", "json", "out." + std::string(row.format)});
        std::string read = Json::parse(result.out)["files"][0]["cues"][0]["text"];
        auto written = row.written;
        written.emplace_back(kJoiner.c_str(), "");
        for (const auto &[from, to] : written) {
            for (size_t at = read.find(from); at != read.npos; at = read.find(from)) {
                read.replace(at, std::strlen(from), to);
            }
        }
        std::string wanted = text;
        if (row.format == std::string("lrc")) {
            wanted.replace(wanted.find('\n'), 1, " ");
        }
        EXPECT_EQ(read, wanted);
    }
    EXPECT_EQ(Cues("a.smi", "vtt"), WebVtt("--&gt; &lt;b&gt;&lt;font x{\\i1}C:\\New\\\\N, &amp;amp;\n[1:2] }"));
    Write("bad.srt", SubRip("a\x01\xFF"
                            "b<i>\n \n</i>c"));
    EXPECT_EQ(Cues("bad.srt", "srt", " --encoding UTF-8"), SubRip("a\xEF\xBF\xBD"
                                                                  "b\nc"));
    EXPECT_NE(warnings.find("U+FFFD"), warnings.npos) << warnings;
}

TEST_F(PellsubConvert, ReckonsTimes) {
    const std::string several = "1\n00:00:01,004 --> 00:00:01,006\na\n\n2\n00:00:01,006 --> 00:00:03,995\nb\n\n"
                                "3\n01:00:00,000 --> 01:00:01,001\nc\n\n";
    const std::string ends = "[00:01.00]a\n[00:03.00]\n[00:04.00]b\n[00:30.00]c\n";
    const struct {
        const char *name;
        const std::string &bytes;
        const char *format;
        const char *options;
        const char *spans; // the lines with times
        const char *warning;
    } rows[] = {
        {"a.srt", several, "ass", "", "0:00:01.00,0:00:01.01 0:00:01.01,0:00:04.00 1:00:00.00,1:00:01.00", ""},
        {"a.srt", several, "srt", " --fps-from 25 --fps-to 23.976",
         "00:00:01,047-00:00:01,049 00:00:01,049-00:00:04,166 01:02:33,754-01:02:34,798", ""},
        {"a.srt", several, "vtt", " --fps-from 30 --fps-to 29.97 --shift 1000",
         "00:00:02.005-00:00:02.007 00:00:02.007-00:00:04.999 01:00:04.604-01:00:05.606", ""},
        {"a.srt", several, "srt", " --shift -1500", "00:00:00,000-00:00:02,495 00:59:58,500-00:59:59,501",
         "1 cue would begin before 0 and now begin at 0; 1 cue left out: over before 0"},
        {"a.srt", several, "ass", " --shift 32399000",
         "9:00:00.00,9:00:00.01 9:00:00.01,9:00:03.00 9:59:59.00,9:59:59.99",
         "1 cue beyond 09:59:59.990, the last time that is sure to be understood in this format; where only the "
         "end is, it is set to this time"},
        {"a.lrc", ends, "srt", "", "00:00:01,000-00:00:03,000 00:00:04,000-00:00:09,000 00:00:30,000-00:00:35,000", ""},
        {"a.lrc", ends, "lrc", "", "[00:01.00]a [00:03.00] [00:04.00]b [00:09.00] [00:30.00]c [00:35.00]", ""},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(std::string(row.format) + row.options);
        Write(row.name, row.bytes);
        std::string spans;
        for (const std::string &line : Split(Cues(row.name, row.format, row.options), '\n')) {
            const size_t arrow = line.find(" --> ");
            if (line.starts_with("Dialogue: 0,")) {
                spans += line.substr(12, line.find(",Default") - 12) + " ";
            } else if (arrow != line.npos) {
                spans += line.substr(0, arrow) + "-" + line.substr(arrow + 5) + " ";
            } else if (line.starts_with("[")) {
                spans += line + " ";
            }
        }
        EXPECT_EQ(spans, row.spans + std::string(" "));
        std::string told;
        for (const std::string &line : Split(warnings, '\n')) {
            told += (told.empty() ? "" : "; ") + line.substr(line.find("warning: ") + 9);
        }
        EXPECT_EQ(told, row.warning);
    }
}

TEST_F(PellsubConvert, NamesFilesByLanguageAndStaysInItsDirectory) {
    const std::string head = "<SAMI><HEAD><STYLE TYPE=\"text/css\"><!--\n";
    const auto classes = [&](const Strings &languages) {
        std::string style;
        std::string body = "--></STYLE></HEAD><BODY>\n<SYNC Start=1000>\n";
        for (size_t i = 0; i < languages.size(); i++) {
            const std::string name = "C" + std::to_string(i) + "CC";
            style += "." + name + " { Name: " + name + "; lang: " + languages[i] + "; SAMIType: CC; }\n";
            body += "<P Class=" + name + ">\ntext " + std::to_string(i) + "\n";
        }
        return head + style + body + "</BODY></SAMI>\n";
    };
    const struct {
        const char *name;
        std::string bytes;
        std::set<std::string> files;
    } rows[] = {
        {"a/movie.smi", classes({"ko-KR", "en-US"}), {"movie.ko.vtt", "movie.en.vtt"}},
        {"movie.en.srt", SubRip("one"), {"movie.en.vtt"}},
        {"./movie.srt", SubRip("one"), {"movie.vtt"}},
        {"same.smi", classes({"en-US", "en-US"}), {"same.en-0.vtt", "same.en-1.vtt"}},
        {"wide.smi", classes({"\xED\x95\x9C", "\xEC\x98\x81"}), {"wide.0.vtt", "wide.1.vtt"}},
        {"movie.\xED\x95\x9C.srt", SubRip("one"), {"movie.\xED\x95\x9C.vtt"}},
        {"evil.smi", classes({"../../x", "/etc\x1B[2J-x"}), {"evil.x.vtt", "evil.etc2j.vtt"}},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        fs::remove_all(directory + "/out");
        Write(row.name, row.bytes);
        const Result result = RunHere({"convert", row.name, "--to", "vtt", "--dir", "out"});
        EXPECT_EQ(result.err, "");
        EXPECT_EQ(FilesIn("out"), row.files);
    }
    EXPECT_EQ(RunHere({"convert", "a/movie.smi", "--to", "srt", "--stream", "EN"}).out, "a/movie.en.srt: 1 cue\n");
    EXPECT_EQ(FilesIn("a"), (std::set<std::string>{"movie.smi", "movie.en.srt"}));
    EXPECT_NE(RunHere({"convert", "a/movie.smi", "--to", "srt", "-o", "x"}).err.find("it has 2 streams, and -o names"),
              std::string::npos);
}

TEST_F(PellsubConvert, KeepsFilesUnlessToldOtherwise) {
    Write("a.srt", SubRip("new"));
    Write("a.vtt", "old");
    Write("b/a.srt", SubRip("b"));
    const Result kept = RunHere({"convert", "a.srt", "--to", "vtt"});
    EXPECT_EQ(kept.err, "pellsub: a.srt: a.vtt is there already and stays as it is; --overwrite replaces it\n");
    EXPECT_EQ(kept.status, 2);
    EXPECT_EQ(ReadAll(directory + "/a.vtt"), "old");
    EXPECT_EQ(RunHere({"convert", "a.srt", "--to", "vtt", "--overwrite"}).out, "a.vtt: 1 cue\n");
    EXPECT_NE(ReadAll(directory + "/a.vtt").find("new"), std::string::npos);
    const Result twice = RunHere({"convert", "a.srt", "b/a.srt", "--to", "vtt", "--dir", "out", "--overwrite"});
    EXPECT_NE(twice.err.find("b/a.srt: out/a.vtt was written in this run already"), twice.err.npos) << twice.err;
    EXPECT_NE(ReadAll(directory + "/out/a.vtt").find("new"), std::string::npos);
    EXPECT_EQ(FilesIn("out"), std::set<std::string>{"a.vtt"});
    const Result spelled = RunHere({"convert", "a.srt", directory + "/a.srt", "--to", "vtt", "-j", "2", "--overwrite"});
    EXPECT_NE(spelled.err.find("/a.vtt was written in this run already"), spelled.err.npos) << spelled.err;
    Write("b/a.lrc", "[00:01.00]lyrics\n");
    const Result source = RunHere({"convert", "-r", "b", "--to", "srt", "--overwrite"});
    EXPECT_NE(source.err.find("b/a.lrc: b/a.srt is itself to be converted in this run"), source.err.npos) << source.err;
    EXPECT_NE(ReadAll(directory + "/b/a.srt").find("b"), std::string::npos);
    EXPECT_EQ(RunHere({"convert", "a.srt", "--to", "vtt", "-o", "/dev/stdout"}).out.find("WEBVTT"), 0u);
    fs::create_symlink("a.srt", directory + "/file.vtt");
    fs::create_symlink("/dev/null", directory + "/device.vtt");
    EXPECT_EQ(RunHere({"convert", "a.srt", "--to", "vtt", "-o", "file.vtt", "--overwrite"}).status, 0);
    EXPECT_FALSE(fs::is_symlink(directory + "/file.vtt"));
    EXPECT_EQ(RunHere({"convert", "a.srt", "--to", "vtt", "-o", "device.vtt", "--overwrite"}).err,
              "pellsub: device.vtt cannot be written: it is no ordinary file\n");
    EXPECT_TRUE(fs::is_symlink(directory + "/device.vtt"));
}

TEST_F(PellsubConvert, SaysWhyItCannot) {
    Write("a.srt", SubRip("a"));
    Write("blank.lrc", "[00:01.00]\n");
    Write("film.idx", "id: en, index: 0\n" + TimestampLine(0, 0));
    Write("film.sub", DvdPacks(DvdUnit({.drawing = {"1", "1"}})));
    Write("empty.idx", "id: en, index: 0\n");
    Write("empty.sub", "x");
    const struct {
        const char *arguments;
        const char *message;
        int status;
    } rows[] = {
        {"film.idx --to srt", "it is VobSub, whose cues are pictures and have no text; pellsub render draws them", 2},
        {"empty.idx --to srt", "no stream found in it", 2},
        {"a.srt --to srt --to vtt", "--to is given twice", 64},
        {"a.srt --to vtt --shift -9000", "all of it would be over before 0, and nothing was written", 2},
        {"blank.lrc --to srt", "there is nothing to read in it, and nothing was written", 2},
        {"a.srt --to vtt --dir a.srt", "a.srt: is no directory and cannot be made one", 2},
        {"a.srt --to vtt -o no/where", "no/where cannot be written: No such file or directory", 2},
        {"a.srt film.idx --to vtt -o x", "--output: is for one FILE; --dir takes what comes of many", 64},
        {"--url a.srt --to vtt", "--url: has no place beside it to write to; --dir or -o names one", 64},
        {"a.srt --to vtt --fps-from 25", "--fps-to", 64},
        {"a.srt --to vtt --fps-from 0 --fps-to 25", "--fps-from", 64},
    };
    for (const auto &row : rows) {
        const Result result = RunHere(Split("convert " + std::string(row.arguments), ' '));
        EXPECT_NE(result.err.find(row.message), result.err.npos) << result.err;
        EXPECT_EQ(result.status, row.status) << row.arguments;
        EXPECT_EQ(result.out, "");
    }
}

// Its lines come in the order of their times, without empty ones, and end in line feeds.
TEST_F(PellsubConvert, KeepsTheStylesOfAssThatStaysAss) {
    const std::string head = "[Script Info]\nPlayResX: 640\n[V4+ Styles]\nStyle: Top,Arial,20\n[Events]\n"
                             "Format: Layer, Start, End, Style, Text\n";
    const std::string rest = "Comment: 0,0:00:02.00,0:00:03.00,Top,why\n[Fonts]\nfontname: a.ttf\n";
    Write("a.ass", head +
                       "\r\nDialogue: 1,0:00:02.00,0:00:03.00,Top,{\\k20\\pos(1,2)}b\tc\r\n"
                       "Dialogue: Marked=0, 0:00:01.50,0:00:02.00,Top,a\x01\n"
                       "Dialogue: 0,0:00:02.00,0:00:03.00,Top,{\\p1}m 0 0\n" +
                       rest);
    const Result result = RunHere({"convert", "a.ass", "--to", "ass", "-o", "b.ass", "--shift", "500"});
    EXPECT_EQ(ReadAll(fs::path(directory) / "b.ass"),
              head +
                  "Dialogue: Marked=0,0:00:02.00,0:00:02.50,Top,a\n"
                  "Dialogue: 1,0:00:02.50,0:00:03.50,Top,{\\k20\\pos(1,2)}b    c\n"
                  "Dialogue: 0,0:00:02.50,0:00:03.50,Top,{\\p1}m 0 0\n" +
                  rest);
    EXPECT_EQ(result.status, 0) << result.err;
}

// Colours without what they let through, places as on a key pad, no mark; what an old style does not name is as usual.
TEST_F(PellsubConvert, GivesSsaTheStylesOfAss) {
    Write("old.ssa", "[Script Info]\r\nScriptType: v4.00\r\n[V4 Styles]\r\n"
                     "Format: Name, PrimaryColour, BackColour, Bold, Alignment, AlphaLevel\r\n"
                     "Style: *Top,255,&H102030,-1,6,9\r\nStyle: Half,-2147483640,\r\n"
                     "[Events]\r\nFormat: Marked, Start, End, Style, Text\r\n"
                     "Dialogue: Marked=1,0:00:01.00,0:00:02.00,*Top,Marked=1,{\\a5}one\r\n");
    const std::string document = Converted("old.ssa", "ass");
    EXPECT_EQ(document.find("[Script Info]\nScriptType: v4.00+\n[V4+ Styles]\nFormat: Name, Fontname, "), 0u);
    EXPECT_NE(document.find("\nStyle: *Top,Arial,18,&H000000FF,&H0000FFFF,&H00102030,&H80102030,-1,0,0,0,100,100,0,0,"
                            "1,2,3,8,20,20,20,1\n"
                            "Style: Half,Arial,18,&H00000008,&H0000FFFF,&H00000000,&H80000000,0,0,0,0,100,100,0,0,"
                            "1,2,3,2,20,20,20,1\n"
                            "[Events]\nFormat: Layer, Start, End, Style, Text\n"
                            "Dialogue: 0,0:00:01.00,0:00:02.00,*Top,Marked=1,{\\a5}one\n"),
              std::string::npos)
        << document;
}

TEST_F(PellsubConvert, SaysWhatTheNewFileLacks) {
    static constexpr const char *kSpelling = "c.srt: warning: 1 line not read as meant; check tells which, --repair ";
    Write("a.lrc", "[00:01.50]one\n");
    Write("b.sub", "{30}{}open\n{90}{120}next\n");
    Write("c.srt", SubRip("one") + "2\n00:00:03 --> 00:00:04\ntwo\n\n");
    Write("d.srt", "1\n00:00:01,5 --> 00:00:02,5\none\n\n");
    Write("e.srt", "1\n00:00:09,000 --> 00:00:08,000\none\n\n");
    Write("g.lrc", "[100:00.00]one\n[00:01.00]two[00:02.00]\n");
    const struct {
        const char *arguments;
        std::string warning;
    } rows[] = {
        {"a.lrc", "a.lrc: warning: line 1: a player reads such times in a way of its own"},
        {"a.lrc --timing player", ""},
        {"b.sub", "b.sub: warning: it names no frame rate"},
        {"b.sub --fps 30", ""},
        {"c.srt", kSpelling},
        {"c.srt --repair", "line 6: time written as players read it"},
        {"d.srt", "d.srt: warning: 1 line not read as meant"},
        {"d.srt --timing common", ""},
        {"e.srt", "e.srt: warning: 1 line not read as meant"},
        {"g.lrc --timing common", ""},
    };
    for (const auto &row : rows) {
        const Result result = RunHere(Split("convert --overwrite --to vtt " + std::string(row.arguments), ' '));
        EXPECT_NE(result.err.find(row.warning), result.err.npos) << result.err;
        EXPECT_EQ(result.err.empty(), row.warning.empty()) << result.err;
        EXPECT_EQ(result.status, result.err.find("warning:") != result.err.npos ? 1 : 0) << row.arguments;
    }
    EXPECT_EQ(ReadAll(fs::path(directory) / "b.vtt").find("WEBVTT\n\n00:00:01.000 --> 00:00:03.000\nopen\n"), 0u);
}

TEST_F(PellsubConvert, WritesJson) {
    Write("a.en.srt", SubRip("{\\an9}one <b><u>two</u></b>\nthree"));
    EXPECT_EQ(Json::parse(Converted("a.en.srt", "json")).dump(),
              R"({"schema_version":1,"language":"en","title":null,"cues":[{"start_ms":1000,"end_ms":2000,)"
              R"("text":"one two\nthree","alignment":9,"runs":[{"text":"one "},)"
              R"({"text":"two","bold":true,"underline":true},{"text":"\nthree"}]}]})");
}
