// tsyncquenz-sandbox: arguments and wiring of the stand-in daemon.
#include "apps/usage.h"
#include "backends/dbus/Bus.h"
#include "backends/dbus/DaemonService.h"
#include "backends/dbus/DistributedCenter.h"
#include "backends/dbus/name_owner.h"
#include "backends/log/StandardErrorLog.h"
#include "backends/posix/InotifyEvents.h"
#include "backends/posix/SerialQueue.h"
#include "platform/json.h"
#include "protocol/messages.h"
#include "protocol/names.h"
#include "sandbox/Daemon.h"
#include "sandbox/Requests.h"
#include "sync_daemon/Commands.h"

#include <CLI/CLI.hpp>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr auto description =
    "A stand-in for the sync daemon, for demos, development and tests. It is NOT a sync service: its remote\n"
    "space is a folder on this machine, and nothing ever leaves it.";

// A command message for the daemon that runs already.
struct Command {
    const char* name = nullptr; // none: this process is to be the daemon
    std::string localPath;
    std::string remotePath;
};

struct Arguments {
    sandbox::Daemon::Settings settings;
    sandbox::Faults faults;
    std::vector<std::pair<std::string, std::string>> start; // local path, remote path
    std::vector<std::string> stop;
    bool watches = true;
    std::string logLevel = "info";
    Command command;
};

// A folder below one of the user's base directories.
fs::path userFolder(const char* variable, const char* fallback) {
    const char* base = std::getenv(variable);
    if (base && *base == '/') return fs::path(base) / "tsyncquenz-sandbox";
    const char* home = std::getenv("HOME");
    return fs::path(home ? home : "/") / fallback / "tsyncquenz-sandbox";
}

std::string knownMessage(const std::string& name) {
    return protocol::messageNamed(name) ? "" : "not a message of the request protocol: " + name;
}

void declare(CLI::App& app, Arguments& arguments) {
    arguments.settings.spaceFolder = userFolder("XDG_DATA_HOME", ".local/share") / "space";
    arguments.settings.stateFolder = userFolder("XDG_STATE_HOME", ".local/state");
    app.add_option("--space", arguments.settings.spaceFolder,
                   "The folder that stands for the remote space; made where it is missing")
        ->type_name("FOLDER")
        ->capture_default_str();
    app.add_option("--state", arguments.settings.stateFolder, "Where it remembers its pairs from run to run")
        ->type_name("FOLDER")
        ->capture_default_str();
    app.add_option("--start", arguments.start,
                   "Start syncing LOCAL to REMOTE, a path in the space; repeatable")
        ->type_name("LOCAL REMOTE");
    app.add_option("--stop", arguments.stop, "Stop syncing to REMOTE; repeatable")->type_name("REMOTE");
    app.add_option(
           "--throttle", arguments.settings.pace.bytesPerSecond,
           "Copy at most that much a second, such as 500k or 2M, so that it can be watched; 0: no limit")
        ->transform(CLI::AsSizeValue(false))
        ->type_name("SIZE");
    app.add_option("--snapshot", arguments.settings.snapshotStore,
                   "How the snapshot of the space is written: database or flat")
        ->transform(CLI::CheckedTransformer(std::map<std::string, sandbox::SnapshotStore>{
            {"database", sandbox::SnapshotStore::database}, {"flat", sandbox::SnapshotStore::flatFile}}));
    app.add_flag("!--no-watch", arguments.watches,
                 "Look for changes in the synced folders only when a message asks for it");
    app.add_option("--log-level", arguments.logLevel, "debug, info or error")
        ->check(CLI::IsMember({"debug", "info", "error"}))
        ->capture_default_str();

    const std::string faults = "Faults";
    app.add_option_function<std::uint32_t>(
           "--latency",
           [&](const std::uint32_t& wait) { arguments.faults.latency = std::chrono::milliseconds(wait); },
           "Wait this many milliseconds before each request is acted on")
        ->type_name("MS")
        ->group(faults);
    app.add_option("--never-answer", arguments.faults.silent,
                   "Act on that message and never answer it, for example getSyncStatus: ; repeatable")
        ->type_name("MESSAGE")
        ->check(knownMessage)
        ->group(faults);
    app.add_option("--die-after", arguments.faults.diesAfter,
                   "Serve this many requests, and die when the next one comes")
        ->type_name("N")
        ->group(faults);
}

