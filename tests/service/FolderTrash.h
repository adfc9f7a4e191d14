// A desktop's trash that is a folder: each item under a number and its name.
#pragma once

#include "service/PairSync.h"

#include <filesystem>
#include <string>

namespace service {

class FolderTrash final : public DesktopTrash {
  public:
    explicit FolderTrash(std::filesystem::path place) : folder(std::move(place)) {
        std::filesystem::create_directories(folder);
    }
    Outcome<Done> trash(const std::filesystem::path& item) override {
        std::filesystem::rename(item, folder / (std::to_string(++count) + "-" + item.filename().string()));
        return Done{};
    }

  private:
    std::filesystem::path folder;
    int count = 0;
};

} // namespace service
