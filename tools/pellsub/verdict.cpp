// What was found out about a file to the problems and warnings that a person can do something about.
#include "tools/pellsub/verdict.h"

#include "format/pell_format.h"
#include "tools/pellsub/sub_head.h"
#include "tools/pellsub/words.h"

#include <fmt/format.h>

static constexpr const char *kSeeLog = "PELL_LOG_LEVEL=3 before the command shows why";

// What to do about lines that are no cues. Who runs check has what it tells at hand.
static std::string LinesAdvice(const FileFacts &facts) {
    if (facts.encodingKind != nullptr && std::string_view(facts.encodingKind) == "option") {
        return fmt::format("is it really {}?", facts.encoding);
    }
    if (facts.source == nullptr) {
        return "check tells which lines are not understood, and --repair mends what it can";
    }
    return facts.findings.empty() ? "no line of it looks like a cue" : "convert --repair mends what it can";
}

static std::string FailedText(const FileFacts &facts, const Findings &findings) {
    return CountText(findings.failedReads, facts.textual ? "cue" : "picture");
}

static Problem NoStream() {
    return {"no_stream", "no stream found in it; an index has languages (id: en, index: 0) with time stamps"};
}

Problem UnknownFormat(bool url, const std::string &taken) {
    return {"unknown_format",
            fmt::format("{} {}{}",
                        url ? "the plug-in takes no such URL; known extensions are" : "unknown extension; known are",
                        taken, url ? "" : "; rename it if it is one of these")};
}

Problem NotOpened() {
    return {"open_failed", fmt::format("the plug-in cannot open it; {}", kSeeLog)};
}

Problem IsPacketFile(const std::string &index, bool found) {
    return {"vobsub_packets",
            fmt::format("it is the packet file of a VobSub pair, pictures without times; open its index, {}{}", index,
                        found ? "" : ", which does not lie beside it")};
}

Problem NoPacketFile(const std::string &packets) {
    return {"no_packet_file",
            fmt::format("its packet file, {}, is missing; the two of a VobSub pair belong side by side", packets)};
}

Problem NoPictures(const FileFacts &facts) {
    return {"no_pictures", fmt::format("it is {}, which is text; only VobSub (.idx) has pictures, and dump shows text",
                                       facts.formatTitle)};
}

Problem OnlyPictures(const FileFacts &facts) {
    if (facts.formatTitle == nullptr) {
        return NoStream();
    }
    return {"only_pictures",
            fmt::format("it is {}, whose cues are pictures and have no text; pellsub render draws them",
                        facts.formatTitle)};
}

Problem RateNotExact(const FileFacts &facts) {
    return {
        "rate_not_exact",
        fmt::format("the rate of --fps cannot be had exactly; times are reckoned with {} frames/s", facts.frameRate)};
}

static bool IsUtf32(const FileFacts &facts) {
    return facts.encoding.compare(0, 6, "UTF-32") == 0;
}

static Problem NoCue(const FileFacts &facts) {
    if (IsUtf32(facts)) {
        return {"unreadable_encoding", fmt::format("it is {0}, which cannot be read line by line; convert it first: "
                                                   "iconv -f {0} -t UTF-8",
                                                   facts.encoding)};
    }
    if (facts.formatTitle == nullptr) {
        return NoStream();
    }
    return {"no_cue", fmt::format("no cue found in it; its name says {}, its content does not look like it; {}",
                                  facts.formatTitle, LinesAdvice(facts))};
}

static std::optional<Problem> WhyNothing(const FileFacts &facts, const Findings &findings) {
    if (findings.cues > 0) {
        return std::nullopt;
    }
    if (findings.failedReads > 0) {
        return Problem{"not_delivered",
                       fmt::format("none of its {} could be delivered; {}", FailedText(facts, findings), kSeeLog)};
    }
    return NoCue(facts);
}

// What to do about an encoding that seems wrong.
static std::string EncodingAdvice(const Asked &asked, const FileFacts &facts) {
    return asked.encoding ? fmt::format("is it really {}?", facts.encoding) : "--encoding NAME sets it";
}

static void WarnOfEncoding(const Asked &asked, FileFacts &facts) {
    const std::string advice = EncodingAdvice(asked, facts);
    if (asked.converter && facts.textual && facts.encoding.empty()) {
        const bool large = facts.size > SVR_SUB_IDENTIFY_MAX_SIZE;
        const char *why = large ? " (files over 5 MiB are not examined)" : "";
        facts.warnings.push_back({"encoding_unknown", fmt::format("its encoding is not known{}; {}", why, advice)});
    }
    if (facts.encodingGuessed) {
        facts.warnings.push_back(
            {"encoding_guessed", fmt::format("its encoding, {}, is a guess; {}", facts.encoding, advice)});
    }
}

static void WarnOfText(const Asked &asked, const Findings &findings, FileFacts &facts) {
    const std::string advice = EncodingAdvice(asked, facts);
    if (findings.incomplete > 0) {
        facts.warnings.push_back({"not_converted", fmt::format("{} could not be converted completely; {}",
                                                               CountText(findings.incomplete, "cue"), advice)});
    }
    // Without a converter the bytes are what was asked for, unless the report cannot hold them.
    if (findings.notUtf8 > 0 && (asked.converter || asked.json)) {
        facts.warnings.push_back(
            {"not_utf8", fmt::format("the text of {} is not UTF-8; {}", CountText(findings.notUtf8, "cue"), advice)});
    }
    if (findings.replaced > 0) {
        facts.warnings.push_back({"replaced_characters", fmt::format("{} with U+FFFD where characters were lost; {}",
                                                                     CountText(findings.replaced, "cue"), advice)});
    }
}

// Without this, text output that stays empty would look like a mistake of the tool.
static void WarnOfBlankStreams(FileFacts &facts) {
    for (const StreamFacts &stream : facts.streams) {
        if (!facts.raw && stream.cues > 0 && stream.blankCues == stream.cues) {
            facts.warnings.push_back(
                {"no_text", fmt::format("stream {}: nothing to read in its {}; dump --raw shows what is delivered",
                                        stream.number, CountText(stream.cues, "cue"))});
        }
    }
}

void Judge(const Asked &asked, const Findings &findings, FileFacts &facts) {
    facts.error = WhyNothing(facts, findings);
    if (facts.error) {
        return;
    }
    if (findings.failedReads > 0) {
        facts.warnings.push_back(
            {"cues_not_delivered", fmt::format("{} could not be delivered; {}", FailedText(facts, findings), kSeeLog)});
    }
    WarnOfEncoding(asked, facts);
    WarnOfText(asked, findings, facts);
    WarnOfBlankStreams(facts);
}

Problem Interrupted(const Findings &findings) {
    return {"interrupted",
            fmt::format("interrupted; {} indexed until then", CountText(findings.cues + findings.failedReads, "cue"))};
}

static Problem NoSubCue(const FileFacts &facts) {
    if (facts.formTitle != nullptr) {
        return {"no_cue",
                fmt::format("it looks like {}, but no cue is found in it; {}", facts.formTitle, LinesAdvice(facts))};
    }
    return {"no_sub_form",
            fmt::format("none of the four forms of text SUB begins in its first 100 lines: {}", SubFormList())};
}

Problem NotIndexed(const FileFacts &facts) {
    if (IsUtf32(facts)) {
        return NoCue(facts);
    }
    if (IsFormat(facts, "sub")) {
        return NoSubCue(facts);
    }
    return {"index_failed", fmt::format("nothing in it is read as a cue; {}", LinesAdvice(facts))};
}
