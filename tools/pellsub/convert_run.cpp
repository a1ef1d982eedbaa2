// Cues to files of another format.
#include "tools/pellsub/convert_run.h"

#include "charset/pell_charset.h"
#include "tools/pellsub/check_findings.h"
#include "tools/pellsub/cue_text.h"
#include "tools/pellsub/safe_file.h"
#include "tools/pellsub/source_text.h"
#include "tools/pellsub/ssa_header.h"
#include "tools/pellsub/terminal_text.h"
#include "tools/pellsub/time_text.h"
#include "tools/pellsub/words.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>

// How long a cue is shown whose end is not known, at most.
static constexpr int64_t kLongestGuessMs = 5000;
// Files can tell any time. Some thousand years are enough, and can be reckoned with.
static constexpr int64_t kFarthestMs = 100'000'000'000'000;

std::optional<std::string> BeginConvert(ConvertRun &run) {
    if (!run.directory.empty()) {
        if (auto problem = MakeDirectory(run.directory)) {
            return problem;
        }
    }
    const bool toFile = !run.output.empty() && run.output != "-";
    const auto problem = toFile ? FileInTheWay(run.output, run.overwrite) : std::nullopt;
    return problem ? std::optional(problem->message) : std::nullopt;
}

// --- cues ----------------------------------------------------------------------------------------------------------

static int64_t WantedTime(const ConvertRun &run, int64_t ms) {
    ms = std::clamp(ms, -kFarthestMs, kFarthestMs);
    const int64_t paced = run.speed == 1 ? ms : std::llround(static_cast<double>(ms) * run.speed);
    return paced + std::clamp(run.shiftMs, -kFarthestMs, kFarthestMs);
}

// What stands in the file from the cue's position on, at least as far as the cue goes, as the plug-in would deliver it.
static std::string SourceOf(const FileFacts &facts, const Cue &cue) {
    if (cue.position < 0 || static_cast<uint64_t>(cue.position) >= facts.bytes.size()) {
        return {};
    }
    const std::string_view bytes = facts.bytes;
    const std::string_view part = bytes.substr(static_cast<size_t>(cue.position), SVR_SUB_STR_IN_MAX_LEN);
    std::string text = Converted(part, facts.codeType, PELL_CODE_UTF8);
    for (size_t at = text.find('\t'); at != std::string::npos; at = text.find('\t', at)) {
        text.replace(at, 1, "    ");
    }
    return text;
}

// Control characters go, and what is no UTF-8 is replaced: whatever is written can be read.
static std::string Readable(std::string text) {
    const auto isControl = [](char ch) {
        return (static_cast<unsigned char>(ch) < 0x20 && ch != '\t') || ch == 0x7F;
    };
    text.erase(std::remove_if(text.begin(), text.end(), isControl), text.end());
    return IsUtf8(text) ? text : Converted(text, PELL_CODE_UTF8, PELL_CODE_UTF8);
}

static void MakeReadable(StyledText &text) {
    for (TextLine &line : text.lines) {
        for (TextRun &run : line) {
            run.text = Readable(std::move(run.text));
        }
    }
}

// ASS without styles of either kind is written anew, as other formats are.
static void KeepHeader(const ConvertRun &run, const FileFacts &facts, const StreamFacts &stream,
                       CollectedStream &kept) {
    if (run.format != "ass" || !IsFormat(facts, "ass")) {
        return;
    }
    if (FindNoCase(stream.header, "[V4+ Styles]") != std::string::npos) {
        kept.header = stream.header;
    } else if (IsSsaHeader(stream.header)) {
        kept.header = AssHeaderOfSsa(stream.header);
        kept.ssa = true;
    }
}

static CollectedStream &StreamOf(ConvertRun &run, const FileFacts &facts, int number) {
    if (run.streams.empty() || run.streams.back().number != number) {
        CollectedStream &added = run.streams.emplace_back();
        added.number = number;
        for (const StreamFacts &stream : facts.streams) {
            if (stream.number == number) {
                added.rules = MarkupRulesOf(facts, stream);
                KeepHeader(run, facts, stream, added);
            }
        }
    }
    return run.streams.back();
}

static void ConvertBeginFile(Output &out, const FileFacts &) {
    out.convert->streams.clear();
    out.convert->counts = {};
}

static void AddEvents(CollectedStream &stream, const Cue &cue, CollectedCue added) {
    for (const AssEvent &event : AssEventsOf(stream.rules.fields, *cue.raw)) {
        auto timed = AssTimedOf(event.line);
        added.event = nullptr;
        added.text = {};
        if (timed) {
            timed->before = Readable(timed->before);
            timed->before = stream.ssa ? AssBeforeOfSsa(timed->before) : timed->before;
            timed->behind = Readable(timed->behind);
            added.event = std::make_shared<AssTimed>(*timed);
        } else {
            AppendText(added.text, Readable(std::string(AssShownPart(stream.rules.fields, event))), {});
        }
        stream.cues.push_back(added);
    }
}

