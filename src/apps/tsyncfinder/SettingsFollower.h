// Does what the settings say, now and whenever they change while the process runs.
#pragma once

#include "apps/tsyncfinder/settings.h"
#include "backends/posix/FileWatch.h"
#include "platform/ProcessLog.h"
#include "platform/Subscription.h"

#include <functional>
#include <map>
#include <mutex>
#include <optional>

namespace apps::tsyncfinder {

class SettingsFollower {
  public:
    using Apply = std::function<void(const SettingsRead&)>;

    // Reads what holds now. A file that cannot be read is logged and changes nothing. The log outlives this
    // object.
    explicit SettingsFollower(platform::ProcessLog& processLog);

    // Applies what holds now before it returns, and later changes on a thread of the follower's, one at a
    // time.
    [[nodiscard]] platform::Subscription follow(Apply apply);

  private:
    void onChanged();
    SettingsRead readAndComplain() const;

    platform::ProcessLog& log;
    std::mutex lock;                                 // held while they apply
    SettingsRead current;                            // guarded by the lock
    std::map<int, Apply> appliers;                   // guarded by the lock
    std::optional<backends::posix::FileWatch> watch; // last: it calls into all of the above
};

} // namespace apps::tsyncfinder
