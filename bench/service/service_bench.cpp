// The sync service beside its peers, with OpenSSH's server on the loopback: bringing up and down, the way of
// one saved file, a look at a large pair in which nothing changed, memory and rest.
//
//   service_bench [SECTION…]      each runs in a process of its own; all of them without one
//
// The time for which files have to rest before they count is not in the figures of bringing up and down.
#include "backends/posix/InotifyEvents.h"
#include "bench/service/Pair.h"
#include "dirsnapshot/DirSnapshot.h"
#include "service/SyncThread.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <thread>

namespace {

namespace fs = std::filesystem;
using namespace bench;

constexpr std::size_t many = 10'000;
constexpr std::size_t some = 2'000;
constexpr std::size_t lots = 100'000;
constexpr int rounds = 3;

// Equal footing: without the digest that a shell of the server would take of each file, and without the
// shells that find out whether it can.
std::string copying(const fs::path& from, const fs::path& to) {
    return "copy --ignore-checksum --sftp-disable-hashcheck --transfers 4 " + from.string() + " " +
           to.string();
}

std::string there(support::StorageServers& servers, const std::string& name) {
    return servers.storage("sftp") + "/" + name;
}

void manyFiles(bool isUp) {
    support::StorageServers servers;
    const DiskFolder disk;
    std::vector<double> own;
    std::vector<double> peers;
    for (int turn = 0; turn < rounds; ++turn) {
        const std::string name = "many" + std::to_string(turn);
        const std::string peer = "peer" + std::to_string(turn);
        Pair pair(servers, disk, name);
        pair.settle();
        makeFiles(isUp ? pair.folder : servers.files("sftp") / name, many);
        ::sync(); // else the disk is still busy with what was made, while the first of the two runs
        own.push_back(pair.settle());
        ::sync();
        peers.push_back(rclone(servers, isUp ? copying(pair.folder, there(servers, peer))
                                             : copying(there(servers, name), disk / peer)));
    }
    printRatio(std::string("10,000 files of 1 KiB ") + (isUp ? "up" : "down") + ", in new folders",
               median(own), "rclone copy", median(peers), 1.15);
}

void existing() {
    support::StorageServers servers;
    const DiskFolder disk;
    std::vector<double> own;
    std::vector<double> peers;
    Pair pair(servers, disk, "up");
    makeFiles(pair.folder, some, "old");
    pair.settle();
    rclone(servers, copying(pair.folder, there(servers, "peer")));
    for (int turn = 0; turn < rounds; ++turn) {
        makeFiles(pair.folder, some, "new" + std::to_string(turn) + "-");
        own.push_back(pair.settle());
        peers.push_back(rclone(servers, copying(pair.folder, there(servers, "peer"))));
    }
    printRatio("2,000 files up, into folders that exist", median(own), "rclone copy", median(peers), 2.5);
    own.clear();
    peers.clear();
    for (int turn = 0; turn < rounds; ++turn) {
        makeFiles(servers.files("sftp") / "up", some, "down" + std::to_string(turn) + "-");
        const fs::path target = disk / "peer-down";
        if (turn == 0) fs::copy(pair.folder, target, fs::copy_options::recursive);
        own.push_back(pair.settle());
        peers.push_back(rclone(servers, copying(there(servers, "up"), target)));
    }
    printRatio("2,000 files down, into folders that exist", median(own), "rclone copy", median(peers), 2.5);
}

void largeFile(std::uint64_t mebibytes) {
    support::StorageServers servers;
    const DiskFolder disk;
    Pair pair(servers, disk, "large");
    pair.settle();
    const std::string size = std::to_string(mebibytes) + " MiB";
    std::vector<double> own;
    std::vector<double> peers;
    for (int turn = 0; turn < rounds; ++turn) {
        const std::string name = "file" + std::to_string(turn);
        makeFile(pair.folder / name, mebibytes << 20U);
        ::sync();
        peers.push_back(rclone(servers, copying(pair.folder / name, there(servers, "peer"))));
        fs::remove(servers.files("sftp") / "peer" / name); // the server's files may lie in memory
        ::sync();
        own.push_back(pair.settle());
    }
    printRatio("a file of " + size + " up", median(own), "rclone copy", median(peers), 1.05);
    own.clear();
    peers.clear();
    for (int turn = 0; turn < rounds; ++turn) {
        const std::string name = "other" + std::to_string(turn);
        makeFile(servers.files("sftp") / "large" / name, mebibytes << 20U);
        ::sync();
        peers.push_back(rclone(servers, copying(there(servers, "large/" + name), disk / "peer")));
        fs::remove(disk / "peer" / name);
        ::sync();
        own.push_back(pair.settle());
    }
    printRatio("a file of " + size + " down", median(own), "rclone copy", median(peers), 1.05);
}

void large() { largeFile(256); }
void gigabyte() { largeFile(1024); }

// A pair as the daemon has it, with its own clock and its own events.
class LivingPair {
  public:
    LivingPair(const std::string& configuration, const std::string& storage, const fs::path& place,
               const std::string& name)
        : folder(place / name), control(controlSettings(configuration), log),
          space(control, storage, links / "all") {
        fs::create_directories(folder);
        events.start([this](const platform::DirectoryEvent& event) { sync->noticed(event); });
        service::SyncThread::Settings settings;
        settings.localRoot = folder;
        settings.remoteRoot = "/" + name;
        settings.database = place / (name + ".db");
        settings.host = "bench";
        settings.excluded = [] { return std::set<std::string, std::less<>>(); };
        sync.emplace(std::move(settings), service::SyncThread::Surroundings{space, trash, &events, log, [] {},
                                                                            [](const std::stop_token&) {}});
    }
    ~LivingPair() {
        events.stop();
        sync->end();
    }
    void settle() {
        while (sync->state()->phase != service::PairState::Phase::inStep)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }

