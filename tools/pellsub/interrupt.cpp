// SIGINT and SIGTERM to a stop request for the index build under way. A thread of its own waits for them, because the
// plug-in may not be called from a signal handler.
#include "tools/pellsub/interrupt.h"

#include <csignal>
#include <mutex>
#include <thread>

struct StoppableBuild {
    std::mutex lock;
    const FormatEntry *entry = nullptr; // null: no build under way
    void *handle = nullptr;
    int signal = 0;
};

static StoppableBuild g_build;

// A second signal during one build ends the tool: the first one has been passed on and did not help.
static bool StopBuild(int signal) {
    const std::lock_guard<std::mutex> guard(g_build.lock);
    if (g_build.entry == nullptr || g_build.signal != 0) {
        return false;
    }
    g_build.signal = signal;
    g_build.entry->fmt_invoke(g_build.handle, INVOKE_STOP, nullptr);
    return true;
}

static void DieBySignal(int signal) {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, signal);
    std::signal(signal, SIG_DFL);
    std::raise(signal);
    pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

static void WaitForSignals(sigset_t set) {
    for (;;) {
        int signal = 0;
        if (sigwait(&set, &signal) == 0 && !StopBuild(signal)) {
            DieBySignal(signal);
        }
    }
}

// A signal that the tool's parent chose to ignore (nohup, a script's background job) stays ignored.
static void AddUnlessIgnored(sigset_t *set, int signal) {
    struct sigaction action = {};
    if (sigaction(signal, nullptr, &action) == 0 && action.sa_handler != SIG_IGN) {
        sigaddset(set, signal);
    }
}

void StartInterruptWatch() {
    sigset_t set;
    sigemptyset(&set);
    AddUnlessIgnored(&set, SIGINT);
    AddUnlessIgnored(&set, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    std::thread(WaitForSignals, set).detach();
}

void BeginStoppable(const FormatEntry *entry, void *handle) {
    const std::lock_guard<std::mutex> guard(g_build.lock);
    g_build.entry = entry;
    g_build.handle = handle;
    g_build.signal = 0;
}

int EndStoppable() {
    const std::lock_guard<std::mutex> guard(g_build.lock);
    g_build.entry = nullptr;
    g_build.handle = nullptr;
    return g_build.signal;
}
