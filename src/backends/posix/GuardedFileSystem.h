// The file system, asked in such a way that neither a dead nor a slow mount holds up the caller or another
// mount.
//
// Each mount is asked on helper threads of its own, one at a time. A question has one deadline for all its
// paths: what has not been answered by then is "unknown". The helper goes on with these paths, after all that
// is asked meanwhile; what it finds is remembered for some seconds and its paths are announced, so that
// whoever asks again then gets the answer at once.
//
// A helper that hangs in a path (a link to a dead mount) is left there and another takes over. A mount on
// which several hang is dead: it answers "unknown" at once until one of them comes back.
//
// Threads sleep without a timer, but for the deadline of a question. Any thread may ask. Everything that a
// helper uses is copied or shared with it: it may hang past our end.
#pragma once

#include "backends/posix/Disk.h"
#include "platform/Clock.h"
#include "platform/FileSystem.h"
#include "platform/Queue.h"
#include "platform/Subscription.h"

#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace backends::posix {

class GuardedFileSystem final : public platform::FileSystem {
  public:
    // The clock and the queue outlive this object. The queue's delays are the deadlines, so nothing may hold
    // it up.
    struct Surroundings {
        std::shared_ptr<const Disk> disk;
        const platform::Clock& clock;
        platform::Queue& deadlines;
    };
    explicit GuardedFileSystem(const Surroundings& surroundings);
    // The machine's disk and clock, and a queue of its own.
    GuardedFileSystem();
    ~GuardedFileSystem() override;
    GuardedFileSystem(const GuardedFileSystem&) = delete;
    GuardedFileSystem& operator=(const GuardedFileSystem&) = delete;

    std::vector<platform::Existence> existence(std::span<const std::string_view> paths) override;
    void askExistence(std::vector<std::string> paths, ExistenceHandler answered) override;
    std::optional<platform::FileKind> kind(std::string_view path) override;
    std::vector<std::string> entryNames(std::string_view path) override;

    // Called on a helper thread with paths that were "unknown" and are known now; none given: any path may
    // be. One handler, which does not end its own subscription.
    using LateHandler = std::function<void(std::vector<std::string> paths)>;
    [[nodiscard]] platform::Subscription whenAnsweredLate(LateHandler handler);

  private:
    struct Question;
    struct Job;
    struct Mount;
    struct State;

    std::unique_ptr<platform::Queue> ownQueue; // null: the surroundings' one serves
    std::shared_ptr<State> state;              // shared with the helpers
};

} // namespace backends::posix
