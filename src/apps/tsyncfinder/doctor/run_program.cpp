#include "apps/tsyncfinder/doctor/run_program.h"

#include <sys/wait.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <poll.h>
#include <spawn.h>
#include <sstream>
#include <unistd.h>

namespace apps::tsyncfinder::doctor {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t longestOutput = std::size_t{64} * 1024; // bytes

// Reads to the end of the pipe. False when the end did not come in time.
bool readAll(int pipe, std::string& output, Clock::time_point deadline) {
    std::array<char, 4096> buffer;
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
        pollfd file{pipe, POLLIN, 0};
        const int ready = left > 0 ? ::poll(&file, 1, static_cast<int>(left)) : 0;
        if (ready == 0) return false;
        if (ready < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        const ssize_t count = ::read(pipe, buffer.data(), buffer.size());
        if (count <= 0) return count == 0;
        if (output.size() < longestOutput) output.append(buffer.data(), static_cast<std::size_t>(count));
    }
}

} // namespace

std::optional<ProgramResult> runProgram(std::vector<std::string> arguments, std::chrono::milliseconds limit) {
    const auto deadline = Clock::now() + limit;
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) return std::nullopt;
    std::vector<char*> pointers;
    pointers.reserve(arguments.size() + 1);
    for (std::string& argument : arguments)
        pointers.push_back(argument.data());
    pointers.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDERR_FILENO);
    pid_t process = 0;
    const int error = ::posix_spawnp(&process, pointers[0], &actions, nullptr, pointers.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(ends[1]);
    if (error != 0) {
        ::close(ends[0]);
        return std::nullopt;
    }
    ProgramResult result;
    const bool hasEnded = readAll(ends[0], result.output, deadline);
    ::close(ends[0]);
    if (!hasEnded) ::kill(process, SIGKILL);
    int status = 0;
    while (::waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    if (!hasEnded || !WIFEXITED(status)) return std::nullopt;
    result.status = WEXITSTATUS(status);
    return result;
}

bool isInPath(const std::string& program) {
    const char* path = std::getenv("PATH");
    std::istringstream folders(path != nullptr ? path : "/usr/bin:/bin");
    std::error_code error;
    for (std::string folder; std::getline(folders, folder, ':');)
        if (std::filesystem::is_regular_file(std::filesystem::path(folder) / program, error)) return true;
    return false;
}

} // namespace apps::tsyncfinder::doctor
