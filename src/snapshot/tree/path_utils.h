// Byte-wise operations on path strings. A path is a NUL-terminated byte string; it is absolute when its first
// byte is "/". Nothing is normalised: empty components are kept (//a has the components "" and "a"), "." and
// ".." are names like any other.
//
// Returned strings are new and released by the caller with free(). A path longer than 1,023 bytes, given or
// to be built, is refused: the result is NULL (or 0) and one line on standard error says so.
#pragma once

#include "snapshot/DSList.h"

#include <cstdint>
#include <string_view>

namespace snapshot {

// The components between the slashes, as a list that owns its strings; one trailing "/" adds none, so that
// /a/b and /a/b/ give the same and "/" gives an empty list. What stands before the first "/" is ignored. A
// path without any "/" gives NULL and a line on standard error.
DSList* pathComponentsList(const char* path);

// The free callback of that list.
void _path_components_free(void* component);

// "/" and the components joined by "/"; NULL for an empty or absent list.
char* pathFromPathComponentsList(const DSList* components);

// The components of the path and one more, rebuilt: "/a/" and "b" give /a/b. NULL when the path has no "/".
char* pathByAppendingPathComponent(const char* path, const char* component);

// Number of components; 0 for a path without "/".
uint32_t pathComponents(const char* path);

bool isAbsolutePath(const char* path);

// -1 when either path is not absolute; 1 when the one with more components does not begin, byte for byte,
// with the other; else 0. With as many components the first counts as the shorter.
int isPathUnrelated(const char* first, const char* second);

// Whether both are absolute, differ in their number of components, and the path begins, byte for byte, with
// the ancestor: /ab/c counts as a child of /a.
bool isChildOfPath(const char* ancestor, const char* path);

// The bare prefix test.
bool _isChildOfPath(const char* ancestor, const char* path);

// Whether both are absolute and all components are equal byte strings; a trailing "/" makes no difference.
bool isEqualToPath(const char* first, const char* second);

// Says on standard error that a path is too long to be handled. `path` is shown shortened.
void reportPathTooLong(std::string_view path);

} // namespace snapshot
