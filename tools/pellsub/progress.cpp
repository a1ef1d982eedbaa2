// How far the tool is with many files, on a terminal's standard error, and a line about it at the end.
#include "tools/pellsub/progress.h"

#include "tools/pellsub/colour.h"
#include "tools/pellsub/words.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

using Clock = std::chrono::steady_clock;

static constexpr std::chrono::milliseconds kBetween{100}; // two drawings, or the start and the first one
static constexpr size_t kBarWidth = 40;
static constexpr size_t kUsualColumns = 80;

struct Progress {
    size_t files = 0;
    bool bar = false;
    size_t drawn = 0; // characters that stand on the terminal
    Clock::time_point start;
    Clock::time_point last;
};

static Progress g_progress;

void StartProgress(size_t files, bool bar) {
    g_progress = {.files = files, .bar = bar && ErrorScreen().terminal, .start = Clock::now(), .last = Clock::now()};
}

static size_t Columns() {
    struct winsize size = {};
    return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 1 ? size.ws_col : kUsualColumns;
}

void ShowProgress(size_t done) {
    const Clock::time_point now = Clock::now();
    if (!g_progress.bar || now - g_progress.last < kBetween) {
        return;
    }
    g_progress.last = now;
    const std::string count = fmt::format("{} of {} files", done, g_progress.files);
    // A row that is full would begin another, which nobody takes away.
    const size_t columns = Columns() - 1;
    const size_t width = std::min(kBarWidth, columns > count.size() + 3 ? columns - count.size() - 3 : 0);
    const size_t filled = g_progress.files == 0 ? 0 : width * done / g_progress.files;
    const std::string bar = width > 0 ? fmt::format("[{:#<{}}{:-<{}}] ", "", filled, "", width - filled) : "";
    const std::string line = (bar + count).substr(0, columns);
    g_progress.drawn = line.size();
    std::fflush(stdout); // what stands there stays above the bar
    std::fputs(("\r" + line).c_str(), stderr);
}

void HideProgress() {
    if (g_progress.drawn > 0) {
        std::fprintf(stderr, "\r%*s\r", static_cast<int>(g_progress.drawn), "");
        g_progress.drawn = 0;
        g_progress.last = {}; // it comes back with the next file
    }
}

void PutSummary(const Totals &totals) {
    const std::chrono::duration<double> seconds = Clock::now() - g_progress.start;
    const std::string warnings = CountText(totals.warnings, "warning");
    const std::string failed = fmt::format("{} failed", totals.failed);
    const Screen &screen = ErrorScreen();
    HideProgress();
    std::fflush(stdout);
    std::fputs(fmt::format("pellsub: {}, {}, {}, {}, {:.1f} s\n", CountText(totals.files, "file"),
                           CountText(totals.cues, "cue"),
                           totals.warnings > 0 ? Coloured(screen, COLOUR_YELLOW, warnings) : warnings,
                           totals.failed > 0 ? Coloured(screen, COLOUR_RED, failed) : failed, seconds.count())
                   .c_str(),
               stderr);
}
