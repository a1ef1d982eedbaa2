// The definition of the command line to a manual page, pellsub(1).
#include "tools/pellsub/command_line.h"
#include "tools/pellsub/generate.h"
#include "tools/pellsub/usage.h"

#include <cstdlib>
#include <ctime>
#include <fmt/format.h>
#include <sstream>

static constexpr size_t kMaxLine = 72; // before escapes

static constexpr const char *kIntroduction =
    "pellsub reads subtitle files the way a media player does, through the same plug-in: SubRip (.srt), SubStation "
    "Alpha (.ass, .ssa), SAMI (.smi, .sami), lyrics (.lrc), the text forms of .sub, and VobSub (.idx with its .sub).\n"
    "\n"
    "Reports go to standard output; what is wrong or uncertain goes to standard error, one line each, with the name of "
    "the file. With more than one file a line at the end sums up. Where standard error is a terminal, a bar shows how "
    "far the work is.\n"
    "\n"
    "With -r, a FILE that is a directory stands for the subtitle files in it and below, sorted by name. Links to "
    "directories are not followed, and the .sub file of a VobSub pair is left to its .idx. With -j N, N files are "
    "worked on at once; what is written comes in the order of the files all the same.\n"
    "\n"
    "With --url, FILE is path[::offset=N::length=N[::fd=N]], with the extension once more at the end where it has "
    "parameters: film.ts::offset=188::length=4711.srt is a range of bytes, read as SubRip.\n"
    "\n"
    "Times are those of the player. Where most programs read a file in another way, --timing common does as they do: "
    "fractions of fewer than three digits (SubRip, lyrics, SubViewer, DVD subtitle text), the sign of a lyrics offset, "
    "and frames in MPSub. With --repair the plug-in is served a mended copy of a file, in memory, and what was mended "
    "is told line by line.\n";

static constexpr const char *kExitRows[][2] = {
    {"0", "Done."},
    {"1", "Done, with warnings: something was lost or is uncertain. Of check: something was found."},
    {"2", "A file gave nothing, or the output could not be written. With several files the worst one counts."},
    {"64", "The command line is wrong."},
    {"130, 143", "Interrupted, or terminated."},
};

static constexpr const char *kEnvironmentRows[][2] = {
    {"PELL_FORMAT_LIB", "Another plug-in library to load."},
    {"PELL_LOG_LEVEL", "Shows the messages of the plug-in on standard error: 2 errors, 3 warnings, up to 6."},
    {"NO_COLOR", "When set, nothing is coloured. Colour is for terminals only, and not for those of TERM=dumb."},
};

// Text as the formatter prints it. What looks like an option keeps its hyphens.
static std::string Escaped(const std::string &text) {
    std::string escaped;
    for (const char ch : text) {
        const bool lineStart = escaped.empty() || escaped.back() == '\n';
        escaped += lineStart && (ch == '.' || ch == '\'') ? "\\&" : "";
        escaped += ch == '\\' ? std::string("\\e") : (ch == '-' ? std::string("\\-") : std::string(1, ch));
    }
    return escaped;
}

// Words to lines short enough for whoever edits the page.
static std::string Filled(const std::string &text) {
    std::istringstream words(text);
    std::string filled;
    size_t width = 0;
    for (std::string word; words >> word; width += word.size() + 1) {
        const bool turn = width + word.size() > kMaxLine;
        filled += filled.empty() ? "" : (turn ? "\n" : " ");
        filled += word;
        width = turn ? 0 : width;
    }
    return Escaped(filled);
}

static std::string Paragraphs(const std::string &text) {
    std::string page;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        page += line.empty() ? ".PP\n" : Filled(line) + "\n";
    }
    return page;
}

static std::string Item(const std::string &tag, const std::string &text) {
    return fmt::format(".TP\n.B {}\n{}\n", Escaped(tag), Filled(text));
}

template <size_t N> static std::string Items(const char *const (&rows)[N][2]) {
    std::string items;
    for (const auto &row : rows) {
        items += Item(row[0], row[1]);
    }
    return items;
}

static std::string WithoutIndent(const std::string &text) {
    return text.substr(text.find_first_not_of(' '));
}

static std::string OptionItem(const CLI::Option &option) {
    const auto choices = ChoicesOf(option);
    const std::string listed = choices.empty() ? "" : fmt::format(": {}", fmt::join(choices, ", "));
    return Item(WithoutIndent(OptionText(option)), fmt::format("{}{}.", option.get_description(), listed));
}

static std::string Examples(const std::string &text) {
    return ".PP\nFor example:\n.PP\n.nf\n" + Escaped(text) + ".fi\n";
}

static std::string CommandSection(const CLI::App &command) {
    std::string page =
        fmt::format(".SS {}\n{}.\n.PP\n", Escaped(UsageLine(command)), Escaped(command.get_description()));
    page += Paragraphs(AboutCommand(command.get_name()));
    for (const CLI::Option *option : command.get_options()) {
        page += option->nonpositional() ? OptionItem(*option) : "";
    }
    return page + Examples(command.get_footer());
}

// The day of the build, or of the sources, where builds are made to be repeatable.
static std::string Day() {
    const char *epoch = std::getenv("SOURCE_DATE_EPOCH");
    const std::time_t now =
        epoch != nullptr ? static_cast<std::time_t>(std::strtoll(epoch, nullptr, 10)) : std::time(nullptr);
    std::tm utc = {};
    char day[16] = "";
    gmtime_r(&now, &utc);
    std::strftime(day, sizeof(day), "%Y-%m-%d", &utc);
    return day;
}

std::string ManualPage(const CLI::App &app) {
    std::string page = fmt::format(".TH PELLSUB 1 \"{}\" \"pellsub {}\" \"User Commands\"\n", Day(), PELLSUB_VERSION);
    page += ".SH NAME\npellsub \\- show, check and convert subtitle files\n";
    page += ".SH SYNOPSIS\n" + Escaped(UsageLine(app)) + "\n";
    page += ".SH DESCRIPTION\n" + Paragraphs(kIntroduction) + ".SH COMMANDS\n";
    for (const CLI::App *command : VisibleCommands(app)) {
        page += CommandSection(*command);
    }
    page += ".SH EXIT STATUS\n" + Items(kExitRows);
    page += ".SH ENVIRONMENT\n" + Items(kEnvironmentRows);
    return page;
}
