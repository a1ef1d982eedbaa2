// The pictures that the tool writes, read back with the library for PNG.
#include "tests/pellsub_run.h"
#include "tests/vobsub_files.h"

#include <filesystem>
#include <fstream>
#include <png.h>
#include <set>
#include <string>

namespace fs = std::filesystem;

struct Image {
    unsigned width = 0;
    unsigned height = 0;
    std::vector<uint8_t> rgba;
};

static Image ReadPng(const fs::path &path) {
    Image read;
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    EXPECT_NE(png_image_begin_read_from_file(&image, path.c_str()), 0) << path;
    image.format = PNG_FORMAT_RGBA;
    read.width = image.width;
    read.height = image.height;
    read.rgba.resize(PNG_IMAGE_SIZE(image));
    EXPECT_NE(png_image_finish_read(&image, nullptr, read.rgba.data(), 0, nullptr), 0) << image.message;
    return read;
}

// A letter for each colour: blank transparent, R, G and B opaque, b half transparent, ? any other.
static Drawing Letters(const Image &image) {
    static const std::pair<uint32_t, char> colours[] = {
        {0xFF0000FF, 'R'}, {0x00FF00FF, 'G'}, {0x0000FFFF, 'B'}, {0x0000FF88, 'b'}};
    Drawing rows(image.height, std::string(image.width, '?'));
    for (size_t i = 0; i < size_t{image.width} * image.height; i++) {
        const uint8_t *pixel = &image.rgba[i * 4];
        const uint32_t rgba = static_cast<uint32_t>(pixel[0]) << 24 | static_cast<uint32_t>(pixel[1]) << 16 |
                              static_cast<uint32_t>(pixel[2]) << 8 | pixel[3];
        char &letter = rows[i / image.width][i % image.width];
        letter = pixel[3] == 0 ? ' ' : letter;
        for (const auto &[colour, name] : colours) {
            letter = rgba == colour ? name : letter;
        }
    }
    return rows;
}

static constexpr const char *kPalette = "palette: 123456, ff0000, 00ff00, 0000ff\n";

class PellsubRender : public Pellsub {
protected:
    // The units one after the other, a second apart from 1 s on.
    void WritePair(const std::string &head, const std::vector<std::string> &units) {
        std::string index = head + "id: en, index: 0\n";
        std::string packets;
        for (size_t i = 0; i < units.size(); i++) {
            index += TimestampLine(static_cast<int>(i + 1) * 1000, packets.size());
            packets += DvdPacks(units[i]);
        }
        Write("film.idx", index);
        Write("film.sub", packets);
    }

    std::set<std::string> FilesIn(const std::string &name) {
        std::set<std::string> names;
        for (const auto &entry : fs::directory_iterator(fs::path(directory) / name)) {
            names.insert(entry.path().filename());
        }
        return names;
    }

    fs::path Out(const std::string &name) {
        return fs::path(directory) / "out" / name;
    }
};

TEST_F(PellsubRender, DrawsEachUnitWhereAndAsItSays) {
    WritePair("size: 8x5\n" + std::string(kPalette),
              {DvdUnit({.drawing = {"0120", "3012", "0003"}, .x = 2, .y = 1}),
               DvdUnit({.drawing = {"13", "21"}, .x = 6, .y = 3, .colours = 0x3210, .contrast = 0x8FF0}),
               DvdUnit({.drawing = {"11111", "11111"}, .x = 5, .y = 4, .colours = 0x0020})});
    const Result result = RunHere({"render", "film.idx", "--to", "out"});
    EXPECT_EQ(result.out, "stream 0 (en): 3 pictures of 8x5 written, overview en_sheet.png\n");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.status, 0);
    const std::string none(8, ' ');
    EXPECT_EQ(Letters(ReadPng(Out("en_00-00-01.000.png"))), (Drawing{none, "   RG   ", "  B RG  ", "     B  ", none}));
    EXPECT_EQ(Letters(ReadPng(Out("en_00-00-02.000.png"))), (Drawing{none, none, none, "      Rb", "      GR"}));
    // What lies outside is cut off.
    EXPECT_EQ(Letters(ReadPng(Out("en_00-00-03.000.png"))), (Drawing{none, none, none, none, "     GGG"}));

    const Image sheet = ReadPng(Out("en_sheet.png"));
    EXPECT_EQ(sheet.width, 4u + 3 * 324);
    EXPECT_EQ(sheet.height, 4u + 100);
    const Drawing letters = Letters(sheet);
    for (const char letter : {'R', 'G', 'B'}) {
        const auto has = [&](const std::string &row) {
            return row.find(letter) != std::string::npos;
        };
        EXPECT_TRUE(std::any_of(letters.begin(), letters.end(), has)) << letter;
    }
}

