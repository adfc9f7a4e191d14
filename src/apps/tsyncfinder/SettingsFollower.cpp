#include "apps/tsyncfinder/SettingsFollower.h"

#include <system_error>

namespace apps::tsyncfinder {

SettingsFollower::SettingsFollower(platform::ProcessLog& processLog) : log(processLog) {
    const std::lock_guard guard(lock); // a change waits for what was before it
    try {
        watch.emplace(settingsFile(), [this] { onChanged(); });
    } catch (const std::system_error& error) {
        log.error("Changed settings will not be seen before the next start: ",
                  std::string_view(error.what()));
    }
    current = readAndComplain();
}

SettingsRead SettingsFollower::readAndComplain() const {
    SettingsRead read = readSettings();
    for (const std::string& complaint : read.complaints)
        log.error(complaint);
    return read;
}

platform::Subscription SettingsFollower::follow(Apply apply) {
    const std::lock_guard guard(lock);
    apply(current);
    const int number = appliers.empty() ? 0 : appliers.rbegin()->first + 1;
    appliers.emplace(number, std::move(apply));
    return platform::Subscription([this, number] {
        const std::lock_guard inner(lock);
        appliers.erase(number);
    });
}

void SettingsFollower::onChanged() {
    const std::lock_guard guard(lock);
    SettingsRead read = readAndComplain();
    if (!read.isReadable) {
        log.error("The former settings hold.");
        return;
    }
    current = std::move(read);
    for (const auto& [number, apply] : appliers)
        apply(current);
}

} // namespace apps::tsyncfinder
