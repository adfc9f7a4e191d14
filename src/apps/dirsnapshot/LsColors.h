// Colours of names on a terminal, as the variable LS_COLORS gives them to ls (see dircolors(1)): entries
// apart by
// ":", a kind ("di=01;34") or the end of a name ("*.tar=01;31") and its colour.
#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>

namespace dirsnapshot_tool {

// When names are coloured. Auto: when standard output is a terminal that shows colours, and NO_COLOR does not
// say otherwise (https://no-color.org).
enum class Colouring { automatic, always, never };

class LsColors {
  public:
    // The colours of this text, behind those that ls has of itself. Of the kinds those that a snapshot
    // records matter: di, fi, ln and, for all others, no. Any text is taken; an entry whose colour is not
    // digits and ";" is none, so that no other sequence reaches the terminal.
    explicit LsColors(std::string_view text);

    // A path in colours: what leads to it in that of directories, its last name in its own.
    std::string painted(std::string_view path, uint8_t type) const;

    // The colour of an item ("01;34"), empty for none.
    std::string_view colourOf(std::string_view name, uint8_t type) const;

  private:
    struct Ending {
        std::size_t place; // of the entry in the text: a later one counts
        std::string colour;
    };
    void take(std::string_view key, std::string_view colour, std::size_t place);
    const std::string* colourOfEnding(std::string_view name) const;

    std::string _directory = "01;34", _file, _link = "01;36", _other;
    std::unordered_map<std::string, Ending> _endings;
    std::set<std::size_t> _lengths; // that endings have: few, however many there are
};

// A text in a colour ("01;34"); plain where either is empty.
std::string inColour(std::string_view colour, std::string_view text);

// The colours of this process's surroundings; NULL when nothing is to be coloured. Made once, lives on.
const LsColors* coloursFor(Colouring when);

} // namespace dirsnapshot_tool