static void ConvertCue(Output &out, const FileFacts &facts, const Cue &cue) {
    ConvertRun &run = *out.convert;
    CollectedStream &stream = StreamOf(run, facts, cue.stream);
    CollectedCue added{.startMs = WantedTime(run, cue.startMs)};
    if (const auto end = ToldEnd(facts, cue)) {
        added.endMs = std::max(WantedTime(run, *end), added.startMs);
    }
    if (!stream.header.empty()) {
        AddEvents(stream, cue, added);
        return;
    }
    if (IsBlank(cue.text)) {
        stream.cues.push_back(added);
        return;
    }
    for (const StyledText &text : StyledTextsOf(stream.rules, cue, SourceOf(facts, cue))) {
        added.text = text;
        MakeReadable(added.text);
        stream.cues.push_back(added);
    }
}

// --- times ---------------------------------------------------------------------------------------------------------

// The next cue ends one that does not say when it ends.
static int64_t EndOf(const std::vector<CollectedCue> &cues, size_t i) {
    if (cues[i].endMs) {
        return *cues[i].endMs;
    }
    const auto next = std::upper_bound(cues.begin() + static_cast<std::ptrdiff_t>(i), cues.end(), cues[i].startMs,
                                       [](int64_t start, const CollectedCue &cue) { return start < cue.startMs; });
    const int64_t latest = cues[i].startMs + kLongestGuessMs;
    return next != cues.end() ? std::min(next->startMs, latest) : latest;
}

// To the nearest unit, which keeps the order. What lasted a moment goes on to do so.
static void RoundTimes(int64_t unit, ConvertedCue &cue) {
    const bool lasts = cue.endMs > cue.startMs;
    cue.startMs = (cue.startMs + unit / 2) / unit * unit;
    cue.endMs = (cue.endMs + unit / 2) / unit * unit;
    cue.endMs = lasts && cue.endMs == cue.startMs ? cue.startMs + unit : cue.endMs;
}

static std::vector<ConvertedCue> FinishedCues(CollectedStream &stream, const TargetFormat &target,
                                              ConvertCounts &counts) {
    std::stable_sort(stream.cues.begin(), stream.cues.end(),
                     [](const CollectedCue &a, const CollectedCue &b) { return a.startMs < b.startMs; });
    std::vector<ConvertedCue> finished;
    for (size_t i = 0; i < stream.cues.size(); i++) {
        ConvertedCue cue{stream.cues[i].startMs, EndOf(stream.cues, i), std::move(stream.cues[i].text),
                         stream.cues[i].event};
        const bool over = cue.startMs < 0 && cue.endMs <= 0;
        const bool shown = cue.event != nullptr || !IsBlank(PlainTextOf(cue.text));
        if (!shown || over) {
            counts.leftOut += shown && over ? 1u : 0u;
            continue;
        }
        counts.early += cue.startMs < 0 ? 1u : 0u;
        cue.startMs = std::max<int64_t>(cue.startMs, 0);
        RoundTimes(target.unitMs, cue);
        counts.late += cue.endMs > target.latestMs ? 1u : 0u;
        cue.endMs = cue.startMs <= target.latestMs ? std::min(cue.endMs, target.latestMs) : cue.endMs;
        finished.push_back(std::move(cue));
    }
    return finished;
}

static void WarnOfTimes(const ConvertCounts &counts, const TargetFormat &target, FileFacts &facts) {
    const auto warn = [&](const char *kind, uint64_t count, const std::string &what) {
        if (count > 0) {
            facts.warnings.push_back({kind, CountText(count, "cue") + what});
        }
    };
    warn("times_clamped", counts.early, " would begin before 0 and now begin at 0");
    warn("cues_left_out", counts.leftOut, " left out: over before 0");
    warn("times_too_late", counts.late,
         fmt::format(" beyond {}, the last time that is sure to be understood in this format; where only the end is, "
                     "it is set to this time",
                     TimeText(target.latestMs)));
}

// --- names ---------------------------------------------------------------------------------------------------------

// Whether the name ends in the language, of which the plug-in may have cut off the end.
static bool IsSaid(const StreamFacts &stream, const std::string &language, const std::string &stem) {
    const size_t point = stem.rfind('.');
    const std::string end = point == std::string::npos ? "" : stem.substr(point + 1);
    return language.empty() ? end.starts_with(stream.language) : FileNamePart(end) == language;
}

// Empty where the name says it already, or where there is nothing to say. A number tells languages apart of which
// nothing may be part of a file name.
static std::string StreamTag(const StreamFacts &stream, const std::string &stem) {
    const std::string language = FileNamePart(stream.language);
    if (!stream.sharesLanguage && IsSaid(stream, language, stem)) {
        return "";
    }
    if (stream.sharesLanguage || language.empty()) {
        return fmt::format(".{}{}{}", language, language.empty() ? "" : "-", stream.number);
    }
    return "." + language;
}

