// The commands: a row for each, from which menus, host requests and queues are made.
#pragma once

#include "extension/FinderSyncCommands.h"
#include "extension/selection_menu.h"

#include <initializer_list>
#include <span>
#include <string_view>

namespace extension {

// The selections whose menu offers a command.
class Selections {
  public:
    constexpr Selections(std::initializer_list<SelectionClass> classes) {
        for (const SelectionClass each : classes)
            bits |= bitOf(each);
    }
    constexpr bool contain(SelectionClass selectionClass) const {
        return (bits & bitOf(selectionClass)) != 0;
    }

  private:
    static constexpr unsigned bitOf(SelectionClass selectionClass) {
        return 1U << static_cast<unsigned>(selectionClass);
    }
    unsigned bits = 0;
};

// What an action may have to wait for, longer than for the disk and the bus.
enum class WaitsFor {
    nothing,
    destination,  // a person, who chooses a remote folder; unless the request brings one
    recipients,   // a person, who chooses whom to share with; unless the request brings them
    daemonServer, // the server behind the daemon
};

struct Command {
    std::string_view action;        // the name by which it travels
    std::string_view title;         // of its menu item; empty: it has none
    std::string_view keyEquivalent; // an identifier of the item, not a key; empty: it has none
    Selections offeredFor;
    WaitsFor waitsFor = WaitsFor::nothing;
    CommandOutcome (FinderSyncCommands::*run)(const CommandRequest& request) = nullptr;
};

// In the order in which they stand in a menu.
std::span<const Command> allCommands();

// The command of that title, key equivalent or action name ("Stop sync", "TSFP-Stop-Sync", "stopSync:"); null
// when there is none.
const Command* commandNamed(std::string_view name);

// Whether a person has to be asked: the command has a panel to ask with, and the request brings no answer.
bool asksPerson(const Command& command, const CommandRequest& request);

} // namespace extension
