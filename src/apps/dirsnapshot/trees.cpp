#include "apps/dirsnapshot/trees.h"

#include "snapshot/scan/scan.h"
#include "snapshot/stores/database.h"
#include "snapshot/stores/flat_file.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <unistd.h>
#include <vector>

namespace dirsnapshot_tool {

namespace {

// Counts entries for whoever watches the terminal.
struct Progress {
    DSScanProgressContext context{}; // first: the scan knows only this
    unsigned long long entries = 0;

    static int32_t entered(void* context) {
        auto* progress = static_cast<Progress*>(context);
        if (++progress->entries % 1000 == 0) fprintf(stderr, "\r%llu entries", progress->entries);
        return 0;
    }
    void clear() const {
        if (entries >= 1000) fputs("\r\033[K", stderr);
    }
};

// The scan records a directory that it cannot read as an empty one; this says so for each.
bool allReadable(const std::string& path, const DSNode* root, bool recursive) {
    bool readable = true;
    std::vector<const DSNode*> left{root};
    while (!left.empty()) {
        const DSNode* node = left.back();
        left.pop_back();
        for (uint64_t i = 0; recursive && i < node->children->count; i++)
            left.push_back(snapshot::childAt(node, i));
        if (node->type != DSNodeTypeDirectory || node->children->count > 0) continue;
        const snapshot::Text full(DSNodeCreateStringWithFullPathAndBasePath(node, path.c_str()));
        if (full && access(full.get(), R_OK | X_OK) != 0 && errno != ENOENT) {
            complain(full.get(), strerror(errno));
            readable = false;
        }
    }
    return readable;
}

// Whether all of a scan is in the tree; what is missing is said.
bool isComplete(const std::string& path, const std::string& absolute, const DSNode* root, bool recursive,
                bool isWhole) {
    if (!allReadable(absolute, root, recursive)) return false;
    if (!isWhole) complain(path, "only a part could be read");
    return isWhole;
}

// Empty after a message.
std::string absoluteDirectory(const std::string& path) {
    std::error_code error;
    std::filesystem::path absolute = std::filesystem::absolute(path, error);
    if (!error && !std::filesystem::is_directory(absolute, error) && !error)
        error = std::make_error_code(std::errc::not_a_directory);
    if (!error) return absolute;
    complain(path, error.message());
    return {};
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
    fprintf(stderr, "dirsnapshot: %.*s: %.*s\n", static_cast<int>(subject.size()), subject.data(),
            static_cast<int>(what.size()), what.data());
}

LoadedTree scanDirectory(const std::string& path, bool recursive) {
    const std::string absolute = absoluteDirectory(path);
    if (absolute.empty()) return {};
    Progress progress;
    DSSnapshotOptions options{};
    options.recursive = recursive ? 1 : 0;
    if (isatty(STDERR_FILENO) != 0) {
        options.callback = Progress::entered;
        options.callbackContext = &progress;
    }
    LoadedTree tree;
    bool isWhole = false;
    tree.root = snapshot::emptyTree();
    snapshot::takeSnapshot(absolute.c_str(), tree.root.get(), &options,
                           {.callback = snapshot::Callback::onlyWatches}, &isWhole);
    progress.clear();
    tree.complete = isComplete(path, absolute, tree.root.get(), recursive, isWhole);
    return tree;
}

LoadedTree lookAgain(const std::string& path, const std::string& older, const StoreType& type,
                     bool structureOnly, snapshot::Evidence& evidence) {
    const std::string absolute = absoluteDirectory(path);
    if (absolute.empty()) return {};
    LoadedTree tree;
    if (isThere(older)) tree = loadSnapshot(older, type);
    if (tree.root == nullptr || !tree.complete) tree.root = snapshot::emptyTree();
    evidence.reset(DSEvidenceLoad(evidenceOf(older).c_str(), tree.root.get()));
    const int32_t look = structureOnly ? DSQuickLookStructure : DSQuickLookItems;
    const bool isWhole = DSNodeLookAgain(tree.root.get(), evidence.get(), absolute.c_str(), look) == 0;
    tree.complete = isComplete(path, absolute, tree.root.get(), true, isWhole);
    return tree;
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
    std::error_code error;
    bool isDirectory = std::filesystem::is_directory(path, error);
    return isDirectory ? scanDirectory(path, true) : loadSnapshot(path, type);
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
