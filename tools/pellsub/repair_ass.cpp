// ASS and SSA: what keeps a player from the events.
#include "tools/pellsub/ass_text.h"
#include "tools/pellsub/repair_rules.h"
#include "tools/pellsub/timing_clock.h"

#include <algorithm>
#include <fmt/format.h>

static constexpr std::string_view kEvent = "Dialogue:";

struct AssWalk {
    Repair &repair;
    bool inEvents = false;  // an [Events] line was met, and no other section since
    bool hasFormat = false; // and its Format line
    bool hadEvents = false; // an [Events] line was met
    size_t startField = 1;
};

// The field that begins with the word, counted from 0.
static size_t FieldNumber(std::string_view format, std::string_view word, size_t otherwise) {
    size_t field = 0;
    for (size_t at = format.find(':') + 1; at > 0; at = format.find(',', at) + 1) {
        const std::string_view name = WithoutLead(format.substr(at));
        if (BeginsNoCase(name, word)) {
            return field;
        }
        field++;
    }
    return otherwise;
}

static size_t FieldBegin(std::string_view line, size_t from, size_t field) {
    for (; field > 0 && from != line.npos; field--) {
        const size_t comma = line.find(',', from);
        from = comma == line.npos ? comma : comma + 1;
    }
    return from;
}

// A player reads one digit of hours, and two of hundredths.
static bool IsPlayersClock(const Clock &clock) {
    return clock.groups == 3 && clock.longest <= 2 && clock.fraction.size() >= 2 && !clock.negative &&
           clock.seconds < 36000;
}

static std::optional<std::string> AssClock(const Clock &clock) {
    const auto fields = FieldsText(clock.negative ? 0 : clock.seconds, 9);
    return fields ? std::optional(*fields + "." + (clock.negative ? "00" : FractionText(clock, 2))) : std::nullopt;
}

static void PutEvent(AssWalk &walk, size_t number, std::string_view line) {
    Repair &repair = walk.repair;
    const size_t begin = FieldBegin(line, FindNoCase(line, kEvent) + kEvent.size(), walk.startField);
    std::string_view rest = begin == line.npos ? std::string_view() : line.substr(begin);
    const auto start = TakeClock(rest);
    rest = WithoutLead(rest);
    const bool comma = rest.starts_with(',');
    rest.remove_prefix(comma ? 1 : 0);
    const auto end = start && comma ? TakeClock(rest) : std::nullopt;
    if (!start || !end || start->groups < 2 || end->groups < 2) {
        NoteLeft(repair, FINDING_TIME_NOT_UNDERSTOOD, number, line);
        repair.lines.emplace_back(line);
        return;
    }
    repair.cues.push_back({number, DecimalMs(*start), DecimalMs(*end)});
    const auto startText = AssClock(*start);
    const bool read = IsPlayersClock(*start) && IsPlayersClock(*end);
    if (!read && !startText) {
        NoteLeft(repair, FINDING_TIME_TOO_LATE, number, line, DecimalMs(*start));
    } else if (!read) {
        NoteMended(repair, FINDING_TIME_SPELLING, number, line, DecimalMs(*start));
    }
    const bool mending = !read && startText;
    repair.lines.push_back(mending ? fmt::format("{}{},{}{}", line.substr(0, begin), *startText,
                                                 AssClock(*end).value_or("9:99:99.99"), rest)
                                   : std::string(line));
}

// What must stand before an event for a player to take it.
static void PrepareEvent(AssWalk &walk, size_t number) {
    if (!walk.inEvents) {
        NoteMended(walk.repair, FINDING_NO_EVENTS, number);
        walk.repair.lines.emplace_back("[Events]");
        walk.inEvents = true;
        walk.hadEvents = true;
    }
    if (!walk.hasFormat) {
        NoteMended(walk.repair, FINDING_NO_FORMAT_LINE, number);
        walk.repair.lines.push_back(fmt::format("Format: {}", kAssUsualFields));
        walk.hasFormat = true;
    }
}

static void PutLine(AssWalk &walk, size_t number, const std::string &text) {
    const std::string_view line = WithoutLead(text);
    const bool section = line.starts_with('[');
    const bool events = BeginsNoCase(line, "[events]");
    const bool format = walk.inEvents && BeginsNoCase(line, "format:");
    // Behind the events, what looks like one may be data of a font.
    const bool event =
        walk.inEvents ? FindNoCase(line, kEvent) != line.npos : !walk.hadEvents && BeginsNoCase(line, kEvent);
    if (section) {
        walk.inEvents = events;
        walk.hadEvents = walk.hadEvents || events;
        walk.hasFormat = false;
    } else if (format) {
        walk.hasFormat = true;
        walk.startField = FieldNumber(line, "start", 1);
    } else if (event) {
        PrepareEvent(walk, number);
        PutEvent(walk, number, text);
        return;
    } else if (walk.inEvents && !walk.hasFormat && !line.empty()) {
        PrepareEvent(walk, number);
    }
    if ((events || format) && line.size() < text.size()) {
        NoteMended(walk.repair, FINDING_NO_EVENTS, number, line);
    }
    walk.repair.lines.emplace_back(events || format ? line : std::string_view(text));
}

void RepairAss(Repair &repair) {
    AssWalk walk{.repair = repair};
    for (size_t i = 0; i < repair.source.lines.size(); i++) {
        if (repair.mend) {
            PutLine(walk, i + 1, repair.source.lines[i].text);
        } else {
            repair.lines.push_back(repair.source.lines[i].text);
        }
    }
}
