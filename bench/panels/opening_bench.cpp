// How long a person waits for a panel: from the start of the panel's process to its first painted frame, on
// an X server and a session bus of the benchmark's own, with the stand-in daemon listing 100 folders and 300
// people in the address book. Each figure stands beside that of a bare dialog of the same toolkit, which
// is the lower bound.
#include "backends/dbus/Bus.h"
#include "backends/dbus/name_owner.h"
#include "backends/posix/ChildProcess.h"
#include "platform/json.h"
#include "protocol/names.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/Programs.h"
#include "tests/support/VirtualDisplay.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr int rounds = 15;
constexpr std::chrono::seconds patience{30};

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// Milliseconds from the start of the program to the line that says that its first frame stands.
double opening(const std::string& program, const std::string& request) {
    std::vector<double> times;
    for (int round = 0; round < rounds; ++round) {
        std::vector<std::string> environment;
        for (char** entry = environ; *entry != nullptr; ++entry)
            environment.emplace_back(*entry);
        const auto start = Clock::now();
        backends::posix::ChildProcess child({program, environment, true});
        child.write(request, start + patience);
        const auto line = child.readLine(start + patience);
        times.push_back(std::chrono::duration<double, std::milli>(Clock::now() - start).count());
        if (line != "{\"shown\":true}") {
            std::printf("%s said %s\n", program.c_str(), line.value_or("nothing").c_str());
            return -1;
        }
    }
    return median(times);
}

void print(const char* what, double value, double bare, double bound) {
    std::printf("%-44s %7.1f ms  bare dialog %6.1f ms  ratio %4.2f  at most %4.0f ms  %s\n", what, value,
                bare, value / bare, bound, value >= 0 && value <= bound ? "held" : "MISSED");
}

} // namespace

int main() {
    if (std::system("command -v Xvfb >/dev/null") != 0) {
        std::puts("Xvfb is missing: not measured");
        return EXIT_SUCCESS;
    }
    std::string name = (fs::temp_directory_path() / "opening-XXXXXX").string();
    const fs::path folder = ::mkdtemp(name.data());
    for (int i = 0; i < 100; ++i)
        fs::create_directories(folder / ("space/Folder " + std::to_string(i)) / (i % 3 == 0 ? "sub" : ""));
    fs::create_directories(folder / "Photos");
    fs::create_directories(folder / "contacts");
    std::ofstream cards(folder / "contacts/everybody.vcf");
    for (int i = 0; i < 300; ++i)
        cards << "BEGIN:VCARD\r\nVERSION:3.0\r\nN:Person " << i << ";Ann;;;\r\nFN:Ann Person " << i
              << "\r\nEMAIL:ann" << i << "@example.org\r\nEND:VCARD\r\n";
    cards.close();
    ::setenv("HOME", folder.c_str(), 1);
    ::setenv("XDG_RUNTIME_DIR", folder.c_str(), 1);
    ::setenv("TSYNCFINDER_CONTACTS", (folder / "contacts").c_str(), 1);
    {
        const support::PrivateBus bus;
        const support::VirtualDisplay display;
        const support::Program daemon({SANDBOX_PROGRAM, "--space", (folder / "space").string(), "--state",
                                       (folder / "state").string(), "--log-level", "error"});
        backends::dbus::Bus connection("bench");
        while (backends::dbus::nameOwner(connection, TSYNC_SERVICE_NAME).empty())
            std::this_thread::yield();

        const std::string photos = (folder / "Photos").string();
        const double bare = opening(BARE_DIALOG, "");
        print("destination panel, 100 folders",
              opening(PANEL_PROGRAM,
                      platform::jsonDescription(platform::Dictionary{
                          {"panel", "destination"}, {"sync", true}, {"paths", platform::Array{photos}}})),
              bare, 200);
        print("share-by-email panel, 300 people",
              opening(PANEL_PROGRAM, platform::jsonDescription(platform::Dictionary{
                                         {"panel", "share"},
                                         {"path", photos},
                                         {"isDir", true},
                                         {"allPathsInSync", platform::Dictionary{{"/Photos", photos}}}})),
              bare, 200);
    }
    fs::remove_all(folder);
    return EXIT_SUCCESS;
}
