#include "apps/dirsnapshot/looking.h"

#include "apps/dirsnapshot/OwnProcess.h"
#include "apps/dirsnapshot/Progress.h"
#include "snapshot/stores/flat_file.h"

#include <CLI/CLI.hpp>
#include <sys/mman.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <unistd.h>

namespace dirsnapshot_tool {

namespace {

// A file in memory, by which a process hands on what it found.
class MemoryFile {
  public:
    explicit MemoryFile(const char* name)
        : _descriptor(memfd_create(name, MFD_CLOEXEC)),
          _path("/proc/self/fd/" + std::to_string(_descriptor)) {}
    ~MemoryFile() { close(_descriptor); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    int descriptor() const { return _descriptor; }
    const char* path() const { return _path.c_str(); }

  private:
    int _descriptor;
    std::string _path;
};

enum Outcome { kWhole, kPart, kNothing };

LoadedTree takeHere(const Look& look, snapshot::Asking& asking) {
    std::optional<Progress> progress;
    if (looking().showsProgress)
        progress.emplace([&asking] { return asking.itemsExamined(); }, roughlyItemsOf(looking().earlier),
                         "items");
    return look(asking);
}

} // namespace

Looking& looking() {
    static Looking options;
    return options;
}

std::string moreThanZero(const std::string& number) {
    return strtod(number.c_str(), nullptr) > 0 ? "" : "not more than 0: " + number;
}

void addLookingOptions(CLI::App* subcommand) {
    Looking& options = looking();
    options.showsProgress = isatty(STDERR_FILENO) != 0;
    subcommand
        ->add_option(
            "--threads", options.threads,
            "Ask the disk so many questions at a time, at most 64; without it as many as its answers "
            "are slow, up to 16")
        ->type_name("N")
        ->check(CLI::Range(1U, snapshot::Asking::kMostThreads));
    subcommand
        ->add_option(
            "--timeout", options.timeout,
            "Give up, with exit code 2, when the disk leaves a question unanswered for so long, as a "
            "server does that is gone")
        ->type_name("SECONDS")
        ->check(moreThanZero);
    subcommand->add_flag("--progress", options.showsProgress,
                         "Show on standard error how far it is, also when that is no terminal");
}

int ask(const std::function<int(snapshot::Asking& asking)>& question) {
    if (looking().timeout > 0) return OwnProcess(looking().timeout).run(question, {});
    return question(*std::make_unique<snapshot::Asking>());
}

LoadedTree take(const Look& look, snapshot::Evidence* evidence) {
    if (looking().timeout <= 0) return takeHere(look, *std::make_unique<snapshot::Asking>());
    const MemoryFile tree("tree");
    const MemoryFile known("evidence");
    const int outcome =
        OwnProcess(looking().timeout)
            .run(
                [&](snapshot::Asking& asking) {
                    const LoadedTree found = takeHere(look, asking);
                    if (found.root == nullptr) return kNothing;
                    bool isHandedOn =
                        snapshot::saveFlatFile(found.root.get(), tree.path()) == snapshot::SaveResult::saved;
                    if (evidence != nullptr)
                        isHandedOn = DSEvidenceSave(evidence->get(), known.path()) == 0 && isHandedOn;
                    if (!isHandedOn) complain("memory", strerror(errno));
                    return !isHandedOn ? kNothing : found.complete ? kWhole : kPart;
                },
                {tree.descriptor(), known.descriptor()});
    LoadedTree found;
    if (outcome != kWhole && outcome != kPart) return found;
    bool isRead = false;
    found.root.reset(snapshot::loadFlatFile(tree.path(), false, isRead));
    found.complete = isRead && outcome == kWhole;
    if (evidence != nullptr) evidence->reset(DSEvidenceLoad(known.path(), found.root.get()));
    return found;
}

} // namespace dirsnapshot_tool
