#include "backends/dbus/DaemonProbe.h"

#include "backends/dbus/value_coding.h"
#include "protocol/messages.h"
#include "protocol/names.h"

#include <chrono>

namespace backends::dbus {
namespace {

constexpr std::chrono::seconds answerBound{2};

const protocol::Message& statusMessage() { return *protocol::messageNamed("getSyncStatus:"); }

std::string memberOf(std::string_view message) {
    return std::string(protocol::messageNamed(message)->member);
}

} // namespace

DaemonProbe::DaemonProbe() {
    BusNames names;
    const auto owner = names.owner(TSYNC_SERVICE_NAME);
    if (!owner) return;
    found = names.answers(owner->uniqueName) ? platform::Presence::answering : platform::Presence::silent;
    if (found == platform::Presence::answering)
        daemon = sdbus::createProxy(*connection, owner->uniqueName, TSYNC_OBJECT_PATH);
}

std::optional<platform::Dictionary> DaemonProbe::syncStatus() {
    if (!daemon) return std::nullopt;
    try {
        auto reply = daemon->callMethod(
            daemon->createMethodCall(TSYNC_INTERFACE, std::string(statusMessage().member)), answerBound);
        const auto value = readValue(reply, statusMessage().reply);
        if (!value || value->dictionary() == nullptr) return std::nullopt;
        return *value->dictionary();
    } catch (const sdbus::Error&) {
        return std::nullopt; // no answer, or the answer that there is no value
    }
}

std::optional<DaemonProbe::Exclusion> DaemonProbe::exclusionOf(const std::string& localPath) {
    if (!daemon) return std::nullopt;
    try {
        auto call = daemon->createMethodCall(
            TSYNC_INTERFACE, memberOf("isLocalPathExcluded:isBasePathOfExclusion:withReply:"));
        call << localPath;
        auto reply = daemon->callMethod(call, answerBound);
        Exclusion exclusion;
        reply >> exclusion.isExcluded >> exclusion.isBase;
        return exclusion;
    } catch (const sdbus::Error&) {
        return std::nullopt; // no answer, or a path that no message can carry
    }
}

std::optional<bool> DaemonProbe::isPending(const std::string& localPath) {
    if (!daemon) return std::nullopt;
    try {
        auto call = daemon->createMethodCall(TSYNC_INTERFACE, memberOf("pendingOperationOnPath:withReply:"));
        call << localPath;
        auto reply = daemon->callMethod(call, answerBound);
        bool isPending = false;
        reply >> isPending;
        return isPending;
    } catch (const sdbus::Error&) {
        return std::nullopt; // as above
    }
}

bool DaemonProbe::lookAt(const std::string& localPath) {
    if (!daemon) return false;
    try {
        auto call = daemon->createMethodCall(TSYNC_INTERFACE, memberOf("localSnapshotChanged:NoRecursive:"));
        call << localPath << false;
        daemon->callMethod(call, answerBound);
        return true;
    } catch (const sdbus::Error&) {
        return false;
    }
}

} // namespace backends::dbus
