#include "snapshot/scan/WorkAhead.h"

#include "snapshot/DSNode.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace snapshot {

namespace {

// A tree with fewer entries on a fast disk is read before a thread would have started.
constexpr size_t kHelpAfterEntries = 1'000;

// How far helpers may be ahead, in entries, so that a slow taker does not fill the memory.
constexpr size_t kMostEntriesAhead = 200'000;

// To open a directory, and to read its names, the last time of which shows that there are no more.
size_t questionsForNames(const WorkAhead::Directory& directory) {
    if (directory.isAsBefore) return directory.isOpen() ? 1 : 0;
    return 3;
}

// So few entries of a directory that is as before are examined by their paths: to open it would cost more.
constexpr size_t kFewEntries = 4;

// Listings whose memory is kept for others, and how many entries they may have had: some MB together.
constexpr size_t kMostSpare = 64;
constexpr size_t kMostEntriesOfSpare = 1'000;

constexpr unsigned kScanThread = 0;

using Clock = std::chrono::steady_clock;

// The path of an entry; empty when it is longer than paths may be.
std::string pathBelow(const WorkAhead::Directory& directory, size_t position) {
    const std::string_view name = directory.listing.name(position);
    const std::string& above = directory.path;
    const size_t end = above.ends_with('/') ? above.size() - 1 : above.size();
    if (end + 1 + name.size() >= DSNodePathCapacity) return {};
    return std::string(above, 0, end).append("/").append(name);
}

} // namespace

WorkAhead::~WorkAhead() {
    {
        std::lock_guard lock(_mutex);
        _stops = true;
    }
    _hasWork.notify_all();
    _isWanted.notify_all();
    for (std::thread& helper : _helpers)
        helper.join();
}

Asking::Thread* WorkAhead::asking(unsigned thread) const {
    return _asking != nullptr ? &_asking->threads[thread] : nullptr;
}

std::unique_ptr<WorkAhead::Directory> WorkAhead::top(const char* path, const KnownTree::Item& known,
                                                     bool isAsBefore) {
    auto directory = std::make_unique<Directory>(path, 0);
    directory->known = known;
    directory->isAsBefore = isAsBefore;
    directory->followsLink = true;
    directory->state = Directory::State::waiting;
    _waiting.push_back(directory.get()); // no helper runs yet
    return directory;
}

// False when the process had no descriptor left.
bool WorkAhead::readNames(Directory& directory, bool isSlow, Asking::Thread* asking) const {
    int flags = O_DIRECTORY | O_CLOEXEC | O_NONBLOCK | (directory.followsLink ? 0 : O_NOFOLLOW);
    if (_known != nullptr) directory.listing.keepEvidence();
    if (directory.isAsBefore) {
        _known->list(directory.known, directory.listing, directory.items);
        if (directory.listing.count() <= (isSlow ? 0 : kFewEntries))
            return true; // threads share in open ones
        flags |= O_PATH;
    }
    directory.descriptor = open(directory.path.c_str(), flags | O_RDONLY);
    if (directory.descriptor < 0) {
        directory.isRead = DirectoryListing::isGone(errno);
        directory.isAsBefore = false;
        directory.items.clear();
        directory.listing.clear();
        return errno != EMFILE && errno != ENFILE;
    }
    if (directory.isAsBefore) return true;
    directory.isRead = directory.listing.read(directory.descriptor, asking);
    if (_known != nullptr) directory.items = _known->find(directory.known, directory.listing);
    return true;
}

std::unique_ptr<WorkAhead::Directory> WorkAhead::below(const Directory& directory, std::string path,
                                                       size_t position) const {
    auto child = std::make_unique<Directory>(std::move(path), position);
    if (_known != nullptr) {
        const KnownTree::Item& before = directory.items[position];
        if (before.node == nullptr || before.node->type != DSNodeTypeDirectory) return child;
        child->known = before;
        child->isAsBefore = _known->isAsBefore(before, directory.listing.evidence(position));
    }
    return child;
}

