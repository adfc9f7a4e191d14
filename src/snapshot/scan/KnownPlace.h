// Where one thread is that asks about a known tree: the path of an item, and a directory near it from which
// it asks, since most of a question's time goes to finding one name of its path after the other.
//
// That directory is the thread's working directory where it has one of its own. Else it is an open one, which
// costs more: a call to close it, and with each question a look into the table of descriptors.
#pragma once

#include "snapshot/scan/Asking.h"
#include "snapshot/scan/KnownQuestions.h"

#include <string_view>

namespace snapshot {

class KnownPlace {
  public:
    // At the root, whose absolute path has no slash at its end. With `ownDirectory` the thread's working
    // directory is changed.
    KnownPlace(std::string_view top, bool ownDirectory);
    ~KnownPlace();
    KnownPlace(const KnownPlace&) = delete;
    KnownPlace& operator=(const KnownPlace&) = delete;

    // Goes to a directory of the run, and writes of its path what it does not share with the one before.
    // From now on questions are asked from it, or from one above it, where so many are that it is worth
    // while.
    void goTo(const KnownQuestions::Run& run, size_t directory, Asking::Thread* asking);

    // Goes to an item of the directory. False where its path would be too long.
    bool set(const DSNode* node);

    std::string_view directory() const { return {_path, _directoryEnd}; }
    std::string_view absolute() const { return {_path, _end}; }
    int descriptor() const { return _descriptor; }
    const char* relative() const { return _path + _start; } // to the descriptor

  private:
    void askFrom(const KnownQuestions::Directory& directory, Asking::Thread* asking);
    void leave();

    const bool _ownDirectory;
    int _descriptor;      // AT_FDCWD, or of the directory from which it asks
    size_t _from = 0;     // record of that directory
    size_t _fromEnd = 0;  // behind the last record below it; 0: none, paths are absolute
    size_t _start = 0;    // in the path, of what is relative to it
    size_t _record = 0;   // of the directory that it went to
    size_t _directoryEnd; // in the path
    size_t _end;
    char _path[DSNodePathCapacity];
};

} // namespace snapshot
