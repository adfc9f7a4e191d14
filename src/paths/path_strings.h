// Path operations on strings. A path is a byte string with "/" as separator, absolute or relative, compared
// case-sensitively; nothing is assumed about its encoding. Functions take the receiver first.
//
// Nothing here touches the file system but stringByGeneratingTempPath, nor the user database, but where it is
// asked when a path begins with "~user" or when "~" is used without $HOME. Any thread may call.
#pragma once

#include <algorithm>
#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace paths {

// The path without its last component and the separators before it; trailing separators are ignored first.
// "/" gives "/", a single relative component and "" give "". Always a prefix of the path, and borrowed from
// it: walking up allocates nothing, and each step is shorter until a root path is reached.
std::string_view parentPath(std::string_view path);

// A path that is its own parent path: "/" and "".
inline bool isRootPath(std::string_view path) { return path.empty() || path == "/"; }

// The last component, trailing separators ignored; "/" for a path of separators only. Borrowed from the path.
std::string_view lastPathComponent(std::string_view path);

// Path and component joined by exactly one separator. To the empty path the component is given as it is; an
// empty component adds nothing.
std::string stringByAppendingPathComponent(std::string_view path, std::string_view component);
std::string stringByAppendingPathComponents(std::string_view path, std::span<const std::string> components);

// Each component of a path in its order, without the separators; borrowed from the path.
template <typename Visitor>
void forEachPathComponent(std::string_view path, Visitor&& visit) {
    for (std::size_t at = path.find_first_not_of('/'); at < path.size();) {
        const std::size_t end = std::min(path.find('/', at), path.size());
        visit(path.substr(at, end - at));
        at = path.find_first_not_of('/', end);
    }
}

// The standard form, by text alone: "~" and "~user" at the start become that user's home directory (an
// unknown user stays as written), "//" and "/./" become one separator, trailing separators and a trailing
// "/." go, and in an absolute path ".." takes back the component before it. In a relative path ".." and a
// leading "." stay. Symbolic links are not followed.
std::string standardisedPath(std::string_view path);

// The standard form of a path that grows by one component at a time: what standardisedPath() gives, for
// callers that need the form of each step. Components are without separators, and "~" is a name like any
// other.
class StandardForm {
  public:
    // Begins as "/" or as the empty path.
    explicit StandardForm(bool isAbsolute) : absolute(isAbsolute) {}

    // Begins with a path in standard form.
    explicit StandardForm(std::string_view standard)
        : absolute(standard.starts_with('/')), form(standard == "/" ? std::string_view() : standard) {}

    void reserve(std::size_t length) { form.reserve(length); }
    void append(std::string_view component);

    // Valid until the next change.
    std::string_view text() const { return absolute && form.empty() ? "/" : std::string_view(form); }

  private:
    bool absolute;
    std::string form; // empty: the root path
};

// Whether a path is certainly its own standard form: one pass, no allocation. A path that begins with "~" is
// never taken for one.
bool isStandardForm(std::string_view path);

// Path-equal: the standard forms are the same string.
bool isEqualToPath(std::string_view path, std::string_view other);

// Whether the path or one of the paths above it, up to its root path, is path-equal to the base. By whole
// components, and a path is its own child; linear in the two lengths. The walk goes up the path as written:
// "/a/../b" lies below "/b" and below "/a", and "~/x" below the home directory but not below "/".
bool isChildOfPath(std::string_view path, std::string_view base);
bool isAncestorOfPath(std::string_view path, std::string_view descendant);

// What follows in the path below the nearest of those path-equal to the base, in standard form and beginning
// with "/": "/" for the base itself, none when nothing matches.
std::optional<std::string> pathRelativeToPath(std::string_view path, std::string_view base);

// The length of the longest prefix of the path, cut at a component's end, that is path-equal to the base: the
// nearest match of the walk that isChildOfPath makes. The root path counts as a prefix ("/" is one long, ""
// nothing). The base must be in standard form.
std::optional<std::size_t> lengthOfNearestMatch(std::string_view path, std::string_view standardBase);

// The template with its trailing "X" characters, any number of them, replaced by letters and digits so that
// no item of that name exists at the moment; nothing is created, so the name is a proposal that another
// process may take first. None when the template does not end in "X", no free name was found, or the file
// system refuses to tell.
std::optional<std::string> stringByGeneratingTempPath(std::string_view pathTemplate);

} // namespace paths
