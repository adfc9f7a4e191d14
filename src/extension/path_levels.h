// The levels of an absolute path, from "/" down to the path itself, in one pass.
//
// A level is a prefix of the path, as written, that ends with a component: "/r/../x" has the levels "/",
// "/r", "/r/.." and "/r/../x". Walking up with parentPath() from the path visits the same ones in reverse.
// Each comes with its standard form ("/", "/r", "/", "/x") and a hash of that form. Both grow from level to
// level, so that the path is neither standardised nor hashed again for each. This is hot: it runs once for
// every badge.
#pragma once

#include "paths/path_strings.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>
#include <vector>

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

    // The standard form is the path's own prefix for as long as the path is written in standard form. From
    // there on it is kept apart, with the hash of each of its levels, for ".." to go back to.
    std::optional<paths::StandardForm> form;
    std::vector<std::uint64_t> hashes;
    std::size_t plainLength = 0;

    std::size_t at = 0;
    while ((at = path.find_first_not_of('/', at)) != path.npos) {
        const std::size_t end = path.find('/', at);
        const std::size_t length = (end == path.npos ? path.size() : end) - at;
        const std::string_view component = path.substr(at, length);
        const bool isDot = component == ".";
        const bool isDotDot = component == "..";
        if (!form && (isDot || isDotDot || at != plainLength + 1)) {
            form.emplace(plainLength == 0 ? std::string_view("/") : path.substr(0, plainLength));
            hashes.push_back(hashOfRootPath);
            paths::forEachPathComponent(path.substr(0, plainLength), [&hashes](std::string_view name) {
                hashes.push_back(hashBelow(hashes.back(), name));
            });
        }
        if (isDotDot) {
            if (hashes.size() > 1) hashes.pop_back();
            hash = hashes.back();
        } else if (!isDot) {
            hash = hashBelow(hash, component);
            if (form) hashes.push_back(hash);
        }
        if (form) form->append(component);
        at += length;
        plainLength = at;
        const bool isLast = path.find_first_not_of('/', at) == path.npos;
        const std::string_view level = isLast ? path : path.substr(0, at);
        visit(PathLevel{level, form ? form->text() : path.substr(0, at), hash});
    }
    if (plainLength == 0 && path.size() > 1) visit(PathLevel{path, "/", hash}); // nothing but separators
}

} // namespace extension
