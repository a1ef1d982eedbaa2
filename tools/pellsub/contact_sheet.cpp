// Many pictures on one, small.
#include "tools/pellsub/contact_sheet.h"

#include <algorithm>
#include <array>
#include <cstddef>

static constexpr int kWidth = 320; // of a thumbnail: a line of text scaled to it can still be read
static constexpr int kHeight = 96;
static constexpr int kMargin = 4; // inside a thumbnail
static constexpr int kGap = 4;
static constexpr int kColumns = 4;
static constexpr size_t kMaxThumbnails = 240;
static constexpr uint8_t kGapGrey = 32;

// Two greys, so that neither white nor black is lost on them.
static int CheckerGrey(int x, int y) {
    return (x / 8 + y / 8) % 2 == 0 ? 112 : 144;
}

// --- one thumbnail -------------------------------------------------------------------------------------------------

// The mean of a block of the picture: colours weighted by their opacity, which is left in the last element. All 0..255.
static std::array<uint64_t, 4> MeanOf(const IndexedPicture &picture, const Area &block) {
    std::array<uint64_t, 4> sum = {};
    for (int y = block.y; y < block.y + block.height; y++) {
        const uint8_t *row = picture.pixels.data() + static_cast<size_t>(y) * static_cast<size_t>(picture.width);
        for (int x = block.x; x < block.x + block.width; x++) {
            const Rgba &colour = picture.colours[row[x]];
            for (size_t i = 0; i < 3; i++) {
                sum[i] += static_cast<uint64_t>(colour[i]) * colour[3];
            }
            sum[3] += colour[3];
        }
    }
    const auto pixels = static_cast<uint64_t>(block.width) * static_cast<uint64_t>(block.height);
    for (size_t i = 0; i < 3; i++) {
        sum[i] /= std::max<uint64_t>(sum[3], 1);
    }
    sum[3] /= pixels;
    return sum;
}

// The range of source pixels, one at least, that falls on a pixel when `from` of them become `to`.
static void Range(int index, int from, int to, int &begin, int &size) {
    begin = static_cast<int>(int64_t{index} * from / to);
    size = std::max(1, static_cast<int>((int64_t{index} + 1) * from / to) - begin);
}

static void DrawScaled(const IndexedPicture &picture, int width, int height, Thumbnail &thumbnail) {
    const int left = (kWidth - width) / 2;
    const int top = (kHeight - height) / 2;
    for (int y = 0; y < height; y++) {
        for (int x = 0; x < width; x++) {
            Area block;
            Range(x, picture.drawn.width, width, block.x, block.width);
            Range(y, picture.drawn.height, height, block.y, block.height);
            block.x += picture.drawn.x;
            block.y += picture.drawn.y;
            const auto mean = MeanOf(picture, block);
            uint8_t *pixel = &thumbnail[static_cast<size_t>((top + y) * kWidth + left + x) * 3];
            for (size_t i = 0; i < 3; i++) {
                pixel[i] = static_cast<uint8_t>((mean[i] * mean[3] + pixel[i] * (255 - mean[3])) / 255);
            }
        }
    }
}

// Scaled down to fit, never up.
static Thumbnail ThumbnailOf(const IndexedPicture &picture) {
    Thumbnail thumbnail(static_cast<size_t>(kWidth) * kHeight * 3);
    for (int y = 0; y < kHeight; y++) {
        for (int x = 0; x < kWidth; x++) {
            std::fill_n(&thumbnail[static_cast<size_t>(y * kWidth + x) * 3], 3,
                        static_cast<uint8_t>(CheckerGrey(x, y)));
        }
    }
    const Area &area = picture.drawn;
    const double scale = std::min({1.0, static_cast<double>(kWidth - 2 * kMargin) / area.width,
                                   static_cast<double>(kHeight - 2 * kMargin) / area.height});
    const int width = std::clamp(static_cast<int>(area.width * scale), 1, kWidth);
    const int height = std::clamp(static_cast<int>(area.height * scale), 1, kHeight);
    DrawScaled(picture, width, height, thumbnail);
    return thumbnail;
}

// --- the sheet -----------------------------------------------------------------------------------------------------

static void DropEverySecond(std::vector<Thumbnail> &thumbnails) {
    for (size_t i = 1; 2 * i < thumbnails.size(); i++) {
        thumbnails[i] = std::move(thumbnails[2 * i]);
    }
    thumbnails.resize((thumbnails.size() + 1) / 2);
}

void AddToSheet(ContactSheet &sheet, const IndexedPicture &picture) {
    if (sheet.offered++ % sheet.step != 0) {
        return;
    }
    if (sheet.thumbnails.size() == kMaxThumbnails) {
        DropEverySecond(sheet.thumbnails);
        sheet.step *= 2;
    }
    sheet.thumbnails.push_back(ThumbnailOf(picture));
}

RgbPicture SheetPicture(const ContactSheet &sheet) {
    const int count = static_cast<int>(sheet.thumbnails.size());
    const int columns = std::min(count, kColumns);
    RgbPicture picture;
    picture.width = kGap + columns * (kWidth + kGap);
    picture.height = kGap + (count + kColumns - 1) / kColumns * (kHeight + kGap);
    picture.bytes.assign(static_cast<size_t>(picture.width) * static_cast<size_t>(picture.height) * 3, kGapGrey);
    for (int i = 0; i < count; i++) {
        const int left = kGap + i % kColumns * (kWidth + kGap);
        const int top = kGap + i / kColumns * (kHeight + kGap);
        for (ptrdiff_t y = 0; y < kHeight; y++) {
            const auto from = sheet.thumbnails[static_cast<size_t>(i)].begin() + y * kWidth * 3;
            std::copy_n(from, ptrdiff_t{kWidth} * 3, picture.bytes.begin() + ((top + y) * picture.width + left) * 3);
        }
    }
    return picture;
}
