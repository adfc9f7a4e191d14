// What the two sources of PairSync that bring many items at once share. Private to them.
#pragma once

#include "service/PairSync.h"

#include <map>
#include <stop_token>
#include <string>

namespace service {

// One item of a batch: what is known of it grows with the steps.
struct PairSync::Travelling {
    const Operation* operation;
    std::string privateName; // going up: in the private folder there; coming down: its path here until then
    bool isTop = false;      // takes its name by a move of its own, with all that is in it
    bool isGood = true;
    bool isAgreed = false; // singly, before the rest
    AgreedItem item{};

    const std::string& key() const { return operation->path; }
    bool isFolder() const { return operation->what == What::makeFolder; }
};

// What folders of the space hold by name, each listed once, when it is first asked for. One that is not there
// holds nothing.
class ListedFolders {
  public:
    using Items = std::map<std::string, RemoteItem>;

    ListedFolders(RemoteSpace& itsSpace, const std::stop_token& itsStop) : space(itsSpace), stop(itsStop) {}

    Outcome<const Items*> of(const std::string& folder) {
        const auto known = folders.find(folder);
        if (known != folders.end()) return &known->second;
        const auto list = space.list(folder, false).wait(stop);
        if (!list && list.failure().trouble != Trouble::missing) return list.failure();
        Items& items = folders[folder];
        if (list)
            for (const RemoteItem& item : *list)
                items.emplace(item.name, item);
        return &items;
    }

  private:
    RemoteSpace& space;
    const std::stop_token& stop;
    std::map<std::string, Items> folders; // by path in the space
};

} // namespace service
