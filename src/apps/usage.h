// What the programs have in common where their arguments and their output go wrong: status 2, and one line on
// standard error that begins with the program's name.
#pragma once

#include "apps/completion.h"

#include <CLI/CLI.hpp>

#include <cerrno>
#include <cstring>
#include <iostream>
#include <string>
#include <utility>

namespace apps {

inline constexpr int usageTrouble = 2;

// Whether everything printed has reached standard output; otherwise after a line, the first time, that says
// why not.
inline bool flushOutput(const std::string& program) {
    static bool isTold = false;
    errno = 0;
    if (std::cout.flush()) return true;
    const std::string reason = errno != 0 ? std::strerror(errno) : "cannot be written";
    if (!std::exchange(isTold, true)) std::cerr << program + ": standard output: " + reason + "\n";
    return false;
}

// Parses the arguments and with it runs what they ask for, and returns the exit status: that of the help or
// of the version, `usageTrouble` for arguments that make no sense, or `exitStatus`, which the chosen command
// has set. A word where a command belongs is named. A shell that asks what to offer gets its answer.
inline int parseAndRun(CLI::App& app, int count, char** words, const int& exitStatus) {
    const std::string program = app.get_name();
    if (asksForCompletions(count, words)) {
        for (const std::string& line : completions(app, {words + 2, words + count}))
            std::cout << line << '\n';
        return flushOutput(program) ? EXIT_SUCCESS : usageTrouble;
    }
    int status = usageTrouble;
    const auto complain = [&program](const std::string& text) {
        std::cerr << program + ": " + text + "\n" + program + ": try --help\n";
    };
    try {
        app.parse(count, words);
        status = exitStatus;
    } catch (const CLI::ParseError& error) {
        const std::vector<std::string> rest = app.remaining();
        if (app.get_subcommands().empty() && !rest.empty() && !rest.front().starts_with('-'))
            complain("there is no command \"" + rest.front() + "\"");
        else if (error.get_exit_code() == 0)
            status = app.exit(error); // prints the help or the version
        else
            complain(error.what());
    }
    return flushOutput(program) ? status : usageTrouble;
}

} // namespace apps
