// Digests that have to be known before anything follows. Where the storage tells none, the file itself is
// read: several at once, each into a private file that goes again as soon as it is read.
#include "service/PairSync.h"
#include "service/names.h"
#include "service/pair_parts.h"
#include "service/travelling.h"

#include <algorithm>
#include <deque>

namespace service {
namespace {

constexpr std::size_t transfersAtOnce = 4;
constexpr std::size_t mostAtOnce = 200; // before a list of their folders says that they were what was read

} // namespace

std::size_t PairSync::lessonsAt(const std::vector<Operation>& operations, std::size_t first) {
    std::size_t end = first;
    while (end < operations.size() && end - first < mostAtOnce && operations[end].what == What::learn)
        ++end;
    return end - first;
}

// A failure ends the round; what fails of one file alone is noted.
Outcome<Done> PairSync::learnMany(const std::vector<Operation>& operations, std::size_t first,
                                  std::size_t count, Round& result, const std::stop_token& stop) {
    const auto note = [&](const Operation& operation, const Outcome<Done>& outcome) {
        ++(outcome ? result.done : result.postponed);
        if (!outcome) noteFailure(operation, outcome.failure(), result);
    };
    struct Reading {
        const Operation* operation;
        std::string file;
        Pending<Done> arrival;
    };
    std::deque<Reading> underWay;
    std::vector<std::pair<const Operation*, Digest>> read;
    std::optional<Failure> failed;
    const auto waitForOne = [&] {
        Reading reading = std::move(underWay.front());
        underWay.pop_front();
        const auto arrived = reading.arrival.wait(stop);
        const auto digest = arrived ? digestOfArrived(reading.file, reading.operation->path)
                                    : Outcome<Digest>(arrived.failure());
        std::error_code ignored;
        std::filesystem::remove(around.local.folder() / reading.file, ignored);
        if (digest)
            read.emplace_back(reading.operation, *digest);
        else if (endsAll(digest.failure()))
            failed = digest.failure();
        else
            note(*reading.operation, digest.failure());
    };
    for (std::size_t index = first; index < first + count && !failed; ++index) {
        const Operation& operation = operations[index];
        if (const auto outcome = learnWithoutReading(operation)) {
            note(operation, *outcome);
            continue;
        }
        if (underWay.size() >= transfersAtOnce) waitForOne();
        const std::string file = joined(std::string(privatePrefix),
                                        "in-learn-" + privateWord + "-" + std::to_string(++lastPrivate));
        underWay.push_back(
            {&operation, file,
             around.space.bringDown(pathThere(operation.path), (around.local.folder() / file).string(),
                                    view.at(operation.path).there->item.size)});
    }
    while (!underWay.empty())
        waitForOne();
    const auto giveUp = [&](const Failure& failure) {
        result.postponed += read.size() + 1;
        return failure;
    };
    if (failed) return giveUp(*failed);
    ListedFolders folders(around.space, stop);
    std::set<std::string> wanted;
    for (const auto& [operation, digest] : read)
        wanted.insert(parentOf(pathThere(operation->path)));
    if (const auto listed = folders.fetch(wanted); !listed) return giveUp(listed.failure());
    for (const auto& [operation, digest] : read)
        note(*operation, learnThere(operation->path, digest, folders));
    return Done{};
}

Outcome<Done> PairSync::learnHere(const std::string& key) {
    const auto& here = view.at(key).here;
    if (!here) return changed(key);
    const auto digest = around.local.digest(here->path, here->record);
    if (!digest) return digest.failure();
    learnedHere[key] = {here->record, {}, *digest};
    return Done{};
}

// None when the file has to come from the storage.
std::optional<Outcome<Done>> PairSync::learnWithoutReading(const Operation& operation) {
    if (operation.side == Side::here) return learnHere(operation.path);
    if (!view.at(operation.path).there) return changed(operation.path);
    if (learnByWhatIsHere(operation.path)) return Done{};
    return std::nullopt;
}

// The storage tells a digest that is not ours: where the file that is here has it too, both are the same, and
// nothing is read from the storage.
bool PairSync::learnByWhatIsHere(const std::string& key) {
    const auto& [here, there] = view.at(key);
    if (!here || here->shape != Shape::file || here->record.size != there->item.size) return false;
    const auto& told = there->item.digests;
    const bool isAlike = std::any_of(told.begin(), told.end(), [&, &item = *here](const auto& digest) {
        const auto own = around.local.digest(item.path, item.record, digest.first);
        return own && *own == digest.second;
    });
    if (!isAlike || !learnHere(key)) return false;
    learnedThere[key] = {{}, recordOf(there->item), learnedHere.at(key).digest};
    return true;
}

Outcome<Digest> PairSync::digestOfArrived(const std::string& file, const std::string& key) const {
    const auto arrived = around.local.lookAt(file);
    if (!arrived || arrived->record.size != view.at(key).there->item.size)
        return Failure{Trouble::other, key + " did not arrive whole"};
    return around.local.digest(file, arrived->record);
}

// What was read is what the look found only when it is there still, unchanged.
Outcome<Done> PairSync::learnThere(const std::string& key, const Digest& digest, ListedFolders& folders) {
    const std::string path = pathThere(key);
    const RemoteRecord expected = recordOf(view.at(key).there->item);
    const auto items = folders.of(parentOf(path));
    if (!items) return items.failure();
    const auto now = (*items)->find(lastOf(path));
    if (now == (*items)->end() || !(recordOf(now->second) == expected)) return changed(key);
    learnedThere[key] = {{}, expected, digest};
    return Done{};
}

} // namespace service
