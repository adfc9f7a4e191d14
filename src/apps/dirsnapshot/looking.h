// How a command looks at a directory: what its options say, how far it is, and how long it waits for the
// disk.
#pragma once

#include "apps/dirsnapshot/trees.h"
#include "snapshot/scan/Asking.h"

#include <functional>
#include <string>

namespace CLI {
class App;
}

namespace dirsnapshot_tool {

// Of the whole run; set before a command begins.
struct Looking {
    unsigned threads = 0;       // 0: as many as the disk's answers ask for
    double timeout = 0;         // seconds that one answer may take; 0: any time
    bool showsProgress = false; // on standard error
    std::string earlier;        // a snapshot whose size tells how many items to expect; empty: none
};
Looking& looking();

// For an option that is checked: what is wrong with a number that is not more than 0, or nothing.
std::string moreThanZero(const std::string& number);

// --threads, --timeout and --progress of a command that may be given a directory.
void addLookingOptions(CLI::App* subcommand);

// Does what a look at a directory is, with progress on standard error where it is shown. `look` tells what
// its threads are at, and fills `evidence`, if any.
//
// Where an answer may take only so long, the look is in a process of its own: a thread whose question is
// never answered stays in the kernel, and what it belongs to cannot end. That process is told to end and left
// behind; a message says which directory it was, and there is no tree.
using Look = std::function<LoadedTree(snapshot::Asking& asking)>;
LoadedTree take(const Look& look, snapshot::Evidence* evidence = nullptr);

// The same for a question with a number below 200 as its answer; -1, after a message, when there is none.
int ask(const std::function<int(snapshot::Asking& asking)>& question);

} // namespace dirsnapshot_tool
