// What can be wrong with the lines of a subtitle file: the kinds, and the words for each.
#pragma once

#include "tools/pellsub/report.h"

#include <cstdint>
#include <optional>
#include <string>

enum FindingKind {
    FINDING_TIME_SPELLING,
    FINDING_TIME_NOT_UNDERSTOOD,
    FINDING_TIME_TOO_LATE,
    FINDING_SHORT_FRACTION,
    FINDING_TWO_READINGS,
    FINDING_NEGATIVE_TIME,
    FINDING_NO_BLANK_LINE,
    FINDING_BLANK_IN_TEXT,
    FINDING_BLANK_BEFORE_TIME,
    FINDING_NOT_CLOSED,
    FINDING_TEXT_WITHOUT_TIME,
    FINDING_LINE_NOT_UNDERSTOOD,
    FINDING_LINE_ENDS,
    FINDING_UTF32,
    FINDING_TOO_LARGE,
    FINDING_PICTURES,
    FINDING_OTHER_FORM,
    FINDING_SYNC_PLACE,
    FINDING_SYNC_SPELLING,
    FINDING_PARAGRAPH_PLACE,
    FINDING_CLASS_ORDER,
    FINDING_CLASS_RULE,
    FINDING_WORD_STAMPS,
    FINDING_NO_EVENTS,
    FINDING_NO_FORMAT_LINE,
    FINDING_END_BEFORE_START,
    FINDING_OUT_OF_ORDER,
    FINDING_LONG_LINE,
    FINDING_LONG_CUE,
    FINDING_CUT_CUE,
    FINDING_UNDECODABLE,
    FINDING_CUE_LOST,
    FINDING_OVERLAP,
    FINDING_EMPTY_CUE,
    FINDING_FRAME_RATE,
};

struct FindingWords {
    const char *kind;   // for programs
    const char *found;  // for people, who read what it is and what comes of it
    const char *mended; // what is done about it; null: nothing can be
};

const FindingWords &WordsOf(FindingKind kind);

// The detail, such as the line in question, stands behind the words; it may be empty.
Finding FindingOf(FindingKind kind, bool mendable, size_t line, const std::string &detail,
                  std::optional<int64_t> startMs = std::nullopt);

// Where nobody named the frame rate, all times are a guess.
bool IsRateAssumed(const FileFacts &facts);
void WarnOfAssumedRate(FileFacts &facts);
