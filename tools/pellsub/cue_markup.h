// Cues as delivered to text with its markup, by the rules of each format.
#pragma once

#include "tools/pellsub/ass_markup.h"
#include "tools/pellsub/report.h"
#include "tools/pellsub/styled_text.h"

#include <string_view>
#include <vector>

// What holds for all cues of a stream.
struct MarkupRules {
    std::string_view format; // "srt" and so on
    std::string_view form;   // of text SUB
    AssFields fields;
    std::vector<AssStyle> styles;
};

MarkupRules MarkupRulesOf(const FileFacts &facts, const StreamFacts &stream);

// What a player shows stays the text, whatever markup is found. Only what MicroDVD and lyrics have as markup, and the
// plug-in does not take out, goes: "{y:i}" and "<00:01.20>". The source is what stands in the file from the cue's
// position on; only SubRip needs it. Events of ASS that stand in different places are texts of their own.
std::vector<StyledText> StyledTextsOf(const MarkupRules &rules, const Cue &cue, std::string_view source);

// The tags that are no text in SubRip. The opening ones are whole with what stands up to a '>'.
extern const std::string_view kSubRipTags[8];
