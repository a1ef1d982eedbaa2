// What the command line says: its commands and options, and the values they take.
#pragma once

#include "tools/pellsub/check_run.h"
#include "tools/pellsub/convert_run.h"
#include "tools/pellsub/file_run.h"
#include "tools/pellsub/render_run.h"
#include "tools/pellsub/timeline_run.h"

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

struct CommandLine {
    RunOptions run;
    RenderRun render;
    ConvertRun convert;
    TimelineRun timeline;
    CheckRun check;
    std::vector<std::string> files; // and directories, with recursive
    bool recursive = false;
    unsigned jobs = 1; // files that are worked on at once
    // As they were given.
    std::string as = "text", to, from, shift, fps, fpsFrom, fpsTo, timing;
    bool noConverter = false;
    std::string generate; // what to make for the installation; only of the hidden command
};

void DefineCommandLine(CLI::App &app, CommandLine &line);

// What the manual says of a command beside its options.
const char *AboutCommand(const std::string &name);

// The texts of the command line to values. What is wrong is reported the way the parser reports its own findings.
void ReadValues(const std::string &command, CommandLine &line);
