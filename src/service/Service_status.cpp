// What the service tells of itself: to everybody at each change, and to whoever asks.
#include "daemon_client/sync_path_mapping.h"
#include "dirsnapshot/DirSnapshot.h"
#include "protocol/names.h"
#include "service/Service.h"
#include "service/pair_parts.h"
#include "sync_daemon/paths.h"

#include <algorithm>
#include <utility>

namespace service {
namespace {

namespace fs = std::filesystem;
using platform::Dictionary;
using sync_daemon::isAtOrBelow;
using sync_daemon::plainLocalPath;
using sync_daemon::plainPath;
using Phase = PairState::Phase;

const char* wordOf(Phase phase) {
    switch (phase) {
    case Phase::looking:
        return "looking";
    case Phase::waiting:
        return "waiting";
    case Phase::working:
        return "working";
    case Phase::inStep:
        return "in step";
    case Phase::paused:
        return "paused";
    case Phase::failed:
        break;
    }
    return "failed";
}

const char* wordOf(Carrier::Kind kind) {
    switch (kind) {
    case Carrier::Kind::copy:
        return "copy";
    case Carrier::Kind::move:
        return "move";
    case Carrier::Kind::folder:
        return "make folder";
    case Carrier::Kind::download:
        break;
    }
    return "download";
}

// A path that a message can carry: bytes that are not text are shown as "?".
std::string shown(std::string path) {
    if (sync_daemon::isText(path)) return path;
    for (char& byte : path)
        if (static_cast<unsigned char>(byte) >= 0x80) byte = '?';
    return path;
}

// A list for a person: nobody reads thousands, and each change of the status carries it.
constexpr std::size_t mostTold = 200;

Dictionary described(const WaitingLosses& waiting) {
    platform::Array files;
    std::uint64_t toRead = 0;
    for (const WaitingLosses::File& file : waiting.files)
        toRead += file.toRead;
    for (const WaitingLosses::File& file : waiting.files) {
        if (files.size() == mostTold) break;
        files.emplace_back(Dictionary{{"path", shown(file.path)},
                                      {"side", file.side == Side::here ? "here" : "there"},
                                      {"isReplaced", file.isReplaced},
                                      {"toRead", file.toRead}});
    }
    return {{"list", waiting.list},
            {"count", std::uint64_t{waiting.files.size()}},
            {"toRead", toRead},
            {"files", std::move(files)}};
}

// The phase of them all, as the sync status names it.
const char* statusOf(const std::vector<std::shared_ptr<const PairState>>& states) {
    const auto any = [&states](Phase phase) {
        return std::any_of(states.begin(), states.end(),
                           [phase](const auto& state) { return state->phase == phase; });
    };
    if (any(Phase::failed) || any(Phase::paused)) return "syncStatusNotReady";
    if (any(Phase::looking)) return "syncStatusScanning";
    if (any(Phase::waiting) || any(Phase::working)) return "syncStatusEnqueueing";
    return "syncStatusCompleted";
}

} // namespace

void Service::post(std::string name, Dictionary userInfo) {
    around.center.post({std::move(name), std::nullopt, std::move(userInfo)});
}

void Service::refresh() {
    const std::lock_guard guard(postLock);
    lastStatus = syncStatus();
    post(TSYNC_NOTE_SYNC_REFRESH, {{"allPathsInSync", allPathsInSync()}, {"statusInfo", lastStatus}});
}

// One notification for each kind of trouble, whatever the number of pairs and items that have it, until none
// has it any more; while a pair is looked at or paused, nobody knows whether it still has it. What is only
// not reached comes back by itself, and so may what failed for a single item but for want of room or of
// permission.
void Service::tellTroubles() {
    if (around.notifier == nullptr) return;
    std::set<Trouble> now;
    bool isKnown = true;
    const auto tell = [&](Trouble trouble, const std::string& path, const std::string& reason) {
        if (now.insert(trouble).second && !toldTroubles.contains(trouble))
            around.notifier->notify({"%@ is not synced: %@", {shown(path), shown(reason)}},
                                    platform::UserNotifier::News::failure);
    };
    for (const auto& [remote, thread] : currentThreads()) {
        const auto pair = thread->state();
        isKnown = isKnown && pair->phase != Phase::looking && pair->phase != Phase::working &&
                  pair->phase != Phase::paused;
        for (const PairSync::Problem& problem : pair->problems)
            if (problem.trouble == Trouble::refused || problem.trouble == Trouble::full ||
                problem.trouble == Trouble::fullHere)
                tell(*problem.trouble, thread->localRoot() + "/" + problem.path, problem.reason);
        if (pair->phase != Phase::failed || !pair->trouble) continue;
        if (*pair->trouble != Trouble::unreachable && *pair->trouble != Trouble::cancelled)
            tell(*pair->trouble, thread->localRoot(), pair->reason);
    }
    if (isKnown) toldTroubles.clear();
    toldTroubles.merge(now);
}

void Service::statusChanged() {
    const std::lock_guard guard(postLock);
    tellTroubles();
    Dictionary status = syncStatus();
    // Whoever shows the details asks for them when a refresh comes.
    std::string told = platform::jsonDescription(details());
    if (status == lastStatus && told == lastDetails) return;
    if (status != lastStatus) log.debug("Status ", status);
    lastStatus = std::move(status);
    lastDetails = std::move(told);
    post(TSYNC_NOTE_SYNC_REFRESH, {{"allPathsInSync", allPathsInSync()}, {"statusInfo", lastStatus}});
}

Dictionary Service::allPathsInSync() const {
    const std::lock_guard guard(lock);
    Dictionary table;
    for (const auto& [remote, local] : state.pairs)
        table.emplace(remote, local);
    return table;
}

Dictionary Service::syncStatus() const {
    std::vector<std::shared_ptr<const PairState>> states;
    Dictionary paths;
    const auto addUpload = [&paths](const std::optional<Transfer>& transfer) {
        if (!transfer || !transfer->isUp || !sync_daemon::isText(transfer->localPath)) return;
        std::error_code error;
        const std::uint64_t size = fs::file_size(transfer->localPath, error);
        paths.emplace(transfer->localPath, Dictionary{{"size", error ? std::uint64_t{0} : size}});
    };
    for (const auto& [remote, thread] : currentThreads()) {
        states.push_back(thread->state());
        addUpload(states.back()->transfer);
    }
    if (const auto thread = cache.thread()) {
        states.push_back(thread->state());
        addUpload(states.back()->transfer);
    }
    addUpload(carrier.transfer());
    if (paths.empty()) return {{"status", statusOf(states)}};
    Dictionary uploading{{"paths", std::move(paths)}};
    return {{"status", "syncStatusTransfer"},
            {"info", Dictionary{{"syncStatusUploading", std::move(uploading)}}}};
}

Dictionary Service::details() const {
    platform::Array pairs;
    for (const auto& [remote, thread] : currentThreads()) {
        const auto now = thread->state();
        Dictionary pair{
            {"remotePath", remote}, {"localPath", thread->localRoot()}, {"state", wordOf(now->phase)}};
        if (now->phase == Phase::failed) pair.emplace("reason", shown(now->reason));
        if (now->transfer && now->transfer->isUp) pair.emplace("uploading", shown(now->transfer->localPath));
        if (now->transfer && !now->transfer->isUp)
            pair.emplace("downloading", "/" + now->transfer->remotePath);
        platform::Array problems;
        for (const PairSync::Problem& problem : now->problems)
            problems.emplace_back(
                Dictionary{{"path", shown(problem.path)}, {"reason", shown(problem.reason)}});
        pair.emplace("problems", std::move(problems));
        if (now->waiting) pair.emplace("waiting", described(*now->waiting));
        pairs.emplace_back(std::move(pair));
    }
    const std::lock_guard guard(lock);
    return {{"isPaused", state.paused}, {"pairs", std::move(pairs)}};
}

Service::Exclusion Service::exclusionOfRemote(std::string_view remotePath) const {
    const std::optional<std::string> remote = plainPath(remotePath);
    if (!remote) return {};
    const std::lock_guard guard(lock);
    return {state.isExcluded(*remote), state.excluded.contains(*remote)};
}

Service::Exclusion Service::exclusionOfLocal(std::string_view localPath) const {
    if (!localPath.starts_with('/')) return {};
    daemon_client::SyncPathTable table;
    {
        const std::lock_guard guard(lock);
        table.insert(state.pairs.begin(), state.pairs.end());
    }
    const std::string plain = plainLocalPath(localPath);
    const auto remote = daemon_client::remotePathOfLocalSyncPath(table, plain);
    if (!remote) return {};
    if (const Exclusion chosen = exclusionOfRemote(*remote); chosen.isExcluded) return chosen;
    std::pair<std::string, std::string> pair; // the innermost that holds it
    for (const auto& each : table)
        if (isAtOrBelow(plain, each.second) && each.second.size() > pair.second.size()) pair = each;
    for (const auto& [other, ignored] : table)
        if (other != pair.first && isAtOrBelow(other, pair.first) && isAtOrBelow(*remote, other))
            return {true, *remote == other}; // another pair has its place in the space
    if (plain == pair.second) return {};
    // Below the pair, as its own look applies the rules.
    const std::string below = plain.substr(pair.second.size());
    const bool isExcluded = dirsnapshot::DirSnapshot::isNodeAtFullPathExcluded(below);
    const std::string above = fs::path(below).parent_path().string();
    return {isExcluded, isExcluded && !dirsnapshot::DirSnapshot::isNodeAtFullPathExcluded(above)};
}

platform::Array Service::pendingOperations() const {
    platform::Array operations;
    for (const auto& [remote, thread] : currentThreads())
        if (thread->state()->phase != Phase::inStep)
            operations.emplace_back(Dictionary{
                {"operation", "sync"}, {"localPath", thread->localRoot()}, {"remotePath", remote}});
    for (const Carrier::Task& task : carrier.tasks())
        operations.emplace_back(Dictionary{{"operation", wordOf(task.kind)},
                                           {"localPath", task.localPath},
                                           {"remotePath", task.remotePath}});
    for (const std::string& remote : cache.awaited())
        operations.emplace_back(Dictionary{
            {"operation", "cache"}, {"localPath", cache.folder() + remote}, {"remotePath", remote}});
    return operations;
}

// What a pair has to do concerns no path that lies in another pair in it.
bool Service::isPending(Root side, const std::string& path) const {
    std::size_t innermost = 0; // the length of that root
    for (const auto& [remote, local] : allPathsInSync()) {
        const std::string& root = side == Root::remote ? remote : *local.string();
        if (isAtOrBelow(path, root)) innermost = std::max(innermost, root.size());
    }
    const char* const which = side == Root::remote ? "remotePath" : "localPath";
    for (const platform::Value& operation : pendingOperations()) {
        const std::string& place = *platform::textAt(*operation.dictionary(), which);
        const bool isOfAnother = *platform::textAt(*operation.dictionary(), "operation") == "sync" &&
                                 isAtOrBelow(path, place) && place.size() < innermost;
        if (!isOfAnother && overlap(path, place)) return true;
    }
    return false;
}

bool Service::isPendingLocally(std::string_view localPath) const {
    return localPath.starts_with('/') && isPending(Root::local, plainLocalPath(localPath));
}

bool Service::isPendingRemotely(std::string_view remotePath) const {
    const std::optional<std::string> path = plainPath(remotePath);
    return path && isPending(Root::remote, *path);
}

} // namespace service
