// A waiting request to the stand-in daemon beside a bare method call of the bus library with the same
// payload, to a process that does nothing but answer it; and the load of a large remote snapshot beside the
// wait that a caller has.
//
// Calls alternate in rounds of the two, so that whatever else the machine does weighs on both alike; the
// ratio is the median of the rounds' ratios.
#include "backends/dbus/DistributedCenter.h"
#include "backends/dbus/RequestBus.h"
#include "backends/dbus/name_owner.h"
#include "backends/dbus/value_coding.h"
#include "backends/posix/SerialQueue.h"
#include "daemon_client/TSyncClient.h"
#include "protocol/messages.h"
#include "protocol/names.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/Programs.h"
#include "tests/support/TestDaemon.h"
#include "tests/support/fakes.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <thread>

namespace {

namespace fs = std::filesystem;
using platform::Dictionary;
using platform::Value;
using Clock = std::chrono::steady_clock;

constexpr auto peerName = "com.quarnhold.TovikDrive_Quen.Bench";

double microseconds(Clock::duration duration) {
    return std::chrono::duration<double, std::micro>(duration).count();
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

int missed = 0;

void judge(const char* what, double value, const char* unit, double bound) {
    std::printf("%-58s %9.2f %-5s at most %6.2f  %s\n", what, value, unit, bound,
                value <= bound ? "held" : "MISSED");
    if (value > bound) missed = 1;
}

// The bare peer, in a process of its own: answers each request with a value that it was given.
class Peer {
  public:
    explicit Peer(const std::map<std::string, Value>& answers) {
        process = ::fork();
        if (process != 0) return;
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        const auto connection = sdbus::createSessionBusConnection();
        const auto object = sdbus::createObject(*connection, TSYNC_OBJECT_PATH);
        for (const auto& [name, value] : answers) {
            const protocol::Message& message = *protocol::messageNamed(name);
            object->registerMethod(TSYNC_INTERFACE, std::string(message.member),
                                   std::string(message.arguments), std::string(message.reply),
                                   [&message, &value = value](sdbus::MethodCall call) {
                                       auto reply = call.createReply();
                                       backends::dbus::appendValue(reply, message.reply, value);
                                       reply.send();
                                   });
        }
        object->finishRegistration();
        connection->requestName(peerName);
        connection->enterEventLoop();
    }
    ~Peer() {
        ::kill(process, SIGKILL);
        ::waitpid(process, nullptr, 0);
    }
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

  private:
    pid_t process = -1;
};

struct Client {
    support::RecordingLog log;
    support::TestClock clock;
    platform::NotificationCenter localCenter;
    backends::posix::SerialQueue replies{"replies"};
    backends::dbus::Bus notifications{"notifications"};
    backends::dbus::DistributedCenter center{notifications, log};
    backends::dbus::RequestBus requests{replies, localCenter, log};
    daemon_client::TSyncClient client{{requests, center, localCenter, log, clock}};

    Client() {
        log.lowest = platform::LogLevel::error;
        notifications.start([] {});
    }
};

void compare(const char* what, const std::function<void()>& request, const std::function<void()>& bare,
             bool isJudged = true) {
    constexpr int rounds = 101;
    constexpr int calls = 20;
    std::vector<double> ours;
    std::vector<double> theirs;
    std::vector<double> ratios;
    for (int round = 0; round < rounds; ++round) {
        const auto start = Clock::now();
        for (int call = 0; call < calls; ++call)
            bare();
        const auto middle = Clock::now();
        for (int call = 0; call < calls; ++call)
            request();
        const auto end = Clock::now();
        theirs.push_back(microseconds(middle - start) / calls);
        ours.push_back(microseconds(end - middle) / calls);
        ratios.push_back(ours.back() / theirs.back());
    }
    std::printf("%-58s %9.1f us; bare call %.1f us\n", what, median(ours), median(theirs));
    if (isJudged)
        judge("  ratio", median(ratios), "", 1.5);
    else
        std::printf("%-58s %9.2f\n", "  ratio, for information", median(ratios));
}

void measureRequests(const fs::path& folder) {
    const support::PrivateBus bus;
    fs::create_directories(folder / "space/Many");
    for (int i = 0; i < 200; ++i)
        fs::create_directory(folder / "space/Many" / ("some folder of a usual length " + std::to_string(i)));
    const std::string uri = "file://" + (folder / "space/Many").string();
    const support::Program sandbox({SANDBOX_PROGRAM, "--space", (folder / "space").string(), "--state",
                                    (folder / "state").string(), "--log-level", "error"});
    Client ours;
    while (backends::dbus::nameOwner(ours.notifications, TSYNC_SERVICE_NAME).empty())
        std::this_thread::yield();
    platform::Array names;
    const auto listed = ours.client.directoriesAtPath("/Many");
    for (const std::string& name : listed.value())
        names.emplace_back(name);
    const Peer peer({{"getSyncStatus:", ours.client.getSyncStatus().value()},
                     {"linkForSharingFile:isDirectory:withReply:", uri},
                     {"countDirectoriesAtPath:withReply:", std::uint64_t{200}},
                     {"directoriesAtPath:withReply:", names}});
    while (backends::dbus::nameOwner(ours.notifications, peerName).empty())
        std::this_thread::yield();
    const auto connection = sdbus::createSessionBusConnection();
    const auto proxy = sdbus::createProxy(*connection, peerName, TSYNC_OBJECT_PATH);
    const auto bare = [&](const char* message, const platform::Array& arguments) {
        return [&proxy, &message = *protocol::messageNamed(message), arguments] {
            auto call = proxy->createMethodCall(TSYNC_INTERFACE, std::string(message.member));
            for (std::size_t i = 0; i < arguments.size(); ++i)
                backends::dbus::appendValue(call, message.arguments.substr(i, 1), arguments[i]);
            auto reply = proxy->callMethod(call);
            backends::dbus::readValue(reply, message.reply);
        };
    };
    compare(
        "the status", [&] { ours.client.getSyncStatus(); }, bare("getSyncStatus:", {}));
    compare(
        "a public link", [&] { ours.client.linkForSharingFile("/Many", true); },
        bare("linkForSharingFile:isDirectory:withReply:", {"/Many", true}));
    // The peer answers from memory; ours reads a folder of 200 entries each time.
    compare(
        "200 folders, read from the disk", [&] { ours.client.directoriesAtPath("/Many"); },
        bare("directoriesAtPath:withReply:", {"/Many"}), false);
}

// A flat file as a service would write it: a million items, a hundred in a folder.
void measureSnapshot(const fs::path& folder) {
    const support::PrivateBus bus;
    const std::string file = (folder / "remote-snapshot").string();
    {
        std::ofstream out(file, std::ios::binary);
        const auto record = [&out](const std::string& path, const char* rest) {
            out << path.size() << '|' << path << rest;
        };
        for (int i = 0; i < 10'000; ++i) {
            const std::string directory = "/folder" + std::to_string(i);
            record(directory, "0|1|1600000000|1600000000|");
            for (int j = 0; j < 99; ++j)
                record(directory + "/some file of a usual length " + std::to_string(j) + ".txt",
                       "123456|2|1600000000|1600000000|");
        }
    }
    const auto load = [&](const std::string& path) {
        support::TestDaemon daemon(
            [&path](std::string_view message, const platform::Array&, const platform::ReplyHandler& handler) {
                handler(message == "remoteSnapshot:" ? support::valueReply(path) : platform::Reply());
            });
        Client ours;
        const auto start = Clock::now();
        const auto snapshot = ours.client.remoteSnapshot();
        const double seconds = microseconds(Clock::now() - start) / 1e6;
        if (!snapshot || !snapshot->nodeAtFullpath("/folder9999/some file of a usual length 98.txt"))
            std::printf("the snapshot was not loaded: %s\n", path.c_str()), missed = 1;
        if (path == file) snapshot->writeToFile(file + "-stored", "sync");
        return seconds;
    };
    const double wait = std::chrono::duration<double>(protocol::replyWait("remoteSnapshot:")).count();
    judge("a remote snapshot of 1,000,000 items, flat file", load(file), "s", wait);
    judge("the same, database", load(file + "-stored"), "s", wait);
}

} // namespace

int main() {
    std::string name = (fs::temp_directory_path() / "daemon-client-bench-XXXXXX").string();
    const fs::path folder = ::mkdtemp(name.data());
    measureRequests(folder);
    measureSnapshot(folder);
    fs::remove_all(folder);
    return missed;
}
