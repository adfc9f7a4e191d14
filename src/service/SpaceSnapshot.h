// The snapshot of the whole space as a file of the snapshot engine's, for whoever asks for one.
#pragma once

#include "platform/Clock.h"
#include "platform/ProcessLog.h"
#include "service/RemoteSpace.h"

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

namespace service {

class SpaceSnapshot {
  public:
    // `file` is the name under which it is loaded: the database is that name and ".db". All must outlive the
    // object, and nobody may wait in `take` any more when it goes.
    SpaceSnapshot(RemoteSpace& remoteSpace, std::filesystem::path file, platform::ProcessLog& processLog,
                  const platform::Clock& itsClock);
    ~SpaceSnapshot(); // a look in hand is cancelled

    // Looks at the whole space and writes what is there. A look that takes longer than the limit goes on, and
    // what an earlier one wrote is the answer; none where there is none.
    std::optional<std::string> take(std::chrono::milliseconds limit);

  private:
    void run(const std::stop_token& stop);
    bool write(const std::stop_token& stop);

    RemoteSpace& space;
    const platform::Clock& clock;
    const std::filesystem::path file;
    platform::ProcessLog& log;
    std::mutex lock; // of the three below
    std::condition_variable_any wake;
    bool isLooking = false;
    bool isWritten = false; // by the last look
    std::jthread thread;    // last: it uses the rest
};

} // namespace service
