#include "backends/dbus/DaemonService.h"

#include "backends/dbus/signatures.h"
#include "backends/dbus/value_coding.h"
#include "protocol/messages.h"
#include "protocol/names.h"

namespace backends::dbus {
namespace {

// A call that may be answered after the bus has ended: the connection goes after the message.
struct OpenCall {
    std::shared_ptr<BusLink> link;
    sdbus::MethodCall call;
};

void answer(const sdbus::MethodCall& call, const protocol::Message& message, const platform::Reply& reply) {
    if (call.doesntExpectReply()) return;
    try {
        if (reply.kind == platform::Reply::Kind::value) {
            const auto types = completeTypes(message.reply);
            sdbus::MethodReply answer = call.createReply();
            if (!types.empty()) appendValue(answer, types.front(), reply.value);
            if (types.size() == 2) appendValue(answer, types.back(), reply.baseFlag.value_or(false));
            answer.send();
        } else {
            const bool none = reply.kind == platform::Reply::Kind::none;
            call.createErrorReply(sdbus::Error(none ? TSYNC_ERROR_NO_VALUE : TSYNC_ERROR_FAILED,
                                               none ? "no value" : "the request failed"))
                .send();
        }
    } catch (const sdbus::Error&) {
        // The caller or the bus has gone, or the value cannot travel: the caller's wait ends by itself.
    }
}

} // namespace

DaemonService::DaemonService(Bus& sharedBus, platform::RequestService& service)
    : bus(sharedBus), object(sdbus::createObject(bus.connection(), TSYNC_OBJECT_PATH)) {
    for (const protocol::Message& message : protocol::messages) {
        sdbus::Flags flags;
        if (message.reply.empty()) flags.set(sdbus::Flags::METHOD_NO_REPLY);
        object->registerMethod(
            TSYNC_INTERFACE, std::string(message.member), std::string(message.arguments),
            std::string(message.reply),
            [this, &message, &service](sdbus::MethodCall call) {
                platform::Array arguments;
                for (const std::string_view type : completeTypes(message.arguments)) {
                    auto value = readValue(call, type);
                    if (!value)
                        throw sdbus::Error("org.freedesktop.DBus.Error.InvalidArgs",
                                           "an argument is unreadable");
                    arguments.push_back(std::move(*value));
                }
                service.answer(
                    message.name, arguments,
                    [&message, open = OpenCall{bus.sharedLink(), call}](const platform::Reply& reply) {
                        answer(open.call, message, reply);
                        open.link->wakeIfUnwritten();
                    });
            },
            flags);
    }
    object->finishRegistration();
}

void DaemonService::requestName() {
    bus.connection().requestName(TSYNC_SERVICE_NAME);
    bus.wake();
}

} // namespace backends::dbus
