#include "backends/dbus/FinderSync1Client.h"

#include "backends/dbus/Bus.h"
#include "backends/dbus/value_coding.h"
#include "protocol/names.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <optional>
#include <poll.h>

namespace backends::dbus {
namespace {

using hosts::terminal::ExtensionError;
using hosts::terminal::MenuEntry;

constexpr const char* displayVariables[] = {FINDER_SYNC_DISPLAY_VARIABLES};

std::vector<MenuEntry> readMenu(sdbus::Message& message) {
    std::vector<MenuEntry> items;
    message.enterContainer("v");
    while (message.enterVariant("(" FINDER_SYNC_MENU_ITEM_FIELDS ")")) {
        MenuEntry item;
        message.enterStruct(FINDER_SYNC_MENU_ITEM_FIELDS);
        message >> item.title >> item.key >> item.action >> item.image >> item.isEnabled >> item.hasSubmenu;
        item.items = readMenu(message);
        message.exitStruct();
        message.exitVariant();
        items.push_back(std::move(item));
    }
    message.clearFlags();
    message.exitContainer();
    return items;
}

// Rounded up, so that nobody wakes just before it; -1: there is none.
int millisecondsUntil(const std::optional<hosts::terminal::Extension::Deadline>& deadline) {
    constexpr std::chrono::milliseconds aDay{24L * 60 * 60 * 1000}; // poll(2) takes no more than 24 days
    if (!deadline) return -1;
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(*deadline - std::chrono::steady_clock::now());
    return static_cast<int>(std::clamp(left, std::chrono::milliseconds(0), aDay).count());
}

} // namespace

FinderSync1Client::FinderSync1Client(std::chrono::microseconds answerBound) : bound(answerBound) {
    try {
        connection = sdbus::createSessionBusConnection();
        proxy = sdbus::createProxy(*connection, FINDER_SYNC_BUS_NAME, FINDER_SYNC_OBJECT_PATH);
    } catch (const sdbus::Error& error) {
        throw ExtensionError("There is no session bus: " + error.getMessage());
    }
}

sdbus::MethodCall FinderSync1Client::makeCall(const char* method) {
    return proxy->createMethodCall(FINDER_SYNC_INTERFACE, method);
}

sdbus::MethodReply FinderSync1Client::send(const sdbus::MethodCall& call) {
    try {
        return proxy->callMethod(call, bound);
    } catch (const sdbus::Error& error) {
        const std::string& name = error.getName();
        if (name == "org.freedesktop.DBus.Error.ServiceUnknown" ||
            name == "org.freedesktop.DBus.Error.NameHasNoOwner")
            throw ExtensionError("The extension is not running. Start it with: tsyncfinder run");
        if (isWithoutAnswer(error)) throw ExtensionError("The extension does not answer.");
        throw ExtensionError(error.getMessage());
    }
}

std::vector<hosts::terminal::ItemBadge> FinderSync1Client::badges(const std::vector<std::string>& uris) {
    auto call = makeCall(FINDER_SYNC_BADGES_FOR_ITEMS);
    call << uris;
    auto reply = send(call);
    std::uint64_t sequence = 0;
    std::vector<sdbus::Struct<std::string, bool, bool>> answers;
    reply >> sequence >> answers;
    std::vector<hosts::terminal::ItemBadge> badges;
    badges.reserve(answers.size());
    for (const auto& answer : answers)
        badges.push_back({answer.get<0>(), answer.get<1>(), answer.get<2>()});
    if (badges.size() != uris.size())
        throw ExtensionError("The extension answered for other items than those asked for.");
    return badges;
}

std::vector<MenuEntry> FinderSync1Client::menu(const std::vector<std::string>& uris) {
    auto call = makeCall(FINDER_SYNC_MENU_FOR_ITEMS);
    call << std::uint32_t{0} << uris;
    auto reply = send(call);
    return readMenu(reply);
}

hosts::terminal::Explanation FinderSync1Client::explain(const std::string& uri) {
    auto call = makeCall(FINDER_SYNC_EXPLAIN);
    call << uri;
    auto reply = send(call);
    hosts::terminal::Explanation explanation;
    reply >> explanation.badge >> explanation.rule >> explanation.root >> explanation.file;
    return explanation;
}

platform::Dictionary FinderSync1Client::status() {
    auto reply = send(makeCall(FINDER_SYNC_STATUS));
    const auto value = readValue(reply, FINDER_SYNC_STATUS_OUT);
    return value ? *value->dictionary() : platform::Dictionary();
}

std::string FinderSync1Client::version() {
    auto reply = send(makeCall(FINDER_SYNC_VERSION));
    std::string version;
    reply >> version;
    return version;
}

std::map<std::string, std::string> FinderSync1Client::badgeLabels() {
    auto reply = send(makeCall(FINDER_SYNC_BADGE_TABLE));
    std::vector<sdbus::Struct<std::string, std::string, std::string>> table;
    reply >> table;
    std::map<std::string, std::string> labels;
    for (const auto& badge : table)
        labels.emplace(badge.get<0>(), badge.get<1>());
    return labels;
}

bool FinderSync1Client::processUntil(const std::function<bool()>& isDone, const Readable& also,
                                     std::optional<Deadline> deadline) {
    bool hasLeft = false;
    const auto ownership = connection->addMatch(
        "type='signal',sender='org.freedesktop.DBus',member='NameOwnerChanged',arg0='" FINDER_SYNC_BUS_NAME
        "'",
        [&hasLeft](sdbus::Message& message) {
            std::string name;
            std::string before;
            std::string after;
            message >> name >> before >> after;
            hasLeft = hasLeft || after.empty();
        });
    try {
        while (!isDone()) {
            if (hasLeft) throw ExtensionError("The extension has ended.");
            if (connection->processPendingRequest()) continue;
            const int left = millisecondsUntil(deadline);
            if (left == 0) return false;
            const auto wanted = connection->getEventLoopPollData();
            const int ofBus = wanted.getPollTimeout(); // -1, as `left`: for ever
            pollfd files[] = {{wanted.fd, wanted.events, 0}, {also.descriptor, POLLIN, 0}};
            if (::poll(files, 2, left < 0 || (ofBus >= 0 && ofBus < left) ? ofBus : left) < 0 &&
                errno != EINTR)
                throw ExtensionError("The session bus has gone.");
            if (files[1].revents != 0) also.read();
        }
        return true;
    } catch (const sdbus::Error&) {
        throw ExtensionError("The session bus has gone.");
    }
}

hosts::terminal::Outcome FinderSync1Client::invoke(const std::string& item,
                                                   const std::vector<std::string>& uris,
                                                   const platform::Dictionary& options) {
    std::map<std::uint64_t, hosts::terminal::Outcome> finished;
    const auto slot = connection->addMatch(
        "type='signal',interface='" FINDER_SYNC_INTERFACE "',member='" FINDER_SYNC_ACTIVATION_FINISHED "'",
        [&finished](sdbus::Message& message) {
            std::uint64_t number = 0;
            hosts::terminal::Outcome outcome;
            message >> number >> outcome.succeeded >> outcome.message.format >> outcome.message.arguments;
            finished[number] = outcome;
        });
    std::map<std::string, std::string> environment;
    for (const char* variable : displayVariables)
        if (const char* value = std::getenv(variable)) environment.emplace(variable, value);
    const char* token = std::getenv("XDG_ACTIVATION_TOKEN");
    auto call = makeCall(FINDER_SYNC_ACTIVATE);
    call << item << uris << environment << std::string(token != nullptr ? token : "");
    appendValue(call, FINDER_SYNC_ACTIVATE_OPTIONS, options);
    auto reply = send(call);
    std::uint64_t number = 0;
    reply >> number;
    processUntil([&] { return finished.contains(number); });
    return finished[number];
}

bool FinderSync1Client::followProgress(const std::function<bool()>& goesOn,
                                       std::optional<Deadline> deadline) {
    bool hasNews = true;
    const auto hear = [&hasNews](sdbus::Message&) { hasNews = true; };
    const auto progress = connection->addMatch(
        "type='signal',sender='" FINDER_SYNC_BUS_NAME "',interface='" SYNC_PROGRESS_INTERFACE "'", hear);
    const auto service = connection->addMatch(
        "type='signal',sender='org.freedesktop.DBus',member='NameOwnerChanged',arg0='" TSYNC_SERVICE_NAME "'",
        hear);
    return processUntil([&] { return std::exchange(hasNews, false) && !goesOn(); }, {-1, {}}, deadline);
}

void FinderSync1Client::observe(const std::string& directoryURI) {
    beginObserving(directoryURI);
    observed.push_back(directoryURI);
}

void FinderSync1Client::beginObserving(const std::string& directoryURI) {
    auto call = makeCall(FINDER_SYNC_BEGIN_OBSERVING);
    call << directoryURI;
    send(call);
}

void FinderSync1Client::watch(
    const std::function<bool(const std::vector<hosts::terminal::ChangedDirectory>&)>& changed,
    const Readable& also) {
    std::vector<hosts::terminal::ChangedDirectory> pending;
    const auto slot = connection->addMatch(
        "type='signal',interface='" FINDER_SYNC_INTERFACE "',member='" FINDER_SYNC_BADGES_CHANGED "'",
        [&pending](sdbus::Message& message) {
            std::uint64_t sequence = 0;
            std::vector<sdbus::Struct<std::string, std::vector<std::string>>> directories;
            message >> sequence >> directories;
            for (const auto& directory : directories)
                pending.push_back({directory.get<0>(), directory.get<1>()});
        });
    // When this program has not read for long, as behind a pager, the extension has forgotten it.
    bool isForgotten = false;
    bool beginsAnew = false;
    const auto directories = connection->addMatch("type='signal',interface='" FINDER_SYNC_INTERFACE
                                                  "',member='" FINDER_SYNC_DIRECTORIES_CHANGED "'",
                                                  [&](sdbus::Message& message) {
                                                      bool isSet = false;
                                                      message >> isSet;
                                                      beginsAnew = beginsAnew || (isForgotten && isSet);
                                                      isForgotten = !isSet;
                                                  });
    bool goesOn = changed({});
    const auto isDone = [&] {
        if (std::exchange(beginsAnew, false)) {
            for (const std::string& uri : observed) {
                beginObserving(uri);
                pending.push_back({uri, {}});
            }
        }
        if (goesOn && !pending.empty()) {
            const auto changes = std::exchange(pending, {});
            goesOn = changed(changes);
        }
        return !goesOn;
    };
    processUntil(isDone, also);
}

} // namespace backends::dbus
