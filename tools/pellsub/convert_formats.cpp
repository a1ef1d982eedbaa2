// The formats that cues can be written in, one way of writing for each. What a format could take for its own markup, or
// for the end of a cue, is written in another way that looks the same or nearly so.
#include "tools/pellsub/convert_formats.h"

#include "tools/pellsub/cue_markup.h"
#include "tools/pellsub/time_text.h"
#include "tools/pellsub/words.h"

#include <algorithm>
#include <cctype>
#include <fmt/format.h>
#include <iterator>
#include <nlohmann/json.hpp>

using Json = nlohmann::ordered_json;

// Takes no room and joins what stands around it: it is put into what must not be read as markup.
static constexpr std::string_view kJoiner = "\xE2\x81\xA0";

static void ReplaceAll(std::string &text, std::string_view from, std::string_view to) {
    for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
}

// Whether a line is one that ends a cue in SubRip and WebVTT.
static bool IsEmptyLine(std::string_view line) {
    return line.find_first_not_of(" \t") == std::string_view::npos;
}

static TextLine RunsWithoutEmptyLines(StyledText text) {
    DropLines(text, IsEmptyLine);
    return FlatRunsOf(text);
}

static std::string Tagged(const char *tag, bool wanted, const std::string &text) {
    return wanted ? fmt::format("<{0}>{1}</{0}>", tag, text) : text;
}

static std::string TaggedRun(const TextStyle &style, const std::string &text) {
    return Tagged("b", style.bold, Tagged("i", style.italic, Tagged("u", style.underline, text)));
}

// --- SubRip --------------------------------------------------------------------------------------------------------

static bool BeginsSubRipMarkup(std::string_view text) {
    return text.starts_with("{\\") ||
           std::any_of(std::begin(kSubRipTags), std::end(kSubRipTags), [=](std::string_view tag) {
               return BeginsNoCase(text, tag) && (tag.ends_with('>') || text.size() == tag.size() ||
                                                  std::isalnum(static_cast<unsigned char>(text[tag.size()])) == 0);
           });
}

// Many readers take every line with an arrow for a line of times.
static std::string SubRipText(std::string_view text) {
    std::string written;
    for (size_t i = 0; i < text.size(); i++) {
        written += text[i];
        written += BeginsSubRipMarkup(text.substr(i)) ? kJoiner : "";
    }
    ReplaceAll(written, "-->", "\xE2\x86\x92");
    return written;
}

// Strike-out has no tag that all players know, and those that do not would show it.
static std::string SubRipRun(const TextRun &run) {
    const std::string tagged = TaggedRun(run.style, SubRipText(run.text));
    return run.style.colour ? fmt::format("<font color=\"#{:06x}\">{}</font>", *run.style.colour, tagged) : tagged;
}

static std::string SubRipTime(int64_t ms) {
    std::string text = TimeText(ms);
    text[text.size() - 4] = ',';
    return text;
}

static std::string WriteSubRip(const ConvertedStream &stream) {
    std::string document;
    size_t number = 0;
    for (const ConvertedCue &cue : stream.cues) {
        const int alignment = cue.text.alignment;
        document += fmt::format("{}\n{} --> {}\n", ++number, SubRipTime(cue.startMs), SubRipTime(cue.endMs));
        document += alignment != 0 && alignment != 2 ? fmt::format("{{\\an{}}}", alignment) : "";
        for (const TextRun &run : RunsWithoutEmptyLines(cue.text)) {
            document += SubRipRun(run);
        }
        document += "\n\n";
    }
    return document;
}

// --- WebVTT --------------------------------------------------------------------------------------------------------

// Where a cue stands: a line and a side, as far as they differ from what a player does by itself.
static std::string WebVttSettings(int alignment) {
    static constexpr const char *kSides[] = {" position:5% align:left", "", " position:95% align:right"};
    static constexpr const char *kLines[] = {"", " line:50%", " line:0"};
    return alignment == 0 ? "" : fmt::format("{}{}", kLines[(alignment - 1) / 3], kSides[(alignment - 1) % 3]);
}

static std::string WebVttText(std::string text) {
    ReplaceAll(text, "&", "&amp;");
    ReplaceAll(text, "<", "&lt;");
    ReplaceAll(text, ">", "&gt;");
    return text;
}

// Players know eight colours by name. Others are classes that a page can define; the file does not, as many readers
// stop at a block of styles.
static std::string WebVttColour(uint32_t colour) {
    static constexpr std::pair<uint32_t, const char *> kNamed[] = {
        {0xFFFFFF, "white"},  {0x00FF00, "lime"},    {0x00FFFF, "cyan"}, {0xFF0000, "red"},
        {0xFFFF00, "yellow"}, {0xFF00FF, "magenta"}, {0x0000FF, "blue"}, {0x000000, "black"}};
    const auto row = std::find_if(std::begin(kNamed), std::end(kNamed), [=](auto &r) { return r.first == colour; });
    return row != std::end(kNamed) ? row->second : fmt::format("color{:06X}", colour);
}

