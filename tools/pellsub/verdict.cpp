// What was found out about a file to the problems and warnings that a person can do something about.
#include "tools/pellsub/verdict.h"

#include "format/pell_format.h"

#include <fmt/format.h>

static constexpr const char *kSeeLog = "PELL_LOG_LEVEL=3 in the environment shows the plug-in's reasons";

static std::string CuesText(uint64_t count) {
    return fmt::format("{} cue{}", count, count == 1 ? "" : "s");
}

Problem UnknownFormat(bool url, const std::string &taken) {
    return {"unknown_format",
            fmt::format("{} {}",
                        url ? "the plug-in takes no such URL; known extensions are" : "unknown extension; known are",
                        taken)};
}

Problem NotOpened() {
    return {"open_failed", fmt::format("the plug-in cannot open it; {}", kSeeLog)};
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
    return {"no_cue", fmt::format("no cue found in it; its name says {}, its content does not look like it",
                                  facts.formatTitle != nullptr ? facts.formatTitle : "subtitles")};
}

static std::optional<Problem> WhyNothing(const FileFacts &facts, const Findings &findings) {
    if (findings.cues > 0) {
        return std::nullopt;
    }
    if (findings.failedReads > 0) {
        return Problem{"not_delivered",
                       fmt::format("none of its {} could be delivered; {}", CuesText(findings.failedReads), kSeeLog)};
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
                                                               CuesText(findings.incomplete), advice)});
    }
    // Without a converter the bytes are what was asked for, unless the report cannot hold them.
    if (findings.notUtf8 > 0 && (asked.converter || asked.json)) {
        facts.warnings.push_back(
            {"not_utf8", fmt::format("the text of {} is not UTF-8; {}", CuesText(findings.notUtf8), advice)});
    }
    if (findings.replaced > 0) {
        facts.warnings.push_back({"replaced_characters", fmt::format("{} with U+FFFD where characters were lost; {}",
                                                                     CuesText(findings.replaced), advice)});
    }
}

// Without this, text output that stays empty would look like a mistake of the tool.
static void WarnOfBlankStreams(FileFacts &facts) {
    for (const StreamFacts &stream : facts.streams) {
        if (stream.cues > 0 && stream.blankCues == stream.cues) {
            facts.warnings.push_back(
                {"no_text", fmt::format("stream {}: nothing to read in its {}; dump --raw shows what is delivered",
                                        stream.number, CuesText(stream.cues))});
        }
    }
}

void Judge(const Asked &asked, const Findings &findings, FileFacts &facts) {
    facts.error = WhyNothing(facts, findings);
    if (facts.error) {
        return;
    }
    if (findings.failedReads > 0) {
        facts.warnings.push_back({"cues_not_delivered", fmt::format("{} could not be delivered; {}",
                                                                    CuesText(findings.failedReads), kSeeLog)});
    }
    WarnOfEncoding(asked, facts);
    WarnOfText(asked, findings, facts);
    WarnOfBlankStreams(facts);
}

Problem Interrupted(const Findings &findings) {
    return {"interrupted",
            fmt::format("interrupted; {} indexed until then", CuesText(findings.cues + findings.failedReads))};
}

Problem NotIndexed(const FileFacts &facts) {
    if (IsUtf32(facts)) {
        return NoCue(facts);
    }
    return {"index_failed", fmt::format("the plug-in cannot make sense of it; {}", kSeeLog)};
}
