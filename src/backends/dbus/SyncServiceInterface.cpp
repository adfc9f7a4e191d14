#include "backends/dbus/SyncServiceInterface.h"

#include "backends/dbus/value_coding.h"
#include "protocol/names.h"

#include <chrono>
#include <stdexcept>
#include <utility>

namespace backends::dbus {
namespace {

// Whoever asked may have gone, and the bus too: then nobody is told.
void answer(const std::shared_ptr<BusLink>& link, const sdbus::MethodCall& call,
            const std::optional<std::string>& refusal, const std::optional<std::string>& value = {}) {
    try {
        if (refusal) {
            call.createErrorReply(sdbus::Error(SYNC_SERVICE_ERROR_REFUSED, *refusal)).send();
        } else {
            auto reply = call.createReply();
            if (value) reply << *value;
            reply.send();
        }
    } catch (const sdbus::Error&) {
        return;
    }
    link->wakeIfUnwritten();
}

} // namespace

SyncServiceInterface::SyncServiceInterface(Bus& bus, const Queues& queues, SyncServiceCalls calls)
    : object(sdbus::createObject(bus.connection(), TSYNC_OBJECT_PATH)) {
    const auto link = bus.sharedLink();
    const auto shared = std::make_shared<SyncServiceCalls>(std::move(calls));
    platform::Queue& queue = queues.quick;
    object->registerMethod(SYNC_SERVICE_INTERFACE, SYNC_SERVICE_STATUS, "", SYNC_SERVICE_STATUS_OUT,
                           [link, shared, &queue](const sdbus::MethodCall& call) {
                               queue.dispatch([link, shared, call] {
                                   try {
                                       auto reply = call.createReply();
                                       appendValue(reply, SYNC_SERVICE_STATUS_OUT, shared->status());
                                       reply.send();
                                   } catch (const sdbus::Error&) {
                                       return; // nobody is there any more
                                   }
                                   link->wakeIfUnwritten();
                               });
                           });
    object->registerMethod(SYNC_SERVICE_INTERFACE, SYNC_SERVICE_ADD, SYNC_SERVICE_ADD_IN, "",
                           [link, shared, &queue](sdbus::MethodCall call) {
                               std::string local;
                               std::string remote;
                               call >> local >> remote;
                               queue.dispatch([link, shared, call, local, remote] {
                                   answer(link, call, shared->add(local, remote));
                               });
                           });
    object->registerMethod(
        SYNC_SERVICE_INTERFACE, SYNC_SERVICE_REMOVE, SYNC_SERVICE_REMOVE_IN, "",
        [link, shared, &queue](sdbus::MethodCall call) {
            std::string remote;
            call >> remote;
            queue.dispatch([link, shared, call, remote] { answer(link, call, shared->remove(remote)); });
        });
    object->registerMethod(SYNC_SERVICE_INTERFACE, SYNC_SERVICE_SET_PAUSED, SYNC_SERVICE_SET_PAUSED_IN, "",
                           [link, shared, &queue](sdbus::MethodCall call) {
                               bool pause = false;
                               call >> pause;
                               queue.dispatch([link, shared, call, pause] {
                                   shared->setPaused(pause);
                                   answer(link, call, std::nullopt);
                               });
                           });
    object->registerMethod(SYNC_SERVICE_INTERFACE, "Confirm", "ss", "",
                           [link, shared, &queue](sdbus::MethodCall call) {
                               std::string remote;
                               std::string list;
                               call >> remote >> list;
                               queue.dispatch([link, shared, call, remote, list] {
                                   answer(link, call, shared->confirm(remote, list));
                               });
                           });
    object->registerMethod(SYNC_SERVICE_INTERFACE, "Restore", "s", "s",
                           [link, shared, &queue = queues.storage](sdbus::MethodCall call) {
                               std::string remote;
                               call >> remote;
                               queue.dispatch([link, shared, call, remote] {
                                   const auto [place, refusal] = shared->restore(remote);
                                   answer(link, call, refusal, place);
                               });
                           });
    object->finishRegistration();
}

SyncServiceClient::SyncServiceClient(std::chrono::milliseconds limit) : answerLimit(limit) {
    try {
        connection = sdbus::createSessionBusConnection();
        proxy = sdbus::createProxy(*connection, TSYNC_SERVICE_NAME, TSYNC_OBJECT_PATH);
    } catch (const sdbus::Error& error) {
        throw std::runtime_error("there is no session bus: " + error.getMessage());
    }
}

sdbus::MethodReply SyncServiceClient::send(const sdbus::MethodCall& call) {
    try {
        return proxy->callMethod(call, answerLimit);
    } catch (const sdbus::Error& error) {
        const std::string& name = error.getName();
        if (name == SYNC_SERVICE_ERROR_REFUSED) throw std::runtime_error(error.getMessage());
        if (name == "org.freedesktop.DBus.Error.ServiceUnknown" ||
            name == "org.freedesktop.DBus.Error.NameHasNoOwner")
            throw std::runtime_error("the service does not run; start it with: tsyncquenz run");
        if (name == "org.freedesktop.DBus.Error.UnknownMethod" ||
            name == "org.freedesktop.DBus.Error.UnknownInterface")
            throw std::runtime_error(
                "another program has the sync service's name on the bus and knows no such "
                "command: the stand-in for development, tsyncquenz-sandbox? End it, then "
                "start the service with: tsyncquenz run");
        if (name.starts_with("org.freedesktop.DBus.Error.Spawn.") ||
            name.starts_with("org.freedesktop.systemd1."))
            throw std::runtime_error("the service cannot be started (" + error.getMessage() +
                                     "): systemctl --user enable --now tsyncquenz, or: tsyncquenz run");
        throw std::runtime_error("the service does not answer: " + error.getMessage());
    }
}

platform::Dictionary SyncServiceClient::status() {
    auto reply = send(proxy->createMethodCall(SYNC_SERVICE_INTERFACE, SYNC_SERVICE_STATUS));
    const auto value = readValue(reply, SYNC_SERVICE_STATUS_OUT);
    if (!value || value->dictionary() == nullptr)
        throw std::runtime_error("the service's answer is unreadable");
    return *value->dictionary();
}

void SyncServiceClient::add(const std::string& localPath, const std::string& remotePath) {
    auto call = proxy->createMethodCall(SYNC_SERVICE_INTERFACE, SYNC_SERVICE_ADD);
    call << localPath << remotePath;
    send(call);
}

void SyncServiceClient::remove(const std::string& remotePath) {
    auto call = proxy->createMethodCall(SYNC_SERVICE_INTERFACE, SYNC_SERVICE_REMOVE);
    call << remotePath;
    send(call);
}

void SyncServiceClient::setPaused(bool pause) {
    auto call = proxy->createMethodCall(SYNC_SERVICE_INTERFACE, SYNC_SERVICE_SET_PAUSED);
    call << pause;
    send(call);
}

void SyncServiceClient::confirm(const std::string& remotePath, const std::string& list) {
    auto call = proxy->createMethodCall(SYNC_SERVICE_INTERFACE, "Confirm");
    call << remotePath << list;
    send(call);
}

std::string SyncServiceClient::restore(const std::string& remotePath) {
    auto call = proxy->createMethodCall(SYNC_SERVICE_INTERFACE, "Restore");
    call << remotePath;
    std::string place;
    send(call) >> place;
    return place;
}

} // namespace backends::dbus
