// The host interface on the bus: exports FinderSync1 and hands the calls to the host service. Introspection:
// resources/dbus/com.quarnhold.TovikDrive_Quen.FinderSync1.xml.
//
// Calls arrive on the bus thread and are answered when the host service answers. The service is told when a
// caller has left the bus. The calls of one that does not read what it is sent are passed over, without an
// answer.
#pragma once

#include "backends/dbus/Bus.h"
#include "backends/dbus/UnreadBytes.h"
#include "host_service/HostService.h"
#include "host_service/ItemDescriptions.h"
#include "platform/ProcessLog.h"
#include "platform/Subscription.h"

#include <memory>
#include <string>

namespace backends::dbus {

class FinderSync1Service {
  public:
    struct Surroundings {
        Bus& bus;
        host_service::HostService& service;
        host_service::ItemDescriptions& descriptions;
        UnreadBytes& unread; // as the signals count them
        platform::ProcessLog& log;
    };
    // Registers the object; calls come once the bus is started. All outlive this object.
    FinderSync1Service(const Surroundings& surroundings, std::string programVersion);
    ~FinderSync1Service();
    FinderSync1Service(const FinderSync1Service&) = delete;
    FinderSync1Service& operator=(const FinderSync1Service&) = delete;

    // Takes the well-known name. False when another process of the session has it.
    bool requestName();

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
    void tellLongest(sdbus::MethodCall& call);
    void explain(sdbus::MethodCall& call);
    void describe(sdbus::MethodCall& call);
    void statusOf(sdbus::MethodCall& call);
    void badgeTable(sdbus::MethodCall& call);
    void watchedDirectories(sdbus::MethodCall& call);
    void versionOf(sdbus::MethodCall& call);
    // `size`: about how many bytes the message has.
    template <typename Fill>
    void reply(const sdbus::MethodCall& call, std::size_t size, Fill&& fill);

    const Surroundings around;
    const std::string version;
    std::unique_ptr<sdbus::IObject> object;
    platform::Subscription departures;
};

} // namespace backends::dbus
