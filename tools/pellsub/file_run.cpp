// One file through the plug-in: from its name to a report on it.
#include "tools/pellsub/file_run.h"

#include "charset/pell_charset.h"
#include "tools/pellsub/charset_watch.h"
#include "tools/pellsub/check_findings.h"
#include "tools/pellsub/cue_text.h"
#include "tools/pellsub/exit_codes.h"
#include "tools/pellsub/file_url.h"
#include "tools/pellsub/plugin_host.h"
#include "tools/pellsub/repair_protocol.h"
#include "tools/pellsub/repair_run.h"
#include "tools/pellsub/sub_head.h"
#include "tools/pellsub/terminal_text.h"
#include "tools/pellsub/verdict.h"
#include "tools/pellsub/words.h"

#include <algorithm>
#include <charconv>
#include <exception>
#include <fmt/format.h>
#include <iterator>
#include <string_view>

// How much of a file may hold the lines by which forms of text SUB are told apart.
static constexpr size_t kSubHeadSize = 512 << 10;
// Larger than any subtitle file is. Behind it, markup is not looked for.
static constexpr size_t kMarkupSize = 64 << 20;
// What the plug-in reckons frames with when nobody names a rate.
static constexpr double kUsualRate = 30;

static std::optional<Problem> OpenFile(FormatEntry *entry, const RunOptions &options, const std::string &name,
                                       const FileUrl &url, PluginFile &file) {
    if (!PluginTakes(entry, url.url)) {
        return UnknownFormat(options.url, TakenExtensions(entry));
    }
    if (HasExtension(url.url, "sub") && BeginsWithPack(HeadOf(PellProtocolOf(entry), url.url, 4))) {
        bool found = false;
        const std::string index = CompanionOf(name, "idx", found);
        return IsPacketFile(index, found || options.url);
    }
    if (!OpenInPlugin(entry, url.url, file)) {
        bool found = options.url || !HasExtension(name, "idx");
        const std::string packets = found ? "" : CompanionOf(name, "sub", found);
        return found ? NotOpened() : NoPacketFile(packets);
    }
    return std::nullopt;
}

// --- description ---------------------------------------------------------------------------------------------------

struct SourceName {
    PellCharsetSource source;
    const char *kind;
    const char *how;
};

static const SourceName kSourceNames[] = {
    {PELL_CHARSET_SOURCE_BOM, "bom", "by its byte-order mark"},
    {PELL_CHARSET_SOURCE_UTF8, "valid_utf8", "all of it is valid"},
    {PELL_CHARSET_SOURCE_ASCII, "ascii", "nothing but ASCII in it"},
    {PELL_CHARSET_SOURCE_STATISTICS, "statistics", "by the frequencies of its bytes"},
    {PELL_CHARSET_SOURCE_HINT, "hint", "as hinted"},
    {PELL_CHARSET_SOURCE_FALLBACK, "fallback", "a guess"},
};

static void DescribeEncoding(const RunOptions &options, const PluginFile &file, FileFacts &facts) {
    const CharsetNote &note = TheCharsetNote();
    const int32_t codeType = options.encoding != 0 ? options.encoding : static_cast<int32_t>(file.codeType);
    const char *name = facts.textual && codeType != 0 ? PellCharsetName(codeType) : nullptr;
    facts.encoding = name != nullptr ? name : "";
    if (name != nullptr && options.encoding != 0) {
        facts.encodingKind = "option";
        facts.encodingHow = "as told by --encoding";
    }
    for (const SourceName &row : kSourceNames) {
        if (name != nullptr && row.source == note.source) {
            facts.encodingKind = row.kind;
            facts.encodingHow = row.how;
            facts.encodingGuessed = row.source == PELL_CHARSET_SOURCE_FALLBACK;
        }
    }
}

static void SetFrameRate(double rate, const char *kind, const char *how, FileFacts &facts) {
    facts.frameRate = rate;
    facts.frameRateKind = kind;
    facts.frameRateHow = how;
}

// A rate of 1 or less in the file is taken for none.
static void DescribeSub(const RunOptions &options, const SubHead &head, FileFacts &facts) {
    if (head.form == nullptr) {
        return;
    }
    facts.form = head.form->name;
    facts.formTitle = head.form->title;
    if (!head.form->inFrames) {
        return;
    }
    if (head.rate > 1) {
        SetFrameRate(head.rate, "file", "from the file's first line", facts);
    } else if (options.frameRate) {
        SetFrameRate(options.frameRate->value, "option", "from --fps", facts);
    } else {
        SetFrameRate(kUsualRate, "assumed", "assumed: the file names none; --fps sets it", facts);
    }
}

