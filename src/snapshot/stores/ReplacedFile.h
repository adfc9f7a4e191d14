// A file that takes the place of another only when it is complete.
#pragma once

#include <cstdio>
#include <string>

namespace snapshot {

// Opens a new file in the folder of the target; close() renames it onto the target. Whoever opens the target
// sees the old content or the new one, never a part, whenever this process ends. A new file gets the default
// permissions; one that takes the place of another gets its permissions, owner, group and extended attributes
// (access lists are such).
//
// The target is opened and truncated itself, as fopen(…, "w") would, where it is not a regular file, is a
// symbolic link or has several hard links (a rename would part them), where the folder takes no new file, or
// where the owner or an attribute cannot be kept. Onto a mount point the complete new file is copied.
//
// Safe against a killed process, not against a power cut: nothing is forced to the disk.
class ReplacedFile {
  public:
    explicit ReplacedFile(const char* target);
    ~ReplacedFile(); // gives up what was not closed: the target stays as it was, unless written straight
    ReplacedFile(const ReplacedFile&) = delete;
    ReplacedFile& operator=(const ReplacedFile&) = delete;

    // Where to write; NULL when the file cannot be created, with the reason in errno at the end of the
    // constructor.
    FILE* file() const { return _file; }

    // Whether there was no room to write beside a target that is there; it was left alone.
    bool isFull() const { return _full; }

    // 0 when all was written and is in place, otherwise EOF.
    int close();

  private:
    void openBeside();
    void openStraight();

    std::string _target;
    std::string _beside; // empty while writing straight
    FILE* _file = nullptr;
    bool _full = false;
};

} // namespace snapshot
