// A resource bundle that is a directory of files.
#pragma once

#include "platform/ResourceBundle.h"

#include <string>

namespace backends::posix {

class DirectoryBundle final : public platform::ResourceBundle {
  public:
    explicit DirectoryBundle(std::string imageDirectory) : directory(std::move(imageDirectory)) {}

    std::optional<std::string> pathForImage(std::string_view fileName) const override;

  private:
    std::string directory; // absolute
};

} // namespace backends::posix
