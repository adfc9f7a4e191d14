// What the two halves of planning share: the names of a pair as a tree, each with the end of what lies below.
// Private to plan.cpp and plan_moves.cpp.
#pragma once

#include "service/plan.h"

#include <cstddef>

namespace service {

class NameTree {
  public:
    // Borrows the names, which are as `plan` wants them.
    explicit NameTree(const std::vector<Name>& names);

    std::size_t size() const { return names.size(); }
    const Name& operator[](std::size_t index) const { return names[index]; }
    const Seen& seen(std::size_t index, Side side) const {
        return names[index].seen[static_cast<std::size_t>(side)];
    }
    // Behind the last name at or below this one.
    std::size_t endOf(std::size_t index) const { return ends[index]; }
    // Nothing for a name at the top of the pair.
    std::optional<std::size_t> parentOf(std::size_t index) const;

    // At or below a name that is unknown on one side at least.
    bool isClouded(std::size_t index) const { return clouded[index]; }

    // Both are files, the agreed one is one too, and this side's is as it was.
    bool isAsAgreed(std::size_t index, Side side) const;

  private:
    const std::vector<Name>& names;
    std::vector<std::size_t> ends;
    std::vector<std::size_t> parents; // names.size() at the top
    std::vector<bool> clouded;
};

// The moves of one round, or what has to be learned to tell them; empty when nothing was moved.
std::vector<Operation> planMoves(const NameTree& tree);

} // namespace service
