#include "service/LossGuard.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <set>
#include <unordered_set>

namespace service {
namespace {

constexpr std::chrono::hours window{24};
constexpr std::uint64_t always = 1000; // more files than that wait, however large the pair is
constexpr std::uint64_t few = 20;      // so many are nothing to ask about, unless they are all
constexpr std::uint64_t share = 10;    // a tenth of the pair
constexpr std::uint64_t mostRead = std::uint64_t{1} << 30U;

std::string lineOf(const WaitingLosses::File& file) {
    const char* const fate = file.toRead > 0 ? "read " : file.isReplaced ? "replaced " : "deleted ";
    return std::string(file.side == Side::here ? "here " : "there ") + fate + file.path;
}

std::vector<std::string> linesOf(const std::vector<WaitingLosses::File>& files) {
    std::vector<std::string> lines;
    lines.reserve(files.size());
    for (const WaitingLosses::File& file : files)
        lines.push_back(lineOf(file));
    return lines;
}

PairStore::Losses countOf(const std::vector<WaitingLosses::File>& files) {
    PairStore::Losses count;
    for (const WaitingLosses::File& file : files)
        if (file.toRead == 0) ++(file.isReplaced ? count.replaced : count.deleted);
    return count;
}

// The digest of all lines, FNV-1a.
std::string listOf(const std::vector<WaitingLosses::File>& files) {
    std::uint64_t hash = 0xcbf29ce484222325U;
    for (const WaitingLosses::File& file : files)
        for (const char byte : lineOf(file) + '\0')
            hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100000001b3U;
    return std::to_string(files.size()) + "-" + std::to_string(hash);
}

// Whether a path lies at or below one of these.
bool isWithin(std::string path, const std::unordered_set<std::string>& folders) {
    while (!path.empty()) {
        if (folders.contains(path)) return true;
        const std::size_t slash = path.rfind('/');
        path.resize(slash == std::string::npos ? 0 : slash);
    }
    return false;
}

bool areAllIn(const std::vector<WaitingLosses::File>& files, const std::set<std::string>& confirmed) {
    return std::all_of(files.begin(), files.end(), [&confirmed](const WaitingLosses::File& file) {
        return confirmed.contains(lineOf(file));
    });
}

std::int64_t secondsOf(std::chrono::sys_seconds time) { return time.time_since_epoch().count(); }

} // namespace

std::vector<WaitingLosses::File> LossGuard::filesOf(const Operation& operation,
                                                    const std::vector<Name>& names) {
    std::vector<WaitingLosses::File> files;
    const bool isPut = operation.what == What::put && operation.replaces;
    const bool isLesson = operation.what == What::learn && operation.side == Side::there;
    if (!isPut && !isLesson && operation.what != What::trash) return files;
    const auto side = static_cast<std::size_t>(operation.side);
    auto at = std::lower_bound(
        names.begin(), names.end(), operation.path,
        [](const Name& name, const std::string& path) { return pathBefore(name.path, path); });
    if (isLesson) {
        if (at != names.end() && !at->agreed && at->seen[0].shape == Shape::file && !at->seen[1].isDigestTold)
            files.push_back({operation.side, operation.path, false, at->seen[1].size.value_or(0)});
        return files;
    }
    if (isPut) {
        if (at != names.end() && at->seen[1 - side].isOlder)
            files.push_back({operation.side, operation.path, true});
        return files;
    }
    for (; at != names.end() && isAtOrBelow(at->path, operation.path); ++at)
        if (at->seen[side].shape == Shape::file) files.push_back({operation.side, at->path, false});
    return files;
}

bool LossGuard::isTooMuch(Side side, const PairStore::Losses& planned, std::uint64_t agreedFiles) const {
    const PairStore::Losses past = store.losses(side);
    const std::uint64_t deletedThere = store.losses(otherOf(side)).deleted;
    const std::uint64_t before = agreedFiles + past.deleted + deletedThere; // when the window began
    const std::uint64_t all = past.deleted + past.replaced + planned.deleted + planned.replaced;
    return all > always || (all > few && all * share > before) || (all >= before && before > 1);
}

PairStore::Losses LossGuard::unconfirmed(Side side) const {
    PairStore::Losses all;
    for (const auto& [key, loss] : expected) {
        if (key.first != side || loss.isConfirmed) continue;
        const PairStore::Losses count = countOf(loss.files);
        all.deleted += count.deleted;
        all.replaced += count.replaced;
    }
    return all;
}

// A walk through all that is agreed, only when a person would be asked.
void LossGuard::leaveOutWhatIsKept(Side side, const std::vector<Name>& names) {
    const auto named = [&names](const std::string& path) {
        const auto at =
            std::lower_bound(names.begin(), names.end(), path, [](const Name& name, const std::string& key) {
                return pathBefore(name.path, key);
            });
        return at != names.end() && at->path == path ? &*at : nullptr;
    };
    const auto digestOf = [&named](const WaitingLosses::File& file) {
        const Name* const name = file.isReplaced || file.toRead > 0 ? nullptr : named(file.path);
        return name != nullptr && name->agreed ? std::optional(name->agreed->digest) : std::nullopt;
    };
    std::map<Digest, bool> kept;
    for (const auto& [key, loss] : expected)
        for (const WaitingLosses::File& file : loss.files)
            if (const auto digest = digestOf(file); key.first == side && digest) kept.emplace(*digest, false);
    PairStore::Items items(store, "");
    AgreedItem item;
    for (std::string path; items.next(path, item);)
        if (const auto found = item.shape == Shape::file ? kept.find(item.digest) : kept.end();
            found != kept.end() && !named(path)) // what has a name in the plan is not as it was agreed on
            found->second = true;
    for (auto& [key, loss] : expected)
        if (key.first == side && !loss.isConfirmed)
            std::erase_if(loss.files, [&](const WaitingLosses::File& file) {
                const auto digest = digestOf(file);
                return digest && kept.at(*digest);
            });
    std::erase_if(expected, [](const auto& entry) { return entry.second.files.empty(); });
}

std::vector<Operation> LossGuard::allowed(std::vector<Operation> operations, const std::vector<Name>& names,
                                          std::chrono::sys_seconds now) {
    expected.clear();
    held.reset();
    store.endBefore(secondsOf(now - window));
    std::uint64_t toRead = 0;
    std::set<std::string> confirmed;
    bool isFirst = true;
    for (const Operation& operation : operations) {
        Loss loss{filesOf(operation, names)};
        if (loss.files.empty()) continue;
        if (std::exchange(isFirst, false)) confirmed = store.confirmed();
        loss.isConfirmed = areAllIn(loss.files, confirmed);
        if (!loss.isConfirmed)
            for (const WaitingLosses::File& file : loss.files)
                toRead += file.toRead;
        expected.emplace(std::pair(operation.side, operation.path), std::move(loss));
    }
    if (expected.empty()) return operations;

    const std::uint64_t agreedFiles = store.countFiles();
    auto next = std::make_shared<WaitingLosses>();
    std::unordered_set<std::string> inTheWay;
    const auto hold = [&](Side side, bool isForReading) {
        std::erase_if(expected, [&](auto& entry) {
            if (entry.first.first != side || entry.second.isConfirmed ||
                (entry.second.files.front().toRead > 0) != isForReading)
                return false;
            std::move(entry.second.files.begin(), entry.second.files.end(), std::back_inserter(next->files));
            inTheWay.insert(entry.first.second);
            return true;
        });
    };
    for (const Side side : {Side::here, Side::there}) {
        if (!isTooMuch(side, unconfirmed(side), agreedFiles)) continue;
        leaveOutWhatIsKept(side, names);
        for (auto& [key, loss] : expected) // by a list in which what is kept was left out, too
            if (key.first == side) loss.isConfirmed = areAllIn(loss.files, confirmed);
        if (isTooMuch(side, unconfirmed(side), agreedFiles)) hold(side, false);
    }
    if (toRead > mostRead) hold(Side::there, true);
    if (next->files.empty()) return operations;
    next->list = listOf(next->files);
    held = std::move(next);
    // What takes the place of such a file, or lies in it, waits with it.
    std::erase_if(operations, [&](const Operation& operation) {
        return isWithin(operation.path, inTheWay) || isWithin(operation.to, inTheWay);
    });
    return operations;
}

void LossGuard::done(const Operation& operation, std::chrono::sys_seconds now) {
    const auto found = expected.find({operation.side, operation.path});
    if (found == expected.end()) return;
    if (found->second.isConfirmed)
        store.takeBack(linesOf(found->second.files));
    else
        store.addLosses(secondsOf(now), operation.side, countOf(found->second.files));
    expected.erase(found);
}

bool LossGuard::confirm(const std::string& list, std::chrono::sys_seconds now) {
    if (!held || held->list != list) return false;
    store.confirm(secondsOf(now), linesOf(held->files));
    return true;
}

} // namespace service
