// Other ways to take a list of a directory tree with sizes and times, as people have them at hand.
#pragma once

#include "bench/snapshot/measure.h"

#include <string>
#include <vector>

namespace bench {

// How many times faster the engine's scan must be than each kind of peer; 0 leaves the peer out.
struct ScanLimits {
    double find = 0;      // find -printf
    double bfs = 0;       // the same, breadth first
    double mtree = 0;     // mtree -c
    double libraries = 0; // std::filesystem, and nftw, each with lstat
    double watchdog = 0;  // Python's watchdog, DirectorySnapshot
    double rclone = 0;    // rclone lsjson
};

// The peers that are installed. The first time, a line on standard output says how each is run or that it is
// missing.
std::vector<Contender> scanPeers(const std::string& tree, const ScanLimits& limits);

// Seconds that watchdog's DirectorySnapshotDiff takes for a tree of which 2 % changed; below 0 without it.
double watchdogDiff(const std::string& tree);

// Bytes that watchdog's DirectorySnapshot of a tree takes; below 0 without it.
double watchdogMemory(const std::string& tree);

} // namespace bench
