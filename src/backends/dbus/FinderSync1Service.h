// The host interface on the bus: exports FinderSync1 and hands the calls to the host service. Introspection:
// resources/dbus/com.quarnhold.TovikDrive_Quen.FinderSync1.xml.
//
// Calls arrive on the bus thread and are answered when the host service answers. The service is told when a
// caller has left the bus. A caller that does not read what it is sent is at first no longer told of changes;
// later its calls are passed over, without an answer.
#pragma once

#include "backends/dbus/Bus.h"
#include "backends/dbus/UnreadBytes.h"
#include "host_service/HostService.h"
#include "platform/ProcessLog.h"
#include "platform/Subscription.h"

#include <atomic>
#include <memory>
#include <string>

namespace backends::dbus {

class FinderSync1Service final : public host_service::HostSink {
  public:
    // Registers the object; nothing is answered before the bus is started and the service attached. All
    // must outlive this object.
    FinderSync1Service(Bus& sharedBus, host_service::HostService& hostService,
                       platform::ProcessLog& processLog, std::string programVersion);
    ~FinderSync1Service();
    FinderSync1Service(const FinderSync1Service&) = delete;
    FinderSync1Service& operator=(const FinderSync1Service&) = delete;

    // Takes the well-known name, once the host service is attached. False when another process of the
    // session has it. Until then a caller that knows the unique name gets an error.
    bool requestName();

    bool isListening(const host_service::HostName& host) override;
    void badgesChanged(const host_service::HostName& host, std::uint64_t sequence,
                       const std::vector<host_service::DirectoryChange>& changes) override;
    void directoriesChanged(const std::optional<std::set<platform::FileURL>>& directories) override;
    void activationFinished(const host_service::HostName& host, std::uint64_t number,
                            const extension::CommandOutcome& outcome) override;
    void menusChanged() override;
    void hostDropped(const host_service::HostName& host) override;

  private:
    using Method = void (FinderSync1Service::*)(sdbus::MethodCall&);
    void add(const char* name, const char* in, const std::vector<std::string>& inNames, const char* out,
             const std::vector<std::string>& outNames, Method method);
    void badgesForItems(sdbus::MethodCall& call);
    void menuForItems(sdbus::MethodCall& call);
    void menusByClass(sdbus::MethodCall& call);
    void activate(sdbus::MethodCall& call);
    void beginObserving(sdbus::MethodCall& call);
    void endObserving(sdbus::MethodCall& call);
    void explain(sdbus::MethodCall& call);
    void statusOf(sdbus::MethodCall& call);
    void badgeTable(sdbus::MethodCall& call);
    void watchedDirectories(sdbus::MethodCall& call);
    void versionOf(sdbus::MethodCall& call);
    // `size`: about how many bytes the message has.
    template <typename Fill>
    void reply(const sdbus::MethodCall& call, std::size_t size, Fill&& fill);
    template <typename Fill>
    void emit(const char* signal, const std::string& destination, std::size_t size, Fill&& fill);

    Bus& bus;
    host_service::HostService& service;
    platform::ProcessLog& log;
    std::string version;
    std::atomic<bool> isServing = false;
    UnreadBytes unread;
    std::unique_ptr<sdbus::IObject> object;
    platform::Subscription departures;
};

} // namespace backends::dbus
