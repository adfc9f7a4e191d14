// Both sides of a pair side by side, folder by folder, in the order of `pathBefore`: what is compared with
// the agreed items on the way needs no memory for more than the folders in hand.
#pragma once

#include "service/LocalSide.h"
#include "service/remote_look.h"

#include <functional>
#include <optional>
#include <stop_token>
#include <string>

namespace service {

struct OnBothSides {
    std::string key; // relative to the pair
    std::optional<LocalItem> here;
    std::optional<RemoteEntry> there; // its paths are relative to the pair
};

// A name that is left alone on both sides, with all below it: unknown, so that nothing above it is deleted or
// moved in one piece. The reasons are for a person, where a side has an item there; "" says nothing.
struct LeftAlone {
    std::string reasonHere;
    std::string reasonThere;
};

struct PairWalkOptions {
    RemoteLookOptions remote; // `isLeftOut` is also asked by path here
    std::string remoteFolder; // of the pair, in the space
    std::function<const LeftAlone*(const std::string& key)> leftAlone; // null: it is not
};

// Visits all names below a folder of the pair, each folder before what is in it; `top` says what the folder
// is on each side, where it has to be one at least. Lists of the space are fetched ahead, `listsAtOnce` at
// the same time. A list of the space that fails ends the walk with that failure; a folder here that cannot
// be read is visited as unknown, without what is in it, but for `top` itself.
Outcome<Done> walkPair(const LocalSide& local, RemoteSpace& space, const PairWalkOptions& options,
                       const OnBothSides& top, const std::stop_token& stop,
                       const std::function<void(OnBothSides&&)>& visit);

// The one that stands for the pair's two roots.
OnBothSides rootOfPair();

// A name of this machine as the walk tells it, below a folder of a key: unknown when no storage can hold it.
std::string keyHere(const std::string& folderKey, LocalItem& item, bool foldsCase);

} // namespace service
