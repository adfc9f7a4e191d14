// The paths of the command line, and what goes to standard error about them.
#pragma once

#include <string>
#include <vector>

namespace apps::tsyncfinder::terminal {

// The absolute path as it is spelled: "." and ".." of the current folder are resolved by text alone. "" when
// it cannot be told: an empty path, or one in a current folder that has been removed.
std::string absolutePath(const std::string& path);

std::string uriOf(const std::string& absolutePath);
std::vector<std::string> urisOf(const std::vector<std::string>& absolutePaths);

// The absolute paths of those that exist, links that lead nowhere among them; each other one is named on
// standard error, in the words of ls(1).
std::vector<std::string> existingPaths(const std::vector<std::string>& paths);

// A line on standard error, behind the program's name.
void complain(const std::string& text);

// Raises OutputLost, after a line on standard error, when what was printed cannot be written.
class OutputLost {};
void flushLines();

} // namespace apps::tsyncfinder::terminal
