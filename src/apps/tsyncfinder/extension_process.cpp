#include "apps/tsyncfinder/extension_process.h"

#include "apps/tsyncfinder/ServiceFollower.h"
#include "apps/tsyncfinder/SettingsFollower.h"
#include "apps/tsyncfinder/first_time.h"
#include "backends/dbus/Bus.h"
#include "backends/dbus/DesktopNotifier.h"
#include "backends/dbus/DistributedCenter.h"
#include "backends/dbus/FinderSync1Service.h"
#include "backends/dbus/FinderSync1Signals.h"
#include "backends/dbus/RequestBus.h"
#include "backends/dbus/UnreadBytes.h"
#include "backends/dbus/name_owner.h"
#include "backends/dbus/presence.h"
#include "backends/log/StandardErrorLog.h"
#include "backends/panel_process/PanelProcess.h"
#include "backends/posix/ConcurrentQueue.h"
#include "backends/posix/DirectoryBundle.h"
#include "backends/posix/GuardedFileSystem.h"
#include "backends/posix/SerialQueue.h"
#include "extension/FinderSync.h"
#include "extension/FinderSyncCommands.h"
#include "host_service/HostService.h"
#include "host_service/HostTables.h"
#include "host_service/ItemDescriptions.h"
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
// A service that starts with the session is there by then.
constexpr std::chrono::seconds untilServiceIsMissed{5};

sigset_t blockEndingSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGHUP);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

// What the extension stands on. All of it, as the extension itself, lives as long as the process: a thread
// that hangs on a dead disk may still use it when the process ends, so it is made once and never destroyed.
struct Ground {
    explicit Ground(const RunOptions& options)
        : log("tsyncfinder", options.logLevel.value_or(platform::LogLevel::info)), bus("hosts"),
          notifications("notifications"), resources(options.resourceFolder),
          requests(replies, localCenter, log), center(notifications, log), notifier(bus, log),
          panelProcess(options.panelProgram, log, clock), settings(log) {
        if (!options.logLevel)
            logLevel = settings.follow([this](const SettingsRead& read) {
                log.setLevel(backends::log::levelNamed(read["log-level"]).value());
            });
    }

    backends::log::StandardErrorLog log;
    platform::Clock& clock = platform::machineClock();
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
    SettingsFollower settings;
    platform::Subscription logLevel;
};

// The extension. To make it waits for the daemon, as long as it takes.
struct Extension {
    explicit Extension(Ground& ground)
        : unread(ground.bus, ground.clock), signals(ground.bus, unread), tables(signals),
          finderSync({tables, ground.center, ground.fileSystem, ground.resources, ground.log, ground.clock,
                      ground.model, ground.background, ground.walks,
                      daemon_client::TSyncClient::sharedInstance}),
          actions({finderSync, daemon_client::TSyncClient::sharedInstance(), ground.center, ground.fileSystem,
                   ground.log, ground.clock, ground.links, ground.panelProcess, ground.panelProcess,
                   ground.notifier,
                   [&bus = ground.bus] {
                       return backends::dbus::presenceOf(bus, TSYNC_SERVICE_NAME, waitForSignOfLife);
                   }}),
          follower({finderSync, daemon_client::TSyncClient::sharedInstance(), ground.background,
                    [&bus = ground.bus] {
                        return backends::dbus::presenceOf(bus, TSYNC_SERVICE_NAME, waitForSignOfLife);
                    },
                    [this](std::vector<std::string> paths) { service.setProblems(std::move(paths)); }}),
          service({finderSync, tables, signals, ground.fileSystem, ground.log, ground.clock, ground.model,
                   ground.background, ground.commands, ground.panels,
                   [this](const extension::Command& command, const extension::CommandRequest& request,
                          const host_service::HostService::Done& done) {
                       actions.perform(command, request, done);
                   },
                   [this] { follower.changed(); }}),
          descriptions({service, finderSync, daemon_client::TSyncClient::sharedInstance(), ground.model}),
          lateAnswers(ground.fileSystem.whenAnsweredLate(
              [this](std::vector<std::string> paths) { service.itemsAnswered(std::move(paths)); })),
          daemonDeath(ground.localCenter.addObserver(platform::NSConnectionDidDieNotification, nullptr,
                                                     [this] { follower.changed(); })),
          shown(ground.settings.follow([this](const SettingsRead& read) {
              follower.showSidebar(read["sidebar"] == "on");
              service.setShown(
                  {host_service::badgeChoiceNamed(read["badges"]).value(), read["menu"] == "on"});
          })),
          hosts({ground.bus, service, descriptions, unread, ground.log}, TSYNCFINDER_VERSION) {}

    backends::dbus::UnreadBytes unread;
    backends::dbus::FinderSync1Signals signals;
    host_service::HostTables tables;
    extension::FinderSync finderSync;
    extension::FinderSyncCommands actions;
    ServiceFollower follower;
    host_service::HostService service;
    host_service::ItemDescriptions descriptions;
    platform::Subscription lateAnswers;
    platform::Subscription daemonDeath;
    platform::Subscription shown;
    backends::dbus::FinderSync1Service hosts;
};

} // namespace

int runExtension(const RunOptions& options) {
    const sigset_t endingSignals = blockEndingSignals(); // before any thread starts
    Ground* ground = nullptr;
    try {
        ground = new Ground(options);
    } catch (const sdbus::Error& error) {
        std::cerr << "tsyncfinder: there is no session bus: " << error.getMessage() << '\n';
        return EXIT_FAILURE;
    }
    if (!backends::dbus::nameOwner(ground->bus, FINDER_SYNC_BUS_NAME).empty()) {
        std::cerr << "tsyncfinder: the extension is already running in this session\n";
        return EXIT_SUCCESS;
    }
    for (backends::dbus::Bus* bus : {&ground->bus, &ground->notifications})
        bus->start([] { ::kill(::getpid(), SIGTERM); });
    daemon_client::TSyncClient::install(
        {ground->requests, ground->center, ground->localCenter, ground->log, ground->clock});

    ground->background.dispatchAfter(untilServiceIsMissed,
                                     [ground] { tellOnceWhatIsMissing(ground->notifier, ground->log); });

    // Start-up waits for the daemon as long as it takes; a signal ends it at any time.
    std::thread([ground] {
        auto* const extension = new Extension(*ground);
        if (!extension->hosts.requestName()) {
            std::cerr << "tsyncfinder: the extension is already running in this session\n";
            ::kill(::getpid(), SIGTERM);
        }
    }).detach();

    int signal = 0;
    while (sigwait(&endingSignals, &signal) != 0) {
    }
    ground->log.info("TSyncFinder ends: ", std::string_view(::strsignal(signal)));
    // No thread is waited for: nothing that is still under way outlives the process or is half written.
    std::cout.flush();
    std::_Exit(EXIT_SUCCESS);
}

} // namespace apps::tsyncfinder
