#include "service/space_trash.h"

#include "service/names.h"
#include "service/pair_parts.h"
#include "service/remote_move.h"
#include "sync_daemon/writing.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <string_view>
#include <vector>

namespace service::trash {
namespace {

using std::chrono::sys_seconds;

const std::string trashFolder = std::string(privatePrefix) + "/trash";
const std::string uploadFolder = std::string(privatePrefix) + "/up";

// "20261125T141503Z-0123456789abcdef-89abcdef": the time, the digest of the path, a random word.
constexpr std::size_t timeLength = 16;
constexpr std::size_t digestLength = 16;

std::optional<sys_seconds> timeOf(const std::string& entry) {
    int year = 0;
    unsigned month = 0;
    unsigned day = 0;
    int hour = 0;
    int minute = 0;
    int second = 0;
    if (std::sscanf(entry.c_str(), "%4d%2u%2uT%2d%2d%2dZ-", &year, &month, &day, &hour, &minute, &second) !=
        6)
        return std::nullopt;
    const std::chrono::year_month_day date{std::chrono::year(year), std::chrono::month(month),
                                           std::chrono::day(day)};
    if (!date.ok()) return std::nullopt;
    return std::chrono::sys_days(date) + std::chrono::hours(hour) + std::chrono::minutes(minute) +
           std::chrono::seconds(second);
}

std::string textOf(sys_seconds time) {
    const auto day = std::chrono::floor<std::chrono::days>(time);
    const std::chrono::year_month_day date(day);
    const std::chrono::hh_mm_ss clock(time - day);
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%04d%02u%02uT%02d%02d%02dZ", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                  static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                  static_cast<int>(clock.seconds().count()));
    return text.data();
}

// A folder that is not there holds nothing.
Outcome<std::vector<RemoteItem>> itemsIn(RemoteSpace& space, const std::string& folder,
                                         const std::stop_token& stop) {
    auto items = space.list(folder, false).wait(stop);
    if (!items && items.failure().trouble == Trouble::missing) return std::vector<RemoteItem>();
    return items;
}

Outcome<std::optional<RemoteItem>> itemAt(RemoteSpace& space, const std::string& path,
                                          const std::stop_token& stop) {
    auto item = space.look(path, false).wait(stop);
    if (!item && item.failure().trouble == Trouble::missing) return std::optional<RemoteItem>();
    return item;
}

Outcome<std::string> freePath(RemoteSpace& space, const std::string& path, const std::stop_token& stop) {
    const std::filesystem::path name(lastOf(path));
    constexpr int tries = 1000;
    for (int number = 1; number < tries; ++number) {
        const std::string numbered =
            name.stem().string() + " (" + std::to_string(number) + ")" + name.extension().string();
        const std::string place = number == 1 ? path : joined(parentOf(path), numbered);
        const auto item = itemAt(space, place, stop);
        if (!item) return item.failure();
        if (!*item) return place;
    }
    return Failure{Trouble::other, "every name beside " + path + " is taken"};
}

// The entries that may hold the path, the latest first.
std::vector<std::string> candidatesIn(const std::vector<RemoteItem>& entries, const std::string& path) {
    std::set<std::string> digests;
    for (std::string above = path; !above.empty(); above = parentOf(above))
        digests.insert(wordOf(above));
    std::vector<std::string> names;
    for (const RemoteItem& entry : entries)
        if (entry.name.size() > timeLength + digestLength + 1 &&
            digests.contains(entry.name.substr(timeLength + 1, digestLength)))
            names.push_back(entry.name);
    std::sort(names.rbegin(), names.rend());
    return names;
}

using Seen = std::map<std::string, std::int64_t>; // when each was seen first, seconds since 1970

Seen readSeen(const std::filesystem::path& file) {
    Seen seen;
    std::ifstream stream(file, std::ios::binary);
    std::int64_t time = 0;
    std::string path;
    while (stream >> time && stream.get() == ' ' && std::getline(stream, path))
        seen.emplace(path, time);
    return seen;
}

void writeSeen(const std::filesystem::path& file, const Seen& seen) {
    std::string text;
    for (const auto& [path, time] : seen)
        text += std::to_string(time) + " " + path + "\n";
    sync_daemon::replaceOnDisk(file, text); // else everything is seen anew, and stays longer
}

} // namespace

std::string newPlace(const std::string& path, sys_seconds now) {
    std::random_device device;
    std::array<char, 16> word{};
    std::snprintf(word.data(), word.size(), "%08x", static_cast<unsigned>(device()));
    return trashFolder + "/" + textOf(now) + "-" + wordOf(path) + "-" + word.data() + "/" + path;
}

Outcome<std::string> restore(RemoteSpace& space, const std::string& path, const std::stop_token& stop) {
    const auto entries = itemsIn(space, trashFolder, stop);
    if (!entries) return entries.failure();
    for (const std::string& name : candidatesIn(*entries, path)) {
        const std::string from = joined(joined(trashFolder, name), path);
        const auto item = itemAt(space, from, stop);
        if (!item) return item.failure();
        if (!*item) continue;
        const auto place = freePath(space, path, stop);
        if (!place) return place.failure();
        if (const std::string folder = parentOf(path); !folder.empty())
            if (const auto made = space.makeFolder(folder).wait(stop); !made) return made.failure();
        const bool isFolder = (*item)->kind == RemoteItem::Kind::folder;
        const auto moved = moveIfFree(space, from, *place, isFolder, stop);
        if (!moved) return moved.failure();
        return *place;
    }
    return Failure{Trouble::missing, "the space's trash holds nothing that was at " + path};
}

Outcome<std::size_t> removeOld(RemoteSpace& space, const std::filesystem::path& seenFile, const Ages& ages,
                               sys_seconds now, const std::stop_token& stop) {
    const Seen before = readSeen(seenFile);
    Seen after;
    std::size_t removed = 0;
    for (const auto& [folder, age] : {std::pair(trashFolder, ages.trash), {uploadFolder, ages.leftovers}}) {
        const auto entries = itemsIn(space, folder, stop);
        if (!entries) return entries.failure();
        for (const RemoteItem& entry : *entries) {
            const std::string path = folder + "/" + entry.name;
            if (path.find('\n') != std::string::npos) continue;
            const auto known = before.find(path);
            const sys_seconds first(
                std::chrono::seconds(known != before.end() ? known->second : now.time_since_epoch().count()));
            const bool isOld =
                age.count() > 0 && first + age <= now && timeOf(entry.name).value_or(first) + age <= now;
            const bool isFolder = entry.kind == RemoteItem::Kind::folder;
            if (isOld && (isFolder ? space.removeTree(path) : space.removeFile(path)).wait(stop))
                ++removed;
            else
                after.emplace(path, first.time_since_epoch().count());
        }
    }
    writeSeen(seenFile, after);
    return removed;
}

} // namespace service::trash
