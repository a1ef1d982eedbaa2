// Files that are there whole, or not at all.
#include "tools/pellsub/safe_file.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

static constexpr size_t kMaxLanguage = 32; // characters of it in a file name

std::optional<std::string> MakeDirectory(const std::string &directory) {
    std::error_code error;
    std::filesystem::create_directories(directory, error);
    std::error_code ignored;
    if (std::filesystem::is_directory(directory, ignored)) {
        return std::nullopt;
    }
    return fmt::format("{}: is no directory and cannot be made one: {}", directory, error.message());
}

std::string FileKey(const std::string &path) {
    const std::filesystem::path given(path);
    const std::filesystem::path parent = given.has_parent_path() ? given.parent_path() : ".";
    std::error_code error;
    const auto directory = std::filesystem::weakly_canonical(parent, error);
    return error ? path : (directory / given.filename()).string();
}

std::string FileNamePart(std::string_view language) {
    std::string part;
    for (const char ch : language.substr(0, kMaxLanguage)) {
        const auto byte = static_cast<unsigned char>(ch);
        if ((byte < 0x80 && std::isalnum(byte) != 0) || (ch == '-' && !part.empty())) {
            part += static_cast<char>(std::tolower(byte));
        }
    }
    return part;
}

static Problem NotWritten(const std::string &path, int error) {
    return {"not_written", fmt::format("{} cannot be written: {}", path, std::strerror(error))};
}

static Problem FileExists(const std::string &path) {
    return {"file_exists", fmt::format("{} is there already and stays as it is; --overwrite replaces it", path)};
}

std::optional<Problem> FileInTheWay(const std::string &path, bool overwrite) {
    struct stat status = {};
    if (lstat(path.c_str(), &status) != 0) {
        return std::nullopt;
    }
    // A link to a file is replaced like a file; one that leads to a device or a pipe is refused as these are.
    if (S_ISLNK(status.st_mode)) {
        struct stat target = {};
        status = stat(path.c_str(), &target) == 0 && !S_ISDIR(target.st_mode) ? target : status;
    }
    if (!S_ISREG(status.st_mode) && !S_ISLNK(status.st_mode)) {
        const char *what = S_ISDIR(status.st_mode) ? "a directory" : "no ordinary file";
        return Problem{"not_written", fmt::format("{} cannot be written: it is {}", path, what)};
    }
    return overwrite ? std::nullopt : std::optional(FileExists(path));
}

// In the same directory, as a file system has to be the same for a rename.
static std::string PlaceBeside(const std::string &path) {
    const size_t slash = path.rfind('/');
    const std::string directory = slash == std::string::npos ? "" : path.substr(0, slash + 1);
    return fmt::format("{}.pellsub-{}.part", directory, getpid());
}

static bool WriteAll(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = write(fd, bytes.data(), bytes.size());
        if (count < 0 && errno != EINTR) {
            return false;
        }
        bytes.remove_prefix(static_cast<size_t>(std::max<ssize_t>(count, 0)));
    }
    return true;
}

// The permissions of a file that is about to be replaced.
static std::optional<mode_t> ModeOf(const std::string &path) {
    struct stat status = {};
    const bool file = lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
    return file ? std::optional<mode_t>(status.st_mode & 0777) : std::nullopt;
}

// 0, or an error number.
static int WriteNewFile(const std::string &path, std::string_view bytes, std::optional<mode_t> mode) {
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode.value_or(0666));
    if (fd < 0) {
        return errno;
    }
    if (mode && fchmod(fd, *mode) != 0) { // not every file system has permissions
        errno = 0;
    }
    const int error = WriteAll(fd, bytes) ? 0 : errno;
    const int closeError = close(fd) == 0 ? 0 : errno;
    return error != 0 ? error : closeError;
}

// Not every file system knows how to rename without replacing; a second name does the same there.
static bool MoveTo(const std::string &from, const std::string &to, bool overwrite) {
    if (overwrite) {
        return std::rename(from.c_str(), to.c_str()) == 0;
    }
    if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) {
        return true;
    }
    return (errno == EINVAL || errno == ENOSYS) && link(from.c_str(), to.c_str()) == 0 && unlink(from.c_str()) == 0;
}

std::optional<Problem> WriteFileSafely(const std::string &path, std::string_view bytes, bool overwrite) {
    if (auto problem = FileInTheWay(path, overwrite)) {
        return problem;
    }
    const std::string beside = PlaceBeside(path);
    unlink(beside.c_str()); // of a run that was killed
    int error = WriteNewFile(beside, bytes, ModeOf(path));
    if (error == 0 && !MoveTo(beside, path, overwrite)) {
        error = errno;
    }
    if (error == 0) {
        return std::nullopt;
    }
    unlink(beside.c_str());
    return error == EEXIST ? FileExists(path) : NotWritten(path, error);
}
