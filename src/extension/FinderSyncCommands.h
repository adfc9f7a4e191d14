// The actions behind the menu items: they ask the person where that is needed, translate local paths to
// remote ones through the extension's table, and post one command message an item.
//
// Each action works on the selection and the display of its own request and keeps no state. It runs on its
// caller's thread, never the model queue, and may take as long as a person does.
//
// What an action comes to is a text for the person: the caller gets it, and a failure that a person would
// otherwise miss is also shown by the desktop. Items that cannot be sent (their root was removed meanwhile, a
// name that is not UTF-8) are skipped, the others go on, and the person is told once.
#pragma once

#include "daemon_client/TSyncClient.h"
#include "extension/FinderSync.h"
#include "extension/Panels.h"
#include "platform/DistributedNotificationCenter.h"
#include "platform/FileSystem.h"
#include "platform/Pasteboard.h"
#include "platform/ProcessLog.h"
#include "platform/Queue.h"
#include "platform/UserNotifier.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace extension {

// What came of an action, as far as it is known: the daemon does not answer command messages.
struct CommandOutcome {
    bool succeeded = false;
    platform::DisplayText message; // UTF-8
};

// Whether the action has a panel to ask with, and the request brings no answer to it.
bool asksPerson(std::string_view action, const CommandRequest& request);

class FinderSyncCommands {
  public:
    // Everything outlives this object.
    struct Surroundings {
        FinderSync& finderSync;
        daemon_client::TSyncClient& client;
        platform::DistributedNotificationCenter& distributedCenter;
        platform::FileSystem& fileSystem;
        platform::ProcessLog& log;
        platform::Queue& backgroundQueue; // public links
        Panels& panels;
        platform::Pasteboard& pasteboard;
        platform::UserNotifier& notifier;
        std::function<bool()> daemonIsPresent; // whether there is a daemon to hear a command message
    };
    explicit FinderSyncCommands(const Surroundings& surroundings) : around(surroundings) {}

    using Done = std::function<void(const CommandOutcome&)>;

    // The action of that name ("stopSync:"). `done` is called once, of copyPublicLink: on another thread.
    void perform(const std::string& action, const CommandRequest& request, const Done& done);

    CommandOutcome startSync(const CommandRequest& request);
    CommandOutcome stopSync(const CommandRequest& request);
    CommandOutcome excludeSync(const CommandRequest& request);
    CommandOutcome includeSync(const CommandRequest& request);
    CommandOutcome moveToSpace(const CommandRequest& request);
    CommandOutcome copyToSpace(const CommandRequest& request);
    CommandOutcome shareByEmail(const CommandRequest& request);
    // Returns at once; the daemon is asked on the background queue.
    void copyPublicLink(const CommandRequest& request, const Done& done);

    // Posts one command message; whether it could be sent.
    bool send(const std::string& name, const platform::Dictionary& data);

  private:
    using Paths = std::vector<std::string>;

    DestinationAnswer chooseRemoteDestination(DestinationPurpose purpose, const CommandRequest& request);
    bool writeToPasteBoard(const std::string& text, const platform::Display& display);

    CommandOutcome sendRemotePaths(
        const char* command, const Paths& paths, const char* successText,
        const std::function<void()>& beforeEach = [] {});
    CommandOutcome sendToSpace(DestinationPurpose purpose, const char* command, const char* verb,
                               const char* successText, const CommandRequest& request);
    CommandOutcome linkFailed(const platform::DisplayText& reason); // and logs it
    CommandOutcome failed(platform::DisplayText message);           // and tells the person
    CommandOutcome unanswered(const std::optional<platform::DisplayText>& problem);
    // The outcome once the messages are out: all were sent but those skipped.
    CommandOutcome sent(platform::DisplayText message, const Paths& skipped);
    bool isDirectoryItself(const std::string& path);

    Surroundings around;
};

} // namespace extension
