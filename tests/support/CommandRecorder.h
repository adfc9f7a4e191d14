// What the daemon would hear.
#pragma once

#include "backends/dbus/Bus.h"
#include "backends/dbus/DistributedCenter.h"
#include "platform/json.h"
#include "tests/support/fakes.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace support {

// The command messages that pass over the bus, as "name object".
class CommandRecorder {
  public:
    CommandRecorder() {
        for (const std::string name : {"SyncStart", "SyncStop", "ExcludeSyncPath", "IncludeSyncPath",
                                       "MoveToSpace", "CopyToSpace", "ShareByEmail"})
            observe("kTFinderSyncT" + name);
        observe(marker);
        bus.start([] {});
    }
    // What has been posted since the last call: a marker that is posted now comes after it.
    std::vector<std::pair<std::string, platform::Value>> take() {
        center.post({marker, std::nullopt, {}});
        std::unique_lock guard(lock);
        EXPECT_TRUE(arrived.wait_for(guard, deadline, [this] { return isMarked; }));
        isMarked = false;
        return std::exchange(messages, {});
    }

  private:
    void observe(const std::string& name) {
        observers.push_back(center.addObserver(name, [this](const platform::Notification& notification) {
            const std::lock_guard guard(lock);
            if (notification.name == marker) {
                isMarked = true;
                arrived.notify_all();
                return;
            }
            EXPECT_TRUE(notification.userInfo.empty());
            messages.emplace_back(notification.name,
                                  platform::valueOfJson(notification.object.value_or("")).value());
        }));
    }
    const std::string marker = "TheTestIsHere";
    std::mutex lock;
    std::condition_variable arrived;
    std::vector<std::pair<std::string, platform::Value>> messages;
    bool isMarked = false;
    RecordingLog log;
    backends::dbus::Bus bus{"recorder"};
    backends::dbus::DistributedCenter center{bus, log};
    std::vector<platform::Subscription> observers;
};

} // namespace support
