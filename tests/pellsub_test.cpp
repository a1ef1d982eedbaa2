// Runs the built tool on files and checks what a user sees: standard output, standard error, exit status.
#include "tests/pellsub_run.h"

#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace fs = std::filesystem;

// --- files ---------------------------------------------------------------------------------------------------------

static std::string Cue(int second, const std::string &text) {
    char line[64];
    std::snprintf(line, sizeof(line), "1\n%02d:%02d:%02d,000 --> %02d:%02d:%02d,500\n", second / 3600, second / 60 % 60,
                  second % 60, second / 3600, second / 60 % 60, second % 60);
    return line + text + "\n\n";
}

static std::string TextsOf(const Json &file) {
    std::string texts;
    for (const Json &cue : file["cues"]) {
        texts += cue["text"].get<std::string>() + "|";
    }
    return texts;
}

static Strings KeysOf(const Json &object) {
    Strings keys;
    for (const auto &item : object.items()) {
        keys.push_back(item.key());
    }
    return keys;
}

// --- samples -------------------------------------------------------------------------------------------------------

// "x.expected" is the dump of the file named x beside it; "x.jsonl.expected" is its dump --as jsonl.
static void CheckSample(const fs::path &expected) {
    SCOPED_TRACE(expected);
    fs::path stem = expected.stem();
    std::string form = "text";
    if (stem.extension() == ".json" || stem.extension() == ".jsonl") {
        form = stem.extension().string().substr(1);
        stem = stem.stem();
    }
    for (const auto &entry : fs::directory_iterator(expected.parent_path())) {
        const fs::path name = entry.path().filename();
        const bool packets = name.extension() == ".sub" && fs::exists(fs::path(entry).replace_extension(".idx"));
        if (name.stem() == stem && name.extension() != ".expected" && !packets) {
            const Result result = RunTool(expected.parent_path(), {"dump", "--as", form, name});
            EXPECT_EQ(result.out, ReadAll(expected));
            EXPECT_EQ(result.err, "");
            EXPECT_EQ(result.status, 0);
            return;
        }
    }
    FAIL() << "nothing beside it to dump";
}

TEST(PellsubSamples, DumpAsExpected) {
    size_t samples = 0;
    for (const auto &entry : fs::recursive_directory_iterator(PELL_SAMPLES_DIR)) {
        if (entry.path().extension() == ".expected") {
            CheckSample(entry.path());
            samples++;
        }
    }
    EXPECT_GT(samples, 10u);
}

// --- JSON ----------------------------------------------------------------------------------------------------------

TEST(PellsubJson, InfoDocument) {
    const Result result = RunTool(PELL_SAMPLES_DIR, {"info", "--as", "json", "srt/utf16be.srt", "missing.srt"});
    EXPECT_EQ(result.status, 2);
    const Json document = Json::parse(result.out);
    EXPECT_EQ(KeysOf(document), (Strings{"schema_version", "files"}));
    EXPECT_EQ(document["schema_version"], 1);
    const Json &file = document["files"][0];
    EXPECT_EQ(KeysOf(file), (Strings{"file", "format", "form", "encoding", "encoding_source", "frame_rate",
                                     "frame_rate_source", "streams", "warnings", "error"}));
    EXPECT_EQ(file["format"], "srt");
    EXPECT_EQ(file["encoding"], "UTF-16BE");
    EXPECT_EQ(file["encoding_source"], "bom");
    EXPECT_EQ(file["error"], nullptr);
    EXPECT_EQ(file["streams"][0].dump(),
              R"({"stream":0,"language":null,"title":null,"width":null,"height":null,"palette":null,)"
              R"("header_bytes":null,"cues":3,"failed_reads":0,"first_ms":1000,"last_ms":9000})");
    EXPECT_EQ(document["files"][1].dump(),
              R"({"file":"missing.srt","format":null,"form":null,"encoding":null,"encoding_source":null,)"
              R"("frame_rate":null,"frame_rate_source":null,"streams":[],"warnings":[],)"
              R"("error":{"kind":"not_found","message":"no such file"}})");
}

