#include "apps/dirsnapshot/OwnProcess.h"

#include "apps/dirsnapshot/looking.h"
#include "apps/dirsnapshot/trees.h"

#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <new>
#include <poll.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace dirsnapshot_tool {

namespace {

// How often it is looked whether answers came.
constexpr int kLookMilliseconds = 50;

constexpr int kFailed = 200;

} // namespace

// When a thread of the child was last seen to go on.
struct OwnProcess::Watched {
    uint64_t answers = 0;
    Clock::time_point since;
};

OwnProcess::OwnProcess(double timeout)
    : _timeout(std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(timeout))) {
    void* memory =
        mmap(nullptr, sizeof(snapshot::Asking), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory != MAP_FAILED) _asking = new (memory) snapshot::Asking;
}

OwnProcess::~OwnProcess() {
    if (_asking != nullptr) munmap(_asking, sizeof(snapshot::Asking));
}

void OwnProcess::runChild(const std::function<int(snapshot::Asking& asking)>& work,
                          std::initializer_list<int> descriptors, int said) const {
    dup2(said, STDOUT_FILENO);
    dup2(said, STDERR_FILENO);
    const int nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (nothing >= 0) dup2(nothing, STDIN_FILENO);
    std::vector<int> kept(descriptors);
    std::ranges::sort(kept);
    unsigned from = STDERR_FILENO + 1;
    for (const int each : kept) {
        if (static_cast<unsigned>(each) > from) close_range(from, static_cast<unsigned>(each) - 1, 0);
        from = static_cast<unsigned>(each) + 1;
    }
    close_range(from, ~0U, 0);
    int result = kFailed;
    try {
        result = work(*_asking);
    } catch (const std::exception& error) {
        complain("failed", error.what());
    }
    _exit(result); // what the parent has in its buffers is the parent's
}

// False when there is nothing more to come.
bool OwnProcess::passOn(int from) const {
    std::array<char, 4096> piece;
    const ssize_t got = read(from, piece.data(), piece.size());
    if (got < 0) return errno == EINTR || errno == EAGAIN;
    fwrite(piece.data(), 1, static_cast<size_t>(got), stderr);
    return got > 0;
}

int OwnProcess::giveUp(const char* directory, int child) const {
    kill(child, SIGKILL);
    if (looking().showsProgress) fputs("\r\033[K", stderr);
    const double seconds = std::chrono::duration<double>(_timeout).count();
    std::array<char, 64> what;
    snprintf(what.data(), what.size(), "no answer from the disk for %g s; given up", seconds);
    complain(directory, what.data());
    for (int i = 0; i < 10 && waitpid(child, nullptr, WNOHANG) == 0; i++) // nearly always it can end
        usleep(10'000);
    return -1;
}

int OwnProcess::run(const std::function<int(snapshot::Asking& asking)>& work,
                    std::initializer_list<int> descriptors) {
    std::array<int, 2> said;
    const int parent = getpid();
    fflush(stdout);
    const int child = _asking != nullptr && pipe2(said.data(), O_CLOEXEC) == 0 ? fork() : -1;
    if (child < 0) {
        complain("a process for --timeout", strerror(errno));
        return -1;
    }
    if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (getppid() != parent) _exit(kFailed);
        runChild(work, descriptors, said[1]);
    }
    close(said[1]);
    std::array<Watched, snapshot::Asking::kMostThreads> watched;
    for (bool isOpen = true; isOpen;) {
        pollfd output{said[0], POLLIN, 0};
        if (poll(&output, 1, kLookMilliseconds) > 0) isOpen = passOn(said[0]);
        const auto now = Clock::now();
        for (size_t i = 0; i < watched.size() && isOpen; i++) {
            const auto& thread = _asking->threads[i];
            const bool isAsking = thread.isAsking.load(std::memory_order_acquire);
            const uint64_t answers = thread.items.load() + thread.answers.load();
            if (!isAsking || answers != watched[i].answers || watched[i].since == Clock::time_point())
                watched[i] = {answers, now};
            if (now - watched[i].since < _timeout) continue;
            close(said[0]);
            return giveUp(thread.directory.data(), child);
        }
    }
    close(said[0]);
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (WIFEXITED(status) && WEXITSTATUS(status) < kFailed) return WEXITSTATUS(status);
    if (WIFSIGNALED(status)) complain("a look at the disk", strsignal(WTERMSIG(status)));
    return -1;
}

} // namespace dirsnapshot_tool
