// Headers of SSA as those of ASS.
#include "tools/pellsub/ssa_header.h"

#include "tools/pellsub/ass_markup.h"
#include "tools/pellsub/words.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <fmt/format.h>
#include <vector>

static constexpr std::string_view kOldStyles = "[V4 Styles]";
static constexpr std::string_view kFormat = "Format:";
static constexpr std::string_view kStyle = "Style:";

bool IsSsaHeader(std::string_view header) {
    return FindNoCase(header, kOldStyles) != std::string_view::npos;
}

// --- values --------------------------------------------------------------------------------------------------------

static std::string SameText(std::string_view value) {
    return std::string(value);
}

static std::string NewAlignment(std::string_view value) {
    int alignment = 0;
    std::from_chars(value.data(), value.data() + value.size(), alignment);
    const int place = AssAlignmentOfSsa(alignment);
    return fmt::format("{}", place != 0 ? place : 2);
}

// Blue, green and red, written as a decimal number, which may be negative, or as "&H00FFFF".
static std::string ColourWith(std::string_view value, uint32_t transparency) {
    const bool hex = BeginsNoCase(value, "&H");
    value.remove_prefix(hex ? 2 : 0);
    int64_t colour = 0;
    std::from_chars(value.data(), value.data() + value.size(), colour, hex ? 16 : 10);
    return fmt::format("&H{:02X}{:06X}", transparency, static_cast<uint32_t>(colour) & 0xFFFFFF);
}

static std::string OpaqueColour(std::string_view value) {
    return ColourWith(value, 0);
}

static std::string HalfColour(std::string_view value) {
    return ColourWith(value, 0x80);
}

// --- styles --------------------------------------------------------------------------------------------------------

// Where each field of a new style comes from. Players draw outlines of SSA in the colour of its background, and let
// what is behind a shadow shine through it.
static constexpr struct {
    const char *name;
    const char *from;  // field of the old style; null: it has none
    const char *usual; // where the old style has none
    std::string (*convert)(std::string_view value);
} kFields[] = {
    {"Name", "Name", "Default", SameText},
    {"Fontname", "Fontname", "Arial", SameText},
    {"Fontsize", "Fontsize", "18", SameText},
    {"PrimaryColour", "PrimaryColour", "&HFFFFFF", OpaqueColour},
    {"SecondaryColour", "SecondaryColour", "&H00FFFF", OpaqueColour},
    {"OutlineColour", "BackColour", "0", OpaqueColour},
    {"BackColour", "BackColour", "0", HalfColour},
    {"Bold", "Bold", "0", SameText},
    {"Italic", "Italic", "0", SameText},
    {"Underline", nullptr, "0", SameText},
    {"StrikeOut", nullptr, "0", SameText},
    {"ScaleX", nullptr, "100", SameText},
    {"ScaleY", nullptr, "100", SameText},
    {"Spacing", nullptr, "0", SameText},
    {"Angle", nullptr, "0", SameText},
    {"BorderStyle", "BorderStyle", "1", SameText},
    {"Outline", "Outline", "2", SameText},
    {"Shadow", "Shadow", "3", SameText},
    {"Alignment", "Alignment", "2", NewAlignment},
    {"MarginL", "MarginL", "20", SameText},
    {"MarginR", "MarginR", "20", SameText},
    {"MarginV", "MarginV", "20", SameText},
    {"Encoding", "Encoding", "1", SameText},
};

static std::string NewFormat() {
    std::string line(kFormat);
    for (const auto &field : kFields) {
        line += fmt::format("{} {}", &field == kFields ? "" : ",", field.name);
    }
    return line;
}

static std::string NewStyle(const std::vector<std::string_view> &names, std::string_view line) {
    const std::vector<std::string_view> values = AssListOf(line.substr(kStyle.size()));
    std::string style(kStyle);
    for (const auto &field : kFields) {
        const auto name = std::find_if(names.begin(), names.end(),
                                       [&](auto n) { return field.from != nullptr && EqualNoCase(n, field.from); });
        const size_t at = static_cast<size_t>(name - names.begin());
        const bool told = at < names.size() && at < values.size() && !values[at].empty();
        style += fmt::format("{}{}", &field == kFields ? " " : ",", field.convert(told ? values[at] : field.usual));
    }
    return style;
}

// --- header --------------------------------------------------------------------------------------------------------

static std::string NewEventFormat(std::string_view line) {
    static constexpr std::string_view kMark = "Marked";
    const size_t at = FindNoCase(line, kMark);
    const bool first = at != line.npos && Trimmed(line.substr(kFormat.size(), at - kFormat.size())).empty();
    return first ? fmt::format("{}Layer{}", line.substr(0, at), line.substr(at + kMark.size())) : std::string(line);
}

std::string AssHeaderOfSsa(std::string_view header) {
    std::string ass;
    std::string_view section;
    std::vector<std::string_view> names;
    while (!header.empty()) {
        const size_t end = std::min(header.find('\n'), header.size());
        std::string_view line = header.substr(0, end);
        header.remove_prefix(std::min(end + 1, header.size()));
        line.remove_suffix(line.ends_with('\r') ? 1 : 0);
        section = line.starts_with('[') ? line : section;
        const bool styles = BeginsNoCase(section, kOldStyles);
        if (styles && BeginsNoCase(line, kFormat)) {
            names = AssListOf(line.substr(kFormat.size()));
            ass += NewFormat();
        } else if (styles && BeginsNoCase(line, kStyle)) {
            ass += NewStyle(names, line);
        } else if (styles && line.starts_with('[')) {
            ass += "[V4+ Styles]";
        } else if (BeginsNoCase(section, "[Events]") && BeginsNoCase(line, kFormat)) {
            ass += NewEventFormat(line);
        } else {
            ass += BeginsNoCase(line, "ScriptType:") ? "ScriptType: v4.00+" : line;
        }
        ass += "\n";
    }
    return ass;
}

std::string AssBeforeOfSsa(std::string before) {
    static constexpr std::string_view kMark = "Marked=";
    const size_t at = FindNoCase(before, kMark);
    const size_t end = at != before.npos ? before.find(',', at) : before.npos;
    return end != before.npos ? before.replace(at, end - at, "0") : before;
}
