// The command line: pellsub info FILE... and pellsub dump FILE... to reports on the files.
#include "charset/pell_charset.h"
#include "tools/pellsub/exit_codes.h"
#include "tools/pellsub/file_run.h"
#include "tools/pellsub/interrupt.h"
#include "tools/pellsub/plugin_host.h"
#include "tools/pellsub/render_run.h"
#include "tools/pellsub/time_text.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <exception>
#include <fmt/format.h>
#include <unistd.h>

struct CommandLine {
    RunOptions run;
    RenderRun render;
    std::vector<std::string> files;
    std::string as = "text";
    std::string from;
    std::string to;
    std::string fps;
    bool noConverter = false;
};

struct WriterRow {
    const char *command;
    const char *as;
    const ReportWriter *writer;
};

static const WriterRow kWriters[] = {
    {"info", "text", &kInfoText}, {"info", "json", &kInfoJson},       {"dump", "text", &kDumpText},
    {"dump", "json", &kDumpJson}, {"dump", "jsonl", &kDumpJsonLines}, {"render", "text", &kRender},
};

static constexpr const char *kAboutExit =
    "Exit status: 0 done; 1 done, with warnings; 2 a file failed; 64 wrong usage;\n"
    "130 interrupted (143 terminated). With several files the worst one counts.\n"
    "PELL_FORMAT_LIB names another plug-in library, PELL_LOG_LEVEL (2 to 6) shows its messages.\n";

static constexpr const char *kAboutInfo =
    "Example: pellsub info movie.en.srt\n"
    "shows the format, the encoding, the language and how many cues there are; of text SUB also\n"
    "its form and the frame rate, and of VobSub the picture size and palette.\n";

static constexpr const char *kAboutDump =
    "TIME is seconds, mm:ss or h:mm:ss, with decimals: 90, 1:30 and 0:01:30.000 are the same.\n"
    "Example: pellsub dump --from 10:00 --to 12:30 --as json movie.en.srt\n"
    "writes the cues shown between these times as one JSON document.\n"
    "\n"
    "Text is made readable: SAMI without tags, comments and empty lines, its entities as characters; of ASS\n"
    "only the texts of the events, without override blocks and drawings. A cue with nothing left to read,\n"
    "such as SAMI clears the screen with, is not shown. --raw and --no-converter show every cue as delivered.\n"
    "\n"
    "MicroDVD files count frames. Without a rate in their first line they are read at 30 frames/s, or at --fps:\n"
    "23.976, 25 and so on. VobSub has pictures instead of text; render draws them.\n"
    "\n"
    "JSON has every cue: \"text\" is the readable text and \"raw\" the delivered one, or null where they are\n"
    "the same. A cue of ASS also has \"events\": for each line its fields, named as the header names them\n"
    "(margin_l for MarginL; null where the line ends early), and the line itself as \"raw\". The header is the\n"
    "stream's \"header\"; in JSON lines it is an object of its own before the cues.\n";

static constexpr const char *kAboutRender =
    "Writes one PNG file for each picture, of the size of the video and transparent around it, named by language\n"
    "and time, and one with all pictures of a language as an overview. TIME is as for dump.\n"
    "Example: pellsub render movie.idx --to pictures --stream en\n"
    "writes pictures/en_00-01-02.345.png and so on, and pictures/en_sheet.png.\n";

// --- definition ----------------------------------------------------------------------------------------------------

static std::vector<std::string> FormsOf(const std::string &command) {
    std::vector<std::string> forms;
    for (const WriterRow &row : kWriters) {
        if (command == row.command) {
            forms.push_back(row.as);
        }
    }
    return forms;
}

static std::string NotEmpty(const std::string &value) {
    return value.empty() ? "its value is empty" : "";
}

// An option with a value; the placeholder stands for it in the help.
static CLI::Option *AddValue(CLI::App *command, const char *option, std::string &value, const char *placeholder,
                             const char *help) {
    return command->add_option(option, value, help)->option_text(placeholder)->check(NotEmpty);
}