// The subcommands that speak to a daemon instead of being one.
void declareCommands(CLI::App& app, Command& command) {
    CLI::App* start = app.add_subcommand("start", "Tell the running daemon to sync LOCAL to REMOTE");
    start->add_option("LOCAL", command.localPath)->required()->check(CLI::ExistingDirectory);
    start->add_option("REMOTE", command.remotePath)->required();
    start->callback([&command] { command.name = TSYNC_COMMAND_SYNC_START; });
    CLI::App* stop = app.add_subcommand("stop", "Tell the running daemon to stop syncing to REMOTE");
    stop->add_option("REMOTE", command.remotePath)->required();
    stop->callback([&command] { command.name = TSYNC_COMMAND_SYNC_STOP; });
    app.require_subcommand(0, 1);
}

int sendCommand(const Command& command, platform::ProcessLog& log) {
    using namespace backends;
    dbus::Bus bus("sandbox-bus");
    dbus::DistributedCenter center(bus, log);
    platform::Dictionary payload{{"remotePath", command.remotePath}};
    if (!command.localPath.empty()) payload.emplace("localPath", fs::absolute(command.localPath).string());
    const std::optional<std::string> text = platform::jsonText(payload);
    if (!text) {
        log.error("A path is not UTF-8, so no message can name it");
        return EXIT_FAILURE;
    }
    if (!center.post({command.name, *text, {}})) return EXIT_FAILURE;
    // Asked after the message was sent: the answer also says that the bus has it.
    if (dbus::nameOwner(bus, TSYNC_SERVICE_NAME).empty()) {
        log.error("No daemon is on the bus");
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}

// Runs until a signal or the loss of the bus ends it.
int serve(const Arguments& arguments, const sigset_t& ending, platform::ProcessLog& log) {
    using namespace backends;
    std::atomic<bool> busLost = false;
    dbus::Bus bus("sandbox-bus");
    if (!dbus::nameOwner(bus, TSYNC_SERVICE_NAME).empty())
        throw std::runtime_error(
            "a sync service, or another stand-in, runs in this session already; there can be "
            "only one at a time");
    dbus::DistributedCenter center(bus, log);
    posix::InotifyEvents events;
    sandbox::Daemon::Settings settings = arguments.settings;
    if (arguments.watches) settings.events = &events;
    sandbox::Daemon daemon(settings, center, log);
    posix::SerialQueue queue("sandbox-queue");
    posix::SerialQueue slowQueue("sandbox-slow");
    // A crash: no farewell, nothing written.
    sandbox::Requests requests(daemon, arguments.faults, queue, slowQueue, log,
                               [] { std::_Exit(EXIT_FAILURE); });
    dbus::DaemonService service(bus, requests);
    const sync_daemon::Commands commands(daemon, center, {queue, queue}, log);
    const platform::Subscription extension =
        dbus::watchNameOwner(bus, FINDER_SYNC_BUS_NAME, [&](const std::string&, const std::string& owner) {
            if (!owner.empty()) queue.dispatch([&daemon] { daemon.refresh(); });
        });
    bus.start([&busLost] {
        busLost = true;
        kill(getpid(), SIGTERM);
    });
    service.requestName();
    daemon.start();
    for (const std::string& remote : arguments.stop)
        if (!daemon.stopSync(remote)) return EXIT_FAILURE;
    for (const auto& [local, remote] : arguments.start)
        if (!daemon.startSync(fs::absolute(local).string(), remote)) return EXIT_FAILURE;

    int signal = 0;
    sigwait(&ending, &signal);
    if (busLost) log.error("The session bus has gone");
    log.info("Ending");
    requests.stop();
    return busLost ? EXIT_FAILURE : EXIT_SUCCESS;
}

int runWith(const Arguments& arguments, const sigset_t& ending) {
    backends::log::StandardErrorLog log("tsyncquenz-sandbox", *backends::log::levelNamed(arguments.logLevel));
    try {
        if (arguments.command.name) return sendCommand(arguments.command, log);
        log.info("A stand-in for demos, development and tests, not a sync service. Its remote space is the "
                 "folder ",
                 arguments.settings.spaceFolder.string());
        return serve(arguments, ending, log);
    } catch (const std::exception& error) {
        log.error("Cannot run: ", error.what());
        return EXIT_FAILURE;
    }
}

} // namespace

int main(int count, char** words) {
    // Before any thread starts, so that every thread leaves the signals to the one that waits for them.
    sigset_t ending;
    sigemptyset(&ending);
    sigaddset(&ending, SIGINT);
    sigaddset(&ending, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &ending, nullptr);

    CLI::App app(description, "tsyncquenz-sandbox");
    Arguments arguments;
    declare(app, arguments);
    declareCommands(app, arguments.command);
    int exitStatus = EXIT_SUCCESS;
    app.final_callback([&] { exitStatus = runWith(arguments, ending); });
    return apps::parseAndRun(app, count, words, exitStatus);
}
