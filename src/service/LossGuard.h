// Holds back what would delete too much at once, until a person has said that it is meant: a disk that was
// emptied, a storage that was set back to last month, a program gone wild.
//
// Counted are files that are deleted on a side, and those that are replaced by a version older than the one
// that was agreed on, over 24 hours and over restarts. More than 20 that are more than a tenth of the pair,
// more than 1,000, or all that it has (when that is more than one): then no further one is lost on that
// side, and neither is done what needs its place. Everything else goes on. What a person has confirmed is
// done and counts no more; a file that was not on the list that he saw is not confirmed.
//
// What the pair keeps the content of under another name is no loss: another computer has moved it, and the
// storage could not tell.
//
// Nor is more than 1 GiB read from a storage that tells no digests, to find out whether what lay on both
// sides before the first sync is the same: a person may pay for it, or want to wait.
//
// Threads: one at a time.
#pragma once

#include "service/PairStore.h"
#include "service/plan.h"

#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace service {

struct WaitingLosses {
    struct File {
        Side side = Side::here;   // that loses it
        std::string path;         // its key
        bool isReplaced = false;  // by an older version
        std::uint64_t toRead = 0; // bytes: it is not lost, but has to be read to be compared; else 0
        friend bool operator==(const File&, const File&) = default;
    };
    std::string list; // stands for exactly these files
    std::vector<File> files;
};

class LossGuard {
  public:
    explicit LossGuard(PairStore& pairStore) : store(pairStore) {}

    // The operations that may be done now, in their order. `names` are those that were planned for.
    std::vector<Operation> allowed(std::vector<Operation> operations, const std::vector<Name>& names,
                                   std::chrono::sys_seconds now);
    // One of them is done.
    void done(const Operation& operation, std::chrono::sys_seconds now);

    // What the last plan had to leave; none when nothing.
    std::shared_ptr<const WaitingLosses> waiting() const { return held; }
    // That list is meant. Not when it is another one by now.
    bool confirm(const std::string& list, std::chrono::sys_seconds now);

  private:
    struct Loss {
        std::vector<WaitingLosses::File> files;
        bool isConfirmed = false;
    };
    static std::vector<WaitingLosses::File> filesOf(const Operation& operation,
                                                    const std::vector<Name>& names);
    void leaveOutWhatIsKept(Side side, const std::vector<Name>& names);
    PairStore::Losses unconfirmed(Side side) const;
    bool isTooMuch(Side side, const PairStore::Losses& planned, std::uint64_t agreedFiles) const;

    PairStore& store;
    std::shared_ptr<const WaitingLosses> held;
    std::map<std::pair<Side, std::string>, Loss> expected; // of the operations that were allowed
};

} // namespace service
