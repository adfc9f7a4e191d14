// What commands that tell differences leave out, by their options.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
} // namespace CLI

namespace dirsnapshot_tool {

// --ignore: names of fields, as DifferenceRecords.h has them, but the content.
CLI::Option* addIgnoredFields(CLI::App* subcommand, std::vector<std::string>& names);

// The fields that count: all but the ignored ones, and the content only where it is asked for.
uint32_t fieldsThatCount(const std::vector<std::string>& ignored, bool contentCounts);

// --exclude: absolute paths and names.
CLI::Option* addExclusions(CLI::App* subcommand, std::vector<std::string>& entries, const char* about);

} // namespace dirsnapshot_tool
