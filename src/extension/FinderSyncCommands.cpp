#include "extension/FinderSyncCommands.h"

#include "daemon_client/command_message.h"
#include "extension/commands.h"
#include "paths/path_strings.h"
#include "platform/json.h"
#include "platform/utf8.h"
#include "protocol/names.h"

#include <array>
#include <utility>

namespace extension {
namespace {

using platform::DisplayText;

std::vector<std::string> pathsOf(const CommandRequest& request) {
    std::vector<std::string> paths;
    paths.reserve(request.selection.size());
    for (const platform::FileURL& item : request.selection)
        paths.push_back(item.path());
    return paths;
}

std::optional<std::string> firstOf(const std::vector<std::string>& paths) {
    return paths.empty() ? std::nullopt : std::optional(paths.front());
}

platform::Value describe(const std::vector<std::string>& paths) {
    return platform::Array(paths.begin(), paths.end());
}

// UTF-8 whatever bytes the path has.
std::string readable(const std::string& path) {
    return platform::isUtf8(path) ? path : platform::jsonDescription(platform::Value(path));
}

std::string andMore(std::size_t count) { return "… (+" + std::to_string(count) + ")"; }

// The first few by name, and how many more there are.
std::string readable(const std::vector<std::string>& paths) {
    constexpr std::size_t named = 3;
    std::string text;
    for (std::size_t i = 0; i < paths.size() && i < named; ++i)
        text += (i == 0 ? "" : ", ") + readable(paths[i]);
    if (paths.size() > named) text += ", " + andMore(paths.size() - named);
    return text;
}

// For a line that comes with each of the paths: were all of them in it, the log would grow with their square.
platform::Value describeBriefly(std::vector<std::string> paths) {
    constexpr std::size_t named = 16;
    if (const std::size_t count = paths.size(); count > named) {
        paths.resize(named);
        paths.push_back(andMore(count - named));
    }
    return describe(paths);
}

// More than a person asks for at once.
constexpr unsigned maximumLinks = 16;

CommandOutcome nothingSelected() { return {false, {"Nothing is selected.", {}}}; }

DisplayText serviceNotRunning() { return {"The sync service is not running; nothing was done.", {}}; }
DisplayText serviceSilent() { return {"The sync service does not answer; nothing was done.", {}}; }

// The same action where no answer can tell what came of it.
struct Uncertain {
    std::string_view certain;
    const char* uncertain;
};
constexpr std::array uncertainTexts{
    Uncertain{"Asked the sync service to move %@ to %@.",
              "Asked the sync service to move %@ to %@ (not confirmed)."},
    Uncertain{"Asked the sync service to copy %@ to %@.",
              "Asked the sync service to copy %@ to %@ (not confirmed)."},
};

} // namespace

// --- what the actions share

bool FinderSyncCommands::send(const std::string& name, const platform::Dictionary& data) {
    return daemon_client::postCommand(around.distributedCenter, around.log, name, data);
}

CommandOutcome FinderSyncCommands::failed(DisplayText message) {
    around.notifier.notify(message, platform::UserNotifier::News::failure);
    return {false, std::move(message)};
}

CommandOutcome FinderSyncCommands::succeeded(DisplayText message, Told told) {
    if (told == Told::byDesktop) around.notifier.notify(message, platform::UserNotifier::News::success);
    return {true, std::move(message)};
}

// Whoever cancelled knows it; whoever could not be asked does not.
CommandOutcome FinderSyncCommands::unanswered(const std::optional<DisplayText>& problem) {
    return problem ? failed(*problem) : CommandOutcome{false, {"Cancelled; nothing was sent.", {}}};
}

std::optional<CommandOutcome> FinderSyncCommands::refusal(bool needsPanel) {
    const platform::Presence daemon = around.daemonPresence();
    if (daemon == platform::Presence::silent) return failed(serviceSilent());
    if (daemon == platform::Presence::absent && needsPanel) return failed(serviceNotRunning());
    return std::nullopt;
}

std::optional<CommandOutcome> FinderSyncCommands::refusalOfPair(const std::string& path,
                                                                const std::string* remotePath) {
    const auto table = around.finderSync.allPathsInSync();
    if (!table) return std::nullopt;
    for (const auto& [remote, local] : *table) {
        const bool isTaken = remotePath == nullptr ? paths::isEqualToPath(local, path)
                                                   : paths::isEqualToPath(remote, *remotePath);
        if (isTaken) return failed({"%@ is already synced with %@.", {readable(local), readable(remote)}});
    }
    return std::nullopt;
}

CommandOutcome FinderSyncCommands::sent(DisplayText message, Told told, const Skipped& skipped,
                                        CommandConfirmation& expected) {
    Paths leftOut = skipped.withoutRemotePath;
    leftOut.insert(leftOut.end(), skipped.withoutMessage.begin(), skipped.withoutMessage.end());
    if (!leftOut.empty()) around.log.error("Skipped without a message: ", describe(leftOut));
    if (around.daemonPresence() == platform::Presence::absent) {
        around.log.error("No tsyncquenz daemon is there to hear the command");
        return failed(serviceNotRunning());
    }
    const CommandConfirmation::Result result = expected.wait();
    if (!result.unconfirmed.empty())
        around.log.error("Not confirmed by the daemon: ", describeBriefly(result.unconfirmed));
    if (!leftOut.empty())
        return failed({skipped.withoutMessage.empty()      ? "Left out, not in a synced folder: %@"
                       : skipped.withoutRemotePath.empty() ? "Left out, with a name that cannot be sent: %@"
                                                           : "Left out, not in a synced folder or with a "
                                                             "name that cannot be sent: %@",
                       {readable(leftOut)}});
    if (!result.unconfirmed.empty())
        return failed(
            {"The sync service was asked, but has not confirmed it: %@", {readable(result.unconfirmed)}});
    if (result.isUncertain)
        for (const Uncertain& text : uncertainTexts)
            if (message.format == text.certain) message.format = text.uncertain;
    return succeeded(std::move(message), told);
}

bool FinderSyncCommands::isDirectoryItself(const std::string& path) {
    const auto kind = around.fileSystem.kind(path);
    return kind && kind->isDirectoryItself();
}

DestinationAnswer FinderSyncCommands::chooseRemoteDestination(DestinationPurpose purpose,
                                                              const CommandRequest& request) {
    around.log.info("Choose Remote Dest: ", request.selection.size());
    if (request.selection.empty()) return {};
    return around.panels.chooseRemoteDestination(purpose, request);
}

bool FinderSyncCommands::writeToPasteBoard(const std::string& text, const platform::Display& display) {
    return around.pasteboard.setString(text, display);
}

void FinderSyncCommands::perform(const Command& command, const CommandRequest& request, const Done& done) {
    if (command.waitsFor != WaitsFor::daemonServer) {
        done((this->*command.run)(request));
        return;
    }
    if (++linksUnderWay > maximumLinks) {
        --linksUnderWay;
        done(linkFailed({"Too many public links are being asked for; try again when they have come.", {}}));
        return;
    }
    around.linkQueue.dispatch([this, run = command.run, request, done] {
        const CommandOutcome outcome = (this->*run)(request);
        --linksUnderWay;
        done(outcome);
    });
}

// --- the actions

CommandOutcome FinderSyncCommands::startSync(const CommandRequest& request) {
    around.log.info("Select Start Sync param: ", request.sender);
    const std::optional<std::string> path = firstOf(pathsOf(request));
    if (path) {
        if (auto refused = refusal(!request.destination)) return std::move(*refused);
        if (auto refused = refusalOfPair(*path, nullptr)) return std::move(*refused);
    }
    const DestinationAnswer answer = chooseRemoteDestination(DestinationPurpose::sync, request);
    around.log.info("Space Dest Path: ", answer.path, ", selectedItemPath: ", path);
    if (!path) return nothingSelected();
    if (!answer.path) return unanswered(answer.problem);
    if (auto refused = refusalOfPair(*path, &*answer.path)) return std::move(*refused);
    CommandConfirmation expected = confirmation();
    expected.expectSynced(*path, *answer.path);
    const bool isSent = send(TSYNC_COMMAND_SYNC_START, {{"localPath", *path}, {"remotePath", *answer.path}});
    return sent({"Asked the sync service to sync %@ with %@.", {readable(*path), readable(*answer.path)}},
                Told::byBadges, isSent ? Skipped() : Skipped{{}, {*path}}, expected);
}

CommandOutcome FinderSyncCommands::sendRemotePaths(const char* command, const Paths& paths,
                                                   const Expect& expect, const char* successText, Told told,
                                                   const std::function<void()>& beforeEach) {
    if (paths.empty()) return nothingSelected();
    if (auto refused = refusal(false)) return std::move(*refused);
    Skipped skipped;
    CommandConfirmation expected = confirmation();
    for (const std::string& path : paths) {
        const auto remotePath = around.finderSync.remotePathOfLocalSyncPath(path);
        beforeEach();
        if (!remotePath)
            skipped.withoutRemotePath.push_back(path);
        else if (!send(command, {{"remotePath", *remotePath}}))
            skipped.withoutMessage.push_back(path);
        else
            expect(expected, path, *remotePath);
    }
    return sent({successText, {readable(paths)}}, told, skipped, expected);
}

CommandOutcome FinderSyncCommands::stopSync(const CommandRequest& request) {
    around.log.info("Select Stop Sync param: ", request.sender);
    const Paths paths = pathsOf(request);
    around.log.info("Selected Item Paths ", describe(paths));
    return sendRemotePaths(
        TSYNC_COMMAND_SYNC_STOP, paths, &CommandConfirmation::expectNotSynced,
        "Asked the sync service to stop syncing %@.", Told::byBadges,
        [&, selection = describeBriefly(paths)] { around.log.info("Selected Item Paths ", selection); });
}

CommandOutcome FinderSyncCommands::exclude(const char* command, bool isExcluded, const char* successText,
                                           const CommandRequest& request) {
    const auto expect = [isExcluded](CommandConfirmation& expected, const std::string& path,
                                     const std::string& remotePath) {
        expected.expectExcluded(path, remotePath, isExcluded);
    };
    return sendRemotePaths(command, pathsOf(request), expect, successText, Told::byDesktop);
}

CommandOutcome FinderSyncCommands::excludeSync(const CommandRequest& request) {
    return exclude(TSYNC_COMMAND_EXCLUDE_SYNC_PATH, true, "Asked the sync service to exclude %@.", request);
}

CommandOutcome FinderSyncCommands::includeSync(const CommandRequest& request) {
    return exclude(TSYNC_COMMAND_INCLUDE_SYNC_PATH, false, "Asked the sync service to include %@.", request);
}

CommandOutcome FinderSyncCommands::sendToSpace(DestinationPurpose purpose, const char* command,
                                               const char* verb, const char* successText,
                                               const CommandRequest& request) {
    around.log.info("Select ", std::string_view(verb), " to Space param: ", request.sender);
    const Paths paths = pathsOf(request);
    if (!paths.empty())
        if (auto refused = refusal(!request.destination)) return std::move(*refused);
    const DestinationAnswer answer = chooseRemoteDestination(purpose, request);
    if (paths.empty()) return nothingSelected();
    if (!answer.path) return unanswered(answer.problem);
    CommandConfirmation expected = confirmation();
    for (const std::string& path : paths)
        expected.expectBrought(path, *answer.path, purpose == DestinationPurpose::move);
    expected.lookBefore();
    Skipped skipped;
    for (const std::string& path : paths) {
        around.log.info(std::string_view(verb), " file: ", path, " to Space Dest path: ", *answer.path);
        if (!send(command, {{"localPath", path}, {"remotePath", *answer.path}}))
            skipped.withoutMessage.push_back(path);
    }
    return sent({successText, {readable(paths), readable(*answer.path)}}, Told::byDesktop, skipped, expected);
}

CommandOutcome FinderSyncCommands::moveToSpace(const CommandRequest& request) {
    return sendToSpace(DestinationPurpose::move, TSYNC_COMMAND_MOVE_TO_SPACE, "Move",
                       "Asked the sync service to move %@ to %@.", request);
}

CommandOutcome FinderSyncCommands::copyToSpace(const CommandRequest& request) {
    return sendToSpace(DestinationPurpose::copy, TSYNC_COMMAND_COPY_TO_SPACE, "Copy",
                       "Asked the sync service to copy %@ to %@.", request);
}

CommandOutcome FinderSyncCommands::linkFailed(const DisplayText& reason) {
    around.log.info("Error in remote request.");
    return failed(reason);
}

CommandOutcome FinderSyncCommands::copyPublicLink(const CommandRequest& request) {
    const std::optional<std::string> path = firstOf(pathsOf(request));
    if (!path) {
        around.log.info("Error in remote request.");
        return nothingSelected();
    }
    const auto remotePath = around.finderSync.remotePathOfLocalSyncPath(path);
    if (!remotePath) return linkFailed({"%@ is not in a synced folder.", {readable(*path)}});
    const platform::Presence daemon = around.daemonPresence();
    if (daemon == platform::Presence::silent) return linkFailed(serviceSilent());
    std::optional<std::string> link;
    try {
        link = around.client.linkForSharingFile(remotePath, isDirectoryItself(*path));
    } catch (const platform::IPCError& error) {
        around.log.error("The daemon cannot be asked: ", std::string_view(error.what()));
    }
    if (!link)
        return linkFailed(
            daemon == platform::Presence::absent
                ? serviceNotRunning()
                : DisplayText{"The sync service gave no public link for %@.", {readable(*path)}});
    if (!writeToPasteBoard(*link, request.display)) {
        around.log.info("Public link is: ", *link);
        return failed({"The public link could not be copied. It is %@", {*link}});
    }
    around.log.info("Public link ", *link, " copied");
    return succeeded({"Copied the public link %@", {*link}}, Told::byDesktop);
}

CommandOutcome FinderSyncCommands::shareByEmail(const CommandRequest& request) {
    const std::optional<std::string> path = firstOf(pathsOf(request));
    if (!path) return nothingSelected();
    const auto remotePath = around.finderSync.remotePathOfLocalSyncPath(*path);
    if (!remotePath) return failed({"%@ is not in a synced folder.", {readable(*path)}});
    if (auto refused = refusal(request.recipients.empty())) return std::move(*refused);
    const bool isDirectory = isDirectoryItself(*path);
    const auto table = around.finderSync.allPathsInSync();
    const ShareAnswer answer =
        around.panels.shareByEmail(isDirectory, table ? *table : daemon_client::SyncPathTable(), request);
    if (answer.recipients.empty()) return unanswered(answer.problem);
    const bool isSent = answer.isShown
                            ? answer.isSent
                            : send(TSYNC_COMMAND_SHARE_BY_EMAIL,
                                   daemon_client::sharePayload(*remotePath, isDirectory, answer.recipients));
    // The daemon cannot be asked anything about shared items.
    CommandConfirmation nothingToAsk = confirmation();
    return sent({"Asked the sync service to share %@ with %@ (not confirmed).",
                 {readable(*path), readable(answer.recipients)}},
                Told::byDesktop, isSent ? Skipped() : Skipped{{}, {*path}}, nothingToAsk);
}

} // namespace extension
