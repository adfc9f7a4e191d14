// One pair of a folder here and a folder of a storage, kept in step: looks at both, asks the planner, does
// what it says, and looks again.
//
// Nothing is done with a name before both sides have left it alone for a while. Whatever changed between the
// look and the deed is noticed at the deed and left for the next round. A round that is interrupted at any
// moment, the process killed, leaves nothing half under a name, and the next one goes on.
//
// Threads: one at a time.
#pragma once

#include "platform/ProcessLog.h"
#include "service/LocalSide.h"
#include "service/LossGuard.h"
#include "service/PairStore.h"
#include "service/RemoteSpace.h"
#include "service/pair_walk.h"
#include "service/remote_look.h"

#include <array>
#include <chrono>
#include <functional>
#include <map>
#include <set>
#include <stop_token>
#include <string>
#include <unordered_map>
#include <vector>

namespace service {

// Where what is deleted there goes here: the desktop's trash, from which a person takes it back.
class DesktopTrash {
  public:
    virtual ~DesktopTrash() = default;
    virtual Outcome<Done> trash(const std::filesystem::path& item) = 0;
};

class ListedFolders;

class PairSync {
  public:
    struct Surroundings {
        RemoteSpace& space;
        LocalSide& local;
        PairStore& store;
        DesktopTrash& trash;
        platform::ProcessLog& log;
        std::function<std::chrono::steady_clock::time_point()> now; // for rest
        std::function<std::chrono::sys_seconds()> localTime;        // for the names of conflict copies
        std::function<std::chrono::sys_seconds()> time;             // for what is kept over a restart
    };
    struct Settings {
        std::string remoteFolder; // in the space
        std::string host;         // in the names of conflict copies
        std::chrono::milliseconds rest{2000};
        std::chrono::milliseconds restOfDeletions{30000};
        // Of a new version of a file that nobody has open any more: longer than the clock of file systems
        // stands still. Not more often than this for one file.
        std::chrono::milliseconds restOfSaved{50};
        std::chrono::milliseconds betweenHurries{10000};
        // So long after an own upload a storage may not list it yet: it is not believed to be deleted there.
        std::chrono::seconds restAfterUpload{600};
        std::chrono::days keepsFor{30};    // what a download replaced; 0: always
        std::string bootId;                // of this run of the machine; empty: not known
        std::chrono::sys_seconds booted{}; // when that began
        LocalSide::IsLeftOut isLeftOut;    // by path here, which is also asked with keys of the storage
        // Of what is left out: what goes along with a folder that it lies in, as caches and scratch files do.
        // Else a folder with it stays where it is, on both sides.
        LocalSide::IsLeftOut goesAlong;
        std::function<const LeftAlone*(const std::string& key)> leftAlone; // at or below such a name
    };
    struct Problem {
        std::string path; // the key
        std::string reason;
        std::optional<Trouble> trouble = std::nullopt; // of an operation; none: it is left out
    };
    struct Round {
        std::size_t done = 0;                         // operations
        std::size_t postponed = 0;                    // something changed, or a side was in the way: again
        bool restless = false;                        // something has to rest before it counts
        bool isAll = false;                           // what was done was all, and nothing follows from it
        std::chrono::steady_clock::duration looked{}; // what the look at both sides took
        // How long the soonest of what has to rest has to go on resting; without meaning but for restless.
        std::chrono::milliseconds restFor{std::chrono::hours(1)};
        std::vector<Problem> problems;
        std::shared_ptr<const WaitingLosses> waiting; // for the word of a person; none: nothing
        // Nothing is left to do but for the problems, and what waits for a word.
        bool isInStep() const { return (done == 0 || isAll) && postponed == 0 && !restless; }
    };

    PairSync(Surroundings around, Settings settings);
    ~PairSync();
    PairSync(const PairSync&) = delete;
    PairSync& operator=(const PairSync&) = delete;

    // A failure says that a side cannot be looked at, or is not the one that it was: nothing was done then.
    Outcome<Round> round(const std::stop_token& stop);

    // The same for files of these paths here alone, without a look at the rest: a saved file must not wait
    // for a look at everything. None when that does not tell enough, as when something is gone or is a
    // folder: a whole round has to follow. To be called after a round that left both sides in step.
    Outcome<std::optional<Round>> roundOf(const std::set<std::string>& paths, const std::stop_token& stop);
    // What the last round had to leave is meant: the next one does it. False: that is another list by now.
    bool confirm(const std::string& list) { return guard.confirm(list, around.time()); }

