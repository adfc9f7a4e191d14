// The part of DirSnapshot that changes the tree in place.
#include "dirsnapshot/DirSnapshot.h"
#include "dirsnapshot/item_kinds.h"
#include "foundation/path_strings.h"
#include "platform/FileAttributes.h"
#include "snapshot/DSDigest.h"

#include <chrono>
#include <utility>

namespace dirsnapshot {
namespace {

constexpr const char* cannotAdd = "ERROR! -> Can't add item in remote snapshot";
constexpr const char* cannotMove = "ERROR! -> Can't move node in remote snapshot";

// What a directory is made of that is only known to be on the way to an item.
platform::Dictionary placeholderDirectory() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const std::int64_t seconds = std::chrono::duration_cast<std::chrono::seconds>(now).count();
    return {{platform::NSFileType, platform::NSFileTypeDirectory},
            {platform::NSFileSize, 0},
            {platform::NSFileModificationDate, seconds}};
}

void detach(DSNode* node) {
    if (node->parent == nullptr) return;
    DSListRemoveValue(node->parent->children, node);
    node->parent = nullptr;
}

std::string replaceEvery(std::string text, std::string_view part, std::string_view by) {
    if (part.empty()) return text;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + by.size()))
        text.replace(at, part.size(), by);
    return text;
}

} // namespace

bool DirSnapshot::refusesEditing(std::string_view what) const {
    if (_root) return false;
    log->error(what, ": the snapshot has no tree");
    return true;
}

// The path in standard form; none, with a line in the log, for one that no item can have.
std::optional<std::string> DirSnapshot::editablePath(std::string_view path, std::string_view what) const {
    if (!path.starts_with('/') || path.find('\0') != std::string_view::npos) {
        log->error(what, ": no absolute path: ", path);
        return std::nullopt;
    }
    std::string standard =
        foundation::isStandardForm(path) ? std::string(path) : foundation::standardisedPath(path);
    if (standard.size() >= DSNodePathCapacity) {
        log->error(what, ": the path is too long: ", path);
        return std::nullopt;
    }
    return standard;
}

void DirSnapshot::addItemAtPath(std::string_view path, const platform::Dictionary& fileInfo) {
    if (refusesEditing(cannotAdd)) return;
    if (const auto standard = editablePath(path, cannotAdd)) addCheckedItem(*standard, fileInfo);
}

void DirSnapshot::addCheckedItem(const std::string& path, const platform::Dictionary& fileInfo) {
    if (path == "/") return;
    const std::int64_t size = wholeNumber(fileInfo, platform::NSFileSize);
    const std::int64_t modified = wholeNumber(fileInfo, platform::NSFileModificationDate);
    if (DSNode* node = nodeAtFullpath(path)) {
        node->modifiedTime = modified;
        node->size = size;
        return;
    }
    DSNode* parent = parentMadeFor(path, false);
    if (parent == nullptr) {
        log->error(cannotAdd);
        return;
    }
    const std::string name(foundation::lastPathComponent(path));
    DSNodeCreateWithParent(parent, name.c_str(), size, modified,
                           wholeNumber(fileInfo, platform::NSFileCreationDate), kindOf(fileInfo));
}

// The directory that a path lies in, made with everything above it when it is missing; what exists on the way
// is then refreshed as a placeholder, or left alone.
DSNode* DirSnapshot::parentMadeFor(const std::string& path, bool refreshesExisting) {
    const std::string parentPath(foundation::parentPath(path));
    if (DSNode* parent = nodeAtFullpath(parentPath)) return parent;
    const platform::Dictionary placeholder = placeholderDirectory();
    std::string step;
    foundation::forEachPathComponent(parentPath, [&](std::string_view component) {
        step += '/';
        step += component;
        if (refreshesExisting || nodeAtFullpath(step) == nullptr) addCheckedItem(step, placeholder);
    });
    return nodeAtFullpath(parentPath);
}

