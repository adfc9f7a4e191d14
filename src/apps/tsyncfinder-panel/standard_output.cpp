#include "apps/tsyncfinder-panel/standard_output.h"

#include <cstdio>

namespace apps::panel {

void writeLine(const std::string& line) {
    std::fwrite(line.data(), 1, line.size(), stdout);
    std::fflush(stdout);
}

void writeAnswer(const std::string& line) {
    writeLine(line);
    std::fclose(stdout);
}

} // namespace apps::panel
