#include "backends/posix/GuardedFileSystem.h"

#include "backends/posix/ConcurrentQueue.h"
#include "backends/posix/MountTable.h"
#include "backends/posix/SerialQueue.h"

#include <algorithm>
#include <deque>
#include <future>
#include <map>
#include <mutex>
#include <shared_mutex>
#include <unordered_map>
#include <unordered_set>
#include <utility>

namespace backends::posix {
namespace {

using platform::Clock;
using platform::Existence;

constexpr std::chrono::milliseconds patience{250};
constexpr std::chrono::seconds patienceForListings{2}; // a large directory takes long on a healthy disk too
constexpr unsigned maximumHelpers = 256;               // more at once leave every further question unknown
constexpr unsigned maximumHelpersPerMount = 4;

// Late answers: how long they are remembered, how many paths may be waited for on one mount, and how many
// answers are announced together.
constexpr std::chrono::seconds lateAnswersLast{10};
constexpr std::size_t maximumLatePaths = 10'000;
constexpr std::size_t announcedTogether = 16;

} // namespace

// What one caller wants to know. Guarded by the state's lock until it is over, then the callback's own.
struct GuardedFileSystem::Question {
    enum class About { existence, kind, entryNames };
    About about = About::existence;
    std::vector<Existence> existence; // of each path
    std::optional<platform::FileKind> kind;
    std::vector<std::string> entryNames;

    // With the number of probes that had come back from the mount when it was asked.
    struct Part {
        std::shared_ptr<Mount> mount;
        std::shared_ptr<Job> job;
        std::uint64_t probesBefore;
    };
    std::vector<Part> open;
    bool isOver = false;
    std::function<void(Question&)> answered;
};

// The paths of one question that lie on one mount.
struct GuardedFileSystem::Job {
    std::shared_ptr<Question> question; // null: nobody waits any more
    Question::About about = Question::About::existence;
    std::vector<std::string> paths;  // never changed
    std::vector<std::size_t> places; // of each path in the question
    std::size_t next = 0;            // the first path that no helper has taken yet
    std::vector<bool> isAnswered;
    std::size_t answered = 0;
};

struct GuardedFileSystem::Mount {
    std::deque<std::shared_ptr<Job>> jobs; // with paths to take; those that are waited for come first
    unsigned helpers = 0;
    std::uint64_t probes = 0; // that have come back
    bool isHeldUp = false;    // all its helpers hang

    std::unordered_set<std::string> late; // paths that are still asked about although nobody waits
    bool isIncomplete = false;            // more than these were asked for
    struct LateAnswer {
        Existence existence;
        Clock::TimePoint time;
    };
    std::unordered_map<std::string, LateAnswer> lateAnswers;
    Clock::TimePoint lastLateAnswer;
    std::size_t nextSweep = 1024; // at this number of late answers the old ones are thrown away
    std::vector<std::string> unannounced;

    bool isDead() const { return isHeldUp && helpers == maximumHelpersPerMount; }

    // A kind is asked for by an open menu and comes first; the others behind those that are waited for,
    // before those that nobody waits for any more.
    void take(const std::shared_ptr<Job>& job) {
        if (job->about == Question::About::kind) {
            jobs.push_front(job);
            return;
        }
        jobs.insert(std::find_if(jobs.begin(), jobs.end(), [](const auto& each) { return !each->question; }),
                    job);
    }

    void wantLate(const std::shared_ptr<Job>& job) {
        if (late.size() + job->paths.size() > maximumLatePaths) {
            isIncomplete = true;
            return;
        }
        for (std::size_t i = 0; i < job->paths.size(); ++i)
            if (!job->isAnswered[i]) late.insert(job->paths[i]);
        if (job->next < job->paths.size()) jobs.push_back(job);
    }

