// How the tool explains itself: help that fits a screen, and what to do about a wrong command line.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

// Gives the tool and its commands their help.
void DefineHelp(CLI::App &app);

// All that a user may give.
std::vector<const CLI::App *> VisibleCommands(const CLI::App &app);

// "pellsub info [OPTION]... FILE..."
std::string UsageLine(const CLI::App &app);

// The values an option takes, when it takes only some.
std::vector<std::string> ChoicesOf(const CLI::Option &option);

// A choice among these words.
CLI::Validator OneOf(const std::vector<std::string> &choices);

bool TakesValue(const CLI::Option &option);

// "-o, --output OUT"
std::string OptionText(const CLI::Option &option);

// What is wrong with these arguments, and the nearest that is right. The error is the parser's.
std::string ExplainError(const CLI::App &app, const std::vector<std::string> &arguments, const CLI::ParseError &error);
