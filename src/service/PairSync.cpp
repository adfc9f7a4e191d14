#include "service/PairSync.h"

#include "service/names.h"
#include "service/pair_parts.h"
#include "service/remote_move.h"

#include <algorithm>
#include <random>

namespace service {
namespace {

// Then everything fails, and the next round tells whether it still does.
constexpr std::size_t mostFailuresInARow = 50;

// What ends what a look found: when all of it is done both sides are in step, as after a look that finds
// nothing. A move, a digest that was learned or a version that went aside is followed by more; a deletion and
// a new version are looked at once more.
bool isLast(const Operation& operation) {
    return (operation.what == What::put && !operation.replaces) || operation.what == What::makeFolder ||
           operation.what == What::agree || operation.what == What::forget || operation.what == What::hold;
}

constexpr std::uint64_t worthAsking = std::uint64_t{16} << 20U; // bytes: sending so much in vain costs more

} // namespace

PairSync::PairSync(Surroundings everything, Settings wanted)
    : around(std::move(everything)), settings(std::move(wanted)), guard(around.store), view(&pathBefore) {
    std::random_device device;
    privateWord = std::to_string(device()) + std::to_string(device());
}

Outcome<PairSync::Round> PairSync::round(const std::stop_token& stop) {
    if (!knowsFeatures) {
        const auto known = around.space.features().wait(stop);
        if (!known) return known.failure();
        features = *known;
        knowsFeatures = true;
    }
    if (const auto right = checkMarks(stop); !right) return right.failure();
    recover(stop);
    noteBoot();
    lookAtKept();
    removeOld(stop);
    Round result;
    const auto began = around.now();
    const auto names = look(result, stop);
    if (!names) return names.failure();
    result.looked = around.now() - began;
    auto operations = guard.allowed(plan(*names), *names, around.time());
    if (result.restless) // what it belongs to may have to rest
        std::erase_if(operations, [](const Operation& operation) {
            return isPrivate(operation.path) &&
                   (operation.what == What::trash || !isForParked(operation.what));
        });
    result.waiting = guard.waiting();
    std::erase_if(failedInBatch, [this](const std::string& key) { return !view.contains(key); });
    auto done = carryOut(operations, std::move(result), stop);
    if (done) (*done).isAll = std::all_of(operations.begin(), operations.end(), isLast);
    if (done && isAfterCrash && done->isInStep()) {
        isAfterCrash = false;
        around.store.setFact("boot", settings.bootId);
    }
    return done;
}

Outcome<PairSync::Round> PairSync::carryOut(const std::vector<Operation>& operations, Round result,
                                            const std::stop_token& stop) {
    withoutRoom = {};
    std::size_t failuresInARow = 0;
    for (std::size_t index = 0; index < operations.size(); ++index) {
        const Operation& operation = operations[index];
        if (stop.stop_requested()) return Failure{Trouble::cancelled, "cancelled"};
        if (operation.what == What::hold) continue; // said with its reason when its name was read
        const std::size_t lessons = lessonsAt(operations, index);
        if (const std::size_t count = lessons > 0 ? lessons : batchAt(operations, index)) {
            const auto done = lessons > 0 ? learnMany(operations, index, count, result, stop)
                                          : performMany(operations, index, count, result, stop);
            index += count - 1;
            if (done) continue;
            noteFailure(operation, done.failure(), result);
            break;
        }
        const auto done = performIfRoom(operation, stop);
        noteUnsteady(operation, done);
        if (done) {
            guard.done(operation, around.time());
            ++result.done;
            failedInBatch.erase(operation.path);
            if (isLast(operation)) rests.erase(operation.path); // no look may follow that would
            failuresInARow = 0;
            continue;
        }
        ++result.postponed;
        noteFailure(operation, done.failure(), result);
        if (done.failure().trouble == Trouble::unreachable) break; // the rest would wait as long
        if (++failuresInARow == mostFailuresInARow) break;
        // What follows may have needed it: a plan is made for the whole.
        if (operation.what == What::move || operation.what == What::aside ||
            operation.what == What::makeFolder)
            break;
    }
    return result;
}

// A person hears of it; but what changed meanwhile is tried again without a word, and what is not reached is
// told of the whole pair.
void PairSync::noteFailure(const Operation& operation, const Failure& failure, Round& result) {
    around.log.info(operation.path, ": ", std::string_view(failure.text));
    const bool isTold = failure.trouble == Trouble::refused || failure.trouble == Trouble::full ||
                        failure.trouble == Trouble::fullHere || failure.trouble == Trouble::impossible ||
                        failure.trouble == Trouble::other;
    if (isTold) result.problems.push_back({operation.path, failure.text, failure.trouble});
}

// What is as large as what found no room in this round is not sent to find none either.
Outcome<Done> PairSync::performIfRoom(const Operation& operation, const std::stop_token& stop) {
    if (operation.what != What::put) return perform(operation, stop);
    const Held& held = view.at(operation.path);
    const bool isUp = operation.side == Side::there;
    const std::uint64_t bytes = isUp ? held.here.value().record.size : held.there.value().item.size;
    std::optional<std::uint64_t>& least = withoutRoom[isUp ? 1 : 0];
    const bool fits = (!least || bytes < *least) && (!isUp || bytes < worthAsking || hasRoom(bytes, stop));
    auto done = fits ? perform(operation, stop) : Outcome<Done>(Failure{Trouble::full, {}});
    // Servers of SFTP say of a full disk only that they failed: the protocol has no word for it.
    const bool isFull =
        !done && (done.failure().trouble == Trouble::full ||
                  (done.failure().trouble == Trouble::other && isUp && !hasRoom(bytes, stop)));
    if (!isFull) return done;
    least = std::min(least.value_or(bytes), bytes);
    return Failure{Trouble::full,
                   isUp ? "the storage has no room left for it" : "this machine has no room left for it"};
}

// Whether the storage has that, as far as it tells.
bool PairSync::hasRoom(std::uint64_t bytes, const std::stop_token& stop) {
    if (!features.quota) return true;
    const auto quota = around.space.quota().wait(stop);
    return !quota || !quota->free || *quota->free > bytes;
}

// What a kill left: either the new version is in its place, and that is agreed on, or the old one goes back.
// As long as the private file lies where it went up, what is in the place is another's.
void PairSync::recover(const std::stop_token& stop) {
    for (const JournalEntry& entry : around.store.unfinished()) {
        if (entry.step == JournalEntry::Step::placeManyThere) {
            if (!recoverMany(entry, stop)) return;
            continue;
        }
        if (!entry.many.empty()) {
            if (!recoverMove(entry, stop)) return;
            continue;
        }
        const auto there = around.space.look(entry.remotePath, false).wait(stop);
        if (!there) return; // the next round tries again
        const auto isLeft = isInSpace(around.space, entry.privatePath, stop);
        if (!isLeft) return;
        const bool arrived = *there && !*isLeft && (*there)->size == entry.item.there.size &&
                             (*there)->modified == entry.item.there.modified;
        if (arrived) {
            around.store.finish(entry.number, entry.path, entry.item);
            continue;
        }
        if (!*there && entry.step == JournalEntry::Step::replaceThere) {
            const auto old = around.space.look(entry.trashPath, false).wait(stop);
            if (!old) return;
            if (*old && !around.space.moveFile(entry.trashPath, entry.remotePath).wait(stop)) return;
        }
        around.store.finish(entry.number, entry.path, std::nullopt);
        // Gone, or a leftover that is removed by age.
        if (*isLeft) (void)around.space.removeFile(entry.privatePath).wait(stop);
    }
}

} // namespace service