void DirSnapshot::moveItemAtPath(std::string_view path, std::string_view toNewPath) {
    if (refusesEditing(cannotMove)) return;
    const auto from = editablePath(path, cannotMove);
    const auto to = editablePath(toNewPath, cannotMove);
    if (!from || !to) return;
    if (*from == "/" || *to == "/") {
        log->error(cannotMove, ": the root stays where it is");
        return;
    }
    if (to->starts_with(*from + "/")) {
        log->error(cannotMove, ": ", std::string_view(*to), " lies inside ", std::string_view(*from));
        return;
    }
    DSNode* node = nodeAtFullpath(*from);
    if (node == nullptr) return;
    DSNode* parent = parentMadeFor(*to, true);
    if (parent == nullptr) {
        log->error(cannotMove);
        return;
    }
    detach(node);
    DSNodeSetName(node, std::string(foundation::lastPathComponent(*to)).c_str());
    DSNodeAppendChild(node, parent);
}

void DirSnapshot::removeItemAtPath(std::string_view path) {
    constexpr const char* cannotRemove = "Can't remove item from snapshot";
    if (refusesEditing(cannotRemove)) return;
    const auto standard = editablePath(path, cannotRemove);
    if (!standard) return;
    if (*standard == "/")
        log->error(cannotRemove, ": the root stays where it is");
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
    if (nodeAtFullpath(*base) == nullptr) addCheckedItem(*base, placeholderDirectory());
    addContents(partial, "/", *base);
}

void DirSnapshot::addContents(const DirSnapshot& partial, const std::string& directory,
                              const std::string& below) {
    const auto items = partial.contentsOfDirectoryAtPath(directory);
    if (!items) return;
    for (const platform::Value& item : *items)
        addNode(*item.dictionary(), *this, partial, below);
}

// The engine refuses paths beyond its limit, which bounds the recursion.
void DirSnapshot::addNode(const platform::Dictionary& item, DirSnapshot& toSnapshot,
                          const DirSnapshot& fromPartial, std::string_view relativeTo) {
    const platform::Value* path = platform::find(item, DirSnapshotNodePathKey);
    const std::string* itemPath = path != nullptr ? path->string() : nullptr;
    if (itemPath == nullptr) {
        log->error(cannotAdd, ": the item has no path");
        return;
    }
    addItemAtPath(foundation::stringByAppendingPathComponent(relativeTo, *itemPath), item);
    if (kindOf(item) != DSNodeTypeDirectory) return;
    const auto items = fromPartial.contentsOfDirectoryAtPath(*itemPath);
    if (!items) return;
    for (const platform::Value& child : *items)
        addNode(*child.dictionary(), toSnapshot, fromPartial, relativeTo);
}

std::optional<DirSnapshot> DirSnapshot::subDirsnapshotAtPath(const std::string& path,
                                                             bool NoRecursive) const {
    const DSNode* node = nodeAtFullpath(path);
    if (node == nullptr) return std::nullopt;
    DirSnapshot part(*log);
    part._path = path;
    part._root.reset(DSNodeCopy(node));
    DSNodeSetName(part._root.get(), "/");
    if (!NoRecursive) return part;
    const DSList* children = part._root->children;
    for (std::uint64_t i = 0; i < children->count; ++i) {
        DSList* below = static_cast<DSNode*>(children->items[i]->value)->children;
        while (below->tail != nullptr)
            DSNodeDestroy(static_cast<DSNode*>(below->tail->value));
    }
    return part;
}

void DirSnapshot::reloadSnapshotPart(const std::string& path) {
    constexpr const char* cannotReload = "Can't scan a part of the snapshot anew";
    if (refusesEditing(cannotReload) || !editablePath(path, cannotReload)) return;
    const auto relative = editablePath(replaceEvery(path, this->path().value_or(""), "/"), cannotReload);
    if (!relative) return;
    DSNode* parent = nodeAtFullpath(std::string(foundation::parentPath(*relative)));
    if (parent == nullptr) {
        log->error(cannotReload, ": the directory above ", std::string_view(*relative), " is not in it");
        return;
    }
    Tree fresh = initWithDirectoryPath(*log, path).setRoot(nullptr);
    if (*relative == "/") {
        _root = std::move(fresh);
        return;
    }
    DSNodeDestroy(nodeAtFullpath(*relative));
    DSNodeSetName(fresh.get(), std::string(foundation::lastPathComponent(path)).c_str());
    DSNodeAppendChild(fresh.release(), parent);
}

Tree DirSnapshot::setRoot(Tree root) { return std::exchange(_root, std::move(root)); }

void DirSnapshot::computeHash() {
    if (_root) DSNodeComputeHashes(_root.get());
}

} // namespace dirsnapshot
