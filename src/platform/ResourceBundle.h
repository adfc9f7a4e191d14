// The extension's own resources: images by file name. Immutable once made; any thread may ask.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace platform {

class ResourceBundle {
  public:
    virtual ~ResourceBundle() = default;

    // The absolute path of the image file of that name, or none when the bundle has no such file.
    virtual std::optional<std::string> pathForImage(std::string_view fileName) const = 0;
};

} // namespace platform