static void AddStreamOptions(CLI::App *command, CommandLine &line) {
    AddValue(command, "--stream", line.run.stream, "N|LANG", "Only this stream, by number or language");
    command->add_flag("--url", line.run.url, "FILE is a URL in the plug-in's own grammar");
}

static void AddCommonOptions(CLI::App *command, CommandLine &line) {
    command->add_option("FILE", line.files, "Subtitle files")->required();
    command->add_option("--as", line.as, "What to write")->check(CLI::IsMember(FormsOf(command->get_name())));
    auto *encoding = AddValue(command, "--encoding", line.run.encodingName, "NAME", "Read files in this encoding");
    command->add_flag("--no-converter", line.noConverter, "Deliver text as it stands in the file")->excludes(encoding);
    AddValue(command, "--fps", line.fps, "RATE", "Frame rate of MicroDVD files that name none themselves");
    AddStreamOptions(command, line);
}

static void AddRenderOptions(CLI::App *command, CommandLine &line) {
    command->add_option("FILE", line.files, "The .idx file of a VobSub pair")->required()->expected(1);
    AddValue(command, "--to", line.render.directory, "DIR", "Where to write them; made if it is not there")->required();
    AddStreamOptions(command, line);
    AddValue(command, "--from", line.from, "TIME", "Only pictures that are still shown at this time or later");
    AddValue(command, "--to-time", line.to, "TIME", "Only pictures that begin at this time or earlier");
    command->add_flag("--overwrite", line.render.overwrite, "Replace files that are there already");
}

static void DefineCommandLine(CLI::App &app, CommandLine &line) {
    app.require_subcommand(1);
    app.set_version_flag("--version", "pellsub " PELLSUB_VERSION);
    app.footer(kAboutExit);
    CLI::App *info = app.add_subcommand("info", "Say what subtitle files hold");
    info->footer(kAboutInfo);
    AddCommonOptions(info, line);
    CLI::App *dump = app.add_subcommand("dump", "Write the cues of subtitle files");
    dump->footer(kAboutDump);
    AddCommonOptions(dump, line);
    AddValue(dump, "--from", line.from, "TIME", "Only cues that are still shown at this time or later");
    AddValue(dump, "--to", line.to, "TIME", "Only cues that begin at this time or earlier");
    dump->add_flag("--raw", line.run.raw, "Write text exactly as the plug-in delivers it");
    CLI::App *render = app.add_subcommand("render", "Draw the pictures of a VobSub file");
    render->footer(kAboutRender);
    AddRenderOptions(render, line);
}

// --- values --------------------------------------------------------------------------------------------------------

static std::string KnownEncodings() {
    std::string names;
    for (int32_t n = 0, code = PellCharsetAt(0); code != PELL_CODE_UNKNOWN; code = PellCharsetAt(++n)) {
        names += fmt::format("{}{}", names.empty() ? "" : ", ", PellCharsetName(code));
    }
    return names;
}

static void ReadTime(const char *option, const std::string &text, int64_t &ms) {
    const auto time = ParseTime(text);
    if (!text.empty() && !time) {
        throw CLI::ValidationError(option, "\"" + text + "\" is no time; take seconds, mm:ss or h:mm:ss.mmm");
    }
    ms = time.value_or(ms);
}

