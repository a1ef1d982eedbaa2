// A DVD subtitle unit to a picture.
#include "tools/pellsub/subpicture.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <fmt/format.h>
#include <string>

extern "C" {
#include <libavcodec/avcodec.h>
}

// The index's lines that the decoder wants. Sixteen times black is what stands for no palette: without that line the
// decoder makes colours up that can be told apart.
static std::string HeaderOf(const PictureStyle &style) {
    std::string header = fmt::format("size: {}x{}\n", style.width, style.height);
    if (std::any_of(style.palette.begin(), style.palette.end(), [](uint32_t colour) { return colour != 0; })) {
        header += "palette: ";
        for (const uint32_t colour : style.palette) {
            header += fmt::format("{:06x}, ", colour >> 8);
        }
        header += "\n";
    }
    return header;
}

static AVCodecContext *OpenDecoder(const PictureStyle &style) {
    av_log_set_level(AV_LOG_QUIET);
    const AVCodec *codec = avcodec_find_decoder(AV_CODEC_ID_DVD_SUBTITLE);
    AVCodecContext *decoder = codec != nullptr ? avcodec_alloc_context3(codec) : nullptr;
    if (decoder == nullptr) {
        return nullptr;
    }
    const std::string header = HeaderOf(style);
    decoder->extradata = static_cast<uint8_t *>(av_mallocz(header.size() + AV_INPUT_BUFFER_PADDING_SIZE));
    if (decoder->extradata != nullptr) {
        std::memcpy(decoder->extradata, header.data(), header.size());
        decoder->extradata_size = static_cast<int>(header.size());
    }
    if (decoder->extradata == nullptr || avcodec_open2(decoder, codec, nullptr) != 0) {
        avcodec_free_context(&decoder);
    }
    return decoder;
}

static bool Decode(AVCodecContext *decoder, std::string_view unit, AVSubtitle &subtitle) {
    AVPacket *packet = av_packet_alloc();
    if (packet == nullptr || av_new_packet(packet, static_cast<int>(unit.size())) != 0) {
        av_packet_free(&packet);
        return false;
    }
    std::memcpy(packet->data, unit.data(), unit.size());
    int got = 0;
    const int result = avcodec_decode_subtitle2(decoder, &subtitle, &got, packet);
    av_packet_free(&packet);
    return result >= 0 && got != 0 && subtitle.num_rects > 0;
}

// Positions in a unit have 12 bits, so the last size is enough for all.
static void ChooseSize(const PictureStyle &style, const AVSubtitleRect &rect, IndexedPicture &picture) {
    static constexpr int kUsualSizes[][2] = {{1280, 720}, {1920, 1080}, {4096, 4096}};
    picture.width = style.width;
    picture.height = style.height;
    for (const auto &[width, height] : kUsualSizes) {
        if (!style.sizeKnown && (rect.x + rect.w > picture.width || rect.y + rect.h > picture.height)) {
            picture.width = std::max(width, picture.width);
            picture.height = std::max(height, picture.height);
        }
    }
    picture.pixels.assign(static_cast<size_t>(picture.width) * static_cast<size_t>(picture.height), 0);
}

// The part of a rectangle that lies in the picture; empty when none does.
static Area Clip(const AVSubtitleRect &rect, const IndexedPicture &picture) {
    Area area;
    area.x = std::clamp(rect.x, 0, picture.width);
    area.y = std::clamp(rect.y, 0, picture.height);
    area.width = std::clamp(rect.w, 0, picture.width - area.x);
    area.height = std::clamp(rect.h, 0, picture.height - area.y);
    return area;
}

// Colours as the decoder has them are native words, alpha first.
static void TakeColours(const AVSubtitleRect &rect, IndexedPicture &picture) {
    picture.colours = {Rgba{0, 0, 0, 0}};
    for (int i = 0; i < std::min(rect.nb_colors, 255); i++) {
        uint32_t argb = 0;
        std::memcpy(&argb, rect.data[1] + ptrdiff_t{i} * 4, sizeof(argb));
        picture.colours.push_back({static_cast<uint8_t>(argb >> 16), static_cast<uint8_t>(argb >> 8),
                                   static_cast<uint8_t>(argb), static_cast<uint8_t>(argb >> 24)});
    }
}

static bool DrawRect(const AVSubtitleRect &rect, IndexedPicture &picture) {
    const Area area = Clip(rect, picture);
    if (rect.type != SUBTITLE_BITMAP || area.width == 0 || area.height == 0 || rect.x < 0 || rect.y < 0) {
        return false;
    }
    TakeColours(rect, picture);
    bool shown = false;
    for (int row = 0; row < area.height; row++) {
        const uint8_t *from = rect.data[0] + static_cast<ptrdiff_t>(row) * rect.linesize[0];
        uint8_t *to =
            picture.pixels.data() + static_cast<size_t>(area.y + row) * static_cast<size_t>(picture.width) + area.x;
        for (int column = 0; column < area.width; column++) {
            const size_t colour = from[column] + 1u;
            to[column] = static_cast<uint8_t>(colour < picture.colours.size() ? colour : 0);
            shown |= picture.colours[to[column]][3] != 0;
        }
    }
    picture.drawn = area;
    return shown;
}

// Each unit gets a decoder of its own: what is left of one that ends early would be taken for the start of the next.
bool DrawSubpicture(const PictureStyle &style, std::string_view unit, IndexedPicture &picture) {
    AVCodecContext *decoder = OpenDecoder(style);
    AVSubtitle subtitle = {};
    bool shown = false;
    if (decoder != nullptr && Decode(decoder, unit, subtitle)) {
        ChooseSize(style, *subtitle.rects[0], picture);
        shown = DrawRect(*subtitle.rects[0], picture);
    }
    avsubtitle_free(&subtitle);
    avcodec_free_context(&decoder);
    return shown;
}
