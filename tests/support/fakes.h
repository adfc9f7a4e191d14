// Parts of the platform that tests hold in their hands: what they were told is recorded, what they answer
// is set by the test.
#pragma once

#include "platform/Clock.h"
#include "platform/DistributedNotificationCenter.h"
#include "platform/FIFinderSync.h"
#include "platform/FileSystem.h"
#include "platform/ProcessLog.h"
#include "platform/Queue.h"
#include "platform/ResourceBundle.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace support {

inline constexpr std::chrono::seconds deadline{60};

// Whether the condition comes true within the deadline; for what no event tells. The longer it takes, and the
// longer a look takes, which may start a program, the more of the processor is left to what is waited for.
template <typename Condition>
bool eventually(Condition&& isTrue) {
    using namespace std::chrono_literals;
    const auto begin = std::chrono::steady_clock::now();
    for (auto now = begin; now < begin + deadline; now = std::chrono::steady_clock::now()) {
        if (isTrue()) return true;
        const auto looked = std::chrono::steady_clock::now() - now;
        std::this_thread::sleep_for(
            std::max<std::chrono::nanoseconds>(std::min<std::chrono::nanoseconds>((now - begin) / 8, 50ms),
                                               std::min<std::chrono::nanoseconds>(10 * looked, 1s)));
    }
    return false;
}

// Keeps the lines; a test can wait for one.
class RecordingLog final : public platform::ProcessLog {
  public:
    platform::LogLevel lowest = platform::LogLevel::debug;

    bool isOn(platform::LogLevel level) const override { return level >= lowest; }
    void write(platform::LogLevel, std::string_view line) override {
        std::unique_lock guard(lock);
        written.emplace_back(line);
        changed.notify_all();
        const auto act = whenWritten;
        guard.unlock();
        if (act) act(line);
    }
    void setWhenWritten(std::function<void(std::string_view line)> act) { // on the thread that writes
        const std::lock_guard guard(lock);
        whenWritten = std::move(act);
    }
    std::vector<std::string> lines() {
        const std::lock_guard guard(lock);
        return written;
    }
    std::vector<std::string> take() {
        const std::lock_guard guard(lock);
        return std::exchange(written, {});
    }
    std::size_t count(std::string_view line) {
        const std::lock_guard guard(lock);
        return countLocked(line);
    }
    bool waitFor(std::string_view line, std::size_t times = 1) {
        std::unique_lock guard(lock);
        return changed.wait_for(guard, deadline, [&] { return countLocked(line) >= times; });
    }

  private:
    std::size_t countLocked(std::string_view line) const {
        return static_cast<std::size_t>(std::count(written.begin(), written.end(), line));
    }
    std::mutex lock;
    std::condition_variable changed;
    std::function<void(std::string_view line)> whenWritten;
    std::vector<std::string> written;
};

// Time that passes at once when somebody sleeps, or when the test says so; what it was asked to sleep is
// kept.
class TestClock final : public platform::Clock {
  public:
    TimePoint now() const override { return time; }
    std::chrono::system_clock::time_point date() const override {
        return std::chrono::system_clock::time_point(
            std::chrono::duration_cast<std::chrono::system_clock::duration>(now().time_since_epoch()));
    }
    void sleepFor(std::chrono::milliseconds duration) override {
        slept.push_back(duration);
        tick(duration);
    }
    TimePoint wakeUp(TimePoint due) const override {
        awaited = due;
        return std::chrono::steady_clock::now() + std::chrono::milliseconds(1);
    }
    void tick(std::chrono::milliseconds duration) { time = time.load() + duration; }
    // Whether some thread comes to wait for the time that is so far away.
    bool isAwaited(std::chrono::milliseconds duration) const {
        const TimePoint then = time.load() + duration;
        return eventually([&] { return awaited.load() == then; });
    }
    bool tickWhenAwaited(std::chrono::milliseconds duration) {
        const bool came = isAwaited(duration);
        tick(duration);
        return came;
    }
    std::vector<std::chrono::milliseconds> slept;

  private:
    std::atomic<TimePoint> time{TimePoint(std::chrono::hours(1))};
    mutable std::atomic<TimePoint> awaited{TimePoint()};
};

// Runs what is dispatched at once on the caller's thread, one piece after the other; delayed work when the
// test lets its time pass.
class InlineQueue final : public platform::Queue {
  public:
    struct Delayed {
        std::chrono::milliseconds left;
        Work work;
    };
    void dispatch(Work work) override {
        ready.push_back(std::move(work));
        if (!isRunning && !isHeld) run();
    }
    void release() {
        isHeld = false;
        run();
    }
    void dispatchAfter(std::chrono::milliseconds delay, Work work) override {
        delayed.push_back({delay, std::move(work)});
    }
    void dispatchAndWait(Work work) override { work(); }
    void tick(std::chrono::milliseconds passed) {
        for (Delayed& each : std::exchange(delayed, {}))
            if ((each.left -= passed).count() > 0)
                delayed.push_back(std::move(each));
            else
                dispatch(std::move(each.work));
    }
    void runDelayed() { tick(std::chrono::hours(24)); }
    std::vector<Delayed> delayed;
    bool isHeld = false; // until released

