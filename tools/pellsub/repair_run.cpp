// A mended copy of a file for the plug-in to read, and what its source lines tell.
#include "tools/pellsub/repair_run.h"

#include "charset/pell_charset.h"
#include "tools/pellsub/repair_rules.h"
#include "tools/pellsub/sub_head.h"

#include <algorithm>
#include <fmt/format.h>
#include <map>

struct RuleRow {
    const char *extension;
    RepairRule rule;
    bool ordered; // cues are expected in the order of their times
    bool retimed; // some of its times have two readings
    bool placed;  // delivered cues tell the line they come from, one line each
};

// As the plug-in tells formats apart; of ASS the first three letters count.
static const RuleRow kRules[] = {
    {"srt", RepairSrt, true, true, true},      {"sub", RepairSub, true, true, true},
    {"lrc", RepairLyrics, false, true, false}, {"smi", RepairSami, true, false, true},
    {"sami", RepairSami, true, false, true},   {"ass", RepairAss, false, false, false},
    {"ssa", RepairAss, false, false, false},
};

static const RuleRow *RuleFor(const std::string &url) {
    const size_t dot = url.rfind('.');
    const std::string extension = dot == url.npos ? "" : url.substr(dot + 1);
    const auto row = std::find_if(std::begin(kRules), std::end(kRules), [&](const RuleRow &rule) {
        const std::string known = rule.extension;
        const bool equal = extension.size() == known.size() || rule.rule == RepairAss;
        return equal && BeginsNoCase(extension, known);
    });
    return row != std::end(kRules) ? row : nullptr;
}

// --- notes ---------------------------------------------------------------------------------------------------------

static std::string DetailText(const Repair &repair, std::string_view detail) {
    const bool narrow = repair.source.width == 1 && repair.source.codeType != PELL_CODE_UTF8;
    return narrow && !detail.empty() ? Converted(detail, repair.source.codeType, PELL_CODE_UTF8) : std::string(detail);
}

void NoteMended(Repair &repair, FindingKind kind, size_t line, std::string_view detail,
                std::optional<int64_t> startMs) {
    repair.mended.push_back(FindingOf(kind, true, line, DetailText(repair, detail), startMs));
}

void NoteLeft(Repair &repair, FindingKind kind, size_t line, std::string_view detail, std::optional<int64_t> startMs) {
    repair.left.push_back(FindingOf(kind, false, line, DetailText(repair, detail), startMs));
}

// Why the lines of a file are not looked at; nothing when they are. The packet file of a VobSub pair has the name of a
// text, and is refused anyway.
static std::optional<FindingKind> ReadText(FormatEntry *entry, const std::string &url, int32_t encoding,
                                           SourceText &source) {
    if (BeginsWithPack(HeadOf(PellProtocolOf(entry), url, 4))) {
        return FINDING_PICTURES;
    }
    return ReadSource(entry, url, encoding, source) ? std::nullopt : std::optional(FINDING_TOO_LARGE);
}

// --- the copy ------------------------------------------------------------------------------------------------------

static bool IsUtf32(const SourceText &source) {
    return source.width == 4;
}

// Where lines end in a way that a player takes for no end, or for two, the first such one.
static void NoteLineEnds(Repair &repair) {
    for (size_t i = 0; i < repair.source.lines.size(); i++) {
        const std::string_view end = repair.source.lines[i].end;
        if (end == "\r\r\n" || (end == "\r" && repair.source.width > 1)) {
            NoteMended(repair, FINDING_LINE_ENDS, i + 1);
            return;
        }
    }
}

static void ApplyRule(Repair &repair, const RuleRow &rule) {
    if (repair.mend && IsUtf32(repair.source)) {
        NoteMended(repair, FINDING_UTF32, 0);
    }
    if (repair.mend) {
        NoteLineEnds(repair);
    }
    rule.rule(repair);
}

static bool IsSame(const Repair &repair) {
    const auto &lines = repair.source.lines;
    return std::equal(lines.begin(), lines.end(), repair.lines.begin(), repair.lines.end(),
                      [](const SourceLine &line, const std::string &copy) { return line.text == copy; });
}

// The usual line ends of the file, so that the copy differs from it no more than it must.
static std::string LineEndOf(const SourceText &source) {
    const bool windows = !source.lines.empty() && source.lines.front().end == "\r\n";
    return windows ? "\r\n" : "\n";
}

