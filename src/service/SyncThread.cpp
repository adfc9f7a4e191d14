#include "service/SyncThread.h"

#include "service/names.h"
#include "service/sync_thread_parts.h"
#include "sync_daemon/paths.h"

#include <sys/stat.h>

#include <algorithm>
#include <ctime>
#include <fstream>
#include <map>
#include <utility>

namespace service {
namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;

// Events come in bursts, and each look lists the space.
constexpr milliseconds betweenEventLooks{500};
// Where new items come, more of them may be on their way: the next look is soon, though both sides are in
// step.
constexpr milliseconds afterNewItems{2000};
// More changes than this are looked at as a whole.
constexpr std::size_t mostFiles = 64;
// Each of many small files is on its way for a moment only: not every one is announced.
constexpr milliseconds betweenTransfersTold{20};

std::chrono::sys_seconds localTimeOf(const platform::Clock& clock) {
    const std::time_t now = std::chrono::system_clock::to_time_t(clock.date());
    std::tm parts{};
    ::localtime_r(&now, &parts);
    return std::chrono::sys_seconds(std::chrono::seconds(now + parts.tm_gmtoff));
}

// proc(5)
std::string bootId() {
    std::string id;
    std::getline(std::ifstream("/proc/sys/kernel/random/boot_id"), id);
    return id;
}

std::chrono::sys_seconds dateOf(const platform::Clock& clock) {
    return std::chrono::floor<std::chrono::seconds>(clock.date());
}

std::chrono::sys_seconds booted(const platform::Clock& clock) {
    struct timespec running {};
    ::clock_gettime(CLOCK_BOOTTIME, &running);
    return dateOf(clock) - std::chrono::seconds(running.tv_sec);
}

bool hasPrivateName(const std::string& path) {
    for (const fs::path& component : fs::path(path))
        if (component.native().starts_with(privatePrefix)) return true;
    return false;
}

// Which folder stands at a path now; "" when none does.
std::string identityOf(const std::string& folder) {
    struct stat info {};
    if (::stat(folder.c_str(), &info) != 0) return {};
    return std::to_string(info.st_dev) + " " + std::to_string(info.st_ino);
}

} // namespace

SyncThread::Parts::Parts(SyncThread& owner, const std::string& remoteFolder)
    : space(owner.around.space, [&owner](const auto& transfer) { owner.tell(transfer); }),
      local(owner.settings.localRoot, owner.around.clock), store(owner.settings.database),
      sync({space, local, store, owner.around.trash, owner.around.log,
            [&owner] { return owner.around.clock.now(); },
            [&owner] { return localTimeOf(owner.around.clock); },
            [&owner] { return dateOf(owner.around.clock); }},
           settingsOf(owner, remoteFolder)),
      identity(identityOf(owner.settings.localRoot)) {}

PairSync::Settings SyncThread::Parts::settingsOf(SyncThread& owner, const std::string& remoteFolder) {
    PairSync::Settings settings;
    settings.remoteFolder = remoteFolder;
    settings.host = owner.settings.host;
    settings.keepsFor = owner.settings.keepsFor;
    settings.bootId = bootId();
    settings.booted = booted(owner.around.clock);
    settings.rest /= owner.settings.haste;
    settings.restOfDeletions /= owner.settings.haste;
    settings.restAfterUpload /= owner.settings.haste; // twice: it is minutes
    settings.restAfterUpload /= owner.settings.haste;
    settings.isLeftOut = [&owner](const std::string& path) { return owner.isLeftOut(path); };
    settings.goesAlong = [&owner](const std::string& path) { return owner.isLeftOutByRule(path); };
    settings.leftAlone = [&owner](const std::string& key) { return owner.leftAlone(key); };
    return settings;
}

SyncThread::SyncThread(Settings wanted, Surroundings everything)
    : settings(std::move(wanted)), around(std::move(everything)),
      whereItLed(sync_daemon::realPath(settings.localRoot)), leftOut(readListLeftOut()),
      isPaused(settings.isPaused) {
    if (isPaused)
        published = std::make_shared<PairState>(PairState{PairState::Phase::paused, {}, {}, {}, {}});
    newFolders.insert(settings.localRoot);
    thread = std::jthread([this](const std::stop_token& stop) { run(stop); });
}

SyncThread::~SyncThread() { end(); }

void SyncThread::end() {
    if (!thread.joinable()) return;
    thread.request_stop();
    {
        const std::lock_guard guard(lock);
        current.request_stop();
    }
    thread.join();
    if (around.events) around.events->forgetTree(settings.localRoot);
}

std::shared_ptr<const PairState> SyncThread::state() const {
    const std::lock_guard guard(lock);
    return published;
}

void SyncThread::ask() {
    const std::lock_guard guard(lock);
    isAsked = true;
    waits.reset();
    wake.notify_all();
}

void SyncThread::askVisibly() {
    {
        const std::lock_guard guard(lock);
        isAsked = true;
        waits.reset();
        if (published->phase == PairState::Phase::inStep) {
            auto looking = std::make_shared<PairState>(*published);
            looking->phase = PairState::Phase::looking;
            published = std::move(looking);
        }
        wake.notify_all();
    }
    around.changed();
}

