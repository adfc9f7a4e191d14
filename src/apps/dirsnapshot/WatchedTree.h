// A tree that follows a directory, and tells each difference that it takes in.
#pragma once

#include "apps/dirsnapshot/trees.h"
#include "snapshot/DSDifferences.h"

#include <sys/stat.h>

#include <cstdint>
#include <functional>
#include <string>
#include <unordered_map>

namespace dirsnapshot_tool {

class WatchedTree {
  public:
    // A difference as DSNodeEnumerateDifferences tells it; the kernel's moves have the inode as their reason.
    using Tell = std::function<void(const DSDifference& difference)>;
    // Called with the absolute path of a directory that is new or was moved, before it is read.
    using Watch = std::function<void(const std::string& path)>;

    // `path`: the directory's absolute path.
    WatchedTree(std::string path, Tell tell, Watch watch)
        : _path(std::move(path)), _tell(std::move(tell)), _watch(std::move(watch)) {}

    // Takes in what is on the disk. What is there differs from `known`, which may be empty; the first time
    // that is told only if `isTold`. Here and below false, after a message, when the disk did not answer in
    // the time that looking.h says.
    bool begin(const LoadedTree& known, bool isTold);

    // Looks at one item, by its path from the directory ("/a/b"), and at all below it if it is new.
    void lookAt(const std::string& item);

    // An item was moved. Where the tree does not know it, that is one that appeared.
    void move(const std::string& from, const std::string& to);

    // Looks at everything: the events of some time are missing, or there are none. Of the directories whose
    // times are what they were at the last such look nothing is read, and moves are known by their inodes,
    // as long as nothing came between by the functions above.
    bool lookAtAll();

  private:
    DSNode* find(const std::string& item) const;
    void takeIn(const std::string& item, const struct stat& status);
    void appear(const std::string& item, const struct stat& status);
    void vanish(const std::string& item, DSNode* node);
    bool look();
    void compareWithDisk(const std::string& item, DSNode* node);
    bool isWrittenAgain(const std::string& item, const DSNode* node, const struct stat& status);

    const std::string _path;
    const Tell _tell;
    const Watch _watch;
    snapshot::Tree _tree;
    snapshot::Evidence _evidence; // of the tree, or none
    int64_t _begun = 0;           // of the last look at everything, in nanoseconds since 1970
    std::unordered_map<std::string, int64_t> _written; // files seen written since then: their last times
};

} // namespace dirsnapshot_tool
