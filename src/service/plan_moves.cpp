// What was moved: an agreed item that one side has under another name now. A round of moves is chosen so that
// none depends on another but through a name that it leaves free; the rest waits for the next round, which
// sees the agreed records at their new names.
#include "service/plan_parts.h"

#include <algorithm>
#include <limits>
#include <map>
#include <unordered_map>
#include <unordered_set>

namespace service {
namespace {

constexpr std::size_t none = std::numeric_limits<std::size_t>::max();

// Of the items that one side moved, by the index of the old name and of the new one.
class Moved {
  public:
    void add(std::size_t from, std::size_t to) {
        newNames.emplace(from, to);
        oldNames.emplace(to, from);
    }
    // Takes a move away, and with it those that need the name that it would have left or taken.
    void remove(std::size_t from) {
        std::vector<std::size_t> gone{from};
        while (!gone.empty()) {
            const auto found = newNames.find(gone.back());
            gone.pop_back();
            if (found == newNames.end()) continue;
            const auto [old, now] = *found;
            newNames.erase(found);
            oldNames.erase(now);
            if (newNames.contains(now)) gone.push_back(now); // its old name is occupied by a stranger now
            if (const auto into = oldNames.find(old); into != oldNames.end()) gone.push_back(into->second);
        }
    }
    std::size_t newNameOf(std::size_t from) const { return find(newNames, from); }
    std::size_t oldNameOf(std::size_t to) const { return find(oldNames, to); }
    const std::map<std::size_t, std::size_t>& all() const { return newNames; }
    bool isEmpty() const { return newNames.empty(); }

  private:
    template <typename Map>
    static std::size_t find(const Map& map, std::size_t key) {
        const auto found = map.find(key);
        return found == map.end() ? none : found->second;
    }
    std::map<std::size_t, std::size_t> newNames; // in the order of the names: plans are the same each time
    std::map<std::size_t, std::size_t> oldNames;
};

struct DigestHash {
    std::size_t operator()(const Digest& digest) const {
        std::size_t hash = 0;
        for (std::size_t byte = 0; byte < sizeof hash; ++byte)
            hash = hash << 8 | digest[byte];
        return hash;
    }
};

class MoveFinder {
  public:
    explicit MoveFinder(const NameTree& names) : tree(names) {}

    std::vector<Operation> operations() {
        Moved here = movedOn(Side::here);
        Moved there = movedOn(Side::there);
        carryWhatBothMoved(here, there);
        if (out.empty()) moveOn(Side::here, there); // the storage's first: its names win
        if (out.empty()) moveOn(Side::there, here);
        return out.empty() ? std::move(lessons) : std::move(out);
    }

  private:
    const Seen& seen(std::size_t index, Side side) const { return tree.seen(index, side); }

    // A name that this side's person has something new under: what may have come from elsewhere.
    bool isNewcomer(std::size_t index, Side side) const {
        if (tree.isClouded(index)) return false;
        const Seen& now = seen(index, side);
        if (now.shape != Shape::file && now.shape != Shape::folder) return false;
        const auto& agreed = tree[index].agreed;
        if (!agreed) return true;
        const auto& identity = agreed->identity[static_cast<std::size_t>(side)];
        return identity && now.identity && *identity != *now.identity;
    }

    Moved movedOn(Side side) {
        const auto which = static_cast<std::size_t>(side);
        std::map<Identity, std::size_t> byIdentity;
        std::unordered_map<Digest, std::size_t, DigestHash> byDigest; // the first by name whose name is free
        for (std::size_t index = 0; index < tree.size(); ++index) {
            const auto& agreed = tree[index].agreed;
            if (!agreed || tree.isClouded(index)) continue;
            if (agreed->identity[which]) byIdentity.emplace(*agreed->identity[which], index);
            if (agreed->shape == Shape::file && !agreed->empty && seen(index, side).shape == Shape::absent)
                byDigest.emplace(agreed->digest, index);
        }
        Moved moved;
        for (std::size_t to = 0; to < tree.size(); ++to) {
            if (!isNewcomer(to, side)) continue;
            const Seen& now = seen(to, side);
            std::size_t from = none;
            if (now.identity) {
                const auto found = byIdentity.find(*now.identity);
                if (found != byIdentity.end()) from = found->second;
            }
            if (from == none && now.shape == Shape::file && now.digest) {
                const auto found = byDigest.find(*now.digest);
                if (found != byDigest.end()) from = found->second;
            }
            if (from == none || from == to || moved.newNameOf(from) != none) continue;
            if (tree[from].agreed->shape != now.shape || !isSameContent(from, to, side)) continue;
            moved.add(from, to);
        }
        keepThoseWithFreeNames(moved, side);
        return moved;
    }

