#include "apps/dirsnapshot/diff.h"

#include "apps/dirsnapshot/DifferenceRecords.h"
#include "apps/dirsnapshot/output.h"
#include "dirsnapshot/DirSnapshot.h"
#include "platform/file_attributes.h"
#include "platform/utf8.h"
#include "snapshot/DSCompare.h"

#include <filesystem>

namespace dirsnapshot_tool {

namespace {

platform::Value valueOf(const snapshot::ComparedPaths& paths) {
    platform::Array array;
    for (const char* path : paths)
        array.emplace_back(platform::undoableText(path));
    return array;
}

// What kind of item is meant only a look into the tree tells, and only colours ask.
void addTo(Records& records, char letter, const snapshot::ComparedPaths& paths, const LoadedTree& tree,
           const LsColors* colours) {
    for (const char* path : paths) {
        const DSNode* node = colours != nullptr ? DSNodeFindWithFullPath(path, tree.root.get()) : nullptr;
        const uint8_t type = node != nullptr ? node->type : uint8_t{DSNodeTypeFile};
        addChange(records, letter, path, {}, colours, type);
    }
}

// The items of one category of a comparison by digests.
class Items {
  public:
    Items(const platform::Dictionary& result, const char* category) {
        _items = platform::arrayAt(result, category);
    }
    bool isEmpty() const { return _items == nullptr; }
    platform::Value value() const {
        platform::Array array;
        each([&](const std::string& path, const platform::Dictionary& item) {
            array.emplace_back(platform::Dictionary{{"path", platform::undoableText(path)},
                                                    {"type", typeOf(item)},
                                                    {"size", item.at(platform::NSFileSize)}});
        });
        return array;
    }
    void addTo(Records& records, char letter, const LsColors* colours) const {
        each([&](const std::string& path, const platform::Dictionary& item) {
            addChange(records, letter, path,
                      platform::Dictionary{{"type", typeOf(item)}, {"size", item.at(platform::NSFileSize)}},
                      colours, typeOf(item));
        });
    }

  private:
    template <typename Visit>
    void each(Visit visit) const {
        if (isEmpty()) return;
        for (const platform::Value& value : *_items) {
            const platform::Dictionary& item = *value.dictionary();
            visit(*item.at(dirsnapshot::DirSnapshotNodePathKey).string(), item);
        }
    }
    static uint8_t typeOf(const platform::Dictionary& item) {
        const std::string& type = *item.at(platform::NSFileType).string();
        if (type == platform::NSFileTypeDirectory) return DSNodeTypeDirectory;
        return type == platform::NSFileTypeSymbolicLink ? DSNodeTypeSymlink : DSNodeTypeFile;
    }

    const platform::Array* _items = nullptr;
};

// By later times alone, all of a kind together.
ExitCode diffByTimes(const Source& older, const Source& newer, Format format, const LsColors* colours) {
    LoadedTree previous = scanOrLoad(older.path, older.type);
    LoadedTree current = scanOrLoad(newer.path, newer.type);
    if (previous.root == nullptr || current.root == nullptr) return kTrouble;
    snapshot::ComparedPaths added;
    snapshot::ComparedPaths deleted;
    snapshot::ComparedPaths modified;
    snapshot::ComparedPaths unchanged;
    DSNodeCompareSnapshotsWithSHA1(current.root.get(), previous.root.get(), &added.paths, &added.count,
                                   &deleted.paths, &deleted.count, &modified.paths, &modified.count,
                                   &unchanged.paths, &unchanged.count, 0);
    if (format == Format::json) {
        printJson(platform::Dictionary{{"added", valueOf(added)},
                                       {"modified", valueOf(modified)},
                                       {"deleted", valueOf(deleted)},
                                       {"unchanged", valueOf(unchanged)}});
    } else {
        Records records(format);
        addTo(records, 'A', added, current, colours);
        addTo(records, 'M', modified, current, colours);
        addTo(records, 'D', deleted, previous, colours);
    }
    if (!previous.complete || !current.complete) return kTrouble;
    return added.count + modified.count + deleted.count > 0 ? kDifferent : kSame;
}

ExitCode diffByHashes(const Source& older, const Source& newer, const HashOptions& options, Format format,
                      const LsColors* colours) {
    LoadedTree previous = scanOrLoad(older.path, older.type);
    LoadedTree current = scanOrLoad(newer.path, newer.type);
    if (previous.root == nullptr || current.root == nullptr) return kTrouble;
    std::string base = options.base;
    std::error_code error;
    if (base.empty() && std::filesystem::is_directory(newer.path, error)) base = newer.path;
    if (!base.empty()) base = std::filesystem::absolute(base).lexically_normal();
    const platform::Dictionary result = dirsnapshot::DirSnapshot::compareWithSnapshotUsingHashes(
        current.root.get(), previous.root.get(), options.ignoreDeleted, options.exclusions, base);
    const Items added(result, dirsnapshot::DirSnapshotAddedPathsKey);
    const Items modified(result, dirsnapshot::DirSnapshotModifiedPathsKey);
    const Items deleted(result, dirsnapshot::DirSnapshotDeletedPathsKey);
    if (format == Format::json) {
        printJson(platform::Dictionary{
            {"added", added.value()}, {"modified", modified.value()}, {"deleted", deleted.value()}});
    } else {
        Records records(format);
        added.addTo(records, 'A', colours);
        modified.addTo(records, 'M', colours);
        deleted.addTo(records, 'D', colours);
    }
    if (!previous.complete || !current.complete) return kTrouble;
    return result.empty() ? kSame : kDifferent;
}

} // namespace

// Records for programs go out one by one; lines, and the arrays of --json, have all of a kind together.
ExitCode diff(const Source& older, const Source& newer, const DiffOptions& options) {
    const LsColors* colours = coloursFor(options.colouring);
    if (options.byHashes) return diffByHashes(older, newer, options.hashes, options.format, colours);
    const bool isOneByOne = options.format == Format::null || options.format == Format::ndjson;
    return options.comparesFields() || isOneByOne ? diffByFields(older, newer, options)
                                                  : diffByTimes(older, newer, options.format, colours);
}

} // namespace dirsnapshot_tool
