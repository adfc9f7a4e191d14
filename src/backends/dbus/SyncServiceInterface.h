// The interface by which the commands of `tsyncquenz` speak to the service that runs, for everything that the
// request protocol has no message for. Introspection:
// resources/dbus/com.quarnhold.TovikDrive_Quen.SyncService1.xml.
#pragma once

#include "backends/dbus/Bus.h"
#include "platform/Queue.h"
#include "platform/Value.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace backends::dbus {

// What is asked; run on a queue, never on the bus thread. A text that is returned is the reason of a refusal.
struct SyncServiceCalls {
    std::function<platform::Dictionary()> status;
    std::function<std::optional<std::string>(const std::string& localPath, const std::string& remotePath)>
        add;
    std::function<std::optional<std::string>(const std::string& remotePath)> remove;
    std::function<void(bool pause)> setPaused;
    std::function<std::optional<std::string>(const std::string& remotePath, const std::string& list)> confirm;
    // The path at which the item lies now, or the reason of a refusal.
    std::function<std::pair<std::string, std::optional<std::string>>(const std::string& remotePath)> restore;
};

class SyncServiceInterface {
  public:
    // `restore` waits for the storage; the rest, which does not, has a queue of its own.
    struct Queues {
        platform::Queue& quick;
        platform::Queue& storage;
    };
    // Registers the object beside the request protocol's. All must outlive it, and the queues' work with it.
    SyncServiceInterface(Bus& sharedBus, const Queues& queues, SyncServiceCalls calls);

  private:
    std::unique_ptr<sdbus::IObject> object;
};

// The other end, for one thread. The bus starts the service where it is installed. Each raises
// std::runtime_error with a sentence for a person: the service does not run, does not answer, or has refused.
class SyncServiceClient {
  public:
    // `limit` is how long an answer may take.
    explicit SyncServiceClient(std::chrono::milliseconds limit = std::chrono::seconds(30));

    platform::Dictionary status();
    void add(const std::string& localPath, const std::string& remotePath);
    void remove(const std::string& remotePath);
    void setPaused(bool pause);
    void confirm(const std::string& remotePath, const std::string& list);
    std::string restore(const std::string& remotePath); // where it lies now

  private:
    sdbus::MethodReply send(const sdbus::MethodCall& call);

    const std::chrono::milliseconds answerLimit;
    std::unique_ptr<sdbus::IConnection> connection;
    std::unique_ptr<sdbus::IProxy> proxy;
};

} // namespace backends::dbus
