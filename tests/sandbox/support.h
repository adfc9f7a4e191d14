// What the sandbox's tests share: a centre that remembers what was posted.
#pragma once

#include "sandbox/Daemon.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/fakes.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace sandbox {

namespace fs = std::filesystem;
using support::contentOf;
using support::TemporaryFolder;

class RecordingCenter final : public support::LocalDistributedCenter {
  public:
    // Waits until a refresh with that status has been posted since the last call, and forgets what was
    // posted up to it. What was posted is returned, one line each: the name, or the status of a refresh
    // with the files in flight.
    std::vector<std::string> until(const std::string& wanted) {
        std::vector<std::string> lines;
        std::unique_lock guard(lock);
        const bool came = changed.wait_for(guard, support::deadline, [&] {
            while (!posted.empty() && (lines.empty() || lines.back() != wanted)) {
                lines.push_back(lineOf(posted.front()));
                last = posted.front();
                posted.erase(posted.begin());
            }
            return !lines.empty() && lines.back() == wanted;
        });
        EXPECT_TRUE(came) << "never posted: " << wanted << "; but: " << testing::PrintToString(lines);
        return lines;
    }

    platform::Notification last; // the one that the last call ended with

  private:
    static std::string lineOf(const platform::Notification& notification) {
        const platform::Value* status = find(notification.userInfo, "statusInfo");
        if (!status) return notification.name + " " + platform::jsonDescription(notification.userInfo);
        std::string line = *find(*status->dictionary(), "status")->string();
        if (const platform::Value* info = find(*status->dictionary(), "info")) {
            const platform::Value* paths =
                find(*find(*info->dictionary(), "syncStatusUploading")->dictionary(), "paths");
            for (const auto& [path, details] : *paths->dictionary())
                line += " " + fs::path(path).filename().string();
        }
        return line;
    }
};

} // namespace sandbox
