#include "apps/dirsnapshot/trees.h"

#include "apps/dirsnapshot/looking.h"
#include "apps/dirsnapshot/output.h"
#include "snapshot/scan/quick_look.h"
#include "snapshot/scan/scan.h"
#include "snapshot/stores/database.h"
#include "snapshot/stores/flat_file.h"
#include "snapshot/stores/item_counts.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <unistd.h>
#include <vector>

namespace dirsnapshot_tool {

namespace {

using snapshot::Asking;

std::string absolute(const std::string& path) {
    std::error_code error;
    return std::filesystem::absolute(path, error);
}

// Otherwise after a message.
bool isDirectory(const std::string& path, Asking& asking) {
    asking.threads[0].begin(path);
    std::error_code error;
    const bool isOne = std::filesystem::is_directory(path, error);
    asking.threads[0].end();
    if (!isOne) complain(path, error ? error.message() : strerror(ENOTDIR));
    return isOne;
}

// The scan records a directory that it cannot read as an empty one; this says so for each.
bool allReadable(const std::string& path, const DSNode* root, bool recursive, Asking& asking) {
    bool readable = true;
    std::vector<const DSNode*> left{root};
    while (!left.empty()) {
        const DSNode* node = left.back();
        left.pop_back();
        for (uint64_t i = 0; recursive && i < node->children->count; i++)
            left.push_back(snapshot::childAt(node, i));
        if (node->type != DSNodeTypeDirectory || node->children->count > 0) continue;
        const snapshot::Text full(DSNodeCreateStringWithFullPathAndBasePath(node, path.c_str()));
        if (full) asking.threads[0].begin(full.get());
        if (full && access(full.get(), R_OK | X_OK) != 0 && errno != ENOENT) {
            complain(full.get(), strerror(errno));
            readable = false;
        }
    }
    asking.threads[0].end();
    return readable;
}

// Whether all of a scan is in the tree; what is missing is said.
bool isComplete(const std::string& path, const DSNode* root, bool recursive, bool isWhole, Asking& asking) {
    if (!allReadable(absolute(path), root, recursive, asking)) return false;
    if (!isWhole) complain(path, "only a part could be read");
    return isWhole;
}

// A database may be named as the file that it is: "s.db" is the one of the snapshot "s".
constexpr std::string_view kDatabaseSuffix = ".db";

bool isDatabaseFile(const std::string& file) {
    constexpr std::string_view magic("SQLite format 3\0", 16); // its first bytes
    char bytes[magic.size()] = {};
    std::ifstream(file, std::ios::binary).read(bytes, sizeof bytes);
    return std::string_view(bytes, sizeof bytes) == magic;
}

std::string withoutSuffix(const std::string& file) {
    const bool hasName = file.size() > kDatabaseSuffix.size();
    return hasName && file.ends_with(kDatabaseSuffix) ? file.substr(0, file.size() - kDatabaseSuffix.size())
                                                      : file;
}

bool isThere(const std::string& snapshot) {
    std::error_code error;
    return std::filesystem::exists(snapshot, error) ||
           std::filesystem::exists(snapshot + std::string(kDatabaseSuffix), error);
}

// The same file for a snapshot as text and for its database: it is taken for the one that it was made of.
std::string evidenceOf(const std::string& snapshot) { return withoutSuffix(snapshot) + ".evidence"; }

} // namespace

void complain(std::string_view subject, std::string_view what) {
    const std::string line = shownOn(STDERR_FILENO, std::string(subject).append(": ").append(what));
    fprintf(stderr, "dirsnapshot: %s\n", line.c_str());
}

LoadedTree scanDirectory(const std::string& path, bool recursive) {
    return take([&](Asking& asking) -> LoadedTree {
        if (!isDirectory(path, asking)) return {};
        DSSnapshotOptions options{};
        options.recursive = recursive ? 1 : 0;
        LoadedTree tree;
        bool isWhole = false;
        tree.root = snapshot::emptyTree();
        snapshot::takeSnapshot(absolute(path).c_str(), tree.root.get(), &options,
                               {.threads = looking().threads, .asking = &asking}, &isWhole);
        tree.complete = isComplete(path, tree.root.get(), recursive, isWhole, asking);
        return tree;
    });
}

LoadedTree lookAgain(const std::string& path, const std::string& older, const StoreType& type,
                     bool structureOnly, snapshot::Evidence& evidence) {
    LoadedTree known;
    if (isThere(older)) known = loadSnapshot(older, type);
    if (known.root == nullptr || !known.complete) known.root = snapshot::emptyTree();
    evidence = loadEvidence(older, known.root.get());
    return take(
        [&](Asking& asking) -> LoadedTree {
            if (!isDirectory(path, asking)) return {};
            LoadedTree tree = std::move(known);
            const bool isWhole = snapshot::lookAgain(tree.root.get(), evidence.get(), absolute(path).c_str(),
                                                     structureOnly ? DSQuickLookStructure : DSQuickLookItems,
                                                     {.threads = looking().threads, .asking = &asking}) == 0;
            tree.complete = isComplete(path, tree.root.get(), true, isWhole, asking);
            return tree;
        },
        &evidence);
}

uint64_t roughlyItemsOf(const std::string& snapshot) {
    if (snapshot.empty()) return 0;
    const uint64_t known = snapshot::itemsInEvidence(evidenceOf(snapshot).c_str());
    return known > 0 ? known : snapshot::roughlyItemsInFlatFile(snapshot.c_str());
}

snapshot::Evidence loadEvidence(const std::string& snapshot, const DSNode* root) {
    return snapshot::Evidence(DSEvidenceLoad(evidenceOf(snapshot).c_str(), root));
}

bool saveEvidence(const snapshot::Evidence& evidence, const std::string& path) {
    const std::string file = evidenceOf(path);
    errno = 0;
    if (DSEvidenceSave(evidence.get(), file.c_str()) == 0) return true;
    complain(file, errno != 0 ? strerror(errno) : "cannot be written");
    return false;
}

LoadedTree loadSnapshot(const std::string& named, const StoreType& type) {
    LoadedTree tree;
    if (looking().earlier.empty()) looking().earlier = named;
    const bool isNamedItself = type != "flat" && withoutSuffix(named) != named && isDatabaseFile(named);
    const std::string path = isNamedItself ? withoutSuffix(named) : named;
    const bool inDatabase =
        isNamedItself || snapshot::isInDatabase(path.c_str(), type.empty() ? "sync" : type.c_str());
    errno = 0;
    tree.root.reset(inDatabase ? snapshot::loadDatabase(path.c_str(), tree.complete, snapshot::Steps::silent)
                               : snapshot::loadFlatFile(path.c_str(), false, tree.complete));
    if (tree.root == nullptr)
        complain(named, access((inDatabase ? path + std::string(kDatabaseSuffix) : path).c_str(), R_OK) != 0
                            ? strerror(errno)
                            : "no snapshot can be read from it");
    else if (!tree.complete)
        complain(named, "only a part could be read");
    return tree;
}

LoadedTree scanOrLoad(const std::string& path, const StoreType& type) {
    const int isDirectory = ask([&](Asking& asking) {
        asking.threads[0].begin(path);
        std::error_code error;
        return std::filesystem::is_directory(path, error) ? 1 : 0;
    });
    if (isDirectory < 0) return {};
    return isDirectory == 1 ? scanDirectory(path, true) : loadSnapshot(path, type);
}

bool saveSnapshot(const DSNode* root, const std::string& named, const StoreType& type) {
    if (type == "flat") {
        errno = 0;
        snapshot::SaveResult result = snapshot::saveFlatFile(root, named.c_str());
        if (result == snapshot::SaveResult::saved) return true;
        std::string what =
            result == snapshot::SaveResult::notCreated ? "cannot be created" : "cannot be written";
        complain(named, errno != 0 ? what + ": " + strerror(errno) : what);
        return false;
    }
    const std::string path = withoutSuffix(named);
    const std::string database = path + std::string(kDatabaseSuffix);
    std::error_code error;
    if (std::filesystem::exists(path, error))
        complain(path, "this file will be read in place of the database");
    const bool isNew = !std::filesystem::exists(database, error);
    if (snapshot::saveDatabase(root, path.c_str(), snapshot::Steps::silent)) return true;
    complain(database, "not all could be written");
    if (isNew) // what is left of it does not load as a snapshot
        for (const char* of : {"", "-journal"})
            std::filesystem::remove(database + of, error);
    return false;
}

DSNode* findItem(const LoadedTree& tree, const std::string& path) {
    std::string absolute = path.starts_with('/') ? path : "/" + path;
    DSNode* node = DSNodeFindWithFullPath(absolute.c_str(), tree.root.get());
    if (node == nullptr) complain(path, "no such item in the snapshot");
    return node;
}

std::string pathOf(const DSNode* node) {
    const snapshot::Text path(DSNodeCreateStringWithFullPath(node));
    return path ? path.get() : "";
}

} // namespace dirsnapshot_tool
