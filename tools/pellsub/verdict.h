// What was found out about a file to the problems and warnings that a person can do something about.
#pragma once

#include "tools/pellsub/report.h"

#include <cstdint>
#include <string>

// What the user wants, as far as it decides what is worth a warning.
struct Asked {
    bool converter;
    bool json;     // the report can only hold UTF-8
    bool encoding; // the user named it
};

// What reading the cues of a file brought to light, in cues.
struct Findings {
    uint64_t cues = 0;
    uint64_t failedReads = 0;
    uint64_t notUtf8 = 0;
    uint64_t replaced = 0;
    uint64_t incomplete = 0;
};

Problem UnknownFormat(bool url, const std::string &taken);
Problem NotOpened();
Problem IsPacketFile(const std::string &index, bool found);
Problem NoPacketFile(const std::string &packets);
Problem NoPictures(const FileFacts &facts);
Problem OnlyPictures(const FileFacts &facts);
Problem RateNotExact(const FileFacts &facts);
Problem NotIndexed(const FileFacts &facts);
Problem Interrupted(const Findings &findings);

// Sets the error of a file that was read to its end, or adds its warnings.
void Judge(const Asked &asked, const Findings &findings, FileFacts &facts);
