// Generated subtitle files, the same at every run.
#pragma once

#include <string>

// SRT with a number line, a time line and one or two lines of text a cue.
std::string MakeSrt(int s32Cues);

// ASS with a header of three sections and every event on its own time.
std::string MakeAss(int s32Cues);

// SAMI with two language classes, a paragraph of each at every sync.
std::string MakeSmi(int s32Cues);
