// VobSub pairs made of small drawings.
#include "tests/vobsub_files.h"

#include <algorithm>
#include <cstdio>

static std::string Big16(size_t value) {
    return {static_cast<char>(value >> 8), static_cast<char>(value)};
}

// Two numbers of 12 bits.
static std::string Pair12(size_t first, size_t second) {
    return {static_cast<char>(first >> 4), static_cast<char>(first << 4 | second >> 8), static_cast<char>(second)};
}

// Every other row, each pixel as a run of one in four bits, each row to a whole byte.
static std::string Field(const Drawing &drawing, size_t first) {
    std::string bytes;
    for (size_t row = first; row < drawing.size(); row += 2) {
        std::string pixels = drawing[row] + (drawing[row].size() % 2 != 0 ? "0" : "");
        for (size_t i = 0; i < pixels.size(); i += 2) {
            bytes += static_cast<char>((4 | (pixels[i] - '0')) << 4 | (4 | (pixels[i + 1] - '0')));
        }
    }
    return bytes;
}

std::string DvdUnit(const UnitParts &parts) {
    const auto x = static_cast<size_t>(parts.x);
    const auto y = static_cast<size_t>(parts.y);
    const std::string even = Field(parts.drawing, 0);
    const std::string odd = Field(parts.drawing, 1);
    const size_t control = 4 + even.size() + odd.size();
    std::string commands = Big16(0) + Big16(control) + "\x01";
    commands += "\x03" + Big16(parts.colours) + "\x04" + Big16(parts.contrast);
    commands += "\x05" + Pair12(x, x + parts.drawing[0].size() - 1) + Pair12(y, y + parts.drawing.size() - 1);
    commands += "\x06" + Big16(4) + Big16(4 + even.size()) + "\xFF";
    return Big16(control + commands.size()) + Big16(control) + even + odd + commands;
}

std::string DvdPacks(const std::string &unit) {
    static constexpr size_t kRoom = 2048 - 29;
    std::string packs;
    for (size_t done = 0; done < unit.size(); done += kRoom) {
        const std::string share = unit.substr(done, kRoom);
        packs += std::string("\0\0\1\xBA", 4) + std::string(10, '\x44') + std::string("\0\0\1\xBD", 4);
        packs += Big16(share.size() + 9) + "\x81\x80\x05" + std::string(5, '\x21') + "\x20" + share;
        packs.resize((packs.size() + 2047) / 2048 * 2048, '\xFF');
    }
    return packs;
}

std::string TimestampLine(int ms, size_t position) {
    char line[64];
    std::snprintf(line, sizeof(line), "timestamp: %02d:%02d:%02d:%03d, filepos: %09zx\n", ms / 3600000, ms / 60000 % 60,
                  ms / 1000 % 60, ms % 1000, position);
    return line;
}
