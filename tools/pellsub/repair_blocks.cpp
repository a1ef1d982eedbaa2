// Formats whose cues are a time line, text and an empty line.
#include "tools/pellsub/repair_blocks.h"

#include "tools/pellsub/timing_clock.h"

#include <algorithm>
#include <fmt/format.h>

// The walk over the lines. Empty lines wait until it is known what follows them.
struct BlockWalk {
    Repair &repair;
    const BlockRules &rules;
    std::vector<size_t> blanks; // that wait
    bool open = false;          // text belongs to a cue
    bool hasText = false;       // and it has some
    bool numbered = false;      // the line above is the number of the next cue
    bool orphan = false;        // text without a cue was told of
    size_t cueLine = 0;
    size_t cueBytes = 0;
};

static const std::string &TextOf(const BlockWalk &walk, size_t line) {
    return walk.repair.source.lines[line].text;
}

static bool IsOnlyBlanks(std::string_view text) {
    return WithoutLead(text).empty();
}

static bool IsNumber(std::string_view text) {
    text = Trimmed(WithoutLead(text));
    return !text.empty() && text.find_first_not_of("0123456789") == text.npos;
}

// A line with nothing in it ends a cue for a player, one of blanks does not.
static bool HasEmptyLine(const BlockWalk &walk) {
    return std::any_of(walk.blanks.begin(), walk.blanks.end(), [&](size_t line) { return TextOf(walk, line).empty(); });
}

// Numbers stand by themselves, or at least touch their time line: others are text, such as a year.
static bool IsNumberOfCue(const BlockWalk &walk, size_t line) {
    if (!walk.rules.numbers || !IsNumber(TextOf(walk, line))) {
        return false;
    }
    const size_t count = walk.repair.source.lines.size();
    size_t next = line + 1;
    while (next < count && IsOnlyBlanks(TextOf(walk, next))) {
        next++;
    }
    const bool apart = next > line + 1;
    const bool may = !walk.open || HasEmptyLine(walk) || (walk.rules.tight && !apart);
    return may && next < count && walk.rules.timeOf(walk.repair, TextOf(walk, next)).has_value();
}

static void PutBlanks(BlockWalk &walk) {
    for (size_t line : walk.blanks) {
        walk.repair.lines.push_back(TextOf(walk, line));
    }
    walk.blanks.clear();
}

// The empty line behind a cue counts as part of it. Without one a player leaves out what it takes for one.
static void CloseCue(BlockWalk &walk) {
    const size_t bytes = walk.cueBytes + (walk.blanks.empty() ? 0 : walk.repair.source.width);
    if (walk.open && bytes >= SVR_SUB_STR_IN_MAX_LEN) {
        NoteLeft(walk.repair, walk.rules.tooLong, walk.cueLine + 1);
    }
    walk.open = false;
}

// The lines between what came before and a cue's number or time line.
static void BeginCue(BlockWalk &walk, size_t line) {
    Repair &repair = walk.repair;
    const bool closed = HasEmptyLine(walk);
    const size_t allowed = walk.open ? 1 : 0;
    const bool wasOpen = walk.open;
    CloseCue(walk);
    if (wasOpen && !closed) {
        NoteMended(repair, FINDING_NO_BLANK_LINE, line + 1);
        repair.lines.emplace_back();
    } else if (!walk.rules.oneBlank) {
        PutBlanks(walk);
    } else {
        if (walk.blanks.size() > allowed) {
            NoteMended(repair, FINDING_BLANK_BEFORE_TIME, walk.blanks[allowed] + 1);
        }
        repair.lines.resize(repair.lines.size() + allowed);
    }
    walk.blanks.clear();
    walk.orphan = false;
}

static void PutTime(BlockWalk &walk, size_t line, const BlockTime &time) {
    Repair &repair = walk.repair;
    if (time.tooLate) {
        NoteLeft(repair, FINDING_TIME_TOO_LATE, line + 1, TextOf(walk, line), time.startMs);
    } else if (!time.usual) {
        NoteMended(repair, time.kind, line + 1, TextOf(walk, line), time.startMs);
    }
    repair.lines.push_back(time.usual || time.tooLate ? TextOf(walk, line) : time.written);
    repair.cues.push_back({line + 1, time.startMs, time.endMs});
    walk.open = true;
    walk.hasText = false;
    walk.numbered = false;
    walk.cueLine = line;
    walk.cueBytes = 0;
}

// An arrow with a clock on one side, though nobody can read it.
static bool LooksTimed(std::string_view text) {
    static constexpr std::string_view kArrow = "-->";
    const size_t arrow = text.find(kArrow);
    if (arrow == text.npos) {
        return false;
    }
    const std::string_view before = Trimmed(text.substr(0, arrow));
    const std::string_view behind = Trimmed(text.substr(arrow + kArrow.size()));
    const auto isDigit = [](char ch) {
        return ch >= '0' && ch <= '9';
    };
    const bool touches = (!before.empty() && isDigit(before.back())) || (!behind.empty() && isDigit(behind.front()));
    return touches && text.find_first_of(":.,") != text.npos;
}

static void NoteTextOutside(BlockWalk &walk, size_t line) {
    const std::string &text = TextOf(walk, line);
    if (LooksTimed(text)) {
        NoteLeft(walk.repair, FINDING_TIME_NOT_UNDERSTOOD, line + 1, text);
        walk.orphan = true;
    } else if (!walk.open && !walk.orphan && !IsNumber(text) && (!walk.repair.cues.empty() || !walk.rules.header)) {
        NoteLeft(walk.repair, FINDING_TEXT_WITHOUT_TIME, line + 1, text);
        walk.orphan = true;
    }
}

