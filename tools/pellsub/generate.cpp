// What the installation brings beside the tool, made from the definition of its command line.
#include "tools/pellsub/generate.h"

#include "tools/pellsub/exit_codes.h"

#include <cstdio>

static constexpr struct {
    const char *kind;
    std::string (*make)(const CLI::App &app);
} kRows[] = {
    {"man", ManualPage},
    {"bash", BashCompletion},
    {"zsh", ZshCompletion},
    {"fish", FishCompletion},
};

int Generate(const CLI::App &app, const std::string &kind) {
    for (const auto &row : kRows) {
        if (kind == row.kind) {
            std::fputs(row.make(app).c_str(), stdout);
        }
    }
    return EXIT_DONE;
}
