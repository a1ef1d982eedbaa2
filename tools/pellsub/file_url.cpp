// The user's file name to a URL that the plug-in opens as exactly that file.
#include "tools/pellsub/file_url.h"

#include "tools/pellsub/words.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

// A descriptor above the three standard ones: the plug-in takes 0 for none. Not blocking, so that a pipe without a
// writer is refused below and not waited for.
static int OpenAboveStandard(const std::string &name) {
    const int fd = open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0 || fd > STDERR_FILENO) {
        return fd;
    }
    const int high = fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    close(fd);
    return high;
}

static Problem OpenProblem(const std::string &name, int error) {
    if (error == ENOENT || error == ENOTDIR) {
        const bool maybeUrl = name.find(':') != std::string::npos;
        return {"not_found", maybeUrl ? "no such file (a URL is taken with --url)" : "no such file"};
    }
    if (error == EACCES || error == EPERM) {
        return {"permission_denied", "you are not allowed to read it; see its permissions (ls -l)"};
    }
    return {"open_failed", fmt::format("cannot be opened: {}", std::strerror(error))};
}

static std::optional<Problem> ContentProblem(const struct stat &status) {
    if (S_ISDIR(status.st_mode)) {
        return Problem{"is_directory",
                       "is a directory; name the files in it, or have info, dump, convert or check take them "
                       "all with -r"};
    }
    if (!S_ISREG(status.st_mode)) {
        return Problem{"not_a_regular_file", "is not a regular file; save its content to one first"};
    }
    if (status.st_size == 0) {
        return Problem{"empty_file", "the file is empty"};
    }
    return std::nullopt;
}

// Fields of a URL that a mere file name must not be able to set.
static bool HoldsUrlFields(const std::string &name) {
    return name.find("::offset=") != std::string::npos || name.find("::subfd=") != std::string::npos;
}

// The plug-in gets the open file; the path is only looked at for its extension and language. The extension comes once
// more at the end, where formats are told apart; the descriptor's number is read up to it.
static std::string DescriptorUrl(const std::string &name, const FileUrl &file) {
    std::string base = name.substr(name.rfind('/') + 1);
    const size_t dot = base.rfind('.');
    const std::string extension = dot == std::string::npos ? "" : base.substr(dot);
    std::replace(base.begin(), base.end(), ':', '_');
    return fmt::format("./{}::offset=0::length={}::fd={}{}", base, file.size, file.fd, extension);
}

// A scheme is letters up to a colon; a path that begins with "/" or "." has none.
static std::string PathUrl(const std::string &name) {
    return name.front() == '/' || name.front() == '.' ? name : "./" + name;
}

std::optional<Problem> FindFile(const std::string &name, FileUrl &file) {
    if (HoldsUrlFields(name) && HasExtension(name, "idx")) {
        return Problem{
            "name_not_usable",
            "with \"::offset=\" or \"::subfd=\" in its name, the .sub file beside it is not found; rename the two"};
    }
    file.fd = OpenAboveStandard(name);
    if (file.fd < 0) {
        return OpenProblem(name, errno);
    }
    struct stat status = {};
    auto problem = fstat(file.fd, &status) != 0 ? OpenProblem(name, errno) : ContentProblem(status);
    file.size = status.st_size;
    file.url = HoldsUrlFields(name) ? DescriptorUrl(name, file) : PathUrl(name);
    if (problem || !HoldsUrlFields(name)) {
        ReleaseFile(file);
    }
    return problem;
}

void ReleaseFile(FileUrl &file) {
    if (file.fd >= 0) {
        close(file.fd);
        file.fd = -1;
    }
}

bool HasExtension(const std::string &name, const char *extension) {
    return name.size() > 3 && name[name.size() - 4] == '.' && EqualNoCase(name.substr(name.size() - 3), extension);
}

std::string CompanionOf(const std::string &name, const std::string &extension, bool &found) {
    const std::string stem = name.substr(0, name.size() - 3);
    for (unsigned capitals = 0; capitals < 8; capitals++) {
        std::string written = extension;
        for (size_t i = 0; i < 3; i++) {
            written[i] = (capitals >> i & 1u) != 0 ? static_cast<char>(written[i] - 'a' + 'A') : written[i];
        }
        found = access((stem + written).c_str(), F_OK) == 0;
        if (found) {
            return stem + written;
        }
    }
    return stem + extension;
}
