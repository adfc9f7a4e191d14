// A folder of the target's own, in memory, for readers that open files by their path.
#pragma once

#include "fuzz/require.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

struct FuzzFolder {
    FuzzFolder() {
        std::string name = "/dev/shm/tsyncfinder-fuzzXXXXXX";
        require(mkdtemp(name.data()) != nullptr);
        path = name;
    }
    ~FuzzFolder() { std::filesystem::remove_all(path); }
    FuzzFolder(const FuzzFolder&) = delete;
    FuzzFolder& operator=(const FuzzFolder&) = delete;

    // A file below the folder, by its whole path; its folders are made.
    void write(const std::string& file, std::string_view content) const {
        require(file.starts_with(path));
        std::filesystem::create_directories(std::filesystem::path(file).parent_path());
        std::ofstream(file, std::ios::binary)
            .write(content.data(), static_cast<std::streamsize>(content.size()));
    }
    static std::string read(const std::string& file) {
        std::ifstream stream(file, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    }

    std::string path;
};
