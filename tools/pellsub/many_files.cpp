// One file after the other, or several at once; what is written comes in the order of the files either way.
//
// Several at once takes processes: the plug-in's stop request, its messages and the converter's notes are one each for
// a process. The files are cut into batches, and each worker is handed one batch after the other. What it writes comes
// through pipes; what cannot be passed on yet, because it is not its turn, is held, up to a bound.
#include "tools/pellsub/many_files.h"

#include "tools/pellsub/exit_codes.h"
#include "tools/pellsub/interrupt.h"
#include "tools/pellsub/progress.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <type_traits>
#include <unistd.h>

static constexpr size_t kMaxBatch = 16;      // files; small ones take less time than handing them out
static constexpr size_t kMaxHeld = 64 << 20; // bytes that wait for their turn
static constexpr int kPipeSize = 1 << 20;

struct Batch {
    size_t first = 0;
    size_t end = 0;
};

// What a worker says when a batch is done.
struct BatchResult {
    int status = EXIT_DONE;
    Totals totals;
};

struct Part {
    std::string out;
    std::string err;
    bool written = false; // some of it, to standard output
    bool done = false;
    BatchResult result;
};

struct Worker {
    pid_t pid = -1; // -1: it is gone
    int talk = -1;  // batches one way, results the other
    int out = -1;
    int err = -1;
    bool busy = false;
    size_t batch = 0; // the one it works on
};

struct Team {
    const ManyFiles &many;
    Output &output;
    size_t *current = nullptr; // shared with the workers, one for each: the file it works on
    std::vector<Batch> batches;
    std::vector<Part> parts;
    std::vector<Worker> workers;
    size_t handedOut = 0; // batches
    size_t passedOn = 0;
    size_t held = 0;
    int worst = EXIT_DONE;
};

// --- one after the other -------------------------------------------------------------------------------------------

static int RunInTurn(const ManyFiles &many, Output &out) {
    int worst = EXIT_DONE;
    const auto &names = many.list.names;
    for (size_t i = 0; i < names.size() && worst < EXIT_BY_SIGNAL; i++) {
        ShowProgress(i);
        worst = std::max(worst, RunFile(many.entry, *many.options, names[i], out));
    }
    return worst;
}

// --- worker --------------------------------------------------------------------------------------------------------

// All of a record, or false when the other side is gone.
template <typename T> static bool Receive(int fd, T &record) {
    static_assert(std::is_trivially_copyable_v<T>);
    return recv(fd, &record, sizeof(T), MSG_WAITALL) == static_cast<ssize_t>(sizeof(T));
}

template <typename T> static bool Send(int fd, const T &record) {
    static_assert(std::is_trivially_copyable_v<T>);
    return send(fd, &record, sizeof(T), MSG_NOSIGNAL) == static_cast<ssize_t>(sizeof(T));
}

static BatchResult RunBatch(const ManyFiles &many, const Batch &batch, size_t &current, Output &out) {
    int worst = EXIT_DONE;
    out.anyFile = false;
    out.totals = {};
    for (current = batch.first; current < batch.end && worst < EXIT_BY_SIGNAL; current++) {
        worst = std::max(worst, RunFile(many.entry, *many.options, many.list.names[current], out));
    }
    std::fflush(stdout);
    return {.status = worst, .totals = out.totals};
}

[[noreturn]] static void Work(const ManyFiles &many, size_t &current, Output out, int talk) {
    StartInterruptWatch();
    std::setvbuf(stdout, nullptr, _IOFBF, BUFSIZ);
    for (Batch batch; Receive(talk, batch);) {
        if (!Send(talk, RunBatch(many, batch, current, out))) {
            break;
        }
    }
    _exit(EXIT_DONE);
}

// --- team ----------------------------------------------------------------------------------------------------------

struct Pipes {
    int talk[2] = {-1, -1};
    int out[2] = {-1, -1};
    int err[2] = {-1, -1};
};

static void CloseAll(std::initializer_list<int> fds) {
    for (const int fd : fds) {
        if (fd >= 0) {
            close(fd);
        }
    }
}

static bool MakePipes(Pipes &pipes) {
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pipes.talk) != 0 || pipe2(pipes.out, O_CLOEXEC) != 0 ||
        pipe2(pipes.err, O_CLOEXEC) != 0) {
        return false;
    }
    fcntl(pipes.out[1], F_SETPIPE_SZ, kPipeSize); // if the system lets it be as large
    fcntl(pipes.out[0], F_SETFL, O_NONBLOCK);
    fcntl(pipes.err[0], F_SETFL, O_NONBLOCK);
    return true;
}