TEST(PellsubJson, DumpDocument) {
    const Result result = RunTool(PELL_SAMPLES_DIR, {"dump", "--as", "json", "srt/end-before-start.srt", "srt"});
    EXPECT_EQ(result.status, 2);
    const Json document = Json::parse(result.out);
    const Json &file = document["files"][0];
    EXPECT_EQ(KeysOf(file), (Strings{"file", "format", "form", "encoding", "encoding_source", "frame_rate",
                                     "frame_rate_source", "streams", "cues", "warnings", "error"}));
    ASSERT_EQ(file["cues"].size(), 3u);
    EXPECT_EQ(KeysOf(document["files"][1]), KeysOf(file)); // also when nothing could be read
    EXPECT_EQ(document["files"][1]["error"]["kind"], "is_directory");
}

TEST_F(Pellsub, JsonLinesAreObjectsOfTheirOwn) {
    Write("a.srt", Cue(1, "one") + Cue(2, "two") + Cue(3, std::string(3000, 'x')));
    Write("empty.srt", "");
    const Result result = RunHere({"dump", "--as", "jsonl", "a.srt", "empty.srt"});
    Strings kinds;
    for (const std::string &line : Split(result.out, '\n')) {
        const Json object = Json::parse(line);
        EXPECT_EQ(line.find("{\"schema_version\":1,\"file\":"), 0u);
        kinds.push_back(KeysOf(object)[2]);
    }
    EXPECT_EQ(kinds, (Strings{"stream", "stream", "warning", "error"}));
}

// Text that is not UTF-8 must neither end the tool nor make the JSON invalid.
TEST_F(Pellsub, JsonReplacesBytesThatAreNoUtf8) {
    Write("a.srt", Cue(1, "caf\xE9 \xC3\xA9"));
    const Result result = RunHere({"dump", "--as", "json", "--no-converter", "a.srt"});
    const Json file = Json::parse(result.out)["files"][0];
    EXPECT_EQ(TextsOf(file), "caf\xEF\xBF\xBD \xC3\xA9\n\n|");
    EXPECT_EQ(file["cues"][0]["raw"], nullptr); // it is the text
    EXPECT_EQ(file.at("warnings").at(0).at("kind"), "not_utf8");
    EXPECT_EQ(result.status, 1);
}

// --- formats -------------------------------------------------------------------------------------------------------

static constexpr const char *kSrt = "1\n00:00:01,000 --> 00:00:02,000\none\r\n\xE9\t|\r\n\r\n";

static constexpr const char *kAss = "[Script Info]\n[Events]\nFormat: Start, End, MarginL, Text\n"
                                    "Dialogue: 0:00:01.00,0:00:02.00,7,{\\i1}one,\\Ntwo\r\n"
                                    "Dialogue: 0:00:01.00,0:00:02.00,8\n"
                                    "Dialogue: 0:00:03.00,0:00:04.00,9,{\\p1}m 0 0\n";

static constexpr const char *kSami = "<SAMI><STYLE>\n.DECC { Name: Deutsch; lang: de-DE; }\n"
                                     ".ENCC { Name: English; lang: en-US; }\n</STYLE>\n<BODY>\n"
                                     "<SYNC Start=1000>\n<P Class=DECC>eins<br/>\n<P Class=ENCC>one&lt;\n"
                                     "<SYNC Start=2000>\n<P Class=DECC>&nbsp;\n<P Class=ENCC>&nbsp;\n"
                                     "<SYNC Start=3000>\n<P Class=DECC>zwei\n<P Class=ENCC>two\n";

