#include "backends/dbus/DesktopNotifier.h"

#include "protocol/translations.h"

#include <map>
#include <string>
#include <vector>

namespace backends::dbus {
namespace {

constexpr auto notificationService = "org.freedesktop.Notifications";
constexpr auto notificationObject = "/org/freedesktop/Notifications";

constexpr const char* title = "TovikDrive";
constexpr const char* icon = "tsyncfinder";
constexpr std::int32_t desktopsOwnTime = -1; // how long it is shown

// A body may hold markup, so what looks like some is written as its entity.
std::string escaped(const std::string& text) {
    std::string result;
    for (const char byte : text) {
        if (byte == '&')
            result += "&amp;";
        else if (byte == '<')
            result += "&lt;";
        else if (byte == '>')
            result += "&gt;";
        else
            result += byte;
    }
    return result;
}

} // namespace

DesktopNotifier::DesktopNotifier(Bus& sharedBus, platform::ProcessLog& processLog)
    : bus(sharedBus), log(processLog),
      proxy(sdbus::createProxy(bus.connection(), notificationService, notificationObject)) {}

DesktopNotifier::~DesktopNotifier() = default;

void DesktopNotifier::notify(const platform::DisplayText& text) {
    const std::string body =
        platform::filled(tsyncTranslated(text.format.c_str(), tsyncMessageLocale()), text.arguments);
    try {
        auto call = proxy->createMethodCall(notificationService, "Notify");
        call << "tsyncfinder" << std::uint32_t{0} << icon << title << escaped(body)
             << std::vector<std::string>() << std::map<std::string, sdbus::Variant>() << desktopsOwnTime;
        proxy->callMethod(call, [this](sdbus::MethodReply&, const sdbus::Error* error) {
            if (error != nullptr) log.debug("No desktop notification: ", error->getMessage());
        });
        bus.wake();
    } catch (const sdbus::Error& error) {
        log.debug("No desktop notification: ", error.getMessage());
    }
}

} // namespace backends::dbus
