// Two computers with one space, real programs on both, and everything that goes wrong in between: edits on
// both sides at random, the service or its rclone killed, the server gone, connections cut in the middle of
// an answer. After each round both folders and the space are equal, and no content that a person saved is
// lost: it is in a folder, a trash or among what was kept.
//
// usage: rounds PROGRAM [ROUNDS] [SEED] [STORAGE]      STORAGE: sftp (the default), webdav, secret
//        rounds PROGRAM large [FILES]      100,000 small files without it, and one of 5 GiB
//
// Ends with 0 when all rounds were good; else with 1, and what is left lies in the folder that it names.
#include "backends/dbus/SyncServiceInterface.h"
#include "platform/json.h"
#include "tests/support/FlakyWire.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/enter_home.h"

#include <algorithm>
#include <chrono>
#include <fstream>
#include <functional>
#include <iostream>
#include <map>
#include <random>
#include <regex>
#include <set>
#include <unordered_map>

namespace {

namespace fs = std::filesystem;
using support::contentOf;
using Files = std::map<std::string, std::string>; // "/" for a folder

constexpr std::chrono::seconds settleLimit{180};

bool isPrivate(const std::string& path) {
    return path.starts_with(".tsyncquenz") || path.find("/.tsyncquenz") != std::string::npos;
}

Files treeOf(const fs::path& folder) {
    Files found;
    std::error_code error;
    for (auto item = fs::recursive_directory_iterator(folder, error);
         !error && item != fs::recursive_directory_iterator(); item.increment(error)) {
        const std::string path = item->path().lexically_relative(folder).string();
        if (isPrivate(path)) continue;
        std::error_code gone;
        found[path] = item->is_directory(gone) ? "/" : contentOf(item->path());
    }
    return found;
}

// A home with a bus, the service in it and a person who works in one folder.
class Computer {
  public:
    Computer(fs::path place, std::string programFile, std::string configuration)
        : home(std::move(place)), program(std::move(programFile)), rclone(std::move(configuration)) {
        fs::create_directories(folder());
        bus.emplace();
        address = ::getenv("DBUS_SESSION_BUS_ADDRESS");
    }
    fs::path folder() const { return home / "Shared"; }

    // In this home.
    support::Result command(const std::string& arguments) {
        enter();
        return support::run("timeout 30 " + program + " " + arguments);
    }
    void start() {
        enter();
        service.emplace(std::vector<std::string>{
            "/bin/sh", "-c", "exec " + program + " run --haste 10 2>> " + (home / "log").string()});
    }
    void kill() { service.reset(); }
    bool isRunning() const { return service.has_value(); }
    void killRclone() const {
        std::istringstream pids(support::run("pgrep -x rclone").output);
        for (pid_t pid = 0; pids >> pid;)
            if (isOurs(pid)) ::kill(pid, SIGKILL);
    }
    // "in step", "failed" and so on; "" when nobody answers. Asked without a program in between.
    std::string state(std::string& whole) {
        enter();
        try {
            const platform::Dictionary status = backends::dbus::SyncServiceClient().status();
            whole = platform::jsonDescription(status);
            const auto* pairs = platform::arrayAt(status, "pairs");
            const auto* text =
                pairs && !pairs->empty() ? platform::textAt(*(*pairs)[0].dictionary(), "state") : nullptr;
            return text ? *text : std::string();
        } catch (const std::runtime_error& error) {
            whole = error.what();
            return {};
        }
    }

    const fs::path home;

  private:
    bool isOurs(pid_t pid) const { // and no server
        const auto holds = [pid](const char* what, const std::string& text) {
            return support::contentOf("/proc/" + std::to_string(pid) + "/" + what).find(text) !=
                   std::string::npos;
        };
        return holds("environ", address) && holds("cmdline", "rcd");
    }
    void enter() const {
        support::enterHome(home);
        ::setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1);
        ::setenv("RCLONE_CONFIG", rclone.c_str(), 1);
    }

    const std::string program;
    const std::string rclone;
    std::string address;
    std::optional<support::PrivateBus> bus;
    std::optional<support::Program> service;
};

class Rounds {
  public:
    Rounds(const std::string& program, unsigned seed, const std::string& storage)
        : random(seed), storageName(storage), wire(portIn(contentOf(servers.configuration()), storage)) {
        const std::string configuration = work.path("rclone.conf");
        std::string text = contentOf(servers.configuration());
        const std::string port = std::to_string(portIn(text, storage));
        text = std::regex_replace(text, std::regex("known_hosts_file = .*"), "");
        std::ofstream(configuration) << std::regex_replace(text, std::regex(port),
                                                           std::to_string(wire.port()));
        for (const char* name : {"one", "two"})
            computers.push_back(std::make_unique<Computer>(work / name, program, configuration));
    }

