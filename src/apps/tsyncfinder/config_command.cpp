#include "apps/tsyncfinder/config_command.h"

#include "apps/tsyncfinder/settings.h"

#include <cstdlib>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>

namespace apps::tsyncfinder {
namespace {

constexpr int wrongSetting = 2;

void complain(const SettingsRead& read) {
    for (const std::string& complaint : read.complaints)
        std::cerr << "tsyncfinder: " << complaint << '\n';
}

int configure(const std::string& key, const std::string& value) {
    if (key.empty()) {
        const SettingsRead read = readSettings();
        complain(read);
        for (const Setting& setting : settings)
            std::cout << setting.key << ": " << read[setting.key] << "    (" << setting.meaning << ": "
                      << valuesOf(setting) << ")\n";
        return EXIT_SUCCESS;
    }
    const Setting* setting = settingNamed(key);
    if (setting == nullptr) {
        std::cerr << "tsyncfinder: there is no setting \"" << key << "\"\n";
        return wrongSetting;
    }
    if (value.empty()) {
        const SettingsRead read = readSettings();
        complain(read);
        std::cout << read[key] << '\n';
        return EXIT_SUCCESS;
    }
    if (!allows(*setting, value)) {
        std::cerr << "tsyncfinder: \"" << key << "\" is one of: " << valuesOf(*setting) << '\n';
        return wrongSetting;
    }
    try {
        setValue(*setting, value);
    } catch (const std::runtime_error& error) {
        std::cerr << "tsyncfinder: " << error.what() << '\n';
        return EXIT_FAILURE;
    }
    std::cout << key << ": " << value << '\n'
              << (setting->isFollowed ? "A running extension follows at once.\n"
                                      : "It takes effect when the extension starts next.\n");
    return EXIT_SUCCESS;
}

} // namespace

void addConfigCommand(CLI::App& app, int& exitStatus) {
    struct Words {
        std::string key;
        std::string value;
    };
    const auto words = std::make_shared<Words>();
    CLI::App* config = app.add_subcommand("config", "Show the settings, or change one");
    config->add_option("KEY", words->key, "A setting; none: all of them");
    config->add_option("VALUE", words->value, "Its new value; none: show it");
    config->callback([words, &exitStatus] { exitStatus = configure(words->key, words->value); });
}

} // namespace apps::tsyncfinder