// Once all entries are examined: those that are directories are what lies below. What had been begun with and
// is none is returned.
WorkAhead::Directories WorkAhead::finish(Directory& directory) const {
    if (directory.isOpen()) close(std::exchange(directory.descriptor, -1));
    Directories begun = std::exchange(directory.below, {});
    Directories unexpected;
    auto next = begun.begin();
    for (size_t i = 0; i < directory.listing.count(); i++) {
        const bool isDirectory = directory.listing.status(i).type == DSNodeTypeDirectory;
        if (next != begun.end() && (*next)->position == i) {
            (isDirectory ? directory.below : unexpected).push_back(std::move(*next++));
        } else if (isDirectory) {
            if (std::string path = pathBelow(directory, i); !path.empty())
                directory.below.push_back(below(directory, std::move(path), i));
        }
    }
    return unexpected;
}

void WorkAhead::conclude(Directory& directory, Directories unexpected) {
    for (std::unique_ptr<Directory>& each : unexpected) {
        if (each->state == Directory::State::waiting) std::erase(_waiting, each.get());
        _unexpected.push_back(std::move(each));
    }
    directory.state = Directory::State::read;
    _entriesAhead += directory.listing.count();
    letOthersRead(directory.below);
    _hasRead.notify_one();
}

void WorkAhead::letOthersRead(const Directories& directories) {
    size_t count = 0;
    for (auto each = directories.rbegin(); each != directories.rend(); ++each) {
        if ((*each)->state != Directory::State::isNew) continue;
        (*each)->state = Directory::State::waiting;
        _waiting.push_back(each->get());
        count++;
    }
    if (count > 1)
        _hasWork.notify_all();
    else if (count > 0)
        _hasWork.notify_one();
}

void WorkAhead::note(Pace::Duration taken, size_t questions) {
    const unsigned before = _pace.threads();
    _pace.note(taken, questions);
    if (_pace.threads() > before) _isWanted.notify_all();
}

bool WorkAhead::tryToRead(Lock& lock, Directory& directory, unsigned thread) {
    directory.state = Directory::State::beingRead;
    if (!_spare.empty()) {
        directory.listing = std::move(_spare.back());
        _spare.pop_back();
    }
    const bool isSlow = _pace.isSlow();
    Asking::Thread* own = asking(thread);
    lock.unlock();
    const auto begun = Clock::now();
    if (own != nullptr) own->begin(directory.path);
    const bool hadDescriptor = readNames(directory, isSlow, own);
    auto taken = Clock::now() - begun;
    const size_t count = directory.listing.count();
    const size_t questions = questionsForNames(directory);
    const bool isShared = count > 1 && directory.isOpen() && (isSlow || Pace::isSlow(taken / questions));
    Directories unexpected;
    if (!isShared) {
        if (directory.isOpen())
            directory.listing.examine(directory.descriptor, own);
        else
            directory.listing.examineBelow(directory.path, own);
        if (count > 0) taken = Clock::now() - begun;
        unexpected = finish(directory);
    }
    if (own != nullptr) own->end();
    lock.lock();
    note(taken, questions + (isShared ? 0 : count));
    if (isShared)
        share(lock, directory, thread);
    else if (hadDescriptor)
        conclude(directory, std::move(unexpected));
    return hadDescriptor;
}

void WorkAhead::read(Lock& lock, Directory& directory, unsigned thread) {
    if (tryToRead(lock, directory, thread)) return;
    _stops = true; // one thread gets by with fewer descriptors
    _hasWork.notify_all();
    _isWanted.notify_all();
    if (thread != kScanThread) {
        directory.state = Directory::State::waiting;
        _waiting.push_back(&directory);
        return;
    }
    _hasRead.wait(lock, [this] { return _helpersAtWork == 0; });
    if (!tryToRead(lock, directory, thread)) conclude(directory, {});
}

