// How far the tool is with many files, on a terminal's standard error, and a line about it at the end.
#include "tools/pellsub/progress.h"

#include "tools/pellsub/colour.h"
#include "tools/pellsub/words.h"

#include <chrono>
#include <cstdio>
#include <fmt/format.h>

using Clock = std::chrono::steady_clock;

static constexpr std::chrono::milliseconds kBetween{100}; // two drawings, or the start and the first one
static constexpr size_t kBarWidth = 40;

struct Progress {
    size_t files = 0;
    bool bar = false;
    bool drawn = false;
    Clock::time_point start;
    Clock::time_point last;
};

static Progress g_progress;

void StartProgress(size_t files, bool bar) {
    g_progress = {.files = files, .bar = bar && ErrorScreen().terminal, .start = Clock::now(), .last = Clock::now()};
}

void ShowProgress(size_t done) {
    const Clock::time_point now = Clock::now();
    if (!g_progress.bar || now - g_progress.last < kBetween) {
        return;
    }
    g_progress.last = now;
    g_progress.drawn = true;
    const size_t filled = g_progress.files == 0 ? 0 : kBarWidth * done / g_progress.files;
    std::fflush(stdout); // what stands there stays above the bar
    std::fputs(
        fmt::format("\r[{:#<{}}{:-<{}}] {} of {} files", "", filled, "", kBarWidth - filled, done, g_progress.files)
            .c_str(),
        stderr);
}

void HideProgress() {
    if (g_progress.drawn) {
        g_progress.drawn = false;
        g_progress.last = {}; // it comes back with the next file
        std::fprintf(stderr, "\r%*s\r", 78, "");
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