    bool begin() {
        for (auto& computer : computers) {
            const auto setup = computer->command("setup " + servers.storage(storageName));
            computer->start();
            const bool isAdded =
                setup.status == 0 && support::eventually([&] {
                    return computer->command("add " + computer->folder().string()).status == 0;
                });
            if (!isAdded) return fail("a computer does not begin: " + setup.output);
        }
        return true;
    }

    bool round(int number) {
        const auto steps = 4 + below(30);
        for (std::size_t step = 0; step < steps; ++step) {
            edit(*computers[below(2)]);
            if (below(6) == 0) disturb();
            if (below(3) == 0) rest(below(400));
        }
        rest(below(3000));
        wire.setDown(false);
        if (!isServed) startServer();
        for (auto& computer : computers)
            if (!computer->isRunning()) computer->start();
        return settle(number) && nothingIsLost(number);
    }

    // Many files and a large one, the service killed in the middle of both.
    bool large(int files) {
        constexpr int folders = 100;
        const int filesInEach = files / folders;
        constexpr std::uintmax_t hugeSize = std::uintmax_t{5} << 30U;
        Computer& one = *computers[0];
        const fs::path there = servers.files(storageName) / "Shared";
        const fs::path huge = one.folder() / "huge";
        std::ofstream(huge) << "its beginning";
        fs::resize_file(huge, hugeSize);
        std::ofstream(huge, std::ios::app) << "its end";
        for (int folder = 0; folder < folders; ++folder) {
            fs::create_directory(one.folder() / std::to_string(folder));
            for (int file = 0; file < filesInEach; ++file)
                std::ofstream(one.folder() / std::to_string(folder) / std::to_string(file))
                    << folder << ' ' << file;
        }
        // How many items have arrived, under any name.
        const auto arrived = [&](const std::string& which) {
            return std::stoi(
                support::run("find " + servers.files(storageName).string() + which + " 2>/dev/null | wc -l")
                    .output);
        };
        const auto until = [&](const auto& condition) {
            const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(60);
            while (!condition() && std::chrono::steady_clock::now() < end)
                rest(500);
            return condition();
        };
        const bool isCut = until([&] { return arrived(" -type f -size +1280M") > 0; });
        one.kill();
        one.start();
        std::cout << "killed in the middle of the large file" << std::endl;
        const bool isCutAgain = until([&] { return arrived("") > files / 3; });
        one.kill();
        one.start();
        std::cout << "killed in the middle of the small ones" << std::endl;
        std::string whole;
        const bool hasEnded = until([&] { return one.state(whole) == "in step"; });
        const bool isEqual =
            support::run("diff -r --exclude='.tsyncquenz*' " + one.folder().string() + " " + there.string())
                .status == 0;
        if (!isCut || !isCutAgain || !hasEnded) return fail("it does not come to an end: " + whole);
        return isEqual || fail("the sides differ");
    }

    // Leaves the evidence.
    void keep() {
        const std::string place = "/tmp/rounds-" + std::to_string(::getpid());
        fs::copy(work.path(), place, fs::copy_options::recursive | fs::copy_options::skip_symlinks);
        fs::copy(space(), place + "/space", fs::copy_options::recursive);
        std::cout << "What is left lies in " << place << std::endl;
    }

  private:
    static int portIn(const std::string& configuration, const std::string& storage) {
        const std::regex pattern(storage == "webdav" ? "127\\.0\\.0\\.1:([0-9]+)" : "port = ([0-9]+)");
        std::smatch found;
        std::regex_search(configuration, found, pattern);
        return std::stoi(found[1]);
    }
    // The files of the space. An encrypted one is read where its server has it.
    fs::path space() const {
        if (storageName != "secret") return servers.files(storageName);
        const std::string plain = work.path("plain");
        fs::remove_all(plain);
        support::run("rclone --config " + servers.configuration() +
                     " copy --create-empty-src-dirs 'secret,remote=" +
                     (servers.files("sftp") / "secret").string() + ":' " + plain);
        return plain;
    }
    std::size_t below(std::size_t most) { return static_cast<std::size_t>(random() % most); }
    // The pace of a person; nothing is waited for.
    static void rest(std::size_t milliseconds) {
        std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
    }
    bool fail(const std::string& what) const {
        std::cout << what << std::endl;
        return false;
    }
    void note(const std::string& line) {
        const auto now = std::chrono::system_clock::now();
        const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
        std::ofstream log(work / "edits", std::ios::app);
        char clock[16];
        std::strftime(clock, sizeof clock, "%H:%M:%S", std::localtime(&seconds));
        log << clock << '.'
            << std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000
            << ' ' << line << std::endl;
    }

