// The service, put together from its parts.
#include "apps/tsyncquenz/MailProgram.h"
#include "apps/tsyncquenz/commands.h"
#include "apps/tsyncquenz/rclone_environment.h"
#include "apps/tsyncquenz/settings.h"
#include "apps/unit.h"
#include "apps/usage.h"
#include "backends/dbus/Bus.h"
#include "backends/dbus/BusNames.h"
#include "backends/dbus/DaemonService.h"
#include "backends/dbus/DesktopNotifier.h"
#include "backends/dbus/DistributedCenter.h"
#include "backends/dbus/FinderSync1Signals.h"
#include "backends/dbus/SyncServiceInterface.h"
#include "backends/dbus/name_owner.h"
#include "backends/gio/GioTrash.h"
#include "backends/log/StandardErrorLog.h"
#include "backends/posix/FileWatch.h"
#include "backends/posix/InotifyEvents.h"
#include "backends/posix/NetworkEvents.h"
#include "backends/posix/SerialQueue.h"
#include "backends/rclone/RcloneSpace.h"
#include "platform/FileURL.h"
#include "protocol/names.h"
#include "service/Service.h"
#include "sync_daemon/Commands.h"
#include "sync_daemon/Requests.h"

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <unistd.h>

namespace apps::tsyncquenz {
namespace {

namespace fs = std::filesystem;

std::string hostName() {
    char name[256] = {};
    if (::gethostname(name, sizeof name - 1) != 0 || name[0] == '\0') return "host";
    const std::string whole(name);
    return whole.substr(0, whole.find('.'));
}

// "name (process 123)"; the stand-in for development has the same name on the bus.
std::string described(pid_t process) {
    std::error_code error;
    const fs::path program = fs::read_symlink("/proc/" + std::to_string(process) + "/exe", error);
    const std::string name = error ? std::string("a program") : program.filename().string();
    return name + " (process " + std::to_string(process) + ")";
}

std::optional<std::string> reasonOf(const service::Outcome<service::Done>& outcome) {
    return outcome ? std::nullopt : std::optional(outcome.failure().text);
}

bool isTransferring(const platform::Dictionary& status) {
    const platform::Array* pairs = platform::arrayAt(status, "pairs");
    for (const platform::Value& value : pairs != nullptr ? *pairs : platform::Array()) {
        const platform::Dictionary* pair = value.dictionary();
        if (pair != nullptr && (pair->contains("uploading") || pair->contains("downloading"))) return true;
    }
    return false;
}

backends::dbus::SyncServiceCalls callsOf(service::Service& service, backends::rclone::RcloneSpace& space,
                                         const std::string& storage) {
    return {
        [&service, &space, storage] {
            platform::Dictionary status = service.details();
            status["storage"] = storage;
            if (isTransferring(status))
                if (const auto now = space.progress().wait(); now && now->files > 0)
                    status["inHand"] = platform::Dictionary{
                        {"files", now->files},
                        {"bytes", now->bytes},
                        {"size", now->size},
                        {"bytesPerSecond", static_cast<std::uint64_t>(now->bytesPerSecond)}};
            return status;
        },
        [&service](const auto& local, const auto& remote) { return reasonOf(service.add(local, remote)); },
        [&service](const auto& remote) { return reasonOf(service.remove(remote)); },
        [&service](bool pause) { service.setPaused(pause); },
        [&service](const auto& remote, const auto& list) { return reasonOf(service.confirm(remote, list)); },
        [&service](const auto& remote) -> std::pair<std::string, std::optional<std::string>> {
            const auto place = service.restore(remote);
            if (!place) return {"", place.failure().text};
            return {*place, std::nullopt};
        },
    };
}

// Links to all that goes up at once are made and thrown away: where the session has a folder in memory that
// takes a hundredth of the time that it takes on a disk.
fs::path linksFolder() {
    const char* const runtime = std::getenv("XDG_RUNTIME_DIR");
    std::error_code error;
    if (runtime && fs::path(runtime).is_absolute() && fs::is_directory(runtime, error))
        return fs::path(runtime) / "tsyncquenz-links";
    return stateFolder() / "links";
}

// None: the unit has nothing to do here, and the log says why.
std::optional<std::string> storageToServe(bool isAutomatic, platform::ProcessLog& log) {
    if (const std::string mask = apps::maskOfUnit(unitName); isAutomatic && !mask.empty()) {
        log.info("The unit is masked: ", mask);
        return std::nullopt;
    }
    auto storage = apps::tsyncquenz::storage();
    if (!storage && isAutomatic) log.info("No storage is set up yet: tsyncquenz setup");
    if (!storage && !isAutomatic) throw std::runtime_error(notSetUp);
    return storage;
}

void checkThatNoneRuns() {
    if (const auto other = backends::dbus::BusNames().owner(TSYNC_SERVICE_NAME))
        throw std::runtime_error("a sync service runs in this session already, " + described(other->process) +
                                 "; there can be only one at a time");
}

void followSettings(backends::rclone::RemoteControl& control, backends::rclone::RcloneSpace& space) {
    const Options wanted = options();
    control.setBandwidth(wanted.bandwidth);
    space.setTransfers(wanted.transfers);
}

} // namespace

int runService(const std::string& logLevel, bool isAutomatic, unsigned haste, const sigset_t& ending) {
    using namespace backends;
    log::StandardErrorLog log("tsyncquenz", *log::levelNamed(logLevel));
    const auto storage = storageToServe(isAutomatic, log);
    if (!storage) return EXIT_SUCCESS;
    std::atomic<bool> busLost = false;
    dbus::Bus bus("service-bus");
    checkThatNoneRuns();
    dbus::DistributedCenter center(bus, log);
    rclone::RemoteControl::Settings controlSettings;
    controlSettings.environment = rcloneEnvironment(log);
    rclone::RemoteControl control(controlSettings, log);
    rclone::RcloneSpace space(control, *storage, linksFolder());
    followSettings(control, space);
    const posix::FileWatch settingsWatch(settingsFile().string(), [&control, &space, &log] {
        try {
            followSettings(control, space);
        } catch (const std::runtime_error& error) { // half a file, or nonsense
            log.error(std::string_view(error.what()));
        }
    });
    gio::GioTrash trash;
    posix::InotifyEvents events;
    dbus::DesktopNotifier notifier(bus, log);
    MailProgram mail;
    service::Service service(
        {stateFolder(), hostName(), {settingsFile().parent_path()}, {trashDays()}, haste},
        {space, trash, &events, center, log, &mail, &notifier});
    posix::SerialQueue quick("requests");
    posix::SerialQueue folders("folder-lists");
    posix::SerialQueue changes("changes");
    posix::SerialQueue slow("slow-requests");
    sync_daemon::Requests requests(service, {quick, folders, changes, slow}, log);
    dbus::DaemonService protocol(bus, requests);
    posix::SerialQueue spoken("commands"); // nobody who asks for a pause waits for a storage
    const dbus::SyncServiceInterface commandsInterface(bus, {spoken, changes},
                                                       callsOf(service, space, *storage));
    posix::SerialQueue messages("command-messages");
    posix::SerialQueue mails("mails"); // waits for the storage, then for a mail program
    const sync_daemon::Commands commands(service, center, {messages, mails}, log);
    const platform::Subscription extension =
        dbus::watchNameOwner(bus, FINDER_SYNC_BUS_NAME, [&](const std::string&, const std::string& owner) {
            if (!owner.empty()) quick.dispatch([&service] { service.refresh(); });
        });
    const platform::Subscription observing = dbus::watchObserving(bus, [&](const std::string& uri) {
        const auto directory = platform::FileURL::withURI(uri);
        if (directory) quick.dispatch([&service, path = directory->path()] { service.observed(path); });
    });
    bus.start([&busLost] {
        busLost = true;
        ::kill(::getpid(), SIGTERM);
    });
    protocol.requestName();
    log.info("The space is ", *storage);
    service.start();
    std::optional<posix::NetworkEvents> network([&service] { service.networkCame(); });

    int signal = 0;
    ::sigwait(&ending, &signal);
    if (busLost) log.error("The session bus has gone");
    log.info("Ending");
    network.reset();
    service.end();
    requests.stop();
    return busLost ? EXIT_FAILURE : EXIT_SUCCESS;
}

} // namespace apps::tsyncquenz
