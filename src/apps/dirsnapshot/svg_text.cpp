#include "apps/dirsnapshot/svg_text.h"

#include "platform/utf8.h"

#include <algorithm>

namespace dirsnapshot_tool {

namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD"; // U+FFFD
constexpr std::string_view kEllipsis = "\xE2\x80\xA6";    // U+2026

// The character at a place, or the byte that is none.
std::string_view characterAt(std::string_view bytes, std::size_t at) {
    return bytes.substr(at, std::max<std::size_t>(platform::characterLength(bytes, at), 1));
}

std::string_view escaped(std::string_view character) {
    const auto first = static_cast<unsigned char>(character[0]);
    switch (first) {
    case '&':
        return "&amp;";
    case '<':
        return "&lt;";
    case '>':
        return "&gt;";
    case '"':
        return "&quot;";
    default:
        break;
    }
    const bool isControl = first < ' ' && first != '\n' && first != '\t';
    const bool isAlone = first >= 0x80 && character.size() == 1;
    const bool isNoCharacter = character == "\xEF\xBF\xBE" || character == "\xEF\xBF\xBF"; // U+FFFE, U+FFFF
    return isControl || isAlone || isNoCharacter ? kReplacement : character;
}

double widthOf(std::string_view character) {
    const auto first = static_cast<unsigned char>(character[0]);
    if (first >= 0x80) return first < 0xE1 ? 8 : 12; // from U+1000 on, many are as wide as high
    if (std::string_view("iIl.,:;|!'/\\ ()[]jtfr-").find(character[0]) != std::string_view::npos) return 4.4;
    if (std::string_view("mwMW@%").find(character[0]) != std::string_view::npos) return 11;
    return first >= 'A' && first <= 'Z' ? 8 : 7;
}

} // namespace

std::string svgText(std::string_view bytes) {
    std::string text;
    for (std::size_t at = 0; at < bytes.size();) {
        const std::string_view character = characterAt(bytes, at);
        text += escaped(character);
        at += character.size();
    }
    return text;
}

double textWidth(std::string_view bytes) {
    double width = 0;
    for (std::size_t at = 0; at < bytes.size();) {
        const std::string_view character = characterAt(bytes, at);
        width += widthOf(character);
        at += character.size();
    }
    return width;
}

std::string shortened(std::string_view bytes, double width) {
    if (textWidth(bytes) <= width) return std::string(bytes);
    double left = width - widthOf(kEllipsis);
    std::size_t at = 0;
    while (at < bytes.size()) {
        const std::string_view character = characterAt(bytes, at);
        left -= widthOf(character);
        if (left < 0) break;
        at += character.size();
    }
    return at == 0 ? std::string() : std::string(bytes.substr(0, at)).append(kEllipsis);
}

} // namespace dirsnapshot_tool