TEST_F(Pellsub, ShowsTextToReadOrAsDelivered) {
    const std::string one = "00:00:01.000 --> 00:00:02.000\n";
    const std::string three = "00:00:03.000 --> 00:00:08.000\n";
    const std::string english = one + "one<\n\n" + three + "two\n\n";
    const std::pair<const char *, std::string> rows[] = {
        {"--encoding windows-1252 a.srt", one + "one\n\xC3\xA9    |\n\n"},
        {"--encoding windows-1252 --raw a.srt", one + "one\r\n\xC3\xA9    |\r\n\r\n\n"},
        {"--no-converter a.srt", one + "one\r\n\xE9\t|\r\n\r\n\n"},
        {"a.ass", one + "one,\ntwo\n\n"},
        {"a.smi", "-- stream 0: de --\n" + one + "eins\n\n" + three + "zwei\n\n-- stream 1: en --\n" + english},
        {"--stream EN a.smi", english},
        {"--raw --stream 1 --from 2.5 --to 2.5 a.smi", "00:00:02.000 --> 00:00:03.000\n \n\n"},
    };
    Write("a.srt", kSrt);
    Write("a.ass", kAss);
    Write("a.smi", kSami);
    for (const auto &[arguments, shown] : rows) {
        EXPECT_EQ(RunHere(Split("dump " + std::string(arguments), ' ')).out, shown) << arguments;
    }
}

TEST_F(Pellsub, SaysWhatFilesHold) {
    Write("a.de.ass", kAss);
    Write("a.smi", kSami);
    const Result result = RunHere({"info", "--stream", "de", "a.de.ass", "a.smi"});
    EXPECT_EQ(result.out, R"(a.de.ass
  format    SubStation Alpha (ass)
  encoding  UTF-8 (nothing but ASCII in it)
  stream 0
    language  de
    header    57 bytes
    cues      2
    time      00:00:01.000 --> 00:00:04.000

a.smi
  format    SAMI (smi)
  encoding  UTF-8 (nothing but ASCII in it)
  stream 0
    language  de
    title     Deutsch
    cues      3
    time      00:00:01.000 --> 00:00:08.000
)");
    EXPECT_EQ(result.status, 0);
}

TEST_F(Pellsub, TellsHeaderAndEventsInJson) {
    Write("a.ass", kAss);
    const std::string header = R"("header":"[Script Info]\n[Events]\nFormat: Start, End, MarginL, Text\n"})";
    const Json events = Json::parse(R"([
        {"start": "0:00:01.00", "end": "0:00:02.00", "margin_l": "7", "text": "{\\i1}one,\\Ntwo",
         "raw": "Dialogue: 0:00:01.00,0:00:02.00,7,{\\i1}one,\\Ntwo"},
        {"start": "0:00:01.00", "end": "0:00:02.00", "margin_l": "8", "text": null,
         "raw": "Dialogue: 0:00:01.00,0:00:02.00,8"}])");
    const std::string text = RunHere({"dump", "--as", "json", "a.ass"}).out;
    EXPECT_NE(text.find(header), std::string::npos);
    EXPECT_EQ(Json::parse(text)["files"][0]["cues"][0]["events"].dump(), events.dump());
    EXPECT_EQ(RunHere({"dump", "--as", "jsonl", "a.ass"})
                  .out.find(R"({"schema_version":1,"file":"a.ass","stream":0,)" + header + "\n"),
              0u);
}

// --- failures and warnings -----------------------------------------------------------------------------------------

struct BadFile {
    const char *name;
    std::string bytes;
    const char *kind;
    const char *message;
    int status;
};

