#include "apps/dirsnapshot/LsColors.h"

#include "snapshot/DSNode.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

namespace dirsnapshot_tool {

namespace {

bool isColour(std::string_view text) {
    constexpr std::size_t kLongest = 64;
    return text.size() <= kLongest && text.find_first_not_of("0123456789;") == std::string_view::npos;
}

// 0 is how a terminal is told to use no colour.
std::string colourFrom(std::string_view text) {
    const bool isNone = text.find_first_not_of("0;") == std::string_view::npos;
    return isNone ? std::string() : std::string(text);
}

std::string inSmallLetters(std::string_view text) {
    std::string small(text);
    for (char& letter : small)
        if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
    return small;
}

bool terminalShowsColours() {
    const char* noColour = getenv("NO_COLOR");
    const char* terminal = getenv("TERM");
    return isatty(STDOUT_FILENO) != 0 && (noColour == nullptr || *noColour == '\0') && terminal != nullptr &&
           strcmp(terminal, "dumb") != 0;
}

} // namespace

std::string inColour(std::string_view colour, std::string_view text) {
    if (colour.empty() || text.empty()) return std::string(text);
    return std::string("\033[").append(colour).append("m").append(text).append("\033[0m");
}

LsColors::LsColors(std::string_view text) {
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find(':', at), text.size());
        const std::string_view entry = text.substr(at, end - at);
        const std::size_t equal = entry.find('=');
        if (equal != std::string_view::npos) take(entry.substr(0, equal), entry.substr(equal + 1), at);
        at = end + 1;
    }
}

void LsColors::take(std::string_view key, std::string_view colour, std::size_t place) {
    if (!isColour(colour)) return;
    if (key == "di") {
        _directory = colourFrom(colour);
    } else if (key == "fi") {
        _file = colourFrom(colour);
    } else if (key == "ln") {
        _link = colourFrom(colour);
    } else if (key == "no") {
        _other = colourFrom(colour);
    } else if (key.size() > 1 && key[0] == '*') {
        _endings.insert_or_assign(std::string(key.substr(1)), Ending{place, colourFrom(colour)});
        _lengths.insert(key.size() - 1);
    }
}

const std::string* LsColors::colourOfEnding(std::string_view name) const {
    const Ending* found = nullptr;
    for (const std::size_t length : _lengths) {
        if (length > name.size()) break;
        const std::string_view end = name.substr(name.size() - length);
        auto ending = _endings.find(std::string(end));
        if (ending == _endings.end()) ending = _endings.find(inSmallLetters(end));
        if (ending != _endings.end() && (found == nullptr || ending->second.place > found->place))
            found = &ending->second;
    }
    return found != nullptr ? &found->colour : nullptr;
}

std::string_view LsColors::colourOf(std::string_view name, uint8_t type) const {
    switch (type) {
    case DSNodeTypeDirectory:
        return _directory;
    case DSNodeTypeSymlink:
        return _link;
    case DSNodeTypeFile: {
        const std::string* colour = colourOfEnding(name);
        return colour != nullptr ? *colour : _file;
    }
    default:
        return _other;
    }
}

std::string LsColors::painted(std::string_view path, uint8_t type) const {
    const std::size_t slash = path.rfind('/');
    const std::size_t start = slash == std::string_view::npos || path.size() == 1 ? 0 : slash + 1;
    const std::string_view name = path.substr(start);
    return inColour(_directory, path.substr(0, start)).append(inColour(colourOf(name, type), name));
}

const LsColors* coloursFor(Colouring when) {
    const bool wanted = when == Colouring::always || (when == Colouring::automatic && terminalShowsColours());
    if (!wanted) return nullptr;
    const char* text = getenv("LS_COLORS");
    static const LsColors colours(text != nullptr ? text : "");
    return &colours;
}

} // namespace dirsnapshot_tool
