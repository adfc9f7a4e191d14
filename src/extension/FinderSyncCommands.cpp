#include "extension/FinderSyncCommands.h"

#include "daemon_client/CommandMessage.h"
#include "daemon_client/notification_names.h"
#include "platform/Json.h"
#include "platform/Utf8.h"

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

CommandOutcome nothingSelected() { return {false, {"Nothing is selected.", {}}}; }

DisplayText serviceNotRunning() { return {"The sync service is not running; nothing was done.", {}}; }

} // namespace

bool asksPerson(std::string_view action, const CommandRequest& request) {
    if (action == "shareByEmail:") return request.recipients.empty();
    return (action == "startSync:" || action == "moveToSpace:" || action == "copyToSpace:") &&
           !request.destination;
}

// --- what the actions share

bool FinderSyncCommands::send(const std::string& name, const platform::Dictionary& data) {
    return daemon_client::postCommand(around.distributedCenter, around.log, name, data);
}

CommandOutcome FinderSyncCommands::failed(DisplayText message) {
    around.notifier.notify(message);
    return {false, std::move(message)};
}

// Who cancelled knows it; who could not be asked does not.
CommandOutcome FinderSyncCommands::unanswered(const std::optional<DisplayText>& problem) {
    return problem ? failed(*problem) : CommandOutcome{false, {"Cancelled; nothing was sent.", {}}};
}

