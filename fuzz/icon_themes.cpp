// An icon theme that the doctor looks through. Input: its index.theme, after a zero byte its icon cache. Each
// theme of the lineage is there once and hicolor ends it, and an icon that is found is one that is there.
#include "apps/tsyncfinder/doctor/IconThemes.h"
#include "fuzz/folder.h"
#include "fuzz/require.h"

#include <cstdint>
#include <filesystem>
#include <set>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const FuzzFolder folder;
    const std::string text(reinterpret_cast<const char*>(data), size);
    const size_t end = text.find('\0');
    folder.write(folder.path + "/own/index.theme", text.substr(0, end));
    folder.write(folder.path + "/own/icon-theme.cache", end < size ? text.substr(end + 1) : "");
    folder.write(folder.path + "/own/16x16/sync.png", "");
    folder.write(folder.path + "/other/index.theme", "[Icon Theme]\nInherits=own,other\n");

    const apps::tsyncfinder::doctor::IconThemes themes({folder.path});
    const auto lineage = themes.lineage("own");
    require(lineage.front() == "own" && lineage.back() == "hicolor");
    require(std::set(lineage.begin(), lineage.end()).size() == lineage.size());
    std::string staleCache;
    const std::string found = themes.find("own", "sync", staleCache);
    require(found.empty() || std::filesystem::exists(found));
    return 0;
}