// "movie.smi" to "movie.ko.vtt", beside it or in the directory.
static std::string PathFor(const ConvertRun &run, const FileFacts &facts, const StreamFacts &stream) {
    if (!run.output.empty()) {
        return run.output;
    }
    const size_t slash = facts.name.rfind('/');
    const std::string place = slash == std::string::npos ? "" : facts.name.substr(0, slash + 1);
    const std::string name = facts.name.substr(place.size());
    const std::string stem = name.substr(0, name.rfind('.'));
    const std::string directory = run.directory.empty() ? place : run.directory + "/";
    return directory + stem + StreamTag(stream, stem) + "." + run.format;
}

// --- files ---------------------------------------------------------------------------------------------------------

// Whatever --overwrite says, nothing of this run is lost.
static std::optional<Problem> RunInTheWay(ConvertRun &run, const std::string &path, const std::string &source) {
    const std::string key = FileKey(path);
    if (run.sources.contains(key) && key != FileKey(source)) {
        return Problem{"file_exists", fmt::format("{} is itself to be converted in this run and is not replaced; "
                                                  "another --dir keeps them apart",
                                                  path)};
    }
    if (!run.written.insert(key).second) {
        return Problem{"file_exists", fmt::format("{} was written in this run already, from another file or stream; "
                                                  "another --dir or --stream keeps them apart",
                                                  path)};
    }
    return std::nullopt;
}

static std::optional<Problem> WriteDocument(const Output &out, const std::string &path, const std::string &document,
                                            size_t cues) {
    const ConvertRun &run = *out.convert;
    if (path == "-") {
        Put(out, document);
        return std::nullopt;
    }
    auto problem = WriteFileSafely(path, document, run.overwrite);
    if (!problem) {
        Put(out, fmt::format("{}: {}\n", path, CountText(cues, "cue")));
    }
    return problem;
}

// A stream without text was warned of, and is not written.
static bool WriteStream(const Output &out, const StreamFacts &facts, CollectedStream &stream, FileFacts &file) {
    ConvertRun &run = *out.convert;
    const TargetFormat &target = TargetNamed(run.format);
    const ConvertedStream converted{facts.language, facts.title, stream.header,
                                    FinishedCues(stream, target, run.counts)};
    if (converted.cues.empty()) {
        return false;
    }
    const std::string path = PathFor(run, file, facts);
    auto problem = RunInTheWay(run, path, file.name);
    if (!problem) {
        problem = WriteDocument(out, path, target.write(converted), converted.cues.size());
    }
    if (problem) {
        file.warnings.push_back(*problem);
    }
    return !problem;
}

static bool HasText(const CollectedStream &stream) {
    return std::any_of(stream.cues.begin(), stream.cues.end(),
                       [](const CollectedCue &cue) { return !cue.text.lines.empty(); });
}

static std::optional<Problem> TooManyStreams(const ConvertRun &run) {
    const auto count = std::count_if(run.streams.begin(), run.streams.end(), HasText);
    if (run.output.empty() || count < 2) {
        return std::nullopt;
    }
    return Problem{"many_streams",
                   fmt::format("it has {} streams, and -o names one file; --stream takes one, --dir all", count)};
}

static size_t WriteStreams(const Output &out, FileFacts &facts) {
    size_t written = 0;
    for (CollectedStream &stream : out.convert->streams) {
        const auto found = std::find_if(facts.streams.begin(), facts.streams.end(),
                                        [&](const StreamFacts &s) { return s.number == stream.number; });
        written += found != facts.streams.end() && WriteStream(out, *found, stream, facts) ? 1u : 0u;
    }
    return written;
}

// What was in the way of the only file is what went wrong.
static void ConvertConclude(Output &out, FileFacts &facts) {
    ConvertRun &run = *out.convert;
    if (facts.error) {
        return;
    }
    facts.error = TooManyStreams(run);
    if (facts.error) {
        return;
    }
    WarnOfAssumedRate(facts);
    const size_t warningsBefore = facts.warnings.size();
    const size_t written = WriteStreams(out, facts);
    if (written == 0 && facts.warnings.size() > warningsBefore) {
        facts.error = facts.warnings.back();
        facts.warnings.pop_back();
    }
    WarnOfTimes(run.counts, TargetNamed(run.format), facts);
    if (written == 0 && !facts.error) {
        const char *why =
            run.counts.leftOut > 0 ? "all of it would be over before 0" : "there is nothing to read in it";
        facts.error = Problem{"nothing_written", fmt::format("{}, and nothing was written", why)};
    }
    run.streams.clear();
}

const ReportWriter kConvert = {.beginFile = ConvertBeginFile, .cue = ConvertCue, .conclude = ConvertConclude};
