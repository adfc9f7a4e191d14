// What the benchmarks of the sync service stand on: a folder on the disk, an SFTP server of OpenSSH's on the
// loopback with a folder of its own for each measurement, the service's pair between the two, and the
// figures as they are printed.
#pragma once

#include "backends/rclone/RcloneSpace.h"
#include "service/PairSync.h"
#include "tests/support/StorageServers.h"

#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace bench {

using Clock = std::chrono::steady_clock;

// Seconds.
double since(Clock::time_point start);
double timeOf(const std::function<void()>& work);
double median(std::vector<double> values);

// Prints a figure beside what it is measured against, and counts it when it is above its limit.
void printRatio(const std::string& what, double seconds, const std::string& peer, double peerSeconds,
                double limit);
void printFigure(const std::string& what, double value, const char* unit, double limit = 0);
int missed();

// A folder on a disk: what a file system in memory never waits for counts.
class DiskFolder {
  public:
    DiskFolder();
    ~DiskFolder();
    std::filesystem::path operator/(const std::string& name) const { return folder / name; }

  private:
    std::filesystem::path folder;
};

// Files of a kibibyte each, a hundred to a folder, ten folders to a folder above.
void makeFiles(const std::filesystem::path& folder, std::size_t count, const std::string& word = "file");
void makeFile(const std::filesystem::path& file, std::uint64_t bytes);

// rclone by the command, as a peer: seconds. Ends the program when it fails.
double rclone(const support::StorageServers& servers, const std::string& arguments);
double peer(const std::string& command);

class Log final : public platform::ProcessLog {
  public:
    bool isOn(platform::LogLevel level) const override { return level == platform::LogLevel::error; }
    void write(platform::LogLevel, std::string_view line) override;
};
class NoTrash final : public service::DesktopTrash {
  public:
    service::Outcome<service::Done> trash(const std::filesystem::path&) override {
        return service::Failure{service::Trouble::impossible, "no trash here"};
    }
};

class Pair {
  public:
    // Of the folder `name` of the disk folder, with the folder of that name in the storage.
    Pair(support::StorageServers& servers, const DiskFolder& disk, const std::string& name);

    // One round, so much later by the pair's own clock than the one before: after an hour everything has
    // rested. What it did.
    service::PairSync::Round round(std::chrono::seconds later = std::chrono::hours(1));
    // Rounds until nothing is left; how long they took together, in seconds.
    double settle();

    const std::filesystem::path folder;

  private:
    Log log;
    NoTrash trash;
    const support::TemporaryFolder links; // in memory, as the folder of a session is
    backends::rclone::RemoteControl control;
    backends::rclone::RcloneSpace space;
    service::LocalSide local;
    service::PairStore store;
    Clock::time_point now{};
    service::PairSync sync;
};

backends::rclone::RemoteControl::Settings controlSettings(const std::string& configuration);

// The helper program that speaks to the storage, a child of this process: MiB of resident memory.
double helperMemory(const char* field);
double ownMemory(const char* field);

} // namespace bench