    void remember(const std::string& path, Existence existence, Clock::TimePoint now) {
        if (lateAnswers.size() >= nextSweep) {
            std::erase_if(lateAnswers,
                          [now](const auto& entry) { return now - entry.second.time > lateAnswersLast; });
            nextSweep = std::max<std::size_t>(1024, 2 * lateAnswers.size());
        }
        late.erase(path);
        lateAnswers.insert_or_assign(path, LateAnswer{existence, now});
        lastLateAnswer = now;
        unannounced.push_back(path);
    }
};

struct GuardedFileSystem::State : std::enable_shared_from_this<State> {
    State(std::shared_ptr<const Disk> itsDisk, const Clock& itsClock, platform::Queue& queue)
        : disk(std::move(itsDisk)), clock(itsClock), deadlines(queue) {}

    const std::shared_ptr<const Disk> disk;
    const Clock& clock;         // not used after the end
    platform::Queue& deadlines; // nor this
    LateHandler answeredLate;   // guarded by the delivery's lock; null: nobody wants to know
    MountTable mountTable;

    std::mutex lock;
    std::map<std::string, std::shared_ptr<Mount>, std::less<>> mounts; // guarded by lock, and all they hold

    // Callbacks run with it held shared, so that none runs past our end.
    std::shared_mutex delivery;
    bool hasEnded = false; // written with both locks held

    ConcurrentQueue helpers{"disk", maximumHelpers};

    void end() {
        const std::unique_lock deliveryGuard(delivery);
        const std::lock_guard guard(lock);
        hasEnded = true;
    }

    // Not under the lock.
    template <typename Callback>
    void deliver(Callback&& callback) {
        const std::shared_lock guard(delivery);
        if (!hasEnded) callback();
    }

    bool ask(const std::shared_ptr<Question>& question, std::vector<std::string> paths);
    std::shared_ptr<Question> answerOf(Question::About about, std::vector<std::string> paths,
                                       std::chrono::milliseconds wait);
    void giveUp(Question& question);
    void help(const std::shared_ptr<Mount>& mount);

