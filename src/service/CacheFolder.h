// The cache folder: copies of single items of the space, each kept in step with it like a pair's. A changed
// copy goes back to the space, and a change there comes into the copy. A copy that is deleted here is no
// longer wanted; nothing is deleted there.
//
// Which items are wanted is kept in one JSON object: {REMOTE: whether its copy has been here}.
#pragma once

#include "service/SyncThread.h"

#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>

namespace service {

class CacheFolder {
  public:
    // The settings' folder exists; its remote root is the whole space, and what is wanted is the object's
    // own. The thread runs as long as something is wanted, from the start on.
    CacheFolder(std::filesystem::path list, SyncThread::Settings wantedSettings,
                SyncThread::Surroundings surroundings);

    void start();
    void end();
    void add(const std::string& remotePath); // plain
    void setPaused(bool pause);
    void holdEvents(bool hold);
    // None: nothing is wanted.
    std::shared_ptr<SyncThread> thread() const;
    const std::string& folder() const { return settings.localRoot; }
    // The wanted ones that have not come yet.
    std::set<std::string, std::less<>> awaited() const;

  private:
    std::set<std::string, std::less<>> stillWanted();
    void save() const; // with the lock
    void run();        // with the lock

    const std::filesystem::path list;
    SyncThread::Settings settings;
    const SyncThread::Surroundings around;
    mutable std::mutex lock; // of all below, and of the settings
    std::map<std::string, bool, std::less<>> items;
    bool holdsEvents = false;
    bool isStarted = false;
    std::shared_ptr<SyncThread> syncThread;
};

} // namespace service