void WorkAhead::share(Lock& lock, Directory& directory, unsigned thread) {
    lock.unlock();
    directory.listing.prepareToExamine();
    // In a known tree the examining shows first whether a directory is as before.
    for (size_t i = 0; _known == nullptr && i < directory.listing.count(); i++) {
        if (!directory.listing.isKnownDirectory(i)) continue;
        if (std::string path = pathBelow(directory, i); !path.empty())
            directory.below.push_back(std::make_unique<Directory>(std::move(path), i));
    }
    lock.lock();
    letOthersRead(directory.below);
    _shared.push_back(&directory);
    _hasWork.notify_all();
    if (thread == kScanThread) startHelpers();
    examinePieces(lock, directory, thread);
}

void WorkAhead::examinePieces(Lock& lock, Directory& directory, unsigned thread) {
    const size_t count = directory.listing.count();
    Asking::Thread* own = asking(thread);
    directory.examining++;
    while (directory.nextEntry < count) {
        const size_t from = directory.nextEntry;
        const size_t to = std::min(count, from + _pace.piece());
        directory.nextEntry = to;
        if (to == count) std::erase(_shared, &directory);
        lock.unlock();
        const auto begun = Clock::now();
        if (own != nullptr) own->begin(directory.path);
        directory.listing.examine(directory.descriptor, from, to, own);
        if (own != nullptr) own->end();
        const auto taken = Clock::now() - begun;
        lock.lock();
        note(taken, to - from);
    }
    if (--directory.examining > 0) return;
    lock.unlock();
    Directories unexpected = finish(directory);
    lock.lock();
    conclude(directory, std::move(unexpected));
}

bool WorkAhead::hasWork() const {
    return !_shared.empty() || (!_waiting.empty() && _entriesAhead < kMostEntriesAhead);
}

// What is nearest to the scan; false when there is nothing.
bool WorkAhead::doOther(Lock& lock, unsigned thread) {
    if (!hasWork()) return false;
    if (!_waiting.empty() && _entriesAhead < kMostEntriesAhead) {
        Directory* next = _waiting.back();
        _waiting.pop_back();
        read(lock, *next, thread);
    } else {
        examinePieces(lock, *_shared.back(), thread);
    }
    return true;
}

void WorkAhead::help(unsigned thread) {
    Lock lock(_mutex);
    while (!_stops) {
        if (thread >= _pace.threads()) {
            _hasWork.notify_one(); // for another, if this one was woken for it
            _isWanted.wait(lock);
        } else if (!hasWork()) {
            _hasWork.wait(lock);
        } else {
            _helpersAtWork++;
            doOther(lock, thread);
            _helpersAtWork--;
        }
    }
    _hasRead.notify_one(); // the scan's thread may wait for helpers to end
}

void WorkAhead::startHelpers() {
    try {
        while (!_cannotStart && _helpers.size() + 1 < _pace.threads())
            _helpers.emplace_back(
                [this, thread = static_cast<unsigned>(_helpers.size() + 1)] { help(thread); });
    } catch (const std::system_error&) {
        _cannotStart = true; // the scan goes on with those that it has
    }
}

void WorkAhead::take(Directory& directory) {
    Lock lock(_mutex);
    while (directory.state != Directory::State::read) {
        if (directory.state == Directory::State::waiting) {
            // Nearly always the last one.
            auto at = std::find(_waiting.rbegin(), _waiting.rend(), &directory);
            _waiting.erase(std::next(at).base());
            read(lock, directory, kScanThread);
        } else if (std::ranges::find(_shared, &directory) != _shared.end()) {
            examinePieces(lock, directory, kScanThread);
        } else if (!doOther(lock, kScanThread)) {
            _hasRead.wait(lock);
        }
    }
    if (_entriesAhead >= kMostEntriesAhead) _hasWork.notify_all();
    _entriesAhead -= directory.listing.count();
    _entriesTaken += directory.listing.count();
    const bool isWorth = _entriesTaken >= kHelpAfterEntries || _pace.isSlow();
    if (_waiting.size() > 1 && !_stops && isWorth) startHelpers();
}

void WorkAhead::giveBack(std::unique_ptr<Directory> directory) {
    if (directory->listing.count() > kMostEntriesOfSpare) return;
    directory->listing.clear();
    const std::lock_guard lock(_mutex);
    if (_spare.size() < kMostSpare) _spare.push_back(std::move(directory->listing));
}

} // namespace snapshot
