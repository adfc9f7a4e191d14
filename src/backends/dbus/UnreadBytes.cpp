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

std::optional<std::size_t> waitingAfter(const sdbus::Error& error) {
    if (isWithoutAnswer(error)) return std::nullopt;
    return 0;
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
    const std::optional<std::size_t> left = ask(process);
    const std::lock_guard guard(lock);
    const auto account = accounts.find(process);
    if (account == accounts.end()) return false;
    // What was sent while the bus answered may or may not be in its answer.
    if (left)
        set(account->second, *left + (account->second.waiting - std::min(before, account->second.waiting)));
    if (account->second.waiting <= limit) return false;
    account->second.nextLook = clock.now() + lookInterval;
    return true;
}

std::optional<std::size_t> UnreadBytes::ask(const std::string& process) {
    if (bus.isReadByAnother()) return askThroughReader(process);
    std::optional<std::size_t> left;
    try {
        std::map<std::string, sdbus::Variant> figures;
        proxy->callMethod(question)
            .onInterface(statistics)
            .withTimeout(answerBound)
            .withArguments(process)
            .storeResultsTo(figures);
        left = waitingIn(figures);
    } catch (const sdbus::Error& error) {
        left = waitingAfter(error);
    }
    bus.wake();
    return left;
}

std::optional<std::size_t> UnreadBytes::askThroughReader(const std::string& process) {
    const auto answer = std::make_shared<std::promise<std::optional<std::size_t>>>();
    auto left = answer->get_future();
    try {
        proxy->callMethodAsync(question)
            .onInterface(statistics)
            .withTimeout(answerBound)
            .withArguments(process)
            .uponReplyInvoke(
                [answer](const sdbus::Error* error, const std::map<std::string, sdbus::Variant>& figures) {
                    answer->set_value(error != nullptr ? waitingAfter(*error) : waitingIn(figures));
                });
        bus.wake();
        if (left.wait_for(answerBound) == std::future_status::ready) return left.get();
    } catch (const sdbus::Error&) {
        return 0; // the bus has gone
    } catch (const std::future_error&) {
        // Lost before it answered.
    }
    return std::nullopt;
}

} // namespace backends::dbus
