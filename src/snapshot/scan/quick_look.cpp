// The look behind DSQuickLook.h: the known items are asked for where they are known to be (KnownItems.h), and
// a walk over the tree looks where it may differ.
//
// The walk takes what was seen of one directory after the other into the tree; several threads ask ahead of
// it (WorkAhead.h). They read the nodes of directories that it has not come to, so nodes that go are released
// when those threads have ended.
#include "snapshot/scan/quick_look.h"

#include "snapshot/scan/KnownItems.h"
#include "snapshot/scan/KnownTree.h"
#include "snapshot/scan/WorkAhead.h"
#include "snapshot/tree/NodeStore.h"
#include "snapshot/tree/list_private.h"
#include "snapshot/tree/path_utils.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

namespace snapshot {

namespace {

class QuickLook {
  public:
    QuickLook(DSEvidence& evidence, bool structureOnly, const Reading& reading)
        : _old(evidence), _structureOnly(structureOnly), _reading(reading),
          _asking(reading.asking != nullptr ? reading.asking->threads.data() : nullptr),
          _known(evidence, structureOnly), _ahead(reading.threads, reading.asking, &_known) {
        timespec now;
        clock_gettime(CLOCK_REALTIME, &now);
        _new.begun = now.tv_sec * 1'000'000'000 + now.tv_nsec;
    }

    // False when a part was left out.
    bool run(DSNode* root, const char* top) {
        std::string_view path = top;
        if (path.size() >= DSNodePathCapacity) {
            reportPathTooLong(path);
            return false;
        }
        if (path.ends_with('/')) path.remove_suffix(1);
        if (_asking != nullptr) _asking->begin(top);
        EvidenceRecord now;
        const bool isThere = DirectoryListing::statusOf(AT_FDCWD, top, 0, now).type != 0;
        now.isDirectory = true;
        now.check = checkOfNode(*root);
        if (_asking != nullptr) _asking->end();
        const KnownTree::Item known{root, _old.records.empty() ? KnownTree::kNone : 0};
        const bool isAsBefore = _known.isAsBefore(known, now);
        if (_known.isSameDirectory(known, now)) {
            KnownQuestions questions(_old, root, path.size(), isAsBefore, _structureOnly);
            if (KnownItems(_old, _known, _reading, std::move(questions), path).ask(isAsBefore)) {
                _old.begun = _new.begun;
                _old.directoriesRead = 0;
                return true;
            }
        }
        _new.records.reserve(_old.records.size());
        directory(root, path.size(), now, _ahead.top(top, known, isAsBefore));
        std::swap(_old, _new);
        return isThere && _isWhole;
    }

  private:
    using Directory = WorkAhead::Directory;

    // Without a node it stands for children in a row, no directories, that are not looked at: their now.count
    // old records are from `known` on.
    struct Child {
        DSNode* node;
        size_t known;
        EvidenceRecord now;
    };

    // Brings what is below a directory up to date. The depth is bounded by the length of a path.
    void directory(DSNode* node, size_t pathEnd, const EvidenceRecord& now,
                   std::unique_ptr<Directory> ahead) {
        const size_t record = _new.records.size();
        _new.records.push_back(now);
        _ahead.take(*ahead);
        if (!ahead->isAsBefore) _new.directoriesRead++;
        std::vector<Child> children;
        const bool isBelieved = ahead->isAsBefore;
        if (!(isBelieved ? believe(node, pathEnd, *ahead, children)
                         : read(node, pathEnd, *ahead, children))) {
            _isWhole = false;
            if (!isBelieved)
                _new.records[record] = {.isDirectory = true, .check = now.check}; // to be read the next time
        }
        auto below = std::move(ahead->below);
        _ahead.giveBack(std::move(ahead));
        size_t next = 0;
        for (const Child& child : children) {
            if (child.node == nullptr) {
                const auto first = _old.records.begin() + static_cast<ptrdiff_t>(child.known);
                _new.records.insert(_new.records.end(), first, first + child.now.count);
            } else if (child.node->type == DSNodeTypeDirectory) {
                const size_t end = pathEnd + 1 + child.node->_nameLength;
                directory(child.node, end, child.now, std::move(below[next++]));
            } else {
                _new.records.push_back(child.now);
            }
        }
        _new.records[record].count = static_cast<uint32_t>(_new.records.size() - record);
    }

