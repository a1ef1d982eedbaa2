// Facts and cues to text for people.
#include "tools/pellsub/report.h"

#include "tools/pellsub/cue_text.h"
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
    PutField(out, "    ", "header", stream.header.empty() ? "" : fmt::format("{} bytes", stream.header.size()));
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

// An empty line follows each cue. One with nothing to read is left out, unless all is wanted as delivered: it only
// clears the screen.
static void DumpCue(Output &out, const FileFacts &facts, const Cue &cue) {
    if (cue.stream != out.lastStream) {
        PutStreamHeading(out, facts, cue.stream);
    }
    const std::string text = cue.raw ? cue.text : fmt::format("[picture, {} bytes]", cue.bytes);
    if (facts.raw || !IsBlank(text)) {
        const bool lineEnded = text.empty() || text.back() == '\n';
        Put(out, fmt::format("{}\n{}{}\n", SpanText(cue.startMs, cue.endMs), text, lineEnded ? "" : "\n"));
    }
}

const ReportWriter kInfoText = {.endFile = InfoEndFile};
const ReportWriter kDumpText = {.beginFile = DumpBeginFile, .cue = DumpCue};
