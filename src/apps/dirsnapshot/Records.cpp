#include "apps/dirsnapshot/Records.h"

#include "platform/json.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <map>
#include <string>

namespace dirsnapshot_tool {

namespace {

void print(std::string_view text) { fwrite(text.data(), 1, text.size(), stdout); }

} // namespace

Records::Records(Format format) : _format(format) {
    if (_format == Format::json) print("[");
}

void Records::add(const platform::Value& value) {
    if (_format == Format::json && !_first) print(",");
    _first = false;
    print(platform::jsonDescription(value));
    if (_format == Format::ndjson) print("\n");
}

void Records::addText(std::string_view text) {
    print(text);
    putchar(_format == Format::null ? '\0' : '\n');
}

void Records::finish() {
    if (_format == Format::json) print("]\n");
}

void addFormats(CLI::App* subcommand, Format& format, const char* inJson, const char* inNull) {
    const auto addFlag = [&](const char* name, Format meant, const std::string& about) {
        return subcommand->add_flag_function(
            name, [&format, meant](std::int64_t) { format = meant; }, about);
    };
    CLI::Option* json = addFlag("--json", Format::json, inJson);
    CLI::Option* ndjson =
        addFlag("--ndjson", Format::ndjson, "The same records, one JSON object on each line");
    CLI::Option* null = addFlag("--null", Format::null, inNull);
    ndjson->excludes(json);
    null->excludes(json)->excludes(ndjson);
}

void addColouring(CLI::App* subcommand, Colouring& colouring) {
    const std::map<std::string, Colouring> words = {
        {"auto", Colouring::automatic}, {"always", Colouring::always}, {"never", Colouring::never}};
    subcommand
        ->add_option_function<std::string>(
            "--color", [&colouring, words](const std::string& word) { colouring = words.at(word); },
            "Names in the colours of LS_COLORS: auto, when standard output is a terminal and NO_COLOR is not "
            "set (the default)")
        ->check(CLI::IsMember({"auto", "always", "never"}));
}

} // namespace dirsnapshot_tool
