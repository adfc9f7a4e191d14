// The records of a list, such as items of a snapshot or differences, on standard output. Each goes out as it
// is added, so that a million of them need no memory.
#pragma once

#include "apps/dirsnapshot/LsColors.h"
#include "platform/Value.h"

#include <string_view>

namespace CLI {
class App;
}

namespace dirsnapshot_tool {

// How the records are told apart. What a path is in each: byte for byte in the first two, in JSON as
// platform::undoableText has it.
enum class Format {
    lines,  // for people; a line break in a name looks like one between records
    null,   // each ends with a NUL, which no name holds
    json,   // one array
    ndjson, // a JSON value on each line
};

class Records {
  public:
    explicit Records(Format format);

    bool areJson() const { return _format == Format::json || _format == Format::ndjson; }
    bool areNull() const { return _format == Format::null; }

    void add(const platform::Value& value); // when they are JSON
    void addText(std::string_view text);    // when they are not; without what ends it
    // After the last one: without it an array has no end.
    void finish();

  private:
    Format _format;
    bool _first = true;
};

// --json, --ndjson and --null of a command; at most one of them is given. The texts say what each record
// holds.
void addFormats(CLI::App* subcommand, Format& format, const char* inJson, const char* inNull);

// --color, of a list whose lines show names in colours.
void addColouring(CLI::App* subcommand, Colouring& colouring);

} // namespace dirsnapshot_tool
