// Fonts and titles with a font, as menus carry them. Plain values; nothing here draws or measures.
#pragma once

#include <optional>
#include <string>

namespace platform {

struct Font {
    // As the font system names it ("Helvetica-BoldOblique"); a system font has the names below.
    std::string name;
    double size = 0; // points

    friend bool operator==(const Font&, const Font&) = default;
};

// The desktop's own user-interface font. Whoever draws maps these two names to it.
inline Font systemFont(double size) { return {"System", size}; }
inline Font boldSystemFont(double size) { return {"System-Bold", size}; }

// A title with the font it is set in (none: the default of whoever draws it). A title has one font.
struct AttributedString {
    std::string text; // UTF-8
    std::optional<Font> font;

    friend bool operator==(const AttributedString&, const AttributedString&) = default;
};

} // namespace platform
