// Asking about the items of a known tree where they are known to be, before anything is walked.
//
// In most looks next to nothing differs. So several threads ask for the known items by their names: for all
// directories and, unless they alone are looked at, for what is in those that are as before. What is there
// and of the same kind they bring up to date in its node and record. Where anything else is found the walk
// that follows (quick_look.cpp) has to look, and only there.
//
// All but the first questions are asked by threads that are made for it, because they can go about: a working
// directory of its own is what a caller's thread cannot be given.
#pragma once

#include "snapshot/scan/Asking.h"
#include "snapshot/scan/DirectoryListing.h"
#include "snapshot/scan/KnownPlace.h"
#include "snapshot/scan/KnownQuestions.h"
#include "snapshot/scan/KnownTree.h"
#include "snapshot/scan/Pace.h"
#include "snapshot/scan/scan.h"

#include <mutex>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace snapshot {

class KnownItems {
  public:
    // About all that is below the root, or about directories alone. `top` is the root's absolute path without
    // a slash at its end. The evidence is that of the tree, and `known` learns where it may differ. All of
    // them outlive this object.
    KnownItems(DSEvidence& evidence, KnownTree& known, const Reading& reading, KnownQuestions questions,
               std::string_view top)
        : _evidence(evidence), _known(known), _asking(reading.asking), _top(top),
          _questions(std::move(questions)), _pace(reading.threads) {}

    // True when nothing may differ; of the root, it is known already.
    bool ask(bool rootIsAsBefore);

  private:
    using Run = KnownQuestions::Run;
    using Question = KnownQuestions::Question;

    enum class Worker { caller, helper };

    void work(unsigned thread, Worker worker);
    void startHelpers();
    void joinHelpers();
    size_t askRun(Run& run, KnownPlace& place, Asking::Thread* asking);
    void fetch(const Run& run, const Question& question) const;
    bool askItem(const KnownPlace& place, DSNode& node, size_t record) const;
    void refresh(DSNode& node, EvidenceRecord& record, const DirectoryListing::Status& status,
                 const EvidenceRecord& now) const;
    void conclude(const Run& run);

    DSEvidence& _evidence;
    KnownTree& _known;
    Asking* const _asking;
    const std::string_view _top;

    std::mutex _mutex; // guards what follows
    KnownQuestions _questions;
    Pace _pace;
    std::vector<std::thread> _helpers;
    bool _cannotStart = false; // no further helper is to be tried
    bool _allAsBefore = true;
};

} // namespace snapshot