  private:
    class Compared;
    struct Held { // a name as the last look found it
        std::optional<LocalItem> here;
        std::optional<RemoteEntry> there;
    };
    struct Learned {
        LocalRecord here;
        RemoteRecord there;
        Digest digest{};
    };
    struct Rest {
        std::string record; // of both sides, as a text
        std::chrono::steady_clock::time_point since;
        std::chrono::steady_clock::time_point first; // since when it is not in step
    };
    struct Unsteady { // what changed while it went up
        std::chrono::steady_clock::duration wait{};
        std::chrono::steady_clock::time_point until;
    };
    using View = std::map<std::string, Held, bool (*)(std::string_view, std::string_view)>;

    Outcome<Done> checkMarks(const std::stop_token& stop);
    Outcome<Done> checkMarkThere(const std::stop_token& stop);
    Outcome<Done> setMarkThere(const std::string& path, const std::stop_token& stop);
    Outcome<std::string> contentThere(const std::string& path, std::uint64_t size,
                                      const std::stop_token& stop);
    void recover(const std::stop_token& stop);
    using Names = std::map<std::string, Name, bool (*)(std::string_view, std::string_view)>;
    Outcome<bool> lookAtFile(const std::string& path, Names& names, Round& round,
                             const std::stop_token& stop);
    std::optional<OnBothSides> folderAbove(const std::string& path, Names& names, Round& round);
    Outcome<Round> carryOut(const std::vector<Operation>& operations, Round result,
                            const std::stop_token& stop);
    Outcome<std::vector<Name>> look(Round& round, const std::stop_token& stop);
    Outcome<std::vector<Name>> compare(const PairWalkOptions& options, const OnBothSides& top, Round& round,
                                       const std::stop_token& stop, bool isFolder);
    Name nameOf(const OnBothSides& sides, const std::optional<AgreedItem>& agreed, Round& round);
    std::string spellingOf(const std::string& key, const AgreedItem& agreed, std::string AgreedItem::*side,
                           const std::string& path);
    AgreedItem& renewedOf(const std::string& key, const AgreedItem& agreed);
    void lookAtKept();
    bool isSettled(const PairStore::Kept& file);
    void removeOld(const std::stop_token& stop);
    std::string conflictNameOf(const std::string& path, const std::string& key, const Digest& digest) const;
    Seen seenHere(const std::string& key, const LocalItem& item, const std::optional<AgreedItem>& agreed);
    Seen seenThere(const std::string& key, const RemoteEntry& entry, const std::optional<AgreedItem>& agreed);
    std::chrono::milliseconds restLeft(const std::string& key, const Held& held, const Rest& rest,
                                       bool isDeletion);
    bool isSaved(const std::string& key, const Held& sides) const;
    const Rest& noteRest(const std::string& key, const Held& held, bool isDeletion);
    void noteUnsteady(const Operation& operation, const Outcome<Done>& outcome);
    Outcome<Done> performIfRoom(const Operation& operation, const std::stop_token& stop);
    bool hasRoom(std::uint64_t bytes, const std::stop_token& stop);
    void noteFailure(const Operation& operation, const Failure& failure, Round& result);
    void noteBoot();
    bool isLostByACrash(const LocalItem& item, const std::string& key) const;
    void markRestless(std::vector<Name>& all, Round& round);

    Outcome<Done> perform(const Operation& operation, const std::stop_token& stop);
    Outcome<Done> putThere(const std::string& key, bool replaces, const std::stop_token& stop);
    Outcome<Done> putHere(const std::string& key, bool replaces, const std::stop_token& stop);
    Outcome<Done> makeFolder(Side side, const std::string& key, const std::stop_token& stop);
    Outcome<Done> trashHere(const std::string& key, const std::stop_token& stop);
    Outcome<Done> trashThere(const std::string& key, const std::stop_token& stop);
    Outcome<Done> move(Side side, const std::string& key, const std::string& to, const std::stop_token& stop);
    static bool isForParked(What what);
    std::string parkedAt(Side side, const std::string& key) const;
    Outcome<std::string> targetOf(Side side, const std::string& from, const std::string& to);
    bool recoverMove(const JournalEntry& entry, const std::stop_token& stop);
    Outcome<std::vector<Name>> lookAtParked(const std::string& key, const PairWalkOptions& options,
                                            Round& round, const std::stop_token& stop);
    Outcome<Done> giveUpParked(const std::string& key);
    Outcome<Done> respell(Side side, const std::string& key, const std::stop_token& stop);
    Outcome<Done> aside(const std::string& key);
    Outcome<Done> agree(const std::string& key);

    static std::size_t lessonsAt(const std::vector<Operation>& operations, std::size_t first);
    Outcome<Done> learnMany(const std::vector<Operation>& operations, std::size_t first, std::size_t count,
                            Round& result, const std::stop_token& stop);
    Outcome<Done> learnHere(const std::string& key);
    std::optional<Outcome<Done>> learnWithoutReading(const Operation& operation);
    bool learnByWhatIsHere(const std::string& key);
    Outcome<Digest> digestOfArrived(const std::string& file, const std::string& key) const;
    Outcome<Done> learnThere(const std::string& key, const Digest& digest, ListedFolders& folders);

