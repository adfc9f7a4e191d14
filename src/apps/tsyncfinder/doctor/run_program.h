// Asks another program something, for a bounded time.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace apps::tsyncfinder::doctor {

struct ProgramResult {
    int status = 0;     // its exit status
    std::string output; // the first 64 KiB of standard output and standard error
};

// Finds the program in PATH and runs it with nothing on its standard input. None when there is no such
// program, when a signal ended it, or when it did not end in time; then it is killed.
std::optional<ProgramResult> runProgram(std::vector<std::string> arguments, std::chrono::milliseconds limit);

// Whether PATH has a program of that name.
bool isInPath(const std::string& program);

} // namespace apps::tsyncfinder::doctor
