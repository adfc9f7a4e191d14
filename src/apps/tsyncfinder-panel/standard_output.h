// The program's standard output, which whoever started it reads line by line.
#pragma once

#include <string>

namespace apps::panel {

// Writes what comes before the answer.
void writeLine(const std::string& line);

// Writes the answer and closes standard output, so that whoever reads it to its end need not wait for the
// process.
void writeAnswer(const std::string& line);

} // namespace apps::panel
