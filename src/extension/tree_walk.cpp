#include "extension/tree_walk.h"

#include "paths/path_strings.h"

#include <set>
#include <vector>

namespace extension {
namespace {

// A folder whose entries are being visited.
struct OpenFolder {
    std::string path;
    std::vector<std::string> names;
    std::size_t next;
    bool isBehindLink; // a link lies on the way from the top
};

} // namespace

void forEachItemBelow(platform::FileSystem& fileSystem, const std::string& folder,
                      const std::function<bool(std::string path)>& visit, std::size_t most) {
    std::set<platform::FileIdentity> enteredBehindLinks;
    std::vector<OpenFolder> open;
    open.push_back({folder, fileSystem.entryNames(folder), 0, false});
    while (!open.empty()) {
        OpenFolder& current = open.back();
        if (current.next == current.names.size()) {
            open.pop_back();
            continue;
        }
        std::string path = paths::stringByAppendingPathComponent(current.path, current.names[current.next]);
        const bool parentIsBehindLink = current.isBehindLink;
        ++current.next;
        if (most-- == 0 || !visit(path)) return;
        const auto kind = fileSystem.kind(path);
        if (!kind || !kind->isDirectory) continue;
        const bool isBehindLink = parentIsBehindLink || kind->isLink;
        if (isBehindLink && !enteredBehindLinks.insert(kind->identity).second) continue;
        auto names = fileSystem.entryNames(path);
        open.push_back({std::move(path), std::move(names), 0, isBehindLink});
    }
}

} // namespace extension
