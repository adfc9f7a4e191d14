// The engine's scan, digests, comparison and memory beside lower bounds and peers: a table of ratios.
//
//     snapshot_engine_bench [--trees FOLDER] [--processor-time] [ROW…]
//
// The trees are made in a temporary folder beside the build, or kept in FOLDER; a million files take some
// minutes. Rows are scan, threads, cold, quick, digests, compare, memory, growth (all when none is given).
// Ends with 1 when a ratio misses its limit.

#include "bench/snapshot/bound_tree.h"
#include "bench/snapshot/measure.h"
#include "bench/snapshot/peers.h"
#include "bench/snapshot/trees.h"
#include "snapshot/DSCompare.h"
#include "snapshot/DSDigest.h"
#include "snapshot/DSFlatFile.h"
#include "snapshot/scan/quick_look.h"
#include "snapshot/scan/scan.h"
#include "snapshot/tree/cxx.h"

#include <sys/stat.h>
#include <sys/statvfs.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <malloc.h>
#include <set>
#include <thread>
#include <unistd.h>

using namespace bench;

namespace {

// The largest tree takes a scan some seconds, and a peer up to eleven.
constexpr int kRoundsOfC = 2;

std::string folder;

DSNode* scan(const std::string& tree, unsigned threads) {
    DSSnapshotOptions options = {};
    options.recursive = 1;
    return snapshot::takeSnapshot(tree.c_str(), DSNodeCreate("/", 0, 0, 0, DSNodeTypeDirectory), &options,
                                  {.threads = threads});
}

Contender engineScan(const std::string& tree, unsigned threads) {
    return {"engine", [tree, threads] {
                double start = now();
                scan(tree, threads);
                return now() - start;
            }};
}

Contender boundScanOf(const std::string& tree, unsigned threads, double limit) {
    return {"bound, " + std::to_string(threads) + " thread(s)",
            [tree, threads] {
                double start = now();
                boundScan(tree, threads);
                return now() - start;
            },
            limit, true};
}

void scanRow(const std::string& title, const std::string& tree, unsigned threads, double boundLimit,
             const ScanLimits& limits, int rounds, const std::function<void()>& before = {}) {
    std::vector<Contender> contenders{engineScan(tree, threads), boundScanOf(tree, threads, boundLimit)};
    std::ranges::move(scanPeers(tree, limits), std::back_inserter(contenders));
    printf("%s: the median of %d turns, after one that does not count\n", title.c_str(), rounds);
    compare(title, contenders, rounds, before);
}

void scans() {
    const ScanLimits limits{1.25, 1.25, 1.5, 1.5, 2.5, 3};
    scanRow("scan A, 1 thread", treeAt(folder, kTreeA), 1, 1.2, limits, 5);
    scanRow("scan B, 1 thread", treeAt(folder, kTreeB), 1, 1.25, {.find = 1.25}, 5);
    scanRow("scan C, 1 thread", treeAt(folder, kTreeC), 1, 1.2, limits, kRoundsOfC);
}

void scansAhead() {
    const ScanLimits limits{.find = 2.2, .watchdog = 5};
    scanRow("scan A, 2 threads", treeAt(folder, kTreeA), 2, 1.25, limits, 5);
    scanRow("scan C, 2 threads", treeAt(folder, kTreeC), 2, 1.25, limits, kRoundsOfC);
}

void coldScans() {
    int drop = open("/proc/sys/vm/drop_caches", O_WRONLY | O_CLOEXEC);
    auto makeCold = [drop] {
        sync();
        return write(drop, "3", 1) == 1;
    };
    if (drop < 0 || !makeCold()) {
        printf("scan A cold: left out, caches cannot be dropped here (%s)\n", strerror(errno));
        return;
    }
    const ScanLimits limits{.find = 2.5, .bfs = 2.5, .mtree = 2.5, .rclone = 2.5};
    scanRow("scan A cold, 16 threads", treeAt(folder, kTreeA), 16, 1.3, limits, 3, [&] { makeCold(); });
    close(drop);
}

void digests() {
    std::string tree = treeAt(folder, kTreeA);
    compare("digests of A",
            {{"engine",
              [tree] {
                  DSNode* root = scan(tree, 1);
                  double start = now();
                  DSNodeComputeHashes(root);
                  return now() - start;
              }},
             {"bound, streaming SHA-1",
              [tree] {
                  BoundNode* root = boundScan(tree, 1);
                  double start = now();
                  boundDigests(root);
                  return now() - start;
              },
              1.2, true}},
            5);
}

double engineCompare(const std::string& now_, const std::string& before) {
    DSNode* current = scan(now_, 1);
    DSNode* previous = scan(before, 1);
    char** paths[3];
    uint64_t counts[3];
    double start = now();
    DSNodeCompareSnapshots(current, previous, &paths[0], &counts[0], &paths[1], &counts[1], &paths[2],
                           &counts[2]);
    return now() - start;
}

double boundCompareOf(const std::string& now_, const std::string& before) {
    BoundNode* current = boundScan(now_, 1);
    BoundNode* previous = boundScan(before, 1);
    double start = now();
    boundCompare(current, previous);
    return now() - start;
}

void comparison() {
    std::string before = treeAt(folder, kTreeA);
    std::string after = treeAt(folder, kTreeM);
    std::vector<double> medians =
        compare("compare A with 2 % changed",
                {{"engine", [=] { return engineCompare(after, before); }},
                 {"bound, merge walk", [=] { return boundCompareOf(after, before); }, 3, true}},
                5);
    double peer = watchdogDiff(before);
    if (peer > 0)
        printRatio("compare A with 2 % changed", "watchdog", medians[0], peer, peer / medians[0], 100, false);
}

// The directories of a tree, each after the one that it is in, by their paths from the top.
using Directories = std::vector<std::pair<std::string, const DSNode*>>;

void addDirectories(const std::string& path, const DSNode* node, Directories& found) {
    found.emplace_back(path, node);
    for (uint64_t i = 0; i < node->children->count; i++) {
        const DSNode* child = snapshot::childAt(node, i);
        if (child->type == DSNodeTypeDirectory) addDirectories(path + "/" + child->name, child, found);
    }
}

// Asks for each directory by its path, or opens it and asks for each item by its name, and does nothing with
// the answers. The least a look can take.
void askBarely(const std::string& tree, const Directories& directories, bool structureOnly,
               unsigned threads) {
    constexpr size_t piece = 100;
    std::atomic<size_t> next = 0;
    const auto ask = [](int at, const char* path) {
        struct statx status;
        statx(at, path, AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS | STATX_BTIME, &status);
    };
    const auto work = [&] {
        const int top = open(tree.c_str(), O_PATH | O_CLOEXEC);
        for (size_t from = next.fetch_add(piece); from < directories.size(); from = next.fetch_add(piece)) {
            for (size_t i = from; i < std::min(from + piece, directories.size()); i++) {
                const auto& [path, node] = directories[i];
                if (structureOnly) {
                    ask(top, path.c_str());
                    continue;
                }
                const int own = openat(top, path.c_str(), O_PATH | O_CLOEXEC);
                for (uint64_t j = 0; j < node->children->count; j++)
                    ask(own, snapshot::childAt(node, j)->name);
                close(own);
            }
        }
        close(top);
    };
    std::vector<std::thread> helpers;
    while (helpers.size() + 1 < threads)
        helpers.emplace_back(work);
    work();
    for (std::thread& helper : helpers)
        helper.join();
}

// A look again at a tree in which nothing changed, beside a whole scan of it by as many threads: by one, and
// by as many as either would have, which goes by the same pace.
void quickLooks() {
    const auto lookAgain = [](const std::string& tree, int32_t kind, unsigned threads) {
        return [=] {
            DSNode* root = DSNodeCreate("/", 0, 0, 0, DSNodeTypeDirectory);
            DSEvidence* evidence = DSEvidenceCreate();
            DSNodeLookAgain(root, evidence, tree.c_str(), DSQuickLookItems);
            const double start = now();
            snapshot::lookAgain(root, evidence, tree.c_str(), kind, {.threads = threads});
            return now() - start;
        };
    };
    const auto bareQuestions = [](const std::string& tree, int32_t kind, unsigned threads) {
        return [=] {
            Directories directories;
            addDirectories(".", scan(tree, 1), directories);
            const double start = now();
            askBarely(tree, directories, kind == DSQuickLookStructure, threads);
            return now() - start;
        };
    };
    const unsigned processors =
        std::max(std::thread::hardware_concurrency(), 2U); // as many as the pace takes
    const auto row = [&](const std::string& title, const TreeKind& treeKind, int32_t look, double limit,
                         int rounds) {
        const std::string tree = treeAt(folder, treeKind);
        compare(title + ", 1 thread",
                {{"engine", lookAgain(tree, look, 1)},
                 {"scan", engineScan(tree, 1).run, limit, true},
                 {"bare questions", bareQuestions(tree, look, 1), 1.1, true}},
                rounds);
        compare(title + ", by the pace",
                {{"engine", lookAgain(tree, look, 0)},
                 {"scan", engineScan(tree, 0).run, limit, true},
                 {"bare questions", bareQuestions(tree, look, processors), 1.1, true}},
                rounds);
    };
    row("structure of A", kTreeA, DSQuickLookStructure, 1.0 / 12, 5);
    row("items of A", kTreeA, DSQuickLookItems, 0.75, 5);
    row("structure of C", kTreeC, DSQuickLookStructure, 1.0 / 12, kRoundsOfC);
    row("items of C", kTreeC, DSQuickLookItems, 0.75, kRoundsOfC);
}

double heapBytes() {
    struct mallinfo2 info = mallinfo2();
    return static_cast<double>(info.arena + info.hblkhd - info.fordblks);
}

double residentBytes() {
    long pages = 0;
    long resident = 0;
    FILE* file = fopen("/proc/self/statm", "re");
    if (file == nullptr || fscanf(file, "%ld %ld", &pages, &resident) != 2) return 0;
    fclose(file);
    return static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE));
}