static void DescribeFile(const RunOptions &options, const std::string &url, PluginFile &file, FileFacts &facts) {
    facts.streams = DescribeStreams(file);
    if (!facts.streams.empty()) {
        const FormatName &format = NameOfFormat(file.format);
        facts.format = format.name;
        facts.formatTitle = format.title;
        facts.textual = format.textual;
    }
    DescribeEncoding(options, file, facts);
    if (file.format == SUB_STREAM_FORMAT_SUB && !facts.streams.empty()) {
        DescribeSub(options, SubHeadOf(HeadOf(file.protocol, url, kSubHeadSize)), facts);
    }
}

// --- streams -------------------------------------------------------------------------------------------------------

static bool IsWanted(const StreamFacts &stream, const std::string &wanted) {
    int number = -1;
    const auto parsed = std::from_chars(wanted.data(), wanted.data() + wanted.size(), number);
    const bool isNumber = parsed.ec == std::errc() && parsed.ptr == wanted.data() + wanted.size();
    return wanted.empty() || (isNumber && number == stream.number) ||
           (!stream.language.empty() && EqualNoCase(wanted, stream.language));
}

static std::string StreamList(const std::vector<StreamFacts> &streams) {
    std::string list;
    for (const StreamFacts &stream : streams) {
        list += fmt::format("{}{}{}{}", list.empty() ? "" : ", ", stream.number, stream.language.empty() ? "" : " ",
                            stream.language);
    }
    return list;
}

// Leaves the streams asked for. When there are none, all stay and the problem names them.
static std::optional<Problem> KeepWanted(const std::string &wanted, std::vector<StreamFacts> &streams) {
    std::vector<StreamFacts> kept;
    std::copy_if(streams.begin(), streams.end(), std::back_inserter(kept),
                 [&](const StreamFacts &stream) { return IsWanted(stream, wanted); });
    if (kept.empty() && !wanted.empty() && !streams.empty()) {
        return Problem{"no_such_stream", fmt::format("it has no stream \"{}\", only {}", wanted, StreamList(streams))};
    }
    streams = kept;
    return std::nullopt;
}

// --- cues ----------------------------------------------------------------------------------------------------------

static bool IsInWindow(const RunOptions &options, const Cue &cue) {
    const bool overBefore = cue.endMs && *cue.endMs <= options.fromMs && cue.startMs < options.fromMs;
    return !overBefore && cue.startMs <= options.toMs;
}

static void NoteText(const Cue &cue, Findings &findings) {
    if (cue.raw) {
        findings.notUtf8 += IsUtf8(*cue.raw) ? 0u : 1u;
        findings.replaced += cue.raw->find("\xEF\xBF\xBD") != std::string::npos ? 1u : 0u;
    }
}

static void ReadStream(const RunOptions &options, PluginFile &file, FileFacts &facts, StreamFacts &stream, Output &out,
                       Findings &findings) {
    const AssFields fields = AssFieldsOf(stream.header);
    Cue cue;
    while (NextCue(file, stream, cue)) {
        CompleteCue(file.format, fields, facts.raw, cue);
        stream.blankCues += cue.raw && IsBlank(cue.text) ? 1u : 0u;
        NoteText(cue, findings);
        if (options.writer->cue != nullptr && facts.signal == 0 && IsInWindow(options, cue)) {
            options.writer->cue(out, facts, cue);
        }
    }
    findings.cues += stream.cues;
    findings.failedReads += stream.failedReads;
}

static Findings ReadStreams(const RunOptions &options, PluginFile &file, FileFacts &facts, Output &out) {
    Findings findings;
    for (StreamFacts &stream : facts.streams) {
        if (SelectStream(file, stream)) {
            ReadStream(options, file, facts, stream, out, findings);
        }
    }
    findings.incomplete = TheCharsetNote().incomplete;
    return findings;
}

// --- the file ------------------------------------------------------------------------------------------------------

static void BeginFile(const RunOptions &options, FileFacts &facts, Output &out) {
    facts.begun = true;
    if (options.writer->beginFile != nullptr) {
        options.writer->beginFile(out, facts);
    }
}

