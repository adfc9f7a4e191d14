#include "dirsnapshot/DirSnapshot.h"

#include "dirsnapshot/item_kinds.h"
#include "paths/path_strings.h"
#include "platform/file_attributes.h"
#include "snapshot/DSCompare.h"
#include "snapshot/DSDatabase.h"
#include "snapshot/DSFlatFile.h"

#include <cstdio>
#include <utility>

namespace dirsnapshot {
namespace {

bool isStoredInDatabase(std::string_view type) { return type == "backup" || type == "sync"; }

void store(platform::Dictionary& result, const char* key, const snapshot::ComparedPaths& paths) {
    if (paths.count > 0) result.emplace(key, platform::Array(paths.begin(), paths.end()));
}

} // namespace

DirSnapshot::DirSnapshot(const Surroundings& surroundings) : around(surroundings) {}

DirSnapshot::DirSnapshot(const DirSnapshot& other)
    : around(other.around), _path(other.path()), _root(DSNodeCopy(other._root.get())),
      _exclusionPatterns(other._exclusionPatterns), _usesSHA1(other._usesSHA1), _block(other._block) {}

DirSnapshot::DirSnapshot(DirSnapshot&& other) noexcept
    : around(other.around), _path(std::move(other._path)), _root(std::move(other._root)),
      _exclusionPatterns(std::move(other._exclusionPatterns)), _usesSHA1(other._usesSHA1),
      _scanTotalFileNumber(other._scanTotalFileNumber.load()), _block(std::move(other._block)) {}

DirSnapshot& DirSnapshot::operator=(DirSnapshot other) noexcept {
    around = other.around;
    setPath(std::move(other._path));
    _root = std::move(other._root);
    _exclusionPatterns = std::move(other._exclusionPatterns);
    _usesSHA1 = other._usesSHA1;
    _scanTotalFileNumber = other._scanTotalFileNumber.load();
    _block = std::move(other._block);
    return *this;
}

DirSnapshot::~DirSnapshot() = default;

DirSnapshot DirSnapshot::initWithContentsOfFile(const Surroundings& surroundings, const std::string& file,
                                                std::string forDirectory, const std::string& withType) {
    DirSnapshot snapshot(surroundings);
    snapshot._path = std::move(forDirectory);
    snapshot._root.reset(DSNodeLoadSnapshot(file.c_str(), withType.c_str()));
    return snapshot;
}

DirSnapshot DirSnapshot::initWithContentsOfFile(const Surroundings& surroundings, const std::string& file,
                                                bool usesSHA1) {
    DirSnapshot snapshot(surroundings);
    snapshot._root.reset(DSNodeLoadSnapshotWithSHA1(file.c_str(), usesSHA1 ? 1 : 0));
    return snapshot;
}

DirSnapshot DirSnapshot::directorySnapshotWithContentsOfFile(const Surroundings& surroundings,
                                                             const std::string& file,
                                                             std::string forDirectory,
                                                             const std::string& withType) {
    return initWithContentsOfFile(surroundings, file, std::move(forDirectory), withType);
}

std::optional<std::string> DirSnapshot::path() const {
    const std::lock_guard guard(pathLock);
    return _path;
}

void DirSnapshot::setPath(std::optional<std::string> path) {
    const std::lock_guard guard(pathLock);
    _path = std::move(path);
}

bool DirSnapshot::writeToFile(const std::string& file, const std::string& withType) const {
    if (isStoredInDatabase(withType))
        DSNodeSaveSnapshotDBWithSHA1(_root.get(), file.c_str(), _usesSHA1 ? 1 : 0);
    else
        DSNodeSaveSnapshotWithSHA1(_root.get(), file.c_str(), _usesSHA1 ? 1 : 0);
    return true;
}

platform::Dictionary DirSnapshot::compareWithSnapshot(const DirSnapshot& other, bool useSHA1) const {
    const Tree none = emptyTree();
    snapshot::ComparedPaths added;
    snapshot::ComparedPaths deleted;
    snapshot::ComparedPaths modified;
    snapshot::ComparedPaths unchanged;
    DSNodeCompareSnapshotsWithSHA1(_root ? _root.get() : none.get(),
                                   other._root ? other._root.get() : none.get(), &added.paths, &added.count,
                                   &deleted.paths, &deleted.count, &modified.paths, &modified.count,
                                   &unchanged.paths, &unchanged.count, useSHA1 ? 1 : 0);
    platform::Dictionary result;
    store(result, DirSnapshotAddedPathsKey, added);
    store(result, DirSnapshotModifiedPathsKey, modified);
    store(result, DirSnapshotDeletedPathsKey, deleted);
    store(result, DirSnapshotUnchangedPathsKey, unchanged);
    return result;
}

DSNode* DirSnapshot::nodeAtFullpath(const std::string& path) const {
    if (!_root) return nullptr;
    if (path == _root->name) return _root.get();
    return DSNodeFindWithFullPath(path.c_str(), _root.get());
}

std::optional<platform::Dictionary> DirSnapshot::attributesOfItemAtPath(const std::string& path) const {
    const DSNode* node = nodeAtFullpath(path);
    if (node == nullptr) return std::nullopt;
    return platform::Dictionary{{platform::NSFileType, fileTypeOf(node->type)},
                                {platform::NSFileModificationDate, node->modifiedTime},
                                {platform::NSFileSize, node->size}};
}

std::optional<platform::Array> DirSnapshot::contentsOfDirectoryAtPath(const std::string& path) const {
    const DSNode* node = nodeAtFullpath(path);
    if (node == nullptr || node->type != DSNodeTypeDirectory) return std::nullopt;
    platform::Array items;
    items.reserve(node->children->count);
    for (std::uint64_t i = 0; i < node->children->count; ++i) {
        const DSNode* child = snapshot::childAt(node, i);
        platform::Dictionary item{
            {DirSnapshotNodePathKey, paths::stringByAppendingPathComponent(path, child->name)}};
        if (child->type == DSNodeTypeDirectory || child->type == DSNodeTypeFile ||
            child->type == DSNodeTypeSymlink) {
            item.emplace(platform::NSFileType, fileTypeOf(child->type));
            item.emplace(platform::NSFileSize, child->size);
            item.emplace(platform::NSFileModificationDate, child->modifiedTime);
            item.emplace(platform::NSFileCreationDate, child->startedTime);
        }
        items.emplace_back(std::move(item));
    }
    return items;
}

std::uint64_t DirSnapshot::countFilesAtPath(const std::string& path, bool recursive,
                                            bool includeHidden) const {
    return _countFilesAtPath(nodeAtFullpath(path), recursive, includeHidden);
}

std::uint64_t DirSnapshot::_countFilesAtPath(const DSNode* top, bool recursive, bool includeHidden) {
    if (top == nullptr || top->type != DSNodeTypeDirectory) return 0;
    std::uint64_t count = 0;
    std::vector<const DSNode*> left{top};
    while (!left.empty()) {
        const DSNode* node = left.back();
        left.pop_back();
        for (std::uint64_t i = 0; i < node->children->count; ++i) {
            const DSNode* child = snapshot::childAt(node, i);
            if (child->type != DSNodeTypeDirectory)
                count += includeHidden || child->name[0] != '.' ? 1U : 0U;
            else if (recursive)
                left.push_back(child);
            else
                ++count;
        }
    }
    return count;
}

void DirSnapshot::debug() const {
    around.log->info("--------------DEBUG SNAPSHOT START");
    printAll(_root.get());
    around.log->info("--------------DEBUG SNAPSHOT END");
}

void DirSnapshot::printAll(const DSNode* top) {
    if (top == nullptr) return;
    std::vector<const DSNode*> left{top};
    while (!left.empty()) {
        const DSNode* node = left.back();
        left.pop_back();
        for (std::uint64_t i = node->children->count; i > 0; --i)
            left.push_back(snapshot::childAt(node, i - 1));
        const snapshot::Text path(DSNodeCreateStringWithFullPath(node));
        if (!path) continue; // too long; the engine has said so
        std::printf("%s %ld %ld  ", path.get(), static_cast<long>(node->modifiedTime),
                    static_cast<long>(node->children->count));
        for (int i = 0; i < DSNodeHashLength; ++i)
            std::printf("%02x", node->hash != nullptr ? unsigned{node->hash[i]} : 0U);
        std::printf("\n");
    }
}

} // namespace dirsnapshot
