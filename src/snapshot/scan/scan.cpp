#include "snapshot/scan/scan.h"

#include "snapshot/scan/DirectoryListing.h"
#include "snapshot/scan/WorkAhead.h"
#include "snapshot/tree/NodeStore.h"
#include "snapshot/tree/list_private.h"
#include "snapshot/tree/path_utils.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <deque>
#include <fcntl.h>
#include <memory>
#include <optional>
#include <string_view>
#include <unistd.h>
#include <utility>

namespace snapshot {

namespace {

// Levels of the walk that keep their directory open; deeper ones go by whole paths, so that a scan never
// takes many of the process's descriptors.
constexpr size_t kOpenLevels = 32;

int openDirectory(int at, const char* path, int flags) {
    return openat(at, path, O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK | flags);
}

// One scan of one directory tree.
class Scan {
  public:
    // Threads beside the caller's are used only where a callback cannot tell.
    Scan(DSSnapshotOptions* options, const Reading& reading)
        : _options(options), _asking(reading.asking != nullptr ? reading.asking->threads.data() : nullptr) {
        bool cannotTell = options->callback == nullptr || reading.callback == Callback::onlyWatches;
        if (reading.threads != 1 && cannotTell && options->recursive == 1)
            _ahead.emplace(reading.threads, reading.asking);
    }

    // False when something was left out: a path that is too long, or a directory that cannot be read.
    bool run(const char* dirPath, DSNode* node) {
        std::string_view path = dirPath;
        if (path.size() >= DSNodePathCapacity) {
            reportPathTooLong(path);
            return false;
        }
        if (path.ends_with('/')) path.remove_suffix(1);
        memcpy(_path, path.data(), path.size());
        _path[path.size()] = '\0';
        if (_ahead)
            enter(node, path.size(), _ahead->top(dirPath));
        else
            enter(node, path.size(), openTop(dirPath));
        while (_depth > 0) {
            Level& level = _levels[_depth - 1];
            if (level.next == level.entries->count() || !visit(level, level.next++)) leave();
        }
        if (auto* context = progressContext()) context->currentPath = nullptr;
        if (_asking != nullptr) _asking->end();
        return _isWhole;
    }

  private:
    struct Level {
        DSNode* node;
        size_t pathEnd; // of the directory's path in _path
        int directory;  // descriptor, or -1 when it is not kept open
        size_t next;    // position of the next entry
        bool hasRoom;   // whether the node's list has room for the entries
        DirectoryListing listing;
        const DirectoryListing* entries;             // that listing, or the one read ahead
        std::unique_ptr<WorkAhead::Directory> ahead; // when directories are read ahead
        size_t nextBelow;                            // position of the next directory in it
    };

    DSScanProgressContext* progressContext() const {
        if (_options->callback == nullptr) return nullptr;
        return static_cast<DSScanProgressContext*>(_options->callbackContext);
    }

    Level& enterLevel(DSNode* node, size_t pathEnd, int directory) {
        if (_levels.size() == _depth) _levels.emplace_back();
        Level& level = _levels[_depth++];
        level.node = node;
        level.pathEnd = pathEnd;
        level.directory = directory;
        level.next = 0;
        level.hasRoom = false;
        level.entries = &level.listing;
        level.nextBelow = 0;
        return level;
    }

    // Begins with a directory that helpers may have read.
    void enter(DSNode* node, size_t pathEnd, std::unique_ptr<WorkAhead::Directory> ahead) {
        Level& level = enterLevel(node, pathEnd, -1);
        level.ahead = std::move(ahead);
        _ahead->take(*level.ahead);
        if (!level.ahead->isRead) _isWhole = false;
        level.entries = &level.ahead->listing;
    }

    // Begins with a directory that has just been opened (-1 when that failed: it has no entries).
    void enter(DSNode* node, size_t pathEnd, int directory) {
        if (directory < 0 && !DirectoryListing::isGone(errno)) _isWhole = false;
        Level& level = enterLevel(node, pathEnd, directory);
        if (directory < 0) {
            level.listing.clear();
            return;
        }
        if (!level.listing.read(directory, _asking)) _isWhole = false;
        // With a callback, an entry is examined only after its call.
        if (_options->callback == nullptr) level.listing.examine(directory, _asking);
        if (_depth > kOpenLevels) closeDirectory(level);
    }

    void leave() {
        closeDirectory(_levels[--_depth]);
        if (_levels[_depth].ahead != nullptr) _ahead->giveBack(std::move(_levels[_depth].ahead));
    }

    static void closeDirectory(Level& level) {
        if (level.directory >= 0) close(level.directory);
        level.directory = -1;
    }

