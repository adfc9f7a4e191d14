// What the sandbox's tests share: a folder that goes away, a centre that remembers what was posted, and a log
// that keeps its lines.
#pragma once

#include "platform/DistributedNotificationCenter.h"
#include "platform/ProcessLog.h"
#include "sandbox/Daemon.h"

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <mutex>
#include <string>
#include <unistd.h>
#include <vector>

namespace sandbox {

namespace fs = std::filesystem;

class TemporaryFolder {
  public:
    TemporaryFolder() {
        std::string name = (fs::temp_directory_path() / "sandbox-test-XXXXXX").string();
        path = mkdtemp(name.data());
    }
    ~TemporaryFolder() { fs::remove_all(path); }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    fs::path operator/(std::string_view name) const { return path / name; }

    std::string write(std::string_view name, std::string_view content) const {
        const fs::path file = path / name;
        fs::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary) << content;
        return file.string();
    }

  private:
    fs::path path;
};

inline std::string contentOf(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

// Delivers within the process, on the posting thread.
class RecordingCenter final : public platform::DistributedNotificationCenter {
  public:
    platform::Subscription addObserver(const std::string& name,
                                       platform::NotificationHandler handler) override {
        observers[name] = std::move(handler);
        return platform::Subscription([this, name] { observers.erase(name); });
    }
    bool post(const platform::Notification& notification) override {
        if (const auto observer = observers.find(notification.name); observer != observers.end())
            observer->second(notification);
        const std::lock_guard guard(lock);
        posted.push_back(notification);
        changed.notify_all();
        return true;
    }

    // Waits until a refresh with that status has been posted since the last call, and forgets what was
    // posted up to it. What was posted is returned, one line each: the name, or the status of a refresh
    // with the files in flight.
    std::vector<std::string> until(const std::string& wanted) {
        std::vector<std::string> lines;
        std::unique_lock guard(lock);
        const bool came = changed.wait_for(guard, std::chrono::seconds(20), [&] {
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

    std::map<std::string, platform::NotificationHandler> observers;
    std::mutex lock;
    std::condition_variable changed;
    std::vector<platform::Notification> posted;
};

class SilentLog final : public platform::ProcessLog {
  public:
    bool isOn(platform::LogLevel level) const override { return level != platform::LogLevel::debug; }
    void write(platform::LogLevel, std::string_view) override {}
};

} // namespace sandbox
