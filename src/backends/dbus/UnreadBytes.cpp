#include "backends/dbus/UnreadBytes.h"

#include <algorithm>
#include <cstdint>
#include <future>
#include <map>

namespace backends::dbus {
namespace {

constexpr std::chrono::milliseconds lookInterval{100};
constexpr std::chrono::seconds answerBound{1};
constexpr const char* question = "GetConnectionStats";
constexpr const char* statistics = "org.freedesktop.DBus.Debug.Stats";

std::size_t waitingIn(const std::map<std::string, sdbus::Variant>& figures) {
    const auto waiting = figures.find("OutgoingBytes");
    return waiting != figures.end() ? waiting->second.get<std::uint32_t>() : 0;
}

} // namespace

UnreadBytes::UnreadBytes(Bus& sharedBus, const platform::Clock& itsClock)
    : bus(sharedBus), clock(itsClock),
      proxy(sdbus::createProxy(bus.connection(), "org.freedesktop.DBus", "/org/freedesktop/DBus")) {}

void UnreadBytes::comes(const std::string& process) {
    const std::lock_guard guard(lock);
    accounts.try_emplace(process);
}

bool UnreadBytes::leaves(const std::string& process) {
    const std::lock_guard guard(lock);
    const auto account = accounts.find(process);
    if (account == accounts.end()) return false;
    set(account->second, 0);
    accounts.erase(account);
    return true;
}

void UnreadBytes::sent(const std::string& process, std::size_t bytes) {
    const std::lock_guard guard(lock);
    const auto account = accounts.find(process);
    if (account != accounts.end()) set(account->second, account->second.waiting + bytes);
}

bool UnreadBytes::exceeds(const std::string& process, std::size_t limit) {
    std::size_t before = 0;
    {
        const std::lock_guard guard(lock);
        const auto account = accounts.find(process);
        if (together > mostTogether) limit = std::min(limit, leastLimit);
        if (account == accounts.end() || account->second.waiting <= limit) return false;
        if (clock.now() < account->second.nextLook) return true;
        before = account->second.waiting;
    }
    const std::size_t left = ask(process);
    const std::lock_guard guard(lock);
    const auto account = accounts.find(process);
    if (account == accounts.end()) return false;
    // What was sent while the bus answered may or may not be in its answer.
    set(account->second, left + (account->second.waiting - std::min(before, account->second.waiting)));
    if (account->second.waiting <= limit) return false;
    account->second.nextLook = clock.now() + lookInterval;
    return true;
}

std::size_t UnreadBytes::ask(const std::string& process) {
    if (bus.isReadByAnother()) return askThroughReader(process);
    std::map<std::string, sdbus::Variant> figures;
    try {
        proxy->callMethod(question)
            .onInterface(statistics)
            .withTimeout(answerBound)
            .withArguments(process)
            .storeResultsTo(figures);
    } catch (const sdbus::Error&) {
        figures.clear();
    }
    bus.wake();
    return waitingIn(figures);
}

std::size_t UnreadBytes::askThroughReader(const std::string& process) {
    const auto answer = std::make_shared<std::promise<std::size_t>>();
    auto left = answer->get_future();
    try {
        proxy->callMethodAsync(question)
            .onInterface(statistics)
            .withTimeout(answerBound)
            .withArguments(process)
            .uponReplyInvoke(
                [answer](const sdbus::Error* error, const std::map<std::string, sdbus::Variant>& figures) {
                    answer->set_value(error ? 0 : waitingIn(figures));
                });
        bus.wake();
        // A bus that is lost meanwhile answers nothing.
        return left.wait_for(answerBound) == std::future_status::ready ? left.get() : 0;
    } catch (const sdbus::Error&) {
        return 0;
    } catch (const std::future_error&) {
        return 0;
    }
}

} // namespace backends::dbus
