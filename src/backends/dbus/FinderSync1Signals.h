// The signals of the host interface: what hosts are told without asking. Introspection:
// resources/dbus/com.quarnhold.TovikDrive_Quen.FinderSync1.xml.
//
// A host that does not read what it is sent is told no more of changes until it does.
//
// Any thread may call.
#pragma once

#include "backends/dbus/Bus.h"
#include "backends/dbus/UnreadBytes.h"
#include "host_service/HostSink.h"
#include "platform/Subscription.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace backends::dbus {

class FinderSync1Signals final : public host_service::HostSink {
  public:
    // Both outlive this object.
    FinderSync1Signals(Bus& sharedBus, UnreadBytes& unreadBytes);
    ~FinderSync1Signals();
    FinderSync1Signals(const FinderSync1Signals&) = delete;
    FinderSync1Signals& operator=(const FinderSync1Signals&) = delete;

    bool isListening(const host_service::HostName& host) override;
    void badgesChanged(const host_service::HostName& host, std::uint64_t sequence,
                       const std::vector<host_service::DirectoryChange>& changes) override;
    void directoriesChanged(const host_service::WatchedDirectories& directories) override;
    void activationFinished(const host_service::HostName& host, std::uint64_t number,
                            const extension::CommandOutcome& outcome) override;
    void menusChanged() override;
    void progressChanged() override;
    void observingBegan(const std::string& directory) override;
    void hostDropped(const host_service::HostName& host,
                     const host_service::WatchedDirectories& directories) override;

  private:
    template <typename Fill>
    void emit(const char* signal, const std::string& destination, std::size_t size, Fill&& fill);

    Bus& bus;
    UnreadBytes& unread;
    std::unique_ptr<sdbus::IObject> object; // speaks for the object path; the service exports it
};

// Calls the handler on the bus thread with each directory that a first host shows at or below a sync root, as
// a URI.
[[nodiscard]] platform::Subscription watchObserving(Bus& bus,
                                                    std::function<void(const std::string& uri)> handler);

// As "isSet" and "uris".
void appendURIs(sdbus::Message& message, const host_service::WatchedDirectories& directories);

} // namespace backends::dbus
