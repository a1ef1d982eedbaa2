// One file through the plug-in: from its name to a report on it.
#pragma once

#include "format/pell_format.h"
#include "tools/pellsub/frame_rate.h"
#include "tools/pellsub/report.h"

#include <cstdint>
#include <limits>
#include <optional>
#include <string>

struct RunOptions {
    const ReportWriter *writer = nullptr;
    bool url = false; // files are URLs in the plug-in's own grammar
    bool converter = true;
    bool raw = false;     // text as delivered, not made readable
    bool json = false;    // what is written can only hold UTF-8
    int32_t encoding = 0; // code type to read files in; 0: identify it
    std::string encodingName;
    std::optional<FrameRate> frameRate; // for files that name none
    bool pictures = false;              // only formats that have them are wanted
    bool markup = false;                // only formats with text are wanted, and what their markup says
    bool commonTiming = false;          // times as a format's convention has them, not as a player takes them
    bool timingTold = false;            // by whoever runs the tool
    bool repair = false;                // the plug-in reads a mended copy
    bool findings = false;              // the report wants what the lines of the file tell
    std::string stream;                 // number or language; empty: all
    int64_t fromMs = std::numeric_limits<int64_t>::min();
    int64_t toMs = std::numeric_limits<int64_t>::max();
};

// Reports on one file, complains on standard error and gives the exit status it deserves.
int RunFile(FormatEntry *entry, const RunOptions &asked, const std::string &name, Output &out);
