// Tells when something changes in directories, so that nobody has to look at them again and again.
//
// Events are hints: one may come twice or late, and without its name when there were too many. What is really
// there is for the receiver to see.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace platform {

struct DirectoryEvent {
    std::string directory;  // as it was given to `watchTree`, or below one that was
    std::string name;       // the entry that was made, changed, moved or deleted
    bool isLost = false;    // events were lost: anything may have changed anywhere, and the two are empty
    std::uint32_t move = 0; // not 0: of a move, whose other half has the same number, the departure first;
                            // one from or to where nobody watches has one half
    bool isArrival = false; // of a move: the item is there now
};

class DirectoryEvents {
  public:
    using Handler = std::function<void(const DirectoryEvent&)>;

    virtual ~DirectoryEvents() = default;

    // The handler runs on a thread of its own, one event at a time; it must return soon. To be called once,
    // before anything is watched. Once `stop` has returned, no handler runs any more; a handler must not call
    // it.
    virtual void start(Handler handler) = 0;
    virtual void stop() = 0;

    // Watches a directory and those below it, links not followed; what is watched already stays so. What is
    // made in them after this has returned, or while it runs, comes as an event. A directory that appears
    // later is to be watched by another call. False when some could not be watched.
    virtual bool watchTree(const std::string& directory) = 0;

    // Ends the watch on a directory and those below it.
    virtual void forgetTree(const std::string& directory) = 0;
};

} // namespace platform
