#include "platform/FileURL.h"

#include <array>
#include <utility>

namespace platform {
namespace {

constexpr std::string_view scheme = "file:";
constexpr std::string_view hexDigits = "0123456789ABCDEF";

// What a path may hold unescaped (RFC 3986: unreserved, sub-delims, ":", "@" and the separator). Other
// desktop programs use the same set, so that equal paths are equal URIs there too.
constexpr std::array<bool, 256> plainTable = [] {
    std::array<bool, 256> table{};
    for (unsigned char c = 'a'; c <= 'z'; ++c)
        table[c] = true;
    for (unsigned char c = 'A'; c <= 'Z'; ++c)
        table[c] = true;
    for (unsigned char c = '0'; c <= '9'; ++c)
        table[c] = true;
    for (const char c : std::string_view("-._~!$&'()*+,;=:@/"))
        table[static_cast<unsigned char>(c)] = true;
    return table;
}();

int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

bool takeSchemeIgnoringCase(std::string_view& uri) {
    if (uri.size() < scheme.size()) return false;
    for (std::size_t i = 0; i < scheme.size(); ++i) {
        const char c = uri[i];
        if ((c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c) != scheme[i]) return false;
    }
    uri.remove_prefix(scheme.size());
    return true;
}

} // namespace

std::optional<FileURL> FileURL::withPath(std::string_view path) {
    if (!path.starts_with('/') || path.size() > maximumPathLength || path.find('\0') != path.npos)
        return std::nullopt;
    return FileURL(std::string(withoutEndingSeparators(path)));
}

std::optional<FileURL> FileURL::withURI(std::string_view uri) {
    if (uri.size() > 3 * maximumPathLength + 32 || !takeSchemeIgnoringCase(uri)) return std::nullopt;
    if (uri.starts_with("//")) {
        uri.remove_prefix(2);
        const std::size_t pathStart = uri.find('/');
        if (pathStart == uri.npos || (pathStart != 0 && uri.substr(0, pathStart) != "localhost"))
            return std::nullopt;
        uri.remove_prefix(pathStart);
    }
    std::string path;
    path.reserve(uri.size());
    for (std::size_t i = 0; i < uri.size(); ++i) {
        if (uri[i] == '?' || uri[i] == '#') return std::nullopt;
        if (uri[i] != '%') {
            path += uri[i];
            continue;
        }
        if (i + 2 >= uri.size() || hexValue(uri[i + 1]) < 0 || hexValue(uri[i + 2]) < 0) return std::nullopt;
        path += static_cast<char>(hexValue(uri[i + 1]) * 16 + hexValue(uri[i + 2]));
        i += 2;
    }
    return withPath(path);
}

std::string FileURL::uri() const {
    std::string text = "file://";
    text.reserve(text.size() + itemPath.size() + 16);
    for (const char c : itemPath) {
        const auto byte = static_cast<unsigned char>(c);
        if (plainTable[byte]) {
            text += c;
        } else {
            text += '%';
            text += hexDigits[byte >> 4U];
            text += hexDigits[byte & 0xFU];
        }
    }
    return text;
}

} // namespace platform