    // Records one entry and goes below it. False when the callback stops the directory.
    bool visit(Level& level, size_t position) {
        std::string_view name = level.entries->name(position);
        size_t end = level.pathEnd + 1 + name.size();
        if (end >= DSNodePathCapacity) {
            reportPathTooLong(name);
            _isWhole = false;
            return true;
        }
        _path[level.pathEnd] = '/';
        memcpy(_path + level.pathEnd + 1, name.data(), name.size() + 1);

        if (_options->callback != nullptr) {
            if (auto* context = progressContext()) context->currentPath = _path;
            if (_options->callback(_options->callbackContext) != 0 && level.ahead == nullptr) return false;
        }
        DirectoryListing::Status status;
        if (_options->callback == nullptr || level.ahead != nullptr)
            status = level.entries->status(position);
        else
            status = DirectoryListing::statusOf(level.directory >= 0 ? level.directory : AT_FDCWD,
                                                level.directory >= 0 ? name.data() : _path);
        if (status.isUnknown) _isWhole = false;
        if (status.type == 0) return true;
        DSNode* node =
            _nodes.create(name, status.size, status.modifiedTime, status.accessedTime, status.type);
        if (!std::exchange(level.hasRoom, true)) // only now: a list to which nothing is appended has no array
            reserve(level.node->children, level.node->children->count + level.entries->count() - position);
        DSNodeAppendChild(node, level.node);
        if (status.type == DSNodeTypeDirectory && _options->recursive == 1) {
            if (level.ahead != nullptr)
                enter(node, end, std::move(level.ahead->below[level.nextBelow++]));
            else
                enter(node, end, openBelow(level, name.data()));
        }
        return true;
    }

    int openTop(const char* path) {
        if (_asking != nullptr) _asking->begin(path);
        return openDirectory(AT_FDCWD, path, 0);
    }

    // Opens the directory whose path is in _path, gives up descriptors of its own when the process has none
    // left.
    int openBelow(const Level& level, const char* name) {
        if (_asking != nullptr) _asking->begin(_path);
        int directory = level.directory >= 0 ? openDirectory(level.directory, name, O_NOFOLLOW)
                                             : openDirectory(AT_FDCWD, _path, O_NOFOLLOW);
        if (directory >= 0 || (errno != EMFILE && errno != ENFILE)) return directory;
        for (size_t i = 0; i < _depth; i++)
            closeDirectory(_levels[i]);
        return openDirectory(AT_FDCWD, _path, O_NOFOLLOW);
    }

    DSSnapshotOptions* _options;
    Asking::Thread* const _asking; // of this thread, or NULL
    std::deque<Level> _levels;     // the first _depth are in use; the others keep their memory for later
    size_t _depth = 0;
    NodeStore _nodes;
    std::optional<WorkAhead> _ahead;
    bool _isWhole = true;
    char _path[DSNodePathCapacity];
};

} // namespace

DSNode* _takeSnapshotWithOptions(const char* dirPath, DSNode* node, DSSnapshotOptions* options) {
    return takeSnapshot(dirPath, node, options, Reading{});
}

DSNode* takeSnapshot(const char* dirPath, DSNode* node, DSSnapshotOptions* options, const Reading& reading,
                     bool* isWhole) {
    DSSnapshotOptions none = {};
    bool whole = false;
    if (dirPath == nullptr || dirPath[0] != '/')
        fputs("Cannot look for path components on a non-absolute path.\n", stderr);
    else
        whole = Scan(options != nullptr ? options : &none, reading).run(dirPath, node);
    if (isWhole != nullptr) *isWhole = whole;
    return node;
}

DSNode* _takeSnapshot(const char* dirPath, DSNode* root, DSList* patterns) {
    DSSnapshotOptions options = {};
    options.excludingPatterns = patterns;
    options.useSHA1 = 1;
    options.recursive = 1;
    return _takeSnapshotWithOptions(dirPath, root, &options);
}

} // namespace snapshot

using namespace snapshot;

DSNode* DSNodeCreateDirectorySnapshot(const char* path) noexcept {
    return DSNodeCreateDirectorySnapshotExcluding(path, nullptr);
}

DSNode* DSNodeCreateDirectorySnapshotExcluding(const char* path, DSList* patterns) noexcept {
    return DSNodeCreateDirectorySnapshotWithSHA1Excluding(path, patterns, 0);
}

DSNode* DSNodeCreateDirectorySnapshotWithSHA1Excluding(const char* path, DSList* patterns,
                                                       int32_t useSHA1) noexcept {
    return DSNodeCreateDirectorySnapshotWithSHA1ExcludingUsingCallback(path, patterns, useSHA1, nullptr,
                                                                       nullptr);
}

DSNode* DSNodeCreateDirectorySnapshotWithSHA1ExcludingUsingCallback(const char* path, DSList* patterns,
                                                                    int32_t useSHA1, DSScanCallback callback,
                                                                    void* callbackContext) noexcept {
    DSSnapshotOptions options = {};
    options.excludingPatterns = patterns;
    options.useSHA1 = useSHA1;
    options.callback = callback;
    options.callbackContext = callbackContext;
    options.recursive = 1;
    return DSNodeCreateDirectorySnapshotWithOptions(path, &options);
}

DSNode* DSNodeCreateDirectorySnapshotWithOptions(const char* path, DSSnapshotOptions* options) noexcept {
    return _takeSnapshotWithOptions(path, DSNodeCreate("/", 0, 0, 0, DSNodeTypeDirectory), options);
}
