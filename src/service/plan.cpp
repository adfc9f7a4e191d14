#include "service/plan.h"

#include "service/plan_parts.h"

#include <algorithm>
#include <iterator>

namespace service {
namespace {

using Operations = std::vector<Operation>;

// What is left at and below a name when the operations are done.
struct Rest {
    bool content = false; // a file or folder that one side at least keeps
    bool unknown = false;
    Rest& operator|=(Rest other) {
        content |= other.content;
        unknown |= other.unknown;
        return *this;
    }
    friend Rest operator|(Rest one, Rest other) { return one |= other; }
};
constexpr Rest nothing{};
constexpr Rest something{.content = true};
constexpr Rest heldBack{.unknown = true};

class Planner {
  public:
    explicit Planner(const NameTree& names) : tree(names) {}

    Operations operations() {
        Operations all;
        for (std::size_t index = 0; index < tree.size(); index = tree.endOf(index))
            visit(index, all);
        return all;
    }

  private:
    Rest visit(std::size_t index, Operations& out) {
        const Shape here = tree.seen(index, Side::here).shape;
        const Shape there = tree.seen(index, Side::there).shape;
        if (here == Shape::unknown || there == Shape::unknown) return hold(index, out);
        if (here == Shape::absent && there == Shape::absent) return visitGone(index, out);
        if (there == Shape::absent) return visitOneSided(index, Side::here, out);
        if (here == Shape::absent) return visitOneSided(index, Side::there, out);
        if (here != there) return visitTwoKinds(index, here == Shape::file ? Side::here : Side::there, out);
        if (here == Shape::file) return visitFiles(index, out);
        return visitFolders(index, out);
    }

    Rest visitBelow(std::size_t index, Operations& out) {
        Rest rest;
        for (std::size_t below = index + 1; below < tree.endOf(index); below = tree.endOf(below))
            rest |= visit(below, out);
        return rest;
    }

    Rest visitGone(std::size_t index, Operations& out) {
        if (tree[index].agreed) add(out, What::forget, Side::here, index);
        return visitBelow(index, out);
    }

    Rest visitFiles(std::size_t index, Operations& out) {
        if (respells(index, out)) return something;
        const bool hereAsAgreed = tree.isAsAgreed(index, Side::here);
        const bool thereAsAgreed = tree.isAsAgreed(index, Side::there);
        if (hereAsAgreed && thereAsAgreed) return something;
        if (thereAsAgreed) return put(out, Side::there, index, true);
        if (hereAsAgreed) return put(out, Side::here, index, true);
        const Seen& here = tree.seen(index, Side::here);
        const Seen& there = tree.seen(index, Side::there);
        const bool sizesDiffer = here.size && there.size && *here.size != *there.size;
        if (!sizesDiffer && !(here.digest && there.digest)) {
            if (!here.digest) add(out, What::learn, Side::here, index);
            if (!there.digest) add(out, What::learn, Side::there, index);
        } else if (!sizesDiffer && *here.digest == *there.digest) {
            add(out, What::agree, Side::here, index);
        } else {
            add(out, What::aside, Side::here, index);
            put(out, Side::here, index, false);
        }
        return something;
    }

    Rest visitFolders(std::size_t index, Operations& out) {
        const bool agreed = tree[index].agreed && tree[index].agreed->shape == Shape::folder;
        if (agreed && respells(index, out)) return something; // what is below looks the same the next time
        if (!agreed) add(out, What::agree, Side::here, index);
        return something | visitBelow(index, out);
    }

    // One side has an item, the other nothing.
    Rest visitOneSided(std::size_t index, Side present, Operations& out) {
        const Side missing = otherOf(present);
        if (tree.seen(index, present).shape == Shape::file) {
            if (!tree.isAsAgreed(index, present)) return put(out, missing, index, false);
            add(out, What::trash, present, index);
            return nothing;
        }
        Operations below;
        Rest rest = visitBelow(index, below);
        if (!tree[index].agreed || tree[index].agreed->shape == Shape::file) {
            rest.content = true; // a new folder is something itself
        } else if (!rest.content && !rest.unknown) {
            add(out, What::trash, present, index); // in one piece
            return nothing;
        } else if (!rest.content) {
            append(out, below);
            add(out, What::hold, present, index);
            return rest;
        }
        add(out, What::makeFolder, missing, index);
        append(out, below);
        return rest;
    }

