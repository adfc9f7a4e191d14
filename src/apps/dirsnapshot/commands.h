// What each subcommand does once its arguments are known. Results go to standard output, trouble to standard
// error; each returns the program's exit code.
#pragma once

#include "apps/dirsnapshot/LsColors.h"
#include "apps/dirsnapshot/Records.h"
#include "apps/dirsnapshot/trees.h"

#include <string>
#include <vector>

namespace dirsnapshot_tool {

// As diff has them.
enum ExitCode {
    kSame = 0,      // or: done, excluded, matches
    kDifferent = 1, // or: not excluded, no match
    kTrouble = 2    // said on standard error; what was printed may be incomplete
};

struct Source {
    std::string path;
    StoreType type;
};

ExitCode scan(const std::string& directory, const Source& target, bool recursive);
// Takes what the older snapshot knows, and leaves the evidence for the next time beside the new one.
ExitCode scanSince(const std::string& directory, const Source& target, const Source& older,
                   bool structureOnly);
ExitCode list(const Source& source, const std::string& path, bool recursive, Format format,
              Colouring colouring);
ExitCode count(const Source& source, const std::string& path, bool recursive, bool hidden, bool json);
ExitCode hash(const Source& source, const std::string& path, bool recursive, Format format);
ExitCode convert(const Source& from, const Source& to);
ExitCode excluded(const std::string& name, const std::string& parent, const std::string& grandparent,
                  bool json);
ExitCode excludedPath(const std::string& path, bool json);
ExitCode match(const std::string& pattern, const std::string& path, bool json);
ExitCode sha1(const std::vector<std::string>& files, Format format);

} // namespace dirsnapshot_tool
