#include "backends/dbus/DistributedCenter.h"

#include "backends/dbus/value_coding.h"
#include "protocol/names.h"

namespace backends::dbus {
namespace {

// None when the signal does not have the form of a notification. Raises sdbus::Error when it would take too
// much memory.
std::optional<platform::Notification> decode(sdbus::Message& message) {
    try {
        const auto name = readValue(message, "s");
        const auto object = readValue(message, "s");
        auto userInfo = readValue(message, NOTIFICATIONS_USER_INFO);
        if (!name || !object || !userInfo) return std::nullopt;
        platform::Notification notification;
        notification.name = *name->string();
        if (!object->string()->empty()) notification.object = *object->string();
        notification.userInfo = std::move(*userInfo->dictionary());
        return notification;
    } catch (const sdbus::Error& error) {
        if (error.getName() == limitsExceededError) throw;
        return std::nullopt;
    }
}

} // namespace

DistributedCenter::DistributedCenter(Bus& sharedBus, platform::ProcessLog& processLog)
    : bus(sharedBus), log(processLog),
      object(sdbus::createObject(bus.connection(), NOTIFICATIONS_OBJECT_PATH)) {
    object->registerSignal(NOTIFICATIONS_INTERFACE, NOTIFICATIONS_SIGNAL, NOTIFICATIONS_SIGNAL_TYPES,
                           {"name", "object", "userInfo"});
    object->finishRegistration();
}

platform::Subscription DistributedCenter::addObserver(const std::string& name,
                                                      platform::NotificationHandler handler) {
    const auto slot = std::make_shared<sdbus::Slot>(bus.connection().addMatch(
        "type='signal',interface='" NOTIFICATIONS_INTERFACE "',member='" NOTIFICATIONS_SIGNAL
        "',path='" NOTIFICATIONS_OBJECT_PATH "',arg0='" +
            name + "'",
        [handler = std::move(handler), &processLog = log, name](sdbus::Message& message) {
            try {
                if (const auto notification = decode(message))
                    handler(*notification);
                else
                    processLog.error("Ignored a notification ", name, " that does not have the form of one");
            } catch (const sdbus::Error& error) {
                processLog.error("Ignored a notification ", name, ": ", std::string_view(error.getMessage()));
            }
        }));
    bus.wake();
    return platform::Subscription([slot] { slot->reset(); });
}

bool DistributedCenter::post(const platform::Notification& notification) {
    try {
        sdbus::Signal signal = object->createSignal(NOTIFICATIONS_INTERFACE, NOTIFICATIONS_SIGNAL);
        appendValue(signal, "s", notification.name);
        appendValue(signal, "s", notification.object.value_or(""));
        appendValue(signal, NOTIFICATIONS_USER_INFO, notification.userInfo);
        object->emitSignal(signal);
        bus.wake();
        return true;
    } catch (const sdbus::Error& error) {
        log.error("The notification ", notification.name, " could not be posted: ", error.what());
        return false;
    }
}

} // namespace backends::dbus
