// A pair as a plain model: two trees in memory, what was agreed on, people who edit both sides at random, and
// a hand that carries out plans and finds each step that would lose something. Every choice comes from the
// source that it is given, so that a seed or a fuzzer's bytes tell a whole story.
#pragma once

#include "service/plan.h"

#include <algorithm>
#include <array>
#include <functional>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace service {

class PairModel {
  public:
    using Choice = std::function<unsigned(unsigned)>; // below the argument

    struct Thing {
        Shape shape;
        int content;
        std::uint64_t identity;
        bool known = false; // its digest
        friend bool operator==(const Thing&, const Thing&) = default;
    };
    using Tree = std::map<std::string, Thing>;
    struct PathOrder {
        bool operator()(const std::string& one, const std::string& other) const {
            return pathBefore(one, other);
        }
    };

    explicit PairModel(Choice source) : choose(std::move(source)) {
        storageKnowsItems = choose(2) != 0;
        storageDigests = choose(2) != 0;
    }

    void edit(unsigned count) {
        for (unsigned i = 0; i < count; ++i)
            editOnce(sides[choose(2)]);
    }

    // Plans and does until nothing is left to do. Throws at a step that loses something, and when it does
    // not end.
    void settle() {
        const std::set<int> saved = whatWasSaved();
        for (int round = 0;; ++round) {
            if (round > 60) fail("does not end");
            bool did = false;
            const std::vector<Name> all = names();
            const std::vector<Operation> operations = plan(all);
            if (plan(withoutAgreed(all)) != operations) fail("what is as agreed on changes the plan");
            for (const Operation& operation : operations) {
                if (operation.what != What::hold) did = true;
                perform(operation);
                ++done;
            }
            if (!did) break;
            ++plans;
        }
        for (const int content : saved)
            if (!isSomewhere(content)) fail("content " + std::to_string(content) + " is lost");
        compareSides();
    }

    Tree& side(Side which) { return sides[static_cast<std::size_t>(which)]; }
    std::vector<int> trash;
    std::map<std::string, Agreed, PathOrder> agreed;
    std::uint64_t done = 0;
    std::uint64_t plans = 0; // with something to do

    static Digest digestOf(int content) {
        Digest digest{};
        digest[0] = static_cast<std::uint8_t>(content);
        digest[1] = static_cast<std::uint8_t>(content >> 8);
        return digest;
    }

    std::vector<Name> names() {
        std::set<std::string, PathOrder> paths;
        for (const auto& [path, value] : agreed)
            paths.insert(path);
        for (const Tree& tree : sides)
            for (const auto& [path, thing] : tree)
                paths.insert(path);
        std::vector<Name> all;
        for (const std::string& path : paths) {
            Name name;
            name.path = path;
            if (const auto found = agreed.find(path); found != agreed.end()) name.agreed = found->second;
            for (std::size_t which = 0; which < 2; ++which)
                if (const auto found = sides[which].find(path); found != sides[which].end())
                    name.seen[which] = seenAs(found->second, name.agreed, which);
            all.push_back(std::move(name));
        }
        return all;
    }

    void perform(const Operation& operation) {
        Tree& tree = side(operation.side);
        Tree& other = side(otherOf(operation.side));
        const std::string& path = operation.path;
        switch (operation.what) {
        case What::put: {
            const auto source = other.find(path);
            if (source == other.end() || source->second.shape != Shape::file)
                fail("nothing to put at " + path);
            if (const auto there = tree.find(path); there != tree.end()) {
                if (!operation.replaces || !isAsAgreed(tree, path)) fail("would overwrite " + path);
                if (atAndBelow(tree, path).size() > 1) fail("a folder in the way of " + path);
            }
            needFolderAbove(tree, path);
            tree[path] = {Shape::file, source->second.content, ++lastIdentity};
            agree(path);
            break;
        }
        case What::makeFolder:
            if (tree.contains(path)) fail("something in the way of the folder " + path);
            needFolderAbove(tree, path);
            tree[path] = {Shape::folder, 0, ++lastIdentity};
            agree(path);
            break;
        case What::trash:
            for (const std::string& item : atAndBelow(tree, path)) {
                if (!isAsAgreed(tree, item)) fail("would trash what was not agreed: " + item);
                if (tree[item].shape == Shape::file) trash.push_back(tree[item].content);
                tree.erase(item);
            }
            forget(path);
            break;
        case What::move:
            if (!tree.contains(path)) fail("nothing to move at " + path);
            if (tree.contains(operation.to)) fail("something in the way of a move to " + operation.to);
            needFolderAbove(tree, operation.to);
            for (const std::string& item : atAndBelow(tree, path))
                if (tree[item].shape == Shape::unknown) fail("would move the unknown " + item);
            rename(tree, path, operation.to);
            rename(agreed, path, operation.to);
            break;
        case What::carry:
            rename(agreed, path, operation.to);
            break;
        case What::aside: {
            for (const std::string& item : atAndBelow(tree, path))
                if (tree[item].shape == Shape::unknown) fail("would put aside the unknown " + item);
            std::string name = path + "~";
            while (tree.contains(name) || other.contains(name) || agreed.contains(name))
                name += "~";
            rename(tree, path, name);
            break;
        }
        case What::agree:
            if (tree.at(path).shape != other.at(path).shape ||
                tree.at(path).content != other.at(path).content)
                fail("agrees on what differs: " + path);
            agree(path);
            break;
        case What::forget:
            if (tree.contains(path) || other.contains(path)) fail("forgets what is there: " + path);
            agreed.erase(path);
            break;
        case What::learn:
            if (tree.at(path).known) fail("learns what it knows: " + path);
            tree.at(path).known = true;
            break;
        case What::respell:
            fail("nobody spelled anew");
            break;
        case What::hold:
            break;
        }
    }

