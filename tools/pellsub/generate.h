// What the installation brings beside the tool, made from the definition of its command line: the manual, and what
// shells need to complete commands and options.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

// The kind is "man", "bash", "zsh" or "fish". Writes to standard output and gives the exit status.
int Generate(const CLI::App &app, const std::string &kind);

std::string ManualPage(const CLI::App &app);
std::string BashCompletion(const CLI::App &app);
std::string ZshCompletion(const CLI::App &app);
std::string FishCompletion(const CLI::App &app);