    std::string newContent() {
        const std::size_t filler = below(12) == 0 ? below(3'000'000) : below(4) == 0 ? 0 : below(2000);
        std::string content = "content " + std::to_string(++lastContent) + "\n" + std::string(filler, 'x');
        saved[content] = lastContent;
        return content;
    }
    // What a person does away with on purpose need not be kept.
    void destroys(const fs::path& item) {
        std::error_code error;
        if (fs::is_directory(item, error)) {
            for (const auto& [path, content] : treeOf(item))
                saved.erase(content);
        } else {
            saved.erase(contentOf(item));
        }
    }
    void save(const fs::path& file, const std::string& content, bool byRename) {
        if (byRename) {
            const fs::path beside = work / "being-saved";
            std::ofstream(beside, std::ios::binary) << content;
            std::error_code error;
            fs::rename(beside, file, error);
            if (error) saved.erase(content);
            return;
        }
        std::ofstream stream(file, std::ios::binary);
        const std::size_t half = content.size() / 2;
        stream << content.substr(0, half) << std::flush;
        if (below(4) == 0) rest(below(300)); // it is written while it goes up
        stream << content.substr(half) << std::flush;
        if (!stream) saved.erase(content);
    }

    void edit(Computer& computer) {
        const fs::path top = computer.folder();
        const Files files = treeOf(top);
        std::vector<std::string> items;
        std::vector<std::string> folders{""};
        for (const auto& [path, content] : files) {
            items.push_back(path);
            if (content == "/") folders.push_back(path + "/");
        }
        const std::string item = items.empty() ? "" : items[below(items.size())];
        const std::string other = items.empty() ? "" : items[below(items.size())];
        const std::string name =
            folders[below(folders.size())] + std::string(1, static_cast<char>('a' + below(6)));
        const bool isFile = !item.empty() && files.at(item) != "/";
        const std::string who = computer.home.filename().string();
        std::error_code error;
        const std::size_t kind = items.size() > 40 ? 13 : below(20);
        if (kind < 7) {
            if (files.contains(name)) return;
            const std::string content = newContent();
            note(who + " new " + name + " " + std::to_string(lastContent));
            save(top / name, content, below(2) == 0);
        } else if (kind < 8) {
            note(who + " mkdir " + name);
            fs::create_directory(top / name, error);
        } else if (kind < 12 && isFile) {
            destroys(top / item);
            const std::string content = newContent();
            note(who + " edit " + item + " " + std::to_string(lastContent));
            save(top / item, content, below(2) == 0);
        } else if (kind < 14 && !item.empty()) {
            note(who + " delete " + item);
            destroys(top / item);
            fs::remove_all(top / item, error);
        } else if (kind < 17 && !item.empty() && !files.contains(name) && !name.starts_with(item + "/")) {
            note(who + " move " + item + " to " + name);
            fs::rename(top / item, top / name, error);
        } else if (kind == 17 && !item.empty() && item != other && !item.starts_with(other + "/") &&
                   !other.starts_with(item + "/")) {
            note(who + " swap " + item + " and " + other);
            const fs::path aside = work / "swapped";
            fs::rename(top / item, aside, error);
            fs::rename(top / other, top / item, error);
            fs::rename(aside, error ? top / item : top / other, error);
        } else if (kind == 18 && isFile) { // a file becomes a folder with it
            note(who + " into a folder " + item);
            fs::rename(top / item, work / "aside", error);
            fs::create_directory(top / item, error);
            fs::rename(work / "aside", top / item / "a", error);
        } else if (kind == 19 && isFile) {
            note(who + " touch " + item);
            fs::last_write_time(top / item, fs::file_time_type::clock::now(), error);
        }
    }

    void disturb() {
        Computer& computer = *computers[below(2)];
        const std::string who = computer.home.filename().string();
        switch (below(6)) {
        case 0:
        case 1:
            note("kill the service of " + who);
            computer.kill();
            rest(below(500));
            if (below(2) == 0) computer.start();
            break;
        case 2:
            note("kill rclone of " + who);
            computer.killRclone();
            break;
        case 3:
            note("cut in an answer");
            wire.cutAfter(static_cast<std::int64_t>(below(20000)));
            break;
        case 4:
            note("the network goes");
            wire.setDown(true);
            rest(below(1500));
            if (below(2) == 0) wire.setDown(false);
            break;
        default:
            note("the server goes");
            stopServer();
            rest(below(1000));
            if (below(2) == 0) startServer();
        }
    }
    void stopServer() {
        storageName == "webdav" ? servers.stopWebdav() : servers.stopSftp();
        wire.cutAfter(0);
        isServed = false;
    }
    void startServer() {
        if (!isServed) storageName == "webdav" ? servers.startWebdav() : servers.startSftp();
        isServed = true;
    }

