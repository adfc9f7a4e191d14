#include "apps/tsyncfinder/doctor/processes.h"

#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <unistd.h>

namespace apps::tsyncfinder::doctor {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view deleted = " (deleted)";

// "/usr/bin/x (deleted)" -> "x"
std::string_view nameIn(std::string_view file) {
    if (file.ends_with(deleted)) file.remove_suffix(deleted.size());
    return file.substr(file.rfind('/') + 1);
}

fs::path folderOf(pid_t process) { return fs::path("/proc") / std::to_string(process); }

// A person may have several sessions, each with its bus. The address may have more than its place.
bool isOfThisSession(pid_t process) {
    constexpr std::string_view variable = "DBUS_SESSION_BUS_ADDRESS=";
    const char* ours = std::getenv("DBUS_SESSION_BUS_ADDRESS");
    std::ifstream environment(folderOf(process) / "environ");
    for (std::string entry; std::getline(environment, entry, '\0');) {
        if (!entry.starts_with(variable)) continue;
        const std::string theirs = entry.substr(variable.size());
        return ours == nullptr || theirs.substr(0, theirs.find(',')) ==
                                      std::string_view(ours).substr(0, std::string_view(ours).find(','));
    }
    return true; // the one that it finds without the variable
}

} // namespace

std::string programOf(pid_t process) {
    std::error_code error;
    return fs::read_symlink(folderOf(process) / "exe", error).string();
}

std::string describeProcess(pid_t process) {
    const std::string program = programOf(process);
    const std::string number = "process " + std::to_string(process);
    return program.empty() ? number : std::string(nameIn(program)) + " (" + number + ")";
}

std::vector<pid_t> processesRunning(const std::string& programName) {
    std::vector<pid_t> processes;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator("/proc", error)) {
        const std::string name = entry.path().filename();
        struct stat status {};
        if (!std::all_of(name.begin(), name.end(), [](unsigned char c) { return std::isdigit(c) != 0; }) ||
            ::stat(entry.path().c_str(), &status) != 0 || status.st_uid != ::getuid())
            continue;
        const pid_t process = std::stoi(name);
        if (nameIn(programOf(process)) == programName && isOfThisSession(process))
            processes.push_back(process);
    }
    return processes;
}

std::string mappedFile(pid_t process, const std::string& fileName) {
    std::ifstream maps(folderOf(process) / "maps");
    for (std::string line; std::getline(maps, line);) {
        const std::size_t path = line.find('/');
        if (path != std::string::npos && nameIn(std::string_view(line).substr(path)) == fileName)
            return line.substr(path);
    }
    return {};
}

} // namespace apps::tsyncfinder::doctor
