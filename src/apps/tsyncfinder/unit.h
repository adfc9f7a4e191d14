// The systemd user unit of the extension, as far as its files tell.
#pragma once

#include <string>

namespace apps::tsyncfinder {

inline constexpr auto unitName = "tsyncfinder.service";

// The link by which the person or the administrator has masked the unit (systemctl mask), "" when it is not
// masked. Also where no service manager runs that would know.
std::string maskOfUnit();

} // namespace apps::tsyncfinder
