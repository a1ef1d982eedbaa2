// Times as files spell them, in more ways than a player reads.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// "-1:02:03,45": everything about it but the blanks.
struct Clock {
    bool negative = false;
    int groups = 0;       // of hours, minutes and seconds, how many are there
    size_t longest = 0;   // digits of the longest of them
    size_t first = 0;     // digits of the first
    int64_t seconds = 0;  // all of them together
    int64_t last = 0;     // the last of them alone
    char mark = '\0';     // before the fraction; NUL: it has none
    std::string fraction; // its digits
};

// Takes a clock off the front. Nothing, and the text as it was, when there is none.
std::optional<Clock> TakeClock(std::string_view &text);

// Milliseconds, the fraction taken for a decimal one, or for a number of milliseconds.
int64_t DecimalMs(const Clock &clock);
int64_t LiteralMs(const Clock &clock);

// The fraction to so many digits: "5" is "500", "1234" is "123".
std::string FractionText(const Clock &clock, size_t digits);

// "h:mm:ss" of fields that hold two digits each, hours up to the given ones. Minutes and seconds go on beyond 59 where
// hours do not suffice. Nothing when even these do not hold it.
std::optional<std::string> FieldsText(int64_t seconds, int64_t maxHours);

// "start --> end", or with a comma between them.
struct TimeLine {
    Clock start, end;
    std::string_view before; // blanks and invisible marks in front
    std::string_view arrow;
    std::string_view rest;
    bool usualArrow = false; // "-->"
    bool comma = false;
};

std::optional<TimeLine> TimeLineOf(std::string_view text);

// Blanks and invisible marks off the front.
std::string_view WithoutLead(std::string_view text);
