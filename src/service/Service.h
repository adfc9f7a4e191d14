// The sync service: the pairs of a person, each kept in step with a storage by a thread of its own, and what
// requests and command messages ask for beside that. It tells every observer on the machine what it does:
// path added, path removed, and a refresh with the whole table and the status at each change of either.
//
// What it remembers lies in its state folder: the pairs, what is excluded and whether it is paused
// (sync_daemon/State.h), and one database for each pair. The cache folder, the uploading folder and the
// snapshot of the space lie there too.
//
// A pair that lies in another, here or in the space, is cut out of it on both sides: a path belongs to the
// innermost pair that holds it. Refused are two pairs each of which lies in the other on one side, and a
// second pair of a folder here.
#pragma once

#include "platform/Clock.h"
#include "platform/DirectoryEvents.h"
#include "platform/DistributedNotificationCenter.h"
#include "platform/ProcessLog.h"
#include "platform/UserNotifier.h"
#include "service/CacheFolder.h"
#include "service/Carrier.h"
#include "service/FolderLists.h"
#include "service/MailComposer.h"
#include "service/RemoteSpace.h"
#include "service/SpaceSnapshot.h"
#include "service/SyncThread.h"
#include "service/UploadingFolder.h"
#include "service/space_trash.h"
#include "sync_daemon/State.h"
#include "sync_daemon/SyncDaemon.h"

#include <atomic>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

namespace service {

class Service final : public sync_daemon::SyncDaemon {
  public:
    struct Settings {
        std::filesystem::path stateFolder;
        std::string host;                              // of this machine, in the names of conflict copies
        std::vector<std::filesystem::path> ownFolders; // beside the state: no local root may hold them
        trash::Ages ages{};                            // of what lies in the space's trash
        unsigned haste = 1;                            // as in SyncThread.h
    };
    struct Surroundings {
        RemoteSpace& space;
        DesktopTrash& trash;
        platform::DirectoryEvents* events; // none: changes here are seen when they are looked at
        platform::DistributedNotificationCenter& center;
        platform::ProcessLog& log;
        MailComposer* mail = nullptr;               // none: nothing can be shared by e-mail
        platform::UserNotifier* notifier = nullptr; // none: nobody is told what needs a person
        const platform::Clock& clock = platform::machineClock();
    };

    // Makes the state folder and reads what an earlier run left. Raises std::filesystem::filesystem_error
    // when it cannot be used. Nothing is posted or synced before start. All must outlive the service.
    Service(Settings settings, const Surroundings& around);
    ~Service() override; // what is in hand is cancelled

    void start();
    // Cancels what waits for the storage: to be called before the queues of the requests end.
    void end() { ending.request_stop(); }
    // Posts the refresh. It serves an extension that has just come, too.
    void refresh();

    // Somebody begins to look at a folder here: the pair that has it is looked at soon.
    void observed(const std::string& localPath);

    // Other machines may be reached again: what waits for that looks at once.
    void networkCame();

    // As startSync and stopSync, with the reason of a refusal for a person.
    Outcome<Done> add(std::string_view localPath, std::string_view remotePath);
    Outcome<Done> remove(std::string_view remotePath);
    // Brings the item back that came last into the space's trash; the plain path at which it lies now.
    Outcome<std::string> restore(std::string_view remotePath);
    // What `details` told to wait under this list is meant.
    Outcome<Done> confirm(std::string_view remotePath, const std::string& list);

    // For a person: "isPaused", and "pairs", dictionaries of "localPath", "remotePath", "state" ("in step",
    // "looking", "waiting", "working", "paused", "failed"), "reason" of a failure, "uploading" or
    // "downloading" of the file on its way, and "problems", dictionaries of "path" and "reason".
    // "waiting" is there when something waits for the person's word: "list", which stands for exactly these
    // files, "count", and "files", the first of them: "path", "side" ("here", "there"), "isReplaced",
    // "toRead" (bytes, of a file that is not lost but has to be read from the storage to be compared; else
    // 0).
    platform::Dictionary details() const;

    bool startSync(std::string_view localPath, std::string_view remotePath) override;
    bool stopSync(std::string_view remotePath) override;
    bool syncPath(std::string_view remotePath) override;
    bool excludePath(std::string_view remotePath) override;
    bool includePath(std::string_view remotePath) override;
    bool copyToSpace(std::string_view localPath, std::string_view remoteFolder) override;
    bool moveToSpace(std::string_view localPath, std::string_view remoteFolder) override;
    bool shareByEmail(std::string_view remotePath, bool isDirectory,
                      const std::vector<std::string>& recipients) override;
    bool localSnapshotChanged(std::string_view localPath, bool noRecursive) override;
    bool setEventsPaused(std::string_view localPath, bool pause) override;
    bool setCacheEventsPaused(bool pause) override;
    bool setUploadingEventsPaused(bool pause) override;
    void setPaused(bool pause) override;
    platform::Dictionary allPathsInSync() const override;
    platform::Dictionary syncStatus() const override;
    Exclusion exclusionOfRemote(std::string_view remotePath) const override;
    Exclusion exclusionOfLocal(std::string_view localPath) const override;
    // A pair that is not in step counts as one operation, "sync", an item that is to come into the cache
    // folder as "cache".
    platform::Array pendingOperations() const override;
    bool isPendingLocally(std::string_view localPath) const override;
    bool isPendingRemotely(std::string_view remotePath) const override;