    // Whether the file at `to` has the content that was agreed on at `from`. What has to be known for that
    // and is not becomes a lesson.
    bool isSameContent(std::size_t from, std::size_t to, Side side) {
        const Agreed& agreed = *tree[from].agreed;
        const Seen& now = seen(to, side);
        if (agreed.shape == Shape::folder) return true;
        if (now.digest) return *now.digest == agreed.digest;
        // The storage's own identity and record say it well enough; here they can be another content's.
        if (side == Side::there && isSameRecord(from, to)) return true;
        lessons.push_back({What::learn, side, tree[to].path, {}, false});
        return false;
    }
    bool isSameRecord(std::size_t from, std::size_t to) const {
        const std::uint64_t record = tree[from].agreed->record[static_cast<std::size_t>(Side::there)];
        return record != 0 && record == seen(to, Side::there).record;
    }

    // An old name that is occupied again by anything but another moved item is not a source of a move (a
    // program that saves by way of a copy), and a name that was known is not a target unless its item moved
    // too.
    void keepThoseWithFreeNames(Moved& moved, Side side) {
        std::vector<std::size_t> gone;
        for (const auto& [from, to] : moved.all()) {
            const bool left = seen(from, side).shape == Shape::absent || moved.oldNameOf(from) != none;
            const bool free = !tree[to].agreed || moved.newNameOf(to) != none;
            if (!left || !free) gone.push_back(from);
        }
        for (const std::size_t from : gone)
            moved.remove(from);
    }

    // What both sides moved takes the name that it has here: to the same name, and all is said; else the
    // storage has moved it on from there, and its name wins in the next round.
    void carryWhatBothMoved(Moved& here, Moved& there) {
        for (const auto& [from, to] : here.all()) {
            if (tree[to].agreed || isBelowAMove(from, to, here) || !canBeBelow(to)) continue;
            const std::size_t other = there.newNameOf(from);
            const bool alike = other == none && seen(from, Side::there).shape == Shape::absent &&
                               seen(to, Side::there).shape == Shape::file &&
                               tree[from].agreed->shape == Shape::file && isSameRecord(from, to);
            if (other == none && !alike) continue;
            out.push_back({What::carry, Side::here, tree[from].path, tree[to].path, false});
        }
    }

    // Whether agreed records can lie at a name: those above it are folders on both sides, or become ones.
    bool canBeBelow(std::size_t to) const {
        for (auto above = tree.parentOf(to); above; above = tree.parentOf(*above)) {
            const auto& agreed = tree[*above].agreed;
            if (agreed && agreed->shape != Shape::folder) return false;
            if (seen(*above, Side::there).shape == Shape::file) return false;
        }
        return true;
    }

