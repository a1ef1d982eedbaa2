// Cues as delivered to cues that a person reads, by the rules of each format.
#include "tools/pellsub/cue_text.h"

#include "format/pell_format.h"
#include "tools/pellsub/sami_text.h"

#include <string>

// Line ends at the end of a cue are layout; inside it each is one line feed, whatever the file has.
static std::string PlainLines(std::string_view text) {
    text = text.substr(0, text.find_last_not_of("\r\n") + 1);
    std::string lines;
    lines.reserve(text.size());
    for (size_t i = 0; i < text.size(); i++) {
        const bool beforeLineFeed = text[i] == '\r' && text[i + 1] == '\n'; // a CR is never last here
        if (!beforeLineFeed) {
            lines += text[i] == '\r' ? '\n' : text[i];
        }
    }
    return lines;
}

static std::string ReadableText(uint32_t format, const AssFields &fields, std::string_view text) {
    switch (format) {
    case SUB_STREAM_FORMAT_ASS:
        return AssText(fields, text);
    case SUB_STREAM_FORMAT_SMI:
        return SamiText(text);
    default:
        return PlainLines(text);
    }
}

static std::vector<CueEvent> EventsOf(const AssFields &fields, std::string_view frame) {
    std::vector<CueEvent> events;
    for (const AssEvent &event : AssEventsOf(fields, frame)) {
        CueEvent &added = events.emplace_back();
        added.raw = event.line;
        for (size_t i = 0; i < fields.names.size(); i++) {
            const bool present = i < event.values.size();
            added.fields.push_back(
                {fields.names[i], present ? std::optional<std::string>(event.values[i]) : std::nullopt});
        }
    }
    return events;
}

void CompleteCue(uint32_t format, const AssFields &fields, bool asDelivered, Cue &cue) {
    if (!cue.raw) {
        return;
    }
    cue.text = asDelivered ? *cue.raw : ReadableText(format, fields, *cue.raw);
    if (format == SUB_STREAM_FORMAT_ASS) {
        cue.events = EventsOf(fields, *cue.raw);
    }
}

bool IsBlank(std::string_view text) {
    size_t sizeBefore = 0;
    do {
        sizeBefore = text.size();
        for (const std::string_view blank : {" ", "\t", "\r", "\n", "\xC2\xA0", "\xE3\x80\x80"}) {
            text.remove_prefix(text.starts_with(blank) ? blank.size() : 0);
        }
    } while (text.size() != sizeBefore);
    return text.empty();
}
