// Runs the built tool, in a directory of its own, and takes what a user sees: standard output, standard error, exit
// status.
#include "tests/pellsub_run.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <poll.h>
#include <spawn.h>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

Strings Split(const std::string &text, char separator) {
    Strings parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, separator);) {
        parts.push_back(part);
    }
    return parts;
}

// The emulator is a list of words, split at commas or semicolons; empty where the tool runs by itself.
static Strings CommandFor(const Strings &arguments) {
    std::string words = PELL_TEST_EMULATOR;
    std::replace(words.begin(), words.end(), ';', ',');
    Strings command = Split(words, ',');
    command.push_back(PELLSUB_PATH);
    command.insert(command.end(), arguments.begin(), arguments.end());
    return command;
}

static std::vector<char *> Pointers(Strings &strings) {
    std::vector<char *> pointers;
    for (std::string &string : strings) {
        pointers.push_back(string.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

// Each name once: which of two would count is not the same under emulation.
static Strings Environment(const Strings &added) {
    Strings environment = added;
    for (char **variable = environ; *variable != nullptr; variable++) {
        const std::string inherited = *variable;
        const std::string name = inherited.substr(0, inherited.find('=') + 1);
        const bool replaced = std::any_of(added.begin(), added.end(), [&](const std::string &other) {
            return other.compare(0, name.size(), name) == 0;
        });
        if (!replaced && inherited.compare(0, 5, "PELL_") != 0) {
            environment.push_back(inherited);
        }
    }
    return environment;
}

pid_t Spawn(const std::string &directory, const Strings &arguments, const Strings &variables, int out, int err) {
    Strings command = CommandFor(arguments);
    Strings environment = Environment(variables);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addchdir_np(&actions, directory.c_str());
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, out, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, err, STDERR_FILENO);
    pid_t pid = -1;
    const int error = posix_spawnp(&pid, command.front().c_str(), &actions, nullptr, Pointers(command).data(),
                                   Pointers(environment).data());
    posix_spawn_file_actions_destroy(&actions);
    EXPECT_EQ(error, 0) << command.front();
    return pid;
}

Child Start(const std::string &directory, const Strings &arguments, const Strings &variables) {
    int out[2] = {-1, -1};
    int err[2] = {-1, -1};
    EXPECT_EQ(pipe2(out, O_CLOEXEC), 0);
    EXPECT_EQ(pipe2(err, O_CLOEXEC), 0);
    const Child child{Spawn(directory, arguments, variables, out[1], err[1]), out[0], err[0]};
    close(out[1]);
    close(err[1]);
    return child;
}

bool Take(int fd, std::string &text) {
    char buffer[65536];
    const ssize_t count = read(fd, buffer, sizeof(buffer));
    text.append(buffer, count > 0 ? static_cast<size_t>(count) : 0);
    return count > 0;
}

int WaitFor(pid_t pid) {
    int status = 0;
    EXPECT_EQ(waitpid(pid, &status, 0), pid);
    return WIFSIGNALED(status) ? 1000 + WTERMSIG(status) : WEXITSTATUS(status);
}

Result Finish(const Child &child) {
    Result result;
    pollfd polled[2] = {{child.out, POLLIN, 0}, {child.err, POLLIN, 0}};
    std::string *texts[2] = {&result.out, &result.err};
    while (polled[0].fd >= 0 || polled[1].fd >= 0) {
        poll(polled, 2, -1);
        for (int i = 0; i < 2; i++) {
            if (polled[i].fd >= 0 && polled[i].revents != 0 && !Take(polled[i].fd, *texts[i])) {
                close(polled[i].fd);
                polled[i].fd = -1;
            }
        }
    }
    result.status = WaitFor(child.pid);
    return result;
}

Result RunTool(const std::string &directory, const Strings &arguments, const Strings &variables) {
    return Finish(Start(directory, arguments, variables));
}

std::string ReadAll(const fs::path &path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

std::string Wide(const std::string &ascii, size_t zeros) {
    std::string wide;
    for (char ch : ascii) {
        wide += ch + std::string(zeros, '\0');
    }
    return wide;
}

void Pellsub::SetUp() {
    std::string name = (fs::temp_directory_path() / "pellsub_test.XXXXXX").string();
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    directory = name;
}

void Pellsub::TearDown() {
    std::error_code ignored;
    fs::remove_all(directory, ignored);
}

void Pellsub::Write(const std::string &name, const std::string &bytes) {
    fs::create_directories((fs::path(directory) / name).parent_path());
    std::ofstream(fs::path(directory) / name, std::ios::binary) << bytes;
}

Result Pellsub::RunHere(const Strings &arguments, const Strings &variables) {
    return RunTool(directory, arguments, variables);
}
