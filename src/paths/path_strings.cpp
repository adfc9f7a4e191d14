#include "paths/path_strings.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <pwd.h>
#include <random>
#include <unistd.h>
#include <vector>

namespace paths {
namespace {

bool isAbsolute(std::string_view path) { return path.starts_with('/'); }

std::string_view withoutTrailingSeparators(std::string_view path) {
    return path.substr(0, path.find_last_not_of('/') + 1);
}

void appendComponent(std::string& path, std::string_view component) {
    if (path.empty()) {
        path = component;
        return;
    }
    const std::size_t start = component.find_first_not_of('/');
    if (start == std::string_view::npos) return;
    path.resize(withoutTrailingSeparators(path).size());
    path += '/';
    path += component.substr(start);
}

// The home directory that the user database has for a name, or for this process's user when it is empty.
std::optional<std::string> homeOfUser(const std::string& name) {
    if (name.find('\0') != std::string::npos) return std::nullopt;
    std::vector<char> buffer(1024);
    passwd entry{};
    passwd* found = nullptr;
    for (;;) {
        const int error = name.empty()
                              ? getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found)
                              : getpwnam_r(name.c_str(), &entry, buffer.data(), buffer.size(), &found);
        if (error != ERANGE) break;
        buffer.resize(buffer.size() * 2);
    }
    if (!found || !isAbsolute(found->pw_dir)) return std::nullopt;
    return found->pw_dir;
}

// What the first component of a path, which begins with "~", stands for.
std::optional<std::string> homeOfTilde(std::string_view component) {
    if (component == "~") {
        // A relative $HOME would make the same path mean another directory after each chdir.
        if (const char* home = std::getenv("HOME"); home && isAbsolute(home)) return home;
    }
    return homeOfUser(std::string(component.substr(1)));
}

// What the first component of a path stands for when it is a home directory, and the path is absolute then.
std::optional<std::string> homeIn(std::string_view path) {
    if (!path.starts_with('~')) return std::nullopt;
    return homeOfTilde(path.substr(0, path.find('/')));
}

std::optional<std::size_t> lengthOfNearestMatchOfAny(std::string_view path, std::string_view base) {
    return isStandardForm(base) ? lengthOfNearestMatch(path, base)
                                : lengthOfNearestMatch(path, standardisedPath(base));
}

} // namespace

std::string_view parentPath(std::string_view path) {
    const std::string_view trimmed = withoutTrailingSeparators(path);
    const std::size_t separator = trimmed.rfind('/');
    if (separator == std::string_view::npos) return path.substr(0, isAbsolute(path) ? 1 : 0);
    const std::string_view parent = withoutTrailingSeparators(trimmed.substr(0, separator));
    return parent.empty() ? path.substr(0, 1) : parent;
}

std::string_view lastPathComponent(std::string_view path) {
    const std::string_view trimmed = withoutTrailingSeparators(path);
    if (trimmed.empty()) return path.substr(0, 1);
    return trimmed.substr(trimmed.rfind('/') + 1);
}

std::string stringByAppendingPathComponent(std::string_view path, std::string_view component) {
    std::string joined(path);
    appendComponent(joined, component);
    return joined;
}

std::string stringByAppendingPathComponents(std::string_view path, std::span<const std::string> components) {
    std::string joined(path);
    for (const std::string& component : components)
        appendComponent(joined, component);
    return joined;
}

std::string standardisedPath(std::string_view path) {
    if (isStandardForm(path)) return std::string(path);

    std::string expanded;
    if (const std::optional<std::string> home = homeIn(path)) {
        expanded = *home;
        expanded += path.substr(std::min(path.find('/'), path.size()));
        path = expanded;
    }
    StandardForm form(isAbsolute(path));
    form.reserve(path.size());
    forEachPathComponent(path, [&](std::string_view component) { form.append(component); });
    return std::string(form.text());
}

void StandardForm::append(std::string_view component) {
    if (component == "." && (absolute || !form.empty())) return;
    if (component == ".." && absolute) {
        if (!form.empty()) form.resize(form.rfind('/'));
        return;
    }
    if (absolute || !form.empty()) form += '/';
    form += component;
}

