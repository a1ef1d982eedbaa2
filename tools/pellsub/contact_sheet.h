// Many pictures on one, small.
#pragma once

#include "tools/pellsub/png_file.h"

#include <cstdint>
#include <vector>

using Thumbnail = std::vector<uint8_t>; // rows of red, green and blue

// However long a film is, its sheet keeps to a size that viewers open: once it is full, every second picture is dropped
// and from then on half as many are taken.
struct ContactSheet {
    std::vector<Thumbnail> thumbnails;
    uint64_t offered = 0;
    uint64_t step = 1;
};

// Takes the part of the picture that is drawn on.
void AddToSheet(ContactSheet &sheet, const IndexedPicture &picture);

RgbPicture SheetPicture(const ContactSheet &sheet);
