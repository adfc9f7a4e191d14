#include "snapshot/scan/KnownItems.h"

#include "snapshot/tree/cxx.h"
#include "snapshot/tree/list_private.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>

namespace snapshot {

namespace {

// So much work on a fast disk is done before a thread would have started.
constexpr size_t kHelpForItems = 1'000;

// A directory is opened where so many items are asked for in it, or so many directories lie below it: the
// path from there is shorter, and most of a question's time goes to finding one name after the other.
constexpr size_t kItemsWorthOpening = 6;
constexpr size_t kDirectoriesWorthOpening = 24;

// A thread keeps few open, all in one another, so that sixteen leave others their descriptors.
constexpr size_t kMostOpen = 4;

// Questions: the time of two suffices to bring something from the memory.
constexpr size_t kFetchedAhead = 2;

} // namespace

// Where one thread is: the path of an item, and open directories that lead to it.
class KnownItems::Place {
  public:
    explicit Place(const KnownItems& items) : _items(items) {
        memcpy(_path, items._top.data(), items._top.size());
        const size_t relative = items._topDescriptor == AT_FDCWD ? 0 : items._top.size() + 1;
        _open.push_back({0, items._topDescriptor, relative});
    }
    ~Place() {
        while (_open.size() > 1)
            closeLast();
    }
    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;

    // Goes to a directory, and writes of its path what it does not share with the one before.
    void goTo(size_t directory) {
        _directoryEnd = _end = _items._directories[directory].pathLength;
        size_t end = _end;
        for (size_t at = directory; at != 0 && !isIn(at, _directory); at = _items._directories[at].above) {
            const DSNode* node = _items._directories[at].node;
            end -= node->_nameLength;
            memcpy(_path + end, node->name, node->_nameLength);
            _path[--end] = '/';
        }
        _path[_end] = '\0';
        _directory = directory;
        while (!isIn(_open.back().directory, directory))
            closeLast();
    }

