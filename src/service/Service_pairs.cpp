// Which pairs there are, and which of them a path belongs to.
#include "protocol/names.h"
#include "service/Service.h"
#include "service/names.h"
#include "service/pair_parts.h"
#include "sync_daemon/paths.h"

#include <algorithm>
#include <utility>

namespace service {
namespace {

namespace fs = std::filesystem;
using sync_daemon::isAtOrBelow;
using sync_daemon::plainLocalPath;
using sync_daemon::plainPath;
using sync_daemon::realPath;

Failure taken(const std::string& local, const std::string& remote) {
    return {Trouble::refused, local + " is synced with " + remote + " already"};
}

// The first lies in the second here, and the third in the fourth there, which are of the pairs the other way
// round.
Failure crossing(const std::string& inner, const std::string& outer, const std::string& innerThere,
                 const std::string& outerThere) {
    return {Trouble::refused, inner + " lies in " + outer + ", but in the storage " + innerThere +
                                  " lies in " + outerThere + ": they cannot both be synced"};
}

} // namespace

Outcome<Done> Service::checkPair(const std::string& local, const std::string& remote) const {
    const std::string real = realPath(local);
    for (const auto& [otherRemote, otherLocal] : state.pairs) {
        if (otherRemote == remote) continue;
        const std::string otherReal = realPath(otherLocal);
        if (real == otherReal) return taken(local, otherRemote);
        const auto crosses = [](const std::string& here, const std::string& otherHere,
                                const std::string& there, const std::string& otherThere) {
            return isAtOrBelow(here, otherHere) && isAtOrBelow(otherThere, there);
        };
        if (crosses(real, otherReal, remote, otherRemote))
            return crossing(local, otherLocal, otherRemote, remote);
        if (crosses(otherReal, real, otherRemote, remote))
            return crossing(otherLocal, local, remote, otherRemote);
    }
    return Done{};
}

Outcome<Done> Service::add(std::string_view localPath, std::string_view remotePath) {
    const std::optional<std::string> remote = plainPath(remotePath);
    if (!remote || *remote == "/" || isPrivate(fs::path(*remote).relative_path().begin()->string()))
        return Failure{Trouble::refused, "not a folder of the space: " + std::string(remotePath)};
    if (!localPath.starts_with('/') || !sync_daemon::isText(localPath))
        return Failure{Trouble::refused, "not an absolute path in UTF-8: " + std::string(localPath)};
    const std::string local = plainLocalPath(localPath);
    std::error_code error;
    if (!fs::is_directory(local, error)) return Failure{Trouble::missing, "no such folder: " + local};
    if (holdsOurs(realPath(local)))
        return Failure{Trouble::refused, "the service's own folders lie in it, or hold it: " + local};

    const std::lock_guard turn(pairsLock);
    std::shared_ptr<SyncThread> gone; // ended when the lock is free
    std::optional<std::string> former;
    {
        const std::lock_guard guard(lock);
        if (const auto right = checkPair(local, *remote); !right) return right.failure();
        const auto [pair, isNew] = state.pairs.try_emplace(*remote, local);
        if (!isNew && pair->second == local) {
            if (threads.contains(*remote)) threads[*remote]->ask();
            return Done{};
        }
        if (!isNew) former = std::exchange(pair->second, local);
        if (const auto found = threads.find(*remote); found != threads.end()) gone = found->second;
        threads.erase(*remote);
        if (former) forgetInOuter(*former, *remote);
        forgetInOuter(local, *remote);
        saveState(state, stateFile, log);
    }
    if (gone) gone->end();
    if (former) forgetDatabase(*remote, *former);
    {
        const std::lock_guard guard(lock);
        // The service's start may have been first: its thread is not to be replaced with the lock held.
        if (!threads.contains(*remote)) threads[*remote] = makeThread(*remote, local);
    }
    log.info("Syncing ", local, " with ", *remote);
    if (former) cutAnew(*former, *remote);
    cutAnew(local, *remote);
    if (former) post(TSYNC_NOTE_SYNC_PATH_REMOVED, {{"remotePath", *remote}, {"localPath", *former}});
    post(TSYNC_NOTE_SYNC_PATH_ADDED, {{"remotePath", *remote}, {"localPath", local}});
    refresh();
    return Done{};
}

Outcome<Done> Service::remove(std::string_view remotePath) {
    const std::string remote = plainPath(remotePath).value_or("");
    const std::lock_guard turn(pairsLock);
    std::string local;
    std::shared_ptr<SyncThread> gone;
    {
        const std::lock_guard guard(lock);
        const auto pair = state.pairs.find(remote);
        if (pair == state.pairs.end())
            return Failure{Trouble::missing, "no folder is synced with " + std::string(remotePath)};
        local = pair->second;
        state.pairs.erase(pair);
        if (const auto found = threads.find(remote); found != threads.end()) gone = found->second;
        threads.erase(remote);
        forgetInOuter(local, remote);
        saveState(state, stateFile, log);
    }
    if (gone) gone->end();
    forgetDatabase(remote, local);
    cutAnew(local, remote);
    log.info("No longer syncing ", local, " with ", remote);
    post(TSYNC_NOTE_SYNC_PATH_REMOVED, {{"remotePath", remote}, {"localPath", local}});
    refresh();
    return Done{};
}

// What others had agreed on in the place of a pair that comes or goes; with the lock, together with that.
void Service::forgetInOuter(const std::string& local, const std::string& remote) const {
    const std::string real = realPath(local);
    for (const auto& [outer, thread] : threads) {
        thread->forget(remote);
        const std::string realOuter = realPath(thread->localRoot());
        if (real != realOuter && isAtOrBelow(real, realOuter))
            thread->forget(outer + real.substr(realOuter.size()));
    }
}

// A pair has come or gone: those that it lies in look again, and so do those that lie in it, or whose folder
// it was to watch what it watched.
void Service::cutAnew(const std::string& local, const std::string& remote) {
    const std::string real = realPath(local);
    for (const auto& [other, thread] : currentThreads()) {
        if (other == remote) continue;
        const bool overlapsHere = overlap(real, realPath(thread->localRoot()));
        if (overlapsHere) thread->noticed({{}, {}, true});
        if (overlapsHere || overlap(other, remote)) thread->ask();
    }
}

std::vector<std::shared_ptr<SyncThread>> Service::threadsAt(Root side, const std::string& path,
                                                            bool alsoBelow) const {
    std::vector<std::shared_ptr<SyncThread>> found;
    std::shared_ptr<SyncThread> innermost;
    std::size_t length = 0; // of its root
    for (const auto& [remote, thread] : currentThreads()) {
        const std::string root = side == Root::remote ? remote : realPath(thread->localRoot());
        if (isAtOrBelow(path, root)) {
            if (root.size() > length) innermost = thread;
            length = std::max(length, root.size());
        } else if (alsoBelow && isAtOrBelow(root, path)) {
            found.push_back(thread);
        }
    }
    if (innermost) found.push_back(std::move(innermost));
    return found;
}

bool Service::askPairsAt(const std::string& remotePath) {
    const auto found = threadsAt(Root::remote, remotePath, true);
    for (const auto& thread : found)
        thread->ask();
    return !found.empty();
}

bool Service::startSync(std::string_view localPath, std::string_view remotePath) {
    return done("start syncing", localPath, add(localPath, remotePath));
}

bool Service::stopSync(std::string_view remotePath) {
    return done("stop syncing", remotePath, remove(remotePath));
}

bool Service::done(std::string_view what, std::string_view path, const Outcome<Done>& outcome) const {
    return outcome || refuse(what, path, outcome.failure().text);
}

} // namespace service
