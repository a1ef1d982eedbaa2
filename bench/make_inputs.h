// Generated subtitle files, the same at every run.
#pragma once

#include <string>

// SRT with a number line, a time line and one or two lines of text a cue.
std::string MakeSrt(int s32Cues);
