// The folders of the space, level by level, for panels that wait for them: what was listed once is answered
// at once and then listed again, and the next level is fetched before anybody asks.
//
// Threads: any may ask. A few threads of the object's own ask the space; they sleep while nobody asks.
#pragma once

#include "platform/Clock.h"
#include "service/RemoteSpace.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace service {

class FolderLists {
  public:
    // Both outlive the object.
    FolderLists(RemoteSpace& remoteSpace, const platform::Clock& clock);
    ~FolderLists();

    // The names of the folders directly in a folder ("" is the space), by the order of their bytes; private
    // ones are left out. Waits for the space for at most the given time; none when it has not answered by
    // then, or has no such folder.
    std::optional<std::vector<std::string>> in(const std::string& folder, std::chrono::milliseconds limit);
    // Something has changed in the space: what was listed is listed again when somebody asks.
    void forget();

  private:
    using Names = std::vector<std::string>;
    struct Known {
        std::optional<Names> names; // none: not listed yet, or that failed
        platform::Clock::TimePoint since;
        bool isAsked = false; // a thread lists it, or will
        bool isFresh = false; // since the last `forget`
        std::uint64_t answers = 0;
    };
    void run(const std::stop_token& stop);
    void request(const std::string& folder, Known& known);

    RemoteSpace& space;
    const platform::Clock& clock;
    std::mutex lock; // of all below
    std::condition_variable_any changed;
    std::map<std::string, Known> known;
    std::deque<std::pair<std::string, bool>> waiting; // a folder, and whether its folders are fetched too
    std::vector<std::jthread> threads;                // last: they use the rest
};

} // namespace service
