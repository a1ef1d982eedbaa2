// A mended copy of a file for the plug-in to read, and what its source lines tell.
#pragma once

#include "format/pell_format.h"
#include "tools/pellsub/report.h"
#include "tools/pellsub/source_text.h"

#include <string>
#include <vector>

struct RepairWish {
    bool mend = false;    // what a player trips over
    bool common = false;  // times as the format's convention has them
    bool player = false;  // times as a player takes them, where that was asked for
    int32_t encoding = 0; // code type of the file; 0: identify it
};

struct RepairedFile {
    bool differs = false; // the copy is to be read instead of the file
    std::string bytes;    // the copy
    int32_t encoding = 0; // code type of the copy, where the file's was told
    std::vector<Finding> mended;
};

// Makes the copy as wished. Nothing is different where the file cannot be read, or needs nothing.
void RepairFile(FormatEntry *entry, const std::string &url, const RepairWish &wish, RepairedFile &repaired);

// A line for each thing that was mended; of many alike only the first.
void TellMended(const std::string &name, const std::vector<Finding> &mended);

// Everything that the lines of the source tell, in their order; each says whether it could be mended. Cues whose lines
// can be found again when they are delivered are noted in the source.
std::vector<Finding> LookAtSource(FormatEntry *entry, const std::string &url, int32_t encoding, SourceText &source);
