#include "apps/tsyncfinder/terminal/paths.h"

#include "apps/usage.h"
#include "hosts/terminal/drawing.h"
#include "platform/FileURL.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iostream>

namespace apps::tsyncfinder::terminal {

std::string absolutePath(const std::string& path) {
    std::error_code error;
    std::string absolute = std::filesystem::absolute(path, error).lexically_normal().string();
    while (absolute.size() > 1 && absolute.ends_with('/'))
        absolute.pop_back();
    return absolute;
}

std::string uriOf(const std::string& absolutePath) {
    return platform::FileURL::withPath(absolutePath).value().uri();
}

std::vector<std::string> urisOf(const std::vector<std::string>& absolutePaths) {
    std::vector<std::string> uris;
    uris.reserve(absolutePaths.size());
    for (const std::string& path : absolutePaths)
        uris.push_back(uriOf(path));
    return uris;
}

std::vector<std::string> existingPaths(const std::vector<std::string>& paths) {
    std::vector<std::string> existing;
    for (const std::string& path : paths) {
        std::string absolute = absolutePath(path);
        struct stat status;
        errno = ENOENT; // an empty path, or a current folder that has gone
        if (!platform::FileURL::withPath(absolute) || ::lstat(absolute.c_str(), &status) != 0)
            complain("cannot access '" + hosts::terminal::printableName(path) + "': " + std::strerror(errno));
        else
            existing.push_back(std::move(absolute));
    }
    return existing;
}

void complain(const std::string& text) { std::cerr << "tsyncfinder: " + text + "\n"; }

void flushLines() {
    if (!apps::flushOutput("tsyncfinder")) throw OutputLost();
}

} // namespace apps::tsyncfinder::terminal
