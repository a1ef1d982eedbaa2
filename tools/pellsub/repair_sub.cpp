// Text SUB: what each of its forms trips over.
#include "tools/pellsub/repair_blocks.h"
#include "tools/pellsub/sub_head.h"
#include "tools/pellsub/timing_clock.h"

#include <algorithm>
#include <charconv>
#include <fmt/format.h>

static std::string_view WithoutBlanks(std::string_view text) {
    return Trimmed(WithoutLead(text));
}

// Takes a whole number, a sign allowed, off the front.
static std::optional<int64_t> TakeNumber(std::string_view &text) {
    int64_t number = 0;
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), number);
    if (parsed.ec != std::errc()) {
        return std::nullopt;
    }
    text.remove_prefix(static_cast<size_t>(parsed.ptr - text.data()));
    return number;
}

// --- MicroDVD ------------------------------------------------------------------------------------------------------

struct FrameLine {
    int64_t start = 0;
    std::optional<int64_t> end;
    std::string_view text;
};

// "{1}{2}text", or with square brackets.
static std::optional<FrameLine> FrameLineOf(std::string_view text, char opening, char closing) {
    FrameLine line;
    const auto take = [&](char ch) {
        const bool there = text.starts_with(ch);
        text.remove_prefix(there ? 1 : 0);
        return there;
    };
    if (!take(opening)) {
        return std::nullopt;
    }
    const auto start = TakeNumber(text);
    if (!start || !take(closing) || !take(opening)) {
        return std::nullopt;
    }
    line.start = *start;
    line.end = TakeNumber(text);
    if (!take(closing)) {
        return std::nullopt;
    }
    line.text = text;
    return line;
}

// A line that begins with a word in braces sets defaults for other players.
static void RepairMicrodvd(Repair &repair) {
    repair.frames = true;
    bool first = true; // no cue yet: a rate may stand in its place, as in "{1}{1}25"
    for (size_t i = 0; i < repair.source.lines.size(); i++) {
        const std::string &text = repair.source.lines[i].text;
        const std::string_view trimmed = WithoutLead(text);
        const auto line = FrameLineOf(trimmed, '{', '}');
        const bool moved = repair.mend && line && trimmed.size() < text.size();
        if (moved) {
            NoteMended(repair, FINDING_TIME_SPELLING, i + 1, text);
        } else if (!line && !trimmed.empty() && !trimmed.starts_with("{DEFAULT}")) {
            NoteLeft(repair, FINDING_LINE_NOT_UNDERSTOOD, i + 1, text);
        }
        repair.lines.emplace_back(moved ? trimmed : std::string_view(text));
        const bool rate =
            line && first && line->start == line->end && line->text.find_first_not_of("0123456789.") == line->text.npos;
        first = first && !line;
        if (line && !line->text.empty() && !rate) {
            repair.cues.push_back({i + 1, line->start, line->end});
        }
    }
}

// Tenths of a second are frames of a film that shows ten a second.
static bool RepairTenths(Repair &repair) {
    const auto isTenths = [](const SourceLine &line) {
        return FrameLineOf(WithoutLead(line.text), '[', ']').has_value();
    };
    const auto &lines = repair.source.lines;
    const auto first = std::find_if(lines.begin(), lines.end(), isTenths);
    if (!repair.mend || first == lines.end()) {
        return false;
    }
    NoteMended(repair, FINDING_OTHER_FORM, static_cast<size_t>(first - lines.begin()) + 1, first->text);
    repair.lines.emplace_back("{1}{1}10");
    for (const SourceLine &line : lines) {
        const auto frames = FrameLineOf(WithoutLead(line.text), '[', ']');
        const std::string end = frames && frames->end ? fmt::format("{}", std::max<int64_t>(*frames->end, 0)) : "";
        repair.lines.push_back(
            frames ? fmt::format("{{{}}}{{{}}}{}", std::max<int64_t>(frames->start, 0), end, frames->text) : line.text);
    }
    return true;
}

// --- SubViewer -----------------------------------------------------------------------------------------------------

