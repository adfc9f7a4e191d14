#include "backends/dbus/RequestBus.h"

#include "backends/dbus/Bus.h"
#include "backends/dbus/name_owner.h"
#include "backends/dbus/raw_message.h"
#include "backends/dbus/signatures.h"
#include "backends/dbus/value_coding.h"
#include "protocol/messages.h"
#include "protocol/names.h"

#include <atomic>
#include <map>
#include <vector>

namespace backends::dbus {
namespace {

using platform::IPCError;
using platform::Reply;

// A message must not start a daemon that the user has stopped.
void forbidAutoStart(sdbus::MethodCall& call) { sd_bus_message_set_auto_start(rawMessage(call), 0); }

// What cannot be read is no answer, and the log has a line of what would take too much memory.
Reply decode(sdbus::MethodReply& message, const protocol::Message& request, platform::ProcessLog& log) {
    Reply reply;
    try {
        const auto types = completeTypes(request.reply);
        if (types.empty()) { // the end of a message without a reply value
            reply.kind = Reply::Kind::value;
            return reply;
        }
        auto value = readValue(message, types.front());
        if (!value) return reply;
        if (types.size() == 2) {
            if (const auto flag = readValue(message, types.back()); flag && flag->boolean() != nullptr)
                reply.baseFlag = *flag->boolean();
        }
        reply.kind = Reply::Kind::value;
        reply.value = std::move(*value);
    } catch (const sdbus::Error& error) {
        reply = {};
        if (error.getName() == limitsExceededError)
            log.error("Ignored a reply to ", request.name, ": ", std::string_view(error.getMessage()));
    }
    return reply;
}

} // namespace

// What the generations share: the bus and the daemon's proxy. Lives until the last generation has gone.
class RequestBus::Link : public std::enable_shared_from_this<RequestBus::Link> {
  public:
    Link(std::string service, RequestBus& owner)
        : bus("requests"), serviceName(std::move(service)), replies(owner.replies), center(owner.center),
          log(owner.log) {
        proxy = sdbus::createProxy(bus.connection(), serviceName, TSYNC_OBJECT_PATH);
    }

    // Starts to listen; apart from the constructor, since what is called back holds on to this object.
    void start() {
        const auto dies = [weak = weak_from_this(), &queue = replies](bool isBusLost) {
            queue.dispatch([weak, isBusLost] {
                if (const auto living = weak.lock()) living->announceDeath(isBusLost);
            });
        };
        ownership = watchNameOwner(bus, serviceName, [dies](const std::string& before, const std::string&) {
            if (!before.empty()) dies(false); // even when another process has taken the name over
        });
        bus.start([dies] { dies(true); });
    }

    void add(const std::shared_ptr<Connection>& connection) {
        const std::lock_guard guard(lock);
        std::erase_if(connections, [](const auto& weak) { return weak.expired(); });
        connections.push_back(connection);
    }

    void announceDeath(bool isBusLost);

    Bus bus;
    std::string serviceName;
    platform::Queue& replies;
    platform::NotificationCenter& center;
    platform::ProcessLog& log;
    std::unique_ptr<sdbus::IProxy> proxy;
    // A message could not be sent: the bus is about to be known as lost, or as good as that.
    std::atomic<bool> isBroken = false;

  private:
    platform::Subscription ownership;
    std::mutex lock;
    std::vector<std::weak_ptr<Connection>> connections; // guarded by lock
};

class RequestBus::Connection final : public platform::RequestConnection {
  public:
    explicit Connection(std::shared_ptr<Link> shared) : link(std::move(shared)) {}
    ~Connection() override { dropHandlers(); }

    void resume() override { suspended = false; }
    void invalidate() override {
        invalid = true;
        dropHandlers();
    }

    std::string remoteObjectProxy() const override {
        return "<" TSYNC_INTERFACE " of " + link->serviceName + ">";
    }

    void send(std::string_view message, const platform::Array& arguments, std::chrono::milliseconds deadline,
              platform::ReplyHandler handler) override {
        call(message, arguments, deadline, std::move(handler), false);
        link->bus.wake(); // for the deadline
    }

    // This saves two changes of thread: the reply goes to the waiting thread at once, and the thread that
    // reads the bus need not learn of the deadline.
    void sendForWaiting(std::string_view message, const platform::Array& arguments,
                        std::chrono::milliseconds deadline, platform::ReplyHandler handler) override {
        call(message, arguments, deadline, std::move(handler), true);
        link->bus.wakeIfUnwritten();
    }

    void send(std::string_view message, const platform::Array& arguments) override {
        sdbus::MethodCall call = makeCall(describe(message), arguments);
        try {
            call.dontExpectReply();
            link->proxy->callMethod(call);
        } catch (const sdbus::Error& error) {
            link->isBroken = true;
            throw IPCError(error.what());
        }
        link->bus.wake();
    }

    void dropHandlers() {
        for (auto& handler : pending->takeAll())
            link->replies.dispatch([handler = std::move(handler)] { handler({}); });
    }

