// Request connections without a daemon behind them.
#pragma once

#include "platform/RequestConnection.h"

#include <functional>

namespace support {

// Refuses the first connections; those after that take every message, and each reply is the same.
class SilentConnections final : public platform::RequestConnectionFactory {
  public:
    int refusals = 0;
    std::chrono::milliseconds wait{};                                               // of the last request
    platform::Reply reply;                                                          // "no reply"
    std::function<void(std::string_view message)> onSend = [](std::string_view) {}; // may raise IPCError

    std::shared_ptr<platform::RequestConnection> initWithServiceName(std::string_view) override {
        if (refusals-- > 0) throw platform::IPCError("no bus");
        return std::make_shared<Silent>(*this);
    }

  private:
    class Silent final : public platform::RequestConnection {
      public:
        explicit Silent(SilentConnections& connections) : all(connections) {}
        void resume() override {}
        void invalidate() override {}
        std::string remoteObjectProxy() const override { return "<silent>"; }
        void send(std::string_view message, const platform::Array&, std::chrono::milliseconds given,
                  platform::ReplyHandler handler) override {
            all.wait = given;
            all.onSend(message);
            handler(all.reply);
        }
        void send(std::string_view message, const platform::Array&) override { all.onSend(message); }

      private:
        SilentConnections& all;
    };
};

} // namespace support
