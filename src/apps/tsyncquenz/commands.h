// What the subcommands do. Each returns the exit status; what keeps it from doing so is raised as an error
// with a sentence for a person.
#pragma once

#include <csignal>
#include <string>

namespace apps::tsyncquenz {

inline constexpr auto unitName = "tsyncquenz.service"; // systemd's, of the person

// The service itself, until one of the signals, which are blocked in every thread, or the loss of the bus.
// When nobody asked for it, it ends at once, and well, where no storage is set up or the unit is masked.
int runService(const std::string& logLevel, bool isAutomatic, unsigned haste, const sigset_t& ending);

// Without a storage the ones that rclone knows are listed; else it is tried and written into the settings.
int setUp(const std::string& storage);

// These ask the service that runs.
int addFolder(const std::string& folder, const std::string& remote);
int removeFolder(const std::string& folder);
int showStatus(bool isJson, bool watches);
int setPaused(bool pause);
int showProblems();
// Shows what waits for a word; it is done once the person says that it is meant, by `isSure` or in answer to
// a question.
int confirmLosses(const std::string& folder, bool isSure);
// A path below a synced folder, else one in the space.
int restoreItem(const std::string& path);
int showLogLine();

} // namespace apps::tsyncquenz
