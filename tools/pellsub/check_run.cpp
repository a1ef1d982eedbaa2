// What a person should know about a subtitle file before it is played: its lines, its cues, and what became of them.
#include "tools/pellsub/check_run.h"

#include "tools/pellsub/check_findings.h"
#include "tools/pellsub/cue_text.h"
#include "tools/pellsub/source_text.h"
#include "tools/pellsub/time_text.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>
#include <nlohmann/json.hpp>

using Json = nlohmann::ordered_json;

static constexpr int kSchemaVersion = 1;

// --- cues ----------------------------------------------------------------------------------------------------------

// Text begins on the line behind its time line, where the format has one.
static size_t LineOf(const FileFacts &facts, const Cue &cue) {
    if (facts.source == nullptr || cue.position < 0) {
        return 0;
    }
    const bool behind = IsFormat(facts, "srt") || (IsFormat(facts, "sub") && facts.frameRateKind == nullptr);
    const size_t line = LineAt(*facts.source, cue.position);
    return behind && line > 1 ? line - 1 : line;
}

static void NoteCue(const FileFacts &facts, const Cue &cue, FindingKind kind, CheckRun &run) {
    Finding finding = FindingOf(kind, false, LineOf(facts, cue), "", cue.startMs);
    finding.cue = run.streams[cue.stream].cues;
    run.cueFindings.push_back(finding);
}

// SAMI and lyrics clear the screen with empty cues, and streams of SAMI share their times; events of ASS are made to
// overlap.
static void CheckCue(Output &out, const FileFacts &facts, const Cue &cue) {
    CheckRun &run = *out.check;
    CheckedStream &stream = run.streams[cue.stream];
    stream.cues++;
    run.lines.insert(LineOf(facts, cue));
    const bool clears = IsFormat(facts, "smi") || IsFormat(facts, "lrc");
    if (cue.raw && !clears && IsBlank(cue.text)) {
        NoteCue(facts, cue, FINDING_EMPTY_CUE, run);
    }
    const bool told = IsFormat(facts, "smi") && cue.stream > 0;
    if (stream.cues > 1 && cue.startMs < stream.lastEndMs && !IsFormat(facts, "ass") && !told) {
        NoteCue(facts, cue, FINDING_OVERLAP, run);
    }
    const int64_t end = cue.endMs.value_or(cue.startMs);
    stream.lastEndMs = stream.cues > 1 ? std::max(stream.lastEndMs, end) : end;
}

// --- the file ------------------------------------------------------------------------------------------------------

static void BeginFile(Output &out, const FileFacts &) {
    out.check->streams.clear();
    out.check->cueFindings.clear();
    out.check->lines.clear();
}

static Finding FindingOfProblem(const Problem &problem) {
    Finding finding;
    finding.kind = problem.kind;
    finding.message = problem.message;
    return finding;
}

// What the source has and nobody delivered.
static void NoteLostCues(const SourceText &source, CheckRun &run) {
    for (const SourceCue &cue : source.cues) {
        if (!run.lines.contains(cue.line)) {
            const auto startMs = source.frames ? std::nullopt : cue.start;
            run.cueFindings.push_back(FindingOf(FINDING_CUE_LOST, false, cue.line, "", startMs));
        }
    }
}

// What is told line by line is not told once more of the whole file.
static bool IsToldByLines(const Problem &warning, const std::vector<Finding> &findings) {
    static constexpr std::string_view kOfText[] = {"replaced_characters", "not_utf8", "not_converted"};
    const bool ofText = std::find(std::begin(kOfText), std::end(kOfText), warning.kind) != std::end(kOfText);
    const std::string_view byLine = WordsOf(FINDING_UNDECODABLE).kind;
    return ofText && std::any_of(findings.begin(), findings.end(),
                                 [=](const Finding &finding) { return byLine == finding.kind; });
}

