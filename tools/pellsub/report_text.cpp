// Facts and cues to text for people.
#include "tools/pellsub/report.h"

#include "tools/pellsub/time_text.h"

#include <fmt/format.h>

static void PutField(const Output &out, const char *indent, const char *name, std::string_view value) {
    if (!value.empty()) {
        Put(out, fmt::format("{}{:<9} {}\n", indent, name, value));
    }
}

static void PutStream(const Output &out, const StreamFacts &stream) {
    Put(out, fmt::format("  stream {}\n", stream.number));
    PutField(out, "    ", "language", stream.language);
    PutField(out, "    ", "title", stream.title);
    PutField(out, "    ", "size", stream.width > 0 ? fmt::format("{}x{}", stream.width, stream.height) : "");
    PutField(out, "    ", "cues", fmt::format("{}", stream.cues));
    if (stream.failedReads > 0) {
        PutField(out, "    ", "failed", fmt::format("{} reads", stream.failedReads));
    }
    if (stream.firstMs) {
        PutField(out, "    ", "time", SpanText(*stream.firstMs, stream.lastMs));
    }
}

static std::string EncodingText(const FileFacts &facts) {
    if (!facts.textual) {
        return "none (pictures)";
    }
    if (facts.encoding.empty()) {
        return "unknown";
    }
    return facts.encoding + (facts.encodingHow != nullptr ? fmt::format(" ({})", facts.encodingHow) : "");
}

static void InfoEndFile(Output &out, const FileFacts &facts) {
    if (facts.format == nullptr) {
        return;
    }
    Put(out, fmt::format("{}{}\n", out.anyFile ? "\n" : "", facts.name));
    PutField(out, "  ", "format", fmt::format("{} ({})", facts.formatTitle, facts.format));
    PutField(out, "  ", "encoding", EncodingText(facts));
    for (const StreamFacts &stream : facts.streams) {
        PutStream(out, stream);
    }
    out.anyFile = true;
}

static void DumpBeginFile(Output &out, const FileFacts &facts) {
    out.lastStream = -1;
    if (out.manyFiles && facts.format != nullptr) {
        Put(out, fmt::format("==> {} <==\n", facts.name));
    }
}

static void PutStreamHeading(Output &out, const FileFacts &facts, int number) {
    for (const StreamFacts &stream : facts.streams) {
        if (stream.number == number && facts.streams.size() > 1) {
            Put(out,
                fmt::format("-- stream {}{}{} --\n", number, stream.language.empty() ? "" : ": ", stream.language));
        }
    }
    out.lastStream = number;
}

// Line ends at the end of a cue are layout, as is the empty line that follows it here; inside it each is one line feed,
// whatever the file has, unless that is wanted as it is.
static std::string PlainLines(std::string_view text, bool raw) {
    text = text.substr(0, text.find_last_not_of("\r\n") + 1);
    if (raw) {
        return std::string(text);
    }
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

static void DumpCue(Output &out, const FileFacts &facts, const Cue &cue) {
    if (cue.stream != out.lastStream) {
        PutStreamHeading(out, facts, cue.stream);
    }
    const std::string text =
        cue.text ? PlainLines(*cue.text, facts.raw) : fmt::format("[picture, {} bytes]", cue.bytes);
    Put(out, fmt::format("{}\n{}{}\n", SpanText(cue.startMs, cue.endMs), text, text.empty() ? "" : "\n"));
}

const ReportWriter kInfoText = {.endFile = InfoEndFile};
const ReportWriter kDumpText = {.beginFile = DumpBeginFile, .cue = DumpCue};
