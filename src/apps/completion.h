// What a shell offers when a person presses the tabulator key, from the command line's own description: so it
// holds for each build, and a command needs no second description.
//
// The shells' parts are in packaging/completions; they call `PROGRAM --complete WORD…` with the words after
// the program's name, the one that is being written last, which may be empty.
#pragma once

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace apps {

// Whether the arguments ask for that; then `completions` is what to print.
bool asksForCompletions(int count, char** words);

// Lines of a word and, behind a tabulator, what it means. None where a file belongs, or nothing that is
// known. Private options, which no help shows, are left out.
std::vector<std::string> completions(CLI::App& app, const std::vector<std::string>& words);

} // namespace apps
