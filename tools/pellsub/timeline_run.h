// Cues to a page that shows them as bars on an axis of time.
#pragma once

#include "tools/pellsub/picture_module.h"
#include "tools/pellsub/report.h"

#include <optional>
#include <string>
#include <vector>

// What is known of the stream that is being read.
struct TimelineStream {
    int number = -1;
    PictureStyle style;
    uint64_t notDrawn = 0;
    uint64_t leftOut = 0; // pictures, for the size of the page
};

struct TimelineRun {
    std::string output; // the page; "-" for standard output
    bool overwrite = false;
    const PictureModule *module = nullptr;
    bool moduleWanted = false;     // it was looked for
    std::string files;             // JSON, as it goes into the page
    std::vector<std::string> cues; // the same of the file that is being read, by stream
    TimelineStream stream;
    size_t pictureBytes = 0;
    uint64_t cueCount = 0;
    bool interrupted = false;
};

// Nothing, or why there will be no page.
std::optional<std::string> BeginTimeline(TimelineRun &run);