// A million nodes with names of 20 bytes, ten in a directory.
constexpr unsigned kNodes = 1'000'000;
constexpr unsigned kNameBytes = 20;

DSNode* nodesMadeOneByOne() {
    DSNode* root = DSNodeCreate("/", 0, 0, 0, DSNodeTypeDirectory);
    DSNode* directory = root;
    for (unsigned i = 0; i < kNodes; i++) {
        char name[kNameBytes + 4];
        snprintf(name, sizeof(name), "%020u", i);
        if (i % 11 == 0)
            directory = DSNodeCreateWithParent(root, name, 0, 0, 0, DSNodeTypeDirectory);
        else
            DSNodeCreateWithParent(directory, name, 1, 2, 3, DSNodeTypeFile);
    }
    return root;
}

// Bytes a node, allocator included, beside what the public records are by themselves: the node, its list of
// children, the link and the slot that stand for it in its parent's list, and its name.
void memory() {
    constexpr double records =
        sizeof(DSNode) + sizeof(DSList) + sizeof(DSListNode) + sizeof(DSListNode*) + kNameBytes + 1;
    const std::string file = folder + "/million.snapshot";
    auto grow = [](double (*bytes)(), const std::function<DSNode*()>& make) {
        return inChild([=] {
            double start = bytes();
            make();
            return (bytes() - start) / kNodes;
        });
    };
    auto load = [=] { return DSNodeLoadSnapshotWithSHA1(file.c_str(), 0); };
    inChild([=] { return DSNodeSaveSnapshotWithSHA1(nodesMadeOneByOne(), file.c_str(), 0); });
    std::optional<double> heap = grow(heapBytes, nodesMadeOneByOne);
    std::optional<double> resident = grow(residentBytes, nodesMadeOneByOne);
    std::optional<double> loaded = grow(residentBytes, load); // the allocator counts address space, too
    std::filesystem::remove(file);
    printRatio("memory, bytes a node", "allocated", *heap, 192, *heap / 192, 1, true);
    printRatio("memory, bytes a node", "resident", *resident, 192, *resident / 192, 1, true);
    printRatio("the same, loaded from a file", "records alone, resident", *loaded, records, *loaded / records,
               1.05, true);

    std::string tree = treeAt(folder, kTreeC);
    std::optional<double> scanned = inChild([&] {
        double start = residentBytes();
        scan(tree, 1);
        return residentBytes() - start;
    });
    double peer = watchdogMemory(tree);
    if (peer > 0)
        printRatio("memory of C, MB", "watchdog", *scanned / 1e6, peer / 1e6, peer / *scanned, 5, false);
}

