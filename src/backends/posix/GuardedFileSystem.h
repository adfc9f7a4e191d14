// The file system, so asked that a dead mount cannot stop the caller.
//
// Tests run on helper threads, one job for each mount that the paths lie on, and the caller waits only
// while answers still come back: when none has come for the patience, the open ones are "unknown". A mount
// that hangs answers "unknown" at once until it is back, so that it costs its patience once and not once
// for each item. Threads sleep without a timer.
//
// Any thread may ask. Everything that a helper thread uses is copied or shared with it.
#pragma once

#include "platform/FileSystem.h"

#include <chrono>
#include <functional>
#include <memory>

namespace backends::posix {

class GuardedFileSystem final : public platform::FileSystem {
  public:
    // How a single path is asked for; replaced only to inject a disk that hangs.
    using Probe = std::function<std::optional<platform::FileKind>(const std::string& path)>;
    static std::optional<platform::FileKind> probeDisk(const std::string& path);

    explicit GuardedFileSystem(std::chrono::milliseconds patience = std::chrono::milliseconds(250),
                               Probe probe = probeDisk);
    ~GuardedFileSystem() override;
    GuardedFileSystem(const GuardedFileSystem&) = delete;
    GuardedFileSystem& operator=(const GuardedFileSystem&) = delete;

    std::vector<platform::Existence> existence(std::span<const std::string_view> paths) override;
    std::optional<platform::FileKind> kind(std::string_view path) override;
    std::vector<std::string> entryNames(std::string_view path) override;

    // Called on a helper thread, with the mount point, when a mount that hung answers again. Set before
    // the first question.
    void setRecovered(std::function<void(const std::string& mountPoint)> handler);

  private:
    struct Job;
    struct State;
    std::shared_ptr<Job> start(const std::string& mountPoint, std::vector<std::string> paths, bool kinds);
    void wait(Job& job);

    std::chrono::milliseconds patience;
    std::shared_ptr<State> state; // shared with the helper threads, which may hang past our end
};

} // namespace backends::posix