static void PutText(BlockWalk &walk, size_t line) {
    Repair &repair = walk.repair;
    const SourceLine &source = repair.source.lines[line];
    if (walk.open && HasEmptyLine(walk)) {
        if (walk.rules.numbers && IsNumber(source.text)) { // of a cue without a time line
            CloseCue(walk);
        } else {
            NoteMended(repair, FINDING_BLANK_IN_TEXT, walk.blanks.front() + 1);
            walk.blanks.clear();
        }
    } else if (!walk.open && walk.rules.oneBlank && !walk.blanks.empty()) {
        NoteMended(repair, FINDING_BLANK_BEFORE_TIME, walk.blanks.front() + 1);
        walk.blanks.clear();
    }
    PutBlanks(walk);
    NoteTextOutside(walk, line);
    repair.lines.push_back(source.text);
    walk.hasText = true;
    walk.cueBytes += source.bytes.size() + source.end.size() * repair.source.width;
}

static void EndWalk(BlockWalk &walk) {
    const bool closed = HasEmptyLine(walk);
    const bool open = walk.open;
    CloseCue(walk);
    if (open && !closed && walk.rules.closed) {
        NoteMended(walk.repair, FINDING_NOT_CLOSED, walk.cueLine + 1);
    }
    if (open && (walk.rules.closed || !walk.hasText)) {
        walk.repair.lines.emplace_back();
    } else if (!walk.rules.oneBlank) {
        PutBlanks(walk);
    }
}

static void RetimeLines(Repair &repair, const BlockRules &rules) {
    for (const SourceLine &line : repair.source.lines) {
        const auto time = rules.timeOf(repair, line.text);
        const bool rewritten = time && !time->usual && time->kind == FINDING_SHORT_FRACTION;
        repair.lines.push_back(rewritten ? time->written : line.text);
    }
}

void RepairBlocks(Repair &repair, const BlockRules &rules) {
    if (!repair.mend) {
        RetimeLines(repair, rules);
        return;
    }
    BlockWalk walk{.repair = repair, .rules = rules};
    for (size_t line = 0; line < repair.source.lines.size(); line++) {
        const std::string &text = TextOf(walk, line);
        if (IsOnlyBlanks(text)) {
            walk.blanks.push_back(line);
            continue;
        }
        const auto time = rules.timeOf(repair, text);
        const bool isTime = time && (rules.tight || !walk.open || HasEmptyLine(walk));
        const bool isNumber = !isTime && IsNumberOfCue(walk, line);
        if (isTime && walk.numbered) {
            walk.blanks.clear();
        } else if (isTime || isNumber) {
            BeginCue(walk, line);
        }
        if (isTime) {
            PutTime(walk, line, *time);
        } else if (isNumber) {
            repair.lines.push_back(text);
            walk.numbered = true;
        } else {
            PutText(walk, line);
        }
    }
    EndWalk(walk);
}

// --- SubRip --------------------------------------------------------------------------------------------------------

static bool IsPlayersClock(const Clock &clock) {
    return !clock.negative && clock.groups == 3 && clock.longest <= 2 && !clock.fraction.empty() &&
           std::string_view(",.:").find(clock.mark) != std::string_view::npos;
}

// A player takes up to three digits for milliseconds.
static std::string SrtFraction(const Repair &repair, const Clock &clock) {
    const bool asRead = repair.player && IsPlayersClock(clock) && clock.fraction.size() < 3;
    return asRead ? std::string(3 - clock.fraction.size(), '0') + clock.fraction : FractionText(clock, 3);
}

// Later than a player can read is as late as it can read, for an end.
static std::optional<std::string> SrtClock(const Repair &repair, const Clock &clock) {
    const auto fields = FieldsText(clock.negative ? 0 : clock.seconds, 99);
    if (!fields) {
        return std::nullopt;
    }
    return *fields + "," + (clock.negative ? "000" : SrtFraction(repair, clock));
}

static std::optional<BlockTime> SrtTime(const Repair &repair, std::string_view text) {
    const auto line = TimeLineOf(text);
    if (!line || line->comma) {
        return std::nullopt;
    }
    BlockTime time;
    const bool read = line->usualArrow && line->before.find_first_not_of(" \t") == line->before.npos &&
                      IsPlayersClock(line->start) && IsPlayersClock(line->end) && line->start.fraction.size() <= 3;
    const bool negative = line->start.negative || line->end.negative;
    const bool whole = line->start.fraction.size() == 3 && line->end.fraction.size() >= 3;
    time.usual = read && (repair.player || whole);
    time.kind = negative ? FINDING_NEGATIVE_TIME : (read ? FINDING_SHORT_FRACTION : FINDING_TIME_SPELLING);
    const auto start = SrtClock(repair, line->start);
    const auto end = SrtClock(repair, line->end);
    time.tooLate = !start;
    time.written = fmt::format("{} --> {}{}", start.value_or(""), end.value_or("99:99:99,999"), line->rest);
    time.startMs = DecimalMs(line->start);
    time.endMs = DecimalMs(line->end);
    return time;
}

void RepairSrt(Repair &repair) {
    RepairBlocks(repair, {.timeOf = SrtTime,
                          .header = false,
                          .numbers = true,
                          .tight = true,
                          .oneBlank = false,
                          .closed = false,
                          .tooLong = FINDING_LONG_CUE});
}
