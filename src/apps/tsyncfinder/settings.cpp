#include "apps/tsyncfinder/settings.h"

#include "apps/user_folders.h"
#include "platform/json.h"
#include "sync_daemon/writing.h"

#include <sys/file.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>
#include <unistd.h>

namespace apps::tsyncfinder {
namespace {

namespace fs = std::filesystem;

// None: there is a file, and it does not hold a JSON object.
std::optional<platform::Dictionary> readEntries() {
    std::error_code error;
    if (!fs::exists(settingsFile(), error)) return platform::Dictionary();
    std::ifstream file(settingsFile(), std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    const auto value = platform::valueOfJson(text);
    return value && value->dictionary() ? std::optional(*value->dictionary()) : std::nullopt;
}

// What a value stands for; none: nothing that a setting could be.
std::optional<std::string> textOf(const platform::Value& value) {
    if (const std::string* text = value.string()) return *text;
    if (const bool* isOn = value.boolean()) return *isOn ? "on" : "off";
    return std::nullopt;
}

// Two programs that change the settings do so one after the other, where the file system has locks
// (flock(2)).
class FolderLock {
  public:
    explicit FolderLock(const fs::path& path)
        : folder(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
        if (folder >= 0) ::flock(folder, LOCK_EX);
    }
    ~FolderLock() {
        if (folder >= 0) ::close(folder);
    }
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;

  private:
    int folder;
};

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

std::string settingsFile() { return (configFolder() / "tsyncfinder" / "settings.json").string(); }

std::string valuesOf(const Setting& setting) {
    std::string values;
    for (const std::string_view value : setting.values)
        if (!value.empty()) values += (values.empty() ? "" : ", ") + std::string(value);
    return values;
}

SettingsRead readSettings() {
    SettingsRead read;
    const auto entries = readEntries();
    if (!entries) {
        read.isReadable = false;
        read.complaints.push_back("The settings cannot be read, they are not a JSON object: " +
                                  settingsFile());
    }
    for (const Setting& setting : settings) {
        std::string& held = read.values[setting.key] = setting.values.front();
        const platform::Value* value = entries ? find(*entries, setting.key) : nullptr;
        if (value == nullptr) continue;
        const auto text = textOf(*value);
        if (text && allows(setting, *text))
            held = *text;
        else
            read.complaints.push_back('"' + std::string(setting.key) + "\" is one of: " + valuesOf(setting) +
                                      "; it counts as " + held + " and not as " +
                                      platform::jsonDescription(*value) + ": " + settingsFile());
    }
    return read;
}

void setValue(const Setting& setting, std::string_view value) {
    std::error_code error;
    std::string path = settingsFile();
    if (fs::is_symlink(path, error)) path = fs::weakly_canonical(path, error).string();
    fs::create_directories(fs::path(path).parent_path(), error);
    const FolderLock lock(fs::path(path).parent_path());
    auto entries = readEntries();
    if (!entries)
        throw std::runtime_error("The settings cannot be read, and are left as they are: " + settingsFile());
    (*entries)[std::string(setting.key)] = std::string(value);
    if (!sync_daemon::replaceOnDisk(path, platform::jsonDescription(*entries) + '\n'))
        throw std::runtime_error("The settings cannot be written: " + path + ": " +
                                 std::generic_category().message(errno));
}

} // namespace apps::tsyncfinder
