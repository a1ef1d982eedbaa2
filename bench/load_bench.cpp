// The size of the shared object without symbols, and how long it takes to load.   load_bench LIBRARY EMPTY_LIBRARY
#include "bench/harness.h"

#include <dlfcn.h>
#include <filesystem>

static void LoadOnce(const char *pszPath) {
    void *hLibrary = dlopen(pszPath, RTLD_NOW | RTLD_LOCAL);
    BenchExpect(hLibrary != nullptr, "load a library");
    dlclose(hLibrary);
}

int main(int argc, char **argv) {
    BenchExpect(argc == 3, "name two libraries");
    TellGoal("the shared object, stripped", 96, "KiB", static_cast<double>(std::filesystem::file_size(argv[1])) / 1024);
    const auto vecSeconds = BenchMeasure({[&] { LoadOnce(argv[1]); },
                                          [&] {
                                              LoadOnce(argv[2]);
                                          }});
    TellGoal("load and unload the shared object", 3, "x an empty one", BenchRatio(vecSeconds[0], vecSeconds[1]));
    TellTimes("load and unload (limit: an empty shared object)", vecSeconds[0], vecSeconds[1], nullptr);
    return 0;
}
