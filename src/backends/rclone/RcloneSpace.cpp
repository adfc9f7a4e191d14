#include "backends/rclone/RcloneSpace.h"

#include "backends/rclone/replies.h"

#include <sys/stat.h>

#include <cerrno>
#include <system_error>
#include <unistd.h>

namespace backends::rclone {
namespace {

using platform::Dictionary;
using platform::Value;
using service::Done;
using service::Failure;
using service::Pending;
using service::Trouble;
using std::chrono::milliseconds;

// rclone itself tells of a dead server after some twenty seconds; a hung one says nothing.
constexpr milliseconds lookLimit{60'000};
constexpr milliseconds changeLimit{120'000};
// A transfer that is slower than this will not end within the day.
constexpr std::uint64_t slowestBytesPerMillisecond = 16;

milliseconds transferLimit(std::uint64_t bytes) {
    return changeLimit + milliseconds(static_cast<milliseconds::rep>(bytes / slowestBytesPerMillisecond));
}

// Links are followed: the files are behind them. The values of this form are texts.
Value linksIn(const std::filesystem::path& folder) {
    return Dictionary{{"type", "local"}, {"_root", folder.string()}, {"copy_links", "true"}};
}
Value filesIn(const std::filesystem::path& folder) {
    return Dictionary{{"type", "local"}, {"_root", folder.string()}};
}

constexpr milliseconds wholeDay{86'400'000};

// A name as one of rclone's patterns that only it matches.
std::string globOf(const std::string& name) {
    std::string pattern;
    for (const char sign : name) {
        if (std::string_view("*?[]{}\\").find(sign) != std::string_view::npos) pattern += '\\';
        pattern += sign;
    }
    return pattern;
}

std::optional<std::uint64_t> sizeOf(const std::string& file) {
    struct stat status {};
    if (::stat(file.c_str(), &status) != 0) return std::nullopt;
    return static_cast<std::uint64_t>(status.st_size);
}

// What goes up is found by links, which lie in memory for the most part.
Failure noLinks(const std::filesystem::path& folder, const std::error_code& error) {
    if (error == std::errc::no_space_on_device || error.value() == EDQUOT)
        return {Trouble::fullHere, "this machine has no room left for links to what goes up, in " +
                                       folder.string() + ": " + error.message()};
    return {Trouble::other,
            "links to what goes up cannot be made in " + folder.string() + ": " + error.message()};
}

service::Outcome<Done> readDone(const std::string&) { return Done{}; }

} // namespace

RcloneSpace::RcloneSpace(RemoteControl& remote, std::string name, const std::filesystem::path& workFolder)
    : control(remote), storage(std::move(name)), farm(workFolder) {
    std::filesystem::remove_all(farm); // of a process that was killed
    std::filesystem::create_directories(farm);
    std::filesystem::permissions(farm, std::filesystem::perms::owner_all);
}

RcloneSpace::~RcloneSpace() {
    std::error_code ignored;
    std::filesystem::remove_all(farm, ignored);
}

template <typename T, typename Read>
Pending<T> RcloneSpace::ask(const std::string& command, Dictionary arguments, milliseconds limit, Read read,
                            const std::filesystem::path& links) {
    const service::Promise<T> promise;
    arguments["_config"] = options(command);
    const std::uint64_t question = control.ask(
        command, arguments, limit,
        [&control = control, promise, read, links](service::Outcome<std::string> reply) {
            std::error_code ignored;
            if (!links.empty()) std::filesystem::remove_all(links, ignored);
            if (reply) return promise.finish(read(*reply));
            const Failure failure = reply.failure();
            if (links.empty() || (failure.trouble != Trouble::full && failure.trouble != Trouble::other))
                return promise.finish(failure);
            // The half that it sent is removed, but rclone may keep it open over SFTP: then it goes on taking
            // room, which is just what may be missing, until the connections are closed.
            control.ask("fscache/clear", {}, lookLimit,
                        [promise, failure](const auto&) { promise.finish(failure); });
        });
    promise.onCancel([&control = control, question, links] {
        control.end(question);
        std::error_code ignored;
        if (!links.empty()) std::filesystem::remove_all(links, ignored);
    });
    return promise.pending();
}

Pending<Done> RcloneSpace::order(const std::string& command, Dictionary arguments, milliseconds limit,
                                 const std::filesystem::path& links) {
    return ask<Done>(command, std::move(arguments), limit, readDone, links);
}

Dictionary RcloneSpace::at(const std::string& path) const { return {{"fs", storage}, {"remote", path}}; }

// A file of equal size and time is a different one all the same: without this a move onto such a name deletes
// what should be moved, and an upload of it does nothing. A move to a name that is taken deletes what has it,
// unless it is told to leave that alone: then nothing happens, and it says so with success. Unknown keys are
// accepted in silence.
Dictionary RcloneSpace::options(const std::string& command) const {
    Dictionary options{{"IgnoreTimes", true}, {"Transfers", std::uint64_t{transfers}}};
    if (command == "operations/movefile" || command == "sync/move") options["IgnoreExisting"] = true;
    if (*slowDigests) options["IgnoreChecksum"] = true; // sizes are compared still
    return options;
}

// A folder as a storage of its own. Named by a text it would get connections of its own, each with a greeting
// that takes a hundred times as long as the move of a folder; seen through another storage it has those that
// are there. What is looked through is in a list of quoted words.
Value RcloneSpace::folderStorage(const std::string& path) const {
    if (path.empty()) return storage;
    std::string behind = "\"all=";
    for (const char sign : storage)
        behind += sign == '"' ? std::string("\"\"") : std::string(1, sign);
    return Dictionary{{"type", "combine"}, {"upstreams", behind + '"'}, {"_root", "all/" + path}};
}

std::filesystem::path RcloneSpace::newLinks() { return farm / std::to_string(++lastLink); }

Pending<service::Features> RcloneSpace::features() {
    return ask<service::Features>("operations/fsinfo", {{"fs", storage}}, lookLimit,
                                  [slow = slowDigests](const std::string& reply) {
                                      auto features = readFeatures(reply);
                                      if (features) *slow = features->slowDigests;
                                      return features;
                                  });
}

Pending<std::vector<service::RemoteItem>> RcloneSpace::list(const std::string& folder, bool withDigests) {
    Dictionary arguments = at(folder);
    arguments["opt"] = Dictionary{{"noMimeType", true}, {"showHash", withDigests || !*slowDigests}};
    return ask<std::vector<service::RemoteItem>>("operations/list", std::move(arguments), lookLimit,
                                                 [](const std::string& reply) { return readList(reply); });
}

Pending<std::optional<service::RemoteItem>> RcloneSpace::look(const std::string& path, bool withDigests) {
    Dictionary arguments = at(path);
    arguments["opt"] = Dictionary{{"noMimeType", true}, {"showHash", withDigests || !*slowDigests}};
    return ask<std::optional<service::RemoteItem>>("operations/stat", std::move(arguments),
                                                   withDigests ? transferLimit(0) : lookLimit,
                                                   [](const std::string& reply) { return readItem(reply); });
}

Pending<Done> RcloneSpace::bringUp(const std::string& file, const std::string& path) {
    const auto size = sizeOf(file);
    if (!size) return Pending<Done>(Failure{Trouble::missing, "the file is not there any more"});
    const std::filesystem::path link = newLinks();
    std::error_code error;
    std::filesystem::create_symlink(file, link, error);
    if (error) return Pending<Done>(noLinks(farm, error));
    return order("operations/copyfile",
                 {{"srcFs", linksIn(farm)},
                  {"srcRemote", link.filename().string()},
                  {"dstFs", storage},
                  {"dstRemote", path}},
                 transferLimit(*size), link);
}

Pending<Done> RcloneSpace::bringUpAll(const std::vector<service::Upload>& files, const std::string& folder) {
    std::uint64_t size = 0;
    const std::filesystem::path links = newLinks();
    std::error_code error;
    std::filesystem::create_directory(links, error);
    for (const service::Upload& upload : files) {
        if (error) break;
        if (upload.file.empty())
            std::filesystem::create_directory(links / upload.name, error);
        else
            std::filesystem::create_symlink(upload.file, links / upload.name, error);
        size += sizeOf(upload.file).value_or(0);
    }
    if (error) {
        std::error_code ignored;
        std::filesystem::remove_all(links, ignored);
        return Pending<Done>(noLinks(farm, error));
    }
    return order("sync/copy",
                 {{"srcFs", linksIn(links)}, {"dstFs", folderStorage(folder)}, {"createEmptySrcDirs", true}},
                 transferLimit(size) + milliseconds(100 * files.size()), links);
}

Pending<Done> RcloneSpace::bringDown(const std::string& path, const std::string& file, std::uint64_t size) {
    const std::filesystem::path place(file);
    return order("operations/copyfile",
                 {{"srcFs", storage},
                  {"srcRemote", path},
                  {"dstFs", filesIn(place.parent_path())},
                  {"dstRemote", place.filename().string()}},
                 transferLimit(size));
}

Pending<Done> RcloneSpace::bringDownAll(const std::string& folder, const std::vector<std::string>& names,
                                        const std::string& place) {
    platform::Array rules;
    for (const std::string& name : names)
        rules.emplace_back("/" + globOf(name) + "/**");
    // Without a limit of its own: nobody knows how much it is, and a server that is silent ends it.
    return order("sync/copy",
                 {{"srcFs", folderStorage(folder)},
                  {"dstFs", filesIn(place)},
                  {"createEmptySrcDirs", true},
                  {"_filter", Dictionary{{"IncludeRule", rules}}}},
                 wholeDay);
}

Pending<Done> RcloneSpace::moveFile(const std::string& path, const std::string& to) {
    return order("operations/movefile",
                 {{"srcFs", storage}, {"srcRemote", path}, {"dstFs", storage}, {"dstRemote", to}},
                 changeLimit);
}

Pending<Done> RcloneSpace::moveFolder(const std::string& path, const std::string& to) {
    return order("sync/move",
                 {{"srcFs", folderStorage(path)},
                  {"dstFs", folderStorage(to)},
                  {"createEmptySrcDirs", true},
                  {"deleteEmptySrcDirs", true}},
                 changeLimit);
}

Pending<Done> RcloneSpace::makeFolder(const std::string& path) {
    return order("operations/mkdir", at(path), changeLimit);
}

Pending<Done> RcloneSpace::removeFile(const std::string& path) {
    return order("operations/deletefile", at(path), changeLimit);
}

Pending<Done> RcloneSpace::removeFolder(const std::string& path) {
    return order("operations/rmdir", at(path), changeLimit);
}

Pending<Done> RcloneSpace::removeTree(const std::string& path) {
    return order("operations/purge", at(path), changeLimit);
}

Pending<Progress> RcloneSpace::progress() {
    constexpr milliseconds progressLimit{2'000};
    return ask<Progress>("core/stats", {}, progressLimit,
                         [](const std::string& reply) { return readProgress(reply); });
}

Pending<std::string> RcloneSpace::publicLink(const std::string& path) {
    return ask<std::string>("operations/publiclink", at(path), lookLimit,
                            [](const std::string& reply) { return readLink(reply); });
}

Pending<service::Quota> RcloneSpace::quota() {
    return ask<service::Quota>("operations/about", {{"fs", storage}}, lookLimit,
                               [](const std::string& reply) { return readQuota(reply); });
}

} // namespace backends::rclone
