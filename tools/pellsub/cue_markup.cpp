// Cues as delivered to text with its markup, by the rules of each format.
#include "tools/pellsub/cue_markup.h"

#include "tools/pellsub/sami_text.h"
#include "tools/pellsub/words.h"

#include <algorithm>
#include <cctype>

static StyledText Unstyled(std::string_view text) {
    StyledText styled;
    AppendText(styled, text, {});
    return styled;
}

// --- SubRip --------------------------------------------------------------------------------------------------------

const std::string_view kSubRipTags[8] = {"<font", "<b", "<i", "<u", "</font>", "</b>", "</i>", "</u>"};

// The size of the tag at the front of the text. 0: there is none.
static size_t SubRipTagSize(std::string_view text) {
    for (const std::string_view name : kSubRipTags) {
        if (!BeginsNoCase(text, name)) {
            continue;
        }
        if (name.ends_with('>')) {
            return name.size();
        }
        const char next = text.size() > name.size() ? text[name.size()] : '\0';
        const size_t end = text.find('>', name.size());
        if ((next == '>' || std::isspace(static_cast<unsigned char>(next)) != 0) && end != std::string_view::npos) {
            return end + 1;
        }
    }
    return 0;
}

// The size of an override block, such as "{\an8}". 0: there is none, or it does not end in its line.
static size_t BlockSize(std::string_view text) {
    const size_t end = text.starts_with("{\\") ? text.find_first_of("}\n") : std::string_view::npos;
    return end != std::string_view::npos && text[end] == '}' ? end + 1 : 0;
}

struct SubRipState {
    TagState tags;
    AssLook look;
    StyledText text;
};

// Takes markup off the front of the text. False: there is none.
static bool TakeSubRipMarkup(std::string_view &source, SubRipState &state) {
    const size_t tag = SubRipTagSize(source);
    const size_t block = tag == 0 ? BlockSize(source) : 0;
    if (tag > 0) {
        ApplyTag(source.substr(0, tag), state.tags);
    } else if (block > 0) {
        ApplyOverrides(source.substr(1, block - 2), {}, {}, state.look);
    }
    source.remove_prefix(tag + block);
    return tag + block > 0;
}

static TextStyle SubRipStyle(const SubRipState &state) {
    TextStyle style = TagStyleOf(state.tags);
    style.bold = style.bold || state.look.style.bold;
    style.italic = style.italic || state.look.style.italic;
    style.underline = style.underline || state.look.style.underline;
    style.strikeOut = state.look.style.strikeOut;
    style.colour = style.colour ? style.colour : state.look.style.colour;
    return style;
}

// Tags and blocks are gone from the text that is delivered, so both are followed, character by character: what only the
// file has is markup. Where that does not come out even, there is none.
static StyledText SubRipStyledText(std::string_view source, std::string_view delivered) {
    SubRipState state;
    while (!delivered.empty() && !source.empty()) {
        if (TakeSubRipMarkup(source, state)) {
            continue;
        }
        const bool same = source.front() == delivered.front();
        if (!same && source.front() != '\r') {
            return {};
        }
        if (same && source.front() != '\r') {
            AppendText(state.text, source.substr(0, 1), SubRipStyle(state));
        }
        source.remove_prefix(1);
        delivered.remove_prefix(same ? 1 : 0);
    }
    while (!state.text.lines.empty() && state.text.lines.back().empty()) {
        state.text.lines.pop_back();
    }
    state.text.alignment = state.look.alignment;
    return state.text;
}

// --- SAMI ----------------------------------------------------------------------------------------------------------

static void TrimLine(TextLine &line) {
    while (!line.empty()) {
        std::string_view rest = line.front().text;
        TrimFront(rest);
        line.front().text = std::string(rest);
        if (!rest.empty()) {
            break;
        }
        line.erase(line.begin());
    }
    while (!line.empty()) {
        std::string_view rest = line.back().text;
        TrimBack(rest);
        line.back().text = std::string(rest);
        if (!rest.empty()) {
            break;
        }
        line.pop_back();
    }
}

static StyledText SamiStyledText(std::string_view delivered) {
    StyledText text;
    TagState tags;
    for (SamiPiece &piece : SamiPiecesOf(delivered)) {
        std::replace(piece.text.begin(), piece.text.end(), '\r', '\n');
        ApplyTag(piece.tag, tags);
        AppendText(text, piece.text, TagStyleOf(tags));
    }
    std::for_each(text.lines.begin(), text.lines.end(), TrimLine);
    DropLines(text, [](std::string_view line) { return line.empty(); });
    return text;
}

// --- MicroDVD ------------------------------------------------------------------------------------------------------

