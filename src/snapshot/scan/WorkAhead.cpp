#include "snapshot/scan/WorkAhead.h"

#include "snapshot/DSNode.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>

namespace snapshot {

namespace {

// A tree with fewer entries is read before a thread would have started.
constexpr size_t kHelpAfterEntries = 1'000;

// How far helpers may be ahead, in entries, so that a slow taker does not fill the memory.
constexpr size_t kMostEntriesAhead = 200'000;

} // namespace

WorkAhead::~WorkAhead() {
    {
        std::lock_guard lock(_mutex);
        _stops = true;
    }
    _hasWork.notify_all();
    for (std::thread& helper : _helpers)
        helper.join();
}

std::unique_ptr<WorkAhead::Directory> WorkAhead::top(const char* path) {
    auto directory = std::make_unique<Directory>(path);
    directory->followsLink = true;
    _waiting.push_back(directory.get()); // no helper runs yet
    return directory;
}

// Reads a directory that this thread has marked. False when the process had no descriptor left for it.
bool WorkAhead::read(Directory& directory) {
    int flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK | (directory.followsLink ? 0 : O_NOFOLLOW);
    int descriptor = open(directory.path.c_str(), flags);
    if (descriptor < 0) {
        directory.isRead = DirectoryListing::isGone(errno);
        return errno != EMFILE && errno != ENFILE;
    }
    directory.isRead = directory.listing.read(descriptor);
    directory.listing.examine(descriptor);
    close(descriptor);
    for (size_t i = 0; i < directory.listing.count(); i++) {
        if (directory.listing.status(i).type != DSNodeTypeDirectory) continue;
        std::string_view name = directory.listing.name(i);
        size_t parentEnd = directory.path.ends_with('/') ? directory.path.size() - 1 : directory.path.size();
        if (parentEnd + 1 + name.size() >= DSNodePathCapacity) continue;
        std::string path(directory.path, 0, parentEnd);
        directory.below.push_back(std::make_unique<Directory>(path.append("/").append(name)));
    }
    return true;
}

void WorkAhead::readUnlocked(std::unique_lock<std::mutex>& lock, Directory& directory, bool isHelper) {
    directory.state = Directory::State::beingRead;
    if (isHelper) _helpersReading++;
    lock.unlock();
    bool isRead = read(directory);
    lock.lock();
    if (isHelper) _helpersReading--;
    if (!isRead) {
        _stops = true; // one thread gets by with fewer descriptors
        _hasWork.notify_all();
        if (isHelper) {
            directory.state = Directory::State::waiting;
            _waiting.push_back(&directory);
            _hasRead.notify_all();
            return;
        }
        _hasRead.wait(lock, [this] { return _helpersReading == 0; });
        lock.unlock();
        read(directory);
        lock.lock();
    }
    for (auto below = directory.below.rbegin(); below != directory.below.rend(); ++below)
        _waiting.push_back(below->get());
    _entriesAhead += directory.listing.count();
    directory.state = Directory::State::read;
    if (isHelper) _hasRead.notify_one();
    if (directory.below.size() > 1)
        _hasWork.notify_all();
    else if (!directory.below.empty())
        _hasWork.notify_one();
}

void WorkAhead::help() {
    std::unique_lock lock(_mutex);
    while (true) {
        _hasWork.wait(lock,
                      [this] { return _stops || (!_waiting.empty() && _entriesAhead < kMostEntriesAhead); });
        if (_stops) return;
        Directory* next = _waiting.back();
        _waiting.pop_back();
        readUnlocked(lock, *next, true);
    }
}

void WorkAhead::startHelpers() {
    try {
        while (_helpers.size() + 1 < _threads)
            _helpers.emplace_back([this] { help(); });
    } catch (const std::system_error&) {
        // The process may have no more threads; the scan goes on with those that it has.
        _threads = 1;
    }
}

void WorkAhead::take(Directory& directory) {
    std::unique_lock lock(_mutex);
    while (directory.state != Directory::State::read) {
        if (directory.state == Directory::State::waiting) {
            // Nearly always the last one.
            auto at = std::find(_waiting.rbegin(), _waiting.rend(), &directory);
            _waiting.erase(std::next(at).base());
            readUnlocked(lock, directory, false);
        } else if (!_waiting.empty() && _entriesAhead < kMostEntriesAhead) {
            Directory* other = _waiting.back();
            _waiting.pop_back();
            readUnlocked(lock, *other, false);
        } else {
            _hasRead.wait(lock);
        }
    }
    bool wasFull = _entriesAhead >= kMostEntriesAhead;
    _entriesAhead -= directory.listing.count();
    if (wasFull) _hasWork.notify_all();
    bool hasMore = _waiting.size() > 1;
    bool isStopped = _stops;
    lock.unlock();
    _entriesTaken += directory.listing.count();
    if (_helpers.empty() && hasMore && !isStopped && _entriesTaken >= kHelpAfterEntries) startHelpers();
}

} // namespace snapshot
