#include "service/FolderLists.h"

#include "service/names.h"
#include "service/pair_parts.h"

#include <algorithm>

namespace service {
namespace {

constexpr unsigned listsAtOnce = 2; // beside those of the pairs
constexpr std::chrono::seconds goodFor{10};
constexpr std::size_t mostKnown = 20'000; // folders

} // namespace

FolderLists::FolderLists(RemoteSpace& remoteSpace, const platform::Clock& itsClock)
    : space(remoteSpace), clock(itsClock) {
    for (unsigned i = 0; i < listsAtOnce; ++i)
        threads.emplace_back([this](const std::stop_token& stop) { run(stop); });
}

FolderLists::~FolderLists() {
    for (std::jthread& thread : threads)
        thread.request_stop();
    threads.clear();
}

// With the lock. A folder that somebody waits for comes before those that are fetched ahead.
void FolderLists::request(const std::string& folder, Known& entry) {
    if (!entry.isAsked) waiting.emplace_front(folder, true);
    entry.isAsked = true;
    changed.notify_all();
}

std::optional<FolderLists::Names> FolderLists::in(const std::string& folder,
                                                  std::chrono::milliseconds limit) {
    const auto now = clock.now();
    std::unique_lock guard(lock);
    Known& entry = known[folder];
    const bool isGood = entry.isFresh && entry.names && now - entry.since < goodFor;
    if (!isGood) request(folder, entry);
    if (entry.isFresh && entry.names) return entry.names; // listed again for the next one that asks
    const std::uint64_t before = entry.answers;
    while (known[folder].answers == before && clock.now() < now + limit)
        changed.wait_until(guard, clock.wakeUp(now + limit));
    return known[folder].names;
}

void FolderLists::forget() {
    const std::lock_guard guard(lock);
    for (auto& [folder, entry] : known)
        entry.isFresh = false;
}

void FolderLists::run(const std::stop_token& stop) {
    std::unique_lock guard(lock);
    while (changed.wait(guard, stop, [this] { return !waiting.empty(); })) {
        const auto [folder, fetchesAhead] = waiting.front();
        waiting.pop_front();
        guard.unlock();
        const auto items = space.list(folder).wait(stop);
        guard.lock();
        if (known.size() > mostKnown) known.clear();
        Known& entry = known[folder];
        entry.isAsked = false;
        entry.isFresh = true;
        entry.since = clock.now();
        entry.names.reset();
        ++entry.answers;
        if (items) {
            Names names;
            for (const RemoteItem& item : *items)
                if (item.kind == RemoteItem::Kind::folder && !isPrivate(item.name))
                    names.push_back(item.name);
            std::sort(names.begin(), names.end());
            for (const std::string& name : names) {
                const std::string below = joined(folder, name);
                Known& next = known[below];
                if (!fetchesAhead || next.isAsked || (next.names && next.isFresh)) continue;
                next.isAsked = true;
                waiting.emplace_back(below, false);
            }
            known[folder].names = std::move(names);
        }
        changed.notify_all();
    }
}

} // namespace service
