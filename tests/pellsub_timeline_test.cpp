// The page that timeline writes: its data, and that nothing of a file can become more than data. What a browser makes
// of it is tested in timeline_page.sh.
#include "tests/pellsub_run.h"
#include "tests/vobsub_files.h"

#include <filesystem>
#include <string>

namespace fs = std::filesystem;

static size_t CountOf(const std::string &text, const std::string &part) {
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        count++;
    }
    return count;
}

static std::string DataOf(const std::string &page) {
    const std::string before = R"(<script type="application/json" id="data">)";
    const size_t begin = page.find(before) + before.size();
    return page.substr(begin, page.find("</script>", begin) - begin);
}

class PellsubTimeline : public Pellsub {
protected:
    // The page of these files, made anew.
    std::string PageOf(const Strings &files, int status = 0) {
        Strings arguments = {"timeline", "-o", "out.html", "--overwrite"};
        arguments.insert(arguments.end(), files.begin(), files.end());
        const Result result = RunHere(arguments);
        EXPECT_EQ(result.status, status) << result.err;
        EXPECT_EQ(result.out, "");
        return ReadAll(directory + "/out.html");
    }
};

TEST_F(PellsubTimeline, WritesAllStreamsOfAllFilesToOnePage) {
    Write("movie.en.srt", "1\n00:00:01,000 --> 00:00:02,500\none\ntwo\n\n2\n00:00:02,000 --> 00:00:03,000\nthree\n\n");
    Write("film.smi", "<SAMI><HEAD><STYLE TYPE=\"text/css\"><!--\n.KR {Name:Korean; lang:ko-KR;}\n"
                      ".EN {Name:English; lang:en-US;}\n--></STYLE></HEAD>\n<BODY>\n<SYNC Start=1000><P Class=KR>a\n"
                      "<P Class=EN>b\n<SYNC Start=2000><P Class=KR>&nbsp;\n<P Class=EN>&nbsp;\n</BODY></SAMI>\n");
    Write("song.lrc", "[00:01.00]sung\n");
    const Json files = Json::parse(DataOf(PageOf({"movie.en.srt", "none.srt", "film.smi", "song.lrc"}, 2)))["files"];
    ASSERT_EQ(files.size(), 4u);
    EXPECT_EQ(files[0]["name"], "movie.en.srt");
    EXPECT_EQ(files[0]["streams"].dump(),
              R"([{"number":0,"language":"en","title":"","cues":[[1000,2500,"one\ntwo"],[2000,3000,"three"]]}])");
    EXPECT_EQ(files[1]["failed"], true);
    EXPECT_EQ(files[1]["notes"].size(), 1u);
    EXPECT_EQ(files[2]["streams"].size(), 2u);
    EXPECT_EQ(files[2]["streams"][0]["cues"].size(), 1u); // what clears the screen is not there
    EXPECT_EQ(files[3]["streams"][0]["cues"].dump(), R"([[1000,null,"sung"]])");
    Write("frames.sub", "{30}{60}one\n");
    const Json guessed = Json::parse(DataOf(PageOf({"frames.sub"}, 1)))["files"][0]["notes"];
    ASSERT_EQ(guessed.size(), 1u);
    EXPECT_EQ(guessed[0], "it names no frame rate; its times are a guess (--fps sets it)");
}

// Compared with a page of harmless text: the same but for its data, and in that no character that begins markup.
TEST_F(PellsubTimeline, KeepsTextFromBecomingMarkup) {
    const std::string text = "</script><img src=x onerror=alert(1)><!--<script>&lt; \xE2\x80\xA8\xE2\x80\xA9\\\"'`";
    Write("plain.lrc", "[00:01.00]plain\n");
    Write("<img src=x>&.lrc", "[00:01.00]" + text + "\n");
    const std::string plain = PageOf({"plain.lrc"});
    const std::string page = PageOf({"<img src=x>&.lrc"});
    const std::string data = DataOf(page);
    EXPECT_EQ(data.find_first_of("<>&"), data.npos);
    EXPECT_EQ(data.find("\xE2\x80"), data.npos);
    const Json file = Json::parse(data)["files"][0];
    EXPECT_EQ(file["name"], "<img src=x>&.lrc");
    EXPECT_EQ(file["streams"][0]["cues"][0][2], text);
    EXPECT_EQ(page.find(data), plain.find(DataOf(plain)));
    EXPECT_EQ(page.substr(page.find(data) + data.size()),
              plain.substr(plain.find(DataOf(plain)) + DataOf(plain).size()));
}

