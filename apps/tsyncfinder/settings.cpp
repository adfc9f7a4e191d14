#include "apps/tsyncfinder/settings.h"

#include "platform/Json.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace apps::tsyncfinder {
namespace {

namespace fs = std::filesystem;

// None: there is a file, and it holds no JSON object.
std::optional<platform::Dictionary> readSettings() {
    std::error_code error;
    if (!fs::exists(settingsFile(), error)) return platform::Dictionary();
    std::ifstream file(settingsFile(), std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    const auto value = platform::valueOfJson(text);
    return value && value->dictionary() ? std::optional(*value->dictionary()) : std::nullopt;
}

} // namespace

const Setting* settingNamed(std::string_view key) {
    const auto* const found =
        std::find_if(settings.begin(), settings.end(), [key](const Setting& it) { return it.key == key; });
    return found == settings.end() ? nullptr : found;
}

bool allows(const Setting& setting, std::string_view value) {
    return !value.empty() &&
           std::find(setting.values.begin(), setting.values.end(), value) != setting.values.end();
}

std::string settingsFile() {
    const char* config = std::getenv("XDG_CONFIG_HOME");
    const char* home = std::getenv("HOME");
    const fs::path folder = config != nullptr && *config == '/'
                                ? fs::path(config)
                                : fs::path(home != nullptr ? home : "/") / ".config";
    return (folder / "tsyncfinder" / "settings.json").string();
}

std::string valueOf(const Setting& setting) {
    if (const auto entries = readSettings())
        if (const platform::Value* value = find(*entries, setting.key))
            if (value->string() != nullptr && allows(setting, *value->string())) return *value->string();
    return std::string(setting.values.front());
}

void setValue(const Setting& setting, std::string_view value) {
    auto entries = readSettings();
    if (!entries)
        throw std::runtime_error("The settings cannot be read, and are left as they are: " + settingsFile());
    (*entries)[std::string(setting.key)] = std::string(value);
    const std::string path = settingsFile();
    std::error_code error;
    fs::create_directories(fs::path(path).parent_path(), error);
    {
        std::ofstream file(path + ".new", std::ios::binary);
        file << platform::jsonDescription(*entries) << '\n';
        file.close();
        if (!file) throw std::runtime_error("The settings cannot be written: " + path);
    }
    fs::rename(path + ".new", path, error);
    if (error) throw std::runtime_error("The settings cannot be written: " + path + ": " + error.message());
}

} // namespace apps::tsyncfinder