// As players read any clock: hours have as many digits as they take.
static std::string LongFields(int64_t seconds) {
    return fmt::format("{:02}:{:02}:{:02}", seconds / 3600, seconds / 60 % 60, seconds % 60);
}

static std::string SubviewerClock(const Clock &clock, char mark, bool common) {
    const std::string fraction = common ? FractionText(clock, 3) : (clock.fraction.empty() ? "0" : clock.fraction);
    return clock.negative ? fmt::format("00:00:00{}0", mark)
                          : fmt::format("{}{}{}", LongFields(clock.seconds), mark, fraction);
}

static std::optional<BlockTime> SubviewerTime(const Repair &repair, std::string_view text) {
    const auto line = TimeLineOf(text);
    if (!line) {
        return std::nullopt;
    }
    const std::string_view marks = line->comma ? "." : ",.";
    const auto isRead = [&](const Clock &clock) {
        return !clock.negative && clock.groups == 3 && !clock.fraction.empty() &&
               marks.find(clock.mark) != std::string_view::npos;
    };
    const bool negative = line->start.negative || line->end.negative;
    const bool read = (line->comma || line->usualArrow) && isRead(line->start) && isRead(line->end) &&
                      line->before.find_first_not_of(" \t") == line->before.npos;
    const bool shortFraction = line->start.fraction.size() != 3 || line->end.fraction.size() != 3;
    BlockTime time;
    time.usual = read && !(repair.common && shortFraction);
    time.kind = negative ? FINDING_NEGATIVE_TIME : (read ? FINDING_SHORT_FRACTION : FINDING_TIME_SPELLING);
    const char mark = line->comma ? '.' : ',';
    time.written = fmt::format("{}{}{}", SubviewerClock(line->start, mark, repair.common), line->comma ? "," : " --> ",
                               SubviewerClock(line->end, mark, repair.common));
    time.startMs = LiteralMs(line->start);
    time.endMs = LiteralMs(line->end);
    return time;
}

// --- MPSub ---------------------------------------------------------------------------------------------------------

// As far as a player reads it.
static std::optional<double> TakeDecimal(std::string_view &text) {
    const std::string_view digits = text.substr(0, text.find_first_not_of("+-.0123456789eE"));
    double number = 0;
    const size_t plus = digits.starts_with('+') ? 1 : 0;
    const auto parsed = std::from_chars(digits.data() + plus, digits.data() + digits.size(), number);
    if (parsed.ec != std::errc()) {
        return std::nullopt;
    }
    text.remove_prefix(static_cast<size_t>(parsed.ptr - digits.data()));
    return number;
}

static std::string WithPoints(std::string_view text) {
    std::string pointed(text);
    std::replace(pointed.begin(), pointed.end(), ',', '.');
    return pointed;
}

// What stands behind "FORMAT="; 0: no number.
static double MpsubRateOf(std::string_view text) {
    const std::string pointed = WithPoints(text);
    std::string_view rest = pointed;
    return TakeDecimal(rest).value_or(0);
}

struct MpsubTimes {
    double wait = 0, duration = 0;
    bool whole = false; // two numbers with a blank between them, and no more
};

static std::optional<MpsubTimes> MpsubTimesAsRead(std::string_view text) {
    std::string_view rest = WithoutLead(text);
    const auto wait = TakeDecimal(rest);
    const bool blank = rest.starts_with(' ') || rest.starts_with('\t');
    rest = WithoutLead(rest);
    const auto duration = wait ? TakeDecimal(rest) : std::nullopt;
    return duration ? std::optional(MpsubTimes{*wait, *duration, blank && Trimmed(rest).empty()}) : std::nullopt;
}

// A comma is a point where it makes a line of two numbers. All other lines are what a player takes them for.
static std::optional<MpsubTimes> MpsubTimesOf(std::string_view text) {
    const auto pointed = MpsubTimesAsRead(WithPoints(text));
    return pointed && pointed->whole ? pointed : MpsubTimesAsRead(text);
}

static std::optional<BlockTime> MpsubTime(const Repair &, std::string_view text) {
    const auto times = MpsubTimesOf(text);
    if (!times) {
        return std::nullopt;
    }
    BlockTime time;
    const bool commas = times->whole && text.find(',') != text.npos;
    time.usual = !commas && WithoutLead(text).size() == text.size();
    time.written = fmt::format("{} {}", times->wait, times->duration);
    return time;
}

