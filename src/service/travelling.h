// What the two sources of PairSync that bring many items at once share. Private to them.
#pragma once

#include "service/PairSync.h"

#include <deque>
#include <map>
#include <set>
#include <stop_token>
#include <string>
#include <utility>
#include <vector>

namespace service {

// One item of a batch: what is known of it grows with the steps.
struct PairSync::Travelling {
    const Operation* operation;
    std::string privateName; // going up: in the private folder there; coming down: its path here until then
    bool isTop = false;      // takes its name by a move of its own, with all that is in it
    bool isGood = true;
    bool isRead = false;   // coming down: whole, and its digest is known
    bool isAgreed = false; // singly, before the rest
    AgreedItem item{};

    const std::string& key() const { return operation->path; }
    bool isFolder() const { return operation->what == What::makeFolder; }
};

// Not the trouble of one item alone.
inline bool endsAll(const Failure& failure) {
    return failure.trouble == Trouble::unreachable || failure.trouble == Trouble::cancelled;
}

// What folders of the space hold by name, each listed once, when it is first asked for. One that is not there
// holds nothing.
class ListedFolders {
  public:
    using Items = std::map<std::string, RemoteItem>;

    ListedFolders(RemoteSpace& itsSpace, const std::stop_token& itsStop) : space(itsSpace), stop(itsStop) {}

    Outcome<const Items*> of(const std::string& folder) {
        const auto known = folders.find(folder);
        if (known != folders.end()) return &known->second;
        return take(folder, space.list(folder, false));
    }
    // All of these, several at once.
    Outcome<Done> fetch(const std::set<std::string>& wanted) {
        std::deque<std::pair<std::string, Pending<std::vector<RemoteItem>>>> underWay;
        auto next = wanted.begin();
        while (next != wanted.end() || !underWay.empty()) {
            if (next != wanted.end() && underWay.size() < listsAtOnce) {
                underWay.emplace_back(*next, space.list(*next, false));
                ++next;
                continue;
            }
            const auto taken = take(underWay.front().first, std::move(underWay.front().second));
            underWay.pop_front();
            if (!taken) return taken.failure();
        }
        return Done{};
    }

  private:
    Outcome<const Items*> take(const std::string& folder, Pending<std::vector<RemoteItem>> pending) {
        const auto list = pending.wait(stop);
        if (!list && list.failure().trouble != Trouble::missing) return list.failure();
        Items& items = folders[folder];
        if (list)
            for (const RemoteItem& item : *list)
                items.emplace(item.name, item);
        return &items;
    }

    RemoteSpace& space;
    const std::stop_token& stop;
    std::map<std::string, Items> folders; // by path in the space
};

} // namespace service