TEST_F(Pellsub, SaysWhatIsWrongWithAFile) {
    const std::string binary("\x7F"
                             "ELF\x02\x01\0\0\0\n\0\0\xFF\xFE\x03\n--> 5",
                             20);
    const BadFile rows[] = {
        {"empty.srt", "", "empty_file", "the file is empty", 2},
        {"notes.txt", "hello", "unknown_format", "unknown extension; known are srt", 2},
        {"README", "hello", "unknown_format", "unknown extension", 2},
        {"program.srt", binary, "no_cue", "no cue found in it; its name says SubRip", 2},
        {"prose.srt", "Once upon a time\nthere was no cue.\n", "no_cue", "no cue found in it", 2},
        {"wide.srt", std::string("\xFF\xFE\0\0", 4) + Wide(Cue(1, "one"), 3), "unreadable_encoding",
         "it is UTF-32LE, which cannot be read", 2},
        {"long.srt", Cue(1, std::string(2600, 'x')), "not_delivered", "none of its 1 cue could be delivered", 2},
        {"half.srt", Cue(1, "one") + Cue(2, std::string(2600, 'x')), "cues_not_delivered",
         "warning: 1 cue could not be delivered; PELL_LOG_LEVEL=3", 1},
        {"blank.smi", "<BODY>\n<SYNC Start=1>\n<P Class=A>&nbsp;\n", "no_text", "warning: stream 0: nothing to read",
         1},
    };
    for (const BadFile &row : rows) {
        SCOPED_TRACE(row.name);
        Write(row.name, row.bytes);
        const Result result = RunHere({"dump", "--as", "json", row.name});
        EXPECT_EQ(result.status, row.status);
        EXPECT_EQ(result.err.find("pellsub: " + std::string(row.name) + ": " + row.message), 0u) << result.err;
        const Json file = Json::parse(result.out)["files"][0];
        const Json &problem = row.status == 2 ? file.at("error") : file.at("warnings").at(0);
        EXPECT_EQ(problem["kind"], row.kind);
    }
    EXPECT_EQ(RunHere({"dump", "--raw", "blank.smi"}).err, "");
    const Result wrong = RunHere({"info", "--encoding", "UTF-16LE", "half.srt"});
    EXPECT_NE(wrong.err.find("; is it really UTF-16LE?\n"), wrong.err.npos) << wrong.err;
}

TEST_F(Pellsub, SaysWhatIsWrongWithAName) {
    fs::create_directory(fs::path(directory) / "folder.srt");
    ASSERT_EQ(mkfifo((directory + "/pipe.srt").c_str(), 0600), 0);
    const std::pair<const char *, const char *> rows[] = {
        {"missing.srt", "no such file\n"},
        {"", "no such file\n"},
        {"file:missing.srt", "no such file (a URL is taken with --url)\n"},
        {"folder.srt",
         "is a directory; name the files in it, or have info, dump, convert or check take them all with -r\n"},
        {"pipe.srt", "is not a regular file; save its content to one first\n"},
        {"secret.srt", "you are not allowed to read it; see its permissions (ls -l)\n"},
    };
    Write("secret.srt", Cue(1, "one"));
    fs::permissions(fs::path(directory) / "secret.srt", fs::perms::none);
    for (const auto &[name, message] : rows) {
        if (std::strcmp(name, "secret.srt") == 0 && geteuid() == 0) {
            continue; // root may read everything
        }
        const Result result = RunHere({"info", "--", name});
        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err, "pellsub: " + std::string(name) + (*name != '\0' ? ": " : "") + message);
    }
}

TEST_F(Pellsub, GoesOnAfterAFileThatFails) {
    Write("a.srt", Cue(1, "one"));
    Write("b.srt", Cue(2, "two"));
    const Result result = RunHere({"dump", "a.srt", "missing.srt", "b.srt"});
    EXPECT_EQ(result.out, "==> a.srt <==\n00:00:01.000 --> 00:00:01.500\none\n\n"
                          "==> b.srt <==\n00:00:02.000 --> 00:00:02.500\ntwo\n\n");
    EXPECT_EQ(result.err.find("pellsub: missing.srt: no such file\npellsub: 3 files, 2 cues, 0 warnings, 1 failed, "),
              0u);
    EXPECT_EQ(result.status, 2);
}

TEST_F(Pellsub, ReadsALargeFileWithoutKnowingItsEncoding) {
    Write("large.srt", Cue(1, "one") + std::string(40 << 20, '\n') + Cue(2, "two"));
    const Result result = RunHere({"dump", "--as", "json", "large.srt"});
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find("files over 5 MiB are not examined"), std::string::npos);
    const Json file = Json::parse(result.out)["files"][0];
    EXPECT_EQ(file["encoding"], nullptr);
    EXPECT_EQ(TextsOf(file), "one|two|");
}

