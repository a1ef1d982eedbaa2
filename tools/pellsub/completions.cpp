// The definition of the command line to completions for shells.
#include "tools/pellsub/generate.h"
#include "tools/pellsub/plugin_host.h"
#include "tools/pellsub/usage.h"

#include <fmt/format.h>

using Options = std::vector<const CLI::Option *>;

static Options NamedOptions(const CLI::App &app) {
    return app.get_options([](const CLI::Option *option) { return option->nonpositional(); });
}

static std::vector<std::string> NamesOf(const CLI::Option &option) {
    std::vector<std::string> names;
    for (const std::string &name : option.get_snames()) {
        names.push_back("-" + name);
    }
    for (const std::string &name : option.get_lnames()) {
        names.push_back("--" + name);
    }
    return names;
}

static bool Takes(const CLI::Option &option, const char *placeholder) {
    return option.get_option_text() == placeholder;
}

static std::string Replaced(std::string text, const std::string &what, const std::string &by) {
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size())) {
        text.replace(at, what.size(), by);
    }
    return text;
}

// --- bash ----------------------------------------------------------------------------------------------------------

static std::string BashValue(const CLI::Option &option) {
    const auto choices = ChoicesOf(option);
    if (!choices.empty()) {
        return fmt::format("words='{}'", fmt::join(choices, " "));
    }
    return Takes(option, "DIR") ? "kind=-d" : (Takes(option, "OUT") ? "kind=-f" : ":");
}

static std::string BashCommand(const CLI::App &command) {
    std::string names;
    std::string values;
    for (const CLI::Option *option : NamedOptions(command)) {
        const auto own = NamesOf(*option);
        names += fmt::format("{}{}", names.empty() ? "" : " ", fmt::join(own, " "));
        if (TakesValue(*option)) {
            values += fmt::format("        {}) {} ;;\n", fmt::join(own, " | "), BashValue(*option));
        }
    }
    return fmt::format("    {})\n        options='{}'\n        case $previous in\n{}        *) value= ;;\n"
                       "        esac\n        ;;\n",
                       command.get_name(), names, values);
}

static constexpr const char *kBash = R"bash(# Completion of pellsub for bash.
_pellsub() {{
    local current=${{COMP_WORDS[COMP_CWORD]}} previous=${{COMP_WORDS[COMP_CWORD - 1]}}
    local command= options='{}' words= kind= value=1
    COMPREPLY=()
    [[ $COMP_CWORD -gt 1 ]] && command=${{COMP_WORDS[1]}}
    case $command in
{}    *) value= kind=none ;;
    esac
    compopt -o filenames 2>/dev/null
    if [[ $COMP_CWORD -eq 1 || ( ! $value && $current == -* ) ]]; then
        words=$options
    fi
    if [[ $words ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
    elif [[ $kind == -* ]]; then
        mapfile -t COMPREPLY < <(compgen "$kind" -- "$current")
    elif [[ ! $value && ! $kind ]]; then
        mapfile -t COMPREPLY < <(shopt -s extglob; compgen -d -- "$current"
            compgen -f -X '!*.@({})' -- "$current")
    fi
}}
complete -F _pellsub pellsub
)bash";

std::string BashCompletion(const CLI::App &app) {
    std::string words;
    std::string commands;
    for (const CLI::App *command : VisibleCommands(app)) {
        words += command->get_name() + " ";
        commands += BashCommand(*command);
    }
    for (const CLI::Option *option : NamedOptions(app)) {
        words += fmt::format("{} ", fmt::join(NamesOf(*option), " "));
    }
    return fmt::format(kBash, words.substr(0, words.size() - 1), commands, fmt::join(kSubtitleExtensions, "|"));
}

// --- zsh -----------------------------------------------------------------------------------------------------------

// Within single quotes, and within the brackets or colons of an argument line.
static std::string ZshText(const std::string &text) {
    std::string escaped = Replaced(text, "'", "'\\''");
    for (const char *special : {"[", "]", ":"}) {
        escaped = Replaced(escaped, special, std::string("\\") + special);
    }
    return escaped;
}

