#include "hosts/terminal/drawing.h"

#include "protocol/names.h"

#include <clocale>
#include <cstdlib>
#include <langinfo.h>
#include <locale.h>
#include <string_view>
#include <unistd.h>

namespace hosts::terminal {
namespace {

std::string_view valueOf(const char* variable) {
    const char* value = std::getenv(variable);
    return value != nullptr ? value : "";
}

bool localeIsUtf8() {
    if (const locale_t locale = ::newlocale(LC_CTYPE_MASK, "", nullptr); locale != nullptr) {
        const bool isUtf8 = std::string_view(::nl_langinfo_l(CODESET, locale)) == "UTF-8";
        ::freelocale(locale);
        return isUtf8;
    }
    // The machine does not have that locale: its name tells what the person's terminal has.
    for (const char* variable : {"LC_ALL", "LC_CTYPE", "LANG"})
        if (const std::string_view name = valueOf(variable); !name.empty())
            return name.ends_with(".UTF-8") || name.ends_with(".utf8");
    return false;
}

} // namespace

DrawingStyle DrawingStyle::ofStandardOutput() {
    const std::string_view terminal = valueOf("TERM");
    const bool canColor = ::isatty(STDOUT_FILENO) == 1 && !terminal.empty() && terminal != "dumb";
    return {canColor && valueOf("NO_COLOR").empty(), localeIsUtf8()};
}

std::string printableName(const std::string& name) {
    std::string printable = name;
    for (char& c : printable)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) c = '?';
    return printable;
}

std::string drawBadge(const std::string& badge, const BadgeLooks& looks, const DrawingStyle& style) {
    if (badge.empty() || badge == FINDER_SYNC_BADGE_NONE || badge == FINDER_SYNC_BADGE_UNCHANGED) return {};
    const auto known = looks.find(badge);
    const BadgeLook look = known != looks.end() ? known->second : BadgeLook{badge};
    const std::string text = (style.isUnicode ? look.sign : look.asciiSign) + " " + printableName(look.label);
    return style.hasColors ? "\x1b[" + look.colour + "m" + text + "\x1b[0m" : text;
}

} // namespace hosts::terminal
