// Path operations on strings and the levels of a path. Input: a path, a line break, another path. Every
// function must agree with its definition, written out here with a string for each step.
#include "paths/path_strings.h"

#include "extension/path_levels.h"
#include "fuzz/require.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <pwd.h>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace paths;
using Strings = std::vector<std::string>;

Strings componentsOf(const std::string& path) {
    Strings components;
    std::string component;
    for (const char byte : path + "/") {
        if (byte != '/')
            component += byte;
        else if (!component.empty())
            components.push_back(std::exchange(component, {}));
    }
    return components;
}

std::string homeOf(const std::string& tilde) {
    if (tilde == "~") return std::getenv("HOME");
    if (tilde.find('\0') != std::string::npos) return {};
    const passwd* user = getpwnam(tilde.c_str() + 1);
    return user && user->pw_dir[0] == '/' ? user->pw_dir : "";
}

std::string standardOf(std::string path) {
    if (path.starts_with('~')) {
        const std::string tilde = componentsOf(path)[0];
        if (const std::string home = homeOf(tilde); !home.empty()) path = home + path.substr(tilde.size());
    }
    const bool isAbsolute = path.starts_with('/');
    Strings kept;
    for (const std::string& component : componentsOf(path)) {
        if (component == ".." && isAbsolute) {
            if (!kept.empty()) kept.pop_back();
        } else if (component != "." || (!isAbsolute && kept.empty())) {
            kept.push_back(component);
        }
    }
    std::string standard;
    for (const std::string& component : kept)
        standard += (standard.empty() && !isAbsolute ? "" : "/") + component;
    return isAbsolute && standard.empty() ? "/" : standard;
}

std::string withoutEnd(std::string path) {
    while (path.size() > 1 && path.ends_with('/'))
        path.pop_back();
    return path;
}

std::string parentOf(const std::string& path) {
    std::string parent = withoutEnd(path);
    if (parent == "/") return parent;
    while (!parent.empty() && !parent.ends_with('/'))
        parent.pop_back();
    return withoutEnd(parent);
}

std::string lastOf(const std::string& path) {
    const Strings components = componentsOf(path);
    return components.empty() ? path.substr(0, 1) : components.back();
}

std::string joined(const std::string& path, const std::string& component) {
    if (path.empty()) return component;
    const std::size_t start = component.find_first_not_of('/');
    if (start == std::string::npos) return path;
    const std::string trimmed = withoutEnd(path);
    return (trimmed == "/" ? "" : trimmed) + "/" + component.substr(start);
}

void checkOne(const std::string& path) {
    const std::string standard = standardOf(path);
    require(standardisedPath(path) == standard);
    require(isStandardForm(path) == (path == standard && !path.starts_with('~')));
    require(parentPath(path) == parentOf(path) && lastPathComponent(path) == lastOf(path));
    require(isRootPath(path) == (parentOf(path) == path));
    require(isEqualToPath(path, standard) || standard.starts_with('~'));
    if (!path.ends_with('X') || path.size() > 255) return;
    const auto free = stringByGeneratingTempPath(path);
    require(!free || free->size() == path.size());
}

void checkLevels(const std::string& path) {
    Strings levels{path};
    while (!isRootPath(levels.back()))
        levels.push_back(parentOf(levels.back()));
    extension::forEachLevel(path, [&](const extension::PathLevel& level) {
        require(level.path == levels.back());
        const std::string standard = standardOf(levels.back());
        require(level.standard == standard);
        std::uint64_t hash = extension::hashOfRootPath;
        for (const std::string& component : componentsOf(standard))
            hash = extension::hashBelow(hash, component);
        require(level.hash == hash);
        levels.pop_back();
    });
    require(levels.empty());
}

void checkRelation(const std::string& path, const std::string& base) {
    const std::string standardBase = standardOf(base);
    require(isEqualToPath(path, base) == (standardOf(path) == standardBase));
    require(stringByAppendingPathComponent(path, base) == joined(path, base));

    std::string at = path;
    std::string below;
    while (standardOf(at) != standardBase && parentOf(at) != at) {
        below = lastOf(at) + "/" + below;
        at = parentOf(at);
    }
    const bool matches = standardOf(at) == standardBase;
    require(isChildOfPath(path, base) == matches && isAncestorOfPath(base, path) == matches);
    const auto relative = pathRelativeToPath(path, base);
    require(relative == (matches ? std::optional(standardOf("/" + below)) : std::nullopt));
    const auto length = lengthOfNearestMatch(path, standardBase);
    require(length.has_value() == matches &&
            (!length || withoutEnd(path.substr(0, *length)) == withoutEnd(at)));
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*count*/, char*** /*words*/) {
    setenv("HOME", "/a//ab/../b/", 1);
    return 0;
}

// Two paths of the pieces that matter, so that they meet often.
extern "C" size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t capacity);
extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t capacity, unsigned seed) {
    std::minstd_rand random(seed);
    if (random() % 8 == 0) return LLVMFuzzerMutate(data, size, capacity);
    static constexpr const char* pieces[] = {"a", "b", "ab", "..", "..", ".",  "/",
                                             "/", "/", "//", "~",  "X",  "..."};
    std::string text;
    for (int side = 0; side < 2; ++side) {
        for (auto n = random() % 10; n > 0; --n)
            text += pieces[random() % std::size(pieces)];
        if (side == 0) text += '\n';
    }
    size = std::min(text.size(), capacity);
    memcpy(data, text.data(), size);
    return size;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const std::size_t end = std::min(text.find('\n'), size);
    const std::string path = text.substr(0, end);
    const std::string base = text.substr(std::min(end + 1, size));
    for (const std::string& each : {path, base}) {
        checkOne(each);
        if (each.starts_with('/')) checkLevels(each);
    }
    checkRelation(path, base);
    checkRelation(base, path);
    return 0;
}
