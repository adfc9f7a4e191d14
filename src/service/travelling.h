// What the two sources of PairSync that bring many items at once share. Private to them.
#pragma once

#include "service/PairSync.h"

#include <string>

namespace service {

// One item of a batch: what is known of it grows with the steps.
struct PairSync::Travelling {
    const Operation* operation;
    std::string privateName; // going up: in the private folder there; coming down: its path here until then
    bool isTop = false;      // takes its name by a move of its own, with all that is in it
    bool isGood = true;
    bool isAgreed = false; // singly, before the rest
    AgreedItem item{};

    const std::string& key() const { return operation->path; }
    bool isFolder() const { return operation->what == What::makeFolder; }
};

} // namespace service
