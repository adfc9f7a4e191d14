#include "apps/dirsnapshot/watch.h"

#include "apps/dirsnapshot/DifferenceRecords.h"
#include "apps/dirsnapshot/ToldDifferences.h"
#include "apps/dirsnapshot/WatchedTree.h"
#include "apps/dirsnapshot/comparing_options.h"
#include "apps/dirsnapshot/looking.h"
#include "apps/dirsnapshot/output.h"
#include "backends/posix/InotifyEvents.h"

#include <CLI/CLI.hpp>
#include <linux/magic.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <sys/vfs.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <poll.h>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace dirsnapshot_tool {

namespace {

using Clock = std::chrono::steady_clock;

// How long the second half of a move may be behind the first; they are made together.
constexpr auto kSecondHalf = std::chrono::milliseconds(100);

// File systems that change without this machine's kernel: what others do on the server, or below it.
bool changesElsewhere(const std::string& directory) {
    constexpr std::array<uint32_t, 9> kinds{NFS_SUPER_MAGIC,  SMB_SUPER_MAGIC,  SMB2_SUPER_MAGIC,
                                            CIFS_SUPER_MAGIC, CEPH_SUPER_MAGIC, AFS_SUPER_MAGIC,
                                            V9FS_MAGIC,       FUSE_SUPER_MAGIC, CODA_SUPER_MAGIC};
    struct statfs status {};
    if (statfs(directory.c_str(), &status) != 0) return false;
    return std::ranges::find(kinds, static_cast<uint32_t>(status.f_type)) != kinds.end();
}

class Watch {
  public:
    Watch(std::string path, const WatchOptions& options)
        : _path(std::move(path)), _options(options), _woken(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
          _records(options.format, coloursFor(options.colouring), [](const DSNode*) { return nullptr; }),
          _told(_path, options.exclusions, fieldsThatCount(options.ignored, false),
                [this](const DSDifference& difference) { _records.add(difference); }),
          _tree(
              _path, [this](const DSDifference& difference) { _told.add(difference); },
              [this](const std::string& directory) { follow(directory); }) {
        sigset_t ends;
        sigemptyset(&ends);
        sigaddset(&ends, SIGINT);
        sigaddset(&ends, SIGTERM);
        sigprocmask(SIG_BLOCK, &ends, nullptr); // of the threads that are yet to come too
        _signals = signalfd(-1, &ends, SFD_CLOEXEC);
    }
    ~Watch() {
        if (_events) _events->stop();
        close(_signals);
        close(_woken);
    }
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    ExitCode run(const LoadedTree& older) {
        // A look that may take only so long is made by a process of its own, and what one thread makes.
        const bool looksAlways = _options.looksAlways || looking().timeout > 0;
        if (!looksAlways && !changesElsewhere(_path)) startEvents();
        if (!_tree.begin(older, older.root != nullptr)) return kTrouble;
        while (true) {
            if (!flushOutput()) return kTrouble;
            std::array<pollfd, 2> files{pollfd{_signals, POLLIN, 0}, pollfd{_woken, POLLIN, 0}};
            if (poll(files.data(), files.size(), milliseconds()) < 0 && errno != EINTR) return kTrouble;
            if (files[0].revents != 0) break;
            if (files[1].revents != 0) drain();
            if (!isThere() || !takeIn()) return kTrouble;
        }
        _records.finish();
        return flushOutput() ? kSame : kTrouble;
    }

  private:
    struct Half {
        std::string item;
        Clock::time_point since;
    };

    void startEvents() {
        try {
            _events.emplace();
        } catch (const std::system_error& error) {
            complain(_path, error.code().message() + "; looking every now and then");
            return;
        }
        _events->start([this](const platform::DirectoryEvent& event) {
            {
                const std::lock_guard lock(_mutex);
                _came.push_back(event);
            }
            const uint64_t one = 1;
            [[maybe_unused]] const ssize_t written = write(_woken, &one, sizeof one);
        });
        follow(_path);
    }

    // The events of a directory that is not to be missed. Where some cannot be had, none are used.
    void follow(const std::string& directory) {
        if (!_events || _events->watchTree(directory)) return;
        if (!std::exchange(_isIncomplete, true))
            complain(directory, "the kernel watches no more directories; looking every now and then");
    }

    bool looks() const { return !_events || _isIncomplete; }

    int milliseconds() const {
        std::chrono::duration<double, std::milli> wait = std::chrono::duration<double>(_options.interval);
        if (looks())
            wait = std::max<decltype(wait)>(wait - (Clock::now() - _looked), decltype(wait)(0));
        else if (!_halves.empty())
            wait = kSecondHalf;
        return static_cast<int>(wait.count()) + 1;
    }

    void drain() const {
        uint64_t count = 0;
        [[maybe_unused]] const ssize_t got = read(_woken, &count, sizeof count);
    }

    // Otherwise after a message. What the kernel does not tell of may be on a disk that does not answer.
    bool isThere() const {
        const auto question = [this](snapshot::Asking& asking) {
            asking.threads[0].begin(_path);
            struct stat status {};
            return lstat(_path.c_str(), &status) == 0 ? 0 : errno;
        };
        const int error = looks() ? ask(question) : question(*std::make_unique<snapshot::Asking>());
        if (error > 0) complain(_path, strerror(error));
        return error == 0;
    }

    // False, after a message, when the disk did not answer in time.
    bool takeIn() {
        std::vector<platform::DirectoryEvent> events;
        {
            const std::lock_guard lock(_mutex);
            events.swap(_came);
        }
        if (looks()) {
            if (Clock::now() - _looked < std::chrono::duration<double>(_options.interval)) return true;
            const bool isDone = _tree.lookAtAll();
            _looked = Clock::now();
            return isDone;
        }
        if (std::ranges::any_of(events, &platform::DirectoryEvent::isLost)) {
            _halves.clear();
            follow(_path);            // what is new meanwhile
            return _tree.lookAtAll(); // which sees what the events are of
        }
        for (const platform::DirectoryEvent& event : events)
            take(event);
        for (auto half = _halves.begin(); half != _halves.end();) {
            if (Clock::now() - half->second.since < kSecondHalf) {
                ++half;
                continue;
            }
            const std::string item = std::move(half->second.item); // it went to where nobody watches
            half = _halves.erase(half);
            _tree.lookAt(item);
        }
        return true;
    }

    void take(const platform::DirectoryEvent& event) {
        if (!event.directory.starts_with(_path)) return;
        const std::string above = event.directory.substr(_path == "/" ? 0 : _path.size());
        const std::string item = (above == "/" ? "" : above) + "/" + event.name;
        const auto departure = _halves.find(event.move);
        if (event.move != 0 && !event.isArrival) {
            _halves[event.move] = {item, Clock::now()};
        } else if (event.move != 0 && departure != _halves.end()) {
            const std::string from = std::move(departure->second.item);
            _halves.erase(departure);
            _tree.move(from, item);
        } else {
            _tree.lookAt(item);
        }
    }

    const std::string _path; // absolute
    const WatchOptions& _options;
    int _signals = -1;
    int _woken; // eventfd; readable: events came
    DifferenceRecords _records;
    const ToldDifferences _told;
    WatchedTree _tree;
    std::optional<backends::posix::InotifyEvents> _events;
    bool _isIncomplete = false;
    std::map<uint32_t, Half> _halves; // of moves, by their number
    Clock::time_point _looked = Clock::now();
    std::mutex _mutex;
    std::vector<platform::DirectoryEvent> _came; // guarded by the mutex
};

} // namespace

void addWatchOptions(CLI::App* watching, WatchOptions& options) {
    addFormats(watching, options.format, "Print [{\"change\",\"path\",\"was\",\"is\"}]",
               "End each path with a NUL, also the first of two");
    addColouring(watching, options.colouring);
    watching
        ->add_option("--interval", options.interval, "Seconds between looks where the kernel does not tell")
        ->capture_default_str()
        ->type_name("SECONDS")
        ->check(moreThanZero);
    watching->add_flag("--looks", options.looksAlways,
                       "Look again and again, although the kernel would tell");
    addExclusions(watching, options.exclusions,
                  "Tell nothing of the item with this absolute path, or of every item of this name, with all "
                  "below it; may be repeated");
    addIgnoredFields(watching, options.ignored);
}

ExitCode watch(const std::string& directory, const Source& older, const WatchOptions& options) {
    std::string path;
    const int found = ask([&](snapshot::Asking& asking) {
        asking.threads[0].begin(directory);
        std::error_code error;
        path = std::filesystem::canonical(directory, error);
        if (!error && !std::filesystem::is_directory(path, error) && !error) return ENOTDIR;
        return error.value();
    });
    if (found > 0) complain(directory, strerror(found));
    if (found != 0) return kTrouble;
    if (path.empty()) path = std::filesystem::canonical(directory); // it was another process that asked
    LoadedTree known;
    if (!older.path.empty()) {
        known = loadSnapshot(older.path, older.type);
        if (known.root == nullptr || !known.complete) return kTrouble;
    }
    return Watch(path, options).run(known);
}

} // namespace dirsnapshot_tool