void SyncThread::observed() {
    const std::lock_guard guard(lock);
    if (published->phase != PairState::Phase::inStep) return; // it is looked at soon, or cannot be
    waits.observed();
    due = std::min(due, dueIfObserved);
    wake.notify_all();
}

bool SyncThread::confirm(const std::string& list) {
    {
        const std::lock_guard guard(lock);
        if (!published->waiting || published->waiting->list != list) return false;
        confirmed = list;
    }
    ask();
    return true;
}

void SyncThread::noticed(const platform::DirectoryEvent& event) {
    if (!event.isLost && (hasPrivateName(event.directory) || isPrivate(event.name))) return;
    const std::lock_guard guard(lock);
    const std::string path = event.directory + "/" + event.name;
    newFolders.insert(event.isLost ? settings.localRoot : path);
    if (event.isLost || changed.size() >= mostFiles || !path.starts_with(settings.localRoot + "/"))
        isMuchChanged = true;
    else
        changed.insert(path.substr(settings.localRoot.size() + 1));
    isNoticed = true;
    wake.notify_all();
}

void SyncThread::holdEvents(bool hold) {
    const std::lock_guard guard(lock);
    holdsEvents = hold;
    wake.notify_all();
}

void SyncThread::setPaused(bool pause) {
    {
        const std::lock_guard guard(lock);
        if (isPaused == pause) return;
        isPaused = pause;
        if (pause) current.request_stop();
        isAsked = !pause;
        waits.reset();
        // Before the lock is let go: the look that begins now may have ended when this thread goes on.
        const auto phase = pause ? PairState::Phase::paused : PairState::Phase::looking;
        published = std::make_shared<const PairState>(
            PairState{phase, {}, {}, published->problems, published->waiting});
        wake.notify_all();
    }
    around.changed();
}

void SyncThread::run(const std::stop_token& stop) {
    while (waitForTurn(stop))
        round();
}

// False when it is over.
bool SyncThread::waitForTurn(const std::stop_token& stop) {
    std::unique_lock guard(lock);
    while (!stop.stop_requested()) {
        const bool listens = isNoticed && !holdsEvents;
        const bool canHurry = wasInStep && !isMuchChanged && !isAsked;
        auto next = listens ? std::min(due, canHurry ? soonestFiles : soonest) : due;
        if (!files.empty()) next = std::min(next, filesDue);
        const bool isDue = isAsked || around.clock.now() >= next;
        if (!isPaused && isDue) {
            if (listens) waits.reset();
            if (listens) files.merge(std::exchange(changed, {}));
            isHurried = canHurry && around.clock.now() < due && files.size() <= mostFiles;
            if (!isHurried) files.clear();
            if (!isHurried || listens) isNoticed = isMuchChanged = false;
            if (!isHurried) changed.clear();
            isAsked = false;
            current = std::stop_source();
            return true;
        }
        const auto changes = [&] {
            return (!isPaused && isAsked) || (isNoticed && !holdsEvents) != listens || isPaused || due < next;
        };
        if (isPaused)
            wake.wait(guard, stop, [this] { return !isPaused; });
        else
            wake.wait_until(guard, stop, around.clock.wakeUp(next), changes);
    }
    return false;
}

void SyncThread::round() {
    std::stop_token stop;
    {
        const std::lock_guard guard(lock);
        stop = current.get_token();
    }
    const PairState::Phase before = state()->phase;
    if (before != PairState::Phase::inStep && before != PairState::Phase::failed) {
        PairState looking = *state();
        looking.phase = PairState::Phase::looking;
        publish(std::move(looking));
    }
    const auto began = around.clock.now();
    const auto outcome = roundOf(stop);
    // What was transferred is no look.
    const auto took = outcome && outcome->isInStep() ? outcome->looked : around.clock.now() - began;
    settle(outcome, std::chrono::duration_cast<Waits::Duration>(took));
    if (outcome && outcome->isInStep()) around.rested(stop);
}

Outcome<PairSync::Round> SyncThread::roundOf(const std::stop_token& stop) {
    try {
        // An open folder stays the same one wherever it is moved, and whatever takes its place.
        if (parts && parts->identity != identityOf(settings.localRoot)) parts.reset();
        if (!parts)
            if (const auto opened = open(stop); !opened) return opened.failure();
        watchNewFolders();
        readLeftOut();
        readWanted();
        std::string list;
        {
            const std::lock_guard guard(lock);
            list.swap(confirmed);
        }
        if (!list.empty()) isHurried = false;
        if (isHurried) {
            auto some = parts->sync.roundOf(files, stop);
            if (!some) return some.failure();
            if (*some) return std::move(**some);
            isHurried = false;
        }
        if (!list.empty()) parts->sync.confirm(list);
        return parts->sync.round(stop);
    } catch (const fs::filesystem_error& error) {
        return Failure{Trouble::missing, "the folder cannot be opened: " + error.code().message()};
    } catch (const std::exception& error) { // the database
        return Failure{Trouble::other, error.what()};
    }
}

