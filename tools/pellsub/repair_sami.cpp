// SAMI: tags where a player does not look for them, and paragraphs that it gives to the wrong language.
#include "tools/pellsub/repair_rules.h"
#include "tools/pellsub/timing_clock.h"

#include <algorithm>
#include <charconv>
#include <fmt/format.h>

static constexpr size_t kMaxClasses = 32;
static constexpr int64_t kLastCueMs = 5000;

// A line of the copy, and where it comes from.
struct SamiLine {
    std::string text;
    size_t number;
};

struct SamiParagraph {
    size_t place = 0; // of its class among the classes; their number: none of them
    std::vector<SamiLine> lines;
};

struct SamiSync {
    size_t number = 0;
    int64_t startMs = 0;
    std::optional<int64_t> endMs;
    std::vector<SamiParagraph> paragraphs;
};

struct SamiFile {
    std::vector<SamiLine> head; // up to the first sync tag
    std::vector<SamiLine> body;
    std::vector<std::string> classes;
};

// --- tags ----------------------------------------------------------------------------------------------------------

static bool IsTag(std::string_view text, std::string_view name) {
    return BeginsNoCase(text, name) && text.size() > name.size() &&
           std::string_view(" \t").find(text[name.size()]) != std::string_view::npos;
}

static bool IsSync(std::string_view text) {
    return IsTag(text, "<sync");
}

static std::string_view TagOf(std::string_view text) {
    return text.substr(0, text.find('>'));
}

// The value of an attribute, quoted or not. Empty: it has none.
static std::string_view AttributeOf(std::string_view tag, std::string_view name) {
    size_t at = FindNoCase(tag, name);
    while (at != tag.npos && at > 0 && std::string_view(" \t\"'").find(tag[at - 1]) == std::string_view::npos) {
        at = FindNoCase(tag, name, at + 1);
    }
    std::string_view value = WithoutLead(at == tag.npos ? "" : tag.substr(at + name.size()));
    if (!value.starts_with('=')) {
        return {};
    }
    value = WithoutLead(value.substr(1));
    const size_t quote = value.starts_with('"') || value.starts_with('\'') ? 1 : 0;
    value.remove_prefix(quote);
    return value.substr(0, value.find_first_of(" \t\"'>"));
}

static bool IsParagraph(std::string_view text) {
    return IsTag(text, "<p") && !AttributeOf(TagOf(text), "class").empty();
}

static std::optional<int64_t> NumberIn(std::string_view digits) {
    int64_t number = 0;
    const auto parsed = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    return parsed.ec == std::errc() ? std::optional(number) : std::nullopt;
}

// --- head ----------------------------------------------------------------------------------------------------------

// Rules of classes one a line, as a player looks for them.
static void PutClassRules(Repair &repair, const SamiLine &line, std::vector<SamiLine> &lines) {
    std::string_view rest = line.text;
    bool first = true;
    while (!rest.empty()) {
        const size_t close = rest.find('}');
        const std::string_view behind = close == rest.npos ? rest.substr(rest.size()) : rest.substr(close + 1);
        const bool another = WithoutLead(behind).starts_with('.');
        lines.push_back({std::string(rest.substr(0, another ? close + 1 : rest.size())), line.number});
        if (another && first) {
            NoteMended(repair, FINDING_CLASS_RULE, line.number, line.text);
        }
        first = false;
        rest = another ? behind : std::string_view();
    }
}

static std::vector<SamiLine> HeadOf(Repair &repair, const std::vector<SamiLine> &lines) {
    std::vector<SamiLine> head;
    for (size_t i = 0; i < lines.size(); i++) {
        SamiLine line = lines[i];
        if (!WithoutLead(line.text).starts_with('.')) {
            head.push_back(line);
            continue;
        }
        const size_t last = std::min(i + 20, lines.size() - 1);
        size_t close = i;
        while (close < last && lines[close].text.find('}') == std::string::npos) {
            close++;
        }
        const bool joined = close > i && lines[close].text.find('}') != std::string::npos;
        if (joined) {
            NoteMended(repair, FINDING_CLASS_RULE, line.number, line.text);
        }
        while (joined && i < close) {
            line.text += " " + std::string(WithoutLead(lines[++i].text));
        }
        PutClassRules(repair, line, head);
    }
    return head;
}

