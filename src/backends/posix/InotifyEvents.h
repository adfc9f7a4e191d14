// Directory events by inotify(7).
//
// The kernel keeps a watch for each directory, and a bounded queue of events; both limits are the user's
// (fs.inotify.max_user_watches, max_queued_events). The thread sleeps until there is an event.
//
// A file that is made is announced when its writer closes it, not before; a second name (hard link) and a
// link, which nobody writes, at once.
#pragma once

#include "platform/DirectoryEvents.h"

#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <unordered_map>

struct inotify_event;

namespace backends::posix {

class InotifyEvents final : public platform::DirectoryEvents {
  public:
    // Raises std::system_error when the user has no inotify instance left.
    InotifyEvents();
    ~InotifyEvents() override;
    InotifyEvents(const InotifyEvents&) = delete;
    InotifyEvents& operator=(const InotifyEvents&) = delete;

    void start(Handler handler) override;
    void stop() override;
    bool watchTree(const std::string& directory) override;
    void forgetTree(const std::string& directory) override;

  private:
    void run();
    void take(const inotify_event& event, std::string_view name);
    bool watch(const std::string& directory);

    int events = -1; // inotify
    int wakeUp = -1; // eventfd; readable: the thread ends
    Handler handler;
    std::mutex lock;
    std::unordered_map<int, std::string> paths; // by watch; guarded by lock, as the next
    std::map<std::string, int> watches;         // by path
    std::thread thread;
};

} // namespace backends::posix
