#include "apps/dirsnapshot/Records.h"

#include "platform/json.h"

#include <CLI/CLI.hpp>

#include <cstdio>
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

} // namespace dirsnapshot_tool
