// The process log on standard error: where a service manager, or the terminal, keeps it.
//
// A line break or another control byte inside a line is written as an escape, so that a line stays a line.
#pragma once

#include "platform/ProcessLog.h"

#include <memory>
#include <string>

namespace spdlog {
class logger;
}

namespace backends::log {

class StandardErrorLog final : public platform::ProcessLog {
  public:
    // `lowest` is the lowest level that is written.
    StandardErrorLog(const std::string& programName, platform::LogLevel lowest);
    ~StandardErrorLog() override;

    void setLevel(platform::LogLevel lowest); // any thread
    bool isOn(platform::LogLevel level) const override;
    void write(platform::LogLevel level, std::string_view line) override;

  private:
    std::shared_ptr<spdlog::logger> logger;
};

// The level of that name ("debug", "info", "error"), or none.
std::optional<platform::LogLevel> levelNamed(std::string_view name);

} // namespace backends::log
