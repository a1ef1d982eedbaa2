// Facts and cues to text for people.
#include "tools/pellsub/report.h"

#include "tools/pellsub/cue_text.h"
#include "tools/pellsub/time_text.h"
#include "tools/pellsub/words.h"

#include <fmt/format.h>

static void PutField(const Output &out, const char *indent, const char *name, std::string_view value) {
    if (!value.empty()) {
        Put(out, fmt::format("{}{:<9} {}\n", indent, name, value));
    }
}

// Two lines, so that sixteen colours fit a terminal.
static void PutPalette(const Output &out, const std::vector<uint32_t> &palette) {
    std::string lines;
    for (size_t i = 0; i < palette.size(); i++) {
        lines += fmt::format("{}{}", i == 0 ? "" : (i % 8 == 0 ? "\n              " : " "), ColourText(palette[i]));
    }
    PutField(out, "    ", "palette", lines);
}

static void PutStream(const Output &out, const StreamFacts &stream) {
    Put(out, fmt::format("  stream {}\n", stream.number));
    PutField(out, "    ", "language", stream.language);
    PutField(out, "    ", "title", stream.title);
    PutField(out, "    ", "size", stream.width > 0 ? fmt::format("{}x{}", stream.width, stream.height) : "");
    PutField(out, "    ", "header", stream.header.empty() ? "" : fmt::format("{} bytes", stream.header.size()));
    PutPalette(out, stream.palette);
    PutField(out, "    ", stream.palette.empty() ? "cues" : "pictures", fmt::format("{}", stream.cues));
    if (stream.failedReads > 0) {
        PutField(out, "    ", "failed", CountText(stream.failedReads, "read"));
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
    Put(out, out.anyFile ? "\n" : "");
    PutHeading(out, facts.name);
    Put(out, "\n");
    PutField(out, "  ", "format", fmt::format("{} ({})", facts.formatTitle, facts.format));
    PutField(out, "  ", "encoding", EncodingText(facts));
    PutField(out, "  ", "form", facts.formTitle != nullptr ? facts.formTitle : "");
    if (facts.frameRateHow != nullptr) {
        PutField(out, "  ", "rate", fmt::format("{} frames/s, {}", facts.frameRate, facts.frameRateHow));
    }
    for (const StreamFacts &stream : facts.streams) {
        PutStream(out, stream);
    }
    out.anyFile = true;
}

static void DumpBeginFile(Output &out, const FileFacts &facts) {
    out.lastStream = -1;
    if (out.manyFiles && facts.format != nullptr) {
        PutHeading(out, fmt::format("==> {} <==", facts.name));
        Put(out, "\n");
    }
}

static void PutStreamHeading(Output &out, const FileFacts &facts, int number) {
    for (const StreamFacts &stream : facts.streams) {
        if (stream.number == number && facts.streams.size() > 1) {
            PutHeading(
                out, fmt::format("-- stream {}{}{} --", number, stream.language.empty() ? "" : ": ", stream.language));
            Put(out, "\n");
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

const ReportWriter kInfoText = {.endFile = InfoEndFile, .between = "\n"};
const ReportWriter kDumpText = {.beginFile = DumpBeginFile, .cue = DumpCue};
