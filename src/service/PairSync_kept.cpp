// What lies beside a pair: the versions that downloads replaced, and what was left over.
#include "service/PairSync.h"
#include "service/names.h"
#include "service/pair_parts.h"

#include <algorithm>

namespace service {
namespace {

constexpr std::chrono::seconds untilKeptRests{60};
constexpr std::chrono::days leftoversLast{7};
constexpr std::chrono::hours betweenCleanings{24};

} // namespace

// A program that had the old version open may have gone on writing to it: looked at once it had a minute, and
// at the next start again.
void PairSync::lookAtKept() {
    if (!knowsKept) {
        kept = around.store.kept();
        for (const PairStore::Kept& file : kept) // of an earlier run: this is the last look
            around.store.endKeeping(file.place);
        knowsKept = true;
        std::erase_if(kept, [this](const PairStore::Kept& file) { return isSettled(file); });
        for (const PairStore::Kept& file : kept)
            around.store.keep(file);
        return;
    }
    const std::int64_t old = (around.time() - untilKeptRests).time_since_epoch().count();
    std::erase_if(kept, [&](const PairStore::Kept& file) { return file.time <= old && isSettled(file); });
}

// Whether there is nothing more to see of it. What was written to it becomes a conflict copy.
bool PairSync::isSettled(const PairStore::Kept& file) {
    const auto now = around.local.lookAt(file.place);
    if (!now || now->shape != Shape::file) return true;
    if (around.local.isBeingWritten(file.place)) return false;
    const LocalRecord& then = file.record;
    if (now->record.size == then.size && now->record.modified == then.modified) return true;
    const auto digest = around.local.digest(file.place, now->record);
    if (!digest) return false;
    const std::string key = joined(parentOf(file.path), keyOf(lastOf(file.path), features.foldsCase));
    const std::string name = conflictNameOf(file.path, key, *digest);
    if (const auto moved = around.local.move(file.place, joined(parentOf(file.path), name)); !moved) {
        around.log.error("What was written to the old ", file.path, " stays at ", file.place, ": ",
                         std::string_view(moved.failure().text));
        return true;
    }
    around.log.info("Somebody wrote to ", file.path, " after it was replaced; that is now ", name);
    around.store.endKeeping(file.place);
    return true;
}

void PairSync::removeOld(const std::stop_token& stop) {
    const auto now = around.now();
    if (lastCleaned && now - *lastCleaned < betweenCleanings) return;
    lastCleaned = now;
    around.local.removeLeftovers(around.time() - leftoversLast, stop);
    if (settings.keepsFor.count() > 0) around.local.removeKept(around.time() - settings.keepsFor);
}

} // namespace service