TEST_F(Pellsub, FailsWithoutThePlugInOrAPlaceForTheOutput) {
    Write("a.srt", Cue(1, "one"));
    const Result unloaded = RunHere({"info", "a.srt"}, {"PELL_FORMAT_LIB=./none.so"});
    EXPECT_EQ(unloaded.status, 2);
    EXPECT_EQ(unloaded.err.find("pellsub: the plug-in cannot be loaded"), 0u);
    const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    EXPECT_EQ(WaitFor(Spawn(directory, {"dump", "a.srt"}, {}, full, full)), 2);
    close(full);
}

// --- options -------------------------------------------------------------------------------------------------------

TEST_F(Pellsub, ShowsTheCuesOfAWindow) {
    Write("a.srt", "1\n00:00:10,000 --> 00:00:12,000\nten\n\n2\n00:01:00,250 --> 00:01:00,250\nminute\n\n"
                   "3\n01:00:00,000 --> 00:00:00,000\nhour\n\n");
    const std::pair<const char *, const char *> rows[] = {
        {"", "ten|minute|hour|"},
        {" --from 11.999", "ten|minute|hour|"},
        {" --from 12", "minute|hour|"},
        {" --to 9,999", ""},
        {" --to 10", "ten|"},
        {" --from 11 --to 11", "ten|"},
        {" --from 1:00.25 --to 0:01:00.25", "minute|"},
        {" --from 1:00.251 --to 59:59.999", ""},
        {" --from 99:00:00", "hour|"}, // it has no end
    };
    for (const auto &[options, texts] : rows) {
        const Result result = RunHere(Split("dump --as json a.srt" + std::string(options), ' '));
        EXPECT_EQ(TextsOf(Json::parse(result.out)["files"][0]), texts) << options;
        EXPECT_EQ(result.status, 0);
    }
}

TEST_F(Pellsub, ReadsInTheEncodingItIsTold) {
    Write("a.srt", Cue(1, "\xC1\xC2\xC3"));
    Write("wide.srt", Wide(Cue(1, "wide"), 1));
    Write("large.srt", Cue(1, "\xC1\xC2\xC3") + std::string(6 << 20, '\n'));
    const struct {
        const char *name;
        const char *encoding;
        const char *text;
    } rows[] = {
        {"a.srt", "windows-1251", "\xD0\x91\xD0\x92\xD0\x93"},
        {"a.srt", "KOI8-R", "\xD0\xB0\xD0\xB1\xD1\x86"},
        {"wide.srt", "utf-16le", "wide"},
        {"large.srt", "cp1251", "\xD0\x91\xD0\x92\xD0\x93"}, // too large to be identified
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(std::string(row.name) + row.encoding);
        const Result result = RunHere({"dump", "--encoding", row.encoding, row.name});
        EXPECT_EQ(result.out, "00:00:01.000 --> 00:00:01.500\n" + std::string(row.text) + "\n\n");
        EXPECT_EQ(result.err, "");
        EXPECT_EQ(result.status, 0);
        const Result info = RunHere({"info", "--encoding", row.encoding, row.name});
        EXPECT_NE(info.out.find("(as told by --encoding)"), std::string::npos) << info.out;
    }
}

TEST_F(Pellsub, NamesTheStreamsThereAre) {
    Write("a.smi", kSami);
    const Result result = RunHere({"dump", "--stream", "fr", "a.smi"});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "pellsub: a.smi: it has no stream \"fr\", only 0 de, 1 en\n");
    EXPECT_EQ(RunHere({"info", "--stream", "fr", "a.smi"}).out, RunHere({"info", "a.smi"}).out);
}

