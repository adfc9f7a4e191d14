#include "service/CacheFolder.h"

#include "platform/json.h"
#include "sync_daemon/paths.h"
#include "sync_daemon/writing.h"

#include <fstream>
#include <iterator>
#include <utility>

namespace service {

namespace fs = std::filesystem;

CacheFolder::CacheFolder(fs::path file, SyncThread::Settings wantedSettings,
                         SyncThread::Surroundings surroundings)
    : list(std::move(file)), settings(std::move(wantedSettings)), around(std::move(surroundings)) {
    settings.remoteRoot = std::string(1, '/');
    settings.wanted = [this] { return stillWanted(); };
    std::ifstream stream(list, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    const auto value = platform::valueOfJson(text);
    if (!value || !value->dictionary()) return;
    for (const auto& [path, wasHere] : *value->dictionary())
        if (const auto plain = sync_daemon::plainPath(path); plain && wasHere.boolean())
            items.emplace(*plain, *wasHere.boolean());
}

void CacheFolder::start() {
    const std::lock_guard guard(lock);
    isStarted = true;
    if (!items.empty()) run();
}

void CacheFolder::end() {
    std::shared_ptr<SyncThread> going;
    {
        const std::lock_guard guard(lock);
        isStarted = false;
        going.swap(syncThread);
    }
    if (going) going->end();
}

void CacheFolder::run() {
    if (syncThread || !isStarted) return;
    syncThread = std::make_shared<SyncThread>(settings, around);
    syncThread->holdEvents(holdsEvents);
}

void CacheFolder::add(const std::string& remotePath) {
    const std::lock_guard guard(lock);
    items[remotePath] = false;
    save();
    run();
    if (syncThread) syncThread->ask();
}

void CacheFolder::setPaused(bool pause) {
    std::shared_ptr<SyncThread> running; // what it tells may ask for the thread
    {
        const std::lock_guard guard(lock);
        settings.isPaused = pause;
        running = syncThread;
    }
    if (running) running->setPaused(pause);
}

void CacheFolder::holdEvents(bool hold) {
    const std::lock_guard guard(lock);
    holdsEvents = hold;
    if (syncThread) syncThread->holdEvents(hold);
}

std::shared_ptr<SyncThread> CacheFolder::thread() const {
    const std::lock_guard guard(lock);
    return syncThread;
}

std::set<std::string, std::less<>> CacheFolder::awaited() const {
    const std::lock_guard guard(lock);
    std::set<std::string, std::less<>> paths;
    for (const auto& [path, wasHere] : items)
        if (!wasHere) paths.insert(path);
    return paths;
}

std::set<std::string, std::less<>> CacheFolder::stillWanted() {
    const std::lock_guard guard(lock);
    std::set<std::string, std::less<>> paths;
    bool isChanged = false;
    for (auto item = items.begin(); item != items.end();) {
        std::error_code error;
        const bool isHere = fs::exists(fs::symlink_status(settings.localRoot + item->first, error));
        const bool isGone = item->second && !isHere;
        isChanged = isChanged || isGone || isHere != item->second;
        item->second = isHere;
        if (!isGone) paths.insert(item->first);
        item = isGone ? items.erase(item) : std::next(item);
    }
    if (isChanged) save();
    return paths;
}

void CacheFolder::save() const {
    platform::Dictionary all;
    for (const auto& [path, wasHere] : items)
        all.emplace(path, wasHere);
    const auto text = platform::jsonText(all);
    if (!text || !sync_daemon::replaceOnDisk(list, *text))
        around.log.error("Cannot be written: ", list.string());
}

} // namespace service