// The remote root is made once: later a missing one is trouble, not a reason to begin again.
Outcome<Done> SyncThread::open(const std::stop_token& stop) {
    const auto features = around.space.features().wait(stop);
    if (!features) return features.failure();
    foldsCase = features->foldsCase;
    const std::string remoteFolder = settings.remoteRoot.substr(1);
    auto opened = std::make_unique<Parts>(*this, remoteFolder);
    if (!opened->store.fact("remote folder made")) {
        const auto made = around.space.makeFolder(remoteFolder).wait(stop);
        if (!made) return made.failure();
        opened->store.setFact("remote folder made", "yes");
    }
    parts = std::move(opened);
    return Done{};
}

// Before the look: what is made in them afterwards comes as an event.
void SyncThread::watchNewFolders() {
    std::set<std::string> folders;
    {
        const std::lock_guard guard(lock);
        folders.swap(newFolders);
    }
    if (!around.events) return;
    for (const std::string& folder : folders) {
        std::error_code error;
        if (!fs::is_directory(fs::symlink_status(folder, error))) continue;
        if (!around.events->watchTree(folder))
            around.log.error("Not every folder can be watched, in ", folder,
                             ": what changes there is seen at the next look");
    }
}

void SyncThread::settle(const Outcome<PairSync::Round>& outcome, Waits::Duration took) {
    using Came = Waits::Came;
    const bool wasHurried = std::exchange(isHurried, false) && outcome && outcome->postponed == 0;
    if (!wasHurried) {
        files.clear();
        wasInStep = outcome && outcome->isInStep() && !settings.wanted;
    }
    PairState next;
    Came came = Came::trouble;
    if (outcome) {
        next.problems = wasHurried ? state()->problems : outcome->problems;
        next.waiting = wasHurried ? state()->waiting : outcome->waiting;
        if (outcome->isInStep()) {
            came = Came::nothing;
            next.phase = PairState::Phase::inStep;
        } else {
            came = outcome->done > 0 ? Came::work : outcome->postponed > 0 ? Came::trouble : Came::unrest;
            next.phase = came == Came::work ? PairState::Phase::looking : PairState::Phase::waiting;
        }
    } else {
        next.phase = PairState::Phase::failed;
        next.reason = outcome.failure().text;
        next.trouble = outcome.failure().trouble;
        next.problems = state()->problems;
        next.waiting = state()->waiting;
    }
    {
        const std::lock_guard guard(lock);
        if (wasHurried) {
            settleFiles(*outcome);
        } else {
            const bool hasNew = came == Came::nothing && outcome->done > 0;
            const auto wait =
                waits.after(hasNew ? Came::work : came, took) / (came == Came::unrest ? settings.haste : 1);
            due = around.clock.now() + (hasNew ? std::max(wait, afterNewItems) : wait);
            dueIfObserved = std::min(due, around.clock.now() + Waits().after(Came::nothing, took));
            lastLook = took;
        }
        soonest = around.clock.now() + std::max<Waits::Duration>(betweenEventLooks, 2 * took);
    }
    const bool isCancelled = !outcome && outcome.failure().trouble == Trouble::cancelled;
    if (isCancelled) {
        next.phase = PairState::Phase::waiting;
    } else if (!outcome) {
        parts.reset(); // another folder may be there next time
        if (state()->reason != next.reason)
            around.log.error(settings.localRoot, ": ", std::string_view(next.reason));
    }
    publish(std::move(next));
}

// When the files have to be looked at again; the lock is held. Nothing but the files was looked at, so that
// the next look at everything stays due, and comes soon where something changes.
void SyncThread::settleFiles(const PairSync::Round& round) {
    const auto now = around.clock.now();
    const auto rest = round.done > 0 ? std::chrono::milliseconds(0) : round.restFor;
    if (round.isInStep()) files.clear();
    filesDue = now + rest;
    soonestFiles = round.restless ? now + std::min<milliseconds>(rest, betweenEventLooks) : now;
    due = std::min(due, now + std::max<Waits::Duration>(std::chrono::minutes(1), 10 * lastLook));
}

void SyncThread::publish(PairState next) {
    {
        const std::lock_guard guard(lock);
        if (isPaused) next = {PairState::Phase::paused, {}, {}, next.problems, next.waiting};
        // What ended just now had begun before it was asked for.
        if (isAsked && next.phase == PairState::Phase::inStep) next.phase = PairState::Phase::looking;
        published = std::make_shared<const PairState>(std::move(next));
    }
    around.changed();
}

void SyncThread::tell(const std::optional<Transfer>& transfer) {
    const auto before = state();
    if (before->transfer == transfer) return;
    const auto now = around.clock.now();
    if (transfer && now - lastTold < betweenTransfersTold) {
        std::error_code error;
        constexpr std::uintmax_t small = 1U << 20U;
        if (!transfer->isUp || fs::file_size(transfer->localPath, error) < small) return;
    }
    if (transfer) lastTold = now;
    PairState next = *before;
    next.transfer = transfer;
    if (transfer) next.phase = PairState::Phase::working;
    publish(std::move(next));
}

} // namespace service
