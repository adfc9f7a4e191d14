// Tells when one file may have changed: written, replaced, removed, or there for the first time, even when
// the folders above it come later, or when it is a link to a file elsewhere.
//
// Nothing runs while nothing happens: one thread sleeps in the kernel's notification, inotify(7).
#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>
#include <thread>

namespace backends::posix {

class FileWatch {
  public:
    // The handler runs on the watch's own thread; changes close together may come as one call, and a call may
    // come without a change. Changes after the constructor's return are not missed. Raises std::system_error
    // when the kernel gives no watch.
    FileWatch(std::string path, std::function<void()> changed);
    // Waits for a handler that runs. Not from the handler.
    ~FileWatch();
    FileWatch(const FileWatch&) = delete;
    FileWatch& operator=(const FileWatch&) = delete;

  private:
    struct Folder {
        std::string path;
        std::set<std::string> names; // the ones that matter
    };

    void watchFolders();
    bool readEvents();
    void run();

    std::string file;
    std::function<void()> handler;
    int notify = -1;
    int end = -1;                  // eventfd
    std::map<int, Folder> watched; // by the kernel's number of the watch
    std::thread thread;
};

} // namespace backends::posix
