// A client of the daemon on a session bus of its own, over the real backends.
#pragma once

#include "backends/dbus/DistributedCenter.h"
#include "backends/dbus/RequestBus.h"
#include "backends/posix/SerialQueue.h"
#include "daemon_client/TSyncClient.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/TestDaemon.h"
#include "tests/support/fakes.h"

#include <gtest/gtest.h>

#include <memory>

namespace support {

class BusClient : public testing::Test {
  protected:
    PrivateBus sessionBus;
    RecordingLog log;
    TestClock clock;
    platform::NotificationCenter localCenter;
    backends::posix::SerialQueue replies{"replies"};
    backends::dbus::Bus notifications{"notifications"};
    backends::dbus::DistributedCenter center{notifications, log};
    backends::dbus::RequestBus requests{replies, localCenter, log};
    std::unique_ptr<daemon_client::TSyncClient> client;

    void SetUp() override {
        notifications.start([] {});
    }
    // A death that is still being told ends before the client that hears it, and none is told after that: the
    // bus may learn only now that its daemon has gone.
    void TearDown() override {
        if (client) client->invalidateSession();
        replies.dispatchAndWait([] {});
    }
    void connect() {
        client = std::make_unique<daemon_client::TSyncClient>(
            daemon_client::TSyncClient::Surroundings{requests, center, localCenter, log, clock});
    }
};

} // namespace support
