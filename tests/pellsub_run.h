// Runs the built tool, in a directory of its own, and takes what a user sees: standard output, standard error, exit
// status.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <sys/types.h>
#include <vector>

using Json = nlohmann::ordered_json;
using Strings = std::vector<std::string>;

struct Child {
    pid_t pid = -1;
    int out = -1;
    int err = -1;
};

struct Result {
    int status = -1; // exit status; 1000 + n when signal n ended the tool
    std::string out;
    std::string err;
};

Strings Split(const std::string &text, char separator);

// Starts the tool in the directory with these descriptors as standard output and standard error.
pid_t Spawn(const std::string &directory, const Strings &arguments, const Strings &variables, int out, int err);
Child Start(const std::string &directory, const Strings &arguments, const Strings &variables = {});

// Takes what is there; false at the end.
bool Take(int fd, std::string &text);
int WaitFor(pid_t pid);
Result Finish(const Child &child);
Result RunTool(const std::string &directory, const Strings &arguments, const Strings &variables = {});

std::string ReadAll(const std::filesystem::path &path);

// Each character with so many zeros after it.
std::string Wide(const std::string &ascii, size_t zeros);

// A directory of its own for every test, gone afterwards.
class Pellsub : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;
    void Write(const std::string &name, const std::string &bytes);
    Result RunHere(const Strings &arguments, const Strings &variables = {});

    std::string directory;
};
