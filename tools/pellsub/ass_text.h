// ASS and SSA event lines to their fields, and to the text that a person reads.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

inline constexpr const char *kAssUsualFields =
    "Layer, Start, End, Style, Name, MarginL, MarginR, MarginV, Effect, Text";

// The fields of an event line, as the header names them.
struct AssFields {
    std::vector<std::string> names; // in order, as in "margin_l"
    size_t text = 0;                // which of them is shown
};

struct AssEvent {
    std::string_view line;                // as delivered, without its line end
    std::vector<std::string_view> values; // for the fields, in order; fewer when the line ends early
};

// An event line around its times.
struct AssTimed {
    std::string before, between, behind;
};

// The first field that is a time and the one behind it are start and end, as for a player. Nothing: there are none.
std::optional<AssTimed> AssTimedOf(std::string_view line);

// "a, b,c" at its commas, without the blanks around them.
std::vector<std::string_view> AssListOf(std::string_view list);

// Takes the last "Format:" line of the header's [Events] section; without one, the usual fields.
AssFields AssFieldsOf(std::string_view header);

// The event lines of a frame, as parts of it.
std::vector<AssEvent> AssEventsOf(const AssFields &fields, std::string_view frame);

// A piece of an event's text: what is shown, or the inside of an override block.
struct AssPiece {
    bool block = false;
    std::string text; // of what is shown: \N, \n and \h are what they stand for
};

// The text in its order, without drawings. A block that does not end is text.
std::vector<AssPiece> AssPiecesOf(std::string_view text);

// The part of an event that is shown. A line that is no event is shown as it is.
std::string_view AssShownPart(const AssFields &fields, const AssEvent &event);

// The texts of the frame's events, one below the other: override blocks and drawings go, \N, \n and \h become what they
// stand for.
std::string AssText(const AssFields &fields, std::string_view frame);