  private:
    void run() {
        isRunning = true;
        while (!ready.empty()) {
            const Work next = std::move(ready.front());
            ready.pop_front();
            next();
        }
        isRunning = false;
    }
    std::deque<Work> ready;
    bool isRunning = false;
};

// Delivers what is posted to its observers at once, on the thread that posts it.
class LocalDistributedCenter : public platform::DistributedNotificationCenter {
  public:
    platform::Subscription addObserver(const std::string& name,
                                       platform::NotificationHandler handler) override {
        const std::lock_guard guard(lock);
        const std::size_t number = ++last;
        observers[number] = {name, std::move(handler)};
        return platform::Subscription([this, number] {
            const std::lock_guard end(lock);
            observers.erase(number);
        });
    }
    bool post(const platform::Notification& notification) override {
        decltype(observers) current;
        {
            const std::lock_guard guard(lock);
            posted.push_back(notification);
            changed.notify_all();
            current = observers;
        }
        for (const auto& [number, observer] : current)
            if (observer.first == notification.name) observer.second(notification);
        return true;
    }
    std::vector<platform::Notification> posted;

  protected:
    std::mutex lock;
    std::condition_variable changed; // when something is posted

  private:
    std::size_t last = 0;
    std::map<std::size_t, std::pair<std::string, platform::NotificationHandler>> observers;
};

// Each call as one text: "badge upload /r/a", "directories / /Volumes/Disk", "register sync Status Sync".
class RecordingController final : public platform::FIFinderSyncController {
  public:
    void setDirectoryURLs(std::optional<std::set<platform::FileURL>> directories) override {
        std::string call = directories ? "directories" : "no directories";
        if (directories)
            for (const platform::FileURL& directory : *directories)
                call += " " + directory.path();
        calls.push_back(call);
    }
    void setBadgeImage(const platform::ImageHandle& image, std::string_view label,
                       std::string_view identifier) override {
        calls.push_back("register " + std::string(identifier) + " " + (image ? image->name : "(no image)") +
                        " " + std::string(label));
    }
    void setBadgeIdentifier(std::string_view identifier, const platform::FileURL& item) override {
        calls.push_back("badge " + std::string(identifier.empty() ? "none" : identifier) + " " + item.path());
    }
    bool showsSingleBadges() const override { return isShowing; }
    bool isShowing = true;
    std::vector<std::string> take() { return std::exchange(calls, {}); }
    std::vector<std::string> calls;
};

// A tree in memory: folders by path with their entries; links name the path that they lead to.
class MemoryFileSystem final : public platform::FileSystem {
  public:
    std::map<std::string, std::vector<std::string>> folders;
    std::set<std::string> files;
    std::map<std::string, std::string> links;
    std::set<std::string> hanging;              // on a disk that does not answer in time
    bool isSlow = false;                        // askExistence() is answered when the test says so
    std::vector<std::function<void()>> waiting; // the answers
    std::size_t questions = 0;                  // but for kinds

    std::string resolve(std::string path) const {
        for (int hops = 0; hops < 40; ++hops) {
            const auto link = std::find_if(links.begin(), links.end(), [&path](const auto& each) {
                return path == each.first || path.starts_with(each.first + "/");
            });
            if (link == links.end()) break;
            path.replace(0, link->first.size(), link->second);
        }
        return path;
    }
    std::vector<platform::Existence> existence(std::span<const std::string_view> paths) override {
        ++questions;
        std::vector<platform::Existence> answers;
        for (const std::string_view path : paths)
            answers.push_back(hanging.contains(std::string(path)) ? platform::Existence::unknown
                              : kind(path)                        ? platform::Existence::exists
                                                                  : platform::Existence::missing);
        return answers;
    }
    void askExistence(std::vector<std::string> paths, ExistenceHandler answered) override {
        const auto answer = [this, paths = std::move(paths), answered = std::move(answered)] {
            answered(existence(std::vector<std::string_view>(paths.begin(), paths.end())));
        };
        if (isSlow)
            waiting.push_back(answer);
        else
            answer();
    }
    std::optional<platform::FileKind> kind(std::string_view path) override {
        const std::string target = resolve(std::string(path));
        const auto folder = folders.find(target);
        if (hanging.contains(target) || (folder == folders.end() && !files.contains(target)))
            return std::nullopt;
        const bool isLink = links.contains(std::string(path));
        return platform::FileKind{folder != folders.end(),
                                  isLink,
                                  {1, std::hash<std::string>()(target)},
                                  isLink ? target : std::string()};
    }
    std::vector<std::string> entryNames(std::string_view path) override {
        ++questions;
        const auto folder = folders.find(resolve(std::string(path)));
        return folder == folders.end() ? std::vector<std::string>() : folder->second;
    }
};

class AllImages final : public platform::ResourceBundle {
  public:
    std::optional<std::string> pathForImage(std::string_view fileName) const override {
        return hasImages ? std::optional(std::string(fileName)) : std::nullopt;
    }
    bool hasImages = true;
};

} // namespace support