static void JudgeFile(const RunOptions &options, const Findings &findings, FileFacts &facts) {
    Judge({options.converter, options.json, options.encoding != PELL_CODE_UNKNOWN}, findings, facts);
    const bool passed = facts.frameRateKind != nullptr && std::string_view(facts.frameRateKind) == "option";
    if (!facts.error && passed && !options.frameRate->exact) {
        facts.warnings.push_back(RateNotExact(facts));
    }
}

// SubRip is the format of which the plug-in delivers less than the file says.
static void KeepBytes(const RunOptions &options, const std::string &url, const PluginFile &file, FileFacts &facts) {
    if (file.format == SUB_STREAM_FORMAT_SRT) {
        facts.bytes = HeadOf(file.protocol, url, kMarkupSize);
        facts.codeType = options.encoding != 0 ? options.encoding : static_cast<int32_t>(file.codeType);
    }
}

// An interrupted build leaves what it had; that is counted, not shown.
static void ReportOpenFile(const RunOptions &options, const std::string &url, PluginFile &file, FileFacts &facts,
                           Output &out) {
    const bool indexed = IndexInPlugin(file, {options.converter, options.encoding}, facts.signal);
    DescribeFile(options, url, file, facts);
    facts.error = indexed || facts.signal != 0 ? KeepWanted(options.stream, facts.streams) : NotIndexed(facts);
    if (!facts.error && options.pictures && facts.textual) {
        facts.error = NoPictures(facts);
    }
    if (!facts.error && options.markup) {
        facts.error = facts.textual ? std::nullopt : std::optional(OnlyPictures(facts));
        KeepBytes(options, url, file, facts);
    }
    BeginFile(options, facts, out);
    // A report without cues tells what there is instead of the stream that was asked for.
    if (facts.error && (!indexed || options.writer->cue != nullptr)) {
        return;
    }
    const Findings findings = ReadStreams(options, file, facts, out);
    if (facts.error) {
        return;
    }
    if (facts.signal != 0) {
        facts.error = Interrupted(findings);
    } else {
        JudgeFile(options, findings, facts);
    }
    if (options.writer->conclude != nullptr) {
        options.writer->conclude(out, facts);
    }
}

static int Status(const FileFacts &facts) {
    if (facts.signal != 0) {
        return EXIT_BY_SIGNAL + facts.signal;
    }
    return facts.error ? EXIT_FAILED : (facts.warnings.empty() && facts.findings.empty() ? EXIT_DONE : EXIT_WARNED);
}

static void ComplainAll(const FileFacts &facts) {
    for (const Problem &warning : facts.warnings) {
        Complain(facts.name, "warning: " + warning.message);
    }
    if (facts.error) {
        Complain(facts.name, facts.error->message);
    }
}

static void CountFile(const FileFacts &facts, Totals &totals) {
    totals.files++;
    totals.warnings += facts.warnings.size() + facts.findings.size();
    totals.failed += facts.error ? 1u : 0u;
    for (const StreamFacts &stream : facts.streams) {
        totals.cues += stream.cues;
    }
}

// What its lines tell, but for what was decided on the command line.
static std::vector<Finding> FindingsIn(FormatEntry *entry, const std::string &url, const RunOptions &options,
                                       SourceText &source) {
    std::vector<Finding> findings = LookAtSource(entry, url, options.encoding, source);
    const std::string_view twoReadings = WordsOf(FINDING_TWO_READINGS).kind;
    if (options.timingTold) {
        const auto end = std::remove_if(findings.begin(), findings.end(),
                                        [=](const Finding &finding) { return twoReadings == finding.kind; });
        findings.erase(end, findings.end());
    }
    return findings;
}

