#include "backends/posix/DirectoryBundle.h"

#include <unistd.h>

namespace backends::posix {

std::optional<std::string> DirectoryBundle::pathForImage(std::string_view fileName) const {
    std::string path = directory + "/" + std::string(fileName);
    if (::access(path.c_str(), R_OK) != 0) return std::nullopt;
    return path;
}

} // namespace backends::posix
