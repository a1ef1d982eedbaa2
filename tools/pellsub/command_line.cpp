// What the command line says: its commands and options, and the values they take.
#include "tools/pellsub/command_line.h"

#include "charset/pell_charset.h"
#include "tools/pellsub/time_text.h"
#include "tools/pellsub/usage.h"

#include <algorithm>
#include <charconv>
#include <fmt/format.h>
#include <iterator>

struct WriterRow {
    const char *command;
    const char *as;
    const ReportWriter *writer;
};

static const WriterRow kWriters[] = {
    {"info", "text", &kInfoText},   {"info", "json", &kInfoJson},       {"dump", "text", &kDumpText},
    {"dump", "json", &kDumpJson},   {"dump", "jsonl", &kDumpJsonLines}, {"render", "text", &kRender},
    {"convert", "text", &kConvert}, {"timeline", "text", &kTimeline},   {"check", "text", &kCheckText},
    {"check", "json", &kCheckJson},
};

static constexpr const char *kExamples =
    "  pellsub info movie.en.srt\n"
    "  pellsub convert movie.smi --to vtt --dir subtitles\n"
    "  pellsub check -r subtitles\n"
    "\n"
    "pellsub COMMAND --help lists the options of a command; man pellsub says more.\n"
    "Exit status: 0 done; 1 with warnings; 2 a file failed; 64 wrong usage.\n";

static constexpr const char *kInfoExamples = "  pellsub info movie.en.srt\n"
                                             "  pellsub info -r films --as json > films.json\n";

static constexpr const char *kAboutInfo =
    "Shows the format, the encoding, the language and how many cues there are; of text SUB also its form and the frame "
    "rate, and of VobSub the picture size and palette.\n";

static constexpr const char *kDumpExamples = "  pellsub dump movie.en.srt\n"
                                             "  pellsub dump --from 10:00 --to 12:30 --as json movie.en.srt\n";

static constexpr const char *kAboutDump =
    "TIME is seconds, mm:ss or h:mm:ss, with decimals: 90, 1:30 and 0:01:30.000 are the same.\n"
    "\n"
    "Text is made readable: SAMI without tags, comments and empty lines, its entities as characters; of ASS only the "
    "texts of the events, without override blocks and drawings. A cue with nothing left to read, such as SAMI clears "
    "the screen with, is not shown. --raw and --no-converter show every cue as delivered.\n"
    "\n"
    "MicroDVD files count frames. Without a rate in their first line they are read at 30 frames/s, or at --fps: "
    "23.976, 25 and so on. VobSub has pictures instead of text; render draws them.\n"
    "\n"
    "JSON has every cue: \"text\" is the readable text and \"raw\" the delivered one, or null where they are the same. "
    "A cue of ASS also has \"events\": for each line its fields, named as the header names them (margin_l for MarginL; "
    "null where the line ends early), and the line itself as \"raw\". The header is the stream's \"header\"; in JSON "
    "lines it is an object of its own before the cues.\n";

static constexpr const char *kConvertExamples = "  pellsub convert movie.smi --to vtt --dir subtitles --shift -500\n"
                                                "  pellsub convert -r films --to srt --dir subtitles -j 4\n";

static constexpr const char *kAboutConvert =
    "A file is named after its source and the language of the stream: movie.smi becomes movie.ko.vtt and movie.en.vtt. "
    "Text becomes UTF-8, and markup what the other format has for it: emphasis, colours of words and places. ASS that "
    "stays ASS keeps its styles, fields, override blocks and fonts; its lines come in the order of their times. VobSub "
    "is pictures; render draws them.\n"
    "There is a file for each language, beside FILE, or in DIR, where those of all directories lie side by side; -o - "
    "writes to standard output. What of a file is not read as it is meant is warned of.\n";

static constexpr const char *kCheckExamples = "  pellsub check movie.en.srt\n"
                                              "  pellsub check -r films\n";

static constexpr const char *kAboutCheck =
    "Says what is wrong with each file, one line each with its place. Exit status 1: something was found.\n"
    "What \"--repair mends\" is mended by convert --repair; info, dump and timeline take --repair, too.\n";

static constexpr const char *kTimelineExamples = "  pellsub timeline movie.en.srt movie.ko.srt -o movie.html\n";

static constexpr const char *kAboutTimeline = "Writes one page for a browser that needs nothing else: the cues as "
                                              "bars, gaps, overlaps, reading speed, and a list "
                                              "to search. -o - writes to standard output.\n";

static constexpr const char *kRenderExamples = "  pellsub render movie.idx --to pictures --stream en\n";

static constexpr const char *kAboutRender =
    "Writes one PNG file for each picture, of the size of the video and transparent around it, named by language and "
    "time (pictures/en_00-01-02.345.png), and one with all pictures of a language as an overview "
    "(pictures/en_sheet.png). TIME is seconds, mm:ss or h:mm:ss, with decimals.\n";

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

