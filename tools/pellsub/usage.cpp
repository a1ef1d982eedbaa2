// How the tool explains itself: help that fits a screen, and what to do about a wrong command line.
#include "tools/pellsub/usage.h"

#include "tools/pellsub/colour.h"

#include <algorithm>
#include <fmt/format.h>
#include <numeric>
#include <sstream>

// --- help ----------------------------------------------------------------------------------------------------------

static std::vector<std::string> SplitAt(const std::string &text, char separator) {
    std::vector<std::string> parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, separator);) {
        parts.push_back(part);
    }
    return parts;
}

// The parser tells them as "TEXT:{text,json}".
std::vector<std::string> ChoicesOf(const CLI::Option &option) {
    const std::string type = option.get_type_name();
    const size_t open = type.find('{');
    const size_t close = type.find('}', open == std::string::npos ? 0 : open);
    return close == std::string::npos ? std::vector<std::string>()
                                      : SplitAt(type.substr(open + 1, close - open - 1), ',');
}

bool TakesValue(const CLI::Option &option) {
    return option.get_expected_max() > 0;
}

static const char *PlaceholderOf(const CLI::Option &option) {
    return option.get_option_text().empty() ? "WORD" : option.get_option_text().c_str();
}

std::string OptionText(const CLI::Option &option) {
    const auto &shortNames = option.get_snames();
    const auto &longNames = option.get_lnames();
    return fmt::format("{}{}{}{}{}", shortNames.empty() ? "    " : "-" + shortNames.front(),
                       shortNames.empty() || longNames.empty() ? "" : ", ",
                       longNames.empty() ? "" : "--" + longNames.front(), TakesValue(option) ? " " : "",
                       TakesValue(option) ? PlaceholderOf(option) : "");
}

std::vector<const CLI::App *> VisibleCommands(const CLI::App &app) {
    return app.get_subcommands([](const CLI::App *command) { return !command->get_group().empty(); });
}

static std::string Heading(const char *text) {
    return Coloured(OutputScreen(), COLOUR_BOLD, text);
}

std::string UsageLine(const CLI::App &app) {
    std::string line = app.get_parent() == nullptr ? "pellsub COMMAND" : "pellsub " + app.get_name();
    line += " [OPTION]...";
    for (const CLI::Option *option : app.get_options()) {
        if (option->get_positional()) {
            line += fmt::format(" {}{}", option->get_name(true), option->get_expected_max() > 1 ? "..." : "");
        } else if (option->get_required()) {
            line += fmt::format(" --{} {}", option->get_lnames().front(), PlaceholderOf(*option));
        }
    }
    return line + (app.get_parent() == nullptr ? " FILE..." : "");
}

static std::string OptionLine(const CLI::Option &option) {
    const auto choices = ChoicesOf(option);
    const std::string listed =
        choices.empty() ? "" : fmt::format(": {}", fmt::join(choices.begin(), choices.end(), ", "));
    return fmt::format("  {:<22}{}{}\n", OptionText(option), option.get_description(), listed);
}

static std::string MakeHelp(const CLI::App *app, const std::string &, CLI::AppFormatMode) {
    std::string help = fmt::format("{}.\n{} {}\n", app->get_description(), Heading("Usage:"), UsageLine(*app));
    const auto commands = VisibleCommands(*app);
    if (!commands.empty()) {
        help += fmt::format("\n{}\n", Heading("Commands:"));
        for (const CLI::App *command : commands) {
            help += fmt::format("  {:<10}{}\n", command->get_name(), command->get_description());
        }
        help += "\n";
    }
    for (const CLI::Option *option : app->get_options()) {
        help += option->nonpositional() ? OptionLine(*option) : "";
    }
    return help + (commands.empty() ? "" : "\n") + Heading("Examples:") + "\n" + app->get_footer();
}

void DefineHelp(CLI::App &app) {
    app.formatter_fn(MakeHelp);
    app.set_help_flag("-h,--help", "Show this help and exit");
    for (CLI::App *command : app.get_subcommands([](const CLI::App *) { return true; })) {
        command->formatter_fn(MakeHelp);
        command->set_help_flag("-h,--help", "Show this help and exit");
    }
}

// --- wrong usage ---------------------------------------------------------------------------------------------------

// Insertions, deletions and replacements from one word to the other.
static size_t EditDistance(const std::string &from, const std::string &to) {
    std::vector<size_t> row(to.size() + 1);
    std::iota(row.begin(), row.end(), size_t{0});
    for (size_t i = 0; i < from.size(); i++) {
        size_t diagonal = row[0]++;
        for (size_t j = 0; j < to.size(); j++) {
            const size_t replaced = diagonal + (from[i] == to[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, row[j] + 1, row[j + 1] + 1});
        }
    }
    return row.back();
}

