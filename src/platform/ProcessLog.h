// The process log: every subsystem but the snapshot engine writes its lines here.
//
// A line is one line: an object prints as compact JSON, none as "(null)", and a line break inside a text
// is escaped by the real log. Nothing is formatted for a level that is off. Any thread may write.
#pragma once

#include "platform/Value.h"
#include "platform/json.h"

#include <concepts>
#include <optional>
#include <string>
#include <string_view>

namespace platform {

enum class LogLevel {
    debug, // lines written per item: badge requests, child paths
    info,  // everything else that has a fixed text; on by default
    error, // what went wrong and a person may want to know
};

// How one part of a line is written. Another type joins by an overload beside it.
inline void appendDescription(std::string& line, std::string_view text) { line += text; }
void appendDescription(std::string& line, const std::same_as<Value> auto& value) {
    if (const std::string* text = value.string())
        line += *text;
    else
        line += jsonDescription(value);
}
void appendDescription(std::string& line, std::integral auto number) { line += std::to_string(number); }
inline void appendDescription(std::string& line, const Dictionary& entries) {
    line += jsonDescription(entries);
}
template <typename T>
void appendDescription(std::string& line, const std::optional<T>& value) {
    if (value)
        appendDescription(line, *value);
    else
        line += "(null)";
}

class ProcessLog {
  public:
    virtual ~ProcessLog() = default;

    virtual bool isOn(LogLevel level) const = 0;
    virtual void write(LogLevel level, std::string_view line) = 0;

    // Joins the parts to one line and writes it, when the level is on.
    template <typename... Parts>
    void log(LogLevel level, const Parts&... parts) {
        if (!isOn(level)) return;
        std::string line;
        (appendDescription(line, parts), ...);
        write(level, line);
    }
    template <typename... Parts>
    void info(const Parts&... parts) {
        log(LogLevel::info, parts...);
    }
    template <typename... Parts>
    void debug(const Parts&... parts) {
        log(LogLevel::debug, parts...);
    }
    template <typename... Parts>
    void error(const Parts&... parts) {
        log(LogLevel::error, parts...);
    }
};

} // namespace platform
