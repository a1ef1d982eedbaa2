// The looks of ASS and SSA: the styles of a header, and what override blocks change of them.
#include "tools/pellsub/ass_markup.h"

#include "tools/pellsub/words.h"

#include <algorithm>
#include <charconv>
#include <optional>

// All of the text, or nothing.
static std::optional<int> NumberIn(std::string_view text) {
    int number = 0;
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), number);
    return parsed.ec == std::errc() && parsed.ptr == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

int AssAlignmentOfSsa(int alignment) {
    static constexpr int kNew[] = {0, 1, 2, 3, 0, 7, 8, 9, 0, 4, 5, 6};
    return alignment >= 0 && alignment < 12 ? kNew[alignment] : 0;
}

static int FromNewAlignment(int alignment) {
    return alignment >= 1 && alignment <= 9 ? alignment : 0;
}

// --- styles --------------------------------------------------------------------------------------------------------

static AssStyle StyleIn(const std::vector<std::string_view> &names, std::string_view line, bool old) {
    const std::vector<std::string_view> values = AssListOf(line);
    const auto value = [&](std::string_view name) {
        const auto found = std::find_if(names.begin(), names.end(), [=](auto n) { return EqualNoCase(n, name); });
        const size_t at = static_cast<size_t>(found - names.begin());
        return at < names.size() && at < values.size() ? values[at] : std::string_view();
    };
    const auto isSet = [&](std::string_view name) {
        return NumberIn(value(name)).value_or(0) != 0;
    };
    const int alignment = NumberIn(value("Alignment")).value_or(0);
    const TextStyle style{.bold = isSet("Bold"),
                          .italic = isSet("Italic"),
                          .underline = isSet("Underline"),
                          .strikeOut = isSet("StrikeOut")};
    return {std::string(value("Name")), {style, old ? AssAlignmentOfSsa(alignment) : FromNewAlignment(alignment)}};
}

std::vector<AssStyle> AssStylesOf(std::string_view header) {
    std::vector<AssStyle> styles;
    std::vector<std::string_view> names;
    bool inStyles = false;
    bool old = false;
    while (!header.empty()) {
        const size_t end = std::min(header.find_first_of("\r\n"), header.size());
        const std::string_view line = header.substr(0, end);
        header.remove_prefix(std::min(end + 1, header.size()));
        if (line.starts_with('[')) {
            old = BeginsNoCase(line, "[V4 Styles]");
            inStyles = old || BeginsNoCase(line, "[V4+ Styles]");
        } else if (inStyles && BeginsNoCase(line, "Format:")) {
            names = AssListOf(line.substr(7));
        } else if (inStyles && BeginsNoCase(line, "Style:")) {
            styles.push_back(StyleIn(names, line.substr(6), old));
        }
    }
    return styles;
}

// SSA marks a style that it had to guess with an asterisk.
static AssLook LookOf(const std::vector<AssStyle> &styles, std::string_view name) {
    name.remove_prefix(name.starts_with('*') ? 1 : 0);
    const auto style =
        std::find_if(styles.begin(), styles.end(), [=](const AssStyle &s) { return EqualNoCase(s.name, name); });
    return style != styles.end() ? style->look : AssLook{};
}

// --- overrides -----------------------------------------------------------------------------------------------------

// Takes the next override off the front, without its backslash. What stands in brackets belongs to it.
static std::string_view TakeOverride(std::string_view &block) {
    block.remove_prefix(std::min(block.find('\\'), block.size()));
    block.remove_prefix(block.empty() ? 0 : 1);
    size_t end = 0;
    for (int depth = 0; end < block.size() && (block[end] != '\\' || depth > 0); end++) {
        depth += block[end] == '(' ? 1 : (block[end] == ')' ? -1 : 0);
    }
    const std::string_view taken = block.substr(0, end);
    block.remove_prefix(end);
    return taken.substr(0, taken.find_last_not_of(' ') + 1);
}