    const fs::path folder;
    Log log;
    NoTrash trash;
    const support::TemporaryFolder links; // in memory, as the folder of a session is
    backends::rclone::RemoteControl control;
    backends::rclone::RcloneSpace space;
    backends::posix::InotifyEvents events;
    std::optional<service::SyncThread> sync;
};

void waitFor(const fs::path& file, const std::string& content) {
    while (support::contentOf(file) != content)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

void latency() {
    support::StorageServers servers;
    const DiskFolder disk;
    LivingPair pair(servers.configuration(), servers.storage("sftp"), disk / "", "living");
    makeFiles(pair.folder, some);
    std::this_thread::sleep_for(std::chrono::seconds(3));
    pair.settle();
    const fs::path file = pair.folder / "above0/below7/file700";
    const fs::path arrived = servers.files("sftp") / "living/above0/below7/file700";
    std::vector<double> own;
    std::vector<double> bare;
    for (int turn = 0; turn < 5; ++turn) {
        std::this_thread::sleep_for(std::chrono::seconds(12)); // a person saves now and then
        std::string content(1024, static_cast<char>('a' + turn));
        std::ofstream(file, std::ios::binary) << content;
        const auto saved = Clock::now();
        waitFor(arrived, content);
        own.push_back(since(saved));
        content.back() = '!';
        std::ofstream(disk / "bare", std::ios::binary) << content;
        bare.push_back(timeOf([&] { (void)pair.space.bringUp(disk / "bare", "bare").wait(); }));
    }
    printFigure("a bare copyfile of 1 KiB", median(bare), "s");
    printFigure("a saved file of 1 KiB, until it is there", median(own), "s");
    printFigure("what that is more", median(own) - median(bare), "s", 0.4);
    own.clear();
    for (int turn = 0; turn < 3; ++turn) {
        const std::string name = "fresh" + std::to_string(turn);
        std::ofstream(pair.folder / "above0/below7" / name, std::ios::binary) << name;
        const auto saved = Clock::now();
        waitFor(servers.files("sftp") / "living/above0/below7" / name, name);
        own.push_back(since(saved));
    }
    printFigure("a new file of 1 KiB, with its rest of 2 s", median(own), "s");
}

unsigned long contextSwitches() {
    unsigned long sum = 0;
    for (const auto& task : fs::directory_iterator("/proc/self/task")) {
        std::ifstream status(task.path() / "status");
        for (std::string line; std::getline(status, line);)
            if (line.find("ctxt_switches") != std::string::npos)
                sum += std::stoul(line.substr(line.find(':') + 1));
    }
    return sum;
}

void daemonAtRest(const std::string& configuration, const std::string& storage, const fs::path& place) {
    double base = 0;
    {
        const DiskFolder small;
        LivingPair empty(configuration, storage, small / "", "empty");
        empty.settle();
        base = ownMemory("VmHWM");
        printFigure("daemon at rest, an empty pair", ownMemory("VmRSS"), "MiB");
        printFigure("rclone at rest", helperMemory("VmRSS"), "MiB");
    }
    LivingPair pair(configuration, storage, place, "look");
    pair.settle();
    const double items = lots + lots / 100 + lots / 1000;
    const double bytes = (1U << 20U) / items;
    printFigure("memory an item, the peak of a look", (ownMemory("VmHWM") - base) * bytes, "B", 300);
    printFigure("memory an item, at rest", (ownMemory("VmRSS") - base) * bytes, "B", 300);
    printFigure("rclone in a look at 100,000 items", helperMemory("VmHWM"), "MiB", 110);
    std::this_thread::sleep_for(std::chrono::seconds(3));
    const unsigned long before = contextSwitches();
    std::this_thread::sleep_for(std::chrono::seconds(20));
    // One is this thread's own.
    printFigure("wake-ups in 20 s between two looks", static_cast<double>(contextSwitches() - before) - 1, "",
                0.5);
}

// The look, its memory, and the peers that look at the same two trees.
void look() {
    support::StorageServers servers;
    const DiskFolder disk;
    Pair pair(servers, disk, "look");
    makeFiles(pair.folder, lots);
    std::printf("first upload of 100,000 files: %.1f s\n", pair.settle());
    printFigure("own peak of memory until then", ownMemory("VmHWM"), "MiB");
    printFigure("rclone's peak of memory until then", helperMemory("VmHWM"), "MiB");
    std::vector<double> own;
    std::vector<double> scans;
    std::vector<double> lists;
    for (int turn = 0; turn < 5; ++turn) {
        own.push_back(timeOf([&] { pair.round(); }));
        scans.push_back(timeOf([&] {
            Log log;
            (void)dirsnapshot::DirSnapshot::initWithDirectoryPath(log, pair.folder);
        }));
        lists.push_back(rclone(servers, "lsf -R " + there(servers, "look") + " > /dev/null"));
    }
    std::printf("scan of the engine %.3f s, rclone lsf -R %.3f s\n", median(scans), median(lists));
    printRatio("a look at 100,000 items, nothing changed", median(own), "scan + rclone lsf -R",
               median(scans) + median(lists), 1.2);
    // A process like the daemon's after its start, with this pair.
    std::fflush(stdout);
    const std::string program = fs::read_symlink("/proc/self/exe");
    const std::string command = program + " rest " + servers.configuration() + " " + servers.storage("sftp") +
                                " " + (disk / "").string();
    if (std::system(command.c_str()) != 0) std::printf("MISSED something\n");
    const std::string bisync = "bisync --sftp-disable-hashcheck --workdir " + (disk / "bisync").string() +
                               " " + pair.folder.string() + " " + there(servers, "look");
    rclone(servers, bisync + " --resync");
    printRatio("the same", median(own), "rclone bisync", rclone(servers, bisync), 0);
    if (support::run("which unison").status != 0) return;
    const std::string unison = "UNISON=" + (disk / "unison").string() +
                               " unison -batch -silent -ignore 'Name .tsyncquenz' " + "-sshargs '" +
                               servers.sshOptions() + "' " + pair.folder.string() + " ssh://127.0.0.1/" +
                               (servers.files("sftp") / "look").string();
    peer(unison);
    printRatio("the same", median(own), "unison", peer(unison), 0);
}

void moved() {
    support::StorageServers servers;
    const DiskFolder disk;
    Pair pair(servers, disk, "moved");
    makeFiles(pair.folder / "one", many);
    pair.settle();
    fs::rename(pair.folder / "one", pair.folder / "two");
    // Round by round, as the service goes: what has gone rests longer than what has come.
    std::size_t changes = 0;
    double seconds = 0;
    int turns = 0;
    for (bool isInStep = false; !isInStep && turns < 120; ++turns) {
        service::PairSync::Round round;
        seconds += timeOf([&] { round = pair.round(std::chrono::seconds(1)); });
        isInStep = round.isInStep();
        changes += round.done;
    }
    printFigure("changes there for a moved folder of 10,000 files", static_cast<double>(changes), "", 1);
    printFigure("until it is agreed on: rounds, a second apart", turns, "", 10);
    printFigure("their time", seconds, "s");
}

struct Section {
    const char* name;
    void (*run)();
    bool isRoutine = true;
};
constexpr Section sections[] = {{"upload", [] { manyFiles(true); }},
                                {"existing", existing},
                                {"download", [] { manyFiles(false); }},
                                {"large", large},
                                {"latency", latency},
                                {"look", look},
                                {"moved", moved},
                                {"gigabyte", gigabyte, false}};

} // namespace

int main(int count, char** arguments) {
    if (count == 5 && std::strcmp(arguments[1], "rest") == 0) {
        daemonAtRest(arguments[2], arguments[3], arguments[4]);
        return missed() > 0 ? 1 : 0;
    }
    int failed = 0;
    for (const Section& section : sections) {
        bool isChosen = count == 1 && section.isRoutine;
        for (int i = 1; i < count; ++i)
            isChosen = isChosen || std::strcmp(arguments[i], section.name) == 0;
        if (!isChosen) continue;
        const pid_t process = ::fork();
        if (process == 0) {
            try {
                section.run();
            } catch (const std::exception& error) {
                std::fprintf(stderr, "%s: %s\n", section.name, error.what());
                return 2;
            }
            return missed() > 0 ? 1 : 0;
        }
        int status = 0;
        ::waitpid(process, &status, 0);
        if (status != 0) failed = 1;
    }
    return failed;
}
