// The comparison by digests. Sub-trees with equal digests are passed over, so that a comparison costs little
// more than its two digest passes.
#include "dirsnapshot/DirSnapshot.h"
#include "dirsnapshot/item_kinds.h"
#include "paths/path_strings.h"
#include "platform/file_attributes.h"
#include "snapshot/DSDigest.h"
#include "snapshot/DSExclusion.h"
#include "snapshot/tree/lookup.h"
#include "snapshot/tree/path_utils.h"

#include <sys/stat.h>

#include <unordered_set>

namespace dirsnapshot {
namespace {

using snapshot::childAt;

std::string_view digestOf(DSNode* node) {
    if (node->hash == nullptr) DSNodeComputeHashes(node);
    return {reinterpret_cast<const char*>(node->hash), DSNodeHashLength};
}

// The caller's exclusions: whole paths, written as the walk writes them, and names.
class Exclusions {
  public:
    explicit Exclusions(const std::vector<std::string>& entries) {
        for (std::string_view entry : entries) {
            if (entry.starts_with('/')) {
                if (entry.ends_with('/')) entry.remove_suffix(1); // a trailing "/" makes no difference
                paths.emplace(entry);
            } else {
                names.emplace(entry);
            }
        }
    }
    bool exclude(const std::string& fullPath, const char* name) const {
        return (!names.empty() && names.contains(name)) || (!paths.empty() && paths.contains(fullPath));
    }

  private:
    std::unordered_set<std::string> paths;
    std::unordered_set<std::string> names;
};

struct Item {
    std::string path; // below its tree's root
    std::int64_t size;
    std::uint8_t kind;
};
using Items = std::vector<Item>;

// The children of the second node of a pair.
class Counterparts {
  public:
    explicit Counterparts(DSNode* second) : parent(second) {}

    // The first child with the name of that child.
    DSNode* namesakeOf(const DSNode* child) const { return snapshot::findChild(parent, child->name); }

    // Whether any child has that digest. A namesake with it is the usual case, and asked first.
    bool haveDigest(std::string_view digest) {
        if (digests.empty())
            for (std::uint64_t i = 0; i < parent->children->count; ++i)
                digests.insert(digestOf(childAt(parent, i)));
        return digests.contains(digest);
    }

  private:
    DSNode* parent;
    std::unordered_set<std::string_view> digests;
};

// One direction of a comparison.
class Walk {
  public:
    Walk(std::string_view base, const Exclusions& callerExclusions, bool addsWholeTrees)
        : exclusions(callerExclusions), addWhole(addsWholeTrees), full(base) {
        if (full.ends_with('/')) full.pop_back();
        baseLength = full.size();
    }

    Items missing;
    Items modified;

    // The levels lie on a stack of their own: the depth of a tree uses none of the thread's stack.
    void _DSNodeFindMissingChildren(DSNode* first, DSNode* second) {
        if (first->parent != nullptr) {
            const snapshot::Text path(DSNodeCreateStringWithFullPath(first));
            if (path == nullptr) return; // too long; the engine has said so
            full += path.get();
        }
        enter(first, second);
        while (!levels.empty()) {
            Level& level = levels.back();
            if (level.next == level.first->children->count) {
                levels.pop_back();
                continue;
            }
            DSNode* child = childAt(level.first, level.next++);
            if (child->name[0] == '\0') continue;
            full.resize(level.pathEnd);
            full += '/';
            full += child->name;
            if (const auto path = std::string_view(full).substr(baseLength);
                path.size() >= DSNodePathCapacity) {
                snapshot::reportPathTooLong(path);
                continue;
            }
            if (level.counterparts)
                visit(level, child);
            else
                addMissing(child);
        }
        full.resize(baseLength);
    }

  private:
    struct Level {
        DSNode* first;
        std::optional<Counterparts> counterparts; // none: everything here is missing from the other tree
        std::size_t pathEnd;                      // of the first node's path in `full`
        std::uint64_t next = 0;
    };

    void enter(DSNode* first, DSNode* second) {
        if (digestOf(first) != digestOf(second)) levels.push_back({first, Counterparts(second), full.size()});
    }

    void visit(Level& level, DSNode* child) {
        DSNode* namesake = level.counterparts->namesakeOf(child);
        const std::string_view digest = digestOf(child);
        if (namesake != nullptr && digestOf(namesake) == digest) return;
        if (isExcludedByFullPath() || exclusions.exclude(full, child->name)) return;
        if (level.counterparts->haveDigest(digest)) return;
        const bool isDirectory = child->type == DSNodeTypeDirectory;
        if (namesake == nullptr) {
            missing.push_back(item(child));
            if (addWhole && isDirectory) levels.push_back({child, std::nullopt, full.size()});
        } else if (isDirectory) {
            enter(child, namesake);
        } else {
            modified.push_back(item(child));
        }
    }