static std::string WebVttRun(const TextRun &run) {
    const std::string colour = run.style.colour ? "." + WebVttColour(*run.style.colour) : "";
    const std::string classes = (run.style.strikeOut ? ".strike" : "") + colour;
    const std::string tagged = TaggedRun(run.style, WebVttText(run.text));
    return classes.empty() ? tagged : fmt::format("<c{}>{}</c>", classes, tagged);
}

// A cue has to end after its start.
static std::string WriteWebVtt(const ConvertedStream &stream) {
    std::string document = "WEBVTT\n\n";
    for (const ConvertedCue &cue : stream.cues) {
        const int64_t end = std::max(cue.endMs, cue.startMs + 1);
        document += TimeText(cue.startMs) + " --> " + TimeText(end) + WebVttSettings(cue.text.alignment) + "\n";
        for (const TextRun &run : RunsWithoutEmptyLines(cue.text)) {
            document += WebVttRun(run);
        }
        document += "\n\n";
    }
    return document;
}

// --- ASS -----------------------------------------------------------------------------------------------------------

static constexpr const char *kAssHead =
    "[Script Info]\n"
    "ScriptType: v4.00+\n"
    "PlayResX: 1920\n"
    "PlayResY: 1080\n"
    "WrapStyle: 0\n"
    "ScaledBorderAndShadow: yes\n"
    "\n"
    "[V4+ Styles]\n"
    "Format: Name, Fontname, Fontsize, PrimaryColour, SecondaryColour, OutlineColour, BackColour, Bold, Italic, "
    "Underline, StrikeOut, ScaleX, ScaleY, Spacing, Angle, BorderStyle, Outline, Shadow, Alignment, MarginL, MarginR, "
    "MarginV, Encoding\n"
    "Style: Default,Arial,64,&H00FFFFFF,&H000000FF,&H00000000,&H80000000,0,0,0,0,100,100,0,0,1,3,1,2,60,60,50,1\n"
    "\n"
    "[Events]\n";

// Braces have no escape that all players know; those of full width look alike. A backslash is one only before some
// letters.
static std::string AssRunText(std::string text) {
    for (const char *letter : {"\\N", "\\n", "\\h"}) {
        ReplaceAll(text, letter, fmt::format("\\{}{}", kJoiner, letter[1]));
    }
    ReplaceAll(text, "{", "\xEF\xBD\x9B");
    ReplaceAll(text, "}", "\xEF\xBD\x9D");
    ReplaceAll(text, "\xC2\xA0", "\\h");
    ReplaceAll(text, "\n", "\\N");
    return text;
}

// The block that leads from one style to the next.
static std::string AssOverrides(const TextStyle &from, const TextStyle &to) {
    std::string overrides;
    const auto change = [&](char letter, bool before, bool after) {
        overrides += before == after ? "" : fmt::format("\\{}{}", letter, after ? 1 : 0);
    };
    change('b', from.bold, to.bold);
    change('i', from.italic, to.italic);
    change('u', from.underline, to.underline);
    change('s', from.strikeOut, to.strikeOut);
    if (from.colour != to.colour) {
        const uint32_t rgb = to.colour.value_or(0);
        const uint32_t bgr = (rgb & 0xFF) << 16 | (rgb & 0xFF00) | rgb >> 16;
        overrides += to.colour ? fmt::format("\\c&H{:06X}&", bgr) : "\\c";
    }
    return overrides.empty() ? "" : "{" + overrides + "}";
}

static std::string AssTime(int64_t ms) {
    return fmt::format("{}:{:02}:{:02}.{:02}", ms / 3600000, ms / 60000 % 60, ms / 1000 % 60, ms / 10 % 100);
}

// Where events stand: behind the Format line of the events section, or at the end of a header that has none.
static size_t PlaceOfEvents(std::string_view header) {
    bool events = false;
    for (size_t at = 0; at < header.size();) {
        const size_t end = std::min(header.find('\n', at), header.size() - 1) + 1;
        const std::string_view line = header.substr(at, end - at);
        events = line.starts_with('[') ? BeginsNoCase(line, "[Events]") : events;
        if (events && BeginsNoCase(line, "Format:")) {
            return end;
        }
        at = end;
    }
    return header.size();
}

// Times are other than they were, and lines stand in their order.
static std::string WriteSameAss(const ConvertedStream &stream) {
    static const AssTimed kPlainEvent{"Dialogue: 0,", ",", ",Default,,0,0,0,,"};
    const size_t place = PlaceOfEvents(stream.header);
    std::string document = stream.header.substr(0, place);
    document += document.ends_with('\n') ? "" : "\n";
    for (const ConvertedCue &cue : stream.cues) {
        const AssTimed &event = cue.event != nullptr ? *cue.event : kPlainEvent;
        document += event.before + AssTime(cue.startMs) + event.between + AssTime(cue.endMs) + event.behind;
        document += (cue.event != nullptr ? "" : AssRunText(PlainTextOf(cue.text))) + "\n";
    }
    return document + stream.header.substr(place);
}

