// The tool on files named .sub and .idx: what it says of their forms, rates, pictures and missing halves.
#include "tests/pellsub_run.h"
#include "tests/vobsub_files.h"

#include <filesystem>
#include <string>

namespace fs = std::filesystem;

// --- text SUB ------------------------------------------------------------------------------------------------------

TEST_F(Pellsub, PassesAFrameRateToMicrodvdFiles) {
    const struct {
        const char *head;
        const char *fps;
        const char *told;
        double rate;
        int status;
    } rows[] = {
        {"", "", "30 frames/s, assumed: the file names none; --fps sets it", 30, 0},
        {"", "25", "25 frames/s, from --fps", 25, 0},
        {"", "23.976", "23.976 frames/s, from --fps", 23.976, 0},
        {"", "59.94", "59.941 frames/s, from --fps", 59.941, 1}, // multiples of 10 mean something else
        {"", "29.97", "29.971 frames/s, from --fps", 29.971, 1},
        {"", "23.9760239", "23.976 frames/s, from --fps", 23.976, 1},
        {"", "24.9999", "25 frames/s, from --fps", 25, 1},
        {"", "12.005", "12.005 frames/s, from --fps", 12.005, 0},
        {"", "1000", "1000 frames/s, from --fps", 1000, 0},
        {"{1}{1}23.976\n", "29.97", "23.976 frames/s, from the file's first line", 23.976, 0},
        {"\xEF\xBB\xBF\n{1}{}10.000\r\n", "", "10 frames/s, from the file's first line", 10, 0},
        {"{1}{1}1.0\n", "25", "25 frames/s, from --fps", 25, 0},
        {"{1}{1}25 fps\n", "24", "24 frames/s, from --fps", 24, 0},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(std::string(row.head) + " --fps " + row.fps);
        Write("a.sub", row.head + std::string("{7000}{7100}one\n"));
        Strings options = {"a.sub"};
        if (*row.fps != '\0') {
            options.insert(options.end(), {"--fps", row.fps});
        }
        options.insert(options.begin(), "info");
        const Result info = RunHere(options);
        EXPECT_NE(info.out.find("\n  form      MicroDVD\n  rate      " + std::string(row.told) + "\n"), info.out.npos)
            << info.out;
        EXPECT_EQ(info.status, row.status) << info.err;
        options[0] = "dump";
        options.insert(options.end(), {"--as", "json"});
        const Json file = Json::parse(RunHere(options).out)["files"][0];
        EXPECT_EQ(file["frame_rate"], row.rate);
        EXPECT_EQ(file["cues"].back()["start_ms"], static_cast<int64_t>(7000000 / row.rate));
    }
    Write("a.sub", "{1}{2}one\n");
    EXPECT_EQ(
        RunHere({"dump", "--fps", "29.97", "a.sub"}).err,
        "pellsub: a.sub: warning: the rate of --fps cannot be had exactly; times are reckoned with 29.971 frames/s\n");
}

TEST_F(Pellsub, RefusesWhatIsNoFrameRate) {
    Write("a.sub", "{1}{2}one\n");
    for (const char *fps : {"0", "0.5", "-25", "1000.1", "25.", ".5", "1e2", "twenty", "24000/1001", " 25", "99999"}) {
        const Result result = RunHere({"info", "--fps", fps, "a.sub"});
        EXPECT_EQ(result.status, 64) << fps;
        EXPECT_EQ(result.err.find("pellsub: --fps: \"" + std::string(fps) + "\" is no frame rate"), 0u) << result.err;
    }
}

TEST_F(Pellsub, TellsTheFormsOfTextSub) {
    const std::string wide = "\xFF\xFE" + Wide("{1}{1}25.5\r\n{1}{9}a\r\n", 1);
    const std::string late = std::string(98, '\n') + "just text\n";
    const struct {
        std::string bytes;
        const char *form;
        Json rate;
    } rows[] = {
        {wide, "microdvd", 25.5},
        {"{10}{}one\n", "microdvd", 30.0},
        {"00:00:01.00,00:00:03.00\none\n\n", "subviewer", nullptr},
        {" 0:00:01,500 --> 00:00:03,000\none\n\n", "subviewer", nullptr},
        {late + "FORMAT=25\n1 2\none\n\n", "mpsub", nullptr},
        {"TITLE=x\nFORMAT=TIME\n1 2\none\n\n", "mpsub", nullptr},
        {"{T 00:01:02:30\none\n}\n", "dvdsubtitle", nullptr},
    };
    for (const auto &row : rows) {
        Write("a.sub", row.bytes);
        const Result result = RunHere({"info", "--as", "json", "a.sub"});
        const Json file = Json::parse(result.out)["files"][0];
        EXPECT_EQ(file["form"], row.form) << result.err;
        EXPECT_EQ(file["frame_rate"], row.rate) << row.bytes;
    }
}

// --- what is wrong with a file -------------------------------------------------------------------------------------

