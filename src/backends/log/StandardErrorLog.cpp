#include "backends/log/StandardErrorLog.h"

#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/spdlog.h>

#include <algorithm>

namespace backends::log {
namespace {

spdlog::level::level_enum nativeLevel(platform::LogLevel level) {
    switch (level) {
    case platform::LogLevel::debug:
        return spdlog::level::debug;
    case platform::LogLevel::info:
        return spdlog::level::info;
    case platform::LogLevel::error:
        break;
    }
    return spdlog::level::err;
}

bool isControl(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }

std::string withoutControls(std::string_view line) {
    std::string plain;
    for (const char c : line) {
        if (isControl(c))
            plain += fmt::format("\\x{:02x}", static_cast<unsigned char>(c));
        else
            plain += c;
    }
    return plain;
}

} // namespace

StandardErrorLog::StandardErrorLog(const std::string& programName, platform::LogLevel lowest)
    : logger(
          std::make_shared<spdlog::logger>(programName, std::make_shared<spdlog::sinks::stderr_sink_mt>())) {
    logger->set_pattern("%Y-%m-%d %H:%M:%S.%e %n[%P] %l: %v");
    logger->set_level(nativeLevel(lowest));
    logger->flush_on(spdlog::level::debug);
}

StandardErrorLog::~StandardErrorLog() = default;

void StandardErrorLog::setLevel(platform::LogLevel lowest) { logger->set_level(nativeLevel(lowest)); }

bool StandardErrorLog::isOn(platform::LogLevel level) const { return logger->should_log(nativeLevel(level)); }

void StandardErrorLog::write(platform::LogLevel level, std::string_view line) {
    if (std::any_of(line.begin(), line.end(), isControl))
        logger->log(nativeLevel(level), "{}", withoutControls(line));
    else
        logger->log(nativeLevel(level), "{}", spdlog::string_view_t(line.data(), line.size()));
}

std::optional<platform::LogLevel> levelNamed(std::string_view name) {
    if (name == "debug") return platform::LogLevel::debug;
    if (name == "info") return platform::LogLevel::info;
    if (name == "error") return platform::LogLevel::error;
    return std::nullopt;
}

} // namespace backends::log