// In the new process. It must not outlive the tool, whatever ends that.
[[noreturn]] static void BecomeWorker(Team &team, const Pipes &pipes, pid_t parent) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent) {
        _exit(EXIT_FAILED);
    }
    for (const Worker &other : team.workers) {
        CloseAll({other.talk, other.out, other.err});
    }
    dup2(pipes.out[1], STDOUT_FILENO);
    dup2(pipes.err[1], STDERR_FILENO);
    CloseAll({pipes.talk[0], pipes.out[0], pipes.out[1], pipes.err[0], pipes.err[1]});
    Work(team.many, team.current[team.workers.size()], team.output, pipes.talk[1]);
}

static bool StartWorker(Team &team) {
    Pipes pipes;
    const pid_t parent = getpid();
    const pid_t pid = MakePipes(pipes) ? fork() : -1;
    if (pid == 0) {
        BecomeWorker(team, pipes, parent);
    }
    CloseAll({pipes.talk[1], pipes.out[1], pipes.err[1]});
    if (pid < 0) {
        CloseAll({pipes.talk[0], pipes.out[0], pipes.err[0]});
        return false;
    }
    team.workers.push_back({.pid = pid, .talk = pipes.talk[0], .out = pipes.out[0], .err = pipes.err[0]});
    return true;
}

