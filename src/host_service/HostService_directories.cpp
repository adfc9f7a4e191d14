// The directories that hosts show, and what is told about them.
#include "extension/path_levels.h"
#include "host_service/HostService.h"

#include <algorithm>
#include <utility>

namespace host_service {
namespace {

using platform::FileURL;

// A host is told of changes at most this often; what comes meanwhile is put together.
constexpr std::chrono::milliseconds announcementInterval{100};
// More changed items of one directory than this count as "any item".
constexpr std::size_t maximumNamedItems = 256;
// More directories than any person opens: a host that asks for more is out of order.
constexpr std::size_t maximumDirectoriesPerHost = 10'000;
constexpr std::size_t maximumObservedBytesPerHost = std::size_t{4} << 20; // of their URIs
// Of all directories that a host is told of at once; beyond, no items are named.
constexpr std::size_t maximumNamedItemsPerHost = 2048;
// How often a host that does not listen is looked at, and after how many looks it is dropped.
constexpr std::chrono::seconds catchUpInterval{1};
constexpr unsigned maximumCatchUps = 30;

std::string childURI(const std::string& directory, const std::string& name) {
    const auto child = FileURL::withPath("/" + name);
    if (!child) return directory;
    const std::string_view trimmed =
        std::string_view(directory).substr(0, directory.find_last_not_of('/') + 1);
    return std::string(trimmed.size() < std::string_view("file://").size() ? "file://" : trimmed) +
           child->uri().substr(std::string_view("file://").size());
}

// The standard form by which a directory is known, whatever its spelling.
std::string keyOf(const FileURL& directory) {
    std::string key;
    extension::forEachLevel(directory.path(),
                            [&key](const extension::PathLevel& level) { key = level.standard; });
    return key;
}

} // namespace

// --- observed directories, on the model queue

void HostService::beginObserving(const HostName& name, std::string uri) {
    around.modelQueue.dispatch([this, name, uri = std::move(uri)] {
        const auto directory = FileURL::withURI(uri);
        Host& host = hosts[name];
        if (!directory || host.count >= maximumDirectoriesPerHost ||
            host.bytes + uri.size() > maximumObservedBytesPerHost) {
            around.log.error("Ignored a directory that a file manager shows: ", uri);
            return;
        }
        ++host.count;
        host.bytes += uri.size();
        const auto [place, isFirst] = observed.try_emplace(keyOf(*directory));
        auto& entry = *place;
        ++entry.second.hosts[name][uri];
        host.directories.insert(&entry);
        around.finderSync.beginObservingDirectoryAtURL(*directory);
        if (!isFirst) return;
        if (!around.finderSync.badgeState()->explain(*directory).root.empty())
            around.sink.observingBegan(uri);
        else
            lookWhereTheyLead({entry.first});
    });
}

void HostService::endObserving(const HostName& name, std::string uri) {
    around.modelQueue.dispatch([this, name, uri = std::move(uri)] {
        const auto host = hosts.find(name);
        const auto directory = FileURL::withURI(uri);
        if (host == hosts.end() || !directory) return;
        const auto entry = observed.find(keyOf(*directory));
        if (entry == observed.end()) return;
        const auto held = entry->second.hosts.find(name);
        if (held != entry->second.hosts.end() && held->second.contains(uri))
            release(host->second, name, *entry, uri, 1);
    });
}

void HostService::heldUp(const HostName& name, std::uint64_t microseconds) {
    around.modelQueue.dispatch([this, name, microseconds] {
        std::uint64_t& longest = hosts[name].longest;
        longest = std::max(longest, microseconds);
    });
}

void HostService::hostGone(const HostName& name) {
    dropActivations(name);
    around.modelQueue.dispatch([this, name] { forget(name); });
}

void HostService::forget(const HostName& name) {
    behind.erase(name);
    const auto host = hosts.find(name);
    if (host == hosts.end()) return;
    const auto directories = host->second.directories;
    for (Directories::value_type* directory : directories) {
        const auto spellings = directory->second.hosts.at(name);
        for (const auto& [uri, count] : spellings)
            release(host->second, name, *directory, uri, count);
    }
    hosts.erase(host);
}

void HostService::release(Host& host, const HostName& name, Directories::value_type& directory,
                          const std::string& uri, unsigned count) {
    host.count -= count;
    host.bytes -= count * uri.size();
    for (unsigned i = 0; i < count; ++i)
        around.finderSync.endObservingDirectoryAtURL(*FileURL::withURI(uri));
    auto& spellings = directory.second.hosts.at(name);
    const auto spelling = spellings.find(uri);
    spelling->second -= count;
    if (spelling->second > 0) return;
    spellings.erase(spelling);
    if (!spellings.empty()) return;
    directory.second.hosts.erase(name);
    host.directories.erase(&directory);
    if (!directory.second.hosts.empty()) return;
    links.set(directory.first, "");
    observed.erase(observed.find(directory.first));
}

// --- changes, on the model queue

void HostService::rootsChanged() {
    identities = nullptr;
    std::vector<std::string> keys;
    keys.reserve(observed.size());
    for (auto& [path, directory] : observed) {
        directory.everyItem = true;
        keys.push_back(path);
    }
    lookWhereTheyLead(keys);
    announceLater();
}

void HostService::filesChanged(std::span<const std::string> paths) {
    if (observed.empty() || paths.empty()) return;
    for (const std::string& path : paths) {
        std::string parent;
        extension::forEachLevel(path, [&](const extension::PathLevel& level) {
            if (!parent.empty()) note(parent, level.standard);
            parent = level.standard;
        });
    }
    announceLater();
}

void HostService::daemonTold() {
    if (std::exchange(isToldOfProgress, true)) return;
    around.modelQueue.dispatchAfter(announcementInterval, [this] {
        isToldOfProgress = false;
        around.sink.progressChanged();
        if (around.progressed) around.progressed();
    });
}

void HostService::itemsAnswered(std::vector<std::string> paths) {
    around.modelQueue.dispatch([this, paths = std::move(paths)] {
        if (paths.empty()) {
            rootsChanged();
            return;
        }
        for (const std::string& path : paths) {
            std::string parent;
            std::string item;
            extension::forEachLevel(path, [&](const extension::PathLevel& level) {
                parent = std::exchange(item, std::string(level.standard));
            });
            note(parent, item);
        }
        announceLater();
    });
}

void HostService::note(const std::string& directory, std::string_view item) {
    const auto noteIn = [&](const std::string& key) {
        const auto entry = observed.find(key);
        if (entry == observed.end() || entry->second.everyItem) return;
        entry->second.itemNames.emplace(item.substr(item.rfind('/') + 1));
        entry->second.everyItem = entry->second.itemNames.size() > maximumNamedItems;
    };
    noteIn(directory);
    for (const std::string& shown : links.shownAs(directory))
        noteIn(shown);
}

// One look for all of them: the roots are asked for once, however many directories are shown.
void HostService::lookWhereTheyLead(const std::vector<std::string>& keys) {
    const auto state = around.finderSync.badgeState();
    std::vector<std::string> unknown; // in no root by name
    for (const std::string& key : keys) {
        const auto directory = FileURL::withPath(key);
        if (!directory || state->watchedPaths().empty() || !state->explain(*directory).root.empty())
            leadsTo(key, "");
        else
            unknown.push_back(key);
    }
    if (unknown.empty()) return;
    around.backgroundQueue.dispatch([this, keys = std::move(unknown), state, known = identities] {
        const auto roots = known ? known
                                 : std::make_shared<const RootIdentities>(
                                       identitiesOf(state->watchedPaths(), around.fileSystem));
        std::vector<std::pair<std::string, std::string>> own;
        own.reserve(keys.size());
        for (const std::string& key : keys)
            own.emplace_back(key, ownPathOf(key, *roots, around.fileSystem));
        around.modelQueue.dispatch([this, own = std::move(own), roots, sequence = state->sequence()] {
            if (around.finderSync.badgeState()->sequence() == sequence) identities = roots;
            for (const auto& [key, path] : own)
                leadsTo(key, path);
        });
    });
}

void HostService::leadsTo(const std::string& key, const std::string& own) {
    const auto entry = observed.find(key);
    if (entry == observed.end() || !links.set(key, own)) return;
    entry->second.everyItem = true;
    announceLater();
    if (const auto directory = FileURL::withPath(own)) around.sink.observingBegan(directory->uri());
}

void HostService::announceLater() {
    if (isAnnouncing || observed.empty()) return;
    isAnnouncing = true;
    const auto passed = around.clock.now() - lastAnnouncement;
    if (passed >= announcementInterval)
        around.modelQueue.dispatch([this] { announce(); });
    else
        around.modelQueue.dispatchAfter(
            std::chrono::ceil<std::chrono::milliseconds>(announcementInterval - passed),
            [this] { announce(); });
}

void HostService::announce() {
    isAnnouncing = false;
    lastAnnouncement = around.clock.now();
    std::map<HostName, std::vector<DirectoryChange>> changes;
    std::map<HostName, std::size_t> named;
    for (auto& [path, directory] : observed) {
        if (!directory.everyItem && directory.itemNames.empty()) continue;
        for (const auto& [host, spellings] : directory.hosts) {
            if (behind.contains(host)) continue; // is told everything once it listens
            for (const auto& [uri, count] : spellings) {
                DirectoryChange change{uri, {}};
                if (!directory.everyItem &&
                    (named[host] += directory.itemNames.size()) <= maximumNamedItemsPerHost)
                    for (const std::string& name : directory.itemNames)
                        change.items.push_back(childURI(uri, name));
                changes[host].push_back(std::move(change));
            }
        }
        directory.everyItem = false;
        directory.itemNames.clear();
    }
    const std::uint64_t sequence = around.finderSync.badgeState()->sequence();
    for (const auto& [host, directories] : changes) {
        if (around.sink.isListening(host))
            around.sink.badgesChanged(host, sequence, directories);
        else
            behind.emplace(host, 0);
    }
    catchUpLater();
}

void HostService::catchUpLater() {
    if (isCatchingUp || behind.empty()) return;
    isCatchingUp = true;
    around.modelQueue.dispatchAfter(catchUpInterval, [this] { catchUp(); });
}

void HostService::catchUp() {
    isCatchingUp = false;
    const std::uint64_t sequence = around.finderSync.badgeState()->sequence();
    for (auto each = behind.begin(); each != behind.end();) {
        auto& [name, misses] = *each++;
        if (around.sink.isListening(name)) {
            std::vector<DirectoryChange> changes;
            for (const Directories::value_type* directory : hosts[name].directories)
                for (const auto& [uri, count] : directory->second.hosts.at(name))
                    changes.push_back({uri, {}});
            if (!changes.empty()) around.sink.badgesChanged(name, sequence, changes);
            behind.erase(name);
        } else if (++misses >= maximumCatchUps) {
            const HostName dropped = name;
            around.log.error("Dropped a file manager that does not read what it is sent: ", dropped);
            forget(dropped);
            around.sink.hostDropped(dropped, around.tables.directories());
        }
    }
    catchUpLater();
}

} // namespace host_service
