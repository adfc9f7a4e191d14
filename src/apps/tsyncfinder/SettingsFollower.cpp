#include "apps/tsyncfinder/SettingsFollower.h"

#include <system_error>

namespace apps::tsyncfinder {

SettingsFollower::SettingsFollower(platform::ProcessLog& processLog, Apply applySettings)
    : log(processLog), apply(std::move(applySettings)) {
    try {
        watch.emplace(settingsFile(), [this] { onChanged(); });
    } catch (const std::system_error& error) {
        log.error("Changed settings will not be seen before the next start: ",
                  std::string_view(error.what()));
    }
    const SettingsRead read = readSettings();
    for (const std::string& complaint : read.complaints)
        log.error(complaint);
    apply(read);
}

void SettingsFollower::onChanged() {
    const SettingsRead read = readSettings();
    for (const std::string& complaint : read.complaints)
        log.error(complaint);
    if (!read.isReadable) {
        log.error("The former settings hold.");
        return;
    }
    apply(read);
}

} // namespace apps::tsyncfinder
