// The settings of both programs, as anybody may have written them. Input: the file. Each setting has a value
// that it may have, and a change of one leaves what is not known as it is, or is refused with the file
// untouched.
#include "apps/tsyncfinder/settings.h"

#include "apps/tsyncquenz/settings.h"
#include "fuzz/folder.h"
#include "fuzz/require.h"
#include "platform/json.h"

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace {

using apps::tsyncfinder::readSettings;
using platform::Value;

platform::Dictionary entriesOf(const std::string& text) {
    const auto value = platform::valueOfJson(text);
    return value && value->dictionary() ? *value->dictionary() : platform::Dictionary();
}

void checkExtension(const FuzzFolder& folder, const std::string& text) {
    const std::string file = apps::tsyncfinder::settingsFile();
    folder.write(file, text);
    const auto before = readSettings();
    for (const auto& setting : apps::tsyncfinder::settings)
        require(apps::tsyncfinder::allows(setting, before[setting.key]));
    const auto& changed = *apps::tsyncfinder::settingNamed("menu");
    try {
        apps::tsyncfinder::setValue(changed, "off");
    } catch (const std::runtime_error&) {
        require(!before.isReadable && FuzzFolder::read(file) == text);
        return;
    }
    const auto after = readSettings();
    for (const auto& setting : apps::tsyncfinder::settings)
        require(after[setting.key] == (setting.key == "menu" ? "off" : before[setting.key]));
    auto expected = entriesOf(text);
    expected["menu"] = "off";
    require(Value(entriesOf(FuzzFolder::read(file))) == Value(expected));
}

void checkService(const FuzzFolder& folder, const std::string& text) {
    const std::string file = apps::tsyncquenz::settingsFile();
    folder.write(file, text);
    try {
        const auto storage = apps::tsyncquenz::storage();
        require(!storage || storage->find(':') != std::string::npos);
        require(apps::tsyncquenz::trashDays().count() >= 0);
        const auto options = apps::tsyncquenz::options();
        require(options.transfers >= 1 && options.transfers <= 32);
        apps::tsyncquenz::setOption("bandwidth", options.bandwidth);
        require(apps::tsyncquenz::options().bandwidth == options.bandwidth);
        require(apps::tsyncquenz::storage() == storage);
    } catch (const std::runtime_error&) {
        require(FuzzFolder::read(file) == text);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const FuzzFolder folder;
    static const int isSet = setenv("XDG_CONFIG_HOME", folder.path.c_str(), 1);
    require(isSet == 0);
    const std::string text(reinterpret_cast<const char*>(data), size);
    checkExtension(folder, text);
    checkService(folder, text);
    return 0;
}
