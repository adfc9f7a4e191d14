// The part of DirSnapshot that changes the tree in place.
#include "dirsnapshot/DirSnapshot.h"
#include "dirsnapshot/item_kinds.h"
#include "paths/path_strings.h"
#include "platform/file_attributes.h"
#include "snapshot/DSDigest.h"
#include "snapshot/tree/lookup.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace dirsnapshot {
namespace {

constexpr const char* cannotAdd = "ERROR! -> Can't add item in remote snapshot";
constexpr const char* cannotMove = "ERROR! -> Can't move node in remote snapshot";

std::int64_t secondsNow(const platform::Clock& clock) {
    const auto now = clock.date().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::seconds>(now).count();
}

// How far a path in standard form leads into a tree.
struct Place {
    DSNode* node;             // the last one on the way that exists
    std::string_view missing; // what follows it in the path; empty when all of it exists

    Place(const platform::Clock& clock, DSNode* root, std::string_view path)
        : node(root), missing(path.substr(1)), dates(clock) {
        while (!missing.empty()) {
            DSNode* child = snapshot::findChild(node, nextName());
            if (child == nullptr) return;
            node = child;
            advance();
        }
    }

    // Makes a directory for each name that is missing but the last.
    void makeDirectoriesOnTheWay() {
        while (missing.find('/') != std::string_view::npos)
            makeDirectory();
    }
    void makeDirectory() {
        node = DSNodeCreateWithParent(node, std::string(nextName()).c_str(), 0, secondsNow(dates), 0,
                                      DSNodeTypeDirectory);
        advance();
    }

  private:
    const platform::Clock& dates;
    std::string_view nextName() const { return missing.substr(0, missing.find('/')); }
    void advance() { missing.remove_prefix(std::min(nextName().size() + 1, missing.size())); }
};

void detach(DSNode* node) {
    if (node->parent == nullptr) return;
    DSListRemoveValue(node->parent->children, node);
    node->parent = nullptr;
}

// Two lines: what is refused, in its fixed words, and why.
template <typename... Reason>
void refuse(platform::ProcessLog& log, const char* what, const Reason&... reason) {
    log.error(what);
    log.error(reason...);
}

std::string replaceEvery(std::string_view text, std::string_view part, std::string_view by) {
    std::string result;
    std::size_t at = part.empty() ? std::string_view::npos : text.find(part);
    for (; at != std::string_view::npos; at = text.find(part)) {
        result += text.substr(0, at);
        result += by;
        text.remove_prefix(at + part.size());
    }
    return result += text;
}

} // namespace

bool DirSnapshot::refusesEditing(const char* what) const {
    if (!_root) refuse(*around.log, what, "the snapshot has no tree");
    return !_root;
}

// The path in standard form; none, with lines in the log, for one that no item can have.
std::optional<std::string> DirSnapshot::editablePath(std::string_view path, const char* what) const {
    if (!path.starts_with('/') || path.find('\0') != std::string_view::npos) {
        refuse(*around.log, what, "not an absolute path: ", path);
        return std::nullopt;
    }
    std::string standard = paths::isStandardForm(path) ? std::string(path) : paths::standardisedPath(path);
    if (standard.size() >= DSNodePathCapacity) {
        refuse(*around.log, what, "the path is too long: ", path);
        return std::nullopt;
    }
    return standard;
}

void DirSnapshot::addItemAtPath(std::string_view path, const platform::Dictionary& fileInfo) {
    if (refusesEditing(cannotAdd)) return;
    const auto standard = editablePath(path, cannotAdd);
    if (!standard || *standard == "/") return;
    const std::int64_t size = wholeNumber(fileInfo, platform::NSFileSize);
    const std::int64_t modified = wholeNumber(fileInfo, platform::NSFileModificationDate);
    Place place(*around.clock, _root.get(), *standard);
    if (place.missing.empty()) {
        place.node->modifiedTime = modified;
        place.node->size = size;
        return;
    }
    place.makeDirectoriesOnTheWay();
    DSNodeCreateWithParent(place.node, std::string(place.missing).c_str(), size, modified,
                           wholeNumber(fileInfo, platform::NSFileCreationDate), kindOf(fileInfo));
}

void DirSnapshot::moveItemAtPath(std::string_view path, std::string_view toNewPath) {
    if (refusesEditing(cannotMove)) return;
    const auto from = editablePath(path, cannotMove);
    const auto to = editablePath(toNewPath, cannotMove);
    if (!from || !to) return;
    if (*from == "/" || *to == "/") {
        refuse(*around.log, cannotMove, "the root stays where it is");
        return;
    }
    if (to->starts_with(*from) && to->substr(from->size(), 1) == "/") {
        refuse(*around.log, cannotMove, *to, " lies inside ", *from);
        return;
    }
    const Place place(*around.clock, _root.get(), *from);
    if (!place.missing.empty()) return;
    DSNode* node = place.node;
    Place parent(*around.clock, _root.get(), paths::parentPath(*to));
    if (!parent.missing.empty()) {
        for (DSNode* above = parent.node; above->parent != nullptr; above = above->parent) {
            above->size = 0;
            above->modifiedTime = secondsNow(*around.clock);
        }
        while (!parent.missing.empty())
            parent.makeDirectory();
    }
    detach(node);
    DSNodeSetName(node, std::string(paths::lastPathComponent(*to)).c_str());
    DSNodeAppendChild(node, parent.node);
}