    // Opens it where that is worth while: so many items are to be asked for in it.
    void open(size_t count, Asking::Thread* asking) {
        if (_open.back().directory == _directory) return;
        if (count < kItemsWorthOpening && _items._directories[_directory].below < kDirectoriesWorthOpening)
            return;
        if (asking != nullptr) asking->begin(absolute());
        if (_open.size() == kMostOpen) closeLast();
        const int descriptor =
            openat(_open.back().descriptor, relative(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        if (descriptor >= 0) _open.push_back({_directory, descriptor, _end + 1});
    }

    // Goes to an item of the directory. False where its path would be too long.
    bool set(const DSNode* node) {
        _end = _directoryEnd + 1 + node->_nameLength;
        if (_end >= sizeof _path) return false;
        _path[_directoryEnd] = '/';
        memcpy(_path + _directoryEnd + 1, node->name, node->_nameLength);
        _path[_end] = '\0';
        return true;
    }

    std::string_view absolute() const { return {_path, _end}; }
    int descriptor() const { return _open.back().descriptor; }
    const char* relative() const { return _path + _open.back().start; } // to the descriptor

  private:
    struct Open {
        size_t directory;
        int descriptor;
        size_t start; // in the path, of what is relative to it
    };

    // Also when they are the same.
    bool isIn(size_t above, size_t directory) const {
        return directory - above <= _items._directories[above].below; // also false when it comes before it
    }

    void closeLast() {
        close(_open.back().descriptor);
        _open.pop_back();
    }

    const KnownItems& _items;
    std::vector<Open> _open; // the root first, each above the next
    size_t _directory = 0;
    size_t _directoryEnd = 0;
    size_t _end = 0;
    char _path[DSNodePathCapacity];
};

bool KnownItems::ask(DSNode* root, std::string_view top, bool rootIsAsBefore, bool structureOnly) {
    _top = top;
    _known.differsNowhere();
    _directories.push_back({root, 0, 0, static_cast<uint32_t>(top.size()), 0, rootIsAsBefore});
    gatherDirectories();
    _topDescriptor = open(top.empty() ? "/" : std::string(top).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (_topDescriptor < 0) _topDescriptor = AT_FDCWD;
    askByThreads(_directories.size() - 1, [this](size_t from, size_t to, Asking::Thread* asking) {
        askDirectories(from + 1, to + 1, asking);
    });
    for (const Directory& directory : _directories)
        if (!directory.isAsBefore) mayDiffer(directory.record, directory.above);
    if (!structureOnly) {
        gatherItems();
        askByThreads(_items.size(),
                     [this](size_t from, size_t to, Asking::Thread* asking) { askItems(from, to, asking); });
        for (const Item& item : _differs)
            mayDiffer(item.record, item.above);
    }
    if (_topDescriptor >= 0) close(_topDescriptor);
    return _allAsBefore;
}

// The records are read one after the other, as they lie in the memory.
void KnownItems::gatherDirectories() {
    struct Level {
        size_t directory;
        size_t end; // behind its last record
        uint64_t next;
    };
    const size_t count = _evidence.records.size();
    std::vector<Level> levels{{0, count, 0}};
    const auto leave = [&] {
        const size_t directory = levels.back().directory;
        _directories[directory].below = static_cast<uint32_t>(_directories.size() - directory - 1);
        levels.pop_back();
    };
    for (size_t record = 1; record < count;) {
        while (record == levels.back().end)
            leave();
        Level& level = levels.back();
        const uint64_t position = level.next++;
        const EvidenceRecord& known = _known.record(record);
        const size_t end = record + known.count;
        if (!known.isDirectory) {
            record = end;
            continue;
        }
        const Directory& above = _directories[level.directory];
        DSNode* node = childAt(above.node, position);
        const size_t length = above.pathLength + 1 + node->_nameLength;
        if (length >= DSNodePathCapacity) {
            mayDiffer(record, level.directory); // which the walk will say
            record = end;
            continue;
        }
        _directories.push_back(
            {node, record, static_cast<uint32_t>(level.directory), static_cast<uint32_t>(length), 0, false});
        levels.push_back({_directories.size() - 1, end, 0});
        record++;
    }
    while (!levels.empty())
        leave();
}

// Of directories that are as before: the others are read.
void KnownItems::gatherItems() {
    _items.reserve(_evidence.records.size() - _directories.size());
    for (size_t i = 0; i < _directories.size(); i++) {
        const Directory& directory = _directories[i];
        if (!directory.isAsBefore) continue;
        _known.eachRecord({directory.node, directory.record}, [&](uint64_t position, size_t record) {
            if (!_known.record(record).isDirectory)
                _items.push_back({static_cast<uint32_t>(record), static_cast<uint32_t>(i),
                                  static_cast<uint32_t>(position)});
        });
    }
}

void KnownItems::askByThreads(size_t count, const AskRange& askRange) {
    std::vector<std::thread> helpers;
    _next = 0; // nobody else is at work
    work(0, count, askRange, &helpers);
    for (std::thread& helper : helpers)
        helper.join();
}

// `helpers` is given to the first thread, which starts them.
void KnownItems::work(unsigned thread, size_t count, const AskRange& askRange,
                      std::vector<std::thread>* helpers) {
    using Clock = std::chrono::steady_clock;
    std::unique_lock lock(_mutex);
    while (_next < count && thread < _pace.threads()) {
        const size_t from = _next;
        const size_t to = std::min(count, from + _pace.piece());
        _next = to;
        lock.unlock();
        const auto begun = Clock::now();
        askRange(from, to, _asking != nullptr ? &_asking->threads[thread] : nullptr);
        const auto taken = Clock::now() - begun;
        lock.lock();
        _pace.note(taken, to - from);
        if (helpers != nullptr) startHelpers(count, askRange, *helpers);
    }
}

// Under the lock.
void KnownItems::startHelpers(size_t count, const AskRange& askRange, std::vector<std::thread>& helpers) {
    if (_next >= count || (count - _next < kHelpForItems && !_pace.isSlow())) return;
    try {
        while (helpers.size() + 1 < std::min<size_t>(_pace.threads(), count))
            helpers.emplace_back([this, thread = static_cast<unsigned>(helpers.size() + 1), count,
                                  &askRange] { work(thread, count, askRange, nullptr); });
    } catch (const std::system_error&) {
        return; // the look goes on with those that it has
    }
}

// Begins to bring what a question soon needs into the processor's caches, which the kernel's answers to the
// others empty: a node, or the link that stands before it, and its record.
void KnownItems::fetch(const void* node, size_t record) const {
    constexpr size_t line = 64;
    __builtin_prefetch(node, 1);
    __builtin_prefetch(static_cast<const char*>(node) + line, 1);
    __builtin_prefetch(&_evidence.records[record], 1);
}

void KnownItems::askDirectories(size_t from, size_t to, Asking::Thread* asking) {
    Place place(*this);
    for (size_t i = from; i < to; i++) {
        Directory& directory = _directories[i];
        if (i + kFetchedAhead < to)
            fetch(_directories[i + kFetchedAhead].node, _directories[i + kFetchedAhead].record);
        if (i == from || directory.above != _directories[i - 1].above) {
            place.goTo(directory.above);
            place.open(0, asking);
        }
        place.set(directory.node);
        if (asking != nullptr) asking->begin(place.absolute());
        EvidenceRecord now;
        const DirectoryListing::Status status =
            DirectoryListing::statusOf(place.descriptor(), place.relative(), AT_SYMLINK_NOFOLLOW, now);
        directory.isAsBefore =
            status.type == DSNodeTypeDirectory && _known.isAsBefore({directory.node, directory.record}, now);
        if (directory.isAsBefore) refresh(*directory.node, _evidence.records[directory.record], status, now);
        if (asking == nullptr) continue;
        asking->itemExamined();
        asking->end();
    }
}

void KnownItems::askItems(size_t from, size_t to, Asking::Thread* asking) {
    Place place(*this);
    std::vector<Item> differs;
    for (size_t next = from; next < to;) {
        const size_t above = _items[next].above;
        const size_t first = next;
        while (next < to && _items[next].above == above)
            next++;
        place.goTo(above);
        if (asking != nullptr) asking->begin(place.absolute());
        place.open(next - first, nullptr);
        for (size_t i = first; i < next; i++) {
            if (i + kFetchedAhead < to) {
                const Item& soon = _items[i + kFetchedAhead];
                fetch(_directories[soon.above].node->children->items[soon.position], soon.record);
            }
            DSNode* node = childAt(_directories[above].node, _items[i].position);
            if (!place.set(node) || !askItem(place, *node, _evidence.records[_items[i].record]))
                differs.push_back(_items[i]);
            if (asking != nullptr) asking->itemExamined();
        }
        if (asking != nullptr) asking->end();
    }
    if (differs.empty()) return;
    const std::lock_guard lock(_mutex);
    _differs.insert(_differs.end(), differs.begin(), differs.end());
}

// False when it is not there or of another kind.
bool KnownItems::askItem(const Place& place, DSNode& node, EvidenceRecord& record) const {
    EvidenceRecord now;
    const DirectoryListing::Status status =
        DirectoryListing::statusOf(place.descriptor(), place.relative(), AT_SYMLINK_NOFOLLOW, now);
    if (status.type != node.type) return false;
    refresh(node, record, status, now);
    return true;
}

void KnownItems::refresh(DSNode& node, EvidenceRecord& record, const DirectoryListing::Status& status,
                         const EvidenceRecord& now) const {
    const bool isSame = node.size == status.size && node.modifiedTime == status.modifiedTime;
    node.size = status.size;
    node.modifiedTime = status.modifiedTime;
    node.startedTime = status.accessedTime;
    record.device = now.device;
    record.inode = now.inode;
    record.modified = now.modified;
    record.changed = now.changed;
    record.born = now.born;
    if (!isSame) record.check = checkOfNode(node);
}

// An item, and with it the directories that it is in.
void KnownItems::mayDiffer(size_t record, size_t above) {
    _allAsBefore = false;
    _known.mayDiffer(record);
    for (size_t at = above; !_known.isLookedAt(_directories[at].record); at = _directories[at].above)
        _known.mayDiffer(_directories[at].record);
}

} // namespace snapshot