static std::vector<std::string> ClassesOf(const std::vector<SamiLine> &head) {
    std::vector<std::string> classes;
    for (const SamiLine &line : head) {
        std::string_view text = WithoutLead(line.text);
        if (text.starts_with('.') && classes.size() < kMaxClasses) {
            text.remove_prefix(1);
            classes.emplace_back(text.substr(0, text.find_first_of(" \t{")));
        }
    }
    return classes;
}

// --- lines ---------------------------------------------------------------------------------------------------------

static std::string SyncTag(int64_t startMs, std::optional<int64_t> endMs) {
    return endMs ? fmt::format("<SYNC Start={} End={}>", startMs, *endMs) : fmt::format("<SYNC Start={}>", startMs);
}

// A sync tag as a player reads it: its first attribute is the time.
static void SpellSync(Repair &repair, SamiLine &line) {
    const std::string_view text = WithoutLead(line.text);
    const std::string_view tag = TagOf(text);
    const auto start = NumberIn(AttributeOf(tag, "start"));
    const bool read = BeginsNoCase(text, "<sync start=") && start;
    if (!start) {
        NoteLeft(repair, FINDING_TIME_NOT_UNDERSTOOD, line.number, line.text);
    } else if (!read) {
        NoteMended(repair, FINDING_SYNC_SPELLING, line.number, line.text, start);
        const std::string behind(text.substr(std::min(tag.size() + 1, text.size())));
        line.text = SyncTag(*start, NumberIn(AttributeOf(tag, "end"))) + behind;
    }
}

// Where a tag stands that must begin a line but does not; npos: nowhere.
static size_t MisplacedTag(std::string_view line, size_t classes) {
    const size_t lead = std::min(line.find_first_not_of(" \t"), line.size());
    for (size_t at = line.find('<'); at != line.npos; at = line.find('<', at + 1)) {
        const std::string_view tag = line.substr(at);
        const bool first = at == lead;
        if (!first && (IsSync(tag) || (classes > 1 && IsParagraph(tag)))) {
            return at;
        }
    }
    return line.npos;
}

static std::vector<SamiLine> BodyOf(Repair &repair, const std::vector<SamiLine> &lines, size_t classes) {
    std::vector<SamiLine> body;
    for (const SamiLine &line : lines) {
        std::string_view rest = line.text;
        for (size_t at = MisplacedTag(rest, classes); at != rest.npos; at = MisplacedTag(rest, classes)) {
            const bool sync = IsSync(rest.substr(at));
            NoteMended(repair, sync ? FINDING_SYNC_PLACE : FINDING_PARAGRAPH_PLACE, line.number, line.text);
            if (!WithoutLead(rest.substr(0, at)).empty()) {
                body.push_back({std::string(rest.substr(0, at)), line.number});
            }
            rest.remove_prefix(at);
        }
        body.push_back({std::string(rest), line.number});
    }
    for (SamiLine &line : body) {
        if (IsSync(WithoutLead(line.text))) {
            SpellSync(repair, line);
        }
    }
    return body;
}

// --- classes -------------------------------------------------------------------------------------------------------

static size_t PlaceOf(const std::vector<std::string> &classes, std::string_view name) {
    const auto place = std::find_if(classes.begin(), classes.end(),
                                    [&](const std::string &known) { return EqualNoCase(known, name); });
    return static_cast<size_t>(place - classes.begin());
}

// Lines in front of the first sync tag stay out. Text without a paragraph belongs to the one above.
static std::vector<SamiSync> SyncsOf(const SamiFile &file) {
    std::vector<SamiSync> syncs;
    for (const SamiLine &line : file.body) {
        const std::string_view text = WithoutLead(line.text);
        const std::string_view tag = TagOf(text);
        const std::string behind(text.substr(std::min(tag.size() + 1, text.size())));
        const auto start = IsSync(text) ? NumberIn(AttributeOf(tag, "start")) : std::nullopt;
        if (start) {
            syncs.push_back({line.number, *start, NumberIn(AttributeOf(tag, "end")), {}});
        } else if (!syncs.empty() && IsParagraph(text)) {
            SamiParagraph &paragraph = syncs.back().paragraphs.emplace_back();
            paragraph.place = PlaceOf(file.classes, AttributeOf(tag, "class"));
        }
        const std::string &rest = start || IsParagraph(text) ? behind : line.text;
        if (!syncs.empty() && !WithoutLead(rest).empty()) {
            auto &paragraphs = syncs.back().paragraphs;
            if (paragraphs.empty()) {
                paragraphs.emplace_back();
            }
            paragraphs.back().lines.push_back({rest, line.number});
        }
    }
    return syncs;
}

