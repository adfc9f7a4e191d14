// The extension process from outside, on a private bus: start, badges over the bus, memory, and a refresh
// with many files in flight from the posted signal to the last badge.
//
// Each figure is printed beside its bound.
#include "backends/dbus/DistributedCenter.h"
#include "backends/dbus/FinderSync1Client.h"
#include "backends/posix/SerialQueue.h"
#include "extension/FinderSync.h"
#include "protocol/names.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/TestDaemon.h"
#include "tests/support/fakes.h"
#include "tests/support/silent_connections.h"

#include <array>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <future>
#include <iostream>

namespace {

namespace fs = std::filesystem;
using platform::Dictionary;
using Clock = std::chrono::steady_clock;

double milliseconds(Clock::duration duration) {
    return std::chrono::duration<double, std::milli>(duration).count();
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

void print(const char* what, double value, const char* unit, double bound) {
    std::printf("%-62s %9.1f %-4s at most %6.0f  %s\n", what, value, unit, bound,
                value <= bound ? "held" : "MISSED");
}

pid_t startExtension() {
    const pid_t process = ::fork();
    if (process == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        ::execl(TSYNCFINDER_PROGRAM, TSYNCFINDER_PROGRAM, "run", "--log-level", "error",
                static_cast<char*>(nullptr));
        ::_exit(127);
    }
    return process;
}

void endProcess(pid_t process) {
    ::kill(process, SIGTERM);
    ::waitpid(process, nullptr, 0);
}

double waitForBadge(backends::dbus::FinderSync1Client& client, Clock::time_point start) {
    for (;;) {
        try {
            client.badges({"file:///"});
            return milliseconds(Clock::now() - start);
        } catch (const hosts::terminal::ExtensionError&) {
            std::this_thread::yield();
        }
    }
}

double residentMebibytes(pid_t process) {
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with("VmRSS:")) return std::stod(line.substr(6)) / 1024;
    return 0;
}

unsigned long contextSwitches(pid_t process) {
    unsigned long sum = 0;
    for (const auto& task : fs::directory_iterator("/proc/" + std::to_string(process) + "/task")) {
        std::ifstream status(task.path() / "status");
        for (std::string line; std::getline(status, line);)
            if (line.starts_with("voluntary_ctxt_switches:")) sum += std::stoul(line.substr(24));
    }
    return sum;
}

Dictionary transfer(const std::string& root, std::size_t count) {
    Dictionary paths;
    for (std::size_t i = 0; i < count; ++i)
        paths[root + "/a/b/c/d/e/f" + std::to_string(i % 100) + "/file" + std::to_string(i)] = true;
    return {{"allPathsInSync", Dictionary{{"/R", root}}},
            {"statusInfo",
             Dictionary{{"status", "syncStatusTransfer"},
                        {"info", Dictionary{{"syncStatusUploading", Dictionary{{"paths", paths}}}}}}}};
}

void measureProcess() {
    support::PrivateBus bus;
    support::TestDaemon daemon(
        [](std::string_view, const platform::Array&, const platform::ReplyHandler& handler) {
            handler(support::valueReply(Dictionary()));
        });
    backends::dbus::FinderSync1Client client;
    std::vector<double> starts;
    for (int i = 0; i < 9; ++i) {
        const auto start = Clock::now();
        const pid_t process = startExtension();
        starts.push_back(waitForBadge(client, start));
        endProcess(process);
    }
    print("from the start of the process to the first badge", median(starts), "ms", 80);

    const fs::path folder = fs::temp_directory_path() / ("process-bench-" + std::to_string(::getpid()));
    fs::create_directories(folder);
    std::vector<std::string> uris;
    for (int i = 0; i < 10'000; ++i) {
        const fs::path file = folder / ("some file of a usual length " + std::to_string(i) + ".txt");
        std::ofstream(file) << '.';
        uris.push_back(platform::FileURL::withPath(file.string()).value().uri());
    }
    const pid_t process = startExtension();
    waitForBadge(client, Clock::now());
    print("memory at rest", residentMebibytes(process), "MiB", 20);
    const unsigned long before = contextSwitches(process);
    std::this_thread::sleep_for(std::chrono::seconds(5));
    print("wake-ups of an idle process in 5 seconds", static_cast<double>(contextSwitches(process) - before),
          "", 0);

    support::RecordingLog log;
    backends::dbus::Bus sender("sender");
    backends::dbus::DistributedCenter center(sender, log);
    sender.start([] {});
    center.post({"TSyncQuenzSyncRefresh", std::nullopt, transfer(folder.string(), 1)});
    while (client.badges({uris[0]})[0].badge != "sync") {
    }
    std::vector<double> badges;
    for (int i = 0; i < 9; ++i) {
        const auto start = Clock::now();
        client.badges(uris);
        badges.push_back(milliseconds(Clock::now() - start));
    }
    print("10,000 badges over the bus, all tested for existence", median(badges), "ms", 75);
    endProcess(process);
    fs::remove_all(folder);
}

// The longest that a host waits for an answer that needs nothing while a refresh is on its way.
void measureWaitDuringRefresh(std::size_t count, double bound) {
    support::PrivateBus bus;
    support::TestDaemon daemon(
        [](std::string_view, const platform::Array&, const platform::ReplyHandler& handler) {
            handler(support::valueReply(Dictionary()));
        });
    backends::dbus::FinderSync1Client client;
    const pid_t process = startExtension();
    waitForBadge(client, Clock::now());
    support::RecordingLog log;
    backends::dbus::Bus senderBus("sender");
    backends::dbus::DistributedCenter sender(senderBus, log);
    senderBus.start([] {});
    // The status is behind the refresh on the model queue: who waits for it is another caller.
    const auto post = [&](std::size_t files) {
        sender.post({"TSyncQuenzSyncRefresh", std::nullopt, transfer("/home/user/Synced", files)});
        return std::async(std::launch::async, [files] {
            backends::dbus::FinderSync1Client waiting;
            while (waiting.status().at("uploading") != platform::Value(static_cast<std::int64_t>(files))) {
            }
        });
    };
    std::vector<double> longest;
    for (int i = 0; i < 5; ++i) {
        const auto applied = post(count);
        double wait = 0;
        while (applied.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
            const auto start = Clock::now();
            client.version();
            wait = std::max(wait, milliseconds(Clock::now() - start));
        }
        longest.push_back(wait);
        post(0).wait();
    }
    endProcess(process);
    print(("longest wait of another request, " + std::to_string(count) + " files arriving").c_str(),
          median(longest), "ms", bound);
}

class LastCall final : public platform::FIFinderSyncController {
  public:
    std::size_t calls = 0;
    void setDirectoryURLs(std::optional<std::set<platform::FileURL>>) override {}
    void setBadgeImage(const platform::ImageHandle&, std::string_view, std::string_view) override {}
    void setBadgeIdentifier(std::string_view, const platform::FileURL&) override { ++calls; }
};

void measureRefresh(std::size_t count, double bound) {
    support::PrivateBus sessionBus;
    support::RecordingLog log;
    log.lowest = platform::LogLevel::error;
    backends::dbus::Bus bus("receiver");
    backends::dbus::DistributedCenter center(bus, log);
    backends::dbus::Bus senderBus("sender");
    backends::dbus::DistributedCenter sender(senderBus, log);
    backends::posix::SerialQueue model("model");
    support::InlineQueue background;
    support::InlineQueue walks;
    support::TestClock clock;
    support::MemoryFileSystem disk;
    support::AllImages images;
    platform::NotificationCenter localCenter;
    support::SilentConnections connections;
    LastCall controller;
    daemon_client::TSyncClient client({connections, center, localCenter, log, clock});
    // Seen by the bus thread when the message is there, before it is decoded: registered first.
    std::promise<Clock::time_point> arrival;
    const auto slot = bus.connection().addMatch("type='signal',interface='" NOTIFICATIONS_INTERFACE "'",
                                                [&](sdbus::Message&) { arrival.set_value(Clock::now()); });
    extension::FinderSync finderSync({controller, center, disk, images, log, clock, model, background, walks,
                                      [&]() -> daemon_client::TSyncClient& { return client; }});
    std::promise<void> delivered;
    const auto observer = center.addObserver("TSyncQuenzSyncRefresh",
                                             [&](const platform::Notification&) { delivered.set_value(); });
    bus.start([] {});
    senderBus.start([] {});
    sender.post({"TSyncQuenzSyncRefresh", std::nullopt, transfer("/home/user/Synced", count)});
    const auto arrived = arrival.get_future().get();
    delivered.get_future().wait();
    Clock::time_point last;
    bool isApplied = false;
    while (!isApplied)
        model.dispatchAndWait([&] {
            last = Clock::now();
            isApplied = controller.calls > 0;
        });
    print(("a refresh with " + std::to_string(count) + " files in flight, signal to last badge").c_str(),
          milliseconds(last - arrived), "ms", bound);
}

} // namespace

int main() {
    measureProcess();
    measureRefresh(10'000, 200);
    measureRefresh(100'000, 2000);
    measureWaitDuringRefresh(100'000, 50);
    return 0;
}