void DirSnapshot::removeItemAtPath(std::string_view path) {
    constexpr const char* cannotRemove = "Can't remove item from snapshot";
    if (refusesEditing(cannotRemove)) return;
    const auto standard = editablePath(path, cannotRemove);
    if (!standard) return;
    if (*standard == "/")
        refuse(*around.log, cannotRemove, "the root stays where it is");
    else
        DSNodeDestroy(nodeAtFullpath(*standard));
}

void DirSnapshot::addPartial(const DirSnapshot& partial, std::string_view atPath) {
    if (refusesEditing(cannotAdd)) return;
    const auto base = editablePath(atPath, cannotAdd);
    if (!base) return;
    if (&partial == this) { // what is added must not be met again on the way
        addPartial(DirSnapshot(partial), *base);
        return;
    }
    Place place(*around.clock, _root.get(), *base);
    while (!place.missing.empty())
        place.makeDirectory();
    addContents(partial, "/", *base);
}

// A stored snapshot may hold names that no file system has. One that is empty gives its item the path of the
// directory that it is in, without end; "." and ".." would lead to another item than theirs.
void DirSnapshot::addContents(const DirSnapshot& partial, const std::string& directory,
                              std::string_view below) {
    const auto items = partial.contentsOfDirectoryAtPath(directory);
    if (!items) return;
    for (const platform::Value& item : *items) {
        const std::string& path = *item.dictionary()->at(DirSnapshotNodePathKey).string();
        if (path == directory || !paths::isStandardForm(path))
            refuse(*around.log, cannotAdd, "not a name for an item: ", path);
        else
            addNode(*item.dictionary(), *this, partial, below);
    }
}

// Each level makes the path longer, and the engine finds none beyond its limit, which bounds the recursion.
void DirSnapshot::addNode(const platform::Dictionary& item, DirSnapshot& /*toSnapshot*/,
                          const DirSnapshot& fromPartial, std::string_view relativeTo) {
    const std::string* itemPath = platform::textAt(item, DirSnapshotNodePathKey);
    if (itemPath == nullptr) {
        refuse(*around.log, cannotAdd, "the item has no path");
        return;
    }
    addItemAtPath(paths::stringByAppendingPathComponent(relativeTo, *itemPath), item);
    if (kindOf(item) == DSNodeTypeDirectory) addContents(fromPartial, *itemPath, relativeTo);
}

std::optional<DirSnapshot> DirSnapshot::subDirsnapshotAtPath(const std::string& path,
                                                             bool NoRecursive) const {
    const DSNode* node = nodeAtFullpath(path);
    if (node == nullptr) return std::nullopt;
    DirSnapshot part(around);
    part._path = path;
    part._root.reset(DSNodeCopy(node));
    DSNodeSetName(part._root.get(), "/");
    if (!NoRecursive) return part;
    const DSList* children = part._root->children;
    for (std::uint64_t i = 0; i < children->count; ++i) {
        DSList* below = snapshot::childAt(part._root.get(), i)->children;
        while (below->tail != nullptr)
            DSNodeDestroy(static_cast<DSNode*>(below->tail->value));
    }
    return part;
}

void DirSnapshot::reloadSnapshotPart(const std::string& path) {
    constexpr const char* cannotReload = "Can't scan a part of the snapshot again";
    if (refusesEditing(cannotReload)) return;
    const auto standard = editablePath(path, cannotReload);
    if (!standard) return;
    const auto relative = editablePath(replaceEvery(path, this->path().value_or(""), "/"), cannotReload);
    if (!relative) return;
    DSNode* parent = nodeAtFullpath(std::string(paths::parentPath(*relative)));
    if (parent == nullptr) {
        refuse(*around.log, cannotReload, "the directory above ", *relative, " is not in it");
        return;
    }
    Tree fresh = initWithDirectoryPath(around, path).setRoot(nullptr);
    if (*relative == "/") {
        _root = std::move(fresh);
        return;
    }
    DSNodeDestroy(nodeAtFullpath(*relative));
    DSNodeSetName(fresh.get(), std::string(paths::lastPathComponent(*standard)).c_str());
    DSNodeAppendChild(fresh.release(), parent);
}

Tree DirSnapshot::setRoot(Tree root) { return std::exchange(_root, std::move(root)); }

void DirSnapshot::computeHash() {
    if (_root) DSNodeComputeHashes(_root.get());
}

} // namespace dirsnapshot
