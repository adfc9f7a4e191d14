// The person's settings: tsyncfinder/settings.json in the XDG config folder, an object of texts, written by
// `tsyncfinder config` or by hand.
//
// A key that is missing, or has a value that it may not have, counts as its default; keys that this version
// does not know stay in the file. true and false stand for "on" and "off".
#pragma once

#include <array>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace apps::tsyncfinder {

struct Setting {
    std::string_view key;
    std::string_view meaning;
    std::array<std::string_view, 4> values; // the first is the default; "" fills up
    bool isFollowed;                        // a running extension does at once what it says
};

inline constexpr std::array settings{
    Setting{
        "autostart", "start with the session, or when a file manager asks for it", {"on", "off", ""}, false},
    Setting{"badges", "badges in file managers and terminals", {"on", "off", "problems", "changes"}, true},
    Setting{"menu", "the menu of sync commands", {"on", "off", ""}, true},
    Setting{"sidebar", "the entry in the sidebar of Nautilus and of file dialogs", {"on", "off", ""}, true},
    Setting{"log-level", "what the process log holds", {"info", "debug", "error"}, true},
};

// By its key; null: there is none.
const Setting* settingNamed(std::string_view key);
bool allows(const Setting& setting, std::string_view value);
std::string valuesOf(const Setting& setting); // "on, off"

// The file, in the config folder.
std::string settingsFile();

struct SettingsRead {
    std::map<std::string_view, std::string> values; // of every setting, by its key
    std::vector<std::string> complaints;            // for the person: what counts as its default, and why
    bool isReadable = true;                         // false: not a JSON object; every value is its default

    const std::string& operator[](std::string_view key) const { return values.at(key); }
};

// What the file says now.
SettingsRead readSettings();

// Replaces the file, so that a reader sees the old one or the new one; a link stays a link. Raises
// std::runtime_error with a message for the person when it cannot be written, or when what is there is not a
// JSON object.
void setValue(const Setting& setting, std::string_view value);

} // namespace apps::tsyncfinder
