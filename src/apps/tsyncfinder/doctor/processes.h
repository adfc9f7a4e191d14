// The person's processes, from the process file system (proc(5)).
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace apps::tsyncfinder::doctor {

// The file that it runs, with " (deleted)" at its end when that has been replaced; "" when it cannot be told.
std::string programOf(pid_t process);

// "name (process 123)", for a person.
std::string describeProcess(pid_t process);

// Those of this user and this session (that is, of this bus) that run a program of that file name.
std::vector<pid_t> processesRunning(const std::string& programName);

// The file of that name that the process has mapped, with " (deleted)" as above; "": none.
std::string mappedFile(pid_t process, const std::string& fileName);

} // namespace apps::tsyncfinder::doctor
