#include "backends/dbus/DesktopNotifier.h"

#include "protocol/translations.h"

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace backends::dbus {
namespace {

constexpr auto notificationService = "org.freedesktop.Notifications";
constexpr auto notificationObject = "/org/freedesktop/Notifications";

constexpr const char* title = "TovikDrive";
constexpr const char* icon = "tsyncfinder";
constexpr std::int32_t desktopsOwnTime = -1; // for which it is shown
constexpr std::size_t textsShown = 4;        // of gathered ones

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
      proxy(sdbus::createProxy(bus.connection(), notificationService, notificationObject)) {
    proxy->registerSignalHandler(notificationService, "NotificationClosed", [this](sdbus::Signal& signal) {
        std::uint32_t number = 0;
        std::uint32_t reason = 0;
        signal >> number >> reason;
        const std::lock_guard guard(lock);
        if (successes.number == number && !successes.isUnderWay) successes = {};
    });
    proxy->finishRegistration();
}

DesktopNotifier::~DesktopNotifier() = default;

void DesktopNotifier::notify(const platform::DisplayText& text, News news) {
    std::string body =
        platform::filled(tsyncTranslated(text.format.c_str(), tsyncMessageLocale()), text.arguments);
    if (news == News::failure) {
        show(body, 0, news, [](std::uint32_t) {});
        return;
    }
    {
        const std::lock_guard guard(lock);
        ++successes.count;
        if (successes.latest.size() == textsShown) successes.latest.erase(successes.latest.begin());
        successes.latest.push_back(std::move(body));
        successes.hasMore = successes.isUnderWay;
        if (std::exchange(successes.isUnderWay, true)) return;
    }
    showSuccesses();
}

void DesktopNotifier::showSuccesses() {
    std::string body;
    std::uint32_t replaced = 0;
    {
        const std::lock_guard guard(lock);
        for (const std::string& text : successes.latest)
            body += (body.empty() ? "" : "\n") + text;
        if (successes.count > successes.latest.size())
            body += "\n… (+" + std::to_string(successes.count - successes.latest.size()) + ")";
        replaced = successes.number;
    }
    show(body, replaced, News::success, [this](std::uint32_t number) {
        {
            const std::lock_guard guard(lock);
            successes.number = number;
            successes.isUnderWay = std::exchange(successes.hasMore, false);
            if (number == 0) successes = {}; // no desktop shows them
            if (!successes.isUnderWay) return;
        }
        showSuccesses();
    });
}

void DesktopNotifier::show(const std::string& body, std::uint32_t replaced, News news,
                           const std::function<void(std::uint32_t number)>& shown) {
    std::map<std::string, sdbus::Variant> hints;
    if (news == News::success) hints.emplace("transient", sdbus::Variant(true));
    try {
        auto call = proxy->createMethodCall(notificationService, "Notify");
        call << "tsyncfinder" << replaced << icon << title << escaped(body) << std::vector<std::string>()
             << hints << desktopsOwnTime;
        proxy->callMethod(call, [this, shown](sdbus::MethodReply& reply, const sdbus::Error* error) {
            std::uint32_t number = 0;
            if (error != nullptr)
                log.debug("No desktop notification: ", error->getMessage());
            else
                reply >> number;
            shown(number);
        });
        bus.wake();
    } catch (const sdbus::Error& error) {
        log.debug("No desktop notification: ", error.getMessage());
        shown(0);
    }
}

} // namespace backends::dbus
