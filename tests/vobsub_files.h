// VobSub pairs made of small drawings.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

using Drawing = std::vector<std::string>; // rows of '0' to '3'

struct UnitParts {
    Drawing drawing;
    int x = 0;
    int y = 0;
    uint16_t colours = 0x3210;  // for the values 3 to 0 the number of a colour in the palette
    uint16_t contrast = 0xFFF0; // the same for their opacity
};

std::string DvdUnit(const UnitParts &parts);

// The unit in as many packs of 2048 bytes as it needs.
std::string DvdPacks(const std::string &unit);

// "timestamp: 00:00:01:000, filepos: 000000800" and a line end.
std::string TimestampLine(int ms, size_t position);
