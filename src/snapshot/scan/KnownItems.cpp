#include "snapshot/scan/KnownItems.h"

#include "snapshot/tree/list_private.h"

#include <algorithm>
#include <chrono>
#include <fcntl.h>
#include <sched.h>
#include <system_error>
#include <utility>

namespace snapshot {

namespace {

// So much work on a fast disk is done before a thread would have started.
constexpr size_t kHelpForItems = 1'000;

// Questions: the time of two suffices to bring something from the memory.
constexpr size_t kFetchedAhead = 2;

} // namespace

bool KnownItems::ask(bool rootIsAsBefore) {
    _known.differsNowhere();
    if (!rootIsAsBefore) _known.mayDiffer(0);
    _allAsBefore = rootIsAsBefore;
    work(0, Worker::caller);
    joinHelpers();
    return _allAsBefore;
}

// The caller's thread stops when there are others.
void KnownItems::work(unsigned thread, Worker worker) {
    using Clock = std::chrono::steady_clock;
    Asking::Thread* asking = _asking != nullptr ? &_asking->threads[thread] : nullptr;
    KnownPlace place(_top, worker == Worker::helper && unshare(CLONE_FS) == 0);
    Run run;
    std::unique_lock lock(_mutex);
    while (thread < _pace.threads() && _questions.take(_pace.piece(), run)) {
        lock.unlock();
        const auto begun = Clock::now();
        const size_t count = askRun(run, place, asking);
        const auto taken = Clock::now() - begun;
        if (asking != nullptr) asking->end();
        lock.lock();
        conclude(run);
        _pace.note(taken, count);
        startHelpers();
        if (worker == Worker::caller && !_helpers.empty()) return;
    }
}

// Under the lock.
void KnownItems::startHelpers() {
    const size_t left = _questions.left();
    if (_cannotStart || (left < kHelpForItems && !_pace.isSlow())) return;
    try {
        while (_helpers.size() < std::min<size_t>(_pace.threads(), left))
            _helpers.emplace_back(
                [this, thread = static_cast<unsigned>(_helpers.size())] { work(thread, Worker::helper); });
    } catch (const std::system_error&) {
        _cannotStart = true; // the look goes on with those that it has
    }
}

// A helper may start others as long as it runs.
void KnownItems::joinHelpers() {
    std::unique_lock lock(_mutex);
    for (size_t i = 0; i < _helpers.size(); i++) {
        std::thread helper = std::move(_helpers[i]);
        lock.unlock();
        helper.join();
        lock.lock();
    }
}

// Under the lock.
void KnownItems::conclude(const Run& run) {
    if (run.differing.empty()) return;
    _allAsBefore = false;
    for (size_t record : run.differing)
        _known.mayDiffer(record);
    for (const KnownQuestions::Directory& directory : run.directories)
        if (!directory.isAsBefore) _questions.isNotAsBefore(directory);
}

// Begins to bring what a question soon needs into the processor's caches, which the kernel's answers to the
// others empty: a node, which begins with the link that stands for it, and its record.
void KnownItems::fetch(const Run& run, const Question& question) const {
    constexpr size_t line = 64;
    const DSNode* above = run.directories[question.above].node;
    if (above != nullptr) {
        const DSListNode* link = above->children->items[question.position];
        __builtin_prefetch(link, 1);
        __builtin_prefetch(reinterpret_cast<const char*>(link) + line, 1);
    }
    __builtin_prefetch(&_evidence.records[question.record], 1);
}

// Gives how many were asked: of items, those in directories that are as before.
size_t KnownItems::askRun(Run& run, KnownPlace& place, Asking::Thread* asking) {
    size_t asked = 0;
    size_t above = SIZE_MAX;
    bool showsDirectory = false;
    for (size_t i = 0; i < run.questions.size(); i++) {
        if (i + kFetchedAhead < run.questions.size()) fetch(run, run.questions[i + kFetchedAhead]);
        const Question& question = run.questions[i];
        const bool isDirectory = question.directory != 0;
        const KnownQuestions::Directory& in = run.directories[question.above];
        if (in.node == nullptr || (!isDirectory && !in.isAsBefore)) continue;
        if (question.above != above) {
            above = question.above;
            place.goTo(run, above, asking);
            showsDirectory = false;
        }
        DSNode* node = childAt(in.node, question.position);
        const bool fits = place.set(node);
        if (asking != nullptr && (isDirectory || !showsDirectory))
            asking->begin(isDirectory ? place.absolute() : place.directory());
        showsDirectory = !isDirectory;
        const bool isAsBefore = fits && askItem(place, *node, question.record);
        if (isDirectory)
            run.isAskedAbout(question.directory, fits ? node : nullptr, place.absolute().size(), isAsBefore);
        if (!isAsBefore) run.mayDiffer(question.record, above);
        if (asking != nullptr) asking->itemExamined();
        asked++;
    }
    return asked;
}

// False when it is not there, of another kind, or a directory whose names may be others.
bool KnownItems::askItem(const KnownPlace& place, DSNode& node, size_t record) const {
    EvidenceRecord now;
    const DirectoryListing::Status status =
        DirectoryListing::statusOf(place.descriptor(), place.relative(), AT_SYMLINK_NOFOLLOW, now);
    if (status.type != node.type) return false;
    if (status.type == DSNodeTypeDirectory && !_known.isAsBefore({&node, record}, now)) return false;
    refresh(node, _evidence.records[record], status, now);
    return true;
}

void KnownItems::refresh(DSNode& node, EvidenceRecord& record, const DirectoryListing::Status& status,
                         const EvidenceRecord& now) const {
    const bool isSame = node.size == status.size && node.modifiedTime == status.modifiedTime;
    node.size = status.size;
    node.modifiedTime = status.modifiedTime;
    node.startedTime = status.accessedTime;
    record.device = now.device;
    record.inode = now.inode;
    record.modified = now.modified;
    record.changed = now.changed;
    record.born = now.born;
    if (!isSame) record.check = checkOfNode(node);
}

} // namespace snapshot
