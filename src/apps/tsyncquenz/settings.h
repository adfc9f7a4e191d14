// Where the service keeps what is the person's: tsyncquenz/settings.json in the XDG config folder,
// {"storage": rclone's "name:path", "bandwidth": …, "transfers": …}, and the state in the XDG state folder.
#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace apps::tsyncquenz {

std::filesystem::path settingsFile();
std::filesystem::path stateFolder();

// The storage and the path in it that is the space; none before `setup`. Raises std::runtime_error with a
// sentence for a person when the file cannot be understood.
std::optional<std::string> storage();
inline constexpr auto notSetUp = "no storage is set up yet: tsyncquenz setup";
// Replaces the file, at once or not at all; raises std::runtime_error when it cannot be written.
void setStorage(const std::string& storage);

// How long what was deleted or replaced is kept, "trashDays"; 0 for ever. 30 when the file does not say.
std::chrono::days trashDays();

// What may be changed while the service runs.
struct Options {
    std::string bandwidth = "off"; // bytes a second as rclone writes it, as "500K" or "2M", or "off"
    unsigned transfers = 4;        // files at the same time, 1 to 32
};
Options options();
// Raises std::runtime_error, also for a key or a value that is none.
void setOption(const std::string& key, const std::string& value);

inline constexpr auto rcloneProgram = "/usr/bin/rclone";

// This process's environment, as "NAME=value".
std::vector<std::string> environment();

} // namespace apps::tsyncquenz
