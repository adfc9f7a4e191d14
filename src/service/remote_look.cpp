#include "service/remote_look.h"

#include "service/names.h"

#include <deque>
#include <unordered_map>

namespace service {
namespace {

std::string joined(const std::string& folder, const std::string& name) {
    return folder.empty() ? name : folder + "/" + name;
}

struct Listing {
    std::string key;
    std::string path;
    Pending<std::vector<RemoteItem>> answer;
};

class Look {
  public:
    Look(RemoteSpace& storage, const std::string& top, const RemoteLookOptions& wanted,
         const std::stop_token& token)
        : space(storage), folder(top), options(wanted), stop(token) {}

    Outcome<std::vector<RemoteEntry>> everything() {
        start({}, {});
        while (!underWay.empty()) {
            Listing listing = std::move(underWay.front());
            underWay.pop_front();
            auto list = listing.answer.wait(stop);
            if (!list) return list.failure();
            if (list->empty() && options.hadItems && options.hadItems(listing.key))
                if (const auto failure = confirmEmptyFolder(space, pathOf(listing.path), stop))
                    return *failure;
            take(listing, std::move(*list));
            while (!folders.empty() && underWay.size() < listsAtOnce) {
                const std::size_t index = folders.front();
                folders.pop_front();
                start(entries[index].key, entries[index].path);
            }
        }
        return std::move(entries);
    }

  private:
    std::string pathOf(const std::string& path) const { return path.empty() ? folder : joined(folder, path); }
    void start(const std::string& key, const std::string& path) {
        underWay.push_back({key, path, space.list(pathOf(path), false)});
    }

    void take(const Listing& listing, std::vector<RemoteItem>&& list) {
        for (RemoteEntry& entry : entriesOf(std::move(list), listing.key, listing.path, options)) {
            if (entry.shape == Shape::folder) folders.push_back(entries.size());
            entries.push_back(std::move(entry));
        }
    }

    RemoteSpace& space;
    const std::string folder;
    const RemoteLookOptions& options;
    const std::stop_token stop;
    std::vector<RemoteEntry> entries;
    std::deque<std::size_t> folders; // to be listed, by their indexes
    std::deque<Listing> underWay;
};

} // namespace

std::vector<RemoteEntry> entriesOf(std::vector<RemoteItem> list, const std::string& key,
                                   const std::string& path, const RemoteLookOptions& options) {
    std::vector<RemoteEntry> entries;
    entries.reserve(list.size());
    std::unordered_map<std::string_view, std::size_t> known; // the entries stay where they are
    known.reserve(list.size());
    for (RemoteItem& told : list) {
        if (isPrivate(told.name)) continue;
        RemoteEntry entry;
        entry.item = std::move(told);
        const RemoteItem& item = entry.item;
        entry.path = joined(path, item.name);
        if (faultOf(item.name)) {
            entry.key = joined(key, item.name);
            entry.shape = Shape::unknown;
            entry.reason = "a name that this machine or the next storage may not hold";
            if (item.name.find('\0') == std::string::npos && faultOf(item.name) != NameFault::notText)
                entries.push_back(std::move(entry));
            continue;
        }
        entry.key = joined(key, keyOf(item.name, options.foldsCase));
        if (options.isLeftOut && options.isLeftOut(entry.key)) continue;
        if (const auto other = known.find(entry.key); other != known.end()) {
            entries[other->second].shape = Shape::unknown;
            entries[other->second].reason = "two items of this name";
            continue;
        }
        if (item.kind == RemoteItem::Kind::sizeless) {
            entry.shape = Shape::unknown;
            entry.reason = "a document without bytes of its own";
        } else if (item.kind == RemoteItem::Kind::folder) {
            entry.shape = Shape::folder;
        }
        entries.push_back(std::move(entry));
        known.emplace(entries.back().key, entries.size() - 1);
    }
    return entries;
}

std::optional<Failure> confirmEmptyFolder(RemoteSpace& space, const std::string& path,
                                          const std::stop_token& stop) {
    const auto item = space.look(path, false).wait(stop);
    if (!item) return item.failure();
    if (*item && (*item)->kind == RemoteItem::Kind::folder) return std::nullopt;
    return Failure{Trouble::missing, path + " was listed as an empty folder and is not one"};
}

Outcome<std::vector<RemoteEntry>> lookAtSpace(RemoteSpace& space, const std::string& folder,
                                              const RemoteLookOptions& options, const std::stop_token& stop) {
    return Look(space, folder, options, stop).everything();
}

} // namespace service
