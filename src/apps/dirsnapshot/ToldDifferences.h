// Which differences of a watched directory are told: those of fields that count, in items that are not left
// out.
#pragma once

#include "snapshot/DSDifferences.h"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace dirsnapshot_tool {

// Tells that an item, by its path from the directory, and all below it were added or deleted.
void tellWhole(int32_t kind, std::string_view item, const DSNode* node,
               const std::function<void(const DSDifference& difference)>& tell);

class ToldDifferences {
  public:
    using Tell = std::function<void(const DSDifference& difference)>;

    // `exclusions`: absolute paths, and names, of items that are left out with all below them. `directory` is
    // the watched one's absolute path.
    ToldDifferences(const std::string& directory, const std::vector<std::string>& exclusions, uint32_t fields,
                    Tell tell);

    // Tells it where it counts. What moved into what is left out was deleted, what moved out was added.
    void add(const DSDifference& difference) const;

  private:
    bool isExcluded(std::string_view item) const;

    std::vector<std::string> _paths; // from the directory
    std::vector<std::string> _names;
    const uint32_t _fields;
    const Tell _tell;
};

} // namespace dirsnapshot_tool
