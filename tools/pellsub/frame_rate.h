// Frame rates as the plug-in takes them from a host: whole frames per second in the upper 16 bits and digits of the
// fraction in the lower ones.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

struct FrameRate {
    uint32_t packed = 0;
    double value = 0;  // what the plug-in makes of it
    double asked = 0;  // the number as it was written
    bool exact = true; // both are the same
};

// A decimal number from 1 to 1000 to the nearest rate that can be passed. Nothing when it is none.
std::optional<FrameRate> ParseFrameRate(std::string_view text);
