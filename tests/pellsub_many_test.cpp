// Many files at once, the directories that stand for them, and what the tool says of a wrong command line.
#include "tests/pellsub_run.h"

#include <csignal>
#include <fcntl.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

namespace fs = std::filesystem;

static std::string OneCue(const std::string &text) {
    return "1\n00:00:01,000 --> 00:00:02,000\n" + text + "\n\n";
}

static const std::string kPack("\0\0\1\xBA", 4);

// The summary ends with the time it took.
static std::string WithoutTime(const std::string &err) {
    const size_t comma = err.rfind(", ");
    return err.substr(0, comma);
}

static Strings NamesIn(const std::string &json) {
    Strings names;
    const Json document = Json::parse(json);
    for (const Json &file : document["files"]) {
        names.push_back(file["file"]);
    }
    return names;
}

TEST_F(Pellsub, TakesTheSubtitleFilesOfDirectories) {
    for (const char *name : {"d/b.srt", "d/a/z.ASS", "d/a/y.smi", "d/pair.idx", "d/text.sub", "d/text.idx", "e.srt"}) {
        Write(name, OneCue("x"));
    }
    Write("d/pair.Sub", kPack);
    Write("d/alone.sub", kPack);
    Write("d/notes.txt", "x");
    Write("empty/notes.txt", "x");
    fs::create_directory_symlink("..", fs::path(directory) / "d/a/loop");
    fs::create_symlink("../e.srt", fs::path(directory) / "d/link.srt");
    const Result result = RunHere({"info", "--as", "json", "-r", "e.srt", "d", "empty"});
    EXPECT_EQ(NamesIn(result.out), (Strings{"e.srt", "d/a/y.smi", "d/a/z.ASS", "d/alone.sub", "d/b.srt", "d/link.srt",
                                            "d/pair.idx", "d/text.idx", "d/text.sub"}));
    EXPECT_NE(result.err.find("pellsub: empty: there is no subtitle file in it; they end in srt, "), std::string::npos);
    EXPECT_EQ(result.status, 2);
    EXPECT_NE(RunHere({"info", "d"}).err.find("-r"), std::string::npos);
}

// Whatever the number of processes, the same is written in the same order; files that fail are told between the others.
TEST_F(Pellsub, WritesTheSameWithSeveralFilesAtOnce) {
    Strings files;
    for (int i = 0; i < 60; i++) {
        files.push_back("f" + std::to_string(i) + ".srt");
        Write(files.back(), i % 20 == 7 ? "no cue" : OneCue(std::string(i == 3 ? 2000 : 5, 'a')));
    }
    std::string large;
    for (int i = 0; i < 3000; i++) {
        large += OneCue(std::string(1000, 'l'));
    }
    Write("f2.srt", large); // more than pipes hold
    for (const char *form : {"info text", "info json", "dump text", "dump jsonl", "check json"}) {
        const Strings words = Split(form, ' ');
        Strings arguments = {words[0], "--as", words[1]};
        arguments.insert(arguments.end(), files.begin(), files.end());
        const Result serial = RunHere(arguments);
        arguments.insert(arguments.begin() + 1, {"-j", "3"});
        const Result parallel = RunHere(arguments);
        EXPECT_EQ(parallel.out, serial.out) << form;
        EXPECT_EQ(WithoutTime(parallel.err), WithoutTime(serial.err)) << form;
        EXPECT_EQ(parallel.status, 2);
        EXPECT_NE(serial.err.find("pellsub: 60 files, 3056 cues, "), std::string::npos) << serial.err;
        EXPECT_NE(serial.err.find(", 3 failed, "), std::string::npos);
    }
}