CommandOutcome FinderSyncCommands::sent(DisplayText message, const Paths& skipped) {
    if (!skipped.empty()) around.log.error("Skipped without a message: ", describe(skipped));
    if (!around.daemonIsPresent()) {
        around.log.error("No tsyncquenz daemon is there to hear the command");
        return failed(serviceNotRunning());
    }
    if (skipped.empty()) return {true, std::move(message)};
    return failed(
        {"Left out, not in a synced folder or with a name that cannot be sent: %@", {readable(skipped)}});
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

void FinderSyncCommands::perform(const std::string& action, const CommandRequest& request, const Done& done) {
    if (action == "copyPublicLink:")
        copyPublicLink(request, done);
    else if (action == "startSync:")
        done(startSync(request));
    else if (action == "stopSync:")
        done(stopSync(request));
    else if (action == "excludeSync:")
        done(excludeSync(request));
    else if (action == "includeSync:")
        done(includeSync(request));
    else if (action == "moveToSpace:")
        done(moveToSpace(request));
    else if (action == "copyToSpace:")
        done(copyToSpace(request));
    else if (action == "shareByEmail:")
        done(shareByEmail(request));
    else
        done({false, {"There is no action \"%@\".", {action}}});
}

// --- the actions

CommandOutcome FinderSyncCommands::startSync(const CommandRequest& request) {
    around.log.info("Select Start Sync param: ", request.sender);
    const std::optional<std::string> path = firstOf(pathsOf(request));
    const DestinationAnswer answer = chooseRemoteDestination(DestinationPurpose::sync, request);
    around.log.info("Space Dest Path: ", answer.path, ", selectedItemPath: ", path);
    if (!path) return nothingSelected();
    if (!answer.path) return unanswered(answer.problem);
    const bool isSent =
        send(daemon_client::syncStartCommand, {{"localPath", *path}, {"remotePath", *answer.path}});
    return sent({"Asked the sync service to sync %@ with %@.", {readable(*path), readable(*answer.path)}},
                isSent ? Paths() : Paths{*path});
}

CommandOutcome FinderSyncCommands::sendRemotePaths(const char* command, const Paths& paths,
                                                   const char* successText,
                                                   const std::function<void()>& beforeEach) {
    if (paths.empty()) return nothingSelected();
    Paths skipped;
    for (const std::string& path : paths) {
        const auto remotePath = around.finderSync.remotePathOfLocalSyncPath(path);
        beforeEach();
        if (!remotePath || !send(command, {{"remotePath", *remotePath}})) skipped.push_back(path);
    }
    return sent({successText, {readable(paths)}}, skipped);
}

CommandOutcome FinderSyncCommands::stopSync(const CommandRequest& request) {
    around.log.info("Select Stop Sync param: ", request.sender);
    const Paths paths = pathsOf(request);
    around.log.info("Selected Item Paths ", describe(paths));
    return sendRemotePaths(
        daemon_client::syncStopCommand, paths, "Asked the sync service to stop syncing %@.",
        [&, selection = describeBriefly(paths)] { around.log.info("Selected Item Paths ", selection); });
}

CommandOutcome FinderSyncCommands::excludeSync(const CommandRequest& request) {
    return sendRemotePaths(daemon_client::excludeSyncPathCommand, pathsOf(request),
                           "Asked the sync service to exclude %@.");
}

CommandOutcome FinderSyncCommands::includeSync(const CommandRequest& request) {
    return sendRemotePaths(daemon_client::includeSyncPathCommand, pathsOf(request),
                           "Asked the sync service to include %@.");
}

CommandOutcome FinderSyncCommands::sendToSpace(DestinationPurpose purpose, const char* command,
                                               const char* verb, const char* successText,
                                               const CommandRequest& request) {
    around.log.info("Select ", std::string_view(verb), " to Space param: ", request.sender);
    const Paths paths = pathsOf(request);
    const DestinationAnswer answer = chooseRemoteDestination(purpose, request);
    if (paths.empty()) return nothingSelected();
    if (!answer.path) return unanswered(answer.problem);
    Paths skipped;
    for (const std::string& path : paths) {
        around.log.info(std::string_view(verb), " file: ", path, " to Space Dest path: ", *answer.path);
        if (!send(command, {{"localPath", path}, {"remotePath", *answer.path}})) skipped.push_back(path);
    }
    return sent({successText, {readable(paths), readable(*answer.path)}}, skipped);
}

CommandOutcome FinderSyncCommands::moveToSpace(const CommandRequest& request) {
    return sendToSpace(DestinationPurpose::move, daemon_client::moveToSpaceCommand, "Move",
                       "Asked the sync service to move %@ to %@.", request);
}

CommandOutcome FinderSyncCommands::copyToSpace(const CommandRequest& request) {
    return sendToSpace(DestinationPurpose::copy, daemon_client::copyToSpaceCommand, "Copy",
                       "Asked the sync service to copy %@ to %@.", request);
}

CommandOutcome FinderSyncCommands::linkFailed(const DisplayText& reason) {
    around.log.info("Error in remote request.");
    return failed(reason);
}

void FinderSyncCommands::copyPublicLink(const CommandRequest& request, const Done& done) {
    const std::optional<std::string> path = firstOf(pathsOf(request));
    around.backgroundQueue.dispatch([this, path, done, display = request.display] {
        const bool isDirectory = path && isDirectoryItself(*path);
        const auto remotePath = around.finderSync.remotePathOfLocalSyncPath(path);
        std::optional<std::string> link;
        try {
            link = around.client.linkForSharingFile(remotePath, isDirectory);
        } catch (const platform::IPCError& error) {
            around.log.error("The daemon cannot be asked: ", std::string_view(error.what()));
        }
        if (!path) {
            around.log.info("Error in remote request.");
            done(nothingSelected());
        } else if (!remotePath) {
            done(linkFailed({"%@ is not in a synced folder.", {readable(*path)}}));
        } else if (!link) {
            done(linkFailed(
                around.daemonIsPresent()
                    ? DisplayText{"The sync service gave no public link for %@.", {readable(*path)}}
                    : serviceNotRunning()));
        } else if (writeToPasteBoard(*link, display)) {
            around.log.info("Public link ", *link, " copied");
            done({true, {"Copied the public link %@", {*link}}});
        } else {
            around.log.info("Public link is: ", *link);
            done(failed({"The public link could not be copied. It is %@", {*link}}));
        }
    });
}

CommandOutcome FinderSyncCommands::shareByEmail(const CommandRequest& request) {
    const std::optional<std::string> path = firstOf(pathsOf(request));
    if (!path) return nothingSelected();
    const auto remotePath = around.finderSync.remotePathOfLocalSyncPath(*path);
    if (!remotePath) return failed({"%@ is not in a synced folder.", {readable(*path)}});
    const bool isDirectory = isDirectoryItself(*path);
    const auto table = around.finderSync.allPathsInSync();
    const ShareAnswer answer =
        around.panels.shareByEmail(isDirectory, table ? *table : daemon_client::SyncPathTable(), request);
    if (answer.recipients.empty()) return unanswered(answer.problem);
    const bool isSent = answer.isShown
                            ? answer.isSent
                            : send(daemon_client::shareByEmailCommand,
                                   daemon_client::sharePayload(*remotePath, isDirectory, answer.recipients));
    return sent(
        {"Asked the sync service to share %@ with %@.", {readable(*path), readable(answer.recipients)}},
        isSent ? Paths() : Paths{*path});
}

} // namespace extension
