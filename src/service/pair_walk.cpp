#include "service/pair_walk.h"

#include "service/names.h"
#include "service/pair_parts.h"

#include <algorithm>
#include <list>

namespace service {
namespace {

const char* wordOf(NameFault fault) {
    switch (fault) {
    case NameFault::notText:
        return "its name is not UTF-8";
    case NameFault::control:
        return "its name holds a control character or a sign that stands for one";
    case NameFault::tooLong:
        return "its name has more than 255 bytes";
    case NameFault::emptyOrDot:
        break;
    }
    return "its name cannot be held";
}

// The path in the space of one in the pair, "" for the pair itself.
std::string inSpace(const std::string& pairFolder, const std::string& path) {
    return path.empty() ? pairFolder : joined(pairFolder, path);
}

bool isFolderHere(const OnBothSides& name) { return name.here && name.here->shape == Shape::folder; }
bool isFolderThere(const OnBothSides& name) { return name.there && name.there->shape == Shape::folder; }

// Lists of the space in the order in which they are needed, some of them asked for ahead.
class Lists {
  public:
    using List = std::vector<RemoteItem>;
    Lists(RemoteSpace& storage, std::string pairFolder) : space(storage), root(std::move(pairFolder)) {}

    // In the order of the walk: before all that wait already.
    void add(const std::vector<std::string>& folders) {
        auto place = tickets.begin();
        for (const std::string& folder : folders)
            tickets.insert(place, Ticket{folder, {}});
        startSome();
    }
    // The next one, which has to be of this folder.
    Outcome<List> take(const std::string& folder, const std::stop_token& stop) {
        if (tickets.empty() || tickets.front().folder != folder) add({folder});
        if (!tickets.front().answer) start(tickets.front());
        Pending<List> answer = std::move(*tickets.front().answer);
        tickets.pop_front();
        --begun;
        startSome();
        return answer.wait(stop);
    }

  private:
    struct Ticket {
        std::string folder;
        std::optional<Pending<List>> answer;
    };
    // Those that have come wait for their turn. Who puts the questions to the storage keeps as many under way
    // as it may, so that none waits for this thread. What comes next is always asked for: lists of folders
    // further on that have come already take no turn of it.
    static constexpr std::size_t mostBegun = 2 * listsAtOnce;

    void start(Ticket& ticket) {
        ticket.answer.emplace(space.list(inSpace(root, ticket.folder), false));
        ++begun;
    }
    void startSome() {
        std::size_t seen = 0;
        for (Ticket& ticket : tickets) {
            const bool isNext = ++seen <= listsAtOnce;
            if (!isNext && (seen > mostBegun || begun >= mostBegun)) return;
            if (!ticket.answer) start(ticket);
        }
    }

    RemoteSpace& space;
    const std::string root;
    std::list<Ticket> tickets;
    std::size_t begun = 0;
};

class Walk {
  public:
    Walk(const LocalSide& localSide, RemoteSpace& storage, const PairWalkOptions& wanted,
         const std::stop_token& token, const std::function<void(OnBothSides&&)>& visitor)
        : local(localSide), space(storage), options(wanted), stop(token), visit(visitor),
          lists(storage, wanted.remoteFolder) {}

    Outcome<Done> below(const OnBothSides& top) {
        std::vector<LocalItem> here;
        if (isFolderHere(top)) {
            auto list = local.list(top.here->path, options.remote.isLeftOut);
            if (!list) return list.failure();
            here = std::move(*list);
        }
        return folder(top.key, isFolderThere(top) ? std::optional(top.there->path) : std::nullopt,
                      std::move(here));
    }

  private:
    Outcome<Done> folder(const std::string& key, const std::optional<std::string>& pathThere,
                         std::vector<LocalItem> here) {
        if (stop.stop_requested()) return Failure{Trouble::cancelled, "cancelled"};
        std::vector<OnBothSides> names = namesHere(key, std::move(here));
        mergeDoubles(names);
        if (pathThere) {
            auto list = lists.take(*pathThere, stop);
            if (!list) return list.failure();
            if (list->empty() && options.remote.hadItems && options.remote.hadItems(key))
                if (const auto failure =
                        confirmEmptyFolder(space, inSpace(options.remoteFolder, *pathThere), stop))
                    return *failure;
            const std::size_t count = names.size();
            for (RemoteEntry& entry : entriesOf(std::move(*list), key, *pathThere, options.remote)) {
                const auto end = names.begin() + static_cast<std::ptrdiff_t>(count);
                const auto same =
                    std::lower_bound(names.begin(), end, entry.key,
                                     [](const auto& one, const auto& other) { return one.key < other; });
                if (same != end && same->key == entry.key) {
                    if (!same->there) same->there = std::move(entry);
                    continue;
                }
                OnBothSides name;
                name.key = entry.key;
                name.there = std::move(entry);
                names.push_back(std::move(name));
            }
            if (names.size() > count) {
                std::sort(names.begin(), names.end(),
                          [](const auto& one, const auto& other) { return one.key < other.key; });
                names.erase(
                    std::unique(names.begin(), names.end(),
                                [](const auto& one, const auto& other) { return one.key == other.key; }),
                    names.end());
            }
        }
        leaveAlone(names);
        std::vector<std::string> foldersThere;
        for (const OnBothSides& name : names)
            if (isFolderThere(name)) foldersThere.push_back(name.there->path);
        if (!foldersThere.empty()) lists.add(foldersThere);
        return each(names);
    }

