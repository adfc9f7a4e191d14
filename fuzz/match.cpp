// The matcher of user patterns. Input: a pattern, a line break, a path.
#include "fuzz/require.h"
#include "snapshot/exclusion/scan_utils.h"

#include <algorithm>
#include <cstdint>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string text(reinterpret_cast<const char*>(data), size);
    std::erase(text, '\0');
    size_t end = std::min(text.find('\n'), text.size());
    std::string pattern = text.substr(0, end);
    std::string path = end < text.size() ? text.substr(end + 1) : "";
    snapshot::CompiledPattern compiled(pattern.c_str());
    bool matches = snapshot::_match(pattern.c_str(), path.c_str());
    require(matches == compiled.matches(path.c_str()));
    require(compiled.isValid() || !matches);
    return 0;
}
