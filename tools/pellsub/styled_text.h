// Text of a cue with its markup, between the formats that have it: lines of runs, each run in one style.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct TextStyle {
    bool bold = false;
    bool italic = false;
    bool underline = false;
    bool strikeOut = false;
    std::optional<uint32_t> colour; // 0xRRGGBB; nothing: the player's own

    bool operator==(const TextStyle &) const = default;
};

struct TextRun {
    std::string text;
    TextStyle style;
};

using TextLine = std::vector<TextRun>;

struct StyledText {
    std::vector<TextLine> lines;
    int alignment = 0; // as on a numeric key pad: 2 is below, 8 on top, 7 top left; 0: not told
};

// Goes on with the text in this style; each line feed begins a line.
void AppendText(StyledText &text, std::string_view added, const TextStyle &style);

std::string PlainTextOf(const TextLine &line);
std::string PlainTextOf(const StyledText &text);

// Lines that are wanted stay.
void DropLines(StyledText &text, bool (*unwanted)(std::string_view line));

// The text as runs over all lines, with a line feed between two of them. Styles that go on behind a line end are not
// interrupted by it.
TextLine FlatRunsOf(const StyledText &text);

// "#ff8000", "ff8000" or a name such as "red". Nothing: no colour that is known.
std::optional<uint32_t> ParseColour(std::string_view text);

// What the tags of SubRip and SAMI that are open have come to.
struct TagState {
    int bold = 0;
    int italic = 0;
    int underline = 0;
    int strikeOut = 0;
    std::vector<std::optional<uint32_t>> fonts; // the colour of each; nothing: it names none
};

// Opens or closes what "<b>", "</i>" or "<font color=red>" says. Tags that are not known change nothing.
void ApplyTag(std::string_view tag, TagState &state);

TextStyle TagStyleOf(const TagState &state);
