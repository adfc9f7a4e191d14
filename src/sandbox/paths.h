// Paths as strings, and the way from a path of a tree to its place on this machine.
//
// A path of a tree is in plain form: it starts with "/", has no empty, "." or ".." component and no trailing
// separator; "/" is the tree itself. Absolute local paths have the same form.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace sandbox {

// Whether a plain path is the base or lies below it, by whole components.
bool isAtOrBelow(std::string_view path, std::string_view base);

// Whether a path can travel in messages: D-Bus strings and JSON text are UTF-8.
bool isText(std::string_view path);

// The path of an entry of a folder.
std::string remoteChild(std::string_view folder, std::string_view name);

// A name beside a taken one: "a.txt" gives "a (2).txt". The number is at least 2.
std::string numberedName(const std::filesystem::path& name, int number);

// Where an item of a tree lies, or would lie. None when the path is not in plain form, and when something
// above the item is no real folder: a link could lead out of the tree. The tree's own folder is given without
// links. It looks before anybody acts; who plants links meanwhile has the rights to do worse.
std::optional<std::filesystem::path> confinedPath(const std::filesystem::path& tree, std::string_view path);

// Makes a folder of the tree and those above it; false when something else has its place or one above it.
bool makeConfinedFolder(const std::filesystem::path& tree, std::string_view path);

} // namespace sandbox
