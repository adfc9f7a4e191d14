// The directory trees that the engine's benchmarks work on.
#pragma once

#include <string>

namespace bench {

// A: 200,000 files in 20,000 directories, at most 8 levels, names of 8 to 30 bytes; a large home directory.
// B: 100,000 files in one directory; the worst case for anything that looks at siblings.
// C: 909,000 files in 91,000 directories, shaped like A; shows whether cost grows with the number of items.
// M: what A is after some work: 1 % of the files changed, 0.5 % gone, 0.5 % new.
//
// The order of creation is shuffled over the directories, so that inodes are not in the order of the walk.
// One file in ten has content: sizes do not matter to the engine, but not all should be equal.
struct TreeKind {
    char name;
    unsigned files;
    unsigned directories; // 0: all files at the top
    unsigned seed;
    bool isChanged;
};

inline constexpr TreeKind kTreeA{'A', 200'000, 20'000, 1, false};
inline constexpr TreeKind kTreeB{'B', 100'000, 0, 2, false};
inline constexpr TreeKind kTreeC{'C', 909'000, 91'000, 3, false};
inline constexpr TreeKind kTreeM{'M', 200'000, 20'000, 1, true};

inline unsigned itemsOf(const TreeKind& kind) { return kind.files + kind.directories; }

// The absolute path of the tree below a folder; makes it there unless it exists.
std::string treeAt(const std::string& folder, const TreeKind& kind);

} // namespace bench