static std::string WriteAss(const ConvertedStream &stream) {
    if (!stream.header.empty()) {
        return WriteSameAss(stream);
    }
    std::string document = fmt::format("{}Format: {}\n", kAssHead, kAssUsualFields);
    for (const ConvertedCue &cue : stream.cues) {
        const int alignment = cue.text.alignment;
        document += fmt::format("Dialogue: 0,{},{},Default,,0,0,0,,", AssTime(cue.startMs), AssTime(cue.endMs));
        document += alignment != 0 && alignment != 2 ? fmt::format("{{\\an{}}}", alignment) : "";
        TextStyle style;
        for (const TextRun &run : FlatRunsOf(cue.text)) {
            document += AssOverrides(style, run.style) + AssRunText(run.text);
            style = run.style;
        }
        document += "\n";
    }
    return document;
}

// --- lyrics --------------------------------------------------------------------------------------------------------

// A line of lyrics stays until the next one; where nothing is shown for longer than this, an empty one ends it.
static constexpr int64_t kPauseMs = 500;

static std::string LyricsTime(int64_t ms) {
    return fmt::format("[{:02}:{:02}.{:02}]", ms / 60000, ms / 1000 % 60, ms / 10 % 100);
}

// One line, in which no bracket begins a tag or the time of a word; these have a colon.
static std::string LyricsText(const StyledText &text) {
    std::string line = PlainTextOf(text);
    std::replace(line.begin(), line.end(), '\n', ' ');
    if (line.find(':') != std::string::npos) {
        ReplaceAll(line, "[", fmt::format("[{}", kJoiner));
        ReplaceAll(line, "<", fmt::format("<{}", kJoiner));
    }
    return line;
}

static std::string WriteLyrics(const ConvertedStream &stream) {
    std::string document;
    int64_t shownUntil = 0;
    for (const ConvertedCue &cue : stream.cues) {
        const bool pause = !document.empty() && cue.startMs - shownUntil > kPauseMs;
        document += pause ? LyricsTime(shownUntil) + "\n" : "";
        document += LyricsTime(cue.startMs) + LyricsText(cue.text) + "\n";
        shownUntil = std::max(shownUntil, cue.endMs);
    }
    return document + LyricsTime(shownUntil) + "\n";
}

// --- JSON ----------------------------------------------------------------------------------------------------------

// Only what a run has is named.
static Json RunJson(const TextRun &run) {
    Json json{{"text", run.text}};
    const std::pair<const char *, bool> flags[] = {{"bold", run.style.bold},
                                                   {"italic", run.style.italic},
                                                   {"underline", run.style.underline},
                                                   {"strike_out", run.style.strikeOut}};
    for (const auto &[name, set] : flags) {
        if (set) {
            json[name] = true;
        }
    }
    if (run.style.colour) {
        json["colour"] = fmt::format("#{:06x}", *run.style.colour);
    }
    return json;
}

static Json CueJson(const ConvertedCue &cue) {
    Json runs = Json::array();
    for (const TextRun &run : FlatRunsOf(cue.text)) {
        runs.push_back(RunJson(run));
    }
    const int alignment = cue.text.alignment;
    return Json{{"start_ms", cue.startMs},
                {"end_ms", cue.endMs},
                {"text", PlainTextOf(cue.text)},
                {"alignment", alignment == 0 ? Json() : Json(alignment)},
                {"runs", runs}};
}

static std::string WriteJson(const ConvertedStream &stream) {
    const auto orNull = [](const std::string &text) {
        return text.empty() ? Json() : Json(text);
    };
    const Json head{{"schema_version", 1}, {"language", orNull(stream.language)}, {"title", orNull(stream.title)}};
    std::string document = head.dump(-1, ' ', false, Json::error_handler_t::replace);
    document.pop_back();
    document += ",\"cues\":[";
    for (const ConvertedCue &cue : stream.cues) {
        document += &cue == stream.cues.data() ? "\n" : ",\n";
        document += CueJson(cue).dump();
    }
    return document + "\n]}\n";
}

// --- table ---------------------------------------------------------------------------------------------------------

const TargetFormat &TargetNamed(const std::string &name) {
    static constexpr int64_t kHour = 3600000;
    static const TargetFormat rows[] = {
        {"json", 1, INT64_MAX, WriteJson},          {"srt", 1, 100 * kHour - 1, WriteSubRip},
        {"vtt", 1, INT64_MAX, WriteWebVtt},         {"ass", 10, 10 * kHour - 10, WriteAss},
        {"lrc", 10, 100 * 60000 - 10, WriteLyrics},
    };
    const auto row = std::find_if(std::begin(rows), std::end(rows), [&](auto &r) { return name == r.name; });
    return row != std::end(rows) ? *row : rows[0];
}
