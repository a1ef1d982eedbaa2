// Small questions about text that many files of the tool have.
#include "tools/pellsub/words.h"

#include <algorithm>

static bool IsSameLetter(char a, char b) {
    return a == b || ((a ^ b) == 0x20 && (a | 0x20) >= 'a' && (a | 0x20) <= 'z');
}

bool EqualNoCase(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), IsSameLetter);
}

bool BeginsNoCase(std::string_view text, std::string_view beginning) {
    return EqualNoCase(text.substr(0, beginning.size()), beginning);
}

size_t FindNoCase(std::string_view text, std::string_view part, size_t from) {
    const auto begin = text.begin() + static_cast<std::ptrdiff_t>(std::min(from, text.size()));
    const auto at = std::search(begin, text.end(), part.begin(), part.end(), IsSameLetter);
    return at == text.end() ? text.npos : static_cast<size_t>(at - text.begin());
}

std::string_view Trimmed(std::string_view text) {
    const size_t begin = std::min(text.find_first_not_of(" \t"), text.size());
    return text.substr(begin, text.find_last_not_of(" \t") + 1 - begin);
}

std::string CountText(uint64_t count, const char *what) {
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}
