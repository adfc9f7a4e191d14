// Editing a snapshot, and the comparison by digests. An edit in some order may take two microseconds an item;
// each stands beside a hash map from path to attributes, which is what a mirror of a remote tree could be
// instead (and which cannot list a directory). The comparison stands beside its two digest passes alone.
//
//     dirsnapshot_bench [--processor-time] [ROW…]
//
// Rows are edit and compare (both when none is given). Ends with 1 when a figure misses its limit.
#include "bench/snapshot/measure.h"
#include "dirsnapshot/DirSnapshot.h"
#include "platform/file_attributes.h"
#include "snapshot/DSDigest.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

using namespace bench;
using dirsnapshot::DirSnapshot;

namespace {

class SilentLog final : public platform::ProcessLog {
  public:
    bool isOn(platform::LogLevel) const override { return false; }
    void write(platform::LogLevel, std::string_view) override {}
} silent;

constexpr unsigned editCount = 100'000;
constexpr int rounds = 5;

using Paths = std::vector<std::string>;

struct Attributes {
    std::int64_t size, modified, started;
    std::uint8_t kind;
};
using PathMap = std::unordered_map<std::string, Attributes>;

const platform::Dictionary fileInfo{{platform::NSFileType, platform::NSFileTypeRegular},
                                    {platform::NSFileSize, 1234},
                                    {platform::NSFileModificationDate, 1'600'000'000},
                                    {platform::NSFileCreationDate, 1'500'000'000}};

DirSnapshot emptySnapshot() {
    DirSnapshot snapshot(silent);
    (void)snapshot.setRoot(dirsnapshot::Tree(DSNodeCreate("/", 0, 0, 0, DSNodeTypeDirectory)));
    return snapshot;
}

// Names of 20 bytes, as people's files have.
std::string nameOf(const char* kind, unsigned number) {
    char name[32];
    snprintf(name, sizeof(name), "%s number %08u", kind, number);
    return name;
}

Paths inOneDirectory(const char* kind) {
    Paths paths;
    for (unsigned i = 0; i < editCount; ++i)
        paths.push_back("/d/" + nameOf(kind, i));
    return paths;
}

// Chains of 20 directories with 10 files in each: one directory after the other, as a listing gives them, and
// paths of up to 400 bytes. The directories are made on the way.
Paths inADeepTree(const char* kind) {
    Paths paths;
    for (unsigned chain = 0; paths.size() < editCount; ++chain) {
        std::string directory;
        for (unsigned depth = 0; depth < 20; ++depth) {
            directory += "/" + nameOf("folder", depth == 0 ? chain : depth);
            for (unsigned i = 0; i < 10; ++i)
                paths.push_back(directory + "/" + nameOf(kind, i));
        }
    }
    return paths;
}

// In no order, but one after the other in memory, as paths that have just been received are.
Paths shuffled(const Paths& paths, unsigned seed) {
    std::vector<const std::string*> order;
    for (const std::string& path : paths)
        order.push_back(&path);
    std::ranges::shuffle(order, std::mt19937(seed));
    Paths result;
    for (const std::string* path : order)
        result.push_back(*path);
    return result;
}

// In 10 to the power of `levels` directories, in no order.
Paths scattered(const char* kind, int levels, unsigned seed) {
    Paths directories{""};
    for (int level = 0; level < levels; ++level) {
        Paths below;
        for (const std::string& directory : directories)
            for (unsigned i = 0; i < 10; ++i)
                below.push_back(directory + "/" + nameOf("folder", i));
        directories = std::move(below);
    }
    Paths paths;
    for (unsigned i = 0; i < editCount; ++i)
        paths.push_back(directories[i % directories.size()] + "/" + nameOf(kind, i));
    return shuffled(paths, seed);
}

void addAll(DirSnapshot& snapshot, const Paths& paths) {
    for (const std::string& path : paths)
        snapshot.addItemAtPath(path, fileInfo);
}

void addAll(PathMap& map, const Paths& paths) {
    for (const std::string& path : paths)
        map.insert_or_assign(path, Attributes{1234, 1'600'000'000, 1'500'000'000, DSNodeTypeFile});
}

void moveAll(DirSnapshot& snapshot, const Paths& from, const Paths& to) {
    for (std::size_t i = 0; i < from.size(); ++i)
        snapshot.moveItemAtPath(from[i], to[i]);
}

void moveAll(PathMap& map, const Paths& from, const Paths& to) {
    for (std::size_t i = 0; i < from.size(); ++i) {
        auto item = map.extract(from[i]);
        item.key() = to[i];
        map.insert(std::move(item));
    }
}

void removeAll(DirSnapshot& snapshot, const Paths& paths) {
    for (const std::string& path : paths)
        snapshot.removeItemAtPath(path);
}

void removeAll(PathMap& map, const Paths& paths) {
    for (const std::string& path : paths)
        map.erase(path);
}

enum class Limit { none, twoMicroseconds };

// Measures an edit after the items in `before` have been added.
template <typename Edit>
void editRow(const std::string& title, const Paths& before, Limit limit, Edit edit) {
    const auto timed = [&](auto make) {
        return [&, make] {
            auto subject = make();
            addAll(subject, before);
            const double start = now();
            edit(subject);
            return now() - start;
        };
    };
    const std::vector<double> medians = compare(
        title,
        {{"DirSnapshot", timed(emptySnapshot)}, {"hash map of paths", timed([] { return PathMap(); })}},
        rounds);
    const double each = medians[0] * 1e6 / editCount;
    if (limit == Limit::twoMicroseconds)
        printRatio(title, "microseconds an item", each, 2, each / 2, 1, true);
    else
        printf("%-34s %-28s %10.4f\n", title.c_str(), "microseconds an item", each);
}

// What the removal of siblings in no order costs at the least, since callers read the list as an array
// without holes: of an array of as many pointers, one goes after the other from a place that is known, and
// the shorter side closes up.
double closeUpAtRandom() {
    std::vector<void*> array(editCount);
    std::mt19937 random(2);
    void** first = array.data();
    const double start = now();
    for (std::size_t count = editCount; count > 0; --count) {
        const std::size_t place = random() % count;
        if (place < count - place - 1) {
            memmove(first + 1, first, place * sizeof(void*));
            ++first;
        } else {
            memmove(first + place, first + place + 1, (count - place - 1) * sizeof(void*));
        }
    }
    return now() - start;
}

// The removals beside that bound.
void removalsAtRandom(const Paths& siblings, const Paths& inNoOrder) {
    compare("remove siblings at random",
            {{"DirSnapshot",
              [&] {
                  DirSnapshot snapshot = emptySnapshot();
                  addAll(snapshot, siblings);
                  const double start = now();
                  removeAll(snapshot, inNoOrder);
                  return now() - start;
              }},
             {"an array that closes up", closeUpAtRandom, 0, true}},
            rounds);
}

void edits() {
    const Paths wide = inOneDirectory("first");
    const Paths wideTargets = inOneDirectory("other");
    const Paths scatteredSources = shuffled(wide, 2);
    const Paths scatteredTargets = shuffled(wideTargets, 3);
    const auto limit = Limit::twoMicroseconds;
    editRow("add to one directory", {}, limit, [&](auto& subject) { addAll(subject, wide); });
    editRow("move in one directory", wide, limit,
            [&](auto& subject) { moveAll(subject, wide, wideTargets); });
    editRow("remove from one directory", wide, limit, [&](auto& subject) { removeAll(subject, wide); });
    // Out of the middle of a hundred thousand siblings: the list that callers read has to close up.
    editRow("move in one directory, at random", wide, Limit::none,
            [&](auto& subject) { moveAll(subject, scatteredSources, scatteredTargets); });
    editRow("remove from it, at random", wide, Limit::none,
            [&](auto& subject) { removeAll(subject, scatteredSources); });
    removalsAtRandom(wide, scatteredSources);

    const Paths deep = inADeepTree("first");
    Paths deepTargets = inADeepTree("other");
    std::rotate(deepTargets.begin(), deepTargets.begin() + editCount / 2,
                deepTargets.end()); // into other chains
    editRow("add to a deep tree", {}, limit, [&](auto& subject) { addAll(subject, deep); });
    editRow("move in a deep tree", deep, limit, [&](auto& subject) { moveAll(subject, deep, deepTargets); });

    // Here the processor waits for memory, most of the time.
    for (const int levels : {2, 3, 4}) {
        const Paths sources = scattered("first", levels, 4);
        const Paths targets = scattered("other", levels, 5);
        editRow("move among 10^" + std::to_string(levels) + " directories", scattered("first", levels, 6),
                Limit::none, [&](auto& subject) { moveAll(subject, sources, targets); });
    }
}

// A million items: six levels of ten directories in each, with nine files in each of the lowest. In the
// current state every thousandth of the first 900,000 files is changed, gone or replaced, in turn.
dirsnapshot::Tree million(bool isCurrent) {
    dirsnapshot::Tree root(DSNodeCreate("/", 0, 0, 0, DSNodeTypeDirectory));
    std::vector<DSNode*> level{root.get()};
    for (int depth = 0; depth < 5; ++depth) {
        std::vector<DSNode*> below;
        for (DSNode* parent : level)
            for (unsigned i = 0; i < 10; ++i)
                below.push_back(DSNodeCreateWithParent(parent, nameOf("folder", i).c_str(), 0, 1, 1,
                                                       DSNodeTypeDirectory));
        level = std::move(below);
    }
    unsigned number = 0;
    for (DSNode* parent : level) {
        for (unsigned i = 0; i < 9; ++i, ++number) {
            const bool isPlace = isCurrent && number % 900 == 0;
            const unsigned fate = isPlace ? number / 900 % 3 : 3;
            if (fate == 1) continue;
            DSNodeCreateWithParent(parent, nameOf(fate == 2 ? "other" : "first", number).c_str(),
                                   fate == 0 ? 1 : 2, 1'600'000'000, 1, DSNodeTypeFile);
        }
    }
    return root;
}

void comparison() {
    const auto timed = [](auto work) {
        return [work] {
            const auto current = million(true);
            const auto previous = million(false);
            const double start = now();
            work(current.get(), previous.get());
            return now() - start;
        };
    };
    compare("compare two million items",
            {{"DirSnapshot", timed([](DSNode* current, DSNode* previous) {
                  DirSnapshot::compareWithSnapshotUsingHashes(
                      current, previous, false, {"node_modules", "/nowhere/at/all"}, "/nowhere");
              })},
             {"two digest passes", timed([](DSNode* current, DSNode* previous) {
                  DSNodeComputeHashes(current);
                  DSNodeComputeHashes(previous);
              }),
              1.3, true}},
            rounds);
}

} // namespace

int main(int count, char** words) {
    bool all = true;
    for (int i = 1; i < count; ++i) {
        if (strcmp(words[i], "--processor-time") == 0)
            setClock(Clock::processor);
        else
            all = false;
    }
    const auto isAsked = [&](const char* row) {
        return all || std::any_of(words + 1, words + count,
                                  [&](const char* word) { return strcmp(word, row) == 0; });
    };
    printf("%-34s %-28s %10s %10s   (medians of %d rounds, %s time)\n", "", "against", "seconds", "", rounds,
           clockInUse() == Clock::wall ? "wall" : "processor");
    if (isAsked("edit")) edits();
    if (isAsked("compare")) comparison();
    return missed() == 0 ? 0 : 1;
}
