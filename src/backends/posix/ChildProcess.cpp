#include "backends/posix/ChildProcess.h"

#include <sys/eventfd.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <fcntl.h>
#include <poll.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace backends::posix {
namespace {

constexpr int cannotRun = 127; // the status that a shell gives

// Between fork and exec only what is safe in a signal handler (signal-safety(7)): another thread may have
// held any lock at the moment of the fork.
// NOLINTNEXTLINE(readability-function-size): all that may be looked at after the fork
[[noreturn]] void becomeProgram(const char* program, char* const* arguments, char* const* environment,
                                int standardInput, int standardOutput, const std::vector<int>& inherited,
                                bool endsWithParent, pid_t parent) {
    if (endsWithParent) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (::getppid() != parent) ::_exit(cannotRun); // it ended before that was set
    }
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    ::dup2(standardInput, STDIN_FILENO);
    ::dup2(standardOutput, STDOUT_FILENO);
    for (const int file : inherited)
        ::fcntl(file, F_SETFD, 0);
    ::execve(program, arguments, environment);
    ::_exit(cannotRun);
}

// The texts as execve() wants them; it does not write to them. Borrows them.
std::vector<char*> pointersTo(const std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 2);
    for (const std::string& text : texts)
        pointers.push_back(const_cast<char*>(text.c_str())); // NOLINT
    pointers.push_back(nullptr);
    return pointers;
}

void closeFile(int& file) {
    if (file >= 0) ::close(file);
    file = -1;
}

} // namespace

ChildProcess::ChildProcess(const Start& start, const platform::Clock& itsClock) : clock(itsClock) {
    std::vector<char*> environment = pointersTo(start.environment);
    std::vector<char*> arguments = pointersTo(start.arguments);
    arguments.insert(arguments.begin(), const_cast<char*>(start.program.c_str())); // NOLINT: as below

    std::array<int, 2> sockets{-1, -1};
    std::array<int, 2> pipe{-1, -1};
    const pid_t parent = ::getpid();
    interruption = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (interruption >= 0 && ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets.data()) == 0 &&
        ::pipe2(pipe.data(), O_CLOEXEC) == 0)
        process = ::fork();
    if (process == 0)
        becomeProgram(start.program.c_str(), arguments.data(), environment.data(), sockets[1], pipe[1],
                      start.inherited, start.endsWithParent, parent);
    const int error = errno;
    input = std::exchange(sockets[0], -1);
    output = std::exchange(pipe[0], -1);
    closeFile(sockets[1]);
    closeFile(pipe[1]);
    if (process < 0) {
        closeFile(input);
        closeFile(output);
        closeFile(interruption);
        throw std::system_error(error, std::generic_category(), start.program);
    }
}

ChildProcess::~ChildProcess() {
    closeFile(input);
    closeFile(output);
    closeFile(interruption);
    if (hasEnded()) return;
    ::kill(process, SIGKILL);
    wait();
}

void ChildProcess::interrupt() {
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = ::write(interruption, &one, sizeof one);
}

bool ChildProcess::isReady(int file, short events, std::optional<Deadline> deadline) const {
    for (;;) {
        int patience = -1;
        if (deadline) {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(clock.wakeUp(*deadline) -
                                                                           std::chrono::steady_clock::now());
            patience = static_cast<int>(std::max<std::chrono::milliseconds::rep>(left.count(), 0));
        }
        std::array<pollfd, 2> wanted{pollfd{file, events, 0}, pollfd{interruption, POLLIN, 0}};
        const int count = ::poll(wanted.data(), wanted.size(), patience);
        if (count > 0) return wanted[1].revents == 0;
        if (count == 0 && clock.now() >= *deadline) return false;
        if (count < 0 && errno != EINTR) return false;
    }
}

bool ChildProcess::write(const std::string& text, Deadline deadline) {
    std::size_t written = 0;
    while (written < text.size() && isReady(input, POLLOUT, deadline)) {
        const ssize_t count =
            ::send(input, text.data() + written, text.size() - written, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count > 0)
            written += static_cast<std::size_t>(count);
        else if (errno != EAGAIN && errno != EINTR)
            break;
    }
    closeFile(input);
    return written == text.size();
}

std::optional<std::string> ChildProcess::readLine(std::optional<Deadline> deadline) {
    std::size_t searched = 0;
    for (;;) {
        const std::size_t end = unread.find('\n', searched);
        if (end != std::string::npos) {
            std::string line = unread.substr(0, end);
            unread.erase(0, end + 1);
            return line;
        }
        searched = unread.size();
        if (searched > longestLine || !isReady(output, POLLIN, deadline)) return std::nullopt;
        std::array<char, 4096> buffer;
        const ssize_t count = ::read(output, buffer.data(), buffer.size());
        if (count > 0)
            unread.append(buffer.data(), static_cast<std::size_t>(count));
        else if (count == 0 || errno != EINTR)
            return std::nullopt;
    }
}

void ChildProcess::setStatus(int waitStatus) {
    exitStatus = WIFEXITED(waitStatus) ? WEXITSTATUS(waitStatus) : -WTERMSIG(waitStatus);
    process = -1;
}

bool ChildProcess::hasEnded() {
    int status = 0;
    if (process > 0 && ::waitpid(process, &status, WNOHANG) == process) setStatus(status);
    return process < 0;
}

int ChildProcess::wait() {
    int status = 0;
    while (process > 0) {
        if (::waitpid(process, &status, 0) == process)
            setStatus(status);
        else if (errno != EINTR)
            process = -1;
    }
    return exitStatus;
}

} // namespace backends::posix