static CLI::Option *AddFlag(CLI::App *command, const char *option, bool &flag, const char *help) {
    return command->add_flag(option, flag, help);
}

static void AddFiles(CLI::App *command, CommandLine &line) {
    command->add_option("FILE", line.files, "Subtitle files")->required();
}

static void AddManyFiles(CLI::App *command, CommandLine &line) {
    AddFiles(command, line);
    AddFlag(command, "-r,--recursive", line.recursive, "Take the subtitle files in directories, and below");
    command->add_option("-j,--jobs", line.jobs, "How many files to work on at once")
        ->option_text("N")
        ->check(CLI::Range(1, 256));
}

static void AddForm(CLI::App *command, CommandLine &line) {
    command->add_option("--as", line.as, "How to write it")
        ->option_text("FORM")
        ->check(OneOf(FormsOf(command->get_name())));
}

static void AddReading(CLI::App *command, CommandLine &line) {
    auto *encoding = AddValue(command, "--encoding", line.run.encodingName, "NAME",
                              "Read files in this encoding, whatever they look like");
    AddValue(command, "--fps", line.fps, "RATE", "Frame rate of MicroDVD files that name none");
    if (command->get_name() == "info" || command->get_name() == "dump") {
        AddFlag(command, "--no-converter", line.noConverter, "Deliver text as it stands in the file")
            ->excludes(encoding);
    }
}

static void AddTiming(CLI::App *command, CommandLine &line) {
    AddFlag(command, "--repair", line.run.repair, "Mend what a player would trip over, and say what");
    command->add_option("--timing", line.timing, "Whose reading of times")
        ->option_text("WAY")
        ->check(OneOf({"player", "common"}));
}

static void AddStream(CLI::App *command, CommandLine &line) {
    AddValue(command, "--stream", line.run.stream, "N|LANG", "Only this stream, by number or language");
}

static void AddUrl(CLI::App *command, CommandLine &line) {
    AddFlag(command, "--url", line.run.url, "FILE is a URL in the plug-in's own grammar");
}

static void DefineInfo(CLI::App *command, CommandLine &line) {
    AddManyFiles(command, line);
    AddForm(command, line);
    AddReading(command, line);
    AddTiming(command, line);
    AddStream(command, line);
    AddUrl(command, line);
}

static void DefineDump(CLI::App *command, CommandLine &line) {
    DefineInfo(command, line);
    AddValue(command, "--from", line.from, "TIME", "Only cues still shown at this time, or later ones");
    AddValue(command, "--to", line.to, "TIME", "Only cues that begin by this time");
    AddFlag(command, "--raw", line.run.raw, "Write text exactly as the plug-in delivers it");
}

static void DefineConvert(CLI::App *command, CommandLine &line) {
    AddManyFiles(command, line);
    command->add_option("--to", line.convert.format, "Format to write")
        ->option_text("FORMAT")
        ->required()
        ->check(OneOf({"srt", "vtt", "ass", "lrc", "json"}));
    auto *output =
        AddValue(command, "-o,--output", line.convert.output, "OUT", "The file to write, when there is only one");
    AddValue(command, "--dir", line.convert.directory, "DIR", "Where to write; made if it is not there")
        ->excludes(output);
    AddFlag(command, "--overwrite", line.convert.overwrite, "Replace files that are there already");
    AddValue(command, "--shift", line.shift, "MS", "Milliseconds to show cues later; -500 is earlier");
    auto *fpsFrom = AddValue(command, "--fps-from", line.fpsFrom, "RATE", "Frame rate that the times were made for");
    auto *fpsTo =
        AddValue(command, "--fps-to", line.fpsTo, "RATE", "Frame rate that they are wanted for")->needs(fpsFrom);
    fpsFrom->needs(fpsTo);
    AddReading(command, line);
    AddTiming(command, line);
    AddStream(command, line);
    AddUrl(command, line);
}

static void DefineRender(CLI::App *command, CommandLine &line) {
    command->add_option("FILE", line.files, "The .idx file of a VobSub pair")->required()->expected(1);
    AddValue(command, "--to", line.render.directory, "DIR", "Where to write them; made if it is not there")->required();
    AddStream(command, line);
    AddUrl(command, line);
    AddValue(command, "--from", line.from, "TIME", "Only pictures still shown at this time, or later ones");
    AddValue(command, "--to-time", line.to, "TIME", "Only pictures that begin by this time");
    AddFlag(command, "--overwrite", line.render.overwrite, "Replace files that are there already");
}

static void DefineTimeline(CLI::App *command, CommandLine &line) {
    AddFiles(command, line);
    AddValue(command, "-o,--output", line.timeline.output, "OUT", "The page to write")->required();
    AddFlag(command, "--overwrite", line.timeline.overwrite, "Replace a file that is there already");
    AddReading(command, line);
    AddTiming(command, line);
    AddStream(command, line);
    AddUrl(command, line);
}