TEST_F(Pellsub, RefusesWrongUsage) {
    const Strings rows = Split("|dump|play a.srt|dump --colour a.srt|dump --as xml a.srt|info --as jsonl a.srt|"
                               "info --raw a.srt|dump --from  a.srt|dump --stream  a.srt|dump --from 1:60 a.srt|"
                               "dump --from -1 a.srt|dump --from 1.0001 a.srt|dump --to 1:2:3:4 a.srt|"
                               "dump --from 9 --to 8 a.srt|dump --encoding UTF-8 --no-converter a.srt|"
                               "dump --encoding klingon a.srt",
                               '|');
    Write("a.srt", Cue(1, "one"));
    for (const std::string &row : rows) {
        const Result result = RunHere(Split(row, ' '));
        EXPECT_EQ(result.status, 64) << row << result.err;
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err.find("pellsub: "), 0u);
    }
    EXPECT_NE(RunHere(Split(rows.back(), ' ')).err.find("WINDOWS-1251"), std::string::npos); // known ones
}

TEST_F(Pellsub, ExplainsItselfOnStandardOutput) {
    for (const Strings &arguments :
         {Strings{"--help"}, Strings{"info", "--help"}, Strings{"dump", "--help"}, Strings{"render", "--help"}}) {
        const Result result = RunHere(arguments);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.err, "");
        EXPECT_NE(result.out.find("Usage: pellsub"), std::string::npos);
        EXPECT_NE(result.out.find("Examples:\n  pellsub "), std::string::npos);
    }
    EXPECT_EQ(RunHere({"--version"}).out.find("pellsub "), 0u);
}

// --- names and URLs ------------------------------------------------------------------------------------------------

// A file name is never taken for anything else, whatever it looks like.
TEST_F(Pellsub, OpensExactlyTheNamedFile) {
    const Strings names = Split("a::offset=0::length=3::fd=0.srt|::offset=0::length=3::fd=1.srt|b::offset=5.srt|"
                                "c::offset=0::length=9/plain.srt|d::subfd=3.srt|e::fd=0.srt|http:x.srt|C:x.srt|"
                                "file:x.srt|-x.srt|[a,b.srt]/c.srt|two words\n.srt|\xFF\xFE.srt|..hidden.srt",
                                '|');
    Write("b", Cue(1, "the wrong file"));
    int number = 0;
    for (const std::string &name : names) {
        SCOPED_TRACE(name);
        const std::string text = "file " + std::to_string(++number);
        Write(name, Cue(1, text));
        const std::string expected = "00:00:01.000 --> 00:00:01.500\n" + text + "\n\n";
        for (const std::string &argument : {name, directory + "/" + name}) {
            const Result result = RunHere({"dump", "--", argument});
            EXPECT_EQ(result.out, expected);
            EXPECT_EQ(result.err, "");
        }
    }
}

TEST_F(Pellsub, TakesAUrlAsItIs) {
    const std::string first = Cue(1, "one");
    Write("a.srt", first + Cue(2, "two"));
    const std::string range = "a.srt::offset=" + std::to_string(first.size()) + "::length=99";
    EXPECT_EQ(RunHere({"dump", "--url", "./" + range + ".srt"}).out, "00:00:02.000 --> 00:00:02.500\ntwo\n\n");
    EXPECT_EQ(RunHere({"dump", "./" + range + ".srt"}).status, 2); // no file of that name
    const Result refused = RunHere({"dump", "--url", "http:a.srt"});
    EXPECT_EQ(refused.status, 2);
    EXPECT_EQ(refused.out, "");
}

// --- terminals and signals -----------------------------------------------------------------------------------------

static std::string RunOnTerminal(const std::string &directory, const Strings &arguments) {
    int terminal = -1;
    int tool = -1;
    EXPECT_EQ(openpty(&terminal, &tool, nullptr, nullptr, nullptr), 0);
    termios settings = {};
    tcgetattr(tool, &settings);
    cfmakeraw(&settings);
    tcsetattr(tool, TCSANOW, &settings);
    const pid_t pid = Spawn(directory, arguments, {"TERM=dumb"}, tool, tool);
    close(tool);
    std::string shown;
    while (Take(terminal, shown)) {
    }
    close(terminal);
    WaitFor(pid);
    return shown;
}

