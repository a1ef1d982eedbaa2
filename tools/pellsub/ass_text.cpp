// ASS and SSA event lines to their fields, and to the text that a person reads.
#include "tools/pellsub/ass_text.h"

#include "tools/pellsub/timing_clock.h"
#include "tools/pellsub/words.h"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <optional>

static constexpr std::string_view kDialogue = "Dialogue:";

static const struct {
    std::string_view escape;
    const char *text;
} kEscapes[] = {{"\\N", "\n"}, {"\\n", "\n"}, {"\\h", "\xC2\xA0"}};

// --- lines and fields ----------------------------------------------------------------------------------------------

static std::string_view TakeUpTo(std::string_view &text, const char *ends) {
    const size_t end = std::min(text.find_first_of(ends), text.size());
    const std::string_view taken = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return taken;
}

// What follows "Dialogue:", wherever in the line that is.
static std::optional<std::string_view> AfterDialogue(std::string_view line) {
    const size_t at = FindNoCase(line, kDialogue);
    return at != line.npos ? std::optional(line.substr(at + kDialogue.size())) : std::nullopt;
}

static bool IsTime(std::string_view field) {
    const auto clock = TakeClock(field);
    return clock && clock->groups == 3 && Trimmed(field).empty();
}

std::optional<AssTimed> AssTimedOf(std::string_view line) {
    std::string_view rest = AfterDialogue(line).value_or("");
    while (!rest.empty()) {
        const size_t start = static_cast<size_t>(rest.data() - line.data());
        const std::string_view first = TakeUpTo(rest, ",");
        const size_t end = static_cast<size_t>(rest.data() - line.data());
        std::string_view behind = rest;
        const std::string_view second = TakeUpTo(behind, ",");
        if (IsTime(first) && IsTime(second)) {
            return AssTimed{std::string(line.substr(0, start)), std::string(line.substr(start + first.size(), 1)),
                            std::string(line.substr(end + second.size()))};
        }
    }
    return std::nullopt;
}

// "MarginL" to "margin_l".
static std::string SnakeCase(std::string_view name) {
    std::string snake;
    bool afterLower = false;
    for (const char ch : name) {
        const unsigned char byte = static_cast<unsigned char>(ch);
        snake += afterLower && std::isupper(byte) != 0 ? "_" : "";
        snake += std::isspace(byte) != 0 ? '_' : static_cast<char>(std::tolower(byte));
        afterLower = std::islower(byte) != 0 || std::isdigit(byte) != 0;
    }
    return snake;
}

std::vector<std::string_view> AssListOf(std::string_view list) {
    std::vector<std::string_view> values;
    while (!list.empty()) {
        values.push_back(Trimmed(TakeUpTo(list, ",")));
    }
    return values;
}

static AssFields FieldsNamed(std::string_view names) {
    AssFields fields;
    for (const std::string_view name : AssListOf(names)) {
        fields.names.push_back(SnakeCase(name));
    }
    const auto text = std::find(fields.names.begin(), fields.names.end(), "text");
    fields.text = static_cast<size_t>(text - fields.names.begin()) - (text == fields.names.end() ? 1 : 0);
    return fields;
}

AssFields AssFieldsOf(std::string_view header) {
    static constexpr std::string_view format = "Format:";
    std::string_view names = kAssUsualFields;
    bool events = false;
    while (!header.empty()) {
        const std::string_view line = Trimmed(TakeUpTo(header, "\r\n"));
        events = BeginsNoCase(line, "[") ? BeginsNoCase(line, "[Events]") : events;
        if (events && BeginsNoCase(line, format) && line.size() > format.size()) {
            names = line.substr(format.size());
        }
    }
    return FieldsNamed(names);
}

// The last field takes the rest as it is; blanks around the others are layout.
static AssEvent EventOf(const AssFields &fields, std::string_view line) {
    AssEvent event{line, {}};
    auto rest = AfterDialogue(line);
    while (rest && event.values.size() + 1 < fields.names.size() && rest->find(',') != std::string_view::npos) {
        event.values.push_back(Trimmed(TakeUpTo(*rest, ",")));
    }
    if (rest) {
        const bool last = event.values.size() + 1 == fields.names.size();
        event.values.push_back(last ? *rest : Trimmed(*rest));
    }
    return event;
}

std::vector<AssEvent> AssEventsOf(const AssFields &fields, std::string_view frame) {
    std::vector<AssEvent> events;
    while (!frame.empty()) {
        const std::string_view line = TakeUpTo(frame, "\r\n");
        if (!line.empty()) {
            events.push_back(EventOf(fields, line));
        }
    }
    return events;
}

// --- text ----------------------------------------------------------------------------------------------------------

// Whether what follows an override block is a drawing: \p1 and above begin one, \p0 ends it. \pos and the like only
// look similar.
static bool DrawsAfter(std::string_view block, bool drawing) {
    for (size_t at = block.find("\\p"); at != std::string_view::npos; at = block.find("\\p", at + 2)) {
        const std::string_view scale = block.substr(at + 2);
        const size_t digits = std::min(scale.find_first_not_of("0123456789"), scale.size());
        if (digits > 0 || scale.empty() || scale.front() == '\\') {
            drawing = scale.substr(0, digits).find_first_not_of('0') != std::string_view::npos;
        }
    }
    return drawing;
}

// Appends what the front of the text stands for and gives its size.
static size_t AppendCharacter(std::string_view text, std::string &plain) {
    const auto row = std::find_if(std::begin(kEscapes), std::end(kEscapes),
                                  [=](const auto &r) { return text.starts_with(r.escape); });
    if (row != std::end(kEscapes)) {
        plain += row->text;
        return row->escape.size();
    }
    plain += text.front();
    return 1;
}

std::vector<AssPiece> AssPiecesOf(std::string_view text) {
    std::vector<AssPiece> pieces;
    std::string drawn;
    bool drawing = false;
    while (!text.empty()) {
        const size_t end = text.front() == '{' ? text.find('}') : std::string_view::npos;
        if (end != std::string_view::npos) {
            pieces.push_back({true, std::string(text.substr(1, end - 1))});
            drawing = DrawsAfter(pieces.back().text, drawing);
            text.remove_prefix(end + 1);
            continue;
        }
        if (pieces.empty() || pieces.back().block) {
            pieces.emplace_back();
        }
        text.remove_prefix(AppendCharacter(text, drawing ? drawn : pieces.back().text));
    }
    return pieces;
}

static std::string PlainText(std::string_view text) {
    std::string plain;
    for (const AssPiece &piece : AssPiecesOf(text)) {
        plain += piece.block ? "" : piece.text;
    }
    const size_t begin = std::min(plain.find_first_not_of('\n'), plain.size());
    return plain.substr(begin, plain.find_last_not_of('\n') + 1 - begin);
}

std::string_view AssShownPart(const AssFields &fields, const AssEvent &event) {
    if (event.values.empty()) {
        return event.line;
    }
    return fields.text < event.values.size() ? event.values[fields.text] : "";
}

std::string AssText(const AssFields &fields, std::string_view frame) {
    std::string texts;
    for (const AssEvent &event : AssEventsOf(fields, frame)) {
        const std::string text = PlainText(AssShownPart(fields, event));
        texts += !texts.empty() && !text.empty() ? "\n" : "";
        texts += text;
    }
    return texts;
}
