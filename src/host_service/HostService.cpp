#include "host_service/HostService.h"

#include "extension/path_levels.h"
#include "protocol/names.h"

#include <utility>

namespace host_service {
namespace {

using extension::BadgeAnswer;
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
constexpr unsigned maximumActivationsPerHost = 16;

// None when one of them is not a file URI.
std::optional<std::vector<FileURL>> fileURLs(const std::vector<std::string>& uris) {
    std::vector<FileURL> urls;
    urls.reserve(uris.size());
    for (const std::string& uri : uris) {
        auto url = FileURL::withURI(uri);
        if (!url) return std::nullopt;
        urls.push_back(std::move(*url));
    }
    return urls;
}

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

platform::MenuHandle noMenu() { return platform::Menu::create(); }

} // namespace

HostService::HostService(const Surroundings& surroundings)
    : around(surroundings), observation(around.finderSync.observe(*this)) {}

void HostService::setShown(Shown shown) {
    around.modelQueue.dispatch([this, shown] {
        if (std::exchange(showsBadges, shown.badges) != shown.badges) rootsChanged();
        if (showsMenu.exchange(shown.menu) != shown.menu) around.sink.menusChanged();
    });
}

void HostService::badges(std::vector<std::string> uris, std::function<void(extension::BadgeBatch)> answer) {
    around.modelQueue.dispatch([this, uris = std::move(uris), answer = std::move(answer)] {
        std::vector<FileURL> items;
        std::vector<std::size_t> places; // of each item that is a local file
        items.reserve(uris.size());
        for (std::size_t i = 0; i < uris.size(); ++i) {
            if (auto url = FileURL::withURI(uris[i])) {
                items.push_back(std::move(*url));
                places.push_back(i);
            }
        }
        around.finderSync.badgesForItems(
            std::move(items),
            [this, answer, places = std::move(places), count = uris.size()](extension::BadgeBatch batch) {
                if (!showsBadges)
                    for (BadgeAnswer& each : batch.answers)
                        each = {BadgeAnswer::Kind::badge, {}, each.isInSync, each.isRoot};
                if (places.size() != count) {
                    std::vector<BadgeAnswer> all(count);
                    for (std::size_t i = 0; i < places.size(); ++i)
                        all[places[i]] = batch.answers[i];
                    batch.answers = std::move(all);
                }
                answer(std::move(batch));
            });
    });
}

void HostService::menu(platform::FIMenuKind kind, std::vector<std::string> uris,
                       std::function<void(platform::MenuHandle)> answer) {
    around.backgroundQueue.dispatch([this, kind, uris = std::move(uris), answer = std::move(answer)] {
        const auto selection = fileURLs(uris);
        if (!showsMenu)
            answer(noMenu());
        else if (!selection)
            answer(around.finderSync.menuOfClass(extension::SelectionClass::nothing));
        else
            answer(around.finderSync.menuForMenuKind(kind, *selection));
    });
}

void HostService::explain(std::string uri, std::function<void(Explanation)> answer) {
    around.modelQueue.dispatch([this, uri = std::move(uri), answer = std::move(answer)] {
        const auto item = FileURL::withURI(uri);
        if (!item) {
            answer({FINDER_SYNC_BADGE_NONE, "outside", "", ""});
            return;
        }
        around.finderSync.badgesForItems({*item}, [this, item, answer](const extension::BadgeBatch& batch) {
            const BadgeAnswer& badge = batch.answers.front();
            const auto reason = around.finderSync.badgeState()->explain(*item);
            Explanation explanation{FINDER_SYNC_BADGE_NONE, std::string(nameOf(reason.rule)), reason.root,
                                    reason.file};
            if (badge.kind == BadgeAnswer::Kind::unchanged)
                explanation = {FINDER_SYNC_BADGE_UNCHANGED, "missing", reason.root, reason.file};
            else if (!badge.identifier.empty())
                explanation.badge = badge.identifier;
            if (!showsBadges) explanation = {FINDER_SYNC_BADGE_NONE, "off", reason.root, reason.file};
            answer(explanation);
        });
    });
}

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
        if (isFirst && !around.finderSync.badgeState()->explain(*directory).root.empty())
            around.sink.observingBegan(uri);
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
    if (directory.second.hosts.empty()) observed.erase(observed.find(directory.first));
}

// --- changes, on the model queue

