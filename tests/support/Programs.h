// Programs as a test starts them.
#pragma once

#include "tests/support/fakes.h"

#include <sys/prctl.h>
#include <sys/wait.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <string>
#include <unistd.h>
#include <vector>

namespace support {

// A program that runs until the object goes.
class Program {
  public:
    explicit Program(const std::vector<std::string>& arguments) { start(arguments); }
    // Returns when it serves: it says so by a line to the file whose number becomes its last argument.
    Program(std::vector<std::string> arguments, std::string& line) {
        int ends[2];
        if (::pipe(ends) != 0) return;
        arguments.push_back(std::to_string(ends[1]));
        start(arguments);
        ::close(ends[1]);
        for (char c = 0; ::read(ends[0], &c, 1) == 1 && c != '\n';)
            line += c;
        ::close(ends[0]);
    }
    ~Program() { end(SIGKILL); }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;
    void send(int signal) const { ::kill(process, signal); }
    // Returns when it stands still.
    void stop() const {
        int status = 0;
        send(SIGSTOP);
        ::waitpid(process, &status, WUNTRACED);
    }
    // The exit status, or less than 0: the signal that ended it.
    int end(int signal) {
        if (process <= 0) return -1;
        ::kill(process, signal);
        int status = 0;
        ::waitpid(process, &status, 0);
        process = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }
    // The status with which it ends by itself within the deadline; else -1, and it is left to end().
    int ownEnd() {
        int status = 0;
        if (!eventually([&] { return ::waitpid(process, &status, WNOHANG) != 0; })) return -1;
        process = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    bool endsWithSuccess() { return ownEnd() == 0; }

  private:
    void start(const std::vector<std::string>& arguments) {
        process = ::fork();
        if (process != 0) return;
        ::prctl(PR_SET_PDEATHSIG, SIGKILL); // a test that crashes leaves nothing behind
        std::vector<char*> pointers;
        for (const std::string& argument : arguments)
            pointers.push_back(const_cast<char*>(argument.c_str()));
        pointers.push_back(nullptr);
        ::execvp(pointers[0], pointers.data());
        ::_exit(127);
    }
    pid_t process = -1;
};

struct Result {
    int status = -1;
    std::string output;
};

// A shell command, with both its outputs.
inline Result run(const std::string& command) {
    Result result;
    FILE* const pipe = ::popen((command + " 2>&1").c_str(), "r");
    std::array<char, 4096> buffer;
    for (std::size_t count = 0; (count = std::fread(buffer.data(), 1, buffer.size(), pipe)) > 0;)
        result.output.append(buffer.data(), count);
    const int status = ::pclose(pipe);
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

} // namespace support
