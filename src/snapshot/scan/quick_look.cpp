// The look behind DSQuickLook.h: a walk over the tree that is known, which asks the disk where it may differ.
#include "snapshot/scan/quick_look.h"

#include "snapshot/scan/DirectoryListing.h"
#include "snapshot/tree/Evidence.h"
#include "snapshot/tree/NodeStore.h"
#include "snapshot/tree/list_private.h"
#include "snapshot/tree/path_utils.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <string_view>
#include <tuple>
#include <unistd.h>
#include <unordered_map>
#include <utility>
#include <vector>

namespace snapshot {

namespace {

constexpr int64_t kSecond = 1'000'000'000;
constexpr int64_t kTooRecent = 2 * kSecond; // the coarsest clock of a file system, FAT's
constexpr size_t kNone = SIZE_MAX;

template <typename Time>
int64_t nanoseconds(const Time& time) {
    return time.tv_sec * kSecond + time.tv_nsec;
}

bool look(int directory, const char* path, int flags, struct statx& status) {
    return statx(directory, path, flags, STATX_BASIC_STATS | STATX_BTIME, &status) == 0;
}

uint8_t typeOf(const struct statx& status) {
    if (S_ISREG(status.stx_mode)) return DSNodeTypeFile;
    if (S_ISDIR(status.stx_mode)) return DSNodeTypeDirectory;
    if (S_ISLNK(status.stx_mode)) return DSNodeTypeSymlink;
    return 0; // not recorded
}

// A directory that is opened when it is first needed.
class Opened {
  public:
    Opened(const char* path, int flags) : _path(path), _flags(flags) {}
    ~Opened() {
        if (_descriptor >= 0) close(_descriptor);
    }
    Opened(const Opened&) = delete;
    Opened& operator=(const Opened&) = delete;

    // -1 with errno when it cannot be opened.
    int descriptor() {
        if (_descriptor < 0) _descriptor = open(_path, _flags | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK);
        return _descriptor;
    }

  private:
    const char* _path;
    int _flags;
    int _descriptor = -1;
};

class QuickLook {
  public:
    QuickLook(DSEvidence& evidence, bool structureOnly, Asking::Thread* asking)
        : _old(evidence), _structureOnly(structureOnly), _asking(asking) {
        timespec now;
        clock_gettime(CLOCK_REALTIME, &now);
        _new.begun = nanoseconds(now);
        _new.records.reserve(_old.records.size());
    }

    // False when a part was left out.
    bool run(DSNode* root, std::string_view path) {
        if (path.size() >= DSNodePathCapacity) {
            reportPathTooLong(path);
            return false;
        }
        if (path.ends_with('/')) path.remove_suffix(1);
        memcpy(_path, path.data(), path.size());
        if (_asking != nullptr) _asking->begin(path);
        struct statx status;
        const bool isThere = look(AT_FDCWD, wholePath(path.size()), 0, status);
        const EvidenceRecord now = isThere ? recordOf(status) : EvidenceRecord{};
        directory(root, path.size(), {root, _old.records.empty() ? kNone : 0, now});
        if (_asking != nullptr) _asking->end();
        std::swap(_old, _new);
        return isThere && _isWhole;
    }

  private:
    // Without a node it stands for now.count items in a row, no directories, that are not looked at: their
    // old records are from `known` on.
    struct Item {
        DSNode* node;
        size_t known; // position of its old record, or kNone
        EvidenceRecord now;
    };

    // Brings what is below a directory, whose path is in _path, up to date. The depth is bounded by the
    // length of a path.
    void directory(DSNode* node, size_t pathEnd, const Item& item) {
        const size_t record = _new.records.size();
        _new.records.push_back(item.now);
        if (_asking != nullptr) _asking->begin(wholePath(pathEnd));
        std::vector<Item> children;
        if (isAsBefore(item)) {
            believe(node, pathEnd, item.known, children);
        } else {
            _new.directoriesRead++;
            if (!read(node, pathEnd, item.known, children)) {
                _isWhole = false;
                _new.records[record] = {}; // to be read the next time
            }
        }
        for (const Item& child : children) {
            if (child.node == nullptr) {
                const auto first = _old.records.begin() + static_cast<ptrdiff_t>(child.known);
                _new.records.insert(_new.records.end(), first, first + child.now.count);
            } else if (child.node->type == DSNodeTypeDirectory) {
                directory(child.node, extend(pathEnd, child.node), child);
            } else {
                _new.records.push_back(child.now);
                _new.records.back().check = checkOfNode(*child.node);
            }
        }
        _new.records[record].count = static_cast<uint32_t>(_new.records.size() - record);
        _new.records[record].check = checkOfNode(*node);
    }

    bool isAsBefore(const Item& item) const {
        if (item.known == kNone || item.now.inode == 0) return false;
        const EvidenceRecord& before = _old.records[item.known];
        const int64_t settled = _old.begun - kTooRecent;
        return before.device == item.now.device && before.inode == item.now.inode &&
               before.modified == item.now.modified && before.changed == item.now.changed &&
               before.modified < settled && before.changed < settled;
    }

    // A directory whose names are what they were.
    void believe(DSNode* node, size_t pathEnd, size_t known, std::vector<Item>& children) {
        Opened opened(wholePath(pathEnd), O_PATH);
        const uint64_t count = node->children->count;
        std::vector<DSNode*> gone; // since the directory was looked at, which will show the next time
        size_t next = known + 1;
        for (uint64_t i = 0; i < count; i++) {
            Item child{childAt(node, i), next, {}};
            next += _old.records[next].count;
            if (_structureOnly && child.node->type != DSNodeTypeDirectory) {
                if (children.empty() || children.back().node != nullptr)
                    children.push_back({nullptr, child.known, {}});
                else
                    children.back().now.count++;
                if (_asking != nullptr) _asking->itemExamined(); // as far as this look goes
                continue;
            }
            const bool fits = pathEnd + 1 + child.node->_nameLength < DSNodePathCapacity;
            if (!fits) {
                reportPathTooLong(nameOf(child.node)); // a tree from elsewhere
                _isWhole = false;
            }
            if (fits && lookAt(opened, child))
                children.push_back(child);
            else
                gone.push_back(child.node);
        }
        for (DSNode* child : gone)
            DSNodeDestroy(child);
    }

