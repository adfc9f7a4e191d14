// The comparison by fields, which streams.
#include "apps/dirsnapshot/ContentDigests.h"
#include "apps/dirsnapshot/DifferenceRecords.h"
#include "apps/dirsnapshot/comparing_options.h"
#include "apps/dirsnapshot/diff.h"
#include "snapshot/tree/Evidence.h"

#include <filesystem>

namespace dirsnapshot_tool {

namespace {

struct Side {
    LoadedTree tree;
    snapshot::Evidence evidence; // or NULL
    std::string directory;       // absolute, without a "/" at its end; empty when it is stored
};

std::string directoryAt(const std::string& path) {
    std::error_code error;
    if (!std::filesystem::is_directory(path, error)) return {};
    std::string directory = std::filesystem::absolute(path).lexically_normal();
    while (directory.size() > 1 && directory.ends_with('/'))
        directory.pop_back();
    return directory;
}

Side load(const Source& source, bool withEvidence) {
    Side side{{}, nullptr, directoryAt(source.path)};
    side.tree = scanOrLoad(source.path, source.type);
    if (withEvidence && side.directory.empty() && side.tree.root != nullptr)
        side.evidence = loadEvidence(source.path, side.tree.root.get());
    return side;
}

// A directory that is compared with a snapshot that has evidence gets evidence by a look at what may differ.
Side loadNewer(const Source& newer, const Source& older, const Side& olderSide, bool withEvidence) {
    const bool hasEvidence = olderSide.evidence != nullptr && !olderSide.evidence->records.empty();
    if (!hasEvidence || directoryAt(newer.path).empty()) return load(newer, withEvidence);
    Side side{{}, nullptr, directoryAt(newer.path)};
    side.tree = lookAgain(newer.path, older.path, older.type, false, side.evidence);
    return side;
}

// Whether contents can be known at all; else after a message.
bool canKnowContents(const Source& older, const Side& previous, const Source& newer, const Side& current,
                     const DiffOptions& options) {
    const bool isOlderStored = previous.directory.empty();
    const bool isNewerStored = current.directory.empty();
    if (isOlderStored && isNewerStored)
        complain(newer.path, "--content needs a directory, OLD or NEW");
    else if ((isOlderStored || isNewerStored) && options.journal.empty())
        complain(isOlderStored ? older.path : newer.path,
                 "a snapshot holds no contents; what they were can be known from --resume FILE");
    else
        return true;
    return false;
}

ContentDigests::Side contentsOf(const Side& side, const Side& other) {
    const bool isStored = side.directory.empty();
    const std::string& directory = isStored ? other.directory : side.directory;
    return {directory == "/" ? "" : directory, isStored};
}

class Comparison {
  public:
    Comparison(const Side& current, const Side& previous, const DiffOptions& options,
               ContentDigests* contents)
        : _current(current), _previous(previous), _contents(contents) {
        _engine.fields = fieldsThatCount(options.ignored, options.contents);
        _engine.laterOnly = options.comparesFields() ? 0 : 1;
        _engine.moves = options.moves ? 1 : 0;
        _engine.currentEvidence = current.evidence.get();
        _engine.previousEvidence = previous.evidence.get();
        if (contents != nullptr) {
            _engine.content = ContentDigests::ask;
            _engine.contentContext = contents;
        }
    }

    // Reads the contents on which the result depends; false when not all could be read.
    bool readContents() {
        run([](const DSDifference&) {});
        return _contents->read();
    }

    ExitCode print(Format format, Colouring colouring) {
        DifferenceRecords records(format, coloursFor(colouring), [this](const DSNode* node) {
            return _contents != nullptr ? _contents->find(node) : nullptr;
        });
        uint64_t told = 0;
        uint64_t unknown = 0;
        run([&](const DSDifference& difference) {
            if (difference.kind == DSDifferenceUnknown) {
                unknown++;
                return;
            }
            told++;
            records.add(difference);
        });
        records.finish();
        if (unknown > 0) {
            complain("content",
                     "not known of " + std::to_string(unknown) + " file(s), in which nothing else differs");
            return kTrouble;
        }
        return told > 0 ? kDifferent : kSame;
    }

  private:
    template <typename Each>
    void run(Each each) {
        DSNodeEnumerateDifferences(
            _current.tree.root.get(), _previous.tree.root.get(), &_engine,
            [](const DSDifference* difference, void* context) {
                (*static_cast<Each*>(context))(*difference);
                return 0;
            },
            &each);
    }

    const Side& _current;
    const Side& _previous;
    ContentDigests* _contents;
    DSDifferenceOptions _engine{};
};

} // namespace

ExitCode diffByFields(const Source& older, const Source& newer, const DiffOptions& options) {
    const Side previous = load(older, options.moves);
    const Side current = loadNewer(newer, older, previous, options.moves);
    if (previous.tree.root == nullptr || current.tree.root == nullptr) return kTrouble;
    DigestJournal journal;
    ContentDigests contents(contentsOf(current, previous), contentsOf(previous, current),
                            options.journal.empty() ? nullptr : &journal);
    Comparison comparison(current, previous, options, options.contents ? &contents : nullptr);
    bool isWhole = previous.tree.complete && current.tree.complete;
    if (options.contents) {
        if (!canKnowContents(older, previous, newer, current, options)) return kTrouble;
        if (!options.journal.empty() && !journal.open(options.journal)) return kTrouble;
        isWhole = comparison.readContents() && isWhole;
    }
    const ExitCode code = comparison.print(options.format, options.colouring);
    return isWhole ? code : kTrouble;
}

} // namespace dirsnapshot_tool
