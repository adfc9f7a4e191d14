// What is asked about single items of the space: each waits for the storage, and is cancelled when the
// service ends.
#include "dirsnapshot/DirSnapshot.h"
#include "platform/file_attributes.h"
#include "service/Service.h"
#include "service/names.h"
#include "service/pair_parts.h"
#include "service/remote_look.h"
#include "service/remote_move.h"
#include "service/space_trash.h"
#include "sync_daemon/paths.h"

namespace service {
namespace {

namespace fs = std::filesystem;
using platform::Dictionary;

// Whoever asks goes on after a second.
constexpr std::chrono::milliseconds folderLimit{900};

std::chrono::sys_seconds today(const platform::Clock& clock) {
    return std::chrono::floor<std::chrono::seconds>(clock.date());
}

// In the space; "" is the space itself.
std::string inSpace(const std::string& plain) { return plain.substr(1); }

Dictionary describe(const RemoteItem& item, const std::string& plain) {
    constexpr double second = 1e9; // nanoseconds
    const bool isFolder = item.kind == RemoteItem::Kind::folder;
    return {{dirsnapshot::DirSnapshotNodePathKey, plain},
            {platform::NSFileType, isFolder ? platform::NSFileTypeDirectory : platform::NSFileTypeRegular},
            {platform::NSFileSize, item.size},
            {platform::NSFileModificationDate, static_cast<double>(item.modified) / second}};
}

} // namespace

std::vector<std::string> Service::directories(std::string_view remotePath) const {
    const std::optional<std::string> plain = sync_daemon::plainPath(remotePath);
    if (!plain) return {};
    std::vector<std::string> paths;
    for (const std::string& name :
         folders.in(inSpace(*plain), folderLimit).value_or(std::vector<std::string>()))
        paths.push_back(sync_daemon::remoteChild(*plain, name));
    return paths;
}

std::vector<std::string> Service::directoriesNotInSync(std::string_view remotePath) const {
    std::vector<std::string> paths = directories(remotePath);
    const std::lock_guard guard(lock);
    std::erase_if(paths, [this](const std::string& path) { return state.isInSync(path); });
    return paths;
}

std::optional<platform::Array> Service::contentOfDirectory(std::string_view remotePath, bool onlyFile,
                                                           bool recursive) const {
    const std::optional<std::string> plain = sync_daemon::plainPath(remotePath);
    if (!plain) return std::nullopt;
    platform::Array items;
    const auto add = [&](const RemoteItem& item, const std::string& path) {
        if (!onlyFile || item.kind != RemoteItem::Kind::folder) items.emplace_back(describe(item, path));
    };
    if (recursive) {
        const auto all = lookAtSpace(around.space, inSpace(*plain), {}, ending.get_token());
        if (!all) return std::nullopt;
        for (const RemoteEntry& entry : *all)
            add(entry.item, sync_daemon::remoteChild(*plain, entry.path));
        return items;
    }
    const auto all = around.space.list(inSpace(*plain)).wait(ending.get_token());
    if (!all) return std::nullopt;
    for (const RemoteItem& item : *all)
        if (!isPrivate(item.name)) add(item, sync_daemon::remoteChild(*plain, item.name));
    return items;
}

Outcome<std::optional<RemoteItem>> Service::itemAt(const std::string& remotePath) const {
    return around.space.look(inSpace(remotePath)).wait(ending.get_token());
}

std::optional<Dictionary> Service::fileInfo(std::string_view remotePath) const {
    const std::optional<std::string> plain = sync_daemon::plainPath(remotePath);
    if (!plain || *plain == "/") return std::nullopt;
    const auto item = itemAt(*plain);
    if (!item || !*item) return std::nullopt;
    return describe(**item, *plain);
}

std::optional<std::string> Service::checkedItem(std::string_view what, std::string_view remotePath) const {
    std::optional<std::string> plain = sync_daemon::plainPath(remotePath);
    const bool isItem =
        plain && *plain != "/" && !isPrivate(fs::path(*plain).relative_path().begin()->string());
    if (isItem) return plain;
    refuse(what, remotePath, "not an item of the space");
    return std::nullopt;
}

Outcome<std::string> Service::linkTo(std::string_view remotePath, bool isDirectory) const {
    const auto plain = checkedItem("make a link to", remotePath);
    if (!plain) return Failure{Trouble::refused, "no item of the space"};
    const auto features = around.space.features().wait(ending.get_token());
    if (features && !features->publicLink)
        return Failure{Trouble::impossible, "this storage makes no public links"};
    const auto item = itemAt(*plain);
    if (!item) return item.failure();
    if (!*item || ((*item)->kind == RemoteItem::Kind::folder) != isDirectory)
        return Failure{Trouble::missing, "it is not in the storage, or not yet"};
    return around.space.publicLink(inSpace(*plain)).wait(ending.get_token());
}

std::optional<std::string> Service::linkForSharing(std::string_view remotePath, bool isDirectory) const {
    const auto link = linkTo(remotePath, isDirectory);
    if (link) return *link;
    refuse("make a link to", remotePath, link.failure().text);
    return std::nullopt;
}

// The person waits for a window of the mail program, so whatever keeps it from opening is shown to the
// person.
bool Service::shareByEmail(std::string_view remotePath, bool isDirectory,
                           const std::vector<std::string>& recipients) {
    const auto fail = [&](const std::string& why) {
        if (around.notifier != nullptr)
            around.notifier->notify({"%@ could not be shared: %@", {std::string(remotePath), why}},
                                    platform::UserNotifier::News::failure);
        return refuse("share by e-mail", remotePath, why);
    };
    if (around.mail == nullptr) return fail("no mail program can be opened");
    const auto link = linkTo(remotePath, isDirectory);
    if (!link) return fail(link.failure().text);
    const std::string name = lastOf(std::string(remotePath));
    const auto opened = around.mail->compose({recipients, name, *link + "\n"});
    if (!opened) return fail(opened.failure().text);
    log.info("The mail program has a mail with the link to ", remotePath);
    return true;
}

bool Service::deleteFile(std::string_view remotePath, bool toTrash) {
    const auto plain = checkedItem("delete", remotePath);
    if (!plain) return false;
    const auto item = itemAt(*plain);
    if (!item || !*item)
        return refuse("delete", *plain, item ? "it is not there" : item.failure().text.c_str());
    const bool isFolder = (*item)->kind == RemoteItem::Kind::folder;
    const std::string path = inSpace(*plain);
    const auto stop = ending.get_token();
    folders.forget();
    if (!toTrash)
        return done("delete", *plain,
                    (isFolder ? around.space.removeTree(path) : around.space.removeFile(path)).wait(stop));
    const std::string place = trash::newPlace(path, today(around.clock));
    if (const auto made = around.space.makeFolder(parentOf(place)).wait(stop); !made)
        return done("delete", *plain, made);
    return done(
        "delete", *plain,
        (isFolder ? around.space.moveFolder(path, place) : around.space.moveFile(path, place)).wait(stop));
}

bool Service::renameFile(std::string_view remotePath, std::string_view newPath) {
    const auto from = checkedItem("rename", remotePath);
    const auto to = checkedItem("rename to", newPath);
    if (!from || !to) return false;
    if (sync_daemon::isAtOrBelow(*to, *from)) return refuse("rename", *from, "it would lie in itself");
    const auto item = itemAt(*from);
    if (!item || !*item)
        return refuse("rename", *from, item ? "it is not there" : item.failure().text.c_str());
    const auto taken = itemAt(*to);
    if (!taken && taken.failure().trouble != Trouble::missing)
        return refuse("rename", *from, taken.failure().text);
    if (taken && *taken) return refuse("rename", *from, "something else has the name");
    const auto stop = ending.get_token();
    const std::string folder = parentOf(inSpace(*to));
    if (!folder.empty())
        if (const auto made = around.space.makeFolder(folder).wait(stop); !made)
            return done("rename", *from, made);
    folders.forget();
    const bool isFolder = (*item)->kind == RemoteItem::Kind::folder;
    return done("rename", *from, moveIfFree(around.space, inSpace(*from), inSpace(*to), isFolder, stop));
}

bool Service::restoreFile(std::string_view remotePath) {
    const auto place = restore(remotePath);
    return place || refuse("restore", remotePath, place.failure().text);
}

Outcome<std::string> Service::restore(std::string_view remotePath) {
    const auto plain = checkedItem("restore", remotePath);
    if (!plain) return Failure{Trouble::refused, "no item of the space: " + std::string(remotePath)};
    auto place = trash::restore(around.space, inSpace(*plain), ending.get_token());
    if (!place) return place.failure();
    folders.forget();
    log.info("Brought back from the trash: /", *place);
    askPairsAt("/" + *place);
    return "/" + *place;
}

// Once a day is enough; whichever pair is at rest first does it.
void Service::cleanUp(const std::stop_token& stop) {
    const std::unique_lock guard(cleanLock, std::try_to_lock);
    constexpr std::chrono::hours day{24};
    const auto time = around.clock.now();
    if (!guard || (lastClean && time - *lastClean < day)) return;
    const auto removed = trash::removeOld(around.space, stateFolder / "seen-in-space", settings.ages,
                                          today(around.clock), stop);
    if (removed && *removed > 0) log.info("Removed from the space's trash, being old: ", *removed);
    if (removed) lastClean = time;
}

bool Service::downloadFile(std::string_view remotePath, std::string_view toDirectory) {
    constexpr std::string_view what = "download";
    const auto plain = checkedItem(what, remotePath);
    if (!plain) return false;
    std::error_code error;
    const fs::path folder = fs::canonical(toDirectory, error);
    if (!toDirectory.starts_with('/') || error || !fs::is_directory(folder, error))
        return refuse(what, *plain, "its destination is not the absolute path of a folder");
    if (sync_daemon::isAtOrBelow(folder.native(), stateFolder.native()))
        return refuse(what, *plain, "its destination is one of the service's own folders");
    const auto item = itemAt(*plain);
    if (!item || !*item) return refuse(what, *plain, item ? "it is not there" : item.failure().text.c_str());
    log.info("Downloading ", *plain, " to ", folder.string());
    carrier.add({Carrier::Kind::download, folder.string(), *plain});
    return true;
}

bool Service::cacheFile(std::string_view remotePath) {
    const auto plain = checkedItem("cache", remotePath);
    if (!plain) return false;
    const auto item = itemAt(*plain);
    if (!item || !*item)
        return refuse("cache", *plain, item ? "it is not there" : item.failure().text.c_str());
    log.info("Caching ", *plain);
    cache.add(*plain);
    return true;
}

// Who asks goes on without an answer after thirty seconds.
std::optional<std::string> Service::remoteSnapshot() const {
    return spaceSnapshot.take(std::chrono::seconds(25));
}

bool Service::copyToSpace(std::string_view localPath, std::string_view remoteFolder) {
    return bringToSpace(false, localPath, remoteFolder);
}

bool Service::moveToSpace(std::string_view localPath, std::string_view remoteFolder) {
    return bringToSpace(true, localPath, remoteFolder);
}

bool Service::bringToSpace(bool isMove, std::string_view localPath, std::string_view remoteFolder) {
    const std::string_view what = isMove ? "move" : "copy";
    const std::optional<std::string> folder = sync_daemon::plainPath(remoteFolder);
    if (!folder || (*folder != "/" && !checkedItem(what, remoteFolder)))
        return refuse(what, localPath, "its folder is not a path in the space");
    if (!localPath.starts_with('/') || !sync_daemon::isText(localPath))
        return refuse(what, localPath, "not an absolute path in UTF-8");
    const std::string local = sync_daemon::plainLocalPath(localPath);
    std::error_code error;
    const fs::file_status status = fs::symlink_status(local, error);
    if (!fs::is_regular_file(status) && !fs::is_directory(status))
        return refuse(what, local, "no file or folder is there");
    if (local == "/" || holdsOurs(sync_daemon::realPath(local)))
        return refuse(what, local, "the service's own folders lie in it, or hold it");
    log.info(isMove ? "Moving " : "Copying ", local, " to ", *folder);
    carrier.add({isMove ? Carrier::Kind::move : Carrier::Kind::copy, local, *folder});
    folders.forget();
    return true;
}

} // namespace service
