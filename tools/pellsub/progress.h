// How far the tool is with many files, on a terminal's standard error, and a line about it at the end.
#pragma once

#include "tools/pellsub/report.h"

#include <cstddef>

// From here on time is taken; the bar appears if the work is not done soon.
void StartProgress(size_t files, bool bar);

// Redraws the bar, not too often.
void ShowProgress(size_t done);

// Takes the bar away, so that other text can be written in its place.
void HideProgress();

// "pellsub: 12 files, 340 cues, 1 warning, 0 failed, 0.2 s"
void PutSummary(const Totals &totals);