    // A file on one side, a folder on the other.
    Rest visitTwoKinds(std::size_t index, Side fileSide, Operations& out) {
        const Side folderSide = otherOf(fileSide);
        const auto& agreed = tree[index].agreed;
        Operations below;
        Rest rest = visitBelow(index, below);
        if (tree.isAsAgreed(index, fileSide)) { // a folder took the place of the agreed file
            add(out, What::trash, fileSide, index);
            add(out, What::makeFolder, fileSide, index);
            append(out, below);
            return something | rest;
        }
        const bool folderWasAgreed = agreed && agreed->shape == Shape::folder;
        if (folderWasAgreed && !rest.content && !rest.unknown) { // a file took the place of the agreed folder
            add(out, What::trash, folderSide, index);
            return put(out, fileSide == Side::here ? Side::there : Side::here, index, false);
        }
        if (rest.unknown && (folderSide == Side::here || !rest.content)) return hold(index, out);
        // Both are somebody's: the storage's keeps the name.
        if (fileSide == Side::here) {
            add(out, What::aside, Side::here, index);
            add(out, What::makeFolder, Side::here, index);
            append(out, below);
        } else {
            std::copy_if(below.begin(), below.end(), std::back_inserter(out), [](const Operation& operation) {
                return operation.what == What::trash && operation.side == Side::here;
            });
            add(out, What::aside, Side::here, index);
            put(out, Side::here, index, false);
        }
        return something | rest;
    }

    // Whether one side writes an agreed item's name differently than it did. The storage's spelling wins.
    bool respells(std::size_t index, Operations& out) {
        const Name& name = tree[index];
        if (!name.agreed || name.agreed->shape != tree.seen(index, Side::here).shape) return false;
        const auto changed = [&](Side side) {
            return tree.seen(index, side).spelling != name.agreed->spelling[static_cast<std::size_t>(side)];
        };
        if (!changed(Side::here) && !changed(Side::there)) return false;
        add(out, What::respell, changed(Side::there) ? Side::here : Side::there, index);
        return true;
    }

    Rest hold(std::size_t index, Operations& out) {
        const bool unknownHere = tree.seen(index, Side::here).shape == Shape::unknown;
        add(out, What::hold, unknownHere ? Side::here : Side::there, index);
        return heldBack;
    }

    Rest put(Operations& out, Side side, std::size_t index, bool replaces) {
        out.push_back({What::put, side, tree[index].path, {}, replaces});
        return something;
    }

    void add(Operations& out, What what, Side side, std::size_t index) {
        out.push_back({what, side, tree[index].path, {}, false});
    }

    static void append(Operations& out, Operations& more) {
        std::move(more.begin(), more.end(), std::back_inserter(out));
    }

    const NameTree& tree;
};

} // namespace

NameTree::NameTree(const std::vector<Name>& all)
    : names(all), ends(all.size()), parents(all.size()), clouded(all.size()) {
    std::vector<std::size_t> open; // the folders above the name in hand
    const auto closeUntil = [&](std::string_view path, std::size_t index) {
        while (!open.empty() && !isAtOrBelow(path, names[open.back()].path)) {
            ends[open.back()] = index;
            open.pop_back();
        }
    };
    for (std::size_t index = 0; index < names.size(); ++index) {
        closeUntil(names[index].path, index);
        parents[index] = open.empty() ? names.size() : open.back();
        open.push_back(index);
        clouded[index] = seen(index, Side::here).shape == Shape::unknown ||
                         seen(index, Side::there).shape == Shape::unknown ||
                         (parents[index] != names.size() && clouded[parents[index]]);
    }
    for (const std::size_t index : open)
        ends[index] = names.size();
}

std::optional<std::size_t> NameTree::parentOf(std::size_t index) const {
    if (parents[index] == names.size()) return std::nullopt;
    return parents[index];
}

bool NameTree::isAsAgreed(std::size_t index, Side side) const {
    const auto& agreed = names[index].agreed;
    const Seen& now = seen(index, side);
    return agreed && agreed->shape == Shape::file && now.shape == Shape::file && !now.differs;
}

std::vector<Operation> plan(const std::vector<Name>& names) {
    const NameTree tree(names);
    Operations moves = planMoves(tree);
    return moves.empty() ? Planner(tree).operations() : moves;
}

bool pathBefore(std::string_view one, std::string_view other) {
    return std::lexicographical_compare(
        one.begin(), one.end(), other.begin(), other.end(), [](char left, char right) {
            // The separator comes before every other byte, which is what makes it go by components.
            const auto rank = [](char byte) {
                return byte == '/' ? 0 : 1 + static_cast<int>(static_cast<unsigned char>(byte));
            };
            return rank(left) < rank(right);
        });
}

} // namespace service
