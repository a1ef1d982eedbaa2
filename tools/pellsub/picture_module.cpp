// The module's table, the one symbol that it exports.
#include "tools/pellsub/picture_module.h"

extern "C" __attribute__((visibility("default"))) const PictureModule g_pictureModule = {
    .draw = DrawSubpicture,
    .indexedPng = PngOf,
    .rgbPng = PngOf,
};