    // A directory whose names are what they were. False when a path is too long: a tree from elsewhere.
    bool believe(DSNode* node, size_t pathEnd, const Directory& ahead, std::vector<Child>& children) {
        bool isWhole = true;
        std::vector<DSNode*> gone; // since the directory was looked at, which will show the next time
        size_t next = 0;           // of the listing
        _known.eachRecord(ahead.known, [&](uint64_t position, size_t record) {
            if (_known.isLookedAt(record)) {
                const KnownTree::Item known{childAt(node, position), record};
                if (!takeIn(known, pathEnd, ahead.listing, next++, isWhole, children))
                    gone.push_back(known.node);
                return;
            }
            if (children.empty() || children.back().node != nullptr)
                children.push_back({nullptr, record, {.count = 0}});
            children.back().now.count += _known.record(record).count;
        });
        for (DSNode* child : gone)
            abandon(child);
        return isWhole;
    }

    // A directory whose names may be others. False when it is there and cannot be read, or holds what has too
    // long a path.
    bool read(DSNode* node, size_t pathEnd, const Directory& ahead, std::vector<Child>& children) {
        bool isWhole = ahead.isRead;
        children.reserve(ahead.listing.count());
        for (size_t i = 0; i < ahead.listing.count(); i++)
            takeIn(ahead.items[i], pathEnd, ahead.listing, i, isWhole, children);
        replaceChildren(node, children);
        return isWhole;
    }

    // The children become these, in this order, which is that of the bytes of their names.
    void replaceChildren(DSNode* node, const std::vector<Child>& children) {
        std::vector<DSNode*> before;
        before.reserve(node->children->count);
        for (uint64_t i = 0; i < node->children->count; i++)
            before.push_back(childAt(node, i));
        if (std::ranges::equal(before, children, {}, {}, &Child::node)) return;
        releaseLinks(node->children);
        for (DSNode* child : before)
            child->parent = nullptr;
        reserve(node->children, children.size());
        for (const Child& child : children)
            DSNodeAppendChild(child.node, node);
        for (DSNode* child : before)
            if (child->parent == nullptr) _gone.emplace_back(child);
    }

    // Adds an entry of a listing to the children, its node, a new one where there is none, as it was seen.
    // False when it is not there, of a kind that is not recorded, or has too long a path.
    bool takeIn(const KnownTree::Item& known, size_t pathEnd, const DirectoryListing& listing,
                size_t position, bool& isWhole, std::vector<Child>& children) {
        const std::string_view name = listing.name(position);
        if (pathEnd + 1 + name.size() >= DSNodePathCapacity) {
            reportPathTooLong(name);
            isWhole = false;
            return false;
        }
        const DirectoryListing::Status& status = listing.status(position);
        if (status.isUnknown) isWhole = false;
        if (status.type == 0) return false;
        Child& child = children.emplace_back(Child{known.node, known.record, listing.evidence(position)});
        DSNode*& node = child.node;
        if (node == nullptr) node = _nodes.create(name, 0, 0, 0, status.type);
        if (node->type != DSNodeTypeDirectory || status.type != DSNodeTypeDirectory)
            while (node->children->count > 0)
                abandon(childAt(node, node->children->count - 1));
        const bool isSame = known.record != KnownTree::kNone && node->type == status.type &&
                            node->size == status.size && node->modifiedTime == status.modifiedTime;
        node->type = status.type;
        node->size = status.size;
        node->modifiedTime = status.modifiedTime;
        node->startedTime = status.accessedTime;
        child.now.check = isSame ? _known.record(known.record).check : checkOfNode(*node);
        return true;
    }

    void abandon(DSNode* node) {
        DSListRemoveValue(node->parent->children, node);
        node->parent = nullptr;
        _gone.emplace_back(node);
    }

    DSEvidence& _old;
    DSEvidence _new;
    const bool _structureOnly;
    const Reading& _reading;
    Asking::Thread* const _asking; // of this thread, or NULL
    NodeStore _nodes;
    bool _isWhole = true;
    std::vector<Tree> _gone; // nodes that are no more in the tree
    KnownTree _known;
    WorkAhead _ahead; // the last: its threads end before what they look at goes
};

} // namespace

int lookAgain(DSNode* root, DSEvidence* evidence, const char* path, int32_t look, const Reading& reading) {
    if (path == nullptr || path[0] != '/') {
        fputs("Cannot look for path components on a non-absolute path.\n", stderr);
        return -1;
    }
    if (root == nullptr || evidence == nullptr) return -1;
    return QuickLook(*evidence, look == DSQuickLookStructure, reading).run(root, path) ? 0 : -1;
}

} // namespace snapshot

int DSNodeLookAgain(DSNode* root, DSEvidence* evidence, const char* path, int32_t look) noexcept {
    return snapshot::lookAgain(root, evidence, path, look, {});
}
