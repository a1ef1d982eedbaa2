// The user's file name to a URL that the plug-in opens as exactly that file.
#pragma once

#include "tools/pellsub/report.h"

#include <cstdint>
#include <optional>
#include <string>

struct FileUrl {
    std::string url;
    int64_t size = 0;
    int fd = -1; // open as long as the URL names it; -1 when the URL is a path
};

// Says what is wrong when the name is not that of a readable file with something in it.
std::optional<Problem> FindFile(const std::string &name, FileUrl &file);

void ReleaseFile(FileUrl &file);

// Three letters after the last point, in either case.
bool HasExtension(const std::string &name, const char *extension);

// The name of the other file of a pair, "movie.sub" for "movie.idx": one that is there in whatever case, or else the
// one in small letters.
std::string CompanionOf(const std::string &name, const std::string &extension, bool &found);