// "FORMAT=25" counts frames: seconds in their place say what was meant.
static void RetimeMpsub(Repair &repair) {
    double rate = 0;
    bool told = false; // the first such line tells the unit, others are text
    bool inText = false;
    for (std::string &line : repair.lines) {
        std::string_view rest = line;
        rest.remove_prefix(!told && rest.starts_with("FORMAT=") ? 7 : 0);
        const auto times = MpsubTimesOf(line);
        if (rest.size() < line.size()) {
            rate = MpsubRateOf(rest);
            line = rate > 0 ? "FORMAT=TIME" : line;
            told = true;
        } else if (times && rate > 0 && !inText) {
            line = fmt::format("{:.6f} {:.6f}", times->wait / rate, times->duration / rate);
        }
        inText = (inText || times) && !WithoutLead(line).empty();
    }
}

// --- DVD subtitle text ---------------------------------------------------------------------------------------------

struct DvdTime {
    int64_t seconds = 0;
    std::string fraction;
    std::string_view rest;
};

static std::optional<DvdTime> DvdTimeOf(std::string_view text) {
    text = WithoutLead(text);
    if (!text.starts_with("{T")) {
        return std::nullopt;
    }
    text.remove_prefix(2);
    const auto clock = TakeClock(text);
    return clock && clock->groups == 3 ? std::optional(DvdTime{clock->seconds, clock->fraction, text}) : std::nullopt;
}

static std::string DvdLine(const Repair &repair, const DvdTime &time) {
    const std::string fraction = time.fraction.empty() ? "0" : time.fraction;
    const bool hundredths = repair.common && fraction.size() <= 2;
    return fmt::format("{{T {}:{}{}", LongFields(time.seconds), fraction, hundredths ? "0" : "");
}

// A brace in a line's first or second place closes a cue.
static bool ClosesDvdCue(std::string_view text) {
    return text.substr(0, 2).find('}') != text.npos;
}

// Whether a line of its own closes the cue that this line opens.
static bool IsClosedBelow(const std::vector<SourceLine> &lines, size_t line) {
    while (++line < lines.size() && !DvdTimeOf(lines[line].text)) {
        if (ClosesDvdCue(lines[line].text)) {
            return true;
        }
    }
    return false;
}

// The walk over the lines.
struct DvdWalk {
    Repair &repair;
    size_t open = 0;     // the line that opened a cue, from 1; 0: none is
    size_t bytes = 0;    // of its text
    bool closed = false; // by a line of its own
};

static void CloseDvdCue(DvdWalk &walk) {
    if (walk.open != 0 && walk.bytes >= SVR_SUB_STR_IN_MAX_LEN) {
        NoteLeft(walk.repair, FINDING_CUT_CUE, walk.open);
    }
    walk.open = 0;
}

static void PutDvdEnd(DvdWalk &walk) {
    NoteMended(walk.repair, FINDING_NOT_CLOSED, walk.open);
    walk.repair.lines.emplace_back("}");
    CloseDvdCue(walk);
}

static void PutDvdTime(DvdWalk &walk, size_t line, const DvdTime &time) {
    Repair &repair = walk.repair;
    const std::string &text = repair.source.lines[line].text;
    const std::string_view behind = WithoutBlanks(time.rest);
    if (walk.open != 0) {
        PutDvdEnd(walk);
    }
    if (!behind.empty() || !text.starts_with("{T")) {
        NoteMended(repair, FINDING_TIME_SPELLING, line + 1, text);
    }
    repair.lines.push_back(DvdLine(repair, time));
    if (!behind.empty()) {
        repair.lines.emplace_back(behind);
    }
    walk.open = line + 1;
    walk.bytes = 0;
    walk.closed = IsClosedBelow(repair.source.lines, line);
}

static void PutDvdText(DvdWalk &walk, size_t line) {
    const SourceLine &source = walk.repair.source.lines[line];
    walk.repair.lines.push_back(source.text);
    walk.bytes += source.bytes.size() + walk.repair.source.width;
    if (ClosesDvdCue(source.text)) {
        CloseDvdCue(walk);
    }
}