// What a new file would lack of the old one, or have otherwise, is told in a line: check has them all.
static void WarnOfLosses(const RunOptions &options, bool lyrics, const std::vector<Finding> &findings,
                         FileFacts &facts) {
    static constexpr FindingKind kHarmless[] = {FINDING_OUT_OF_ORDER, FINDING_PICTURES};
    uint64_t lost = 0;
    uint64_t mendable = 0;
    size_t lastLine = 0;
    for (const Finding &finding : findings) {
        const std::string_view kind = finding.kind;
        const auto is = [=](FindingKind other) {
            return kind == WordsOf(other).kind;
        };
        if (is(FINDING_TWO_READINGS)) {
            facts.warnings.push_back({finding.kind, fmt::format("line {}: {}", finding.line, finding.message)});
            continue;
        }
        const bool told = options.timingTold && is(FINDING_SHORT_FRACTION);
        // Common timing writes all times of lyrics anew.
        const bool anew = options.commonTiming && lyrics && (is(FINDING_TIME_SPELLING) || is(FINDING_WORD_STAMPS));
        const bool mended = anew || (options.repair && !finding.mended.empty());
        const bool harmless = std::any_of(std::begin(kHarmless), std::end(kHarmless), is);
        if (!told && !mended && !harmless && (finding.line != lastLine || lost == 0)) {
            lost++;
            mendable += finding.mended.empty() ? 0u : 1u;
            lastLine = finding.line;
        }
    }
    if (lost > 0) {
        facts.warnings.push_back(
            {"not_read_as_meant",
             fmt::format("{} not read as meant; check tells which{}", CountText(lost, "line"),
                         mendable > 0 ? fmt::format(", --repair mends {} of them", mendable) : "")});
    }
}

// Lets the plug-in read a copy of the file where one is wished for and differs, and takes what its lines tell.
static void LookIntoFile(FormatEntry *entry, const std::string &url, RunOptions &options, RepairedFile &repaired,
                         SourceText &source, FileFacts &facts, PluginFile &file) {
    if (options.repair || options.commonTiming) {
        const bool player = options.timingTold && !options.commonTiming;
        RepairFile(entry, url, {options.repair, options.commonTiming, player, options.encoding}, repaired);
        file.protocol = repaired.differs ? ProtocolServing(repaired.bytes) : nullptr;
        options.encoding = repaired.encoding;
        TellMended(facts.name, repaired.mended);
    }
    if (options.findings) {
        facts.findings = FindingsIn(entry, url, options, source);
        facts.source = &source;
    } else if (options.markup) {
        SourceText lines;
        WarnOfLosses(options, HasExtension(url, "lrc"), FindingsIn(entry, url, options, lines), facts);
    }
}

// What is open of a file, closed also when something throws.
struct OpenFiles {
    OpenFiles() = default;
    ~OpenFiles() {
        CloseInPlugin(inPlugin);
        ReleaseFile(url);
    }
    OpenFiles(const OpenFiles &) = delete;
    OpenFiles &operator=(const OpenFiles &) = delete;

    FileUrl url;
    PluginFile inPlugin;
};

static Problem Unfinished(const char *why) {
    return {"not_finished", fmt::format("it could not be worked on to its end: {}", why)};
}

// Libraries may throw, if only for want of memory; the report has an entry for the file all the same.
static int ReportFile(FormatEntry *entry, const RunOptions &asked, const std::string &name, Output &out) {
    RunOptions options = asked;
    FileFacts facts{.name = name};
    facts.raw = options.raw || !options.converter; // the rules of a format are for text in a known encoding
    RepairedFile repaired;
    SourceText source;
    OpenFiles open;
    FileUrl &url = open.url;
    PluginFile &file = open.inPlugin;
    url.url = name;
    file.frameRate = options.frameRate ? options.frameRate->packed : 0;
    facts.error = options.url ? std::nullopt : FindFile(name, url);
    facts.size = url.size;
    try {
        if (!facts.error) {
            LookIntoFile(entry, url.url, options, repaired, source, facts, file);
            facts.error = OpenFile(entry, options, name, url, file);
        }
        if (!facts.error) {
            ReportOpenFile(options, url.url, file, facts, out);
        }
    } catch (const std::exception &error) {
        facts.error = Unfinished(error.what());
    }
    if (!facts.begun) {
        BeginFile(options, facts, out);
    }
    if (options.writer->endFile != nullptr) {
        options.writer->endFile(out, facts);
    }
    ComplainAll(facts);
    CountFile(facts, out.totals);
    return Status(facts);
}

// What reports may throw, too; the files after this one may do with less memory.
int RunFile(FormatEntry *entry, const RunOptions &asked, const std::string &name, Output &out) {
    try {
        return ReportFile(entry, asked, name, out);
    } catch (const std::exception &error) {
        Complain(name, Unfinished(error.what()).message);
        out.totals.files++;
        out.totals.failed++;
        return EXIT_FAILED;
    }
}
