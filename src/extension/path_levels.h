// The levels of an absolute path, from "/" down to the path itself, in one pass.
//
// A level is a prefix of the path, as written, that ends with a component: "/r/../x" has the levels "/",
// "/r", "/r/.." and "/r/../x". Walking up with parentPath() from the path visits the same ones in reverse.
// Each comes with its standard form ("/", "/r", "/", "/x") and a hash of that form. Both grow from level to
// level, so that a path is neither standardised nor hashed anew for each: hot, once for every badge.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace extension {

struct PathLevel {
    std::string_view path;     // as written
    std::string_view standard; // valid until the next level
    std::uint64_t hash;        // of the standard form
};

// Hashes of standard forms, continued component by component. In-process only.
inline constexpr std::uint64_t hashOfRootPath = 0xCBF29CE484222325ULL;

inline std::uint64_t hashBelow(std::uint64_t folder, std::string_view component) {
    constexpr std::uint64_t oddMultiplier = 0x9E3779B97F4A7C15ULL;
    return (folder ^ std::hash<std::string_view>()(component)) * oddMultiplier;
}

// Calls visit(const PathLevel&) for each level. The path must be absolute.
template <typename Visit>
void forEachLevel(std::string_view path, Visit&& visit) {
    std::uint64_t hash = hashOfRootPath;
    visit(PathLevel{path.substr(0, 1), "/", hash});

    // The standard form is the path's own prefix for as long as the path is written in standard form.
    bool isPlain = true;
    std::size_t plainLength = 0;
    std::string standard; // empty: "/"

    std::size_t at = 0;
    while ((at = path.find_first_not_of('/', at)) != path.npos) {
        const std::size_t end = path.find('/', at);
        const std::size_t length = (end == path.npos ? path.size() : end) - at;
        const std::string_view component = path.substr(at, length);
        const bool isDot = component == ".";
        const bool isDotDot = component == "..";
        if (isPlain && (isDot || isDotDot || at != plainLength + 1)) {
            isPlain = false;
            standard.assign(path.substr(0, plainLength));
        }
        if (isDotDot) {
            standard.resize(standard.empty() ? 0 : standard.rfind('/'));
            hash = hashOfRootPath;
            for (std::size_t start = 0; start < standard.size();) {
                const std::size_t next = std::min(standard.find('/', start + 1), standard.size());
                hash = hashBelow(hash, std::string_view(standard).substr(start + 1, next - start - 1));
                start = next;
            }
        } else if (!isDot) {
            hash = hashBelow(hash, component);
            if (!isPlain) {
                standard += '/';
                standard += component;
            }
        }
        at += length;
        plainLength = at;
        const bool isLast = path.find_first_not_of('/', at) == path.npos;
        const std::string_view level = isLast ? path : path.substr(0, at);
        const std::string_view form = isPlain            ? path.substr(0, at)
                                      : standard.empty() ? std::string_view("/")
                                                         : std::string_view(standard);
        visit(PathLevel{level, form, hash});
    }
    if (plainLength == 0 && path.size() > 1) visit(PathLevel{path, "/", hash}); // nothing but separators
}

} // namespace extension
