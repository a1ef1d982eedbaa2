// Cues as delivered to cues that a person reads, by the rules of each format.
#pragma once

#include "tools/pellsub/ass_text.h"
#include "tools/pellsub/report.h"

#include <cstdint>
#include <string_view>

// Fills in what follows from a cue's delivered text: the text to read, which is the same when that is wanted, and the
// events of ASS. The fields are those of the stream's header.
void CompleteCue(uint32_t format, const AssFields &fields, bool asDelivered, Cue &cue);

// Whether there is nothing but blanks in it.
bool IsBlank(std::string_view text);