  private:
    void call(std::string_view message, const platform::Array& arguments, std::chrono::milliseconds deadline,
              platform::ReplyHandler handler, bool isWaitedFor) {
        const protocol::Message& description = describe(message);
        sdbus::MethodCall call = makeCall(description, arguments);
        const std::uint64_t number = pending->add(std::move(handler));
        try {
            link->proxy->callMethod(
                call,
                [waiting = pending, number, &description, isWaitedFor, &replies = link->replies,
                 &log = link->log](sdbus::MethodReply& answer, const sdbus::Error* error) {
                    platform::ReplyHandler taken = waiting->take(number);
                    if (!taken) return;
                    Reply reply;
                    if (error == nullptr)
                        reply = decode(answer, description, log);
                    else if (error->getName() == TSYNC_ERROR_NO_VALUE)
                        reply.kind = Reply::Kind::none;
                    // At once, unless that would overtake an earlier reply on its way through the queue.
                    if (isWaitedFor && waiting->onQueue == 0) return taken(std::move(reply));
                    ++waiting->onQueue;
                    replies.dispatch([waiting, taken = std::move(taken), reply = std::move(reply)]() mutable {
                        taken(std::move(reply));
                        --waiting->onQueue;
                    });
                },
                static_cast<std::uint64_t>(std::chrono::microseconds(deadline).count()));
        } catch (const sdbus::Error& error) {
            pending->take(number);
            link->isBroken = true;
            throw IPCError(error.what());
        }
    }

    // The handlers that still wait, shared with the bus library's callbacks, which may come later than the
    // end of the generation and then find nothing.
    struct Pending {
        std::mutex lock;
        std::uint64_t last = 0;
        std::map<std::uint64_t, platform::ReplyHandler> handlers;
        std::atomic<int> onQueue = 0; // handlers that were handed to the queue and have not ended

        std::uint64_t add(platform::ReplyHandler handler) {
            const std::lock_guard guard(lock);
            handlers.emplace(++last, std::move(handler));
            return last;
        }
        platform::ReplyHandler take(std::uint64_t number) {
            const std::lock_guard guard(lock);
            auto node = handlers.extract(number);
            return node.empty() ? platform::ReplyHandler() : std::move(node.mapped());
        }
        std::vector<platform::ReplyHandler> takeAll() {
            const std::lock_guard guard(lock);
            std::vector<platform::ReplyHandler> all;
            for (auto& [number, handler] : handlers)
                all.push_back(std::move(handler));
            handlers.clear();
            return all;
        }
    };

    static const protocol::Message& describe(std::string_view name) {
        const protocol::Message* message = protocol::messageNamed(name);
        if (message == nullptr) throw IPCError("the protocol has no message " + std::string(name));
        return *message;
    }

    sdbus::MethodCall makeCall(const protocol::Message& message, const platform::Array& arguments) const {
        const auto types = completeTypes(message.arguments);
        if (invalid || suspended || link->bus.isLost() || types.size() != arguments.size())
            throw IPCError(std::string(message.name) + " cannot be sent: the connection is not usable");
        try {
            auto call = link->proxy->createMethodCall(TSYNC_INTERFACE, std::string(message.member));
            for (std::size_t i = 0; i < types.size(); ++i)
                appendValue(call, types[i], arguments[i]);
            forbidAutoStart(call);
            return call;
        } catch (const sdbus::Error& error) {
            throw IPCError(std::string(message.name) + " cannot be sent: " + error.what());
        }
    }

    std::shared_ptr<Link> link;
    std::shared_ptr<Pending> pending = std::make_shared<Pending>();
    std::atomic<bool> suspended = true;
    std::atomic<bool> invalid = false;
};

// On the reply queue. The bus itself ends the calls of a process that has gone; what is sent meanwhile may be
// for the next daemon already, and is left alone.
void RequestBus::Link::announceDeath(bool isBusLost) {
    std::vector<std::shared_ptr<Connection>> living;
    {
        const std::lock_guard guard(lock);
        for (const auto& weak : connections)
            if (auto connection = weak.lock()) living.push_back(std::move(connection));
    }
    for (const auto& connection : living) {
        if (isBusLost) connection->dropHandlers();
        center.post(platform::NSConnectionDidDieNotification, connection.get());
    }
}

RequestBus::RequestBus(platform::Queue& replyQueue, platform::NotificationCenter& localCenter,
                       platform::ProcessLog& processLog)
    : replies(replyQueue), center(localCenter), log(processLog) {}

RequestBus::~RequestBus() = default;

std::shared_ptr<platform::RequestConnection> RequestBus::initWithServiceName(std::string_view serviceName) {
    const std::lock_guard guard(lock);
    if (!link || link->bus.isLost() || link->isBroken || link->serviceName != serviceName) {
        try {
            auto fresh = std::make_shared<Link>(std::string(serviceName), *this);
            fresh->start();
            link = std::move(fresh);
        } catch (const std::exception& error) {
            throw IPCError(std::string("no session bus: ") + error.what());
        }
    }
    auto connection = std::make_shared<Connection>(link);
    link->add(connection);
    return connection;
}

} // namespace backends::dbus
