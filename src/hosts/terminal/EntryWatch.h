// Tells what appears in directories and what goes from them (inotify(7)). One thread.
#pragma once

#include <string>
#include <unordered_map>
#include <vector>

namespace hosts::terminal {

class EntryWatch {
  public:
    EntryWatch();
    ~EntryWatch();
    EntryWatch(const EntryWatch&) = delete;
    EntryWatch& operator=(const EntryWatch&) = delete;

    // Can be read when there is something to take; -1 where the system gives none: then nothing is ever
    // reported.
    int descriptor() const { return notifier; }

    // Watches the directory itself, not what is below it. One that cannot be watched is left out.
    void add(const std::string& directory);

    // The paths of the entries that have come or gone since the last call: each has to be looked at. Returns
    // at once. When too many have changed, `isLost` becomes true and any entry may have.
    std::vector<std::string> take(bool& isLost);

  private:
    int notifier;
    std::unordered_map<int, std::string> directories; // by the system's number
};

} // namespace hosts::terminal