// The texts of the command line to values. What is wrong is reported the way the parser reports its own findings.
static void ReadValues(const std::string &command, CommandLine &line) {
    RunOptions &run = line.run;
    ReadTime("--from", line.from, run.fromMs);
    const char *to = command == "render" ? "--to-time" : "--to";
    ReadTime(to, line.to, run.toMs);
    if (run.fromMs > run.toMs) {
        throw CLI::ValidationError("--from", std::string("is later than ") + to);
    }
    run.frameRate = ParseFrameRate(line.fps);
    if (!line.fps.empty() && !run.frameRate) {
        throw CLI::ValidationError("--fps", "\"" + line.fps + "\" is no frame rate; take a number from 1 to 1000");
    }
    run.converter = !line.noConverter;
    run.encoding = run.encodingName.empty() ? PELL_CODE_UNKNOWN : PellCharsetFromName(run.encodingName.c_str());
    if (!run.encodingName.empty() && run.encoding == PELL_CODE_UNKNOWN) {
        throw CLI::ValidationError("--encoding",
                                   "\"" + run.encodingName + "\" is not known; known are " + KnownEncodings());
    }
    const auto row = std::find_if(std::begin(kWriters), std::end(kWriters),
                                  [&](auto &r) { return command == r.command && line.as == r.as; });
    run.writer = row->writer;
    run.json = line.as != "text";
    run.pictures = run.writer == &kRender;
}

// --- run -----------------------------------------------------------------------------------------------------------

static int RunFiles(FormatEntry *entry, CommandLine &line) {
    const ReportWriter &writer = *line.run.writer;
    Output out{.render = &line.render, .terminal = isatty(STDOUT_FILENO) == 1, .manyFiles = line.files.size() > 1};
    int worst = EXIT_DONE;
    if (writer.begin != nullptr) {
        writer.begin(out);
    }
    for (size_t i = 0; i < line.files.size() && worst < EXIT_BY_SIGNAL; i++) {
        worst = std::max(worst, RunFile(entry, line.run, line.files[i], out));
    }
    if (writer.end != nullptr) {
        writer.end(out);
    }
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        Complain("", "the output cannot be written");
        worst = std::max<int>(worst, EXIT_FAILED);
    }
    return worst;
}

static int Run(CommandLine &line) {
    if (const auto problem = line.run.pictures ? BeginRender(line.render) : std::nullopt) {
        Complain("", *problem);
        return EXIT_FAILED;
    }
    std::string why;
    FormatEntry *entry = LoadPlugin(why);
    if (entry == nullptr) {
        Complain("", "the plug-in cannot be loaded (PELL_FORMAT_LIB names it): " + why);
        return EXIT_FAILED;
    }
    StartInterruptWatch();
    return RunFiles(entry, line);
}

// Help and version count as errors to the parser, with status 0.
static int ExplainUsage(const CLI::App &app, const CLI::ParseError &error) {
    if (error.get_exit_code() == 0) {
        return app.exit(error);
    }
    const auto chosen = app.get_subcommands();
    const std::string command = chosen.empty() ? "" : " " + chosen.front()->get_name();
    Complain("", fmt::format("{}\nsee pellsub{} --help", error.what(), command));
    return EXIT_USAGE;
}

// The parser takes "[a,b]" for a list of two; as "./[a,b]" it stays one file name. Last argument first, as it wants.
static std::vector<std::string> Arguments(int argc, char **argv) {
    std::vector<std::string> arguments;
    for (int i = argc - 1; i > 0; i--) {
        const std::string argument = argv[i];
        const bool list = argument.size() > 1 && argument.front() == '[' && argument.back() == ']';
        arguments.push_back(list ? "./" + argument : argument);
    }
    return arguments;
}

static int Main(int argc, char **argv) {
    CommandLine line;
    CLI::App app("Shows what the subtitle plug-in makes of subtitle files.", "pellsub");
    DefineCommandLine(app, line);
    try {
        app.parse(Arguments(argc, argv));
        ReadValues(app.get_subcommands().front()->get_name(), line);
    } catch (const CLI::ParseError &error) {
        return ExplainUsage(app, error);
    }
    return Run(line);
}

// Libraries may throw, if only for want of memory.
int main(int argc, char **argv) {
    try {
        return Main(argc, argv);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "pellsub: %s\n", error.what());
        return EXIT_FAILED;
    }
}
