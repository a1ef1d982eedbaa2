// Facts and cues to JSON for programs: one document, or one object a line. Cues are written as they come, so that a
// large file needs no more memory than a small one.
#include "tools/pellsub/report.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>
#include <nlohmann/json.hpp>

using Json = nlohmann::ordered_json;

static constexpr int kSchemaVersion = 1;

// Bytes that are no UTF-8 become U+FFFD.
static std::string Dumped(const Json &json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

template <typename T> static Json OrNull(const std::optional<T> &value) {
    return value ? Json(*value) : Json();
}

static Json TextOrNull(const std::string &text) {
    return text.empty() ? Json() : Json(text);
}

static Json TextOrNull(const char *text) {
    return text == nullptr ? Json() : Json(text);
}

static Json NumberOrNull(int number) {
    return number == 0 ? Json() : Json(number);
}

static Json PaletteOrNull(const std::vector<uint32_t> &palette) {
    Json colours = palette.empty() ? Json() : Json::array();
    std::transform(palette.begin(), palette.end(), std::back_inserter(colours), ColourText);
    return colours;
}

static Json ProblemJson(const Problem &problem) {
    return Json{{"kind", problem.kind}, {"message", problem.message}};
}

static Json StreamJson(const StreamFacts &stream) {
    return Json{{"stream", stream.number},
                {"language", TextOrNull(stream.language)},
                {"title", TextOrNull(stream.title)},
                {"width", NumberOrNull(stream.width)},
                {"height", NumberOrNull(stream.height)},
                {"palette", PaletteOrNull(stream.palette)}};
}

static Json DumpedStreamJson(const StreamFacts &stream) {
    Json json = StreamJson(stream);
    json["header"] = TextOrNull(stream.header);
    return json;
}

static Json CountedStreamJson(const StreamFacts &stream) {
    Json json = StreamJson(stream);
    json["header_bytes"] = NumberOrNull(static_cast<int>(stream.header.size()));
    json["cues"] = stream.cues;
    json["failed_reads"] = stream.failedReads;
    json["first_ms"] = OrNull(stream.firstMs);
    json["last_ms"] = OrNull(stream.lastMs);
    return json;
}

static Json StreamsJson(const FileFacts &facts, Json (*one)(const StreamFacts &)) {
    Json streams = Json::array();
    for (const StreamFacts &stream : facts.streams) {
        streams.push_back(one(stream));
    }
    return streams;
}

static Json HeadJson(const FileFacts &facts) {
    return Json{{"file", facts.name},
                {"format", TextOrNull(facts.format)},
                {"form", TextOrNull(facts.form)},
                {"encoding", TextOrNull(facts.encoding)},
                {"encoding_source", TextOrNull(facts.encodingKind)},
                {"frame_rate", facts.frameRateKind == nullptr ? Json() : Json(facts.frameRate)},
                {"frame_rate_source", TextOrNull(facts.frameRateKind)}};
}

static void AddProblems(Json &json, const FileFacts &facts) {
    json["warnings"] = Json::array();
    for (const Problem &warning : facts.warnings) {
        json["warnings"].push_back(ProblemJson(warning));
    }
    json["error"] = facts.error ? ProblemJson(*facts.error) : Json();
}

// The line comes last, so that it stays even where the header has a field of that name.
static Json EventJson(const CueEvent &event) {
    Json json = Json::object();
    for (const CueField &field : event.fields) {
        json[field.name] = OrNull(field.value);
    }
    json["raw"] = event.raw;
    return json;
}

// "raw" is null where the text to read is the text as delivered.
static Json CueJson(const Cue &cue) {
    Json json{{"stream", cue.stream},
              {"start_ms", cue.startMs},
              {"end_ms", OrNull(cue.endMs)},
              {"text", cue.raw ? Json(cue.text) : Json()},
              {"raw", cue.raw == cue.text ? Json() : OrNull(cue.raw)}};
    if (cue.events) {
        json["events"] = Json::array();
        std::transform(cue.events->begin(), cue.events->end(), std::back_inserter(json["events"]), EventJson);
    }
    if (!cue.raw) {
        json["bytes"] = cue.bytes;
    }
    return json;
}

// The members of an object without its braces, to go on with in an object that is written in pieces.
static std::string Members(const Json &json) {
    const std::string text = Dumped(json);
    return text.substr(1, text.size() - 2);
}

static void DocumentBegin(Output &out) {
    Put(out, fmt::format("{{\"schema_version\":{},\"files\":[", kSchemaVersion));
}

static void DocumentEnd(Output &out) {
    Put(out, "\n]}\n");
}

static void NextFile(Output &out) {
    Put(out, out.anyFile ? ",\n" : "\n");
    out.anyFile = true;
}

static void InfoEndFile(Output &out, const FileFacts &facts) {
    NextFile(out);
    Json json = HeadJson(facts);
    json["streams"] = StreamsJson(facts, CountedStreamJson);
    AddProblems(json, facts);
    Put(out, Dumped(json));
}

static void DumpBeginFile(Output &out, const FileFacts &facts) {
    NextFile(out);
    out.anyCue = false;
    Json json = HeadJson(facts);
    json["streams"] = StreamsJson(facts, DumpedStreamJson);
    Put(out, fmt::format("{{{},\"cues\":[", Members(json)));
}

static void DumpCue(Output &out, const FileFacts &, const Cue &cue) {
    Put(out, fmt::format("{}{}", out.anyCue ? ",\n" : "\n", Dumped(CueJson(cue))));
    out.anyCue = true;
}

static void DumpEndFile(Output &out, const FileFacts &facts) {
    Json json;
    AddProblems(json, facts);
    Put(out, fmt::format("{}],{}}}", out.anyCue ? "\n" : "", Members(json)));
}

static void PutLine(const Output &out, const FileFacts &facts, const Json &rest) {
    Json json{{"schema_version", kSchemaVersion}, {"file", facts.name}};
    json.update(rest);
    Put(out, fmt::format("{}\n", Dumped(json)));
}

static void LineBeginFile(Output &out, const FileFacts &facts) {
    for (const StreamFacts &stream : facts.streams) {
        if (!stream.header.empty() && !facts.error) {
            PutLine(out, facts, Json{{"stream", stream.number}, {"header", stream.header}});
        }
    }
}

static void LineCue(Output &out, const FileFacts &facts, const Cue &cue) {
    PutLine(out, facts, CueJson(cue));
}

static void LineEndFile(Output &out, const FileFacts &facts) {
    for (const Problem &warning : facts.warnings) {
        PutLine(out, facts, Json{{"warning", ProblemJson(warning)}});
    }
    if (facts.error) {
        PutLine(out, facts, Json{{"error", ProblemJson(*facts.error)}});
    }
}

const ReportWriter kInfoJson = {.begin = DocumentBegin, .endFile = InfoEndFile, .end = DocumentEnd, .between = ","};
const ReportWriter kDumpJson = {.begin = DocumentBegin,
                                .beginFile = DumpBeginFile,
                                .cue = DumpCue,
                                .endFile = DumpEndFile,
                                .end = DocumentEnd,
                                .between = ","};
const ReportWriter kDumpJsonLines = {.beginFile = LineBeginFile, .cue = LineCue, .endFile = LineEndFile};
