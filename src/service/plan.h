// What has to be done so that both sides of a pair hold the same: a pure function of what both sides agreed
// on last, what is here and what is there. It has no clock, no disk and no network; whoever carries out its
// operations looks once more before each, and plans again afterwards.
//
// What holds whatever the three values are:
//   - A content that a person saved is afterwards at its path, under a conflict name, or in a trash. Only
//     what was agreed on and has not changed on the side that loses it is ever sent to a trash.
//   - From an unknown name nothing follows, on neither side, and nothing below it.
//   - Without anything agreed nothing is trashed and nothing replaced.
//   - Planning, doing and planning again ends, with both sides equal but for the unknown.
//
// A plan has one of two kinds. When something was moved it consists of the moves alone, since what moved
// takes its agreed records along and everything else looks different afterwards. Else it is everything else.
//
// Cost: linear in the names but for sorting the moves; one map of identities and one of digests.
// Threads: none of its own; a call touches nothing but its arguments.
#pragma once

#include "sync_daemon/paths.h"

#include <array>
#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace service {

enum class Side : std::uint8_t { here, there };
constexpr Side otherOf(Side side) { return side == Side::here ? Side::there : Side::here; }

enum class Shape : std::uint8_t {
    absent,
    file,
    folder,
    unknown, // something is there, or may be, that is not synced: a link, what cannot be read, a name twice
};

using Digest = std::array<std::uint8_t, 20>; // of the content of a file; SHA-1, FIPS 180-4

// What a side knows an item by, whatever its name: inode and time of birth here, the storage's own ID there.
struct Identity {
    std::uint64_t first = 0;
    std::uint64_t second = 0;
    // The linter mistakes the comparison with 0 that the compiler writes.
    // NOLINTNEXTLINE(modernize-use-nullptr)
    friend auto operator<=>(const Identity&, const Identity&) = default;
};

// A name as one side has it now.
struct Seen {
    Shape shape = Shape::absent;
    // A file's record is not the agreed one, and so is its content, or the content is not known yet. Without
    // meaning where nothing is agreed, or another shape.
    bool differs = false;
    bool isOlder = false;              // it differs, and its time of change is before the agreed one's
    std::optional<Digest> digest;      // files, as far as known
    bool isDigestTold = false;         // one of another algorithm, by which the same content is recognised
    std::optional<std::uint64_t> size; // files, bytes, as far as known
    std::optional<Identity> identity;  // as far as the side has one
    std::uint64_t record = 0;          // of what the side tells of it (size, time …); 0: nothing
    std::string spelling;              // the last component as this side writes it; empty: as the path has it
};

// What both sides agreed on at a name. `shape` is file or folder.
struct Agreed {
    Shape shape = Shape::file;
    Digest digest{};
    bool empty = false; // a file without a byte: equal digests say nothing of where it came from
    std::array<std::optional<Identity>, 2> identity; // by side
    std::array<std::uint64_t, 2> record{};
    std::array<std::string, 2> spelling;
};

// A name of a pair: `path` is its key, relative to both roots, components joined by "/", in the one form in
// which the names of both sides meet. The root itself is not a name.
struct Name {
    std::string path;
    std::optional<Agreed> agreed;
    std::array<Seen, 2> seen; // by side
};

enum class What : std::uint8_t {
    put,        // the other side's file is brought to `side`: new, or in place of the agreed one
    makeFolder, // on `side`
    trash,      // a file, or a folder with all that is in it, of `side`
    move,       // on `side`, `path` to `to`; with the agreed records at and below it
    respell,    // on `side`: the last component as the other side has it; with the agreed record
    aside,      // the item of `side` takes a conflict name, which neither side has and nothing is agreed at
    carry,      // both sides moved it alike: the agreed records at `path` go to `to`
    agree,      // both sides hold the same: that is agreed
    forget,     // nothing is there any more: nor is anything agreed
    learn,      // the digest of the file of `side` has to be known before anything follows
    hold,       // nothing can follow: a problem to tell
};

struct Operation {
    What what;
    Side side;
    std::string path;
    std::string to;        // of move and carry
    bool replaces = false; // put: a file is there, the agreed one
    friend bool operator==(const Operation&, const Operation&) = default;
};

// In this order they can be done one after the other, each target free when it is its turn; what lies below
// different names may be done at the same time. A ring of moves (two names swapped) is opened by a move to a
// name of `privateName(n)`, which no other move of the plan has.
// `names` are in the order of `pathBefore` and hold each path once, with all the folders above it.
std::vector<Operation> plan(const std::vector<Name>& names);

// Component by component: a folder comes right before all that is in it.
bool pathBefore(std::string_view one, std::string_view other);

using sync_daemon::isAtOrBelow; // keys are inside one another as plain paths are

// The name at the top of the pair that opens the n-th ring; a name of the private ones, which are never
// items.
std::string privateName(std::size_t n);

} // namespace service