    // The moves that one side's person made are done on the other side.
    void moveOn(Side side, Moved& moved) {
        std::vector<std::size_t> gone;
        for (const auto& [from, to] : moved.all())
            if (!canMove(from, to, side, moved)) gone.push_back(from);
        for (const std::size_t from : gone)
            moved.remove(from);
        gone.clear();
        for (const auto& [from, to] : moved.all())
            if (isBelowAMove(from, to, moved)) gone.push_back(from);
        for (const std::size_t from : gone)
            moved.remove(from);

        makeFoldersAbove(moved, side);
        std::unordered_set<std::size_t> done;
        std::size_t rings = 0;
        for (const auto& [first, ignored] : moved.all()) {
            if (done.contains(first)) continue;
            std::vector<std::size_t> chain; // each goes where the next one is now
            std::size_t from = first;
            while (moved.newNameOf(from) != none && done.insert(from).second) {
                chain.push_back(from);
                from = moved.newNameOf(from);
            }
            const bool isRing = from == first;
            const std::string parked = isRing ? newPrivateName(rings) : std::string();
            if (isRing) move(side, tree[chain.back()].path, parked);
            for (auto member = chain.rbegin() + (isRing ? 1 : 0); member != chain.rend(); ++member)
                move(side, tree[*member].path, tree[moved.newNameOf(*member)].path);
            if (isRing) move(side, parked, tree[first].path);
        }
    }

    // One where nothing waits that an earlier ring left.
    std::string newPrivateName(std::size_t& number) const {
        std::string name = privateName(number++);
        while (isName(name))
            name = privateName(number++);
        return name;
    }
    bool isName(const std::string& path) const {
        std::size_t first = 0;
        for (std::size_t count = tree.size(); count > 0;) {
            const std::size_t half = count / 2;
            const bool isBefore = pathBefore(tree[first + half].path, path);
            if (isBefore) first += half + 1;
            count = isBefore ? count - half - 1 : half;
        }
        return first < tree.size() && tree[first].path == path;
    }

    bool canMove(std::size_t from, std::size_t to, Side side, const Moved& moved) const {
        const Shape shape = tree[from].agreed->shape;
        if (seen(from, side).shape != shape) return false;
        if (shape == Shape::folder && !isAllAgreed(from, side)) return false;
        if (seen(to, side).shape != Shape::absent && moved.newNameOf(to) == none) return false;
        for (auto above = tree.parentOf(to); above; above = tree.parentOf(*above)) {
            const Shape there = seen(*above, side).shape;
            if (there != Shape::folder && there != Shape::absent) return false;
            if (seen(*above, otherOf(side)).shape != Shape::folder) return false;
        }
        return true;
    }

    // Whether a folder holds nothing but agreed items as they were: then it can be moved in one piece.
    bool isAllAgreed(std::size_t folder, Side side) const {
        for (std::size_t index = folder; index < tree.endOf(folder); ++index) {
            const Shape shape = seen(index, side).shape;
            if (shape == Shape::absent) continue;
            const auto& agreed = tree[index].agreed;
            if (!agreed || agreed->shape != shape) return false;
            if (shape == Shape::file && !tree.isAsAgreed(index, side)) return false;
        }
        return true;
    }

    // Whether a name lies below one that another move leaves or takes.
    bool isBelowAMove(std::size_t from, std::size_t to, const Moved& moved) const {
        for (const std::size_t name : {from, to})
            for (auto above = tree.parentOf(name); above; above = tree.parentOf(*above))
                if (moved.newNameOf(*above) != none || moved.oldNameOf(*above) != none) return true;
        return false;
    }

    void makeFoldersAbove(const Moved& moved, Side side) {
        std::vector<std::size_t> missing;
        for (const auto& [from, to] : moved.all())
            for (auto above = tree.parentOf(to); above && seen(*above, side).shape == Shape::absent;
                 above = tree.parentOf(*above))
                missing.push_back(*above);
        std::sort(missing.begin(), missing.end());
        missing.erase(std::unique(missing.begin(), missing.end()), missing.end());
        for (const std::size_t folder : missing)
            out.push_back({What::makeFolder, side, tree[folder].path, {}, false});
    }

    void move(Side side, const std::string& from, const std::string& to) {
        out.push_back({What::move, side, from, to, false});
    }

    const NameTree& tree;
    std::vector<Operation> out;
    std::vector<Operation> lessons;
};

} // namespace

std::vector<Operation> planMoves(const NameTree& tree) { return MoveFinder(tree).operations(); }

std::string privateName(std::size_t n) { return ".tsyncquenz-moving-" + std::to_string(n); }

} // namespace service