// A brace at the end of the text closes the cue where no line of its own does.
static void TakeDvdBrace(DvdWalk &walk) {
    std::string &last = walk.repair.lines.back();
    if (walk.open != 0 && !walk.closed && last.size() > 2 && last.ends_with('}')) {
        last.pop_back();
        PutDvdEnd(walk);
    }
}

static void RepairDvdText(Repair &repair) {
    DvdWalk walk{repair};
    for (size_t i = 0; i < repair.source.lines.size(); i++) {
        const std::string &text = repair.source.lines[i].text;
        const auto time = DvdTimeOf(text);
        if (!repair.mend) {
            repair.lines.push_back(time && repair.common ? DvdLine(repair, *time) : text);
            continue;
        }
        if (time) {
            PutDvdTime(walk, i, *time);
        } else {
            PutDvdText(walk, i);
        }
        TakeDvdBrace(walk);
    }
    if (walk.open != 0) {
        PutDvdEnd(walk);
    }
}

// --- two readings --------------------------------------------------------------------------------------------------

static bool DiffersInReading(const Clock &clock) {
    return LiteralMs(clock) != DecimalMs(clock);
}

static bool HasTwoReadings(std::string_view form, std::string_view text) {
    if (form == "subviewer") {
        const auto line = TimeLineOf(text);
        return line && (DiffersInReading(line->start) || DiffersInReading(line->end));
    }
    if (form == "dvdsubtitle") {
        const auto time = DvdTimeOf(text);
        return time && time->fraction.size() < 3 && time->fraction.find_first_not_of('0') != text.npos;
    }
    return form == "mpsub" && text.starts_with("FORMAT=") && MpsubRateOf(text.substr(7)) > 0;
}

static void NoteTwoReadings(Repair &repair, std::string_view form) {
    const auto &lines = repair.source.lines;
    const auto first = std::find_if(lines.begin(), lines.end(),
                                    [=](const SourceLine &line) { return HasTwoReadings(form, line.text); });
    if (first != lines.end()) {
        NoteLeft(repair, FINDING_TWO_READINGS, static_cast<size_t>(first - lines.begin()) + 1, first->text);
    }
}

// --- the form ------------------------------------------------------------------------------------------------------

// The first lines without what stands in front of them, so that blanks there do not hide the form.
static std::string HeadText(const SourceText &source) {
    std::string head;
    for (size_t i = 0; i < std::min<size_t>(source.lines.size(), 100); i++) {
        head += std::string(WithoutLead(source.lines[i].text)) + "\n";
    }
    return head;
}

void RepairSub(Repair &repair) {
    const SubForm *form = SubHeadOf(HeadText(repair.source)).form;
    const auto &lines = repair.source.lines;
    const bool timed = form == nullptr && std::any_of(lines.begin(), lines.end(), [](const SourceLine &line) {
                           return TimeLineOf(line.text).has_value();
                       });
    const std::string_view name = form != nullptr ? form->name : (timed ? "subviewer" : "");
    NoteTwoReadings(repair, name);
    if (name == "subviewer") {
        RepairBlocks(repair, {.timeOf = SubviewerTime,
                              .header = true,
                              .numbers = true,
                              .tight = true,
                              .oneBlank = true,
                              .closed = true,
                              .tooLong = FINDING_CUT_CUE});
    } else if (name == "mpsub") {
        RepairBlocks(repair, {.timeOf = MpsubTime,
                              .header = true,
                              .numbers = false,
                              .tight = false,
                              .oneBlank = false,
                              .closed = true,
                              .tooLong = FINDING_CUT_CUE});
        if (repair.common) {
            RetimeMpsub(repair);
        }
    } else if (name == "dvdsubtitle") {
        RepairDvdText(repair);
    } else if (name == "microdvd") {
        RepairMicrodvd(repair);
    } else if (!RepairTenths(repair)) {
        std::transform(lines.begin(), lines.end(), std::back_inserter(repair.lines),
                       [](const SourceLine &line) { return line.text; });
    }
}
