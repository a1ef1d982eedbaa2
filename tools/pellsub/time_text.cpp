// Milliseconds to text and back: 83500 is 00:01:23.500.
#include "tools/pellsub/time_text.h"

#include <charconv>
#include <fmt/format.h>

std::string TimeText(int64_t ms) {
    // Negated as unsigned, so that even the smallest value has a text.
    const uint64_t size = ms < 0 ? 0 - static_cast<uint64_t>(ms) : static_cast<uint64_t>(ms);
    return fmt::format("{}{:02}:{:02}:{:02}.{:03}", ms < 0 ? "-" : "", size / 3600000, size / 60000 % 60,
                       size / 1000 % 60, size % 1000);
}

std::string SpanText(int64_t startMs, std::optional<int64_t> endMs) {
    return TimeText(startMs) + " --> " + (endMs ? TimeText(*endMs) : "unknown");
}

// Takes 1 to maxDigits digits off the front.
static std::optional<int64_t> TakeNumber(std::string_view &text, size_t maxDigits) {
    const size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
    if (digits == 0 || digits > maxDigits) {
        return std::nullopt;
    }
    int64_t value = 0;
    std::from_chars(text.data(), text.data() + digits, value);
    text.remove_prefix(digits);
    return value;
}

// ".5" is 500 ms; nothing at all is 0.
static std::optional<int64_t> TakeFraction(std::string_view &text) {
    if (text.empty()) {
        return 0;
    }
    if (text.front() != '.' && text.front() != ',') {
        return std::nullopt;
    }
    text.remove_prefix(1);
    const size_t digits = text.size();
    auto value = TakeNumber(text, 3);
    for (size_t i = digits; value && i < 3; i++) {
        *value *= 10;
    }
    return value;
}

std::optional<int64_t> ParseTime(std::string_view text) {
    auto total = TakeNumber(text, 9);
    for (int fields = 1; total && fields < 3 && !text.empty() && text.front() == ':'; fields++) {
        text.remove_prefix(1);
        const auto field = TakeNumber(text, 2);
        total = field && *field < 60 ? std::optional(*total * 60 + *field) : std::nullopt;
    }
    const auto fraction = TakeFraction(text);
    if (!total || !fraction || !text.empty()) {
        return std::nullopt;
    }
    return *total * 1000 + *fraction;
}