static void ApplyMicrodvdStyles(std::string_view letters, TextStyle &style) {
    const auto has = [=](const char *either) {
        return letters.find_first_of(either) != std::string_view::npos;
    };
    style.bold = style.bold || has("bB");
    style.italic = style.italic || has("iI");
    style.underline = style.underline || has("uU");
    style.strikeOut = style.strikeOut || has("sS");
}

// "$BBGGRR" to 0xRRGGBB.
static std::optional<uint32_t> MicrodvdColour(std::string_view value) {
    const auto bgr = value.starts_with('$') ? ParseColour(value.substr(1)) : std::nullopt;
    return bgr ? std::optional((*bgr & 0xFF) << 16 | (*bgr & 0xFF00) | *bgr >> 16) : std::nullopt;
}

// Takes a code such as "{y:i}" off the front of a line. Capital letters hold for the lines that follow, too.
static bool TakeMicrodvdCode(std::string_view &line, TextStyle &lineStyle, TextStyle &cueStyle) {
    static constexpr std::string_view kCodes = "yYcCfFsSoOpPhHaA";
    const size_t end = line.find('}');
    if (end == std::string_view::npos || line.size() < 4 || line[0] != '{' || line[2] != ':' ||
        kCodes.find(line[1]) == std::string_view::npos) {
        return false;
    }
    const std::string_view value = line.substr(3, end - 3);
    TextStyle *const styles[] = {&lineStyle,
                                 std::isupper(static_cast<unsigned char>(line[1])) != 0 ? &cueStyle : &lineStyle};
    for (TextStyle *style : styles) {
        if (line[1] == 'y' || line[1] == 'Y') {
            ApplyMicrodvdStyles(value, *style);
        } else if (line[1] == 'c' || line[1] == 'C') {
            style->colour = MicrodvdColour(value);
        }
    }
    line.remove_prefix(end + 1);
    return true;
}

static StyledText MicrodvdStyledText(std::string_view text) {
    StyledText styled;
    TextStyle cueStyle;
    while (!text.empty()) {
        const size_t end = std::min(text.find('\n'), text.size());
        std::string_view line = text.substr(0, end);
        TextStyle style = cueStyle;
        while (TakeMicrodvdCode(line, style, cueStyle)) {
        }
        AppendText(styled, line, style);
        AppendText(styled, end < text.size() ? "\n" : "", {});
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return styled;
}

// --- lyrics --------------------------------------------------------------------------------------------------------

static size_t DigitsAt(std::string_view text, size_t at) {
    return std::min(text.find_first_not_of("0123456789", at), text.size()) - std::min(at, text.size());
}

// The size of "<00:01.20>", the time of a word. 0: there is none.
static size_t WordStampSize(std::string_view text) {
    size_t at = 1;
    for (const char next : {':', '.', '>'}) {
        const size_t digits = DigitsAt(text, at);
        at += digits;
        if (digits == 0 || at >= text.size() || text[at] != next) {
            return 0;
        }
        at++;
    }
    return at;
}

static StyledText LyricsStyledText(std::string_view text) {
    std::string plain;
    while (!text.empty()) {
        const size_t stamp = text.front() == '<' ? WordStampSize(text) : 0;
        plain += stamp == 0 ? text.substr(0, 1) : "";
        text.remove_prefix(std::max<size_t>(stamp, 1));
    }
    return Unstyled(plain);
}

// --- all -----------------------------------------------------------------------------------------------------------

MarkupRules MarkupRulesOf(const FileFacts &facts, const StreamFacts &stream) {
    return {.format = facts.format != nullptr ? facts.format : "",
            .form = facts.form != nullptr ? facts.form : "",
            .fields = AssFieldsOf(stream.header),
            .styles = AssStylesOf(stream.header)};
}

static std::vector<StyledText> FoundTexts(const MarkupRules &rules, const Cue &cue, std::string_view source) {
    if (rules.format == "ass") {
        return AssStyledTexts(rules.fields, rules.styles, *cue.raw);
    }
    return {rules.format == "smi" ? SamiStyledText(*cue.raw) : SubRipStyledText(source, *cue.raw)};
}

static std::string PlainTextOf(const std::vector<StyledText> &texts) {
    std::string plain;
    for (const StyledText &text : texts) {
        plain += (&text == texts.data() ? "" : "\n") + PlainTextOf(text);
    }
    return plain;
}

std::vector<StyledText> StyledTextsOf(const MarkupRules &rules, const Cue &cue, std::string_view source) {
    if (rules.form == "microdvd") {
        return {MicrodvdStyledText(cue.text)};
    }
    if (rules.format == "lrc") {
        return {LyricsStyledText(cue.text)};
    }
    std::vector<StyledText> styled = FoundTexts(rules, cue, source);
    return PlainTextOf(styled) == cue.text ? styled : std::vector<StyledText>{Unstyled(cue.text)};
}
