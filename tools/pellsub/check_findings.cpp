// What can be wrong with the lines of a subtitle file: the kinds, and the words for each.
#include "tools/pellsub/check_findings.h"

#include <fmt/format.h>

static constexpr size_t kMaxDetail = 60;

const FindingWords &WordsOf(FindingKind kind) {
    static const FindingWords words[] = {
        {"time_spelling", "a player does not read this time as it is meant", "time written as players read it"},
        {"time_not_understood", "this time is not understood; its cue is lost", nullptr},
        {"time_too_late", "a time later than players can read", nullptr},
        {"short_fraction", "a player takes fewer than three digits for milliseconds, not for a fraction",
         "fraction written with three digits"},
        {"two_readings",
         "a player reads such times in a way of its own; --timing common reads them as most programs do", nullptr},
        {"negative_time", "a player cannot read times before zero, and shows the cue at another time",
         "time before zero set to zero"},
        {"no_blank_line", "no blank line before this cue; a player may lose the end of the text before it",
         "blank line put in before this cue"},
        {"blank_in_text", "a blank line inside a cue; the text behind it is lost", "blank line inside a cue taken out"},
        {"blank_before_time", "a blank line where a time line should be; a player loses all cues from here on",
         "blank line before a time line taken out"},
        {"not_closed", "nothing closes this cue; a player loses it", "end of the cue put in"},
        {"text_without_time", "text without a time is not shown", nullptr},
        {"line_not_understood", "this line is not understood, and passed over", nullptr},
        {"line_ends", "line ends that players do not take for one", "unusual line ends replaced"},
        {"utf32", "it is UTF-32, which players cannot read; all cues are lost", "UTF-32 turned into UTF-8"},
        {"too_large", "it is larger than 64 MiB, and its lines are not looked at",
         "not mended: it is larger than 64 MiB"},
        {"pictures", "it holds pictures, which are not looked at", "not mended: only text can be"},
        {"other_form", "a form of subtitle that players do not know; all cues are lost",
         "written in a form that players know"},
        {"sync_place", "a sync tag that does not begin its line; its cue is lost", "sync tag put on a line of its own"},
        {"sync_spelling", "a sync tag that players do not read; its cue is lost",
         "sync tag written as players read it"},
        {"paragraph_place", "with several classes, a paragraph that does not begin a line loses its text",
         "paragraph put on a line of its own"},
        {"class_order", "paragraphs are not in the order of the classes; a player gives texts to the wrong language",
         "paragraphs given to their classes"},
        {"class_rule", "a class rule that is not one line loses its name and language", "class rule put on one line"},
        {"word_stamps", "time tags inside the text; a player keeps only the text behind the last",
         "time tags inside the text taken out"},
        {"no_events", "events without an [Events] line before them; all cues are lost", "[Events] put in"},
        {"no_format_line", "no Format line follows [Events]; all cues are lost", "the usual Format line put in"},
        {"end_before_start", "the cue ends before it starts", nullptr},
        {"out_of_order", "the cue starts before the one above it", nullptr},
        {"long_line", "a line of which players read only the first 2560 bytes", nullptr},
        {"long_cue", "a cue of 2560 bytes or more, which players do not show", nullptr},
        {"cut_cue", "a cue of 2560 bytes or more, of which players show only the beginning", nullptr},
        {"undecodable", "bytes that are no characters of the encoding", nullptr},
        {"cue_lost", "players do not show this cue", nullptr},
        {"overlap", "the cue starts before the one ahead of it ends", nullptr},
        {"empty_cue", "the cue has nothing to read", nullptr},
        {"frame_rate_guessed", "it names no frame rate; its times are a guess (--fps sets it)", nullptr},
    };
    return words[kind];
}

// Cut between characters.
static std::string Shortened(const std::string &detail) {
    size_t size = detail.size();
    if (size > kMaxDetail) {
        size = kMaxDetail;
        while (size > 0 && (static_cast<unsigned char>(detail[size]) & 0xC0) == 0x80) {
            size--;
        }
    }
    return detail.substr(0, size) + (size < detail.size() ? "..." : "");
}

Finding FindingOf(FindingKind kind, bool mendable, size_t line, const std::string &detail,
                  std::optional<int64_t> startMs) {
    const FindingWords &words = WordsOf(kind);
    Finding finding;
    finding.kind = words.kind;
    finding.line = line;
    finding.startMs = startMs;
    const std::string behind = detail.empty() ? "" : ": " + Shortened(detail);
    finding.message = fmt::format("{}{}{}", words.found, behind, mendable ? " (--repair mends it)" : "");
    finding.mended = mendable && words.mended != nullptr ? words.mended + behind : "";
    return finding;
}

bool IsRateAssumed(const FileFacts &facts) {
    return facts.frameRateKind != nullptr && std::string_view(facts.frameRateKind) == "assumed";
}

void WarnOfAssumedRate(FileFacts &facts) {
    if (IsRateAssumed(facts)) {
        facts.warnings.push_back({WordsOf(FINDING_FRAME_RATE).kind, WordsOf(FINDING_FRAME_RATE).found});
    }
}