    // A directory whose names may be others. False when it is there and cannot be read, or holds what has too
    // long a path.
    bool read(DSNode* node, size_t pathEnd, size_t known, std::vector<Item>& children) {
        std::unordered_map<std::string_view, std::pair<DSNode*, size_t>> before;
        before.reserve(node->children->count);
        size_t next = known + 1;
        for (uint64_t i = 0; i < node->children->count; i++) {
            DSNode* child = childAt(node, i);
            before.try_emplace(nameOf(child), child, known != kNone ? next : kNone);
            if (known != kNone) next += _old.records[next].count;
        }
        DirectoryListing listing;
        Opened opened(wholePath(pathEnd), O_RDONLY);
        const int descriptor = opened.descriptor();
        bool isWhole = descriptor < 0 ? DirectoryListing::isGone(errno) : listing.read(descriptor, _asking);
        children.reserve(listing.count());
        for (size_t i = 0; i < listing.count(); i++) {
            const std::string_view name = listing.name(i);
            if (pathEnd + 1 + name.size() >= DSNodePathCapacity) {
                reportPathTooLong(name);
                isWhole = false;
                continue;
            }
            Item child{nullptr, kNone, {}};
            const auto found = before.find(name);
            if (found != before.end()) std::tie(child.node, child.known) = found->second;
            if (!lookAt(opened, child, name)) continue;
            children.push_back(child);
        }
        replaceChildren(node, children);
        return isWhole;
    }

    // The children become these, in this order, which is that of the bytes of their names.
    static void replaceChildren(DSNode* node, const std::vector<Item>& children) {
        std::vector<DSNode*> before;
        before.reserve(node->children->count);
        for (uint64_t i = 0; i < node->children->count; i++)
            before.push_back(childAt(node, i));
        if (std::ranges::equal(before, children, {}, {}, &Item::node)) return;
        releaseLinks(node->children);
        for (DSNode* child : before)
            child->parent = nullptr;
        reserve(node->children, children.size());
        for (const Item& child : children)
            DSNodeAppendChild(child.node, node);
        for (DSNode* child : before)
            if (child->parent == nullptr) DSNodeDestroy(child);
    }

    // Gives the node, a new one where there is none, what is seen. False when the item is not there, or of a
    // kind that is not recorded.
    bool lookAt(Opened& directory, Item& item, std::string_view name = {}) {
        if (_asking != nullptr) _asking->itemExamined();
        struct statx status;
        const char* text = item.node != nullptr ? item.node->name : name.data();
        const int descriptor = directory.descriptor();
        if (descriptor < 0 || !look(descriptor, text, AT_SYMLINK_NOFOLLOW, status)) return false;
        const uint8_t type = typeOf(status);
        if (type == 0) return false;
        item.now = recordOf(status);
        if (item.node == nullptr) {
            item.node = _nodes.create(name, 0, 0, 0, type);
        } else if (item.node->type != type) {
            item.known = kNone;
            while (item.node->children->count > 0)
                DSNodeDestroy(childAt(item.node, item.node->children->count - 1));
        }
        item.node->type = type;
        item.node->size = static_cast<int64_t>(status.stx_size);
        item.node->modifiedTime = status.stx_mtime.tv_sec;
        item.node->startedTime = status.stx_atime.tv_sec;
        return true;
    }

    static EvidenceRecord recordOf(const struct statx& status) {
        EvidenceRecord record;
        record.device = makedev(status.stx_dev_major, status.stx_dev_minor);
        record.inode = status.stx_ino;
        record.modified = nanoseconds(status.stx_mtime);
        record.changed = nanoseconds(status.stx_ctime);
        if ((status.stx_mask & STATX_BTIME) != 0) record.born = nanoseconds(status.stx_btime);
        return record;
    }

    size_t extend(size_t pathEnd, const DSNode* child) {
        _path[pathEnd] = '/';
        memcpy(_path + pathEnd + 1, child->name, child->_nameLength);
        return pathEnd + 1 + child->_nameLength;
    }
    const char* wholePath(size_t pathEnd) {
        _path[pathEnd] = '\0';
        return pathEnd == 0 ? "/" : _path;
    }

    DSEvidence& _old;
    DSEvidence _new;
    const bool _structureOnly;
    Asking::Thread* const _asking; // of this thread, or NULL
    NodeStore _nodes;
    bool _isWhole = true;
    char _path[DSNodePathCapacity]; // of the directory in hand
};

} // namespace

int lookAgain(DSNode* root, DSEvidence* evidence, const char* path, int32_t look, const Reading& reading) {
    if (path == nullptr || path[0] != '/') {
        fputs("Cannot look for path components on a non-absolute path.\n", stderr);
        return -1;
    }
    if (root == nullptr || evidence == nullptr) return -1;
    Asking::Thread* asking = reading.asking != nullptr ? reading.asking->threads.data() : nullptr;
    return QuickLook(*evidence, look == DSQuickLookStructure, asking).run(root, path) ? 0 : -1;
}

} // namespace snapshot

int DSNodeLookAgain(DSNode* root, DSEvidence* evidence, const char* path, int32_t look) noexcept {
    return snapshot::lookAgain(root, evidence, path, look, {});
}
