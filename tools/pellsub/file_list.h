// The files that the command line means: the ones it names, and those below the directories it names.
#pragma once

#include "format/pell_format.h"

#include <string>
#include <vector>

struct FileList {
    std::vector<std::string> names;
    std::vector<size_t> kin;        // one for each name; neighbours with the same one belong together. Empty: none do
    std::vector<std::string> empty; // directories without a subtitle file
    bool incomplete = false;        // a directory could not be read to its end
};

// With recursive, a directory stands for the files below it that the plug-in takes, sorted by name. Links to
// directories are not followed, so that no file comes twice and no walk goes round in circles.
FileList ListFiles(FormatEntry *entry, const std::vector<std::string> &named, bool recursive);

// Puts files together whose converted files could get the same name, "movie.smi" and "movie.en.srt". They are worked on
// by one process, one after the other. The directory is where converted files go; empty: beside their sources.
void KeepKinTogether(FileList &list, const std::string &directory);