void HostService::rootsChanged() {
    for (auto& [path, directory] : observed)
        directory.everyItem = true;
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
    const auto entry = observed.find(directory);
    if (entry == observed.end() || entry->second.everyItem) return;
    entry->second.itemNames.emplace(item.substr(item.rfind('/') + 1));
    entry->second.everyItem = entry->second.itemNames.size() > maximumNamedItems;
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

// --- activations

std::optional<std::uint64_t> HostService::activate(const Activation& activation, std::string& message) {
    const extension::Command* command = extension::commandNamed(activation.item);
    if (command == nullptr) {
        message = "There is no menu item \"" + activation.item + "\".";
        return std::nullopt;
    }
    auto selection = fileURLs(activation.uris);
    if (!selection) {
        message = "Something that is selected is not a local file.";
        return std::nullopt;
    }
    extension::CommandRequest request = requestOf(activation, std::move(*selection));
    const bool isAsked = extension::asksPerson(*command, request);
    bool startsAsking = false;
    std::uint64_t number = 0;
    {
        const std::lock_guard guard(activationsLock);
        unsigned& count = underWay[activation.host];
        if (count >= maximumActivationsPerHost) {
            message = "Too many actions are under way. Wait until some of them have ended.";
            return std::nullopt;
        }
        ++count;
        number = ++lastActivation;
        if (isAsked) {
            request.cancellation = std::make_shared<platform::Cancellation>();
            waiting.push_back({activation.host, command, request, doneOf(activation.host, number)});
            startsAsking = !std::exchange(isAsking, true);
        }
    }
    if (!isAsked)
        around.commandQueue.dispatch(
            [this, command, request = std::move(request), done = doneOf(activation.host, number)] {
                around.perform(*command, request, done);
            });
    else if (startsAsking)
        around.panelQueue.dispatch([this] { askNext(); });
    return number;
}

HostService::Done HostService::doneOf(const HostName& host, std::uint64_t number) {
    return [this, host, number](const extension::CommandOutcome& outcome) {
        {
            const std::lock_guard guard(activationsLock);
            const auto count = underWay.find(host);
            if (count == underWay.end()) return; // the host has gone
            if (--count->second == 0) underWay.erase(count);
        }
        around.sink.activationFinished(host, number, outcome);
    };
}

void HostService::askNext() {
    for (;;) {
        std::list<Asking> next;
        {
            const std::lock_guard guard(activationsLock);
            standing = nullptr;
            isAsking = !waiting.empty();
            if (!isAsking) return;
            next.splice(next.begin(), waiting, waiting.begin());
            asking = next.front().host;
            standing = next.front().request.cancellation;
        }
        around.perform(*next.front().command, next.front().request, next.front().done);
    }
}

void HostService::dropActivations(const HostName& host) {
    std::shared_ptr<platform::Cancellation> cancelled;
    {
        const std::lock_guard guard(activationsLock);
        underWay.erase(host);
        waiting.remove_if([&host](const Asking& each) { return each.host == host; });
        if (standing && asking == host) cancelled = standing;
    }
    if (cancelled) cancelled->cancel();
}

// --- tables

std::vector<std::pair<std::string_view, platform::MenuHandle>> HostService::menusByClass() const {
    std::vector<std::pair<std::string_view, platform::MenuHandle>> menus;
    menus.reserve(extension::selectionClasses.size());
    for (const extension::SelectionClass selectionClass : extension::selectionClasses)
        menus.emplace_back(extension::nameOf(selectionClass),
                           showsMenu ? around.finderSync.menuOfClass(selectionClass) : noMenu());
    return menus;
}

void HostService::status(std::function<void(platform::Dictionary)> answer) {
    around.modelQueue.dispatch([this, answer = std::move(answer)] {
        const auto state = around.finderSync.badgeState();
        platform::Array roots;
        for (const FileURL& root : state->watchedPaths())
            roots.emplace_back(root.uri());
        std::size_t directories = 0;
        platform::Array hostNames;
        for (const auto& [name, host] : hosts) {
            directories += host.count;
            hostNames.emplace_back(name);
        }
        answer({{"roots", std::move(roots)},
                {"uploading", static_cast<std::int64_t>(state->uploadingFiles()->size())},
                {"sequence", static_cast<std::int64_t>(state->sequence())},
                {"hosts", static_cast<std::int64_t>(hosts.size())},
                {"hostNames", std::move(hostNames)},
                {"badgesShown", showsBadges},
                {"menuShown", showsMenu.load()},
                {"observed", static_cast<std::int64_t>(directories)},
                {"paused", around.finderSync.pauseRefreshInterface()},
                {"tableKnown", around.finderSync.allPathsInSync() != nullptr}});
    });
}

} // namespace host_service
