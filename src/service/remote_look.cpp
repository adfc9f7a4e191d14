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
            const auto list = listing.answer.wait(stop);
            if (!list) return list.failure();
            if (list->empty() && options.hadItems && options.hadItems(listing.key))
                if (const auto failure = confirmEmpty(listing.path)) return *failure;
            take(listing, *list);
            while (!folders.empty() && underWay.size() < listsAtOnce) {
                const std::size_t index = folders.front();
                folders.pop_front();
                start(entries[index].key, entries[index].path);
            }
        }
        return std::move(entries);
    }

  private:
    void start(const std::string& key, const std::string& path) {
        underWay.push_back({key, path, space.list(path.empty() ? folder : joined(folder, path), false)});
    }

    std::optional<Failure> confirmEmpty(const std::string& path) {
        const auto item = space.look(path.empty() ? folder : joined(folder, path), false).wait(stop);
        if (!item) return item.failure();
        if (*item && (*item)->kind == RemoteItem::Kind::folder) return std::nullopt;
        return Failure{Trouble::missing, path + " was listed as an empty folder and is none"};
    }

    void take(const Listing& listing, const std::vector<RemoteItem>& list) {
        std::unordered_map<std::string, std::size_t> known;
        for (const RemoteItem& item : list) {
            if (isPrivate(item.name)) continue;
            RemoteEntry entry;
            entry.item = item;
            entry.path = joined(listing.path, item.name);
            if (faultOf(item.name)) {
                entry.key = entry.path;
                entry.shape = Shape::unknown;
                entry.reason = "a name that this machine or the next storage may not hold";
                if (item.name.find('\0') == std::string::npos && faultOf(item.name) != NameFault::notText)
                    entries.push_back(std::move(entry));
                continue;
            }
            entry.key = joined(listing.key, keyOf(item.name, options.foldsCase));
            if (options.isLeftOut && options.isLeftOut(entry.key)) continue;
            if (const auto [place, isNew] = known.emplace(entry.key, entries.size()); !isNew) {
                entries[place->second].shape = Shape::unknown;
                entries[place->second].reason = "two items of this name";
                continue;
            }
            if (item.kind == RemoteItem::Kind::sizeless) {
                entry.shape = Shape::unknown;
                entry.reason = "a document without bytes of its own";
            } else if (item.kind == RemoteItem::Kind::folder) {
                entry.shape = Shape::folder;
            }
            entries.push_back(std::move(entry));
        }
        for (const auto& [key, index] : known)
            if (entries[index].shape == Shape::folder) folders.push_back(index);
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

Outcome<std::vector<RemoteEntry>> lookAtSpace(RemoteSpace& space, const std::string& folder,
                                              const RemoteLookOptions& options, const std::stop_token& stop) {
    return Look(space, folder, options, stop).everything();
}

} // namespace service
