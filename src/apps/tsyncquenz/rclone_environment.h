// What rclone is started with: this process's environment, and the password of its configuration where that
// is encrypted, from the desktop's secret store. It is on no command line and in no file.
#pragma once

#include "platform/ProcessLog.h"

#include <string>
#include <vector>

namespace apps::tsyncquenz {

inline constexpr auto passwordEntry = "rclone configuration"; // its service name in the secret store

// As "NAME=value". What the person has put into the environment counts first. Raises std::runtime_error with
// a sentence for a person when the password is not known. May wait for the person to unlock the store.
std::vector<std::string> rcloneEnvironment(platform::ProcessLog& log);

} // namespace apps::tsyncquenz
