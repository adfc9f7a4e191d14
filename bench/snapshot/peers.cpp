#include "bench/snapshot/peers.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <ftw.h>
#include <iterator>
#include <set>

namespace bench {

namespace {

struct Item {
    std::string path;
    struct stat status;
};
std::vector<Item> items;

double withFilesystem(const std::string& tree) {
    double start = now();
    std::vector<Item> found;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(tree)) {
        found.push_back({entry.path().string(), {}});
        lstat(found.back().path.c_str(), &found.back().status);
    }
    std::ranges::sort(found, {}, &Item::path);
    return now() - start;
}

int takeItem(const char* path, const struct stat* status, int /*kind*/, FTW* /*place*/) {
    items.push_back({path, *status});
    return 0;
}

// As portable programs do it: what nftw hands over is not told for each kind of item.
int takeItemByLstat(const char* path, const struct stat* /*status*/, int /*kind*/, FTW* /*place*/) {
    struct stat status {};
    if (lstat(path, &status) == 0) items.push_back({path, status});
    return 0;
}

double withNftw(const std::string& tree, __nftw_func_t take) {
    double start = now();
    nftw(tree.c_str(), take, 64, FTW_PHYS);
    std::ranges::sort(items, {}, &Item::path);
    return now() - start;
}

// Runs a Python program that prints one number; below 0 when that fails.
double python(std::string program) {
    if (clockInUse() == Clock::processor)
        for (size_t at = 0; (at = program.find("time.time()", at)) != std::string::npos;)
            program.replace(at, 11, "time.process_time()");
    FILE* output = popen(("/usr/bin/python3 -c '" + program + "' 2>/dev/null").c_str(), "r");
    if (output == nullptr) return -1;
    char line[64] = "";
    bool got = fgets(line, sizeof(line), output) != nullptr;
    return pclose(output) == 0 && got ? strtod(line, nullptr) : -1;
}

void sayOnce(const std::string& line) {
    static std::set<std::string> said;
    if (said.insert(line).second) printf("%s\n", line.c_str());
}

const std::string kImport =
    "import time, resource\n"
    "from watchdog.utils.dirsnapshot import DirectorySnapshot, DirectorySnapshotDiff\n";

} // namespace

std::vector<Contender> scanPeers(const std::string& tree, const ScanLimits& limits) {
    std::vector<Contender> peers;
    auto add = [&](double limit, std::vector<std::string> command) {
        std::string name = command[0];
        if (limit <= 0) return;
        if (!isInstalled(name)) {
            sayOnce(name + " is not installed and left out");
            return;
        }
        std::string words;
        for (const std::string& word : command)
            words += word == tree ? " TREE" : " " + word;
        sayOnce("as a peer:" + words);
        peers.push_back({name, [command] { return durationOf(command).value_or(-1); }, limit});
    };
    const std::string format = "%P\\t%s\\t%y\\t%T@\\t%A@\\n";
    add(limits.find, {"find", tree, "-printf", format});
    add(limits.bfs, {"bfs", tree, "-printf", format});
    add(limits.mtree, {"mtree", "-c", "-k", "type,size,time", "-p", tree});
    add(limits.rclone, {"rclone", "-q", "lsjson", "-R", tree});
    if (limits.libraries > 0) {
        peers.push_back({"std::filesystem", [tree] { return withFilesystem(tree); }, limits.libraries});
        peers.push_back(
            {"nftw, lstat", [tree] { return withNftw(tree, takeItemByLstat); }, limits.libraries});
        peers.push_back({"nftw", [tree] { return withNftw(tree, takeItem); }, 0});
    }
    if (limits.watchdog > 0 && python(kImport + "print(1)") != 1)
        sayOnce("watchdog is not installed for /usr/bin/python3 and left out");
    else if (limits.watchdog > 0)
        peers.push_back({"watchdog",
                         [tree] {
                             return python(kImport + "t = time.time(); DirectorySnapshot(\"" + tree +
                                           "\"); print(time.time() - t)");
                         },
                         limits.watchdog});
    return peers;
}

double watchdogDiff(const std::string& tree) {
    // The same share of changes as between the trees A and M, made in what watchdog holds in memory.
    return python(kImport +
                  "import os\n"
                  "a = DirectorySnapshot(\"" +
                  tree + "\"); b = DirectorySnapshot(\"" + tree +
                  "\")\n"
                  "def drop(s, p): del s._inode_to_path[s.inode(p)]; del s._stat_info[p]\n"
                  "files = sorted(p for p in a.paths if not a.isdir(p))\n"
                  "for i, p in enumerate(files):\n"
                  "    if i % 200 == 0: drop(a, p)\n"
                  "    elif i % 200 == 1: drop(b, p)\n"
                  "    elif i % 200 < 4:\n"
                  "        st = list(b._stat_info[p]); st[8] += 1; b._stat_info[p] = os.stat_result(st)\n"
                  "t = time.time(); DirectorySnapshotDiff(a, b); print(time.time() - t)\n");
}

double watchdogMemory(const std::string& tree) {
    return python(kImport +
                  "m = lambda: resource.getrusage(resource.RUSAGE_SELF).ru_maxrss * 1024\n"
                  "b = m(); s = DirectorySnapshot(\"" +
                  tree + "\"); print(m() - b)");
}

} // namespace bench
