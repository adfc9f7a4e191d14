// Getting trees and storing them. Every failure is said on standard error, including those that the engine's
// functions leave to their callers, such as a folder that cannot be read or a database that was not written.
#pragma once

#include "snapshot/tree/cxx.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace dirsnapshot_tool {

// Where a snapshot is stored: "flat" is the file itself, "sync" and "backup" the database beside it, which
// may be named itself too. To read, the empty type takes the file, or, when there is none, the database.
using StoreType = std::string;

struct LoadedTree {
    snapshot::Tree root;   // none when nothing could be read
    bool complete = false; // whether all of the source is in the tree
};

// A snapshot of a directory, in the way that looking.h has it.
LoadedTree scanDirectory(const std::string& path, bool recursive);

// The same by a look that takes from an older snapshot, and the evidence beside it, what cannot have changed.
// One that is not there makes it a whole scan. `evidence` is this look's then.
LoadedTree lookAgain(const std::string& path, const std::string& older, const StoreType& type,
                     bool structureOnly, snapshot::Evidence& evidence);

// What lies beside a stored snapshot for exactly this tree; evidence of nothing when nothing does.
snapshot::Evidence loadEvidence(const std::string& snapshot, const DSNode* root);

// Beside the store, for the next look. Said on standard error when it cannot be written.
bool saveEvidence(const snapshot::Evidence& evidence, const std::string& path);

// About how many items a stored snapshot holds, without reading it; 0 when that does not show.
uint64_t roughlyItemsOf(const std::string& snapshot);

LoadedTree loadSnapshot(const std::string& path, const StoreType& type);

// A directory is scanned, anything else is loaded.
LoadedTree scanOrLoad(const std::string& path, const StoreType& type);

// Whether the whole tree is stored now. A new database in which a part would be missing is removed.
bool saveSnapshot(const DSNode* root, const std::string& path, const StoreType& type);

// The node at a path in the tree, with or without its leading "/"; NULL after a message.
DSNode* findItem(const LoadedTree& tree, const std::string& path);

// The path of a node from its root; empty where it is too long to be formed.
std::string pathOf(const DSNode* node);

// One line on standard error, "dirsnapshot: SUBJECT: WHAT".
void complain(std::string_view subject, std::string_view what);

} // namespace dirsnapshot_tool
