// Request connections without a daemon behind them.
#pragma once

#include "platform/RequestConnection.h"

namespace support {

// Refuses the first connections; those after that take every message, and each reply is "no reply".
class SilentConnections final : public platform::RequestConnectionFactory {
  public:
    int refusals = 0;

    std::shared_ptr<platform::RequestConnection> initWithServiceName(std::string_view) override {
        if (refusals-- > 0) throw platform::IPCError("no bus");
        class Silent final : public platform::RequestConnection {
            void resume() override {}
            void suspend() override {}
            void invalidate() override {}
            std::string remoteObjectProxy() const override { return "<silent>"; }
            void send(std::string_view, const platform::Array&, std::chrono::milliseconds,
                      platform::ReplyHandler handler) override {
                handler({});
            }
            void send(std::string_view, const platform::Array&) override {}
        };
        return std::make_shared<Silent>();
    }
};

} // namespace support
