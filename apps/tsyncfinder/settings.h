// The person's settings: tsyncfinder/settings.json in the XDG config folder, an object of texts.
//
// A key that is missing, or has a value that it may not have, counts as its default; keys that this version
// does not know stay in the file.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace apps::tsyncfinder {

struct Setting {
    std::string_view key;
    std::string_view meaning;
    std::array<std::string_view, 3> values; // the first is the default; "" fills up
};

inline constexpr std::array settings{
    Setting{"autostart", "start with the session, or when a file manager asks for it", {"on", "off", ""}},
    Setting{"log-level", "what the process log holds", {"info", "debug", "error"}},
};

// By its key; null: there is none.
const Setting* settingNamed(std::string_view key);
bool allows(const Setting& setting, std::string_view value);

// The file, in $XDG_CONFIG_HOME or ~/.config.
std::string settingsFile();

// What holds now. Reads the file at each call.
std::string valueOf(const Setting& setting);

// Replaces the file, so that a reader sees the old one or the new one. Raises std::runtime_error with a
// message for the person when it cannot be written, or when what is there is no JSON object.
void setValue(const Setting& setting, std::string_view value);

} // namespace apps::tsyncfinder
