// A systemd user unit, as far as its files tell.
#pragma once

#include <string>

namespace apps {

// The link by which the person or the administrator has masked the unit (systemctl mask), "" when it is not
// masked. Also where no service manager runs that would know.
std::string maskOfUnit(const std::string& unit);

} // namespace apps
