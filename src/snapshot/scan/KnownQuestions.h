// What a look asks about a known tree, handed out in runs: about all its directories, or all its items, in
// pre-order, as their records lie in memory. A run is gathered when it is taken, so that nobody waits for
// those behind it, and what was gathered is still in the processor's caches when it is asked.
//
// One thread at a time takes. What it took is its own.
#pragma once

#include "snapshot/scan/KnownTree.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace snapshot {

class KnownQuestions {
  public:
    struct Directory {
        DSNode* node; // NULL until it has been asked about, and later where its path is too long
        size_t record;
        size_t end;              // behind the last record below it
        uint64_t position;       // among the children of the directory that it is in
        uint32_t above;          // position in the run of that directory; the root's own
        uint32_t pathLength = 0; // of the absolute path, once there is a node
        uint32_t below = 0;      // questions of the run about what is below it
        bool isAsBefore = true;  // as long as it has not been asked about, taken for so
        bool mayDiffer = false;  // and so it was noted
        bool isAbove(size_t other) const { return other >= record && other < end; } // or the same
    };
    struct Question {
        size_t record;
        uint64_t position;  // among the children of the directory that it is in
        uint32_t above;     // position in the run of that directory
        uint32_t directory; // its own, or 0 for one that is no directory
    };
    struct Run {
        // The root first, then those that lead to the first item; these have nodes. Then those asked about.
        std::vector<Directory> directories;
        std::vector<Question> questions;
        std::vector<size_t> differing; // records of what may differ, and of the directories that it is in

        // An item, and with it the directories that it is in.
        void mayDiffer(size_t record, size_t above);
        // Of a directory of the run; no node where the path is too long.
        void isAskedAbout(size_t directory, DSNode* node, size_t pathLength, bool isAsBefore);
    };

    // Both outlive this object. `topLength` is that of the root's absolute path.
    KnownQuestions(const DSEvidence& evidence, DSNode* root, size_t topLength, bool rootIsAsBefore,
                   bool structureOnly);

    // The next `count`, or as many as there are. False, and none, when there are no more.
    bool take(size_t count, Run& run);

    // At most so many questions are left.
    size_t left() const { return _records.size() - _next; }

    // A directory was found to be another than it was: later runs ask for no more items in it.
    void isNotAsBefore(const Directory& directory);

  private:
    struct Level {
        Directory directory;
        uint64_t next;   // position of its next child
        uint32_t inRun;  // its position in the run
        uint32_t before; // questions in the run that came before what is below it
    };

    void enter(Run& run);
    void addNext(Run& run);
    void leave(Run& run);

    const std::vector<EvidenceRecord>& _records;
    const bool _structureOnly;
    std::vector<Level> _levels; // the directories that the next record is in, the root first
    size_t _next = 1;           // record
};

} // namespace snapshot
