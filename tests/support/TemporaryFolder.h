// A folder that goes away with the object, and the files in it. It is in memory where that is possible: a
// database waits for its disk after each commit.
#pragma once

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <unistd.h>

namespace support {

// What a file holds; "" when none is there, as that of a process which ends while it is read.
inline std::string contentOf(const std::filesystem::path& file) {
    if (!std::filesystem::is_regular_file(file)) return {};
    std::ostringstream content;
    content << std::ifstream(file, std::ios::binary).rdbuf();
    return content.str();
}

class TemporaryFolder {
  public:
    TemporaryFolder() {
        const bool hasMemory = ::access("/dev/shm", W_OK) == 0;
        std::string name = std::string(hasMemory ? "/dev/shm" : "/tmp") + "/tsyncfinder-XXXXXX";
        folder = std::filesystem::canonical(::mkdtemp(name.data()));
    }
    ~TemporaryFolder() { std::filesystem::remove_all(folder); }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::filesystem::path operator/(std::string_view name) const { return folder / name; }
    std::string path(std::string_view name = {}) const {
        return name.empty() ? folder.string() : (folder / name).string();
    }

    // The path of the file. The folders above it are made.
    std::string write(std::string_view name, std::string_view content) const {
        std::filesystem::create_directories((folder / name).parent_path());
        std::ofstream(folder / name, std::ios::binary) << content;
        return path(name);
    }

  private:
    std::filesystem::path folder;
};

} // namespace support
