#include "extension/commands.h"

#include <algorithm>
#include <array>

namespace extension {
namespace {

using Class = SelectionClass;
using Actions = FinderSyncCommands;

constexpr Selections oneSynced{Class::syncRoot, Class::syncedFolder, Class::syncedFile};
constexpr Selections roots{Class::syncRoot, Class::syncRoots};
constexpr Selections unsynced{Class::unsyncedFolder, Class::unsyncedItems};

constexpr std::array commands{
    Command{"shareByEmail:", "Share by email", "TSFP-Share-By-Email", oneSynced, WaitsFor::recipients,
            &Actions::shareByEmail},
    Command{"stopSync:", "Stop sync", "TSFP-Stop-Sync", roots, WaitsFor::nothing, &Actions::stopSync},
    Command{"excludeSync:",
            "Exclude from sync",
            "TSFP-Exclude-Sync",
            {Class::syncedFolder},
            WaitsFor::nothing,
            &Actions::excludeSync},
    Command{"moveToSpace:", "Move to Space", "TSFP-MoveToSpace", unsynced, WaitsFor::destination,
            &Actions::moveToSpace},
    Command{"copyToSpace:", "Copy to Space", "TSFP-CopyToSpace", unsynced, WaitsFor::destination,
            &Actions::copyToSpace},
    Command{"startSync:",
            "Start sync",
            "TSFP-Start-Sync",
            {Class::unsyncedFolder},
            WaitsFor::destination,
            &Actions::startSync},
    Command{"includeSync:", "", "", {}, WaitsFor::nothing, &Actions::includeSync},
    Command{"copyPublicLink:", "", "", {}, WaitsFor::daemonServer, &Actions::copyPublicLink},
};

} // namespace

std::span<const Command> allCommands() { return commands; }

const Command* commandNamed(std::string_view name) {
    const auto* const command = std::find_if(commands.begin(), commands.end(), [name](const Command& each) {
        return !name.empty() && (name == each.title || name == each.keyEquivalent || name == each.action);
    });
    return command != commands.end() ? command : nullptr;
}

bool asksPerson(const Command& command, const CommandRequest& request) {
    return (command.waitsFor == WaitsFor::destination && !request.destination) ||
           (command.waitsFor == WaitsFor::recipients && request.recipients.empty());
}

} // namespace extension
