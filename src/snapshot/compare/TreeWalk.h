// The walk over two trees at once that comparisons share.
#pragma once

#include "snapshot/tree/list_private.h"
#include "snapshot/tree/lookup.h"
#include "snapshot/tree/name_order.h"
#include "snapshot/tree/path_utils.h"

#include <cstring>
#include <string_view>
#include <vector>

namespace snapshot {

// A comparison has two passes: forward over the current tree, backward over the previous one. They may run
// side by side: where the children of two counterparts are in one strict order, which is what scans and
// digest computations leave, a single merge of the two lists serves both passes and meets the children of
// either side in their list order. Where they are not, the passes go over that sub-tree one after the other
// and look counterparts up by name. So each pass meets its tree in pre-order.
//
// Visitor: `judge(a, b, forward, backward)` gets counterparts, of which one may be NULL, and what the passes
// are that meet them; a result that is true as a bool is reported. `report(what, path, a, b)` gets that
// result; false ends the walk.
template <typename Visitor>
class TreeWalk {
  public:
    explicit TreeWalk(Visitor& visitor) : _visitor(visitor) {}

    // False when the visitor ended it.
    bool run(const DSNode* current, const DSNode* previous, bool forward, bool backward) {
        enter(current, previous, 0, forward, backward);
        while (!_levels.empty()) {
            Level& level = _levels.back();
            const DSNode* a = level.forward ? childOf(level.current, level.nextCurrent) : nullptr;
            const DSNode* b = level.backward ? childOf(level.previous, level.nextPrevious) : nullptr;
            if (a == nullptr && b == nullptr) {
                _levels.pop_back();
                continue;
            }
            if (level.order == 0) {
                lookUp(level, a, b);
            } else {
                merge(level, a, b);
            }
            if (!visit(Level(level), a, b)) return false;
        }
        return true;
    }

  private:
    // Two counterparts whose children are compared; either may be NULL.
    struct Level {
        const DSNode* current;
        const DSNode* previous;
        uint64_t nextCurrent; // positions of the children to come
        uint64_t nextPrevious;
        size_t pathEnd; // of the pair's path in _path; 0 for the roots
        uint32_t order; // flag of the order that both lists are in; 0 when there is none
        bool forward;   // wanted here
        bool backward;
    };

    static uint64_t countOf(const DSNode* node) { return node != nullptr ? node->children->count : 0; }

    static const DSNode* childOf(const DSNode* node, uint64_t position) {
        return position < countOf(node) ? childAt(node, position) : nullptr;
    }

    static uint32_t orderOf(const DSNode* node) {
        constexpr uint32_t both = kListAscending | kListAscendingSigned;
        return node == nullptr || node->children->count == 0 ? both : node->children->_flags & both;
    }

    void enter(const DSNode* current, const DSNode* previous, size_t pathEnd, bool forward, bool backward) {
        forward = forward && countOf(current) > 0;
        backward = backward && countOf(previous) > 0;
        uint32_t order = orderOf(current) & orderOf(previous);
        if ((order & kListAscending) != 0) order = kListAscending; // one order will do
        if (order != 0) {
            if (forward || backward)
                _levels.push_back({current, previous, 0, 0, pathEnd, order, forward, backward});
        } else {
            if (backward) _levels.push_back({current, previous, 0, 0, pathEnd, 0, false, true});
            if (forward) _levels.push_back({current, previous, 0, 0, pathEnd, 0, true, false});
        }
    }

    // Makes `a` and `b` the next counterparts, or leaves the one that has none, and steps over them.
    static void merge(Level& level, const DSNode*& a, const DSNode*& b) {
        // A side whose own children are not wanted still holds counterparts.
        if (!level.forward) a = childOf(level.current, level.nextCurrent);
        if (!level.backward) b = childOf(level.previous, level.nextPrevious);
        if (a != nullptr && b != nullptr && nameOf(a) != nameOf(b)) {
            if ((orderOfNames(nameOf(a), nameOf(b)) & level.order) != 0)
                b = nullptr;
            else
                a = nullptr;
        }
        if (a != nullptr) level.nextCurrent++;
        if (b != nullptr) level.nextPrevious++;
    }

    // The same without an order: one side is walked at a time, and the other looked up.
    static void lookUp(Level& level, const DSNode*& a, const DSNode*& b) {
        if (a != nullptr) {
            level.nextCurrent++;
            b = level.previous != nullptr ? findChild(level.previous, nameOf(a)) : nullptr;
        } else {
            level.nextPrevious++;
            a = level.current != nullptr ? findChild(level.current, nameOf(b)) : nullptr;
        }
    }

    // Reports a pair of counterparts, or an item without one, and goes below it.
    bool visit(const Level& level, const DSNode* a, const DSNode* b) {
        const auto what = _visitor.judge(a, b, level.forward, level.backward);
        bool forward = level.forward && a != nullptr && a->type == DSNodeTypeDirectory && countOf(a) > 0;
        bool backward = level.backward && b != nullptr && b->type == DSNodeTypeDirectory && countOf(b) > 0;
        if (!what && !forward && !backward) return true;

        std::string_view name = nameOf(a != nullptr ? a : b);
        size_t end = level.pathEnd + 1 + name.size();
        if (end >= DSNodePathCapacity) {
            reportPathTooLong(name);
            return true;
        }
        _path[level.pathEnd] = '/';
        memcpy(_path + level.pathEnd + 1, name.data(), name.size());
        _path[end] = '\0';
        if (what && !_visitor.report(what, std::string_view(_path, end), a, b)) return false;
        enter(a, b, end, forward, backward);
        return true;
    }

    Visitor& _visitor;
    std::vector<Level> _levels;
    char _path[DSNodePathCapacity];
};

} // namespace snapshot