    // In the order of their keys. What is put in order is small: the names are not.
    std::vector<OnBothSides> namesHere(const std::string& folderKey, std::vector<LocalItem> items) const {
        std::vector<std::pair<std::string, LocalItem*>> order;
        order.reserve(items.size());
        for (LocalItem& item : items)
            order.emplace_back(keyHere(folderKey, item, options.remote.foldsCase), &item);
        std::sort(order.begin(), order.end(),
                  [](const auto& one, const auto& other) { return one.first < other.first; });
        std::vector<OnBothSides> names(order.size());
        for (std::size_t index = 0; index < order.size(); ++index) {
            names[index].key = std::move(order[index].first);
            names[index].here = std::move(*order[index].second);
        }
        return names;
    }

    Outcome<Done> each(std::vector<OnBothSides>& names) {
        for (OnBothSides& name : names) {
            std::vector<LocalItem> below;
            if (isFolderHere(name)) {
                auto list = local.list(name.here->path, options.remote.isLeftOut);
                if (list) {
                    below = std::move(*list);
                } else {
                    name.here->shape = Shape::unknown;
                    name.here->reason = list.failure().text;
                }
            }
            const bool isFolder = isFolderHere(name) || isFolderThere(name);
            const std::string key = isFolder ? name.key : std::string();
            const auto pathThere = isFolderThere(name) ? std::optional(name.there->path) : std::nullopt;
            visit(std::move(name));
            if (!isFolder) continue;
            if (auto done = folder(key, pathThere, std::move(below)); !done) return done;
        }
        return Done{};
    }

    void leaveAlone(std::vector<OnBothSides>& names) const {
        if (!options.leftAlone) return;
        for (OnBothSides& name : names) {
            const LeftAlone* const why = options.leftAlone(name.key);
            if (why == nullptr) continue;
            if (name.here) name.here->shape = Shape::unknown;
            if (name.here) name.here->reason = why->reasonHere;
            if (name.there) name.there->shape = Shape::unknown;
            if (name.there) name.there->reason = why->reasonThere;
        }
    }

    static void mergeDoubles(std::vector<OnBothSides>& names) {
        std::size_t kept = 0;
        for (std::size_t index = 0; index < names.size(); ++index) {
            if (kept > 0 && names[kept - 1].key == names[index].key) {
                names[kept - 1].here->shape = Shape::unknown;
                names[kept - 1].here->reason =
                    "its name differs from another's only in a way that the storage does not tell apart";
                continue;
            }
            if (kept != index) names[kept] = std::move(names[index]);
            ++kept;
        }
        names.resize(kept);
    }

    const LocalSide& local;
    RemoteSpace& space;
    const PairWalkOptions& options;
    const std::stop_token stop;
    const std::function<void(OnBothSides&&)>& visit;
    Lists lists;
};

} // namespace

Outcome<Done> walkPair(const LocalSide& local, RemoteSpace& space, const PairWalkOptions& options,
                       const OnBothSides& top, const std::stop_token& stop,
                       const std::function<void(OnBothSides&&)>& visit) {
    return Walk(local, space, options, stop, visit).below(top);
}

OnBothSides rootOfPair() {
    OnBothSides root;
    root.here.emplace();
    root.here->shape = Shape::folder;
    root.there.emplace();
    root.there->shape = Shape::folder;
    return root;
}

std::string keyHere(const std::string& folderKey, LocalItem& item, bool foldsCase) {
    const std::string name = lastOf(item.path);
    const auto fault = faultOf(name);
    if (!fault) return joined(folderKey, keyOf(name, foldsCase));
    if (item.shape != Shape::unknown) item.reason = wordOf(*fault);
    item.shape = Shape::unknown;
    return joined(folderKey, name);
}

} // namespace service
