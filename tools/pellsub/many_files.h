// One file after the other, or several at once; what is written comes in the order of the files either way.
#pragma once

#include "tools/pellsub/file_list.h"
#include "tools/pellsub/file_run.h"

struct ManyFiles {
    FormatEntry *entry = nullptr;
    const RunOptions *options = nullptr;
    FileList list;
    unsigned jobs = 1;
};

// Gives the worst exit status, and counts in out.totals.
int RunManyFiles(const ManyFiles &many, Output &out);
