// Frame rates as the plug-in takes them from a host: whole frames per second in the upper 16 bits and digits of the
// fraction in the lower ones.
#include "tools/pellsub/frame_rate.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>

static constexpr int64_t kMillion = 1000000;

// "23.976" to 23976000. Digits after the sixth are too small to matter, but must be digits.
static std::optional<int64_t> ParseMillionths(std::string_view text) {
    const std::string_view digits = "0123456789";
    const size_t point = std::min(text.find('.'), text.size());
    const std::string_view whole = text.substr(0, point);
    const std::string_view fraction = text.substr(std::min(point + 1, text.size()));
    const bool pointLast = point + 1 == text.size();
    if (whole.empty() || whole.size() > 4 || pointLast || whole.find_first_not_of(digits) != whole.npos ||
        fraction.find_first_not_of(digits) != fraction.npos) {
        return std::nullopt;
    }
    int64_t value = 0;
    for (const char digit : whole) {
        value = value * 10 + (digit - '0');
    }
    for (size_t i = 0; i < 6; i++) {
        value = value * 10 + (i < fraction.size() ? fraction[i] - '0' : 0);
    }
    return value;
}

// The plug-in divides the digits by 1000, but by 10 where they are a multiple of 10.
static bool CanBePassed(int64_t thousandths) {
    const int64_t digits = thousandths % 1000;
    return digits == 0 || digits % 10 != 0;
}

// Of two that are equally near the larger one, which for 29.97 is the nearer to the true 30000/1001.
static int64_t NearestThousandths(int64_t millionths) {
    int64_t nearest = millionths / kMillion * 1000;
    for (int64_t candidate = millionths / 1000 - 1; candidate <= millionths / 1000 + 2; candidate++) {
        if (CanBePassed(candidate) &&
            std::abs(candidate * 1000 - millionths) <= std::abs(nearest * 1000 - millionths)) {
            nearest = candidate;
        }
    }
    return nearest;
}

std::optional<FrameRate> ParseFrameRate(std::string_view text) {
    const auto millionths = ParseMillionths(text);
    if (!millionths || *millionths < kMillion || *millionths > 1000 * kMillion) {
        return std::nullopt;
    }
    const int64_t thousandths = NearestThousandths(*millionths);
    FrameRate rate;
    rate.packed = static_cast<uint32_t>(thousandths / 1000 << 16 | thousandths % 1000);
    rate.value = static_cast<double>(thousandths) / 1000;
    std::from_chars(text.data(), text.data() + text.size(), rate.asked, std::chars_format::fixed);
    rate.exact = thousandths * 1000 == *millionths;
    return rate;
}
