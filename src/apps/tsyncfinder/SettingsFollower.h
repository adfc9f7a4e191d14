// Does what the settings say, now and whenever they change while the process runs.
#pragma once

#include "apps/tsyncfinder/settings.h"
#include "backends/posix/FileWatch.h"
#include "platform/ProcessLog.h"

#include <functional>
#include <optional>

namespace apps::tsyncfinder {

class SettingsFollower {
  public:
    using Apply = std::function<void(const SettingsRead&)>;

    // Applies what holds now before it returns; later changes are applied on a thread of its own. A file that
    // cannot be read is logged and changes nothing. The log outlives this object.
    SettingsFollower(platform::ProcessLog& processLog, Apply applySettings);

  private:
    void onChanged();

    platform::ProcessLog& log;
    Apply apply;
    std::optional<backends::posix::FileWatch> watch; // last: it calls into all of the above
};

} // namespace apps::tsyncfinder
