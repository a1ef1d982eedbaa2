// Times as files spell them, in more ways than a player reads.
#include "tools/pellsub/timing_clock.h"

#include <algorithm>
#include <charconv>
#include <fmt/format.h>

static constexpr std::string_view kDigits = "0123456789";
static constexpr size_t kMaxDigits = 6;

// Marks of direction and width that editors leave, in UTF-8.
static constexpr std::string_view kInvisible[] = {"\xEF\xBB\xBF", "\xE2\x80\x8E", "\xE2\x80\x8F", "\xE2\x80\xAA",
                                                  "\xE2\x80\xAC", "\xE2\x80\x8B", "\xE2\x80\x8C"};

static constexpr std::string_view kArrows[] = {"-->",           "--&gt;", "->", "--->", "- ->",
                                               "\xE2\x80\x94>", "- - >",  "=>", "==>",  "\xE2\x86\x92",
                                               "\xE2\x80\x93>", "-- >",   "->>"};

static void SkipBlanks(std::string_view &text) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
}

std::string_view WithoutLead(std::string_view text) {
    size_t before = 0;
    do {
        before = text.size();
        SkipBlanks(text);
        for (const std::string_view mark : kInvisible) {
            text.remove_prefix(text.starts_with(mark) ? mark.size() : 0);
        }
    } while (text.size() != before);
    return text;
}

// --- clocks --------------------------------------------------------------------------------------------------------

struct Tokens {
    std::string_view digits[4];
    char marks[4] = {}; // before each; the first has none
    int count = 0;
};

// A comma between two clocks is no mark of a fraction, which a colon never follows.
static bool TakeToken(std::string_view &text, Tokens &tokens) {
    std::string_view rest = text;
    const char mark = tokens.count > 0 && !rest.empty() ? rest.front() : '\0';
    if (tokens.count > 0) {
        if (rest.empty() || std::string_view(":.,;").find(mark) == std::string_view::npos) {
            return false;
        }
        rest.remove_prefix(1);
        SkipBlanks(rest);
    }
    const size_t digits = std::min(rest.find_first_not_of(kDigits), rest.size());
    const bool nextClock = mark == ',' && tokens.marks[1] == ':' && rest.substr(digits).starts_with(':');
    if (digits == 0 || digits > kMaxDigits || nextClock) {
        return false;
    }
    tokens.digits[tokens.count] = rest.substr(0, digits);
    tokens.marks[tokens.count++] = mark;
    text = rest.substr(digits);
    return true;
}

static int64_t NumberOf(std::string_view digits) {
    int64_t number = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), number);
    return number;
}

// Four numbers end with a fraction, and so do fewer where the last mark is not like the first: "01:02,5".
static bool HasFraction(const Tokens &tokens) {
    return tokens.count == 4 || (tokens.count > 1 && tokens.marks[tokens.count - 1] != tokens.marks[1]) ||
           (tokens.count == 2 && tokens.marks[1] != ':');
}

std::optional<Clock> TakeClock(std::string_view &text) {
    std::string_view rest = WithoutLead(text);
    Clock clock;
    clock.negative = rest.starts_with('-');
    rest.remove_prefix(clock.negative ? 1 : 0);
    Tokens tokens;
    while (tokens.count < 4 && TakeToken(rest, tokens)) {
    }
    if (tokens.count < 2) {
        return std::nullopt;
    }
    clock.groups = tokens.count - (HasFraction(tokens) ? 1 : 0);
    for (int i = 0; i < clock.groups; i++) {
        clock.last = NumberOf(tokens.digits[i]);
        clock.seconds = clock.seconds * 60 + clock.last;
        clock.longest = std::max(clock.longest, tokens.digits[i].size());
    }
    clock.first = tokens.digits[0].size();
    if (HasFraction(tokens)) {
        clock.mark = tokens.marks[tokens.count - 1];
        clock.fraction = tokens.digits[tokens.count - 1];
    }
    text = rest;
    return clock;
}

std::string FractionText(const Clock &clock, size_t digits) {
    std::string text = clock.fraction.substr(0, digits);
    return text + std::string(digits - text.size(), '0');
}

int64_t DecimalMs(const Clock &clock) {
    const int64_t ms = clock.seconds * 1000 + NumberOf(FractionText(clock, 3));
    return clock.negative ? -ms : ms;
}

int64_t LiteralMs(const Clock &clock) {
    const int64_t ms = clock.seconds * 1000 + NumberOf(clock.fraction);
    return clock.negative ? -ms : ms;
}

std::optional<std::string> FieldsText(int64_t seconds, int64_t maxHours) {
    const int64_t hours = std::min(seconds / 3600, maxHours);
    const int64_t minutes = std::min<int64_t>((seconds - hours * 3600) / 60, 99);
    const int64_t rest = seconds - hours * 3600 - minutes * 60;
    if (rest > 99) {
        return std::nullopt;
    }
    return maxHours > 9 ? fmt::format("{:02}:{:02}:{:02}", hours, minutes, rest)
                        : fmt::format("{}:{:02}:{:02}", hours, minutes, rest);
}

// --- time lines ----------------------------------------------------------------------------------------------------

// The longest arrow that is there; without one a comma.
static std::string_view TakeArrow(std::string_view &text) {
    std::string_view taken;
    for (const std::string_view arrow : kArrows) {
        taken = text.starts_with(arrow) && arrow.size() > taken.size() ? arrow : taken;
    }
    taken = taken.empty() && text.starts_with(',') ? "," : taken;
    text.remove_prefix(taken.size());
    return taken;
}

std::optional<TimeLine> TimeLineOf(std::string_view text) {
    TimeLine line;
    std::string_view rest = text;
    const size_t lead = text.size() - WithoutLead(text).size();
    line.before = text.substr(0, lead);
    const auto start = TakeClock(rest);
    if (!start) {
        return std::nullopt;
    }
    SkipBlanks(rest);
    line.arrow = TakeArrow(rest);
    line.usualArrow = line.arrow == "-->";
    line.comma = line.arrow == ",";
    const auto end = line.arrow.empty() ? std::nullopt : TakeClock(rest);
    // A bare "5,3" or "1:2" is as likely a text.
    if (!end || start->groups < 2 || end->groups < 2) {
        return std::nullopt;
    }
    line.start = *start;
    line.end = *end;
    line.rest = rest;
    const bool ends = rest.empty() || rest.front() == ' ' || rest.front() == '\t';
    return ends || line.usualArrow || line.comma ? std::optional(line) : std::nullopt;
}