    // Under the lock.
    std::shared_ptr<Job> plan(Mount& mount, Question& question, std::vector<std::string> paths,
                              std::vector<std::size_t> places);
    void startHelper(const std::shared_ptr<Mount>& mount);
    std::shared_ptr<Question> record(Mount& mount, Job& job, std::size_t place, Question& answer);
};

GuardedFileSystem::GuardedFileSystem(const Surroundings& around)
    : state(std::make_shared<State>(around.disk, around.clock, around.deadlines)) {}

GuardedFileSystem::GuardedFileSystem()
    : ownQueue(std::make_unique<SerialQueue>("disk deadlines")),
      state(std::make_shared<State>(std::make_shared<PosixDisk>(), platform::machineClock(), *ownQueue)) {}

GuardedFileSystem::~GuardedFileSystem() { state->end(); }

platform::Subscription GuardedFileSystem::whenAnsweredLate(LateHandler handler) {
    const auto set = [shared = state](LateHandler wanted) {
        const std::unique_lock guard(shared->delivery);
        shared->answeredLate = std::move(wanted);
    };
    set(std::move(handler));
    return platform::Subscription([set] { set(nullptr); });
}

// --- the helpers

// Stores what the disk said about one path. Returns the question if that was its last answer.
std::shared_ptr<GuardedFileSystem::Question>
GuardedFileSystem::State::record(Mount& mount, Job& job, std::size_t place, Question& answer) {
    ++mount.probes;
    mount.isHeldUp = false;
    job.isAnswered[place] = true;
    ++job.answered;
    const auto question = job.question;
    if (!question) {
        if (job.about == Question::About::existence)
            mount.remember(job.paths[place], answer.existence.front(), clock.now());
        return nullptr;
    }
    if (job.about == Question::About::existence)
        question->existence[job.places[place]] = answer.existence.front();
    question->kind = answer.kind;
    question->entryNames = std::move(answer.entryNames);
    if (job.answered < job.paths.size()) return nullptr;
    job.question.reset();
    std::erase_if(question->open, [&job](const Question::Part& part) { return part.job.get() == &job; });
    question->isOver = question->open.empty();
    return question->isOver ? question : nullptr;
}

void GuardedFileSystem::State::help(const std::shared_ptr<Mount>& mount) {
    std::unique_lock guard(lock);
    while (!mount->jobs.empty() && !hasEnded) {
        const std::shared_ptr<Job> job = mount->jobs.front();
        const std::size_t place = job->next++;
        if (job->next == job->paths.size()) mount->jobs.pop_front();
        guard.unlock();
        const std::string& path = job->paths[place];
        Question answer;
        switch (job->about) {
        case Question::About::existence:
            answer.existence.push_back(disk->exists(path) ? Existence::exists : Existence::missing);
            break;
        case Question::About::kind:
            answer.kind = disk->kind(path);
            break;
        case Question::About::entryNames:
            answer.entryNames = disk->entryNames(path);
            break;
        }
        guard.lock();
        if (hasEnded) return;
        const auto finished = record(*mount, *job, place, answer);
        const bool isLast = mount->jobs.empty();
        std::vector<std::string> announced;
        if (isLast || mount->unannounced.size() >= announcedTogether)
            announced = std::exchange(mount->unannounced, {});
        const bool announcesAll = isLast && std::exchange(mount->isIncomplete, false);
        if (!finished && announced.empty() && !announcesAll) continue;
        guard.unlock();
        deliver([&] {
            if (finished) finished->answered(*finished);
            if (answeredLate && !announced.empty()) answeredLate(std::move(announced));
            if (answeredLate && announcesAll) answeredLate({});
        });
        guard.lock();
    }
    --mount->helpers;
}

void GuardedFileSystem::State::startHelper(const std::shared_ptr<Mount>& mount) {
    if (mount->helpers != 0 && !mount->isHeldUp) return;
    if (mount->jobs.empty() || mount->helpers == maximumHelpersPerMount) return;
    ++mount->helpers;
    mount->isHeldUp = false;
    helpers.dispatch([shared = shared_from_this(), mount] { shared->help(mount); });
}

// --- questions

// The paths that the disk is asked about now; null when there are none. For the others it is already known
// what they are, or that this cannot be known now.
std::shared_ptr<GuardedFileSystem::Job> GuardedFileSystem::State::plan(Mount& mount, Question& question,
                                                                       std::vector<std::string> paths,
                                                                       std::vector<std::size_t> places) {
    auto job = std::make_shared<Job>();
    job->about = question.about;
    if (mount.late.empty() && mount.lateAnswers.empty() && !mount.isDead()) {
        job->paths = std::move(paths);
        job->places = std::move(places);
    } else {
        const Clock::TimePoint now = clock.now();
        if (now - mount.lastLateAnswer > lateAnswersLast) mount.lateAnswers.clear();
        const auto unasked = std::make_shared<Job>();
        for (std::size_t i = 0; i < paths.size(); ++i) {
            const auto known = mount.lateAnswers.find(paths[i]);
            if (question.about == Question::About::existence && known != mount.lateAnswers.end() &&
                now - known->second.time <= lateAnswersLast) {
                question.existence[places[i]] = known->second.existence;
            } else if (mount.isDead()) {
                if (question.about == Question::About::existence && !mount.late.contains(paths[i]))
                    unasked->paths.push_back(std::move(paths[i]));
            } else if (question.about != Question::About::existence || !mount.late.contains(paths[i])) {
                job->paths.push_back(std::move(paths[i]));
                job->places.push_back(places[i]);
            }
        }
        unasked->isAnswered.resize(unasked->paths.size());
        if (!unasked->paths.empty()) mount.wantLate(unasked);
    }
    job->isAnswered.resize(job->paths.size());
    return job->paths.empty() ? nullptr : job;
}

// Whether there is something to wait for.
bool GuardedFileSystem::State::ask(const std::shared_ptr<Question>& question,
                                   std::vector<std::string> paths) {
    struct Share {
        std::vector<std::string> paths;
        std::vector<std::size_t> places;
    };
    std::map<std::string, Share, std::less<>> shares;
    const auto mountPoints = mountTable.current();
    std::string lastFolder;
    Share* lastShare = nullptr;
    for (std::size_t i = 0; i < paths.size(); ++i) {
        // Neighbours lie on the mount of their folder, but for an item that is a mount point itself.
        const std::string_view folder = std::string_view(paths[i]).substr(0, paths[i].rfind('/'));
        if (mountPoints->contains(paths[i])) {
            lastShare = &shares[paths[i]];
            lastFolder.clear();
        } else if (lastShare == nullptr || lastFolder.empty() || folder != lastFolder) {
            lastShare = &shares[folder.empty() ? "/" : std::string(mountPoints->of(folder))];
            lastFolder = folder;
        }
        lastShare->paths.push_back(std::move(paths[i]));
        lastShare->places.push_back(i);
    }
    {
        const std::lock_guard guard(lock);
        for (auto& [mountPoint, share] : shares) {
            std::shared_ptr<Mount>& mount = mounts[mountPoint];
            if (!mount) mount = std::make_shared<Mount>();
            const auto job = plan(*mount, *question, std::move(share.paths), std::move(share.places));
            if (!job) continue;
            job->question = question;
            question->open.push_back({mount, job, mount->probes});
            mount->take(job);
            startHelper(mount);
        }
        question->isOver = question->open.empty();
        if (!question->isOver) return true;
    }
    question->answered(*question);
    return false;
}

void GuardedFileSystem::State::giveUp(Question& question) {
    {
        const std::lock_guard guard(lock);
        if (question.isOver || hasEnded) return;
        question.isOver = true;
        for (const Question::Part& part : question.open) {
            Mount& mount = *part.mount;
            part.job->question.reset();
            std::erase(mount.jobs, part.job);
            if (question.about == Question::About::existence) mount.wantLate(part.job);
            mount.isHeldUp = mount.probes == part.probesBefore;
            startHelper(part.mount);
        }
        question.open.clear();
    }
    deliver([&] { question.answered(question); });
}

// For a caller that waits: it keeps the deadline itself.
std::shared_ptr<GuardedFileSystem::Question>
GuardedFileSystem::State::answerOf(Question::About about, std::vector<std::string> paths,
                                   std::chrono::milliseconds wait) {
    auto question = std::make_shared<Question>();
    question->about = about;
    question->existence.resize(paths.size(), Existence::unknown);
    const auto over = std::make_shared<std::promise<void>>();
    const auto isOver = over->get_future();
    question->answered = [over](Question&) { over->set_value(); };
    const Clock::TimePoint due = clock.now() + wait;
    ask(question, std::move(paths));
    while (isOver.wait_until(clock.wakeUp(due)) == std::future_status::timeout)
        if (clock.now() >= due) giveUp(*question);
    isOver.wait();
    return question;
}

void GuardedFileSystem::askExistence(std::vector<std::string> paths, ExistenceHandler answered) {
    const auto question = std::make_shared<Question>();
    question->existence.resize(paths.size(), Existence::unknown);
    question->answered = [answered = std::move(answered)](Question& over) {
        answered(std::move(over.existence));
    };
    if (!state->ask(question, std::move(paths))) return;
    state->deadlines.dispatchAfter(patience,
                                   [weakState = std::weak_ptr(state), weak = std::weak_ptr(question)] {
                                       const auto shared = weakState.lock();
                                       const auto open = weak.lock();
                                       if (shared && open) shared->giveUp(*open);
                                   });
}

std::vector<Existence> GuardedFileSystem::existence(std::span<const std::string_view> paths) {
    return std::move(
        state->answerOf(Question::About::existence, {paths.begin(), paths.end()}, patience)->existence);
}

std::optional<platform::FileKind> GuardedFileSystem::kind(std::string_view path) {
    return state->answerOf(Question::About::kind, {std::string(path)}, patience)->kind;
}

std::vector<std::string> GuardedFileSystem::entryNames(std::string_view path) {
    return std::move(
        state->answerOf(Question::About::entryNames, {std::string(path)}, patienceForListings)->entryNames);
}

} // namespace backends::posix
