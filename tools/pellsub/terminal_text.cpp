// Strangers' bytes to text that a terminal shows but does not obey.
#include "tools/pellsub/terminal_text.h"

#include <cstdint>
#include <fmt/format.h>
#include <iterator>

struct CodePoint {
    uint32_t value;
    size_t bytes; // 0: the bytes are no UTF-8
};

static bool IsContinuation(char ch) {
    return (static_cast<uint8_t>(ch) & 0xC0) == 0x80;
}

// The code point at the front of a text that is not empty. Overlong forms, surrogates and values past 10FFFF are not
// UTF-8: a lenient terminal could take them for a control character.
static CodePoint FirstCodePoint(std::string_view text) {
    const uint8_t lead = static_cast<uint8_t>(text.front());
    if (lead < 0x80) {
        return {lead, 1};
    }
    const size_t bytes = lead >= 0xF0 ? 4 : (lead >= 0xE0 ? 3 : 2);
    if (lead < 0xC2 || lead > 0xF4 || text.size() < bytes) {
        return {0, 0};
    }
    uint32_t value = lead & (0x7Fu >> bytes);
    for (size_t i = 1; i < bytes; i++) {
        if (!IsContinuation(text[i])) {
            return {0, 0};
        }
        value = value << 6 | (static_cast<uint8_t>(text[i]) & 0x3Fu);
    }
    const bool overlong = (bytes == 3 && value < 0x800) || (bytes == 4 && value < 0x10000);
    const bool outside = (value >= 0xD800 && value <= 0xDFFF) || value > 0x10FFFF;
    return overlong || outside ? CodePoint{0, 0} : CodePoint{value, bytes};
}

static bool IsObeyed(uint32_t value) {
    const bool control = (value < 0x20 && value != '\n' && value != '\t') || (value >= 0x7F && value <= 0x9F);
    const bool bidi = (value >= 0x202A && value <= 0x202E) || (value >= 0x2066 && value <= 0x2069);
    return control || bidi;
}

static bool EndsAsLineEnd(std::string_view text) {
    const size_t other = text.find_first_not_of('\r');
    return other != std::string_view::npos && text[other] == '\n';
}

std::string HarmlessText(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    while (!text.empty()) {
        const CodePoint point = FirstCodePoint(text);
        const size_t bytes = point.bytes == 0 ? 1 : point.bytes;
        if (point.bytes == 0) {
            fmt::format_to(std::back_inserter(out), "\\x{:02x}", static_cast<uint8_t>(text.front()));
        } else if (!IsObeyed(point.value)) {
            out += text.substr(0, bytes);
        } else if (point.value != '\r' || !EndsAsLineEnd(text)) {
            fmt::format_to(std::back_inserter(out), "\\u{:04x}", point.value);
        }
        text.remove_prefix(bytes);
    }
    return out;
}

bool IsUtf8(std::string_view text) {
    while (!text.empty()) {
        const size_t bytes = FirstCodePoint(text).bytes;
        if (bytes == 0) {
            return false;
        }
        text.remove_prefix(bytes);
    }
    return true;
}