// How much more an item of C costs than one of A, as a multiple of the bound's own such growth.
void growth() {
    std::string a = treeAt(folder, kTreeA);
    std::string c = treeAt(folder, kTreeC);
    double share = static_cast<double>(itemsOf(kTreeC)) / itemsOf(kTreeA);
    auto row = [&](const char* work, auto engine, auto bound) {
        std::vector<double> m = compare(std::string(work) + " growth, as measured",
                                        {{"C, engine", [=] { return engine(c); }},
                                         {"A, engine", [=] { return engine(a); }, 0, true},
                                         {"C, bound", [=] { return bound(c); }, 0, true},
                                         {"A, bound", [=] { return bound(a); }, 0, true}},
                                        kRoundsOfC);
        double own = m[0] / m[1] / share;
        double theirs = m[2] / m[3] / share;
        printRatio(std::string(work) + ", an item of C to one of A", "bound's own growth", own, theirs,
                   own / theirs, 1.15, true);
    };
    row(
        "scan", [](const std::string& tree) { return engineScan(tree, 1).run(); },
        [](const std::string& tree) { return boundScanOf(tree, 1, 0).run(); });
    row(
        "digests",
        [](const std::string& tree) {
            DSNode* root = scan(tree, 1);
            double start = now();
            DSNodeComputeHashes(root);
            return now() - start;
        },
        [](const std::string& tree) {
            BoundNode* root = boundScan(tree, 1);
            double start = now();
            boundDigests(root);
            return now() - start;
        });
    row(
        "compare", [](const std::string& tree) { return engineCompare(tree, tree); },
        [](const std::string& tree) { return boundCompareOf(tree, tree); });

    std::string b = treeAt(folder, kTreeB);
    auto perItem = [](const std::string& tree, const TreeKind& kind) {
        std::vector<double> times(5);
        for (double& time : times)
            time = *inChild([&] { return engineCompare(tree, tree); });
        return median(times) / itemsOf(kind);
    };
    double perA = perItem(a, kTreeA);
    double perB = perItem(b, kTreeB);
    printRatio("compare, ns an item of B to one of A", "A", perB * 1e9, perA * 1e9, perB / perA, 1.5, true);
}

} // namespace

