// A directory of a test's own, gone with it.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

class TemporaryDirectory {
  public:
    TemporaryDirectory() {
        std::string pattern = (std::filesystem::temp_directory_path() / "snapshot-test-XXXXXX").string();
        _path = mkdtemp(pattern.data());
    }
    ~TemporaryDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(_path, ignored);
    }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::string& path() const { return _path; }
    std::string path(const std::string& below) const { return _path + "/" + below; }

    // Writes a file, making the directories on the way.
    void write(const std::string& below, const std::string& content) const {
        std::filesystem::create_directories(std::filesystem::path(path(below)).parent_path());
        std::ofstream(path(below), std::ios::binary) << content;
    }

  private:
    std::string _path;
};
