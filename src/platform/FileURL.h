// A file URL: the absolute local path of an item, and its text form "file:///…".
//
// The path is a byte string that starts with "/"; it is kept as it is spelled, but for separators at its end,
// and never normalised. The text form is percent-encoded ASCII (RFC 3986, RFC 8089) with an empty host, so
// that any path survives the way over the bus, even one that is not UTF-8 or holds a line break.
#pragma once

#include <algorithm>
#include <compare>
#include <optional>
#include <string>
#include <string_view>

namespace platform {

class FileURL {
  public:
    // Longest path that is let through, in bytes: longer ones name nothing on this system (PATH_MAX).
    static constexpr std::size_t maximumPathLength = 4096;

    // None unless the path is absolute, without a zero byte and of at most maximumPathLength bytes.
    static std::optional<FileURL> withPath(std::string_view path);

    // None unless it is a "file" URI with an absolute path and no host but "localhost".
    static std::optional<FileURL> withURI(std::string_view uri);

    const std::string& path() const { return itemPath; }

    // The path without separators at its end; the first one of a path that is nothing but separators.
    static std::string_view withoutEndingSeparators(std::string_view path) {
        return path.substr(0, std::max<std::size_t>(1, path.find_last_not_of('/') + 1));
    }
    std::string uri() const;

    // The linter mistakes the comparison with 0 that the compiler writes.
    // NOLINTNEXTLINE(modernize-use-nullptr)
    friend auto operator<=>(const FileURL&, const FileURL&) = default;

  private:
    explicit FileURL(std::string path) : itemPath(std::move(path)) {}
    std::string itemPath;
};

} // namespace platform
