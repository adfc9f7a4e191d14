// What `doctor --report` prints: one text for whoever is to help, without the names of files, folders,
// people, machines and storages.
#pragma once

#include "apps/tsyncfinder/doctor/Finding.h"

#include <string>

namespace apps::tsyncfinder::doctor {

// The text without what may be such a name: from a path on that is neither the system's nor one of the
// person's settings, it ends with "…". Home folder, user, machine and storage have placeholders.
std::string withoutNames(std::string text);

// The program, the system, the session, the settings, what the extension counts, and all findings.
std::string reportOf(const Findings& findings);

} // namespace apps::tsyncfinder::doctor