TEST_F(Pellsub, SaysWhatIsWrongWithASubOrIdxFile) {
    const std::string forms = "none of the four forms of text SUB begins in its first 100 lines: MicroDVD "
                              "({100}{150}text), SubViewer (00:00:01.000,00:00:03.000), MPSub (FORMAT=TIME), DVD "
                              "subtitle text ({T 00:00:01:00)\n";
    const std::string packets = "it is the packet file of a VobSub pair, pictures without times; open its index, ";
    const struct {
        const char *name;
        std::string bytes;
        std::string message;
    } rows[] = {
        {"brackets.sub", "[1][2]text\n", forms},
        {"late.sub", std::string(100, '\n') + "{1}{2}one\n", forms},
        {"digits.sub", "{" + std::string(500000, '1') + "}{2}one\n", forms},
        {"braces.sub", "{1}{1}25\n",
         "it looks like MicroDVD, but no cue is found in it; check tells which lines are not understood, and --repair "
         "mends what it can\n"},
        {"alone.sub", DvdPacks("x"), packets + "alone.idx, which does not lie beside it\n"},
        {"pair.SUB", DvdPacks("x"), packets + "pair.Idx\n"},
        {"half.idx", "id: en, index: 0\n" + TimestampLine(0, 0),
         "its packet file, half.sub, is missing; the two of a VobSub pair belong side by side\n"},
        {"pair.idx", "# nothing\nid: en, index: 0\n",
         "no stream found in it; an index has languages (id: en, index: 0) with time stamps\n"},
        {"x::offset=1.idx", "id: en, index: 0\n",
         "with \"::offset=\" or \"::subfd=\" in its name, the .sub file beside it is not found; rename the two\n"},
    };
    Write("pair.Idx", "");
    for (const auto &row : rows) {
        Write(row.name, row.bytes);
        const Result result = RunHere({"dump", row.name});
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err, "pellsub: " + std::string(row.name) + ": " + row.message);
        EXPECT_EQ(result.status, 2);
    }
    EXPECT_EQ(RunHere({"info", "--stream", "en", "pair.idx"}).err, RunHere({"info", "pair.idx"}).err);
}

// --- VobSub --------------------------------------------------------------------------------------------------------

TEST_F(Pellsub, TellsWhatAVobsubPairHolds) {
    const std::string unit = DvdUnit({.drawing = {"0123", "3210"}, .x = 2, .y = 1});
    Write("film.sub", DvdPacks(unit) + DvdPacks(std::string("\x0C\0", 2) + std::string(3070, 'x')));
    Write("film.idx", "size: 720x480\npalette: 000000, ff8000\nid: en, index: 0\n" + TimestampLine(1000, 0) +
                          TimestampLine(2500, 2048) + "id: de, index: 1\ndelay: -00:00:03:000\n" +
                          TimestampLine(1000, 0));
    const std::string rest = "#000000 #000000 #000000 #000000 #000000 #000000";
    const std::string look = "    size      720x480\n    palette   #000000 #ff8000 " + rest +
                             "\n              #000000 " + "#000000 " + rest + "\n";
    EXPECT_EQ(RunHere({"info", "film.idx"}).out,
              "film.idx\n  format    VobSub (idx)\n  encoding  none (pictures)\n  stream 0\n    language  en\n" + look +
                  "    pictures  2\n    time      00:00:01.000 --> 00:00:02.500\n  stream 1\n    language  de\n" +
                  look + "    pictures  1\n    time      -00:00:02.000 --> -00:00:02.000\n");
    const Json file = Json::parse(RunHere({"dump", "--as", "json", "film.idx"}).out)["files"][0];
    EXPECT_EQ(file["streams"][0]["palette"].size(), 16u);
    EXPECT_EQ(file["streams"][0]["palette"][1], "#ff8000");
    EXPECT_EQ(file["cues"][1].dump(),
              R"({"stream":0,"start_ms":2500,"end_ms":null,"text":null,"raw":null,"bytes":3072})");
}

// A broken unit and the end are told by the same result.
TEST_F(Pellsub, ReadsOnAfterManyBrokenUnits) {
    std::string index = "id: en, index: 0\n" + TimestampLine(0, 0);
    for (int i = 0; i < 1000; i++) {
        index += TimestampLine(1000 + i, 2048);
    }
    Write("film.idx", index + TimestampLine(9000, 0) + TimestampLine(9500, 4096));
    Write("film.sub", DvdPacks(DvdUnit({.drawing = {"1", "1"}})) + std::string(2048, 'x'));
    const Result result = RunHere({"info", "--as", "json", "film.idx"});
    const Json stream = Json::parse(result.out)["files"][0]["streams"][0];
    EXPECT_EQ(stream["cues"], 2);
    EXPECT_EQ(stream["failed_reads"], 1001); // the last one too
    EXPECT_EQ(stream["last_ms"], 9500);      // where the last good one ends
    EXPECT_EQ(result.err.find("pellsub: film.idx: warning: 1001 pictures could not be delivered"), 0u) << result.err;
    EXPECT_EQ(result.status, 1);
}

TEST_F(Pellsub, SaysThatABuildCannotDraw) {
    if (fs::exists(fs::path(PELLSUB_PATH).parent_path().parent_path() / "lib" / "libpellsub_picture.so")) {
        GTEST_SKIP() << "this one can";
    }
    const Result result = RunHere({"render", "film.idx", "--to", "out"});
    EXPECT_EQ(result.err, "pellsub: pictures cannot be drawn: libpellsub_picture.so is not there; it is built where "
                          "libavcodec and libpng are, and packaged as pellsub-pictures\n");
    EXPECT_EQ(result.status, 2);
    EXPECT_FALSE(fs::exists(directory + "/out"));
}