// "&HBBGGRR&" to 0xRRGGBB. Leading zeros and the last character may be left out.
static std::optional<uint32_t> ColourOf(std::string_view value) {
    const size_t begin = value.find_first_not_of("&Hh");
    value.remove_prefix(std::min(begin, value.size()));
    value = value.substr(0, value.find('&'));
    uint32_t bgr = 0;
    const auto parsed = std::from_chars(value.data(), value.data() + value.size(), bgr, 16);
    if (parsed.ec != std::errc() || parsed.ptr != value.data() + value.size()) {
        return std::nullopt;
    }
    return (bgr & 0xFF) << 16 | (bgr & 0xFF00) | (bgr >> 16 & 0xFF);
}

// "i1", "b700", "u" and so on; other names begin with these letters, but no digit follows.
static bool ApplySwitch(std::string_view override, const TextStyle &base, TextStyle &style) {
    static constexpr struct {
        char letter;
        bool TextStyle::*member;
    } rows[] = {
        {'b', &TextStyle::bold},
        {'i', &TextStyle::italic},
        {'u', &TextStyle::underline},
        {'s', &TextStyle::strikeOut},
    };
    const auto value = NumberIn(override.substr(1));
    for (const auto &row : rows) {
        if (override.front() == row.letter && (value || override.size() == 1)) {
            const bool weight = row.letter == 'b' && value && *value > 1;
            style.*row.member = value ? (weight ? *value >= 600 : *value != 0) : base.*row.member;
            return true;
        }
    }
    return false;
}

static bool ApplyColour(std::string_view override, const TextStyle &base, TextStyle &style) {
    override.remove_prefix(override.starts_with("1c") ? 1 : 0);
    if (override != "c" && !override.starts_with("c&")) {
        return false;
    }
    style.colour = override == "c" ? base.colour : ColourOf(override.substr(1));
    return true;
}

static int AlignmentOf(std::string_view override) {
    if (override.starts_with("an")) {
        return FromNewAlignment(NumberIn(override.substr(2)).value_or(0));
    }
    return override.starts_with('a') ? AssAlignmentOfSsa(NumberIn(override.substr(1)).value_or(0)) : 0;
}

void ApplyOverrides(std::string_view block, const std::vector<AssStyle> &styles, const AssLook &base, AssLook &look) {
    while (!block.empty()) {
        const std::string_view override = TakeOverride(block);
        if (override.empty() || ApplySwitch(override, base.style, look.style) ||
            ApplyColour(override, base.style, look.style)) {
            continue;
        }
        const bool reset = override.front() == 'r' && !override.starts_with("rnd");
        look.style = reset ? (override.size() > 1 ? LookOf(styles, override.substr(1)) : base).style : look.style;
        look.alignment = look.alignment == 0 ? AlignmentOf(override) : look.alignment;
    }
}

// --- events --------------------------------------------------------------------------------------------------------

static std::string_view FieldOf(const AssFields &fields, const AssEvent &event, std::string_view name) {
    const auto found = std::find(fields.names.begin(), fields.names.end(), name);
    const size_t at = static_cast<size_t>(found - fields.names.begin());
    return at < event.values.size() ? event.values[at] : std::string_view();
}

static StyledText EventText(const AssFields &fields, const std::vector<AssStyle> &styles, const AssEvent &event) {
    const AssLook base = LookOf(styles, FieldOf(fields, event, "style"));
    AssLook look{base.style, 0};
    StyledText text;
    for (const AssPiece &piece : AssPiecesOf(AssShownPart(fields, event))) {
        if (piece.block) {
            ApplyOverrides(piece.text, styles, base, look);
        } else {
            AppendText(text, piece.text, look.style);
        }
    }
    while (!text.lines.empty() && text.lines.front().empty()) {
        text.lines.erase(text.lines.begin());
    }
    while (!text.lines.empty() && text.lines.back().empty()) {
        text.lines.pop_back();
    }
    text.alignment = look.alignment != 0 ? look.alignment : base.alignment;
    return text;
}

std::vector<StyledText> AssStyledTexts(const AssFields &fields, const std::vector<AssStyle> &styles,
                                       std::string_view frame) {
    std::vector<StyledText> texts;
    for (const AssEvent &event : AssEventsOf(fields, frame)) {
        const StyledText text = EventText(fields, styles, event);
        if (text.lines.empty()) {
            continue;
        }
        if (texts.empty() || texts.back().alignment != text.alignment) {
            texts.push_back(text);
        } else {
            texts.back().lines.insert(texts.back().lines.end(), text.lines.begin(), text.lines.end());
        }
    }
    return texts;
}
