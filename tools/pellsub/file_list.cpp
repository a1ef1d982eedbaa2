// The files that the command line means: the ones it names, and those below the directories it names.
#include "tools/pellsub/file_list.h"

#include "tools/pellsub/file_url.h"
#include "tools/pellsub/plugin_host.h"
#include "tools/pellsub/safe_file.h"
#include "tools/pellsub/sub_head.h"

#include <algorithm>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <map>
#include <numeric>
#include <unordered_map>

namespace fs = std::filesystem;

struct Walk {
    FormatEntry *entry = nullptr;
    std::map<std::string, bool> taken = {}; // by extension
    FileList &list;
};

// The plug-in goes by the extension alone, so it is asked once for each.
static bool IsTaken(Walk &walk, const fs::path &path) {
    const std::string extension = path.extension().string();
    const auto known = walk.taken.find(extension);
    if (known != walk.taken.end()) {
        return known->second;
    }
    const bool taken = !extension.empty() && PluginTakes(walk.entry, "./x" + extension);
    walk.taken.emplace(extension, taken);
    return taken;
}

// Its pictures come with the index.
static bool BelongsToAnIndex(const std::string &name) {
    bool found = false;
    if (HasExtension(name, "sub")) {
        CompanionOf(name, "idx", found);
    }
    if (!found) {
        return false;
    }
    std::string head(4, '\0');
    std::ifstream(name, std::ios::binary).read(head.data(), static_cast<std::streamsize>(head.size()));
    return BeginsWithPack(head);
}

static void WalkDirectory(Walk &walk, const fs::path &directory) {
    std::error_code error;
    fs::directory_iterator entries(directory, error);
    if (error) {
        walk.list.names.push_back(directory.string()); // opening it as a file tells what is wrong
        return;
    }
    std::vector<fs::directory_entry> sorted;
    while (entries != fs::directory_iterator()) {
        sorted.push_back(*entries);
        if (entries.increment(error); error) {
            Complain(directory.string(), fmt::format("cannot be read to its end: {}", error.message()));
            walk.list.incomplete = true;
            break;
        }
    }
    std::sort(sorted.begin(), sorted.end());
    for (const fs::directory_entry &entry : sorted) {
        if (entry.is_directory(error)) {
            if (!entry.is_symlink(error)) {
                WalkDirectory(walk, entry.path());
            }
        } else if (IsTaken(walk, entry.path()) && !BelongsToAnIndex(entry.path().string())) {
            walk.list.names.push_back(entry.path().string());
        }
    }
}

FileList ListFiles(FormatEntry *entry, const std::vector<std::string> &named, bool recursive) {
    FileList list;
    Walk walk{.entry = entry, .list = list};
    for (const std::string &name : named) {
        std::error_code error;
        if (!recursive || !fs::is_directory(name, error)) {
            list.names.push_back(name);
            continue;
        }
        const size_t before = list.names.size();
        WalkDirectory(walk, name);
        if (list.names.size() == before) {
            list.empty.push_back(name);
        }
    }
    return list;
}

// --- kin -----------------------------------------------------------------------------------------------------------

// What the names of converted files begin with.
static std::string StemOf(const std::string &name, const std::string &directory) {
    const fs::path path = FileKey(name);
    const fs::path stem = path.stem();
    return directory.empty() ? (path.parent_path() / stem).string() : stem.string();
}

// The shortest stem of all that this one goes on from: "movie" for "movie.en".
static size_t RootOf(const std::string &stem, const std::unordered_map<std::string, size_t> &firstWith) {
    const size_t base = stem.rfind('/') + 1; // 0 where there is no slash
    for (size_t dot = stem.find('.', base); dot != std::string::npos; dot = stem.find('.', dot + 1)) {
        const auto found = firstWith.find(stem.substr(0, dot));
        if (found != firstWith.end()) {
            return found->second;
        }
    }
    return firstWith.at(stem);
}

void KeepKinTogether(FileList &list, const std::string &directory) {
    std::vector<std::string> stems;
    std::unordered_map<std::string, size_t> firstWith;
    for (const std::string &name : list.names) {
        stems.push_back(StemOf(name, directory));
        firstWith.emplace(stems.back(), stems.size() - 1);
    }
    std::vector<size_t> roots;
    std::vector<size_t> firstOf(stems.size(), stems.size()); // by root: where its first file stands
    for (size_t i = 0; i < stems.size(); i++) {
        roots.push_back(RootOf(stems[i], firstWith));
        firstOf[roots[i]] = std::min(firstOf[roots[i]], i);
    }
    std::vector<size_t> order(stems.size());
    std::iota(order.begin(), order.end(), size_t{0});
    std::stable_sort(order.begin(), order.end(),
                     [&](size_t a, size_t b) { return firstOf[roots[a]] < firstOf[roots[b]]; });
    std::vector<std::string> names;
    for (const size_t i : order) {
        names.push_back(list.names[i]);
        list.kin.push_back(roots[i]);
    }
    list.names = names;
}