    // Until everything is equal. The trees are looked at often, the services asked when these are equal and,
    // as a person would who waits, now and then.
    bool settle(int number) {
        const auto end = std::chrono::steady_clock::now() + settleLimit;
        std::string states[2];
        std::string details[2];
        std::chrono::steady_clock::time_point next;
        for (auto now = std::chrono::steady_clock::now(); now < end; now = std::chrono::steady_clock::now()) {
            const bool isEqual = storageName != "secret" && areEqual(); // that is decrypted to be looked at
            if (isEqual || now >= next) {
                bool isInStep = true;
                for (std::size_t i = 0; i < 2; ++i) {
                    states[i] = computers[i]->state(details[i]);
                    isInStep = isInStep && states[i] == "in step";
                    // Yes, it is meant.
                    if (details[i].find("\"waiting\"") != std::string::npos)
                        computers[i]->command("confirm --yes " + computers[i]->folder().string());
                }
                if (isInStep && areEqual()) return true;
                for (auto& computer : computers) // try again now
                    if (isInStep || below(3) == 0) computer->command("resume");
                next = now + std::chrono::seconds(2);
            }
            // The longer a look takes, the more of the processor is left to what is looked at.
            std::this_thread::sleep_for(std::max<std::chrono::nanoseconds>(
                std::chrono::milliseconds(200), 6 * (std::chrono::steady_clock::now() - now)));
        }
        for (const std::string& status : details)
            std::cout << status << '\n';
        return fail("round " + std::to_string(number) + ": " +
                    (areEqual() ? "it does not come to an end" : "the sides differ"));
    }
    bool areEqual() const {
        const Files one = treeOf(computers[0]->folder());
        return one == treeOf(computers[1]->folder()) && one == treeOf(space() / "Shared");
    }

    bool nothingIsLost(int number) {
        std::set<std::size_t> there; // by the hash of the content
        for (const fs::path& place : {fs::path(work.path()), space()})
            for (const auto& entry : fs::recursive_directory_iterator(place))
                if (entry.is_regular_file()) there.insert(std::hash<std::string>()(contentOf(entry.path())));
        bool isWhole = true;
        for (const auto& [content, id] : saved)
            if (!there.contains(std::hash<std::string>()(content)))
                isWhole =
                    fail("round " + std::to_string(number) + ": content " + std::to_string(id) + " is lost");
        return isWhole;
    }

    std::mt19937 random;
    const std::string storageName;
    support::TemporaryFolder work;
    support::StorageServers servers{"sftp"};
    support::FlakyWire wire;
    bool isServed = true;
    std::vector<std::unique_ptr<Computer>> computers;
    int lastContent = 0;
    std::unordered_map<std::string, int> saved; // what has to be somewhere
};

} // namespace

int main(int count, char** words) {
    const std::vector<std::string> arguments(words + 1, words + count);
    if (arguments.empty()) {
        std::cerr << "usage: rounds PROGRAM [ROUNDS] [SEED] [STORAGE]\n";
        return 2;
    }
    const auto argument = [&](std::size_t at, const char* otherwise) {
        return arguments.size() > at ? arguments[at] : otherwise;
    };
    const std::string storage = argument(3, "sftp");
    if (argument(1, "") == "large") {
        Rounds all(arguments[0], 1, storage);
        const bool isGood = all.begin() && all.large(std::stoi(argument(2, "100000")));
        std::cout << argument(2, "100000") << " files and one of 5 GiB: " << (isGood ? "equal" : "FAILED")
                  << std::endl;
        return isGood ? 0 : 1;
    }
    const int rounds = std::stoi(argument(1, "5"));
    const auto seed = static_cast<unsigned>(std::stoul(argument(2, "1")));
    Rounds all(arguments[0], seed, storage);
    bool isGood = all.begin();
    int number = 0;
    while (isGood && number < rounds)
        if (isGood = all.round(++number); number % 10 == 0) std::cout << number << " rounds" << std::endl;
    if (!isGood) all.keep();
    std::cout << number << " rounds, seed " << seed << ": " << (isGood ? "equal, and nothing lost" : "FAILED")
              << std::endl;
    return isGood ? 0 : 1;
}
