// The door to libpellsub_picture.so, which alone needs the libraries for decoding and for PNG. It is loaded when
// pictures are wanted: they bring a hundred others, and would make every start of the tool slow.
#pragma once

#include "tools/pellsub/png_file.h"
#include "tools/pellsub/subpicture.h"

struct PictureModule {
    bool (*draw)(const PictureStyle &style, std::string_view unit, IndexedPicture &picture);
    std::string (*indexedPng)(const IndexedPicture &picture);
    std::string (*rgbPng)(const RgbPicture &picture);
};

// Null when this build has none.
const PictureModule *LoadPictureModule();
