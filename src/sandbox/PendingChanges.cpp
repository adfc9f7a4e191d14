#include "sandbox/PendingChanges.h"

#include "sandbox/paths.h"

#include <algorithm>

namespace sandbox {
namespace {

// So that a burst in one directory costs bounded memory. Beyond it the snapshot alone decides, which sees
// every change but one within a second that leaves the size.
constexpr std::size_t mostNames = 4096;

} // namespace

void PendingChanges::noticed(const std::string& directory, const std::string& name) {
    const std::string item = (directory == "/" ? directory : directory + "/") + name;
    for (std::string_view above = item; !above.empty(); above = above.substr(0, above.rfind('/')))
        if (const auto holder = held.find(above); holder != held.end()) {
            holder->second = true;
            return;
        }
    DirectoryToLookAt& wanted = directories[directory];
    if (wanted.names.size() < mostNames) wanted.names.insert(name);
}

void PendingChanges::asked(const std::string& directory, bool recursive, const std::string& name) {
    DirectoryToLookAt& wanted = directories[directory];
    if (!name.empty()) wanted.names.insert(name);
    wanted.isAsked = true;
    wanted.recursive = wanted.recursive || recursive;
}

std::vector<std::string> PendingChanges::paths() const {
    std::vector<std::string> all;
    all.reserve(directories.size());
    for (const auto& [directory, wanted] : directories)
        all.push_back(directory);
    return all;
}

void PendingChanges::hold(const std::string& path) { held.try_emplace(path, false); }

void PendingChanges::release(const std::string& path) {
    const auto holder = held.find(path);
    if (holder == held.end()) return;
    if (holder->second) directories[path].recursive = true;
    held.erase(holder);
}

bool PendingChanges::concern(std::string_view path) const {
    return std::any_of(directories.begin(), directories.end(), [path](const auto& each) {
        return isAtOrBelow(each.first, path) || isAtOrBelow(path, each.first);
    });
}

} // namespace sandbox
