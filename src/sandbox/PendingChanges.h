// Which directories of this machine are to be looked at again, until somebody takes them: from events, and
// because a message asks for it.
//
// Below a path that is held, events wait: they are looked into when it is released. What is asked for is not
// an event and does not wait. A plain value; whoever shares it guards it. Paths are absolute, without links.
#pragma once

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace sandbox {

struct DirectoryToLookAt {
    bool recursive = false;
    // By a message, whose sender wants to see that something is done: every file is compared by more than
    // the snapshots, which tell times by the second.
    bool isAsked = false;
    std::set<std::string> names; // entries that an event named: likewise
};

class PendingChanges {
  public:
    using Directories = std::map<std::string, DirectoryToLookAt>;

    void noticed(const std::string& directory, const std::string& name);
    // The name is an entry that is asked for; empty: all of them.
    void asked(const std::string& directory, bool recursive, const std::string& name = {});

    // Each hold of a path ends with one release, however often it was held.
    void hold(const std::string& path);
    void release(const std::string& path);

    std::vector<std::string> paths() const;
    bool isEmpty() const { return directories.empty(); }
    Directories take() { return std::exchange(directories, {}); }

    // Whether something waits that concerns the path: at it, in it, or a directory above it with all below.
    bool concern(std::string_view path) const;

  private:
    Directories directories;
    std::map<std::string, bool, std::less<>> held; // path -> whether an event waits below it
};

} // namespace sandbox