// Wide characters become what they were; the widest ones, UTF-8 with a mark that says so.
static void WriteCopy(const Repair &repair, const RepairWish &wish, RepairedFile &repaired) {
    const SourceText &source = repair.source;
    const std::string end = LineEndOf(source);
    std::string text;
    for (const std::string &line : repair.lines) {
        text += line + end;
    }
    const bool utf32 = IsUtf32(source);
    const bool utf16 = source.width == 2;
    repaired.bytes = utf32 ? "\xEF\xBB\xBF" : std::string(source.mark);
    repaired.bytes += utf16 ? Converted(text, PELL_CODE_UTF8, source.codeType) : text;
    repaired.encoding = utf32 && wish.encoding != 0 ? static_cast<int32_t>(PELL_CODE_UTF8) : wish.encoding;
    repaired.differs = true;
}

void RepairFile(FormatEntry *entry, const std::string &url, const RepairWish &wish, RepairedFile &repaired) {
    const RuleRow *rule = RuleFor(url);
    repaired.encoding = wish.encoding;
    SourceText source;
    if (rule != nullptr && !wish.mend && !rule->retimed) {
        return;
    }
    const auto why = rule == nullptr ? std::optional(FINDING_PICTURES) : ReadText(entry, url, wish.encoding, source);
    if (why) {
        if (wish.mend) {
            repaired.mended.push_back(FindingOf(*why, true, 0, ""));
        }
        return;
    }
    Repair repair{.source = source, .mend = wish.mend, .common = wish.common, .player = wish.player};
    ApplyRule(repair, *rule);
    if (!repair.mended.empty() || !IsSame(repair)) {
        WriteCopy(repair, wish, repaired);
    }
    repaired.mended = std::move(repair.mended);
}

void TellMended(const std::string &name, const std::vector<Finding> &mended) {
    static constexpr size_t kShown = 3;
    std::map<std::string_view, size_t> counts;
    for (const Finding &finding : mended) {
        const std::string place = finding.line > 0 ? fmt::format("line {}: ", finding.line) : "";
        if (++counts[finding.kind] <= kShown) {
            Note(name, place + finding.mended);
        }
    }
    for (const auto &[kind, count] : counts) {
        if (count > kShown) {
            const auto alike = std::find_if(mended.begin(), mended.end(), [&, wanted = kind](const Finding &finding) {
                return wanted == finding.kind;
            });
            const std::string words = alike->mended.substr(0, alike->mended.find(':'));
            Note(name, fmt::format("{} more: {}", count - kShown, words));
        }
    }
}

// --- what the lines tell ---------------------------------------------------------------------------------------------

static void NoteOrder(Repair &repair, bool ordered) {
    std::optional<int64_t> before;
    for (const SourceCue &cue : repair.cues) {
        const auto startMs = repair.frames ? std::nullopt : cue.start;
        if (cue.start && cue.end && *cue.end < *cue.start) {
            NoteLeft(repair, FINDING_END_BEFORE_START, cue.line, "", startMs);
        }
        if (ordered && cue.start && before && *cue.start < *before) {
            NoteLeft(repair, FINDING_OUT_OF_ORDER, cue.line, "", startMs);
        }
        before = cue.start;
    }
}

static void NoteBytes(Repair &repair) {
    const SourceText &source = repair.source;
    for (size_t i = 0; i < source.lines.size(); i++) {
        const SourceLine &line = source.lines[i];
        if (line.bytes.size() >= SVR_SUB_STR_IN_MAX_LEN) {
            NoteLeft(repair, FINDING_LONG_LINE, i + 1, fmt::format("{} bytes", line.bytes.size()));
        }
        if (IsUndecodable(source, line)) {
            NoteLeft(repair, FINDING_UNDECODABLE, i + 1, line.text);
        }
    }
}

std::vector<Finding> LookAtSource(FormatEntry *entry, const std::string &url, int32_t encoding, SourceText &source) {
    const RuleRow *rule = RuleFor(url);
    const auto why = rule == nullptr ? std::nullopt : ReadText(entry, url, encoding, source);
    if (rule == nullptr || why) {
        return why ? std::vector{FindingOf(*why, false, 0, "")} : std::vector<Finding>();
    }
    Repair repair{.source = source};
    ApplyRule(repair, *rule);
    NoteOrder(repair, rule->ordered);
    NoteBytes(repair);
    source.frames = repair.frames;
    if (rule->placed) {
        source.cues = std::move(repair.cues);
    }
    std::vector<Finding> found = std::move(repair.mended);
    found.insert(found.end(), repair.left.begin(), repair.left.end());
    std::stable_sort(found.begin(), found.end(), [](const Finding &a, const Finding &b) { return a.line < b.line; });
    return found;
}
