// `tsyncfinder badges --watch`: prints each badge that changes, and what is new in the trees and what is
// gone.
#pragma once

#include "hosts/terminal/EntryWatch.h"
#include "hosts/terminal/Extension.h"
#include "hosts/terminal/badge_tree.h"

#include <map>
#include <set>
#include <string>
#include <vector>

namespace apps::tsyncfinder::terminal {

// Asks for the badges of paths, in batches that fit a message. One badge for each, in order.
std::vector<std::string> badgesOf(hosts::terminal::Extension& extension,
                                  const std::vector<std::string>& paths);

// How the badges look: the labels of the running extension, the signs that this program knows.
hosts::terminal::BadgeLooks looksOf(hosts::terminal::Extension& extension);

class BadgeWatch {
  public:
    // The trees as they were printed, each read to that depth. With JSON each line is an object.
    BadgeWatch(hosts::terminal::Extension& finder, const std::vector<hosts::terminal::TreeNode>& trees,
               unsigned depth, bool isJson);

    // Until the extension leaves, which is raised as ExtensionError, or the program is ended.
    void run();

  private:
    struct Item {
        std::string badge;
        unsigned depth = 0; // levels below it that belong to the tree
    };

    void observeFolder(const std::string& path);
    void add(const hosts::terminal::TreeNode& node, unsigned depth);
    void begin();
    void badgesChanged(const std::vector<hosts::terminal::ChangedDirectory>& changes);
    void entriesChanged();
    void lookAgain(const std::string& path);
    void lookEverywhere();
    void appear(const std::string& path, unsigned depth);
    void disappear(const std::string& path);
    void ask(const std::vector<std::string>& paths, bool areNew);
    void print(const std::string& path, const std::string& badge, const char* news);

    hosts::terminal::Extension& extension;
    const hosts::terminal::DrawingStyle style = hosts::terminal::DrawingStyle::ofStandardOutput();
    const bool printsJson;
    const hosts::terminal::BadgeLooks looks;
    std::map<std::string, Item> items;  // by path
    std::set<std::string> observed;     // folders
    std::vector<std::string> toObserve; // before the watch has begun
    bool isWatching = false;
    hosts::terminal::EntryWatch entries; // of the folders observed
};

} // namespace apps::tsyncfinder::terminal