// "; did you mean dump?", or nothing when no word is near.
static std::string Nearest(const std::string &word, const std::vector<std::string> &known) {
    std::string nearest;
    size_t least = word.size() / 2 + 1;
    for (const std::string &candidate : known) {
        const size_t distance = EditDistance(word, candidate);
        const bool begins = word.size() > 2 && candidate.compare(0, word.size(), word) == 0;
        if (begins || (distance < least && word.size() > 2)) {
            nearest = candidate;
            least = begins ? 0 : distance;
        }
    }
    return nearest.empty() ? "" : fmt::format("; did you mean {}?", nearest);
}

CLI::Validator OneOf(const std::vector<std::string> &choices) {
    const std::string listed = fmt::format("{}", fmt::join(choices, ", "));
    const auto check = [choices, listed](const std::string &value) {
        const bool known = std::find(choices.begin(), choices.end(), value) != choices.end();
        return known ? std::string() : fmt::format("\"{}\" is none of {}{}", value, listed, Nearest(value, choices));
    };
    return CLI::Validator(check, fmt::format("{{{}}}", fmt::join(choices, ",")));
}

static std::vector<std::string> CommandNames(const CLI::App &app) {
    std::vector<std::string> names;
    for (const CLI::App *command : VisibleCommands(app)) {
        names.push_back(command->get_name());
    }
    return names;
}

static std::vector<std::string> OptionNames(const CLI::App &app) {
    std::vector<std::string> names;
    for (const CLI::Option *option : app.get_options()) {
        for (const std::string &name : option->get_lnames()) {
            names.push_back("--" + name);
        }
        for (const std::string &name : option->get_snames()) {
            names.push_back("-" + name);
        }
    }
    return names;
}

// The first option among the arguments that nobody defined, without a value that hangs on it.
static std::string UnknownOption(const std::vector<std::string> &arguments, const std::vector<std::string> &known) {
    for (const std::string &argument : arguments) {
        std::string name =
            argument.compare(0, 2, "--") == 0 ? argument.substr(0, argument.find('=')) : argument.substr(0, 2);
        if (name == "--") {
            break;
        }
        if (name.size() > 1 && name.front() == '-' && std::find(known.begin(), known.end(), name) == known.end()) {
            return name;
        }
    }
    return "";
}

static std::string ExplainNoCommand(const CLI::App &app, const std::vector<std::string> &arguments) {
    const auto names = CommandNames(app);
    const std::string list = fmt::format("{}", fmt::join(names, ", "));
    const std::string option = UnknownOption(arguments, OptionNames(app));
    if (arguments.empty()) {
        return fmt::format("which command? It is one of {}", list);
    }
    if (!option.empty() && arguments.front() == option) {
        return fmt::format("{} is no option{}\na command comes first: {}", option, Nearest(option, OptionNames(app)),
                           list);
    }
    return fmt::format("\"{}\" is no command{}\nthe commands are {}", arguments.front(),
                       Nearest(arguments.front(), names), list);
}

std::string ExplainError(const CLI::App &app, const std::vector<std::string> &arguments, const CLI::ParseError &error) {
    const auto chosen = app.get_subcommands();
    if (chosen.empty()) {
        return ExplainNoCommand(app, arguments) + "\nsee pellsub --help";
    }
    const CLI::App &command = *chosen.front();
    const std::string option = UnknownOption(arguments, OptionNames(command));
    const bool required = dynamic_cast<const CLI::RequiredError *>(&error) != nullptr;
    const bool unknown = (dynamic_cast<const CLI::ExtrasError *>(&error) != nullptr && !option.empty()) ||
                         (required && option.starts_with("--"));
    std::string what = error.what();
    if (dynamic_cast<const CLI::ArgumentMismatch *>(&error) != nullptr) {
        const std::string name = what.substr(0, what.find(':'));
        const auto given = std::count_if(arguments.begin(), arguments.end(), [&](const std::string &argument) {
            return argument == name || argument.starts_with(name + "=");
        });
        what = name == "FILE" ? command.get_name() + " takes one FILE"
                              : name + (given > 1 ? " is given twice" : " needs a value");
    } else if (unknown) {
        what =
            fmt::format("{} is no option of {}{}", option, command.get_name(), Nearest(option, OptionNames(command)));
    } else if (required && what.starts_with("FILE") && !option.empty()) {
        what += fmt::format("; a file whose name begins with a hyphen is written ./{}...", option);
    }
    return fmt::format("{}\nsee pellsub {} --help", what, command.get_name());
}
