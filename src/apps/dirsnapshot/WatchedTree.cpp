#include "apps/dirsnapshot/WatchedTree.h"

#include "apps/dirsnapshot/ToldDifferences.h"
#include "apps/dirsnapshot/looking.h"
#include "snapshot/scan/quick_look.h"
#include "snapshot/scan/scan.h"
#include "snapshot/tree/Evidence.h"

#include <sys/stat.h>

#include <ctime>
#include <utility>

namespace dirsnapshot_tool {

namespace {

constexpr int64_t kSecond = 1'000'000'000;

int64_t nanoseconds(const timespec& time) { return time.tv_sec * kSecond + time.tv_nsec; }

// By the clock of the file systems' times.
int64_t now() {
    timespec time;
    clock_gettime(CLOCK_REALTIME_COARSE, &time);
    return nanoseconds(time);
}

// As a scan records it; 0: not at all.
uint8_t kindOf(const struct stat& status) {
    if (S_ISREG(status.st_mode)) return DSNodeTypeFile;
    if (S_ISDIR(status.st_mode)) return DSNodeTypeDirectory;
    return S_ISLNK(status.st_mode) ? DSNodeTypeSymlink : 0;
}

std::string parentOf(const std::string& item) {
    const size_t slash = item.rfind('/');
    return slash == 0 ? "/" : item.substr(0, slash);
}

std::string nameOf(const std::string& item) { return item.substr(item.rfind('/') + 1); }

void setFields(DSNode* node, const struct stat& status) {
    node->type = kindOf(status);
    node->size = status.st_size;
    node->modifiedTime = status.st_mtim.tv_sec;
    node->startedTime = status.st_atim.tv_sec;
}

// The differences below two directories, whose own path from the top is `prefix`.
void enumerate(const std::string& prefix, const DSNode* current, const DSNode* previous,
               const DSEvidence* currentEvidence, const DSEvidence* previousEvidence,
               const WatchedTree::Tell& tell) {
    struct Context {
        const std::string& prefix;
        const WatchedTree::Tell& tell;
    } context{prefix, tell};
    DSDifferenceOptions options{};
    options.fields = DSFieldType | DSFieldSize | DSFieldModifiedTime;
    options.moves = previousEvidence != nullptr ? 1 : 0;
    options.currentEvidence = currentEvidence;
    options.previousEvidence = previousEvidence;
    DSNodeEnumerateDifferences(
        current, previous, &options,
        [](const DSDifference* difference, void* given) {
            const auto& to = *static_cast<Context*>(given);
            DSDifference whole = *difference;
            const std::string path = to.prefix + difference->path;
            const std::string from =
                difference->previousPath != nullptr ? to.prefix + difference->previousPath : "";
            whole.path = path.c_str();
            if (difference->previousPath != nullptr) whole.previousPath = from.c_str();
            to.tell(whole);
            return 0;
        },
        &context);
}

} // namespace

DSNode* WatchedTree::find(const std::string& item) const {
    return DSNodeFindWithFullPath(item.c_str(), _tree.get());
}

// Brings the tree and its evidence up to date.
bool WatchedTree::look() {
    LoadedTree found = take(
        [this](snapshot::Asking& asking) {
            snapshot::lookAgain(_tree.get(), _evidence.get(), _path.c_str(), DSQuickLookItems,
                                {.threads = looking().threads, .asking = &asking});
            return LoadedTree{std::move(_tree), true};
        },
        &_evidence);
    if (found.root == nullptr) return false;
    _tree = std::move(found.root);
    return true;
}

bool WatchedTree::begin(const LoadedTree& known, bool isTold) {
    _begun = now();
    _tree = snapshot::emptyTree();
    _evidence.reset(DSEvidenceCreate());
    if (!look()) return false;
    if (isTold) enumerate("", _tree.get(), known.root.get(), nullptr, nullptr, _tell);
    return true;
}

bool WatchedTree::lookAtAll() {
    const snapshot::Tree before(DSNodeCopy(_tree.get()));
    const DSEvidence known = _evidence != nullptr ? *_evidence : DSEvidence{};
    const bool isKnown = _evidence != nullptr;
    if (!isKnown) _evidence.reset(DSEvidenceCreate());
    const int64_t begun = now();
    if (!look()) return false;
    enumerate("", _tree.get(), before.get(), _evidence.get(), isKnown ? &known : nullptr, _tell);
    _begun = begun;
    _written.clear();
    return true;
}

void WatchedTree::lookAt(const std::string& item) {
    struct stat status {};
    const bool isThere = lstat((_path + item).c_str(), &status) == 0 && kindOf(status) != 0;
    DSNode* node = find(item);
    if (node != nullptr && (!isThere || node->type != kindOf(status))) {
        const bool wasDirectory = node->type == DSNodeTypeDirectory;
        if (!isThere || wasDirectory || S_ISDIR(status.st_mode)) {
            vanish(item, node);
            node = nullptr;
        }
    }
    if (!isThere) return;
    if (node == nullptr)
        appear(item, status);
    else
        takeIn(item, status);
}

// An item that is known and still there.
void WatchedTree::takeIn(const std::string& item, const struct stat& status) {
    DSNode* node = find(item);
    uint32_t fields = 0;
    if (node->type != kindOf(status)) fields |= DSFieldType;
    if (node->size != status.st_size) fields |= DSFieldSize;
    const bool isWritten = isWrittenAgain(item, node, status);
    if (isWritten || node->modifiedTime != status.st_mtim.tv_sec) fields |= DSFieldModifiedTime;
    const snapshot::Tree before(
        DSNodeCreate(node->name, node->size, node->modifiedTime, node->startedTime, node->type));
    setFields(node, status);
    if (fields == 0 || node->type == DSNodeTypeDirectory) return; // of a directory only the type counts
    _evidence.reset();
    DSDifference difference{};
    difference.kind = DSDifferenceModified;
    difference.fields = fields;
    difference.current = node;
    difference.previous = before.get();
    difference.path = item.c_str();
    _tell(difference);
}

// Within the second that the tree knows.
bool WatchedTree::isWrittenAgain(const std::string& item, const DSNode* node, const struct stat& status) {
    if (node->type != DSNodeTypeFile) return false;
    const int64_t time = nanoseconds(status.st_mtim);
    const auto seen = _written.find(item);
    const bool isNewer = seen != _written.end() ? seen->second != time : time >= _begun;
    if (isNewer) _written[item] = time;
    return isNewer;
}

void WatchedTree::appear(const std::string& item, const struct stat& status) {
    DSNode* parent = find(parentOf(item));
    if (parent == nullptr || parent->type != DSNodeTypeDirectory) return; // whose own appearance will show it
    if (_path.size() + item.size() >= DSNodePathCapacity) return;         // as a scan leaves it out
    _evidence.reset();
    DSNode* node = DSNodeCreateWithParent(parent, nameOf(item).c_str(), 0, 0, 0, DSNodeTypeFile);
    setFields(node, status);
    if (node->type == DSNodeTypeFile) _written[item] = nanoseconds(status.st_mtim);
    if (node->type == DSNodeTypeDirectory) {
        _watch(_path + item);
        DSSnapshotOptions options{};
        options.recursive = 1;
        snapshot::takeSnapshot((_path + item).c_str(), node, &options, {.threads = looking().threads});
    }
    tellWhole(DSDifferenceAdded, item, node, _tell);
}

void WatchedTree::vanish(const std::string& item, DSNode* node) {
    _evidence.reset();
    tellWhole(DSDifferenceDeleted, item, node, _tell);
    _written.erase(item);
    DSNodeDestroy(node);
}

void WatchedTree::move(const std::string& from, const std::string& to) {
    DSNode* node = find(from);
    DSNode* parent = find(parentOf(to));
    struct stat status {};
    const bool isThere = lstat((_path + to).c_str(), &status) == 0;
    if (node == nullptr || parent == nullptr || parent->type != DSNodeTypeDirectory || !isThere ||
        node->type != kindOf(status)) { // it went on meanwhile, or was made in between
        lookAt(from);
        lookAt(to);
        return;
    }
    if (DSNode* replaced = find(to); replaced != nullptr && replaced != node) vanish(to, replaced);
    _evidence.reset();
    DSListRemoveValue(node->parent->children, node);
    node->parent = nullptr;
    DSNodeSetName(node, nameOf(to).c_str());
    DSNodeAppendChild(node, parent);
    if (const auto written = _written.extract(from); !written.empty()) _written[to] = written.mapped();
    DSDifference difference{};
    difference.kind = DSDifferenceMoved;
    difference.movedBy = DSMovedByInode;
    difference.current = difference.previous = node;
    difference.path = to.c_str();
    difference.previousPath = from.c_str();
    _tell(difference);
    if (node->type == DSNodeTypeDirectory) {
        _watch(_path + to);
        compareWithDisk(to, node);
    }
}

// What changed below a directory while it was moved.
void WatchedTree::compareWithDisk(const std::string& item, DSNode* node) {
    const snapshot::Tree there = snapshot::emptyTree();
    DSSnapshotOptions options{};
    options.recursive = 1;
    snapshot::takeSnapshot((_path + item).c_str(), there.get(), &options, {.threads = looking().threads});
    // Its parts keep their places in a tree of their own while both are compared.
    const snapshot::Tree before = snapshot::emptyTree();
    while (node->children->count > 0) {
        DSNode* child = snapshot::childAt(node, 0);
        DSListRemoveValue(node->children, child);
        child->parent = nullptr;
        DSNodeAppendChild(child, before.get());
    }
    enumerate(item, there.get(), before.get(), nullptr, nullptr, _tell);
    while (there->children->count > 0) {
        DSNode* child = snapshot::childAt(there.get(), 0);
        DSListRemoveValue(there->children, child);
        child->parent = nullptr;
        DSNodeAppendChild(child, node);
    }
}

} // namespace dirsnapshot_tool
