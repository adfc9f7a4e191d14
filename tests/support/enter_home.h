// A person's home in a folder of the test's, with all that a session says of it.
#pragma once

#include <cstdlib>
#include <filesystem>

namespace support {

// For this process and those that it starts from now on. The folders are made.
inline void enterHome(const std::filesystem::path& home) {
    for (const auto& [name, place] : {std::pair("HOME", ""),
                                      {"XDG_DATA_HOME", "data"},
                                      {"XDG_CONFIG_HOME", "config"},
                                      {"XDG_STATE_HOME", "state"},
                                      {"XDG_CACHE_HOME", "cache"},
                                      {"XDG_RUNTIME_DIR", "runtime"}}) {
        std::filesystem::create_directories(home / place);
        ::setenv(name, (home / place).c_str(), 1);
    }
}

} // namespace support