TEST_F(PellsubRender, DistrustsSizes) {
    const struct {
        const char *size;
        int x;
        int y;
        unsigned width;
        unsigned height;
    } rows[] = {
        {"", 700, 574, 720, 576},
        {"size: 0x0\n", 719, 576, 1280, 720},
        {"size: 720x0\n", 1300, 0, 1920, 1080},
        {"size: 65535x65535\n", 0, 4094, 4096, 4096},
        {"size: 4097x1\n", 0, 0, 720, 576},
        {"size: 1x1\n", 0, 0, 1, 1},
        {"size: 4096x1\n", 4095, 0, 4096, 1},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.size);
        WritePair(row.size + std::string(kPalette), {DvdUnit({.drawing = {"1", "1"}, .x = row.x, .y = row.y})});
        const Result result = RunHere({"render", "film.idx", "--to", "out", "--overwrite"});
        const Image image = ReadPng(Out("en_00-00-01.000.png"));
        EXPECT_EQ(image.width, row.width);
        EXPECT_EQ(image.height, row.height);
        const size_t at = (static_cast<size_t>(row.y) * row.width + static_cast<size_t>(row.x)) * 4;
        EXPECT_EQ(image.rgba.at(at), 0xFF); // red
        EXPECT_EQ(image.rgba.at(at + 3), 0xFF);
        const bool warned = result.err.find("its index names no usable picture size; " + std::to_string(row.width) +
                                            "x" + std::to_string(row.height) + " is taken") != std::string::npos;
        EXPECT_EQ(warned, row.width > 1 && row.height > 1);
        EXPECT_EQ(result.status, warned ? 1 : 0) << result.err;
    }
}

TEST_F(PellsubRender, WarnsOfUnitsThatGiveNoPicture) {
    const std::string good = DvdUnit({.drawing = {"1", "1"}});
    const std::string clear = DvdUnit({.drawing = {"1", "1"}, .contrast = 0});
    const std::string outside = DvdUnit({.drawing = {"1", "1"}, .x = 8});
    std::string wild = good; // its commands lie behind its end
    wild[2] = '\x7F';
    const std::string shortUnit("\0\5\0\4x", 5);
    WritePair("size: 8x5\n" + std::string(kPalette), {good, wild, clear, shortUnit, outside, good});
    const Result result = RunHere({"render", "film.idx", "--to", "out"});
    EXPECT_EQ(result.out, "stream 0 (en): 2 pictures of 8x5 written, overview en_sheet.png\n");
    EXPECT_EQ(result.err,
              "pellsub: film.idx: warning: stream 0 (en): 4 pictures could not be drawn, as broken, empty or "
              "outside the video; the first at 00:00:02.000\n");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(FilesIn("out"), (std::set<std::string>{"en_00-00-01.000.png", "en_00-00-06.000.png", "en_sheet.png"}));

    WritePair("size: 8x5\n", {clear});
    const Result nothing = RunHere({"render", "film.idx", "--to", "none"});
    EXPECT_NE(
        nothing.err.find("pellsub: film.idx: none of its pictures could be drawn; does its .sub file belong to it?\n"),
        nothing.err.npos);
    EXPECT_EQ(nothing.status, 2);
}

// Streams of one language, units of one time, times before the start and languages of no letters all get names of
// their own.
TEST_F(PellsubRender, NamesFilesByStreamAndTime) {
    const std::string one = TimestampLine(1000, 0);
    Write("film.sub", DvdPacks(DvdUnit({.drawing = {"1", "1"}})));
    Write("film.idx", "size: 8x5\n" + std::string(kPalette) + "id: en, index: 0\n" + one + one + one +
                          "id: EN, index: 1\n" + one + "id: :index: 2\n" + one +
                          "id: de, index: 3\ndelay: " + "-100:00:02:500\n" + one);
    RunHere({"render", "film.idx", "--to", "out"});
    const std::set<std::string> english = {"en-0_00-00-01.000.png", "en-0_00-00-01.000_2.png",
                                           "en-0_00-00-01.000_3.png", "en-0_sheet.png"};
    std::set<std::string> all = english;
    all.insert({"en-1_00-00-01.000.png", "en-1_sheet.png", "stream2_00-00-01.000.png", "stream2_sheet.png",
                "de_-100-00-01.500.png", "de_sheet.png"});
    EXPECT_EQ(FilesIn("out"), all);
    RunHere({"render", "film.idx", "--to", "first", "--stream", "0"});
    EXPECT_EQ(FilesIn("first"), english); // the names do not depend on what is asked for
}