  private:
    // What a look hands on: names where something follows, and the folders above them.
    static std::vector<Name> withoutAgreed(const std::vector<Name>& all) {
        std::vector<Name> some;
        for (std::size_t i = all.size(); i-- > 0;) {
            const Name& name = all[i];
            const auto isAsAgreed = [&name](std::size_t side) {
                const Seen& seen = name.seen[side];
                return seen.shape == name.agreed->shape && !seen.differs &&
                       seen.identity == name.agreed->identity[side] &&
                       seen.spelling == name.agreed->spelling[side];
            };
            const bool isAbove = !some.empty() && isAtOrBelow(some.back().path, name.path);
            if (isAbove || !name.agreed || !isAsAgreed(0) || !isAsAgreed(1)) some.push_back(name);
        }
        std::reverse(some.begin(), some.end());
        return some;
    }

    [[noreturn]] void fail(const std::string& why) const { throw std::runtime_error(why); }

    Seen seenAs(const Thing& thing, const std::optional<Agreed>& known, std::size_t which) const {
        Seen seen;
        seen.shape = thing.shape;
        if (which == 0 || storageKnowsItems) seen.identity = Identity{thing.identity, which};
        if (thing.shape != Shape::file) return seen;
        seen.differs = known && known->shape == Shape::file && known->digest != digestOf(thing.content);
        if (thing.known || (which == 1 && storageDigests)) seen.digest = digestOf(thing.content);
        if (which == 1) seen.record = static_cast<std::uint64_t>(thing.content) + 1;
        return seen;
    }

    bool isAsAgreed(const Tree& tree, const std::string& path) const {
        const auto known = agreed.find(path);
        const auto thing = tree.find(path);
        return known != agreed.end() && thing != tree.end() && known->second.shape == thing->second.shape &&
               (thing->second.shape == Shape::folder ||
                known->second.digest == digestOf(thing->second.content));
    }

    void agree(const std::string& path) {
        forget(path, sides[0].at(path).shape != Shape::folder);
        Agreed record;
        record.shape = sides[0].at(path).shape;
        record.digest = digestOf(sides[0].at(path).content);
        record.empty = sides[0].at(path).content == 0;
        for (std::size_t which = 0; which < 2; ++which)
            if (which == 0 || storageKnowsItems)
                record.identity[which] = Identity{sides[which].at(path).identity, which};
        record.record[1] = static_cast<std::uint64_t>(sides[1].at(path).content) + 1;
        agreed[path] = record;
    }

    void forget(const std::string& path, bool below = true) {
        agreed.erase(path);
        if (!below) return;
        for (const std::string& item : atAndBelow(agreed, path))
            agreed.erase(item);
    }

    template <typename Map>
    static std::vector<std::string> atAndBelow(const Map& tree, const std::string& path) {
        std::vector<std::string> found;
        for (const auto& [name, value] : tree)
            if (isAtOrBelow(name, path)) found.push_back(name);
        return found;
    }

    template <typename Map>
    static void rename(Map& tree, const std::string& from, const std::string& to) {
        for (const std::string& item : atAndBelow(tree, from)) {
            auto node = tree.extract(item);
            node.key() = to + item.substr(from.size());
            tree.insert(std::move(node));
        }
    }

    void needFolderAbove(const Tree& tree, const std::string& path) const {
        const std::size_t slash = path.rfind('/');
        if (slash == std::string::npos) return;
        const auto above = tree.find(path.substr(0, slash));
        if (above == tree.end() || above->second.shape != Shape::folder) fail("no folder for " + path);
    }

