#include "sync_daemon/paths.h"

#include "platform/utf8.h"

#include <filesystem>
#include <system_error>

namespace sync_daemon {

namespace fs = std::filesystem;

bool isAtOrBelow(std::string_view path, std::string_view base) {
    if (base == "/") return path.starts_with('/');
    return path.starts_with(base) && (path.size() == base.size() || path[base.size()] == '/');
}

bool isText(std::string_view path) { return platform::isUtf8(path); }

std::string remoteChild(std::string_view folder, std::string_view name) {
    std::string path(folder == "/" ? "" : folder);
    path += '/';
    path += name;
    return path;
}

std::optional<std::string> plainPath(std::string_view remotePath) {
    if (!remotePath.starts_with('/') || remotePath.find('\0') != std::string_view::npos ||
        !isText(remotePath))
        return std::nullopt;
    std::string plain;
    while (!remotePath.empty()) {
        remotePath.remove_prefix(1); // the separator
        const std::string_view component = remotePath.substr(0, remotePath.find('/'));
        remotePath.remove_prefix(component.size());
        if (component.empty() || component == ".") continue;
        if (component == "..") return std::nullopt;
        plain += '/';
        plain += component;
    }
    return plain.empty() ? "/" : plain;
}

std::string plainLocalPath(std::string_view path) {
    std::string plain = fs::path(path).lexically_normal().string();
    while (plain.size() > 1 && plain.ends_with('/'))
        plain.pop_back();
    return plain;
}

std::string realPath(std::string_view path) {
    std::error_code error;
    const fs::path real = fs::weakly_canonical(path, error);
    return plainLocalPath(error ? fs::path(path).string() : real.string());
}

} // namespace sync_daemon
