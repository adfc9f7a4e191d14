// The engine where each question to the disk takes 4 ms, as on a server far away: one thread beside many.
//
//     snapshot_latency_bench [--trees FOLDER]
//
// Ends with 1 when a ratio misses its limit.

#include "bench/snapshot/measure.h"
#include "bench/snapshot/slow_disk.h"
#include "bench/snapshot/trees.h"
#include "snapshot/scan/quick_look.h"
#include "snapshot/scan/scan.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

using namespace bench;

namespace {

constexpr auto kAnswer = std::chrono::milliseconds(4);

// What a person may have on a server; one thread takes some 25 seconds for each.
constexpr TreeKind kTree{'S', 4'500, 500, 4, false};
constexpr TreeKind kFolder{'F', 5'000, 0, 5, false};

double scan(const std::string& tree, unsigned threads) {
    DSSnapshotOptions options = {};
    options.recursive = 1;
    setTimeOfAnswer(kAnswer);
    const double start = now();
    snapshot::takeSnapshot(tree.c_str(), DSNodeCreate("/", 0, 0, 0, DSNodeTypeDirectory), &options,
                           {.threads = threads});
    return now() - start;
}

// A look again at a tree in which nothing changed. The first look does not count.
double lookAgain(const std::string& tree, unsigned threads) {
    setTimeOfAnswer({});
    DSNode* root = DSNodeCreate("/", 0, 0, 0, DSNodeTypeDirectory);
    DSEvidence* evidence = DSEvidenceCreate();
    DSNodeLookAgain(root, evidence, tree.c_str(), DSQuickLookItems);
    setTimeOfAnswer(kAnswer);
    const double start = now();
    snapshot::lookAgain(root, evidence, tree.c_str(), DSQuickLookItems, {.threads = threads});
    return now() - start;
}

void row(const char* what, const std::string& tree) {
    const auto compareThreads = [&](const char* work, double (*run)(const std::string&, unsigned)) {
        const auto with = [&](unsigned threads) { return [=] { return run(tree, threads); }; };
        compare(std::string(work) + what + ", 4 ms an answer, 16 threads",
                {{"engine", with(16)}, {"1 thread", with(1), 12, false}, {"by the pace", with(0), 1.1, true}},
                1);
    };
    compareThreads("scan of ", scan);
    compareThreads("look again at ", lookAgain);
}

} // namespace

int main(int count, char** words) {
    char temporary[] = BENCH_BINARY_FOLDER "/trees-XXXXXX";
    std::string folder;
    if (count == 3 && std::string(words[1]) == "--trees") {
        folder = words[2];
    } else if (count > 1 || mkdtemp(temporary) == nullptr) {
        fprintf(stderr, "usage: %s [--trees FOLDER]\n", words[0]);
        return 2;
    } else {
        folder = temporary;
    }
    printf("%-48s %-14s %10s %10s\n", "seconds", "against", "engine", "other");
    row("4,500 files in 500 directories", treeAt(folder, kTree));
    row("5,000 files in one directory", treeAt(folder, kFolder));
    if (folder == temporary) std::filesystem::remove_all(folder);
    return missed() == 0 ? 0 : 1;
}