TEST_F(PellsubRender, DrawsTheUnitsOfAWindow) {
    const std::string unit = DvdUnit({.drawing = {"1", "1"}});
    WritePair("size: 8x5\n", {unit, unit, unit, unit});
    RunHere({"render", "film.idx", "--to", "out", "--from", "2.5", "--to-time", "3"});
    EXPECT_EQ(FilesIn("out"), (std::set<std::string>{"en_00-00-02.000.png", "en_00-00-03.000.png", "en_sheet.png"}));
    const Result none = RunHere({"render", "film.idx", "--to", "none", "--to-time", "0.5"});
    EXPECT_EQ(none.err, "pellsub: film.idx: warning: no picture is shown in that time, and none was written\n");
    EXPECT_EQ(none.status, 1);
}

TEST_F(PellsubRender, KeepsFilesUnlessToldOtherwiseAndStaysInItsDirectory) {
    WritePair("size: 8x5\n", {DvdUnit({.drawing = {"1", "1"}}), DvdUnit({.drawing = {"1", "1"}})});
    Write("precious", "mine");
    Write("out/en_00-00-01.000.png", "old");
    fs::create_symlink("../precious", Out("en_00-00-02.000.png"));
    fs::create_symlink("../new", Out("en_sheet.png"));
    const Result kept = RunHere({"render", "film.idx", "--to", "out"});
    EXPECT_EQ(
        kept.err,
        "pellsub: film.idx: warning: 3 files were there already and stay as they are; --overwrite replaces them\n");
    EXPECT_EQ(kept.out, "stream 0 (en): 0 pictures of 8x5 written\n");
    EXPECT_EQ(kept.status, 1);
    EXPECT_EQ(ReadAll(Out("en_00-00-01.000.png")), "old");
    const Result replaced = RunHere({"render", "film.idx", "--to", "out", "--overwrite"});
    EXPECT_EQ(replaced.err, "");
    EXPECT_EQ(ReadPng(Out("en_00-00-02.000.png")).width, 8u);
    EXPECT_FALSE(fs::is_symlink(Out("en_sheet.png")));
    EXPECT_FALSE(fs::exists(directory + "/new"));
    EXPECT_EQ(ReadAll(directory + "/precious"), "mine");
}

TEST_F(PellsubRender, SaysWhatStandsInTheWay) {
    WritePair("size: 8x5\n", {DvdUnit({.drawing = {"1", "1"}})});
    Write("file", "");
    Write("a.srt", "1\n00:00:01,000 --> 00:00:02,000\none\n\n");
    fs::create_directories(Out("en_00-00-01.000.png"));
    const struct {
        const char *arguments;
        const char *message;
        int status;
    } rows[] = {
        {"film.idx --to file", "file: is no directory and cannot be made one: Not a directory\n", 2},
        {"film.idx --to file/in", "file/in: is no directory and cannot be made one: Not a directory\n", 2},
        {"film.idx --to out --overwrite", "film.idx: out/en_00-00-01.000.png cannot be written: it is a directory\n",
         2},
        {"a.srt --to out", "a.srt: it is SubRip, which is text; only VobSub (.idx) has pictures, and dump shows text\n",
         2},
        {"film.idx --to out --stream de", "film.idx: it has no stream \"de\", only 0 en\n", 2},
        {"film.idx", "--to is required\nsee pellsub render --help\n", 64},
        {"film.idx --to out --from 3 --to-time 2", "--from: is later than --to-time\nsee pellsub render --help\n", 64},
    };
    for (const auto &row : rows) {
        const Result result = RunHere(Split("render " + std::string(row.arguments), ' '));
        EXPECT_EQ(result.err, std::string("pellsub: ") + row.message);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.status, row.status);
    }
}

// However many units there are, the overview stays of a size that can be looked at.
TEST_F(PellsubRender, ThinsOutTheOverviewOfALongFilm) {
    std::string index = "size: 8x5\nid: en, index: 0\n";
    for (int i = 0; i < 500; i++) {
        index += TimestampLine(i * 10, 0);
    }
    Write("film.idx", index);
    Write("film.sub", DvdPacks(DvdUnit({.drawing = {"1", "1"}})));
    EXPECT_EQ(RunHere({"render", "film.idx", "--to", "out"}).out,
              "stream 0 (en): 500 pictures of 8x5 written, overview en_sheet.png (one of 4)\n");
    const Image sheet = ReadPng(Out("en_sheet.png"));
    EXPECT_EQ(sheet.height, 4u + 32 * 100); // 125 of them, four in a row
}
