#include "apps/tsyncquenz/settings.h"

#include "apps/user_folders.h"
#include "platform/json.h"
#include "sync_daemon/writing.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string_view>
#include <unistd.h>
#include <utility>

namespace apps::tsyncquenz {
namespace {

namespace fs = std::filesystem;

bool isTransfers(std::int64_t number) { return number >= 1 && number <= 32; }

bool isRate(std::string_view text) {
    if (text == "off") return true;
    const std::size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
    const std::string_view unit = text.substr(digits);
    return digits > 0 && digits <= 9 &&
           (unit.empty() ||
            (unit.size() == 1 && std::string_view("BKMG").find(unit[0]) != std::string_view::npos));
}

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

void set(const std::string& key, platform::Value value) {
    platform::Dictionary all = entries().value_or(platform::Dictionary());
    all[key] = std::move(value);
    const auto text = platform::jsonText(all);
    if (!text) throw std::runtime_error("a setting is not UTF-8");
    const fs::path file = settingsFile();
    std::error_code ignored; // then the file cannot be written either
    fs::create_directories(file.parent_path(), ignored);
    if (!sync_daemon::replaceOnDisk(file, *text + "\n"))
        throw std::runtime_error("the settings cannot be written: " + file.string());
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

void setStorage(const std::string& storage) { set("storage", storage); }

Options options() {
    const platform::Dictionary all = entries().value_or(platform::Dictionary());
    Options read;
    if (const std::string* rate = platform::textAt(all, "bandwidth"); rate != nullptr && isRate(*rate))
        read.bandwidth = *rate;
    if (const auto number = platform::numberAt(all, "transfers"); number && isTransfers(*number))
        read.transfers = static_cast<unsigned>(*number);
    return read;
}

void setOption(const std::string& key, const std::string& value) {
    if (key == "bandwidth") {
        if (!isRate(value))
            throw std::runtime_error("a bandwidth is a number of bytes a second, as 500K or 2M, or off");
        set(key, value);
    } else if (key == "transfers") {
        std::int64_t number = 0;
        const auto read = std::from_chars(value.data(), value.data() + value.size(), number);
        if (read.ec != std::errc() || read.ptr != value.data() + value.size() || !isTransfers(number))
            throw std::runtime_error("transfers is a number from 1 to 32");
        set(key, number);
    } else {
        throw std::runtime_error("there is no setting \"" + key + "\"");
    }
}

std::vector<std::string> environment() {
    std::vector<std::string> all;
    for (char** entry = environ; *entry != nullptr; ++entry)
        all.emplace_back(*entry);
    return all;
}

} // namespace apps::tsyncquenz
