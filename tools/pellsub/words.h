// Small questions about text that many files of the tool have. Letters are those of ASCII, whatever the locale.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

bool EqualNoCase(std::string_view a, std::string_view b);

bool BeginsNoCase(std::string_view text, std::string_view beginning);

// Where the second begins in the first, from this place on; npos: nowhere.
size_t FindNoCase(std::string_view text, std::string_view part, size_t from = 0);

// Without the blanks and tabs around it.
std::string_view Trimmed(std::string_view text);

// "1 cue", "2 cues"
std::string CountText(uint64_t count, const char *what);