static bool IsInOrder(const SamiSync &sync) {
    for (size_t i = 0; i < sync.paragraphs.size(); i++) {
        if (sync.paragraphs[i].place != i) {
            return false;
        }
    }
    return true;
}

// Where each class has paragraphs, in the order of time.
static std::vector<std::vector<int64_t>> StartsOf(const std::vector<SamiSync> &syncs, size_t classes) {
    std::vector<std::vector<int64_t>> starts(classes);
    for (const SamiSync &sync : syncs) {
        for (const SamiParagraph &paragraph : sync.paragraphs) {
            starts[paragraph.place].push_back(sync.startMs);
        }
    }
    for (std::vector<int64_t> &ofClass : starts) {
        std::sort(ofClass.begin(), ofClass.end());
    }
    return starts;
}

// Each class ends its cue where its own next one begins.
static int64_t EndOf(const std::vector<int64_t> &starts, const SamiSync &sync) {
    const auto next = std::upper_bound(starts.begin(), starts.end(), sync.startMs);
    return sync.endMs.value_or(next == starts.end() ? sync.startMs + kLastCueMs : *next);
}

// A cue of its own for each paragraph, with empty ones for the classes before its own.
static std::vector<SamiLine> RewrittenBody(const SamiFile &file, const std::vector<SamiSync> &syncs) {
    const auto starts = StartsOf(syncs, file.classes.size());
    std::vector<SamiLine> body;
    for (const SamiSync &sync : syncs) {
        for (const SamiParagraph &paragraph : sync.paragraphs) {
            body.push_back({SyncTag(sync.startMs, EndOf(starts[paragraph.place], sync)), sync.number});
            for (size_t i = 0; i <= paragraph.place; i++) {
                body.push_back({fmt::format("<P Class={}>", file.classes[i]), sync.number});
            }
            body.insert(body.end(), paragraph.lines.begin(), paragraph.lines.end());
        }
    }
    return body;
}

// A player leaves out the lines of a text that do not fit.
static void NoteParagraphBytes(Repair &repair, const SamiSync &sync) {
    for (const SamiParagraph &paragraph : sync.paragraphs) {
        size_t bytes = 0;
        for (const SamiLine &line : paragraph.lines) {
            bytes += line.text.size() + 1;
        }
        if (bytes >= SVR_SUB_STR_IN_MAX_LEN && paragraph.lines.size() > 1) {
            NoteLeft(repair, FINDING_CUT_CUE, sync.number, "", sync.startMs);
        }
    }
}

static void OrderClasses(Repair &repair, SamiFile &file) {
    const std::vector<SamiSync> syncs = SyncsOf(file);
    bool ordered = true;
    for (const SamiSync &sync : syncs) {
        for (const SamiParagraph &paragraph : sync.paragraphs) {
            if (paragraph.place == file.classes.size()) { // nobody can tell whose text it is
                NoteLeft(repair, FINDING_CLASS_ORDER, sync.number, "unknown class", sync.startMs);
                return;
            }
        }
    }
    for (const SamiSync &sync : syncs) {
        if (!IsInOrder(sync)) {
            NoteMended(repair, FINDING_CLASS_ORDER, sync.number, "", sync.startMs);
            ordered = false;
        }
    }
    if (!ordered) {
        file.body = RewrittenBody(file, syncs);
    }
}

// --- the file ------------------------------------------------------------------------------------------------------

void RepairSami(Repair &repair) {
    std::vector<SamiLine> head, body;
    for (size_t i = 0; i < repair.source.lines.size(); i++) {
        const std::string &text = repair.source.lines[i].text;
        size_t at = FindNoCase(text, "<sync");
        at = at != text.npos && IsSync(std::string_view(text).substr(at)) ? at : text.npos;
        (body.empty() && at == text.npos ? head : body).push_back({text, i + 1});
    }
    SamiFile file;
    if (repair.mend) {
        file.head = HeadOf(repair, head);
        file.classes = ClassesOf(file.head);
        file.body = BodyOf(repair, body, file.classes.size());
        for (const SamiSync &sync : SyncsOf(file)) {
            repair.cues.push_back({sync.number, sync.startMs, sync.endMs});
            NoteParagraphBytes(repair, sync);
        }
        if (file.classes.size() > 1) {
            OrderClasses(repair, file);
        }
    } else {
        file.head = head;
        file.body = body;
    }
    for (const std::vector<SamiLine> *part : {&file.head, &file.body}) {
        for (const SamiLine &line : *part) {
            repair.lines.push_back(line.text);
        }
    }
}