    struct Travelling;
    std::optional<std::uint64_t> bytesInBatch(const Operation& operation, Side side) const;
    std::size_t batchAt(const std::vector<Operation>& operations, std::size_t first) const;
    std::vector<Travelling> batchOf(const std::vector<Operation>& operations, std::size_t first,
                                    std::size_t count) const;
    Outcome<Done> performMany(const std::vector<Operation>& operations, std::size_t first, std::size_t count,
                              Round& result, const std::stop_token& stop);
    Outcome<Done> manyThere(std::vector<Travelling>& batch, const std::stop_token& stop);
    void checkArrived(std::vector<Travelling>& batch, const std::vector<RemoteEntry>& arrived,
                      const std::string& privatePath, const std::stop_token& stop);
    Outcome<Done> placeMany(std::vector<Travelling>& batch, const std::string& privatePath,
                            const std::stop_token& stop);
    Outcome<Done> placeSome(const std::vector<Travelling*>& tops, const std::string& privatePath,
                            const std::stop_token& stop);
    Outcome<Done> recoverMany(const JournalEntry& entry, const std::stop_token& stop);
    Outcome<Done> manyHere(std::vector<Travelling>& batch, const std::stop_token& stop);
    Outcome<Done> bringManyDown(std::vector<Travelling>& batch, const std::string& hidden,
                                const std::stop_token& stop);
    bool isWhole(const std::vector<Travelling>& batch, std::size_t first, std::size_t end) const;
    void setPlaces(std::vector<Travelling>& batch, std::size_t top, const std::string& place) const;
    Outcome<Done> prepareSingle(Travelling& item, const std::string& hidden, std::vector<Travelling*>& files,
                                const std::stop_token& stop);
    Outcome<Done> bringFilesDown(const std::vector<Travelling*>& files, const std::stop_token& stop);
    Outcome<Done> placeManyHere(std::vector<Travelling>& batch, const std::stop_token& stop);
    void readArrived(std::vector<Travelling>& batch) const;
    Outcome<Done> checkUnchangedThere(std::vector<Travelling>& batch, const std::stop_token& stop);
    void removeOthers(const std::vector<Travelling>& batch) const;

    Outcome<Done> moveThereIfFree(const std::string& from, const std::string& to, Shape shape,
                                  const std::stop_token& stop);
    Outcome<Done> checkUnchangedThere(const std::string& key, const std::stop_token& stop);
    Outcome<Done> checkUnchangedHere(const std::string& key);
    Outcome<Done> checkGoneThere(const std::string& key, const std::stop_token& stop);
    Outcome<Done> checkGoneHere(const std::string& key) const;
    bool isAsAgreedHere(const LocalItem& item) const;
    std::string pathHere(const std::string& key) const;
    std::string pathThere(const std::string& key) const; // in the space
    std::string nameOn(Side side, const std::string& key) const;
    std::string newPrivatePath(std::string_view folder);
    void eraseBelow(const std::string& key, Side side);

    const Surroundings around;
    const Settings settings;
    LossGuard guard;
    Features features;
    bool knowsFeatures = false;
    View view; // what the last look found that is not as it was agreed on, and the folders above it
    std::vector<PathAndItem> renewed;      // new records of an agreed content
    std::vector<std::string> parked;       // keys of what a ring left under a private name
    std::optional<RemoteRecord> markThere; // of the space's mark, once it was read
    std::unordered_map<std::string, Learned> learnedHere;
    std::unordered_map<std::string, Learned> learnedThere;
    // What the storage lists in folders where deletions are checked, by the folders' keys; of this round.
    std::unordered_map<std::string, std::set<std::string>> listedThere;
    std::unordered_map<std::string, Rest> rests;
    // When a saved file went up without a longer rest, by key.
    std::unordered_map<std::string, std::chrono::steady_clock::time_point> hurried;
    std::chrono::steady_clock::time_point lastDeletion{}; // when the newest one was first seen
    std::vector<PairStore::Kept> kept;                    // to be looked at
    bool knowsKept = false;
    std::optional<std::chrono::steady_clock::time_point> lastCleaned;
    std::unordered_map<std::string, Unsteady> unsteady;
    std::set<std::string>
        failedInBatch; // keys of what the last round with batches could not do with the rest
    // At least so many bytes found no room in this round, by the side.
    std::array<std::optional<std::uint64_t>, 2> withoutRoom;
    bool knowsBoot = false;
    bool isAfterCrash = false; // the machine went down while this pair was synced
    std::uint64_t lastPrivate = 0;
    std::string privateWord; // makes the private names of this process its own
};

} // namespace service
