// What decides the badge of an item: the watched roots, the files in flight and the working files, as one
// immutable value. A change makes a new value, and whoever has the old one goes on with it undisturbed.
//
// The rules, the first that fits decides:
//   outside    no watched root is the item or encloses it
//   root       of the roots that are or enclose the item, the first in enumeration order is the item itself
//   uploading  an uploading file is the item or lies beneath it
//   working    the same of a working file
//   existing   anything else inside a root; shows "sync" if it exists
// Roots are enumerated by local path in descending byte order: a root inside another comes before it, so
// that each root folder shows that it is one. The item equals a root by the string as written; everything
// else compares standard forms.
//
// Cost of a decision: one hashed lookup for each level of the path, whatever the number of roots and files.
#pragma once

#include "extension/badges.h"
#include "extension/path_levels.h"
#include "platform/FileURL.h"

#include <cstdint>
#include <deque>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace extension {

// Shared with other states, since most changes leave it as it is. Never null, never changed.
using PathList = std::shared_ptr<const std::vector<std::string>>;

using WatchedPaths = std::set<platform::FileURL, std::greater<>>;

// A standard form with its hash, which is made once. Borrows the text.
struct HashedPath {
    std::uint64_t hash;
    std::string_view path;
    friend bool operator==(const HashedPath&, const HashedPath&) = default;
};
struct HashOfHashedPath {
    std::size_t operator()(const HashedPath& path) const noexcept { return path.hash; }
};

// Paths, each with everything above it: answers whether one of them is a path or lies beneath it.
class PathsAndAncestors {
  public:
    // Keeps the list, whose strings it refers to.
    explicit PathsAndAncestors(PathList paths);

    const PathList& list() const { return paths; }
    bool contain(std::string_view standardPath, std::uint64_t hash) const {
        return !known.empty() && known.contains(HashedPath{hash, standardPath});
    }

    // The first path of the list that is that path or lies beneath it; null when there is none. Linear in
    // the list: for an explanation, not for a badge.
    const std::string* firstBeneath(std::string_view path) const;

  private:
    PathList paths;
    std::deque<std::string> standardForms; // of the paths that are not written in standard form
    std::unordered_set<HashedPath, HashOfHashedPath> known;
};

class BadgeState {
  public:
    // Without roots or files: every item is outside.
    BadgeState();

    std::shared_ptr<const BadgeState> withRoots(WatchedPaths roots) const;
    std::shared_ptr<const BadgeState> withFiles(PathList uploading, PathList working) const;

    const WatchedPaths& watchedPaths() const { return watched_paths->paths; }
    const PathList& uploadingFiles() const { return _uploading_files->list(); }
    const PathList& workingFiles() const { return _working_files->list(); }

    // Which of the states of a program's life this is: 0, and one more with each change.
    std::uint64_t sequence() const { return number; }

    BadgeRule rule(const platform::FileURL& item) const;

    // Calls visit(path, rule) for the path, then for each folder above it, without the file system's root.
    template <typename Visit>
    void forEachUpwards(std::string_view path, Visit&& visit) const {
        struct Step {
            std::string_view path;
            BadgeRule rule;
        };
        std::vector<Step> steps;
        decide(path, [&](const PathLevel& level, BadgeRule levelRule) {
            if (level.path != "/") steps.push_back({level.path, levelRule});
        });
        for (auto step = steps.rbegin(); step != steps.rend(); ++step)
            visit(step->path, step->rule);
    }

    struct Explanation {
        BadgeRule rule = BadgeRule::outside;
        std::string root; // the deciding root; empty: none
        std::string file; // the file in flight that decides; empty: none
    };
    Explanation explain(const platform::FileURL& item) const;

  private:
    struct Root {
        std::string standard;
        std::string path; // as written
        std::size_t rank; // place in the enumeration
    };
    struct Roots {
        explicit Roots(WatchedPaths watched);
        WatchedPaths paths;
        std::deque<Root> all; // the first of each standard form
        std::unordered_map<HashedPath, const Root*, HashOfHashedPath> byPath;
        const Root* find(const PathLevel& level) const {
            const auto entry = byPath.find(HashedPath{level.hash, level.standard});
            return entry != byPath.end() ? entry->second : nullptr;
        }
    };

    // The one of two roots, either of which may be null, that is enumerated first.
    static const Root* firstOf(const Root* one, const Root* other) {
        return one == nullptr || (other != nullptr && other->rank < one->rank) ? other : one;
    }
    // Calls visit(level, rule) for each level of the path, from the top down. Returns the deciding root of
    // the path, or null.
    template <typename Visit>
    const Root* decide(std::string_view path, Visit&& visit) const {
        const Root* first = nullptr;
        forEachLevel(path, [&](const PathLevel& level) {
            first = firstOf(first, watched_paths->find(level));
            visit(level, ruleAt(level, first));
        });
        return first;
    }
    BadgeRule ruleAt(const PathLevel& level, const Root* first) const {
        if (first == nullptr) return BadgeRule::outside;
        if (first->path == level.path) return BadgeRule::root;
        if (_uploading_files->contain(level.standard, level.hash)) return BadgeRule::uploading;
        if (_working_files->contain(level.standard, level.hash)) return BadgeRule::working;
        return BadgeRule::existing;
    }

    std::uint64_t number = 0;
    std::shared_ptr<const Roots> watched_paths;
    std::shared_ptr<const PathsAndAncestors> _uploading_files;
    std::shared_ptr<const PathsAndAncestors> _working_files; // nothing fills it so far
};

} // namespace extension