static std::string ZshValue(const CLI::Option &option) {
    if (!TakesValue(option)) {
        return "";
    }
    const auto choices = ChoicesOf(option);
    const std::string how = !choices.empty()       ? fmt::format("({})", fmt::join(choices, " "))
                            : Takes(option, "DIR") ? "_files -/"
                            : Takes(option, "OUT") ? "_files"
                                                   : " ";
    return fmt::format(":{}:{}", ZshText(option.get_option_text()), how);
}

static std::string ZshOption(const CLI::Option &option) {
    const auto names = NamesOf(option);
    const std::string rest = fmt::format("[{}]{}", ZshText(option.get_description()), ZshValue(option));
    return names.size() == 1 ? fmt::format("'{}{}'", names.front(), rest)
                             : fmt::format("'({})'{{{}}}'{}'", fmt::join(names, " "), fmt::join(names, ","), rest);
}

static std::string ZshOptions(const CLI::App &app, const char *indent) {
    std::string text;
    for (const CLI::Option *option : NamedOptions(app)) {
        text += fmt::format("{}{} \\\n", indent, ZshOption(*option));
    }
    return text;
}

static constexpr const char *kZsh = R"zsh(#compdef pellsub
# Completion of pellsub for zsh.
_pellsub() {{
    local context state state_descr line
    typeset -A opt_args
    local -a commands
    commands=(
{}    )
    _arguments -C \
{}        '1:command:->command' \
        '*::argument:->argument'
    case $state in
    command) _describe command commands ;;
    argument)
        case $words[1] in
{}        esac
        ;;
    esac
}}
_pellsub "$@"
)zsh";

std::string ZshCompletion(const CLI::App &app) {
    std::string list;
    std::string commands;
    const std::string pattern = fmt::format("{}", fmt::join(kSubtitleExtensions, "|"));
    for (const CLI::App *command : VisibleCommands(app)) {
        list += fmt::format("        '{}:{}'\n", command->get_name(), ZshText(command->get_description()));
        commands += fmt::format("        {})\n            _arguments \\\n{}                '*:file:_files -g "
                                "\"*.({})(-.)\"'\n            ;;\n",
                                command->get_name(), ZshOptions(*command, "                "), pattern);
    }
    return fmt::format(kZsh, list, ZshOptions(app, "        "), commands);
}

// --- fish ----------------------------------------------------------------------------------------------------------

static std::string FishText(const std::string &text) {
    return Replaced(Replaced(text, "\\", "\\\\"), "'", "\\'");
}

static std::string FishValue(const CLI::Option &option) {
    const auto choices = ChoicesOf(option);
    if (!choices.empty()) {
        return fmt::format(" -x -a '{}'", fmt::join(choices, " "));
    }
    if (Takes(option, "DIR")) {
        return " -x -a '(__fish_complete_directories)'";
    }
    return !TakesValue(option) ? "" : (Takes(option, "OUT") ? " -r -F" : " -x");
}

static std::string FishOptions(const CLI::App &app, const std::string &condition) {
    std::string text;
    for (const CLI::Option *option : NamedOptions(app)) {
        text += fmt::format("complete -c pellsub -n '{}'", condition);
        for (const std::string &name : option->get_snames()) {
            text += " -s " + name;
        }
        for (const std::string &name : option->get_lnames()) {
            text += " -l " + name;
        }
        text += fmt::format("{} -d '{}'\n", FishValue(*option), FishText(option->get_description()));
    }
    return text;
}

std::string FishCompletion(const CLI::App &app) {
    std::string text = "# Completion of pellsub for fish.\ncomplete -c pellsub -n __fish_use_subcommand -f\n";
    text += FishOptions(app, "__fish_use_subcommand");
    for (const CLI::App *command : VisibleCommands(app)) {
        text += fmt::format("complete -c pellsub -n __fish_use_subcommand -a {} -d '{}'\n", command->get_name(),
                            FishText(command->get_description()));
        text += FishOptions(*command, "__fish_seen_subcommand_from " + command->get_name());
    }
    return text;
}
