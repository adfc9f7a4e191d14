// Finds an icon as a file manager does, without a toolkit: the Icon Theme Specification of freedesktop.org,
// version 0.13, and GTK's cache files (icon-theme.cache) as far as they hide an icon.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace apps::tsyncfinder::doctor {

class IconThemes {
  public:
    // The folders that hold themes, in the order in which they are searched.
    explicit IconThemes(std::vector<std::string> themeFolders) : folders(std::move(themeFolders)) {}

    // Those of the person and of the system: ~/.icons, $XDG_DATA_HOME and $XDG_DATA_DIRS.
    static std::vector<std::string> standardFolders();

    // The theme and those that it inherits from, hicolor last, each once; what is not installed is left out.
    std::vector<std::string> lineage(const std::string& theme) const;

    // The file of the icon in that theme alone, in any size; "" when it has none. An icon that an up-to-date
    // cache file does not know is not there for GTK: then `staleCache` is the folder of the cache.
    std::string find(const std::string& theme, std::string_view icon, std::string& staleCache) const;

  private:
    std::vector<std::string> folders;
};

} // namespace apps::tsyncfinder::doctor
