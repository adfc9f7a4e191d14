// The marks by which a pair knows that both its roots are still the ones that were synced: a random word in a
// file of the private folder, here of the pair, there of the space.
#include "service/PairSync.h"
#include "service/names.h"
#include "service/pair_parts.h"

#include <fstream>
#include <iterator>
#include <random>

namespace service {
namespace {

constexpr std::string_view markName = "space";
constexpr std::uint64_t longestMark = 256; // bytes

std::string newMark() {
    std::random_device device;
    std::string word;
    for (int i = 0; i < 4; ++i)
        word += (i > 0 ? "-" : "") + std::to_string(device());
    return word;
}

} // namespace

// The first time both are marked; later a root without its mark, or with another, is another root.
Outcome<Done> PairSync::checkMarks(const std::stop_token& stop) {
    const auto known = around.store.fact("mark here");
    const auto mark = around.local.mark();
    if (known && mark != known)
        return Failure{Trouble::missing, "the folder here is not the one that was synced"};
    if (!known) {
        const auto made = mark ? Outcome<std::string>(*mark) : around.local.setMark();
        if (!made) return made.failure();
        around.store.setFact("mark here", *made);
    }
    return checkMarkThere(stop);
}

// Read once; then its record says that it is the same.
Outcome<Done> PairSync::checkMarkThere(const std::stop_token& stop) {
    const std::string path = joined(std::string(privatePrefix), std::string(markName));
    const auto known = around.store.fact("mark there");
    const auto lookAtMark = [&]() -> Outcome<std::optional<RemoteItem>> {
        auto item = around.space.look(path, false).wait(stop);
        if (!item && item.failure().trouble == Trouble::missing) return std::optional<RemoteItem>();
        return item;
    };
    auto item = lookAtMark();
    if (item && !*item && !known) {
        if (const auto made = setMarkThere(path, stop); !made) return made.failure();
        item = lookAtMark();
    }
    if (!item) return item.failure();
    const Failure another{
        Trouble::missing,
        "the storage is not the one that was synced, or its mark was deleted there; if it is "
        "the right one, remove the folder and add it again"};
    if (!*item || (*item)->kind != RemoteItem::Kind::file || (*item)->size > longestMark) return another;
    if (known && markThere == recordOf(**item)) return Done{};
    const auto mark = contentThere(path, (*item)->size, stop);
    if (!mark) return mark.failure();
    if (known && *mark != *known) return another;
    if (!known) around.store.setFact("mark there", *mark);
    markThere = recordOf(**item);
    return Done{};
}

// Another computer may be faster: then its mark stays.
Outcome<Done> PairSync::setMarkThere(const std::string& path, const std::stop_token& stop) {
    const std::filesystem::path file = around.local.folder() / privatePrefix / markName;
    if (!(std::ofstream(file, std::ios::binary | std::ios::trunc) << newMark() << std::flush))
        return Failure{Trouble::full, file.string() + " cannot be written"};
    const std::string between = newPrivatePath("up");
    const auto up = around.space.bringUp(file.string(), between).wait(stop);
    std::error_code ignored;
    std::filesystem::remove(file, ignored);
    if (!up) return up.failure();
    const auto placed = moveThereIfFree(between, path, Shape::file, stop);
    if (placed) return Done{};
    (void)around.space.removeFile(between).wait(stop);
    if (placed.failure().trouble == Trouble::missing) return Done{};
    return placed.failure();
}

// Of a small file; it comes by way of the private folder here.
Outcome<std::string> PairSync::contentThere(const std::string& path, std::uint64_t size,
                                            const std::stop_token& stop) {
    const std::filesystem::path file = around.local.folder() / privatePrefix / markName;
    const auto down = around.space.bringDown(path, file.string(), size).wait(stop);
    std::string content;
    if (std::ifstream stream(file, std::ios::binary); stream)
        content.assign(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
    std::error_code ignored;
    std::filesystem::remove(file, ignored);
    if (!down) return down.failure();
    if (content.size() != size) return Failure{Trouble::other, "the storage's mark did not arrive whole"};
    return content;
}

// A file whose data were not on the disk when the machine went down is empty, or so it looks: not what a
// person wrote. That counts until a round has ended well.
void PairSync::noteBoot() {
    if (knowsBoot) return;
    knowsBoot = true;
    const auto before = around.store.fact("boot");
    isAfterCrash = before && !before->empty() && *before != settings.bootId;
    if (!isAfterCrash) around.store.setFact("boot", settings.bootId);
}

PairSync::~PairSync() {
    try {
        if (knowsBoot && !isAfterCrash) around.store.setFact("boot", "");
    } catch (const std::exception& error) { // then it counts as a crash
        around.log.error("What the pair remembers cannot be written: ", std::string_view(error.what()));
    }
}

bool PairSync::isLostByACrash(const LocalItem& item, const std::string& key) const {
    if (!isAfterCrash || item.record.size > 0) return false;
    const auto agreed = around.store.at(key);
    const std::chrono::sys_time<std::chrono::nanoseconds> changed{
        std::chrono::nanoseconds(item.record.changed)};
    return agreed && agreed->here.size > 0 && changed < settings.booted;
}

} // namespace service
