// A subtitle file's lines as they stand in it, in the encoding that the converter finds.
#pragma once

#include "format/pell_format.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct SourceLine {
    size_t offset = 0;      // in the file
    std::string_view bytes; // without the line end
    std::string text;       // the same bytes; of wide characters UTF-8
    std::string_view end;   // "\n", "\r\n", "\r\r\n", "\r", or nothing behind the last line
};

// A cue as its time line in the source has it.
struct SourceCue {
    size_t line = 0;              // from 1
    std::optional<int64_t> start; // nothing: it follows from those above
    std::optional<int64_t> end;
};

struct SourceText {
    SourceText() = default;
    SourceText(const SourceText &) = delete; // its lines show its bytes
    SourceText &operator=(const SourceText &) = delete;

    std::string bytes;
    std::string_view mark; // the byte-order marks in front
    int32_t codeType = 0;  // 0: not known
    size_t width = 1;      // of a character, of the wide ones
    std::vector<SourceLine> lines;
    std::vector<SourceCue> cues; // that should be delivered, from these lines
    bool frames = false;         // times of these are frames, not milliseconds
};

// Reads the file through the plug-in's protocol. A code type other than 0 is taken as told. A file that cannot
// be read has no lines. False when it is larger than a subtitle file can reasonably be.
bool ReadSource(FormatEntry *entry, const std::string &url, int32_t codeType, SourceText &source);

// Text of one code type in another; what cannot be converted is replaced.
std::string Converted(std::string_view text, int32_t from, int32_t to);

// Whether the line has bytes that are no characters.
bool IsUndecodable(const SourceText &source, const SourceLine &line);

// The number of the line that holds this place, from 1.
size_t LineAt(const SourceText &source, int64_t offset);
