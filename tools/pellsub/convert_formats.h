// The formats that cues can be written in, one way of writing for each.
#pragma once

#include "tools/pellsub/ass_text.h"
#include "tools/pellsub/styled_text.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

struct ConvertedCue {
    int64_t startMs = 0; // 0 or later
    int64_t endMs = 0;   // not before the start
    StyledText text;
    std::shared_ptr<const AssTimed> event; // of ASS that stays ASS: the line as it was
};

// A stream in the order of its starts.
struct ConvertedStream {
    std::string language;
    std::string title;
    std::string header; // of ASS that stays ASS: all lines that are no events
    std::vector<ConvertedCue> cues;
};

struct TargetFormat {
    const char *name;
    int64_t unitMs;   // times are told in it
    int64_t latestMs; // the last time that readers of the format understand
    std::string (*write)(const ConvertedStream &stream);
};

// Of "srt", "vtt", "ass", "lrc" and "json".
const TargetFormat &TargetNamed(const std::string &name);
