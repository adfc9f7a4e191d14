// The actions behind the menu items: they ask the person where that is needed, translate local paths to
// remote ones through the extension's table, and post one command message an item.
//
// Each action works on the selection and the display of its own request and keeps no state. It runs on its
// caller's thread, never the model queue, and may take as long as a person does.
//
// What an action comes to is a text for the person: the caller gets it, and the desktop shows it too where
// the person would otherwise miss it: a failure, and a success that changes no badge at once. Items that
// cannot be sent (their root was removed meanwhile, a name that is not UTF-8) are skipped, the others go on,
// and the person is told once.
//
// Nothing is asked of a person, and nothing posted, when the daemon hangs; nothing is asked when it is not
// there. After the messages are out the daemon is asked what came of them (CommandConfirmation.h): an action
// that had no effect, by the daemon's answers, is a failure.
#pragma once

#include "daemon_client/TSyncClient.h"
#include "extension/CommandConfirmation.h"
#include "extension/FinderSync.h"
#include "extension/Panels.h"
#include "platform/DistributedNotificationCenter.h"
#include "platform/FileSystem.h"
#include "platform/Pasteboard.h"
#include "platform/Presence.h"
#include "platform/ProcessLog.h"
#include "platform/Queue.h"
#include "platform/UserNotifier.h"

#include <atomic>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace extension {

// What came of an action, as far as it is known.
struct CommandOutcome {
    bool succeeded = false;
    platform::DisplayText message; // UTF-8
};

struct Command;

class FinderSyncCommands {
  public:
    // Everything outlives this object.
    struct Surroundings {
        FinderSync& finderSync;
        daemon_client::TSyncClient& client;
        platform::DistributedNotificationCenter& distributedCenter;
        platform::FileSystem& fileSystem;
        platform::ProcessLog& log;
        platform::Clock& clock;
        platform::Queue& linkQueue; // public links, and nothing else: the daemon may take long
        Panels& panels;
        platform::Pasteboard& pasteboard;
        platform::UserNotifier& notifier;
        std::function<platform::Presence()> daemonPresence; // asks; may take a second when it hangs
    };
    explicit FinderSyncCommands(const Surroundings& surroundings) : around(surroundings) {}

    using Done = std::function<void(const CommandOutcome&)>;

    // Runs the command and calls `done` once. One that waits for the daemon's server is refused while many of
    // its kind are under way, and otherwise goes on on the link queue.
    void perform(const Command& command, const CommandRequest& request, const Done& done);

    CommandOutcome startSync(const CommandRequest& request);
    CommandOutcome stopSync(const CommandRequest& request);
    CommandOutcome excludeSync(const CommandRequest& request);
    CommandOutcome includeSync(const CommandRequest& request);
    CommandOutcome moveToSpace(const CommandRequest& request);
    CommandOutcome copyToSpace(const CommandRequest& request);
    CommandOutcome shareByEmail(const CommandRequest& request);
    CommandOutcome copyPublicLink(const CommandRequest& request);

    // Posts one command message; whether it could be sent.
    bool send(const std::string& name, const platform::Dictionary& data);

  private:
    using Paths = std::vector<std::string>;

    DestinationAnswer chooseRemoteDestination(DestinationPurpose purpose, const CommandRequest& request);
    bool writeToPasteBoard(const std::string& text, const platform::Display& display);

    // Items that no message could be sent for.
    struct Skipped {
        Paths withoutRemotePath;
        Paths withoutMessage; // the name cannot be sent
        bool isEmpty() const { return withoutRemotePath.empty() && withoutMessage.empty(); }
    };
    enum class Told { byBadges, byDesktop }; // how the person sees a success
    using Expect = std::function<void(CommandConfirmation& expected, const std::string& path,
                                      const std::string& remotePath)>;

    CommandConfirmation confirmation() { return {around.client, around.fileSystem, around.clock}; }
    // Why the action stops before anything is asked or posted.
    std::optional<CommandOutcome> refusal(bool needsPanel);
    // The refusal to give a synced folder, or a remote folder, another partner.
    std::optional<CommandOutcome> refusalOfPair(const std::string& path, const std::string* remotePath);
    CommandOutcome sendRemotePaths(
        const char* command, const Paths& paths, const Expect& expect, const char* successText, Told told,
        const std::function<void()>& beforeEach = [] {});
    CommandOutcome exclude(const char* command, bool isExcluded, const char* successText,
                           const CommandRequest& request);
    CommandOutcome sendToSpace(DestinationPurpose purpose, const char* command, const char* verb,
                               const char* successText, const CommandRequest& request);
    CommandOutcome linkFailed(const platform::DisplayText& reason); // and logs it
    CommandOutcome failed(platform::DisplayText message);           // and tells the person
    CommandOutcome succeeded(platform::DisplayText message, Told told);
    CommandOutcome unanswered(const std::optional<platform::DisplayText>& problem);
    // The outcome once the messages are out: all were sent but those skipped.
    CommandOutcome sent(platform::DisplayText message, Told told, const Skipped& skipped,
                        CommandConfirmation& expected);
    bool isDirectoryItself(const std::string& path);

    Surroundings around;
    std::atomic<unsigned> linksUnderWay = 0;
};

} // namespace extension
