// What of a pair is not synced: what is excluded, what other pairs have, and all but what is wanted.
#include "dirsnapshot/DirSnapshot.h"
#include "service/SyncThread.h"
#include "service/names.h"
#include "service/sync_thread_parts.h"
#include "sync_daemon/paths.h"

#include <fstream>
#include <map>
#include <utility>

namespace service {

namespace fs = std::filesystem;

// Beside the database; each path ends with a zero byte.
fs::path SyncThread::listOfLeftOut() const { return settings.database.string() + ".left-out"; }

std::vector<std::string> SyncThread::readListLeftOut() const {
    std::vector<std::string> paths;
    std::ifstream stream(listOfLeftOut(), std::ios::binary);
    for (std::string path; std::getline(stream, path, '\0');)
        if (!stream.eof()) paths.push_back(path); // else a kill left half of it, and nothing followed yet
    return paths;
}

void SyncThread::forget(const std::string& remotePath) {
    const std::string root = keyOf(settings.remoteRoot, true); // perhaps the storage tells no cases apart
    const std::string path = keyOf(remotePath, true);
    if (path == root || !sync_daemon::isAtOrBelow(path, root)) return;
    const std::lock_guard guard(lock);
    leftOut.push_back(remotePath);
    std::ofstream stream(listOfLeftOut(), std::ios::binary | std::ios::app);
    if (!(stream << remotePath << '\0' << std::flush))
        around.log.error("What is left out cannot be remembered: ", listOfLeftOut().string());
}

// The key of what lies below the remote root.
std::optional<std::string> SyncThread::keyOfRemote(const std::string& remotePath) const {
    const std::string root = keyOf(settings.remoteRoot == "/" ? "" : settings.remoteRoot, foldsCase);
    const std::string path = keyOf(remotePath, foldsCase);
    if (path.size() <= root.size() + 1 || !path.starts_with(root) || path[root.size()] != '/')
        return std::nullopt;
    return path.substr(root.size() + 1);
}

// The same of the local root; links above are followed.
std::optional<std::string> SyncThread::keyOfLocal(const std::string& localPath) const {
    const std::string root = sync_daemon::realPath(settings.localRoot);
    const std::string path = sync_daemon::realPath(localPath);
    if (path == root || !sync_daemon::isAtOrBelow(path, root)) return std::nullopt;
    return keyOf(path.substr(root.size() + 1), foldsCase);
}

std::map<std::string, LeftAlone, std::less<>> SyncThread::leftAloneNow() const {
    std::map<std::string, LeftAlone, std::less<>> keys;
    for (const std::string& remote : settings.excluded())
        if (auto key = keyOfRemote(remote)) keys.try_emplace(std::move(*key));
    if (!settings.others) return keys;
    for (const PairRoots& other : settings.others()) {
        const auto there = keyOfRemote(other.remote);
        const auto here = keyOfLocal(other.local);
        if (there && there != here)
            keys[*there].reasonHere = "its place in the storage is synced with " + other.local;
        if (here && here != there)
            keys[*here].reasonThere =
                "its place here is " + other.local + ", which is synced with " + other.remote;
        if (here && here == there) keys.try_emplace(*here);
    }
    return keys;
}

// What is left out is forgotten at once: when it is taken in again nothing counts as deleted meanwhile. What
// is asked to be forgotten comes with a change of the answers or after it, so they are read first.
void SyncThread::readLeftOut() {
    auto keys = leftAloneNow();
    forgetSinceLeftOut();
    for (const auto& [key, why] : keys)
        if (!leftAloneKeys.contains(key)) parts->store.forget(key);
    leftAloneKeys = std::move(keys);
}

void SyncThread::forgetSinceLeftOut() {
    std::vector<std::string> since;
    {
        const std::lock_guard guard(lock);
        since = leftOut;
    }
    if (since.empty()) return;
    for (const std::string& remote : since)
        if (const auto key = keyOfRemote(remote)) parts->store.forget(*key);
    const std::lock_guard guard(lock);
    leftOut.erase(leftOut.begin(), leftOut.begin() + static_cast<std::ptrdiff_t>(since.size()));
    std::error_code ignored; // then it is forgotten once more
    if (leftOut.empty()) fs::remove(listOfLeftOut(), ignored);
}

void SyncThread::readWanted() {
    if (!settings.wanted) return;
    wantedKeys.clear();
    for (const std::string& remote : settings.wanted())
        if (auto key = keyOfRemote(remote)) wantedKeys.insert(std::move(*key));
    forgetMissing();
}

// What is wanted no more, and what is no longer here.
void SyncThread::forgetMissing() {
    std::map<std::string, std::string> places; // here, by key; a folder comes before what is in it
    std::vector<std::string> gone;
    PairStore::Items items(parts->store, "");
    std::string key;
    AgreedItem item;
    while (items.next(key, item)) {
        if (!gone.empty() && sync_daemon::isAtOrBelow(key, gone.back())) continue;
        const std::size_t slash = key.rfind('/');
        std::string place = item.hereName;
        if (slash != std::string::npos) place.insert(0, places[key.substr(0, slash)] + "/");
        if (isLeftOut(key) || !parts->local.lookAt(place))
            gone.push_back(key);
        else
            places.emplace(key, std::move(place));
    }
    for (const std::string& each : gone)
        parts->store.forget(each);
}

// Asked with paths here and with keys of the space: both must give the same answer.
bool SyncThread::isLeftOut(const std::string& path) const {
    if (settings.wanted) {
        const std::string key = keyOf(path, foldsCase);
        const auto next = wantedKeys.lower_bound(key + "/");
        bool isWanted = next != wantedKeys.end() && next->starts_with(key + "/");
        for (std::size_t end = key.size(); !isWanted && end != std::string::npos && end > 0;
             end = key.rfind('/', end - 1))
            isWanted = wantedKeys.contains(std::string_view(key).substr(0, end));
        if (!isWanted) return true;
    }
    return isLeftOutByRule(path);
}

// The built-in rules tell cases apart.
bool SyncThread::isLeftOutByRule(const std::string& path) const {
    return !foldsCase && dirsnapshot::DirSnapshot::isNodeAtFullPathExcluded("/" + path);
}

// At or below a name that is left alone.
const LeftAlone* SyncThread::leftAlone(std::string_view key) const {
    if (leftAloneKeys.empty()) return nullptr;
    for (;;) {
        if (const auto found = leftAloneKeys.find(key); found != leftAloneKeys.end()) return &found->second;
        const std::size_t slash = key.rfind('/');
        if (slash == std::string_view::npos) return nullptr;
        key = key.substr(0, slash);
    }
}

} // namespace service
