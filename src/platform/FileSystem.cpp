#include "platform/FileSystem.h"

#include <array>

namespace platform {

std::optional<bool> isDirectoryItself(FileSystem& fileSystem, std::string_view path) {
    std::optional<FileKind> kind = fileSystem.kind(path);
    if (!kind) { // missing, or not known in time: existence tells the two apart
        switch (fileSystem.existence(std::array{path}).front()) {
        case Existence::missing:
            return false;
        case Existence::exists: // it has answered meanwhile
            kind = fileSystem.kind(path);
            break;
        case Existence::unknown:
            break;
        }
    }
    return kind ? std::optional(kind->isDirectoryItself()) : std::nullopt;
}

} // namespace platform
