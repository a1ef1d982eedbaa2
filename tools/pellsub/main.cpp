// pellsub: what the subtitle plug-in makes of subtitle files, for people and programs.
#include "tools/pellsub/colour.h"
#include "tools/pellsub/command_line.h"
#include "tools/pellsub/exit_codes.h"
#include "tools/pellsub/generate.h"
#include "tools/pellsub/many_files.h"
#include "tools/pellsub/plugin_host.h"
#include "tools/pellsub/progress.h"
#include "tools/pellsub/safe_file.h"
#include "tools/pellsub/usage.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <fmt/format.h>

// Pictures and pages are about single files; everything else may be about thousands.
static bool CountsFiles(const ReportWriter *writer) {
    return writer != &kRender && writer != &kTimeline;
}

// Where reports come to the terminal one after the other, they show how far things are.
static bool WantsBar(const CommandLine &line) {
    return !OutputScreen().terminal || line.run.writer == &kConvert || line.run.writer == &kCheckText;
}

static int FinishOutput(const Output &out, int worst) {
    worst = out.failed ? std::max<int>(worst, EXIT_FAILED) : worst;
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        Complain("", "standard output cannot be written; is the disk full?");
        worst = std::max<int>(worst, EXIT_FAILED);
    }
    return worst;
}

static int RunFiles(const ManyFiles &many, CommandLine &line) {
    const ReportWriter &writer = *line.run.writer;
    const size_t count = many.list.names.size();
    Output out{.render = &line.render,
               .convert = &line.convert,
               .timeline = &line.timeline,
               .check = &line.check,
               .terminal = OutputScreen().terminal,
               .manyFiles = count > 1};
    const bool counts = count > 1 && CountsFiles(&writer);
    StartProgress(count, counts && WantsBar(line));
    if (writer.begin != nullptr) {
        writer.begin(out);
    }
    const int worst = RunManyFiles(many, out);
    if (writer.end != nullptr) {
        writer.end(out);
    }
    HideProgress();
    if (counts) {
        PutSummary(out.totals);
    }
    return FinishOutput(out, worst);
}

// What a command needs before the first file. Nothing, or why it cannot be had.
static std::optional<std::string> Begin(CommandLine &line) {
    const ReportWriter *writer = line.run.writer;
    if (writer == &kRender) {
        return BeginRender(line.render);
    }
    if (writer == &kConvert) {
        return BeginConvert(line.convert);
    }
    return writer == &kTimeline ? BeginTimeline(line.timeline) : std::nullopt;
}

static int Run(CommandLine &line) {
    if (const auto problem = Begin(line)) {
        Complain("", *problem);
        return EXIT_FAILED;
    }
    std::string why;
    FormatEntry *entry = LoadPlugin(why);
    if (entry == nullptr) {
        Complain("", "the plug-in cannot be loaded; install it with pellsub, or name it in PELL_FORMAT_LIB: " + why);
        return EXIT_FAILED;
    }
    ManyFiles many{entry, &line.run, ListFiles(entry, line.files, line.recursive), line.jobs};
    if (line.run.writer == &kConvert) {
        many.jobs = line.convert.output.empty() ? many.jobs : 1;
        KeepKinTogether(many.list, line.convert.directory);
        for (const std::string &name : many.list.names) {
            line.convert.sources.insert(FileKey(name));
        }
    }
    for (const std::string &directory : many.list.empty) {
        Complain(directory, "there is no subtitle file in it; they end in " + TakenExtensions(entry));
    }
    const int status = RunFiles(many, line);
    return many.list.empty.empty() && !many.list.incomplete ? status : std::max<int>(status, EXIT_FAILED);
}

// Help and version count as errors to the parser, with status 0. Arguments come last one first.
static int ExplainUsage(const CLI::App &app, std::vector<std::string> arguments, const CLI::ParseError &error) {
    if (error.get_exit_code() == 0) {
        return FinishOutput({}, app.exit(error));
    }
    std::reverse(arguments.begin(), arguments.end());
    Complain("", ExplainError(app, arguments, error));
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
    LookAtScreens();
    CommandLine line;
    CLI::App app("Show, check and convert subtitle files", "pellsub");
    DefineCommandLine(app, line);
    const std::vector<std::string> arguments = Arguments(argc, argv);
    try {
        app.parse(std::vector<std::string>(arguments));
        if (!line.generate.empty()) {
            return FinishOutput({}, Generate(app, line.generate));
        }
        ReadValues(app.get_subcommands().front()->get_name(), line);
    } catch (const CLI::ParseError &error) {
        return ExplainUsage(app, arguments, error);
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
