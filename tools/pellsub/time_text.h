// Milliseconds to text and back: 83500 is 00:01:23.500.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

std::string TimeText(int64_t ms);

// "start --> end"; an end that is not known is written as "unknown".
std::string SpanText(int64_t startMs, std::optional<int64_t> endMs);

// Seconds, mm:ss or h:mm:ss, each with up to three decimals after a point or comma. Nothing when it is no time.
std::optional<int64_t> ParseTime(std::string_view text);