static void DefineCheck(CLI::App *command, CommandLine &line) {
    AddManyFiles(command, line);
    AddForm(command, line);
    AddReading(command, line);
}

struct CommandRow {
    const char *name;
    const char *help;
    const char *examples;
    const char *about; // for the manual
    void (*define)(CLI::App *command, CommandLine &line);
};

static const CommandRow kCommands[] = {
    {"info", "Say what subtitle files hold", kInfoExamples, kAboutInfo, DefineInfo},
    {"dump", "Write the cues of subtitle files", kDumpExamples, kAboutDump, DefineDump},
    {"convert", "Write subtitle files of another format", kConvertExamples, kAboutConvert, DefineConvert},
    {"check", "Say what is wrong with subtitle files", kCheckExamples, kAboutCheck, DefineCheck},
    {"timeline", "Write a page that shows when cues are shown", kTimelineExamples, kAboutTimeline, DefineTimeline},
    {"render", "Draw the pictures of a VobSub file", kRenderExamples, kAboutRender, DefineRender},
};

// For the build: no command of a user, so no help shows it.
static void DefineGenerate(CLI::App &app, CommandLine &line) {
    app.add_subcommand("generate")
        ->group("")
        ->add_option("KIND", line.generate)
        ->required()
        ->check(OneOf({"man", "bash", "zsh", "fish"}));
}

void DefineCommandLine(CLI::App &app, CommandLine &line) {
    app.require_subcommand(1);
    app.set_version_flag("--version", "pellsub " PELLSUB_VERSION, "Show the version and exit");
    app.footer(kExamples);
    for (const CommandRow &row : kCommands) {
        CLI::App *command = app.add_subcommand(row.name, row.help);
        command->footer(row.examples);
        row.define(command, line);
    }
    DefineGenerate(app, line);
    DefineHelp(app);
}

const char *AboutCommand(const std::string &name) {
    const auto row =
        std::find_if(std::begin(kCommands), std::end(kCommands), [&](const CommandRow &r) { return name == r.name; });
    return row != std::end(kCommands) ? row->about : "";
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

static int64_t ReadShift(const std::string &text) {
    int64_t ms = 0;
    const char *begin = text.data() + (text.starts_with('+') && !text.starts_with("+-") ? 1 : 0);
    const auto parsed = std::from_chars(begin, text.data() + text.size(), ms);
    if (!text.empty() && (parsed.ec != std::errc() || parsed.ptr != text.data() + text.size())) {
        throw CLI::ValidationError("--shift", "\"" + text + "\" is no number of milliseconds");
    }
    return ms;
}

static std::optional<FrameRate> ReadRate(const char *option, const std::string &text) {
    const auto rate = ParseFrameRate(text);
    if (!text.empty() && !rate) {
        throw CLI::ValidationError(option, "\"" + text + "\" is no frame rate; take a number from 1 to 1000");
    }
    return rate;
}

static void CheckConvert(const CommandLine &line) {
    const ConvertRun &convert = line.convert;
    if (!convert.output.empty() && (line.files.size() > 1 || line.recursive)) {
        throw CLI::ValidationError("--output", "is for one FILE; --dir takes what comes of many");
    }
    if (line.run.markup && line.run.url && convert.output.empty() && convert.directory.empty()) {
        throw CLI::ValidationError("--url", "has no place beside it to write to; --dir or -o names one");
    }
}

// A link by that name is there already, but nobody means to replace it.
static void TakeStandardOutput(std::string &output) {
    output = output == "/dev/stdout" ? "-" : output;
}

void ReadValues(const std::string &command, CommandLine &line) {
    RunOptions &run = line.run;
    ReadTime("--from", line.from, run.fromMs);
    const char *to = command == "render" ? "--to-time" : "--to";
    ReadTime(to, line.to, run.toMs);
    if (run.fromMs > run.toMs) {
        throw CLI::ValidationError("--from", std::string("is later than ") + to);
    }
    run.frameRate = ReadRate("--fps", line.fps);
    line.convert.shiftMs = ReadShift(line.shift);
    const auto fpsFrom = ReadRate("--fps-from", line.fpsFrom);
    const auto fpsTo = ReadRate("--fps-to", line.fpsTo);
    line.convert.speed = fpsFrom && fpsTo ? fpsFrom->asked / fpsTo->asked : 1;
    run.commonTiming = line.timing == "common";
    run.timingTold = !line.timing.empty();
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
    run.markup = run.writer == &kConvert;
    TakeStandardOutput(line.convert.output);
    TakeStandardOutput(line.timeline.output);
    CheckConvert(line);
    run.findings = command == "check";
}