    // Contents that nobody agreed on yet; an agreed one that only moved may be replaced by a newer one.
    std::set<int> whatWasSaved() const {
        std::set<Digest> old;
        for (const auto& [path, record] : agreed)
            old.insert(record.digest);
        std::set<int> saved;
        for (const Tree& tree : sides)
            for (const auto& [path, thing] : tree)
                if (thing.shape == Shape::file && !old.contains(digestOf(thing.content)))
                    saved.insert(thing.content);
        return saved;
    }
    bool isSomewhere(int content) const {
        for (const int thrown : trash)
            if (thrown == content) return true;
        for (const Tree& tree : sides)
            for (const auto& [path, thing] : tree)
                if (thing.shape == Shape::file && thing.content == content) return true;
        return false;
    }

    // Equal, but at and below what is unknown, and for a folder that holds nothing else.
    void compareSides() const {
        for (std::size_t which = 0; which < 2; ++which)
            for (const auto& [path, thing] : sides[which]) {
                const auto found = sides[1 - which].find(path);
                const bool equal = found != sides[1 - which].end() && found->second.shape == thing.shape &&
                                   found->second.content == thing.content;
                if (!equal && !touchesUnknown(path) && !isBelowHeldKinds(path))
                    fail("the sides differ at " + path);
            }
    }
    bool touchesUnknown(const std::string& path) const {
        for (const Tree& tree : sides)
            for (const auto& [name, thing] : tree)
                if (thing.shape == Shape::unknown && (isAtOrBelow(path, name) || isAtOrBelow(name, path)))
                    return true;
        return false;
    }

    // Two kinds at one name wait while something unknown lies in the folder.
    bool isBelowHeldKinds(const std::string& path) const {
        for (std::size_t slash = path.find('/'); slash != std::string::npos;
             slash = path.find('/', slash + 1)) {
            const std::string above = path.substr(0, slash);
            const auto here = sides[0].find(above);
            const auto there = sides[1].find(above);
            if (here != sides[0].end() && there != sides[1].end() &&
                here->second.shape != there->second.shape && touchesUnknown(above))
                return true;
        }
        return false;
    }

    std::string anyFolder(const Tree& tree) {
        std::vector<std::string> folders{""};
        for (const auto& [path, thing] : tree)
            if (thing.shape == Shape::folder) folders.push_back(path);
        return folders[choose(static_cast<unsigned>(folders.size()))];
    }
    std::string newPath(const Tree& tree) {
        const std::string folder = anyFolder(tree);
        return (folder.empty() ? "" : folder + "/") + std::string(1, static_cast<char>('a' + choose(4)));
    }
    std::string anyItem(const Tree& tree) {
        if (tree.empty()) return {};
        auto item = tree.begin();
        std::advance(item, choose(static_cast<unsigned>(tree.size())));
        return item->first;
    }
    void erase(Tree& tree, const std::string& path) {
        for (const std::string& item : atAndBelow(tree, path))
            tree.erase(item);
    }

    void editOnce(Tree& tree) {
        const unsigned kind = choose(16);
        const std::string item = anyItem(tree);
        const std::string path = newPath(tree);
        // Contents are seldom equal by chance, so that a lost one is missed; 0 is the empty file.
        const auto content = [&] { return choose(4) != 0 ? ++lastContent : static_cast<int>(choose(3)); };
        if (kind < 4) {
            if (!tree.contains(path)) tree[path] = {Shape::file, content(), ++lastIdentity};
        } else if (kind < 6) {
            if (!tree.contains(path)) tree[path] = {Shape::folder, 0, ++lastIdentity};
        } else if (kind < 8) {
            if (!item.empty() && tree[item].shape == Shape::file) {
                tree[item].content = content();
                tree[item].known = false;
            }
        } else if (kind < 10) {
            if (!item.empty()) erase(tree, item);
        } else if (kind < 13) {
            if (!item.empty() && !tree.contains(path) && !isAtOrBelow(path, item)) rename(tree, item, path);
        } else if (kind == 13) { // two names swapped
            const std::string second = anyItem(tree);
            if (!item.empty() && !isAtOrBelow(item, second) && !isAtOrBelow(second, item)) {
                rename(tree, item, "swap");
                rename(tree, second, item);
                rename(tree, "swap", second);
            }
        } else if (kind == 14) { // another kind in its place
            if (!item.empty()) {
                const bool wasFile = tree[item].shape == Shape::file;
                erase(tree, item);
                tree[item] = {wasFile ? Shape::folder : Shape::file, wasFile ? 0 : content(), ++lastIdentity};
            }
        } else if (choose(3) == 0 && !item.empty()) {
            erase(tree, item);
            tree[item] = {Shape::unknown, 0, ++lastIdentity};
        }
    }

    Choice choose;
    std::array<Tree, 2> sides;
    bool storageKnowsItems = true;
    bool storageDigests = true;
    int lastContent = 10;
    std::uint64_t lastIdentity = 0;
};

} // namespace service
