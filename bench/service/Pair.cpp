#include "bench/service/Pair.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>

extern char** environ;

namespace bench {
namespace {

namespace fs = std::filesystem;

int aboveLimit = 0;

double memoryOf(const std::string& process, const char* field) {
    std::ifstream status("/proc/" + process + "/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with(field)) return std::stod(line.substr(line.find(':') + 1)) / 1024;
    return 0;
}

fs::path made(fs::path folder) {
    fs::create_directories(folder);
    return folder;
}

} // namespace

double since(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

double timeOf(const std::function<void()>& work) {
    const auto start = Clock::now();
    work();
    return since(start);
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

void printRatio(const std::string& what, double seconds, const std::string& peer, double peerSeconds,
                double limit) {
    const double ratio = seconds / peerSeconds;
    const bool isHeld = limit == 0 || ratio <= limit;
    if (!isHeld) ++aboveLimit;
    std::printf("%-48s %8.3f s   %-34s %8.3f s   takes %5.2f", what.c_str(), seconds, peer.c_str(),
                peerSeconds, ratio);
    if (limit > 0) std::printf("   at most %.2f  %s", limit, isHeld ? "held" : "MISSED");
    std::printf("\n");
    std::fflush(stdout);
}

void printFigure(const std::string& what, double value, const char* unit, double limit) {
    const bool isHeld = limit == 0 || value <= limit;
    if (!isHeld) ++aboveLimit;
    std::printf("%-48s %8.3f %s", what.c_str(), value, unit);
    if (limit > 0) std::printf("   at most %.2f  %s", limit, isHeld ? "held" : "MISSED");
    std::printf("\n");
    std::fflush(stdout);
}

int missed() { return aboveLimit; }

DiskFolder::DiskFolder() {
    std::string name = "/var/tmp/service-bench-XXXXXX";
    if (!::mkdtemp(name.data())) throw std::runtime_error("no folder");
    folder = name;
}

DiskFolder::~DiskFolder() {
    std::error_code ignored;
    fs::remove_all(folder, ignored);
}

void makeFiles(const fs::path& folder, std::size_t count, const std::string& word) {
    std::string content(1024, 'x');
    constexpr std::size_t inFolder = 100;
    for (std::size_t number = 0; number < count; ++number) {
        const std::size_t below = number / inFolder;
        const fs::path place =
            folder / ("above" + std::to_string(below / 10)) / ("below" + std::to_string(below));
        if (number % inFolder == 0) fs::create_directories(place);
        const std::string name = word + std::to_string(number);
        content.replace(0, name.size(), name);
        std::ofstream(place / name, std::ios::binary) << content;
    }
}

void makeFile(const fs::path& file, std::uint64_t bytes) {
    fs::create_directories(file.parent_path());
    std::ofstream stream(file, std::ios::binary);
    std::string block(1U << 20U, '\0');
    std::uint64_t word = 88172645463325252U;
    for (std::uint64_t done = 0; done < bytes; done += block.size()) {
        for (std::size_t at = 0; at < block.size(); at += sizeof word) {
            word ^= word << 13U;
            word ^= word >> 7U;
            word ^= word << 17U;
            std::copy_n(reinterpret_cast<const char*>(&word), sizeof word, block.data() + at);
        }
        stream.write(block.data(),
                     static_cast<std::streamsize>(std::min<std::uint64_t>(block.size(), bytes - done)));
    }
}

double peer(const std::string& command) {
    support::Result result;
    const double seconds = timeOf([&] { result = support::run(command); });
    if (result.status == 0) return seconds;
    std::fprintf(stderr, "%s: %d\n%s\n", command.c_str(), result.status, result.output.c_str());
    std::exit(2);
}

double rclone(const support::StorageServers& servers, const std::string& arguments) {
    return peer("rclone --config " + servers.configuration() + " " + arguments);
}

void Log::write(platform::LogLevel, std::string_view line) {
    std::fprintf(stderr, "%.*s\n", static_cast<int>(line.size()), line.data());
}

backends::rclone::RemoteControl::Settings controlSettings(const std::string& configuration) {
    backends::rclone::RemoteControl::Settings settings;
    for (char** entry = environ; *entry; ++entry)
        settings.environment.emplace_back(*entry);
    settings.environment.push_back("RCLONE_CONFIG=" + configuration);
    return settings;
}

Pair::Pair(support::StorageServers& servers, const DiskFolder& disk, const std::string& name)
    : folder(made(disk / name)), control(controlSettings(servers.configuration()), log),
      space(control, servers.storage("sftp"), links / "all"), local(folder), store(disk / (name + ".db")),
      sync({space, local, store, trash, log, [this] { return now; },
            [] { return std::chrono::sys_seconds(std::chrono::seconds(0)); },
            [] { return std::chrono::floor<std::chrono::seconds>(platform::machineClock().date()); }},
           [&name] {
               service::PairSync::Settings settings;
               settings.remoteFolder = name;
               settings.host = "bench";
               return settings;
           }()) {
    if (!space.makeFolder(name).wait()) throw std::runtime_error("no folder in the storage");
}

service::PairSync::Round Pair::round(std::chrono::seconds later) {
    now += later;
    const auto round = sync.round({});
    if (!round) throw std::runtime_error(round.failure().text);
    return *round;
}

double Pair::settle() {
    return timeOf([this] {
        for (int rounds = 0; rounds < 20; ++rounds)
            if (round().isInStep()) return;
        throw std::runtime_error("does not end");
    });
}

double helperMemory(const char* field) {
    const auto self = std::to_string(::getpid());
    for (const auto& process : fs::directory_iterator("/proc")) {
        std::ifstream stat(process.path() / "stat");
        std::string number;
        std::string name;
        std::string state;
        std::string parent;
        stat >> number >> name >> state >> parent;
        if (parent == self && name == "(rclone)" &&
            support::contentOf(process.path() / "cmdline").find("rcd") != std::string::npos)
            return memoryOf(number, field);
    }
    return 0;
}

double ownMemory(const char* field) { return memoryOf("self", field); }

} // namespace bench
