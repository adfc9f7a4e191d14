#include "apps/tsyncfinder/extension_process.h"

#include "apps/tsyncfinder/SettingsFollower.h"
#include "backends/dbus/Bus.h"
#include "backends/dbus/DesktopNotifier.h"
#include "backends/dbus/DistributedCenter.h"
#include "backends/dbus/FinderSync1Service.h"
#include "backends/dbus/RequestBus.h"
#include "backends/dbus/name_owner.h"
#include "backends/dbus/presence.h"
#include "backends/log/StandardErrorLog.h"
#include "backends/panel_process/PanelProcess.h"
#include "backends/posix/ConcurrentQueue.h"
#include "backends/posix/DirectoryBundle.h"
#include "backends/posix/GuardedFileSystem.h"
#include "backends/posix/SerialQueue.h"
#include "backends/posix/SystemClock.h"
#include "extension/FinderSync.h"
#include "extension/FinderSyncCommands.h"
#include "host_service/HostService.h"
#include "protocol/names.h"

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <pthread.h>
#include <thread>
#include <unistd.h>

namespace apps::tsyncfinder {
namespace {

constexpr unsigned backgroundThreads = 4;
constexpr unsigned linkThreads = 4;
constexpr std::chrono::seconds waitForSignOfLife{1};

sigset_t blockEndingSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGHUP);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

// Everything that lives as long as the process. A thread that hangs on a dead disk may still use it when the
// process ends, so it is made once and never destroyed.
struct Process {
    explicit Process(const RunOptions& options)
        : log("tsyncfinder", options.logLevel.value_or(platform::LogLevel::info)), bus("hosts"),
          notifications("notifications"), resources(options.resourceFolder),
          requests(replies, localCenter, log), center(notifications, log), notifier(bus, log),
          panelProcess(options.panelProgram, log), service({log, model, background, commands, panels}),
          hosts(bus, service, log, TSYNCFINDER_VERSION),
          settings(log, [this, options](const SettingsRead& read) { follow(read, options); }) {}

    void follow(const SettingsRead& read, const RunOptions& options) {
        if (!options.logLevel) log.setLevel(backends::log::levelNamed(read["log-level"]).value());
        service.setShown({read["badges"] == "on", read["menu"] == "on"});
    }

    backends::log::StandardErrorLog log;
    backends::posix::SystemClock clock;
    backends::posix::SerialQueue model{"model"};
    backends::posix::SerialQueue replies{"replies"};
    backends::posix::SerialQueue commands{"commands"};
    backends::posix::SerialQueue panels{"panels"}; // one panel at a time
    backends::posix::ConcurrentQueue background{"background", backgroundThreads};
    backends::posix::ConcurrentQueue links{"links", linkThreads}; // each may wait for the daemon's server
    backends::posix::ConcurrentQueue walks{"walks", 1};           // below removed roots, one after the other
    backends::posix::GuardedFileSystem fileSystem;
    platform::NotificationCenter localCenter;
    backends::dbus::Bus bus;
    // Of their own: a refresh with many files in flight takes long to read, and no host waits for that.
    backends::dbus::Bus notifications;
    backends::posix::DirectoryBundle resources;
    backends::dbus::RequestBus requests;
    backends::dbus::DistributedCenter center;
    backends::dbus::DesktopNotifier notifier;
    backends::panel_process::PanelProcess panelProcess;
    host_service::HostService service;
    backends::dbus::FinderSync1Service hosts;
    SettingsFollower settings;
};

} // namespace

int runExtension(const RunOptions& options) {
    const sigset_t endingSignals = blockEndingSignals(); // before any thread starts
    Process* process = nullptr;
    try {
        process = new Process(options);
    } catch (const sdbus::Error& error) {
        std::cerr << "tsyncfinder: there is no session bus: " << error.getMessage() << '\n';
        return EXIT_FAILURE;
    }
    if (!backends::dbus::nameOwner(process->bus, FINDER_SYNC_BUS_NAME).empty()) {
        std::cerr << "tsyncfinder: the extension is already running in this session\n";
        return EXIT_SUCCESS;
    }
    for (backends::dbus::Bus* bus : {&process->bus, &process->notifications})
        bus->start([] { ::kill(::getpid(), SIGTERM); });
    daemon_client::TSyncClient::install(
        {process->requests, process->center, process->localCenter, process->log, process->clock});

    // Start-up waits for the daemon as long as it takes; a signal ends it at any time.
    std::thread([process] {
        process->fileSystem.setAnsweredLate(
            [process](std::vector<std::string> paths) { process->service.itemsAnswered(std::move(paths)); });
        auto* const finderSync = new extension::FinderSync(
            {process->service, process->center, process->fileSystem, process->resources, process->log,
             process->clock, process->model, process->background, process->walks, &process->service,
             daemon_client::TSyncClient::sharedInstance});
        auto* const actions = new extension::FinderSyncCommands(
            {*finderSync, daemon_client::TSyncClient::sharedInstance(), process->center, process->fileSystem,
             process->log, process->clock, process->links, process->panelProcess, process->panelProcess,
             process->notifier, [process] {
                 return backends::dbus::presenceOf(process->bus, TSYNC_SERVICE_NAME, waitForSignOfLife);
             }});
        process->service.attach(*finderSync, process->hosts,
                                [actions](const extension::Command& command,
                                          const extension::CommandRequest& request,
                                          const host_service::HostService::Done& done) {
                                    actions->perform(command, request, done);
                                });
        if (!process->hosts.requestName()) {
            std::cerr << "tsyncfinder: the extension is already running in this session\n";
            ::kill(::getpid(), SIGTERM);
        }
    }).detach();

    int signal = 0;
    while (sigwait(&endingSignals, &signal) != 0) {
    }
    process->log.info("TSyncFinder ends: ", std::string_view(::strsignal(signal)));
    // No thread is waited for: nothing that is still under way outlives the process or is half written.
    std::cout.flush();
    std::_Exit(EXIT_SUCCESS);
}

} // namespace apps::tsyncfinder
