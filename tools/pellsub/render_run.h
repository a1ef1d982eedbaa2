// The pictures of a file to PNG files in a directory: one for each unit and an overview for each stream.
#pragma once

#include "tools/pellsub/contact_sheet.h"
#include "tools/pellsub/picture_module.h"
#include "tools/pellsub/report.h"

#include <optional>
#include <set>
#include <string>
#include <vector>

// The stream that is being drawn.
struct RenderedStream {
    int number = -1;
    std::string title; // for people
    std::string name;  // files begin with it
    PictureStyle style;
    ContactSheet sheet;
    uint64_t written = 0;
    uint64_t notDrawn = 0;
    int64_t firstNotDrawnMs = 0;
};

struct RenderRun {
    std::string directory;
    bool overwrite = false;
    const PictureModule *module = nullptr;
    std::set<std::string> names;
    RenderedStream stream;
    uint64_t drawn = 0;
    uint64_t existing = 0; // files that were there and stayed
    std::vector<Problem> warnings;
    std::optional<Problem> error;
};

// How pictures of the stream are drawn, with a usual size where its index names none.
PictureStyle StyleOf(const StreamFacts &stream);

// Makes the directory if it is not there. Nothing, or why there will be no pictures.
std::optional<std::string> BeginRender(RenderRun &run);