TEST_F(PellsubTimeline, NeedsAndAllowsNothingFromElsewhere) {
    Write("a.lrc", "[00:01.00]one\n");
    const std::string page = PageOf({"a.lrc"});
    EXPECT_NE(page.find("content=\"default-src 'none'; script-src 'sha256-"), page.npos);
    EXPECT_NE(page.find("; style-src 'sha256-"), page.npos);
    EXPECT_NE(page.find("; img-src data:;"), page.npos);
    for (const char *no :
         {"http:", "https:", "unsafe", "innerHTML", "eval(", "style=", "onclick=", "_SOURCE@", "_DATA@"}) {
        EXPECT_EQ(CountOf(page, no), 0u) << no;
    }
}

TEST_F(PellsubTimeline, LeavesWhatIsThere) {
    Write("a.lrc", "[00:01.00]one\n");
    Write("empty.srt", "\n");
    Write("blank.lrc", "[00:01.00]\n");
    Write("precious", "mine");
    fs::create_symlink("precious", directory + "/link");
    fs::create_directory(directory + "/dir");
    const std::string stays = " is there already and stays as it is; --overwrite replaces it\n";
    const struct {
        const char *arguments;
        std::string message;
    } rows[] = {
        {"a.lrc -o precious", "precious" + stays},
        {"a.lrc -o link", "link" + stays},
        {"a.lrc -o dir --overwrite", "dir cannot be written: it is a directory\n"},
        {"a.lrc -o no/where.html", "no/where.html cannot be written: No such file or directory\n"},
        {"empty.srt -o new", "empty.srt: "},
        {"blank.lrc -o new", "blank.lrc: warning: stream 0: nothing to read in its 1 cue; dump --raw shows what is "
                             "delivered\npellsub: there is no cue to show, and no page was written\n"},
    };
    for (const auto &row : rows) {
        const Result result = RunHere(Split("timeline " + std::string(row.arguments), ' '));
        EXPECT_EQ(result.err.find("pellsub: " + row.message), 0u) << result.err;
        EXPECT_EQ(result.status, 2) << row.arguments;
    }
    for (const char *out : {"-", "/dev/stdout"}) {
        EXPECT_EQ(RunHere({"timeline", "a.lrc", "-o", out}).out.find("<!doctype html>"), 0u) << out;
    }
    EXPECT_EQ(RunHere({"timeline", "a.lrc", "-o", "link", "--overwrite"}).status, 0);
    EXPECT_FALSE(fs::is_symlink(directory + "/link"));
    EXPECT_EQ(ReadAll(directory + "/precious"), "mine");
    EXPECT_EQ(std::distance(fs::directory_iterator(directory), {}), 6); // and nothing beside them
}

// Where pictures cannot be drawn the page says so.
TEST_F(PellsubTimeline, HasThePicturesOfVobsub) {
    Write("film.sub", DvdPacks(DvdUnit({.drawing = {"0123", "3210"}, .x = 2, .y = 1})));
    Write("film.idx", "size: 720x480\nid: en, index: 0\n" + TimestampLine(1000, 0) + TimestampLine(2500, 2048));
    const bool drawn = fs::exists(fs::path(PELLSUB_PATH).parent_path().parent_path() / "lib" / "libpellsub_picture.so");
    const Json file = Json::parse(DataOf(PageOf({"film.idx"}, 1)))["files"][0];
    const std::string picture = file["streams"][0]["cues"][0][3];
    EXPECT_EQ(picture.substr(0, 11), drawn ? "iVBORw0KGgo" : ""); // how a PNG file begins, in base 64
    EXPECT_LT(picture.size(), 300u);                              // of the four by two that are drawn on, not of all
    const std::string note = file["notes"].dump();
    EXPECT_EQ(note.find("cannot draw pictures") == note.npos, drawn) << note;
}
