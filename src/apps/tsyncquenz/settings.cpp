#include "apps/tsyncquenz/settings.h"

#include "apps/user_folders.h"
#include "platform/json.h"
#include "sync_daemon/writing.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <unistd.h>

namespace apps::tsyncquenz {
namespace {

namespace fs = std::filesystem;

// None: there is no file.
std::optional<platform::Dictionary> entries() {
    std::ifstream file(settingsFile(), std::ios::binary);
    if (!file) return std::nullopt;
    const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    const auto value = platform::valueOfJson(text);
    if (!value || value->dictionary() == nullptr)
        throw std::runtime_error("the settings are not a JSON object: " + settingsFile().string());
    return *value->dictionary();
}

} // namespace

fs::path settingsFile() { return configFolder() / "tsyncquenz/settings.json"; }
fs::path stateFolder() { return userFolder("XDG_STATE_HOME", ".local/state") / "tsyncquenz"; }

std::optional<std::string> storage() {
    const auto all = entries();
    const std::string* text = all ? platform::textAt(*all, "storage") : nullptr;
    return text != nullptr && text->find(':') != std::string::npos ? std::optional(*text) : std::nullopt;
}

std::chrono::days trashDays() {
    const auto all = entries();
    const auto days = all ? platform::numberAt(*all, "trashDays") : std::nullopt;
    constexpr std::int64_t longest = 36500;
    return std::chrono::days(static_cast<int>(std::clamp(days.value_or(30), std::int64_t{0}, longest)));
}

void setStorage(const std::string& storage) {
    platform::Dictionary all = entries().value_or(platform::Dictionary());
    all["storage"] = storage;
    const auto text = platform::jsonText(all);
    if (!text) throw std::runtime_error("the storage's name is not UTF-8");
    const fs::path file = settingsFile();
    const std::string beside = file.string() + ".new";
    std::error_code error;
    fs::create_directories(file.parent_path(), error);
    const bool isWritten = sync_daemon::writeToDisk(beside, *text + "\n");
    if (isWritten) fs::rename(beside, file, error);
    if (!isWritten || error) throw std::runtime_error("the settings cannot be written: " + file.string());
}

std::vector<std::string> environment() {
    std::vector<std::string> all;
    for (char** entry = environ; *entry != nullptr; ++entry)
        all.emplace_back(*entry);
    return all;
}

} // namespace apps::tsyncquenz