int main(int argumentCount, char** arguments) {
    const std::pair<const char*, void (*)()> all[] = {
        {"scan", scans},      {"threads", scansAhead}, {"cold", coldScans}, {"quick", quickLooks},
        {"digests", digests}, {"compare", comparison}, {"memory", memory},  {"growth", growth}};
    std::vector<std::string> words(arguments + 1, arguments + argumentCount);
    std::set<std::string> rows;
    for (size_t i = 0; i < words.size(); i++) {
        if (words[i] == "--processor-time") {
            setClock(Clock::processor);
        } else if (words[i] == "--trees" && i + 1 < words.size()) {
            folder = words[++i];
        } else if (std::ranges::any_of(all, [&](const auto& row) { return words[i] == row.first; })) {
            rows.insert(words[i]);
        } else {
            fprintf(stderr,
                    "usage: %s [--trees FOLDER] [--processor-time] "
                    "[scan|threads|cold|quick|digests|compare|memory|growth]...\n",
                    arguments[0]);
            return 2;
        }
    }
    char temporary[] = BENCH_BINARY_FOLDER "/trees-XXXXXX";
    if (folder.empty()) {
        if (mkdtemp(temporary) == nullptr) {
            perror(temporary);
            return 2;
        }
        folder = temporary;
    }
    printf("%-34s %-28s %10s %10s\n", clockInUse() == Clock::wall ? "seconds" : "processor seconds",
           "against", "engine", "other");
    for (const auto& [name, run] : all)
        if (rows.empty() || rows.contains(name)) run();
    if (folder == temporary) std::filesystem::remove_all(folder);
    return missed() == 0 ? 0 : 1;
}