TEST_F(Pellsub, MakesControlCharactersHarmlessOnATerminalOnly) {
    const std::string text = "\x1B[31mred\x07 \x7F \xC2\x9B"
                             "1m \xE2\x80\xAE"
                             "abc \xE2\x81\xA6 \xC3\xA9\ta\rb";
    const std::string name = "\x1B[2J.srt";
    Write(name, "1\r\n00:00:01,000 --> 00:00:02,000\r\n" + text + "\r\nsecond\r\n\r\n");
    const Result piped = RunHere({"dump", "--no-converter", name});
    EXPECT_EQ(piped.out, "00:00:01.000 --> 00:00:02.000\n" + text + "\r\nsecond\r\n\r\n\n");

    const std::string harmless = "\\u001b[31mred\\u0007 \\u007f \\u009b1m \\u202eabc \\u2066 \xC3\xA9\ta\\u000db";
    EXPECT_EQ(RunOnTerminal(directory, {"dump", "--no-converter", name}),
              "00:00:01.000 --> 00:00:02.000\n" + harmless + "\nsecond\n\n\n");
    EXPECT_EQ(RunOnTerminal(directory, {"dump", "--", "no" + name}), "pellsub: no\\u001b[2J.srt: no such file\n");
    EXPECT_EQ(RunOnTerminal(directory, {"info", name}).find("\\u001b[2J.srt\n"), 0u);

    const std::string json = RunOnTerminal(directory, {"dump", "--as", "json", "--no-converter", name});
    EXPECT_EQ(json.find_first_of("\x1B\x7F"), std::string::npos);
    EXPECT_EQ(json.find("\xC2\x9B"), std::string::npos);
    EXPECT_EQ(TextsOf(Json::parse(json)["files"][0]).find(text), 0u);

    Write("a.srt", Cue(1, "\x9B"
                          "5m \xE9 \xC0\x9B \xED\xA0\x80")); // no UTF-8
    EXPECT_NE(RunOnTerminal(directory, {"dump", "--no-converter", "a.srt"})
                  .find("\n\\x9b5m \\xe9 \\xc0\\x9b \\xed\\xa0\\x80\n"),
              std::string::npos);
}

static bool WaitUntilUnread(int fd, int bytes) {
    for (int i = 0; i < 6000; i++) {
        int unread = 0;
        if (ioctl(fd, FIONREAD, &unread) == 0 && unread >= bytes) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

// Every overlong line makes the plug-in write a message, and nobody reads the messages: the build waits in the middle
// of the file until the signal has been sent.
TEST_F(Pellsub, StopsAnIndexBuildOnASignal) {
    std::string bytes = Cue(1, "one");
    for (int i = 0; i < 3000; i++) {
        bytes += std::string(2600, 'x') + "\n";
    }
    Write("long.srt", bytes + "\n" + Cue(2, "two"));
    for (int signal : {SIGINT, SIGTERM}) {
        const Child child = Start(directory, {"dump", "--as", "json", "long.srt", "long.srt"}, {"PELL_LOG_LEVEL=3"});
        ASSERT_TRUE(WaitUntilUnread(child.err, 32768));
        kill(child.pid, signal);
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        const Result result = Finish(child);
        EXPECT_EQ(result.status, 128 + signal);
        EXPECT_NE(result.err.find("pellsub: long.srt: interrupted; 1 cue indexed until then\n"), std::string::npos);
        const Json document = Json::parse(result.out);
        ASSERT_EQ(document["files"].size(), 1u);
        EXPECT_EQ(document["files"][0]["error"]["kind"], "interrupted");
        EXPECT_EQ(document["files"][0]["cues"], Json::array());
    }
}

TEST_F(Pellsub, EndsAtOnceOnASignalOutsideAnIndexBuild) {
    std::string bytes;
    for (int i = 0; i < 5000; i++) {
        bytes += Cue(i, std::string(100, 'y'));
    }
    Write("a.srt", bytes);
    const Child child = Start(directory, {"dump", "a.srt"});
    ASSERT_TRUE(WaitUntilUnread(child.out, 32768));
    kill(child.pid, SIGINT);
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_EQ(Finish(child).status, 1000 + SIGINT);
}
