#include "tests/test_files.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <unistd.h>

namespace fs = std::filesystem;

// One folder a process, gone with it.
static const std::string &TempRoot() {
    static const std::string s_strRoot = [] {
        const std::string strRoot = fs::temp_directory_path() / ("pell_test_" + std::to_string(getpid()));
        fs::create_directories(strRoot);
        atexit([] {
            std::error_code error;
            fs::remove_all(fs::temp_directory_path() / ("pell_test_" + std::to_string(getpid())), error);
        });
        return strRoot;
    }();
    return s_strRoot;
}

std::string TempFile(const std::string &strName, const std::string &strBytes) {
    static int s_s32Count = 0;
    const std::string strFolder = TempRoot() + "/" + std::to_string(s_s32Count++);
    fs::create_directories(strFolder);
    const std::string strPath = strFolder + "/" + strName;
    std::ofstream(strPath, std::ios::binary) << strBytes;
    return strPath;
}

std::string ReadWholeFile(const std::string &strPath) {
    std::ifstream file(strPath, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::vector<std::string> SampleFiles(const std::string &strExtension) {
    std::vector<std::string> vecPaths;
    for (const auto &entry : fs::recursive_directory_iterator(PELL_SAMPLES_DIR)) {
        if (entry.is_regular_file() && entry.path().extension() == strExtension) {
            vecPaths.push_back(entry.path());
        }
    }
    std::sort(vecPaths.begin(), vecPaths.end());
    return vecPaths;
}

std::string Utf16(const std::string &strText, bool bBigEndian) {
    std::string strOut;
    for (const char ch : strText) {
        strOut += bBigEndian ? std::string{'\0', ch} : std::string{ch, '\0'};
    }
    return strOut;
}