static void StartTeam(Team &team) {
    const size_t wanted = std::min<size_t>(team.many.jobs, team.batches.size());
    void *shared = mmap(nullptr, wanted * sizeof(size_t), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (shared == MAP_FAILED) {
        return;
    }
    team.current = static_cast<size_t *>(shared);
    std::fflush(stdout); // or each worker would write it once more
    while (team.workers.size() < wanted && StartWorker(team)) {
    }
}

static void EndTeam(Team &team) {
    for (const Worker &worker : team.workers) {
        CloseAll({worker.talk, worker.out, worker.err});
        if (worker.pid > 0) {
            waitpid(worker.pid, nullptr, 0);
        }
    }
}

// Kin stay in one batch. Where people watch, files come one by one.
static std::vector<Batch> BatchesOf(const ManyFiles &many, bool watched) {
    const FileList &list = many.list;
    const size_t count = list.names.size();
    const size_t size = watched ? 1 : std::clamp<size_t>(count / (many.jobs * size_t{8}), 1, kMaxBatch);
    std::vector<Batch> batches;
    for (size_t first = 0, end = 0; first < count; first = end) {
        end = std::min(first + size, count);
        while (!list.kin.empty() && end < count && list.kin[end] == list.kin[end - 1]) {
            end++;
        }
        batches.push_back({first, end});
    }
    return batches;
}

// No batch is begun any more; the ones handed out are waited for.
static void StopHandingOut(Team &team) {
    team.batches.resize(team.handedOut);
}

static void AddMessage(Team &team, Part &part, const std::string &message) {
    part.err += message;
    team.held += message.size();
}

// The tool goes the way a worker goes: by a signal, or as failed.
static void BuryWorker(Team &team, size_t number) {
    Worker &worker = team.workers[number];
    Part &part = team.parts[worker.batch];
    int status = 0;
    waitpid(worker.pid, &status, 0);
    worker.pid = -1;
    worker.busy = false;
    part.done = true;
    const int signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    if (signal == SIGINT || signal == SIGTERM) {
        part.result.status = EXIT_BY_SIGNAL + signal;
    } else {
        const size_t file = team.current[number];
        part.result.status = EXIT_FAILED;
        part.result.totals = {.files = file - team.batches[worker.batch].first + 1, .failed = 1};
        AddMessage(team, part,
                   fmt::format("pellsub: {}: the process that read it broke off (signal {}); files after it are left "
                               "out; run pellsub without this one, and report it\n",
                               team.many.list.names[file], signal));
    }
    StopHandingOut(team);
}

static void HandOut(Team &team) {
    for (size_t i = 0; i < team.workers.size() && team.handedOut < team.batches.size(); i++) {
        Worker &worker = team.workers[i];
        const bool room = team.held < kMaxHeld || team.handedOut == team.passedOn;
        if (worker.pid > 0 && !worker.busy && room) {
            worker.batch = team.handedOut++;
            worker.busy = true;
            if (!Send(worker.talk, team.batches[worker.batch])) {
                team.current[i] = team.batches[worker.batch].first;
                BuryWorker(team, i);
            }
        }
    }
}

// --- what workers write --------------------------------------------------------------------------------------------

static void Drain(Team &team, int fd, std::string &text) {
    char buffer[65536];
    for (ssize_t count = read(fd, buffer, sizeof(buffer)); count > 0; count = read(fd, buffer, sizeof(buffer))) {
        text.append(buffer, static_cast<size_t>(count));
        team.held += static_cast<size_t>(count);
    }
}

// What a message is about was written before it, so messages are looked for first.
static void TakeText(Team &team, const Worker &worker) {
    Part &part = team.parts[worker.batch];
    Drain(team, worker.err, part.err);
    Drain(team, worker.out, part.out);
}

static void TakeResult(Team &team, size_t number) {
    Worker &worker = team.workers[number];
    Part &part = team.parts[worker.batch];
    const bool alive = Receive(worker.talk, part.result);
    TakeText(team, worker);
    if (alive) {
        part.done = true;
        worker.busy = false;
    } else {
        BuryWorker(team, number);
    }
}

// Waits for results, and for text where there is room for it.
static void WaitForWorkers(Team &team) {
    std::vector<pollfd> polled;
    for (const Worker &worker : team.workers) {
        const bool room = worker.batch == team.passedOn || team.held < kMaxHeld;
        polled.push_back({worker.busy ? worker.talk : -1, POLLIN, 0});
        polled.push_back({worker.busy && room ? worker.out : -1, POLLIN, 0});
        polled.push_back({worker.busy && room ? worker.err : -1, POLLIN, 0});
    }
    poll(polled.data(), polled.size(), -1);
    for (size_t i = 0; i < team.workers.size(); i++) {
        const pollfd *one = &polled[3 * i];
        if (one[0].revents != 0) {
            TakeResult(team, i);
        } else if (one[1].revents != 0 || one[2].revents != 0) {
            TakeText(team, team.workers[i]);
        }
    }
}

static void PassOnText(Team &team, std::string &text, FILE *stream) {
    if (!text.empty()) {
        if (stream == stderr || team.output.terminal) {
            HideProgress();
        }
        std::fwrite(text.data(), 1, text.size(), stream);
        team.held -= text.size();
        text = std::string();
    }
}

static void PassOnPart(Team &team, Part &part) {
    const char *between = team.many.options->writer->between;
    if (!part.out.empty() && !part.written) {
        std::fputs(team.output.anyFile && between != nullptr ? between : "", stdout);
        part.written = true;
    }
    PassOnText(team, part.out, stdout);
    if (!part.err.empty()) {
        std::fflush(stdout);
    }
    PassOnText(team, part.err, stderr);
}

static void AddTotals(Totals &totals, const Totals &more) {
    totals.files += more.files;
    totals.cues += more.cues;
    totals.warnings += more.warnings;
    totals.failed += more.failed;
}

// All that is done in order, and of the next part what there is of it.
static void PassOn(Team &team) {
    while (team.passedOn < team.handedOut) {
        Part &part = team.parts[team.passedOn];
        PassOnPart(team, part);
        if (!part.done) {
            return;
        }
        team.output.anyFile = team.output.anyFile || part.written;
        AddTotals(team.output.totals, part.result.totals);
        team.worst = std::max(team.worst, part.result.status);
        ShowProgress(team.batches[team.passedOn++].end);
        if (team.worst >= EXIT_BY_SIGNAL) {
            StopHandingOut(team);
        }
    }
}

static int RunTeam(Team &team) {
    while (team.passedOn < team.batches.size()) {
        HandOut(team);
        PassOn(team);
        if (team.passedOn < team.batches.size()) {
            WaitForWorkers(team);
            PassOn(team);
        }
    }
    EndTeam(team);
    return team.worst;
}

int RunManyFiles(const ManyFiles &many, Output &out) {
    Team team{.many = many, .output = out};
    if (many.jobs > 1 && many.list.names.size() > 1) {
        team.batches = BatchesOf(many, out.terminal);
        team.parts.resize(team.batches.size());
        StartTeam(team);
    }
    StartInterruptWatch(); // only now: a thread does not come along into a worker
    return team.workers.empty() ? RunInTurn(many, out) : RunTeam(team);
}
