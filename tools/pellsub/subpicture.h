// A DVD subtitle unit to a picture.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>
#include <vector>

struct Area {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
};

using Rgba = std::array<uint8_t, 4>;

// A picture with few colours. The first colour is transparent and fills what no unit is drawn on.
struct IndexedPicture {
    int width = 0;
    int height = 0;
    std::vector<uint8_t> pixels; // numbers of colours, row by row
    std::vector<Rgba> colours;
    Area drawn; // where the unit is
};

// How the pictures of a stream are made.
struct PictureStyle {
    int width = 0;
    int height = 0;
    bool sizeKnown = false;        // else pictures are larger where a unit needs it
    std::vector<uint32_t> palette; // 0xRRGGBB00
};

// False when there is nothing to see: the unit is broken, all transparent, or outside the picture. Which of them, the
// decoder does not tell.
bool DrawSubpicture(const PictureStyle &style, std::string_view unit, IndexedPicture &picture);
