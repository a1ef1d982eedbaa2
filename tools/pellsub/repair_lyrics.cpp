// Lyrics: time tags that a player does not read as they are meant.
#include "tools/pellsub/repair_rules.h"
#include "tools/pellsub/timing_clock.h"

#include <algorithm>
#include <charconv>
#include <fmt/format.h>

struct LyricTag {
    size_t begin = 0; // of its bracket
    size_t end = 0;   // behind its bracket
    Clock clock;
};

struct LyricLine {
    std::vector<LyricTag> tags;    // times in front of the text
    std::optional<int64_t> offset; // of an offset tag
    std::string text;              // behind them, without time tags
    bool stamped = false;          // it had some
};

// A tag of seconds alone needs its fraction to be one: "[10.00]".
static std::optional<LyricTag> TimeTagAt(std::string_view line, size_t at) {
    const size_t close = line.find(']', at);
    if (close == line.npos) {
        return std::nullopt;
    }
    std::string_view inside = line.substr(at + 1, close - at - 1);
    const auto clock = TakeClock(inside);
    if (!clock || !inside.empty() || clock->negative) {
        return std::nullopt;
    }
    return LyricTag{at, close + 1, *clock};
}

static std::optional<int64_t> OffsetTagAt(std::string_view line, size_t at) {
    static constexpr std::string_view kName = "[offset:";
    if (!BeginsNoCase(line.substr(at), kName)) {
        return std::nullopt;
    }
    std::string_view value = WithoutLead(line.substr(at + kName.size()));
    value.remove_prefix(value.starts_with('+') ? 1 : 0);
    int64_t offset = 0;
    std::from_chars(value.data(), value.data() + value.size(), offset);
    return offset;
}

static LyricLine LyricLineOf(std::string_view line) {
    LyricLine lyric;
    size_t at = line.size() - WithoutLead(line).size();
    while (at < line.size() && line[at] == '[') {
        const auto tag = TimeTagAt(line, at);
        const size_t close = line.find(']', at);
        if (tag) {
            lyric.tags.push_back(*tag);
        } else if (const auto offset = OffsetTagAt(line, at)) {
            lyric.offset = offset;
        } else if (!lyric.tags.empty() || close == line.npos) {
            break;
        }
        const std::string_view rest = line.substr(close == line.npos ? line.size() : close + 1);
        const std::string_view behind = WithoutLead(rest);
        at = behind.starts_with('[') ? line.size() - behind.size() : line.size() - rest.size();
    }
    while (at < line.size()) {
        const auto tag = line[at] == '[' ? TimeTagAt(line, at) : std::nullopt;
        lyric.stamped = lyric.stamped || tag.has_value();
        lyric.text += tag ? std::string() : std::string(1, line[at]);
        at = tag ? tag->end : at + 1;
    }
    return lyric;
}

// "01:02:50" with two digits in front counts hundredths behind the seconds, with one it begins with hours. A player
// reads two digits of each, and leaves the third number out.
static bool IsPlayersTag(const Clock &clock) {
    const bool plain = clock.groups == 2 && clock.longest <= 2 && (clock.fraction.empty() || clock.mark == '.');
    return plain || (clock.groups == 3 && clock.first == 2 && clock.longest == 2 && clock.fraction.empty());
}

static int64_t TagMs(const Clock &clock, bool common) {
    Clock meant = clock;
    if (clock.groups == 3 && clock.first == 2 && clock.fraction.empty()) {
        meant.fraction = fmt::format("{:02}", clock.last);
        meant.seconds = (clock.seconds - clock.last) / 60;
        return common ? DecimalMs(meant) : meant.seconds * 1000;
    }
    meant.fraction = clock.fraction.substr(0, common ? std::string::npos : 2);
    return common ? DecimalMs(meant) : LiteralMs(meant);
}

// A player adds an offset in front of a tag to its time, and so reads any time.
static void PutLyric(Repair &repair, const LyricLine &lyric, int64_t shift) {
    for (const LyricTag &tag : lyric.tags) {
        repair.lines.push_back(
            fmt::format("[offset:{}][00:00]{}", TagMs(tag.clock, repair.common) + shift, lyric.text));
    }
}

// The last offset of the file; with the sign that players of music give it, a positive one shows lyrics sooner.
static int64_t CommonOffset(const std::vector<LyricLine> &lyrics) {
    int64_t offset = 0;
    for (const LyricLine &lyric : lyrics) {
        offset = lyric.offset.value_or(offset);
    }
    return offset;
}

static bool NeedsMending(Repair &repair, const LyricLine &lyric, size_t line) {
    const bool misread =
        std::any_of(lyric.tags.begin(), lyric.tags.end(), [](const LyricTag &tag) { return !IsPlayersTag(tag.clock); });
    const std::string &text = repair.source.lines[line].text;
    if (misread) {
        NoteMended(repair, FINDING_TIME_SPELLING, line + 1, text);
    } else if (lyric.stamped && !lyric.tags.empty()) {
        NoteMended(repair, FINDING_WORD_STAMPS, line + 1, text);
    }
    const bool tagged = WithoutLead(text).starts_with('[');
    if (!tagged && !WithoutLead(text).empty()) {
        NoteLeft(repair, FINDING_TEXT_WITHOUT_TIME, line + 1, text);
    }
    return misread || (lyric.stamped && !lyric.tags.empty());
}

// A player takes fractions and offsets in a way of its own.
static void NoteTwoReadings(Repair &repair, const std::vector<LyricLine> &lyrics, int64_t offset) {
    const auto differs = [](const LyricTag &tag) {
        return TagMs(tag.clock, false) != TagMs(tag.clock, true);
    };
    const auto first = std::find_if(lyrics.begin(), lyrics.end(), [=](const LyricLine &lyric) {
        return !lyric.tags.empty() && (offset != 0 || std::any_of(lyric.tags.begin(), lyric.tags.end(), differs));
    });
    if (first != lyrics.end()) {
        const size_t line = static_cast<size_t>(first - lyrics.begin());
        NoteLeft(repair, FINDING_TWO_READINGS, line + 1, repair.source.lines[line].text);
    }
}

void RepairLyrics(Repair &repair) {
    std::vector<LyricLine> lyrics;
    for (const SourceLine &line : repair.source.lines) {
        lyrics.push_back(LyricLineOf(line.text));
    }
    const int64_t offset = CommonOffset(lyrics);
    NoteTwoReadings(repair, lyrics, offset);
    for (size_t i = 0; i < lyrics.size(); i++) {
        const LyricLine &lyric = lyrics[i];
        const bool mending = repair.mend && NeedsMending(repair, lyric, i);
        if (repair.common && !lyric.tags.empty()) {
            PutLyric(repair, lyric, -offset);
        } else if (mending) {
            PutLyric(repair, lyric, lyric.offset.value_or(0));
        } else if (!repair.common || !lyric.offset) {
            repair.lines.push_back(repair.source.lines[i].text);
        }
    }
}
