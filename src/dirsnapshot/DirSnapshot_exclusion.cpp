// What the built-in rules leave out, by its whole path; no snapshot is needed for that.
#include "dirsnapshot/DirSnapshot.h"
#include "paths/path_strings.h"
#include "snapshot/DSExclusion.h"

namespace dirsnapshot {

bool DirSnapshot::isNodeAtFullPathExcluded(std::string_view path) {
    for (; !paths::isRootPath(path); path = paths::parentPath(path)) {
        const std::string_view parent = paths::parentPath(path);
        const std::string name(paths::lastPathComponent(path));
        const std::string parentName(paths::lastPathComponent(parent));
        const std::string grandparentName(paths::lastPathComponent(paths::parentPath(parent)));
        if (checkForExclusion(name.c_str(), parentName.c_str(), grandparentName.c_str()) != 0) return true;
    }
    return false;
}

} // namespace dirsnapshot