// Warnings become findings, so that each thing is told once.
static void Conclude(Output &out, FileFacts &facts) {
    std::vector<Finding> &findings = facts.findings;
    if (IsRateAssumed(facts)) {
        findings.insert(findings.begin(), FindingOf(FINDING_FRAME_RATE, false, 0, ""));
    }
    for (const Problem &warning : facts.warnings) {
        if (!IsToldByLines(warning, findings)) {
            findings.insert(findings.begin(), FindingOfProblem(warning));
        }
    }
    facts.warnings.clear();
    if (facts.source != nullptr) {
        NoteLostCues(*facts.source, *out.check);
    }
    findings.insert(findings.end(), out.check->cueFindings.begin(), out.check->cueFindings.end());
    std::stable_sort(findings.begin(), findings.end(),
                     [](const Finding &a, const Finding &b) { return a.line < b.line; });
}

static std::string PlaceText(const Finding &finding) {
    std::string place = finding.line > 0 ? fmt::format("line {}: ", finding.line) : "";
    place += finding.cue > 0 ? fmt::format("cue {}: ", finding.cue) : "";
    return place + (finding.startMs ? TimeText(*finding.startMs) + ": " : "");
}

// What all findings of the kind have in common.
static std::string WordsInCommon(const std::vector<Finding> &findings, std::string_view kind) {
    const auto alike =
        std::find_if(findings.begin(), findings.end(), [=](const Finding &finding) { return kind == finding.kind; });
    const std::string &message = alike->message;
    return message.substr(0, std::min(message.find(": "), message.find(" (--repair")));
}

// Thousands of one kind say no more than the first of them; the program's form has them all.
static void EndFileText(Output &out, const FileFacts &facts) {
    static constexpr size_t kShown = 20;
    std::map<std::string_view, size_t> counts;
    for (const Finding &finding : facts.findings) {
        if (++counts[finding.kind] <= kShown) {
            Put(out, fmt::format("{}: {}{}\n", facts.name, PlaceText(finding), finding.message));
        }
    }
    for (const auto &[kind, count] : counts) {
        if (count > kShown) {
            Put(out, fmt::format("{}: {} more: {}\n", facts.name, count - kShown, WordsInCommon(facts.findings, kind)));
        }
    }
    if (facts.findings.empty() && !facts.error) {
        Put(out, fmt::format("{}: nothing found\n", facts.name));
    }
}

const ReportWriter kCheckText = {.beginFile = BeginFile, .cue = CheckCue, .conclude = Conclude, .endFile = EndFileText};

// --- JSON ----------------------------------------------------------------------------------------------------------

template <typename T> static Json NumberOrNull(T number) {
    return number == 0 ? Json() : Json(number);
}

static Json FindingJson(const Finding &finding) {
    return Json{{"kind", finding.kind},
                {"line", NumberOrNull(finding.line)},
                {"cue", NumberOrNull(finding.cue)},
                {"start_ms", finding.startMs ? Json(*finding.startMs) : Json()},
                {"message", finding.message}};
}

static void BeginJson(Output &out) {
    Put(out, fmt::format("{{\"schema_version\":{},\"files\":[", kSchemaVersion));
}

static void EndFileJson(Output &out, const FileFacts &facts) {
    Json json{{"file", facts.name}, {"findings", Json::array()}};
    std::transform(facts.findings.begin(), facts.findings.end(), std::back_inserter(json["findings"]), FindingJson);
    json["error"] = facts.error ? Json{{"kind", facts.error->kind}, {"message", facts.error->message}} : Json();
    Put(out, out.anyFile ? ",\n" : "\n");
    Put(out, json.dump(-1, ' ', false, Json::error_handler_t::replace));
    out.anyFile = true;
}

static void EndJson(Output &out) {
    Put(out, "\n]}\n");
}

const ReportWriter kCheckJson = {.begin = BeginJson,
                                 .beginFile = BeginFile,
                                 .cue = CheckCue,
                                 .conclude = Conclude,
                                 .endFile = EndFileJson,
                                 .end = EndJson,
                                 .between = ","};
