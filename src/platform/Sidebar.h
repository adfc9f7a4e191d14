// The product's entry in the sidebar of file managers.
#pragma once

#include "platform/DisplayText.h"

#include <optional>
#include <string>
#include <vector>

namespace platform {

struct SidebarEntry {
    enum class State { inStep, busy, trouble };
    State state = State::inStep;
    DisplayText details;            // the state in words
    std::vector<std::string> roots; // absolute paths of the synced folders, at least one: what it opens
    bool isPaused = false;          // whether it offers to go on, or to pause
    friend bool operator==(const SidebarEntry&, const SidebarEntry&) = default;
};

class Sidebar {
  public:
    virtual ~Sidebar() = default;

    // None: no entry. Returns at once; any thread.
    virtual void show(std::optional<SidebarEntry> entry) = 0;
};

} // namespace platform