// The first file in order gets the name, not the first to be done.
TEST_F(Pellsub, ConvertedFilesDoNotCollide) {
    std::string large;
    for (int i = 0; i < 2000; i++) {
        large += OneCue("first");
    }
    Write("movie.srt", large);
    for (int i = 0; i < 30; i++) {
        Write("other" + std::to_string(i) + ".srt", OneCue("x"));
    }
    Write("sub/movie.srt", OneCue("second"));
    const Result result = RunHere({"convert", "-j", "4", "--overwrite", "--to", "vtt", "--dir", "out", "-r", "."});
    EXPECT_NE(ReadAll(fs::path(directory) / "out/movie.vtt").find("first"), std::string::npos);
    EXPECT_NE(result.err.find("./sub/movie.srt: out/movie.vtt was written in this run"), std::string::npos);
    EXPECT_EQ(result.status, 2);
}

// Nobody reads what a worker writes, so all wait for the signal.
TEST_F(Pellsub, AnInterruptStopsAllProcesses) {
    std::string large;
    for (int i = 0; i < 20000; i++) {
        large += OneCue(std::string(200, 'x'));
    }
    Strings arguments = {"dump", "-j", "2"};
    for (const char *name : {"a.srt", "b.srt", "c.srt"}) {
        Write(name, large);
        arguments.push_back(name);
    }
    const Child child = Start(directory, arguments);
    std::string start(1, '\0');
    ASSERT_EQ(read(child.out, start.data(), 1), 1);
    kill(child.pid, SIGTERM);
    EXPECT_EQ(Finish(child).status, 1000 + SIGTERM); // the pipes end only when every process has
}

static std::string OnTerminal(const std::string &directory, const Strings &arguments, const Strings &variables) {
    int terminal = -1;
    int tool = -1;
    EXPECT_EQ(openpty(&terminal, &tool, nullptr, nullptr, nullptr), 0);
    const pid_t pid = Spawn(directory, arguments, variables, tool, tool);
    close(tool);
    std::string shown;
    while (Take(terminal, shown)) {
    }
    close(terminal);
    WaitFor(pid);
    return shown;
}

TEST_F(Pellsub, ColoursOnlyWhereItIsWanted) {
    Write("a.srt", OneCue("x"));
    const Strings arguments = {"info", "a.srt", "no.srt"};
    const std::string shown = OnTerminal(directory, arguments, {"TERM=xterm", "NO_COLOR="});
    EXPECT_EQ(shown.find("\033[1ma.srt\033[0m\r\n"), 0u) << shown;
    EXPECT_NE(shown.find("pellsub: no.srt: \033[31mno such file\033[0m"), std::string::npos) << shown;
    for (const Strings &variables : {Strings{"TERM=dumb", "NO_COLOR="}, Strings{"TERM=xterm", "NO_COLOR=1"}}) {
        EXPECT_EQ(OnTerminal(directory, arguments, variables).find('\033'), std::string::npos);
    }
}

TEST_F(Pellsub, NamesWhatIsNearestToAWrongWord) {
    const std::pair<const char *, const char *> rows[] = {
        {"", "which command? It is one of info, dump, convert"},
        {"chekc a.srt", "\"chekc\" is no command; did you mean check?"},
        {"qqqq a.srt", "\"qqqq\" is no command\nthe commands are info, dump"},
        {"--versoin", "--versoin is no option; did you mean --version?"},
        {"dump --recursve a", "--recursve is no option of dump; did you mean --recursive?"},
        {"dump --zzzzzz a", "--zzzzzz is no option of dump\nsee pellsub dump --help"},
        {"info --as jsn a", "--as: \"jsn\" is none of text, json; did you mean json?"},
        {"info --as", "--as needs a value"},
    };
    for (const auto &[arguments, message] : rows) {
        const Result result = RunHere(Split(arguments, ' '));
        EXPECT_EQ(result.status, 64) << arguments;
        EXPECT_EQ(result.err.find("pellsub: " + std::string(message)), 0u) << result.err;
    }
}

TEST_F(Pellsub, HelpFitsAScreen) {
    for (const char *command : {"", "info ", "dump ", "convert ", "check ", "timeline ", "render "}) {
        const Strings lines = Split(RunHere(Split(command + std::string("--help"), ' ')).out, '\n');
        EXPECT_LE(lines.size(), 23u) << command; // and the prompt
        for (const std::string &line : lines) {
            EXPECT_LE(line.size(), 80u) << line;
        }
    }
}
