// A picture to the bytes of a PNG file.
#pragma once

#include "tools/pellsub/subpicture.h"

#include <string>

// Rows of red, green and blue.
struct RgbPicture {
    int width = 0;
    int height = 0;
    std::vector<uint8_t> bytes;
};

// Empty when it cannot be made, for want of memory.
std::string PngOf(const IndexedPicture &picture);
std::string PngOf(const RgbPicture &picture);
