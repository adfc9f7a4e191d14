#include "apps/dirsnapshot/comparing_options.h"

#include "apps/dirsnapshot/DifferenceRecords.h"

#include <CLI/CLI.hpp>

namespace dirsnapshot_tool {

CLI::Option* addIgnoredFields(CLI::App* subcommand, std::vector<std::string>& names) {
    std::vector<std::string> fields;
    for (const Field& field : kFields)
        if (field.bit != DSFieldContent) fields.emplace_back(field.name);
    return subcommand->add_option("--ignore", names, "Fields that do not count")
        ->type_name("FIELD,...")
        ->delimiter(',')
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->check(CLI::IsMember(fields));
}

uint32_t fieldsThatCount(const std::vector<std::string>& ignored, bool contentCounts) {
    uint32_t fields = 0;
    for (const Field& field : kFields)
        if (field.bit != DSFieldContent || contentCounts) fields |= field.bit;
    for (const std::string& name : ignored)
        for (const Field& field : kFields)
            if (field.name == name) fields &= ~field.bit;
    return fields;
}

CLI::Option* addExclusions(CLI::App* subcommand, std::vector<std::string>& entries, const char* about) {
    return subcommand->add_option("--exclude", entries, about)
        ->type_name("ENTRY")
        ->expected(1)
        ->allow_extra_args(false) // or "[a,b]" would be two entries
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->check([](const std::string& entry) {
            const bool isUsable = entry.starts_with('/') || entry.find('/') == std::string::npos;
            return isUsable && !entry.empty() ? "" : "neither an absolute path nor a name: " + entry;
        });
}

} // namespace dirsnapshot_tool
