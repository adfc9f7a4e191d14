// The subcommand that compares two snapshots.
#pragma once

#include "apps/dirsnapshot/commands.h"

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace dirsnapshot_tool {

// How a comparison by digests goes.
struct HashOptions {
    std::string base; // the directory that the snapshots are of; empty: the newer one's, if it is scanned
    bool ignoreDeleted = false;
    std::vector<std::string> exclusions; // absolute paths and names
};

struct DiffOptions {
    Format format = Format::lines;
    Colouring colouring = Colouring::automatic;
    bool byHashes = false;
    HashOptions hashes;
    bool byFields = false;
    bool moves = false;
    bool contents = false;
    std::vector<std::string> ignored; // names of fields
    std::string journal;              // of digests of contents; empty: none

    // Whether any difference of a field counts, and not only a later time.
    bool comparesFields() const { return byFields || moves || contents || !ignored.empty(); }
};

void addDiffOptions(CLI::App* comparing, DiffOptions& options);

ExitCode diff(const Source& older, const Source& newer, const DiffOptions& options);

// One difference after the other, as it is found.
ExitCode diffByFields(const Source& older, const Source& newer, const DiffOptions& options);

} // namespace dirsnapshot_tool
