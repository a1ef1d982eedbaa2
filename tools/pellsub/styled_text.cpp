// Text of a cue with its markup, between the formats that have it: lines of runs, each run in one style.
#include "tools/pellsub/styled_text.h"

#include "tools/pellsub/words.h"

#include <algorithm>
#include <charconv>

// --- lines and runs ------------------------------------------------------------------------------------------------

static void AppendRun(TextLine &line, std::string_view text, const TextStyle &style) {
    if (text.empty()) {
        return;
    }
    if (line.empty() || line.back().style != style) {
        line.push_back({"", style});
    }
    line.back().text += text;
}

void AppendText(StyledText &text, std::string_view added, const TextStyle &style) {
    if (text.lines.empty()) {
        text.lines.emplace_back();
    }
    for (size_t end = added.find('\n'); end != std::string_view::npos; end = added.find('\n')) {
        AppendRun(text.lines.back(), added.substr(0, end), style);
        text.lines.emplace_back();
        added.remove_prefix(end + 1);
    }
    AppendRun(text.lines.back(), added, style);
}

std::string PlainTextOf(const TextLine &line) {
    std::string plain;
    for (const TextRun &run : line) {
        plain += run.text;
    }
    return plain;
}

std::string PlainTextOf(const StyledText &text) {
    std::string plain;
    for (const TextLine &line : text.lines) {
        plain += (&line == text.lines.data() ? "" : "\n") + PlainTextOf(line);
    }
    return plain;
}

void DropLines(StyledText &text, bool (*unwanted)(std::string_view line)) {
    const auto end = std::remove_if(text.lines.begin(), text.lines.end(),
                                    [=](const TextLine &line) { return unwanted(PlainTextOf(line)); });
    text.lines.erase(end, text.lines.end());
}

TextLine FlatRunsOf(const StyledText &text) {
    TextLine runs;
    for (const TextLine &line : text.lines) {
        const bool first = &line == text.lines.data();
        const bool goesOn = !runs.empty() && !line.empty() && runs.back().style == line.front().style;
        AppendRun(runs, first ? "" : "\n", goesOn ? runs.back().style : TextStyle{});
        for (const TextRun &run : line) {
            AppendRun(runs, run.text, run.style);
        }
    }
    return runs;
}

// --- tags ----------------------------------------------------------------------------------------------------------

static const struct {
    const char *name;
    uint32_t colour;
} kColours[] = {
    {"black", 0x000000},  {"white", 0xFFFFFF}, {"red", 0xFF0000},     {"lime", 0x00FF00},    {"green", 0x008000},
    {"blue", 0x0000FF},   {"navy", 0x000080},  {"yellow", 0xFFFF00},  {"cyan", 0x00FFFF},    {"aqua", 0x00FFFF},
    {"gray", 0x808080},   {"grey", 0x808080},  {"magenta", 0xFF00FF}, {"fuchsia", 0xFF00FF}, {"purple", 0x800080},
    {"silver", 0xC0C0C0}, {"teal", 0x008080},  {"maroon", 0x800000},  {"olive", 0x808000},   {"orange", 0xFFA500},
    {"pink", 0xFFC0CB},   {"brown", 0xA52A2A},
};

std::optional<uint32_t> ParseColour(std::string_view text) {
    for (const auto &row : kColours) {
        if (EqualNoCase(text, row.name)) {
            return row.colour;
        }
    }
    text.remove_prefix(text.starts_with('#') ? 1 : 0);
    uint32_t colour = 0;
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), colour, 16);
    const bool whole = text.size() == 6 && parsed.ec == std::errc() && parsed.ptr == text.data() + text.size();
    return whole ? std::optional(colour) : std::nullopt;
}

static constexpr const char *kBlanks = " \t\r\n";

// The colour in " face=x color = \"red\"".
static std::optional<uint32_t> ColourIn(std::string_view attributes) {
    static constexpr std::string_view kName = "color";
    for (size_t at = 1; at + kName.size() < attributes.size(); at++) {
        if (!EqualNoCase(attributes.substr(at, kName.size()), kName)) {
            continue;
        }
        std::string_view value = attributes.substr(at + kName.size());
        const size_t begin = value.find_first_not_of(" \t\r\n=\"'");
        value.remove_prefix(std::min(begin, value.size()));
        return ParseColour(value.substr(0, value.find_first_of(" \t\r\n\"'")));
    }
    return std::nullopt;
}

static void Count(bool opens, int &depth) {
    depth = opens ? depth + 1 : std::max(depth - 1, 0);
}

void ApplyTag(std::string_view tag, TagState &state) {
    static constexpr struct {
        const char *name;
        int TagState::*depth;
    } rows[] = {{"b", &TagState::bold},           {"strong", &TagState::bold},  {"i", &TagState::italic},
                {"em", &TagState::italic},        {"u", &TagState::underline},  {"s", &TagState::strikeOut},
                {"strike", &TagState::strikeOut}, {"del", &TagState::strikeOut}};
    const bool opens = !tag.starts_with("</");
    tag.remove_prefix(std::min<size_t>(opens ? 1 : 2, tag.size()));
    tag.remove_suffix(tag.ends_with('>') ? 1 : 0);
    const size_t end = std::min(tag.find_first_of(kBlanks), tag.size());
    const std::string_view name = tag.substr(0, end);
    for (const auto &row : rows) {
        if (EqualNoCase(name, row.name)) {
            Count(opens, state.*row.depth);
        }
    }
    if (EqualNoCase(name, "font") && opens) {
        state.fonts.push_back(ColourIn(tag.substr(end)));
    } else if (EqualNoCase(name, "font") && !state.fonts.empty()) {
        state.fonts.pop_back();
    }
}

TextStyle TagStyleOf(const TagState &state) {
    TextStyle style{.bold = state.bold > 0,
                    .italic = state.italic > 0,
                    .underline = state.underline > 0,
                    .strikeOut = state.strikeOut > 0};
    for (const auto &colour : state.fonts) {
        style.colour = colour ? colour : style.colour;
    }
    return style;
}