    void addMissing(const DSNode* child) {
        const DSNode* parent = child->parent;
        const DSNode* grandparent = parent != nullptr ? parent->parent : nullptr;
        if (checkForExclusion(child->name, parent != nullptr ? parent->name : "",
                              grandparent != nullptr ? grandparent->name : "") != 0 ||
            exclusions.exclude(full, child->name))
            return;
        missing.push_back(item(child));
        if (child->type == DSNodeTypeDirectory)
            levels.push_back({const_cast<DSNode*>(child), std::nullopt, full.size()});
    }

    Item item(const DSNode* node) const { return {full.substr(baseLength), node->size, node->type}; }

    // By the last three components of the path with the base.
    bool isExcludedByFullPath() const {
        std::string names[3];
        std::string_view rest = full;
        for (std::string& name : names) {
            const std::size_t slash = rest.rfind('/');
            if (slash == std::string_view::npos) break;
            name = rest.substr(slash + 1);
            rest = rest.substr(0, slash);
        }
        return checkForExclusion(names[0].c_str(), names[1].c_str(), names[2].c_str()) != 0;
    }

    const Exclusions& exclusions;
    bool addWhole;
    std::string full; // the path of the child at hand with the base
    std::size_t baseLength = 0;
    std::vector<Level> levels;
};

// A link that leads nowhere is an item too.
bool existsOnDisk(const std::string& path) {
    struct stat status;
    return lstat(path.c_str(), &status) == 0;
}

void store(platform::Dictionary& result, const char* key, Items& items) {
    if (items.empty()) return;
    platform::Array array;
    array.reserve(items.size());
    for (Item& item : items)
        array.emplace_back(platform::Dictionary{{DirSnapshotNodePathKey, std::move(item.path)},
                                                {platform::NSFileSize, item.size},
                                                {platform::NSFileType, fileTypeOf(item.kind)}});
    result.emplace(key, std::move(array));
}

} // namespace

platform::Dictionary
DirSnapshot::compareWithSnapshotUsingHashes(DSNode* current, DSNode* with, bool ignoreDeleted,
                                            const std::vector<std::string>& withExclusions,
                                            std::string_view andBasePath) {
    const Tree emptyCurrent = emptyTree();
    const Tree emptyPrevious = emptyTree();
    if (current == nullptr) current = emptyCurrent.get();
    if (with == nullptr) with = emptyPrevious.get();
    const Exclusions exclusions(withExclusions);
    DSNodeComputeHashes(current);
    DSNodeComputeHashes(with);

    Walk forward(andBasePath, exclusions, true);
    forward._DSNodeFindMissingChildren(current, with);
    platform::Dictionary result;
    store(result, DirSnapshotAddedPathsKey, forward.missing);
    store(result, DirSnapshotModifiedPathsKey, forward.modified);
    if (ignoreDeleted) return result;

    Walk backward(andBasePath, exclusions, false);
    backward._DSNodeFindMissingChildren(with, current);
    if (!andBasePath.empty()) {
        std::string base(andBasePath);
        if (base.ends_with('/')) base.pop_back();
        std::erase_if(backward.missing, [&](const Item& item) { return existsOnDisk(base + item.path); });
    }
    store(result, DirSnapshotDeletedPathsKey, backward.missing);
    return result;
}

std::optional<platform::Dictionary>
DirSnapshot::compareWithSnapshotUsingHashes(DirSnapshot* other, bool ignoreDeleted,
                                            const std::vector<std::string>& withExclusions) {
    if (other == nullptr) return std::nullopt;
    return compareWithSnapshotUsingHashes(_root.get(), other->_root.get(), ignoreDeleted, withExclusions,
                                          path().value_or(""));
}

std::optional<platform::Dictionary>
DirSnapshot::compareWithSnapshotUsingHashes(DirSnapshot* other, const std::string& nodeInOriginal,
                                            const std::string& nodeInCfr, bool ignoreDeleted,
                                            const std::vector<std::string>& withExclusions) {
    if (other == nullptr) return std::nullopt;
    const auto nodeBelow = [](const DirSnapshot& snapshot, const std::string& absolutePath) -> DSNode* {
        const auto relative = paths::pathRelativeToPath(absolutePath, snapshot.path().value_or(""));
        return relative ? snapshot.nodeAtFullpath(*relative) : nullptr;
    };
    return compareWithSnapshotUsingHashes(nodeBelow(*this, nodeInOriginal), nodeBelow(*other, nodeInCfr),
                                          ignoreDeleted, withExclusions, path().value_or(""));
}

} // namespace dirsnapshot
