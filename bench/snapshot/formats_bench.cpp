// Saving and loading snapshots, beside lower bounds and peers measured in the same run: every figure is the
// median of several turns, each in a process of its own.
//
//   formats_bench [ROUNDS]        5 without an argument
//
// Exit code 1 when a ratio misses its limit.
#include "bench/snapshot/formats_bound.h"
#include "bench/snapshot/formats_tree.h"
#include "bench/snapshot/measure.h"
#include "snapshot/DSDatabase.h"
#include "snapshot/DSFlatFile.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <unistd.h>

namespace {

using bench::Contender;

// Where the stores of one tree lie. The engine's database is the path with ".db".
struct Stores {
    std::string flat;     // as the engine saved it
    std::string database; // likewise, without ".db"
    std::string scratch;  // removed before each measurement
};

// Processor seconds, so that other work on the machine counts little. Only the database waits for its disk,
// as often as the bound does.
double processorTime() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

// What the work is done on is made before the time starts.
template <typename Work, typename... Subject>
double timed(Work work, Subject... subject) {
    double start = processorTime();
    work(subject...);
    return processorTime() - start;
}

// The engine tells what it does with a database; that is not part of the figures' table.
void silence() { dup2(open("/dev/null", O_WRONLY), STDERR_FILENO); }

double python(const std::string& arguments) {
    FILE* pipe =
        popen(("/usr/bin/python3 " BENCH_SOURCE_FOLDER "/formats_peer.py " + arguments).c_str(), "r");
    double seconds = -1;
    if (fscanf(pipe, "%lf", &seconds) != 1) seconds = -1;
    return pclose(pipe) == 0 ? seconds : -1;
}

class Bench {
  public:
    Bench(std::string folder, int rounds) : _folder(std::move(folder)), _rounds(rounds) {}

    void run() {
        printf("%-34s %-28s %10s %10s\n", "processor seconds", "against", "engine", "other");
        Figures a = measure("A", bench::treeA, true);
        Figures c = measure("C", bench::treeC, false);
        Figures b = measure("B", bench::treeB, false);
        for (size_t i = 0; i < a.works.size(); i++) {
            double engine = c.works[i].engine / c.items / (a.works[i].engine / a.items);
            double bound = c.works[i].bound / c.items / (a.works[i].bound / a.items);
            bench::printRatio("per item, C against A: " + a.works[i].name, "the bound's own growth", engine,
                              bound, engine / bound, 1.15, true);
        }
        for (size_t i : {size_t{1}, size_t{3}}) // the loads
            bench::printRatio("per item, B against A: " + a.works[i].name, "A",
                              b.works[i].engine / b.items * 1e6, a.works[i].engine / a.items * 1e6,
                              b.works[i].engine / b.items / (a.works[i].engine / a.items), 1.5, true);
    }

  private:
    struct Work {
        std::string name;
        double engine;
        double bound;
    };
    struct Figures {
        unsigned items = 0;
        std::vector<Work> works;
    };

    // This process keeps no tree itself: its children would begin with a used heap, which they would have to
    // copy page by page.
    Figures measure(const std::string& name, DSNode* (*generate)(), bool withPeers) {
        Stores stores{_folder + "/" + name, _folder + "/" + name + "-base", _folder + "/scratch"};
        Figures figures;
        figures.items = static_cast<unsigned>(*bench::inChild([&] {
            silence();
            DSNode* generated = generate();
            DSNodeSaveSnapshot(generated, stores.flat.c_str());
            DSNodeSaveSnapshotDBWithSHA1(generated, stores.database.c_str(), 0);
            return static_cast<double>(bench::itemsBelow(generated));
        }));
        auto tree = [&] { return DSNodeLoadSnapshotWithSHA1(stores.flat.c_str(), 0); };
        auto packed = [&] { return bench::boundLoadFile(stores.flat); };
        auto add = [&](const std::string& work, std::vector<Contender> contenders) {
            if (!withPeers) contenders.resize(2);
            int rounds = figures.items >= 1'000'000 ? std::min(_rounds, 2) : _rounds;
            auto medians = bench::compare(work + ", " + name, contenders, rounds, [&] {
                for (const char* end : {"", ".db", ".db-journal"})
                    std::filesystem::remove(stores.scratch + end);
            });
            figures.works.push_back({work, medians[0], medians[1]});
        };
        double noLimit = withPeers ? 1 : 0; // bounds of C and B only serve the growth
        add("flat file, save",
            {{"engine",
              [&] {
                  return timed([&](DSNode* root) { DSNodeSaveSnapshot(root, stores.scratch.c_str()); },
                               tree());
              }},
             {"one buffer, one write",
              [&] {
                  return timed([&](auto* root) { bench::boundSaveFile(root, stores.scratch); }, packed());
              },
              1.5 * noLimit, true},
             {"fprintf",
              [&] {
                  return timed([&](auto* root) { bench::plainSaveFile(root, stores.scratch); }, packed());
              },
              2.5}});
        add("flat file, load",
            {{"engine", [&] { return timed([&] { DSNodeLoadSnapshotWithSHA1(stores.flat.c_str(), 0); }); }},
             {"hand parser, packed tree", [&] { return timed([&] { bench::boundLoadFile(stores.flat); }); },
              2 * noLimit, true},
             {"fscanf, map of paths", [&] { return timed([&] { bench::plainLoadFile(stores.flat); }); }, 4}});
        add("database, save",
            {{"engine",
              [&] {
                  silence();
                  return timed(
                      [&](DSNode* root) { DSNodeSaveSnapshotDBWithSHA1(root, stores.scratch.c_str(), 0); },
                      tree());
              }},
             {"the same three commits",
              [&] {
                  return timed([&](auto* root) { bench::boundSaveDatabase(root, stores.scratch + ".db"); },
                               packed());
              },
              1.15 * noLimit, true},
             {"Python executemany",
              [&] { return python("save " + stores.flat + " " + stores.scratch + ".db"); }, 1}});
        add("database, load",
            {{"engine",
              [&] {
                  silence();
                  return timed([&] { DSNodeLoadSnapshotDBWithSHA1(stores.database.c_str()); });
              }},
             {"stepping through the rows",
              [&] {
                  return timed([&] {
                      volatile int64_t sum = bench::boundStepDatabase(stores.database + ".db");
                      (void)sum;
                  });
              },
              1.5 * noLimit, true},
             {"Python fetchall", [&] { return python("load " + stores.database + ".db"); }, 1.5}});
        return figures;
    }

    std::string _folder;
    int _rounds;
};

} // namespace

int main(int count, char** words) {
    const int rounds = count > 1 ? atoi(words[1]) : 5;
    if (rounds < 1) {
        fprintf(stderr, "usage: %s [TURNS]\n", words[0]);
        return 2;
    }
    char folder[] = BENCH_BINARY_FOLDER "/formats-XXXXXX";
    if (mkdtemp(folder) == nullptr) {
        perror(folder);
        return 2;
    }
    printf("the median of %d turns for each figure, after one that does not count; trees A and B in memory "
           "of 220,000 and 100,000 items, C of 1,000,000 in at most 2 turns\n",
           rounds);
    Bench(folder, rounds).run();
    std::filesystem::remove_all(folder);
    return bench::missed() == 0 ? 0 : 1;
}