bool isStandardForm(std::string_view path) {
    if (path.starts_with('~')) return false;
    const bool absolute = isAbsolute(path);
    const auto endsAt = [path](std::size_t at) { return at == path.size() || path[at] == '/'; };
    for (std::size_t at = 0; at < path.size(); ++at) {
        if (path[at] != '/') continue;
        if (endsAt(at + 1)) return path.size() == 1;
        if (path[at + 1] != '.') continue;
        if (endsAt(at + 2)) return false;
        if (absolute && path[at + 2] == '.' && endsAt(at + 3)) return false;
    }
    return true;
}

bool isEqualToPath(std::string_view path, std::string_view other) {
    return path == other || standardisedPath(path) == standardisedPath(other);
}

bool isChildOfPath(std::string_view path, std::string_view base) {
    return lengthOfNearestMatchOfAny(path, base).has_value();
}

bool isAncestorOfPath(std::string_view path, std::string_view descendant) {
    return isChildOfPath(descendant, path);
}

std::optional<std::string> pathRelativeToPath(std::string_view path, std::string_view base) {
    const std::optional<std::size_t> length = lengthOfNearestMatchOfAny(path, base);
    if (!length) return std::nullopt;
    std::string below = "/";
    below += path.substr(*length);
    return standardisedPath(below);
}

std::optional<std::size_t> lengthOfNearestMatch(std::string_view path, std::string_view standardBase) {
    if (isStandardForm(path)) { // then each step is its own standard form
        const std::size_t end = standardBase.size();
        if (end == 0) return isAbsolute(path) ? std::nullopt : std::optional(end);
        const bool matches =
            path.starts_with(standardBase) && (standardBase == "/" || end == path.size() || path[end] == '/');
        return matches ? std::optional(end) : std::nullopt;
    }
    std::optional<std::size_t> length;
    if (standardBase == (isAbsolute(path) ? "/" : "")) length = standardBase.size();

    const std::optional<std::string> home = homeIn(path);
    StandardForm form(home || isAbsolute(path));
    std::size_t common = 0; // leading bytes of the form that are the base's too
    const auto append = [&](std::string_view component) {
        form.append(component);
        common = std::min(common, form.text().size());
    };
    forEachPathComponent(path, [&](std::string_view component) {
        if (home && component.data() == path.data())
            forEachPathComponent(*home, append);
        else
            append(component);
        const std::string_view text = form.text();
        while (common < std::min(text.size(), standardBase.size()) && text[common] == standardBase[common])
            ++common;
        if (common == text.size() && common == standardBase.size())
            length = static_cast<std::size_t>(component.end() - path.begin());
    });
    return length;
}

std::optional<std::string> stringByGeneratingTempPath(std::string_view pathTemplate) {
    static constexpr std::string_view digits =
        "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
    // A few free names are found at once; the bound ends the search in a directory of name-alikes.
    constexpr std::size_t mostAttempts = 10'000;

    const std::size_t start = pathTemplate.find_last_not_of('X') + 1;
    const std::size_t count = pathTemplate.size() - start;
    if (count == 0 || pathTemplate.find('\0') != std::string_view::npos) return std::nullopt;

    std::vector<std::size_t> number(count);
    std::random_device random;
    std::uniform_int_distribution<std::size_t> anyDigit(0, digits.size() - 1);
    for (std::size_t& digit : number)
        digit = anyDigit(random);

    std::string path(pathTemplate);
    const std::size_t names = count == 1   ? digits.size()
                              : count == 2 ? digits.size() * digits.size()
                                           : mostAttempts;
    for (std::size_t attempt = 0; attempt < names; ++attempt) {
        for (std::size_t i = 0; i < count; ++i)
            path[start + i] = digits[number[i]];
        struct stat existing {};
        if (lstat(path.c_str(), &existing) != 0) {
            if (errno != ENOENT) return std::nullopt;
            return path;
        }
        for (std::size_t& digit : number) { // the next number, so that a short template meets every name
            digit = (digit + 1) % digits.size();
            if (digit != 0) break;
        }
    }
    return std::nullopt;
}

} // namespace paths
