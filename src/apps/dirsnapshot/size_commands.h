// Where the bytes of a snapshot lie: as a list and as a picture. As in commands.h, results go to standard
// output, trouble to standard error.
#pragma once

#include "apps/dirsnapshot/commands.h"
#include "apps/dirsnapshot/svg_map.h"

#include <cstdint>
#include <limits>

namespace dirsnapshot_tool {

struct SizeOptions {
    uint64_t top = 0;                                      // the largest so many, descending; 0: all
    uint32_t depth = std::numeric_limits<uint32_t>::max(); // levels below the item that are shown
    bool files = false;                                    // not only directories
    bool inBytes = false;                                  // for people: 12345 in place of "13K"
};

// As du has them: each directory after those in it, with the bytes of all regular files below it.
ExitCode size(const Source& source, const std::string& path, const SizeOptions& options, Format format);

// The picture takes the place of the file when it is whole.
ExitCode map(const Source& source, const std::string& path, const std::string& file, PictureSize size);

} // namespace dirsnapshot_tool
