// What the subcommands do. Each returns the exit status; what keeps it from doing so is raised as an error
// with a sentence for a person.
#pragma once

#include <csignal>
#include <string>

namespace apps::tsyncquenz {

// The service itself, until one of the signals, which are blocked in every thread, or the loss of the bus.
int runService(const std::string& logLevel, const sigset_t& ending);

// Without a storage the ones that rclone knows are listed; else it is tried and written into the settings.
int setUp(const std::string& storage);

// These ask the service that runs.
int addFolder(const std::string& folder, const std::string& remote);
int removeFolder(const std::string& folder);
int showStatus(bool isJson, bool watches);
int setPaused(bool pause);
int showProblems();
int showLogLine();

} // namespace apps::tsyncquenz
