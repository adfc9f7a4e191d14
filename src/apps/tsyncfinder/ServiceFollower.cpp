#include "apps/tsyncfinder/ServiceFollower.h"

#include "apps/tsyncfinder/service_answer.h"
#include "backends/dbus/SyncServiceInterface.h"
#include "daemon_client/SyncStatus.h"
#ifdef TSYNCFINDER_HAS_SIDEBAR
#include "backends/cloud_providers/CloudProvidersSidebar.h"
#endif

#include <algorithm>
#include <chrono>
#include <exception>
#include <optional>
#include <set>
#include <utility>

namespace apps::tsyncfinder {
namespace {

using platform::Dictionary;
using platform::Presence;
using platform::SidebarEntry;

constexpr std::chrono::seconds answerBound{2};
constexpr std::chrono::seconds betweenLooks{1};

std::vector<std::string> problemsIn(const Dictionary& service) {
    std::vector<std::string> paths;
    for (const Dictionary* pair : rowsAt(service, "pairs"))
        for (const Dictionary* problem : rowsAt(*pair, "problems"))
            paths.push_back(textOf(*pair, "localPath") + "/" + textOf(*problem, "path"));
    return paths;
}

// The state of the entry, and its words.
SidebarEntry entryOf(const Dictionary& syncStatus, const Dictionary& service) {
    using State = SidebarEntry::State;
    const daemon_client::SyncStatus status = daemon_client::syncStatusOf(syncStatus);
    const std::size_t uploads = status.uploadingPaths.size();
    const auto pairs = rowsAt(service, "pairs");
    if (platform::flagAt(service, "isPaused").value_or(false))
        return {State::inStep, {"paused", {}}, {}, true};
    if (std::any_of(pairs.begin(), pairs.end(),
                    [](const Dictionary* pair) { return textOf(*pair, "state") == "failed"; }))
        return {State::trouble, {"not all folders can be synced now", {}}, {}};
    if (uploads == 1) return {State::busy, {"uploading 1 file", {}}, {}};
    if (uploads > 1) return {State::busy, {"uploading %@ files", {std::to_string(uploads)}}, {}};
    if (status.status == daemon_client::syncStatusCompleted) return {State::inStep, {"in step", {}}, {}};
    return {State::busy, {"looking for changes", {}}, {}};
}

} // namespace

ServiceFollower::ServiceFollower(const Surroundings& surroundings) : around(surroundings) {
#ifdef TSYNCFINDER_HAS_SIDEBAR
    sidebar = std::make_unique<backends::cloud_providers::CloudProvidersSidebar>(
        [this](bool pause) { around.queue.dispatch([this, pause] { setPaused(pause); }); });
#endif
}

void ServiceFollower::showSidebar(bool isShown) {
    {
        const std::lock_guard guard(lock);
        isSidebarWanted = isShown;
        if (sidebar && !isShown) sidebar->show(std::nullopt);
    }
    changed();
}

void ServiceFollower::setPaused(bool pause) {
    try {
        if (pause)
            around.client.pause();
        else
            around.client.resume();
    } catch (const platform::IPCError&) {
        // It has gone meanwhile; the entry will say so.
    }
}

void ServiceFollower::changed() {
    {
        const std::lock_guard guard(lock);
        isOutdated = true;
        if (std::exchange(isLooking, true)) return;
    }
    around.queue.dispatch([this] { look(); });
}

void ServiceFollower::look() {
    {
        const std::lock_guard guard(lock);
        if (!std::exchange(isOutdated, false)) {
            isLooking = false;
            return;
        }
    }
    SidebarEntry entry;
    const Presence daemon = around.daemonPresence();
    if (daemon == Presence::answering) {
        Dictionary service; // empty: another daemon than the sync service
        try {
            service = backends::dbus::SyncServiceClient(answerBound).status();
        } catch (const std::exception&) {
            service = {};
        }
        around.problems(problemsIn(service));
        entry = entryOf(around.client.getSyncStatus().value_or(Dictionary()), service);
    } else {
        entry.state = SidebarEntry::State::trouble;
        entry.details = {daemon == Presence::absent ? "the sync service is not running"
                                                    : "the sync service does not answer",
                         {}};
    }
    std::set<std::string> roots; // two remote folders may have one
    if (const auto table = around.finderSync.allPathsInSync())
        for (const auto& [remote, local] : *table)
            if (roots.insert(local).second) entry.roots.push_back(local);
    {
        const std::lock_guard guard(lock); // so that none comes after it was taken away
        if (sidebar && isSidebarWanted)
            sidebar->show(roots.empty() ? std::nullopt : std::optional(std::move(entry)));
    }
    around.queue.dispatchAfter(betweenLooks, [this] { look(); });
}

} // namespace apps::tsyncfinder
