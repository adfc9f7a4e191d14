#include "backends/dbus/FinderSync1Signals.h"

#include "protocol/names.h"

namespace backends::dbus {
namespace {

using host_service::HostName;

// How many bytes may wait for a host; above that it is not told of changes, which it asks for when it reads
// again.
constexpr std::size_t mostForSignals = std::size_t{256} << 10;

} // namespace

void appendURIs(sdbus::Message& message, const host_service::WatchedDirectories& directories) {
    std::vector<std::string> uris;
    if (directories)
        for (const platform::FileURL& directory : *directories)
            uris.push_back(directory.uri());
    message << directories.has_value() << uris;
}

FinderSync1Signals::FinderSync1Signals(Bus& sharedBus, UnreadBytes& unreadBytes)
    : bus(sharedBus), unread(unreadBytes),
      object(sdbus::createObject(bus.connection(), FINDER_SYNC_OBJECT_PATH)) {}

FinderSync1Signals::~FinderSync1Signals() = default;

template <typename Fill>
void FinderSync1Signals::emit(const char* name, const std::string& destination, std::size_t size,
                              Fill&& fill) {
    if (!destination.empty()) unread.sent(destination, emptyMessage + size);
    try {
        sdbus::Signal signal = object->createSignal(FINDER_SYNC_INTERFACE, name);
        if (!destination.empty()) signal.setDestination(destination);
        fill(signal);
        object->emitSignal(signal);
        bus.wake();
    } catch (const sdbus::Error&) {
        // The bus has gone, and the hosts with it.
    }
}

bool FinderSync1Signals::isListening(const HostName& host) { return !unread.exceeds(host, mostForSignals); }

void FinderSync1Signals::badgesChanged(const HostName& host, std::uint64_t sequence,
                                       const std::vector<host_service::DirectoryChange>& changes) {
    std::size_t size = 0;
    for (const host_service::DirectoryChange& change : changes) {
        size += change.directory.size() + 2 * textFrame;
        for (const std::string& item : change.items)
            size += item.size() + textFrame;
    }
    emit(FINDER_SYNC_BADGES_CHANGED, host, size, [&](sdbus::Signal& signal) {
        signal << sequence;
        signal.openContainer("(" FINDER_SYNC_CHANGE_FIELDS ")");
        for (const host_service::DirectoryChange& change : changes) {
            signal.openStruct(FINDER_SYNC_CHANGE_FIELDS);
            signal << change.directory << change.items;
            signal.closeStruct();
        }
        signal.closeContainer();
    });
}

void FinderSync1Signals::directoriesChanged(const host_service::WatchedDirectories& directories) {
    emit(FINDER_SYNC_DIRECTORIES_CHANGED, "", 0,
         [&](sdbus::Signal& signal) { appendURIs(signal, directories); });
}

// It finds these two when it reads again: that nothing is watched any more, and then what is watched now.
void FinderSync1Signals::hostDropped(const HostName& host,
                                     const host_service::WatchedDirectories& directories) {
    for (const auto& each : {host_service::WatchedDirectories(), directories})
        emit(FINDER_SYNC_DIRECTORIES_CHANGED, host, menuMessage,
             [&](sdbus::Signal& signal) { appendURIs(signal, each); });
}

void FinderSync1Signals::activationFinished(const HostName& host, std::uint64_t number,
                                            const extension::CommandOutcome& outcome) {
    std::size_t size = outcome.message.format.size();
    for (const std::string& argument : outcome.message.arguments)
        size += argument.size() + textFrame;
    emit(FINDER_SYNC_ACTIVATION_FINISHED, host, size, [&](sdbus::Signal& signal) {
        signal << number << outcome.succeeded << outcome.message.format << outcome.message.arguments;
    });
}

void FinderSync1Signals::menusChanged() {
    emit(FINDER_SYNC_MENUS_CHANGED, "", 0, [](sdbus::Signal&) {});
}

void FinderSync1Signals::progressChanged() {
    try {
        object->emitSignal(object->createSignal(SYNC_PROGRESS_INTERFACE, SYNC_PROGRESS_CHANGED));
        bus.wake();
    } catch (const sdbus::Error&) {
        // The bus has gone, and whoever waits with it.
    }
}

void FinderSync1Signals::observingBegan(const std::string& directory) {
    emit(FINDER_SYNC_OBSERVING_BEGAN, "", 0, [&](sdbus::Signal& signal) { signal << directory; });
}

platform::Subscription watchObserving(Bus& bus, std::function<void(const std::string& uri)> handler) {
    const auto slot = std::make_shared<sdbus::Slot>(bus.connection().addMatch(
        "type='signal',sender='" FINDER_SYNC_BUS_NAME "',interface='" FINDER_SYNC_INTERFACE
        "',member='" FINDER_SYNC_OBSERVING_BEGAN "'",
        [handler = std::move(handler)](sdbus::Message& message) {
            std::string uri;
            if (message >> uri) handler(uri);
        }));
    bus.wake();
    return platform::Subscription([slot] { slot->reset(); });
}

} // namespace backends::dbus
