// Finding what moved beside the plain comparison, in memory: 1,000,000 items, of which 10,000 moved.
//
//     snapshot_moves_bench
//
// Ends with 1 when a ratio misses its limit.

#include "bench/snapshot/measure.h"
#include "snapshot/DSCompare.h"
#include "snapshot/DSDifferences.h"
#include "snapshot/tree/Evidence.h"
#include "snapshot/tree/cxx.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

using namespace bench;

namespace {

constexpr unsigned kInDirectory = 10;
constexpr unsigned kMoved = 10'000;

struct Side {
    DSNode* root = DSNodeCreate("/", 0, 0, 0, DSNodeTypeDirectory);
    DSEvidence evidence;
};

void add(Side& side, DSNode* parent, const std::string& name, unsigned number, uint8_t type) {
    DSNodeCreateWithParent(parent, name.c_str(), number % 5000, number / 3, 0, type);
    snapshot::EvidenceRecord& record = side.evidence.records.emplace_back();
    record.inode = number + 1;
    record.born = number + 1;
    record.check = snapshot::checkOfNode(*snapshot::childAt(parent, parent->children->count - 1));
}

// Directories with ten files each, in some of which something moved: in every tenth of these the directory
// itself did, to the end, in the others one file, within its directory. All in the order of names, as a scan
// leaves it.
Side makeSide(unsigned items, bool isMoved) {
    Side side;
    side.evidence.records.emplace_back();
    const unsigned directories = items / (kInDirectory + 1);
    const unsigned step = directories / kMoved;
    const auto name = [](const char* format, unsigned number) {
        char text[32];
        snprintf(text, sizeof text, format, number);
        return std::string(text);
    };
    const auto directory = [&](unsigned number, const char* format, bool hasMovedFile) {
        const unsigned first = number * (kInDirectory + 1);
        add(side, side.root, name(format, number), first, DSNodeTypeDirectory);
        DSNode* parent = snapshot::childAt(side.root, side.root->children->count - 1);
        for (unsigned i = hasMovedFile ? 1 : 0; i < kInDirectory; i++)
            add(side, parent, name("file of ten %08u", first + i), first + 1 + i, DSNodeTypeFile);
        if (hasMovedFile) add(side, parent, name("moved file %08u", first), first + 1, DSNodeTypeFile);
    };
    std::vector<unsigned> last;
    for (unsigned i = 0; i < directories; i++) {
        const bool isOne = isMoved && i % step == 0 && i / step < kMoved;
        if (isOne && i / step % 10 == 0)
            last.push_back(i);
        else
            directory(i, "directory %08u", isOne);
    }
    for (unsigned i : last)
        directory(i, "moved directory %08u", false);
    side.root = DSNodeCopy(side.root); // in memory as a scan or a load leaves it
    return side;
}

struct Sides {
    explicit Sides(unsigned items) : previous(makeSide(items, false)), current(makeSide(items, true)) {}
    Side previous, current;
};

// A process that has just loaded all this has its pages; one that was forked meets each for the first time,
// which is not what is measured.
void touch(const Sides& sides) {
    static volatile int64_t sum;
    for (const Side* side : {&sides.previous, &sides.current}) {
        sum = sum + DSNodeTotalSize(side->root);
        for (const snapshot::EvidenceRecord& record : side->evidence.records)
            sum = sum + record.born;
    }
}

double plainly(const Sides& sides) {
    touch(sides);
    char** paths[3];
    uint64_t counts[3];
    const double start = now();
    DSNodeCompareSnapshots(sides.current.root, sides.previous.root, &paths[0], &counts[0], &paths[1],
                           &counts[1], &paths[2], &counts[2]);
    return now() - start;
}

double withMoves(const Sides& sides, bool byInode) {
    DSDifferenceOptions options{DSFieldType | DSFieldSize | DSFieldModifiedTime,
                                0,
                                1,
                                byInode ? &sides.current.evidence : nullptr,
                                byInode ? &sides.previous.evidence : nullptr,
                                nullptr,
                                nullptr};
    unsigned moved = 0;
    touch(sides);
    const double start = now();
    DSNodeEnumerateDifferences(
        sides.current.root, sides.previous.root, &options,
        [](const DSDifference* difference, void* context) {
            if (difference->kind == DSDifferenceMoved) ++*static_cast<unsigned*>(context);
            return 0;
        },
        &moved);
    const double took = now() - start;
    if (moved != kMoved) {
        fprintf(stderr, "%u moves found in place of %u\n", moved, kMoved);
        exit(2);
    }
    return took;
}

} // namespace

int main() {
    constexpr int rounds = 9;
    const Sides large(1'000'000);
    printf("%-34s %-28s %10s %10s\n", "seconds", "against", "engine", "other");
    const Contender plain{"plain comparison", [&] { return plainly(large); }, 2, true};
    compare("moves by inode, 1,000,000 items", {{"engine", [&] { return withMoves(large, true); }}, plain},
            rounds);
    compare("moves by attributes, 1,000,000", {{"engine", [&] { return withMoves(large, false); }}, plain},
            rounds);
    return missed() == 0 ? 0 : 1;
}
