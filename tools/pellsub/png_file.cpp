// A picture to the bytes of a PNG file.
#include "tools/pellsub/png_file.h"

#include <png.h>

static std::string Encode(png_image &image, const uint8_t *pixels, const void *colours) {
    png_alloc_size_t size = PNG_IMAGE_PNG_SIZE_MAX(image);
    std::string bytes(size, '\0');
    const bool done = png_image_write_to_memory(&image, bytes.data(), &size, 0, pixels, 0, colours) != 0;
    bytes.resize(done ? size : 0);
    return bytes;
}

static png_image ImageOf(int width, int height, png_uint_32 format) {
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(width);
    image.height = static_cast<png_uint_32>(height);
    image.format = format;
    return image;
}

std::string PngOf(const IndexedPicture &picture) {
    png_image image = ImageOf(picture.width, picture.height, PNG_FORMAT_RGBA_COLORMAP);
    image.colormap_entries = static_cast<png_uint_32>(picture.colours.size());
    return Encode(image, picture.pixels.data(), picture.colours.data());
}

std::string PngOf(const RgbPicture &picture) {
    png_image image = ImageOf(picture.width, picture.height, PNG_FORMAT_RGB);
    return Encode(image, picture.bytes.data(), nullptr);
}