    // ---- Items of the space (Service_items.cpp); these wait for the storage.
    std::vector<std::string> directories(std::string_view remotePath) const override;
    std::vector<std::string> directoriesNotInSync(std::string_view remotePath) const override;
    std::optional<platform::Array> contentOfDirectory(std::string_view remotePath, bool onlyFile,
                                                      bool recursive) const override;
    std::optional<platform::Dictionary> fileInfo(std::string_view remotePath) const override;
    std::optional<std::string> linkForSharing(std::string_view remotePath, bool isDirectory) const override;
    bool deleteFile(std::string_view remotePath, bool toTrash) override;
    bool renameFile(std::string_view remotePath, std::string_view newPath) override;
    bool restoreFile(std::string_view remotePath) override;
    bool downloadFile(std::string_view remotePath, std::string_view toDirectory) override;
    bool cacheFile(std::string_view remotePath) override;
    std::optional<std::string> cacheFolder() const override { return cache.folder(); }
    std::optional<std::string> uploadingFolder() const override { return uploads.folder().string(); }
    std::optional<std::string> remoteSnapshot() const override;

  private:
    using Threads = std::map<std::string, std::shared_ptr<SyncThread>, std::less<>>; // by remote root

    bool refuse(std::string_view what, std::string_view path, std::string_view why) const;
    bool done(std::string_view what, std::string_view path, const Outcome<Done>& outcome) const;
    std::optional<std::string> checkedItem(std::string_view what, std::string_view remotePath) const;
    Outcome<Done> checkPair(const std::string& local, const std::string& remote) const; // with the lock
    void forgetAt(const std::string& remotePath) const;
    void forgetInOuter(const std::string& local, const std::string& remote) const; // with the lock
    void cutAnew(const std::string& local, const std::string& remote);
    bool holdsOurs(const std::filesystem::path& folder) const;
    bool bringToSpace(bool isMove, std::string_view localPath, std::string_view remoteFolder);
    Outcome<std::string> linkTo(std::string_view remotePath, bool isDirectory) const;
    Outcome<std::optional<RemoteItem>> itemAt(const std::string& remotePath) const;
    SyncThread::Settings threadSettings(std::filesystem::path database) const; // with the lock
    SyncThread::Settings cacheSettings() const;
    SyncThread::Surroundings threadSurroundings();
    std::shared_ptr<SyncThread> makeThread(const std::string& remote, const std::string& local);
    std::filesystem::path databaseOf(const std::string& remote, const std::string& local) const;
    void forgetDatabase(const std::string& remote, const std::string& local) const;
    Threads currentThreads() const;
    enum class Root { local, remote };
    // The innermost that holds a path (a local one by where it leads), and all that lie below it if wanted.
    std::vector<std::shared_ptr<SyncThread>> threadsAt(Root side, const std::string& path,
                                                       bool alsoBelow) const;
    bool isPending(Root side, const std::string& path) const;
    bool askPairsAt(const std::string& remotePath); // false: none has it or lies below it
    void cleanUp(const std::stop_token& stop);
    void noticed(const platform::DirectoryEvent& event);
    void statusChanged();
    void tellTroubles(); // with postLock
    void post(std::string name, platform::Dictionary userInfo);

    const Settings settings;
    const std::filesystem::path stateFolder; // canonical
    const std::filesystem::path stateFile;
    const Surroundings around;
    platform::ProcessLog& log;
    std::stop_source ending; // of what waits for the storage

    std::mutex pairsLock; // one pair comes or goes at a time; taken before the others
    std::mutex pauseLock; // and a pause begins or ends
    std::mutex postLock;  // what is posted has one order, that of the states it shows; taken before `lock`
    platform::Dictionary lastStatus; // guarded by postLock, as the next
    std::string lastDetails;
    std::set<Trouble> toldTroubles; // what a person was told of and is so still; guarded by postLock

    mutable std::mutex lock;
    sync_daemon::State state; // guarded by lock, as the threads; a thread goes without the lock
    Threads threads;

    std::mutex cleanLock;
    std::optional<std::chrono::steady_clock::time_point> lastClean; // guarded by cleanLock

    mutable FolderLists folders;
    std::atomic<std::uint64_t> lastPrivate = 0;
    Carrier carrier;
    UploadingFolder uploads;
    CacheFolder cache;
    mutable SpaceSnapshot spaceSnapshot;
};

} // namespace service
