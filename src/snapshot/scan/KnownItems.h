// Asking about the items of a known tree where they are known to be, before anything is walked.
//
// In most looks next to nothing differs. So several threads ask for the known items by their names, first for
// all directories, then for what is in those that are as before; what is there and of the same kind they
// bring up to date in its node and record. Where anything else is found the walk that follows
// (quick_look.cpp) has to look, and only there.
#pragma once

#include "snapshot/scan/Asking.h"
#include "snapshot/scan/DirectoryListing.h"
#include "snapshot/scan/KnownTree.h"
#include "snapshot/scan/Pace.h"
#include "snapshot/scan/scan.h"

#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace snapshot {

class KnownItems {
  public:
    // The evidence is that of the tree, and `known` learns where it may differ. Both outlive this object.
    KnownItems(DSEvidence& evidence, KnownTree& known, const Reading& reading)
        : _evidence(evidence), _known(known), _asking(reading.asking), _pace(reading.threads) {}

    // Asks for all that is below the root, or for directories alone. `top` is the root's absolute path
    // without a slash at its end. True when nothing may differ.
    bool ask(DSNode* root, std::string_view top, bool rootIsAsBefore, bool structureOnly);

  private:
    struct Directory {
        DSNode* node;
        size_t record;
        uint32_t above;      // position of the directory that it is in
        uint32_t pathLength; // of the absolute path
        uint32_t below;      // directories
        bool isAsBefore;
    };
    struct Item { // no directory
        uint32_t record;
        uint32_t above;
        uint32_t position; // among the children
    };
    class Place;
    using AskRange = std::function<void(size_t from, size_t to, Asking::Thread* asking)>;

    void gatherDirectories();
    void gatherItems();
    void askByThreads(size_t count, const AskRange& askRange);
    void work(unsigned thread, size_t count, const AskRange& askRange, std::vector<std::thread>* helpers);
    void startHelpers(size_t count, const AskRange& askRange, std::vector<std::thread>& helpers);
    void fetch(const void* node, size_t record) const;
    void askDirectories(size_t from, size_t to, Asking::Thread* asking);
    void askItems(size_t from, size_t to, Asking::Thread* asking);
    void refresh(DSNode& node, EvidenceRecord& record, const DirectoryListing::Status& status,
                 const EvidenceRecord& now) const;
    bool askItem(const Place& place, DSNode& node, EvidenceRecord& record) const;
    void mayDiffer(size_t record, size_t above);

    DSEvidence& _evidence;
    KnownTree& _known;
    Asking* const _asking;
    std::string_view _top;
    int _topDescriptor = -1;             // or AT_FDCWD, where the process has none left
    std::vector<Directory> _directories; // in pre-order, the root first
    std::vector<Item> _items;            // those in one directory follow each other
    bool _allAsBefore = true;

    std::mutex _mutex; // guards what follows
    Pace _pace;
    size_t _next = 0;           // the first that nobody asks for yet
    std::vector<Item> _differs; // gone, or of another kind
};

} // namespace snapshot
