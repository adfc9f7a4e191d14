#include "apps/tsyncfinder/terminal/commands.h"
#include "apps/tsyncfinder/terminal/daemon_notice.h"
#include "apps/tsyncfinder/terminal/paths.h"
#include "backends/dbus/DaemonProbe.h"
#include "dirsnapshot/DirSnapshot.h"
#include "extension/reasons.h"
#include "hosts/terminal/drawing.h"
#include "platform/DisplayText.h"
#include "platform/json.h"
#include "platform/utf8.h"
#include "protocol/names.h"

#include <cstdlib>
#include <filesystem>
#include <iostream>

namespace apps::tsyncfinder::terminal {
namespace {

using backends::dbus::DaemonProbe;
using hosts::terminal::printableName;

// What keeps an item in a synced folder from being synced.
struct ExclusionFound {
    std::string base;      // the path that somebody has excluded, the item or a folder above it; "": none
    bool isByKind = false; // by rules that nobody can change
};

ExclusionFound exclusionOf(DaemonProbe& daemon, const std::string& path, const std::string& root) {
    if (root.empty()) return {};
    if (dirsnapshot::DirSnapshot::isNodeAtFullPathExcluded(path)) return {"", true};
    for (std::string level = path;; level = std::filesystem::path(level).parent_path().string()) {
        const auto exclusion = daemon.exclusionOf(level);
        if (!exclusion || !exclusion->isExcluded) return {};
        if (exclusion->isBase || level == root || level == "/") return {level, false};
    }
}

void print(const std::string& path, const hosts::terminal::Explanation& why,
           const ExclusionFound& exclusion) {
    std::cout << printableName(path) << ": " << why.badge << '\n';
    if (why.badge == FINDER_SYNC_BADGE_NONE && !why.root.empty() && why.rule != "off")
        std::cout << "  " << extension::unshownReason << '\n';
    if (!why.root.empty()) std::cout << "  Synced folder: " << printableName(why.root) << '\n';
    std::cout << "  " << platform::filled(extension::reasonOf(why.rule), {printableName(why.file)}) << '\n';
    if (exclusion.isByKind)
        std::cout << "  " << extension::neverSyncedReason << '\n';
    else if (!exclusion.base.empty())
        std::cout << "  " << platform::filled(extension::excludedReason, {printableName(exclusion.base)})
                  << "\n  To end that: tsyncfinder invoke includeSync: '" << printableName(exclusion.base)
                  << "'\n";
}

} // namespace

int explainBadges(hosts::terminal::Extension& extension, const Arguments& arguments) {
    const std::vector<std::string> paths = existingPaths(arguments.paths);
    DaemonProbe daemon;
    if (!arguments.isJson) tellWhenDaemonIsNotAnswering(daemon.presence());
    for (const std::string& path : paths) {
        const auto why = extension.explain(uriOf(path));
        const ExclusionFound exclusion = exclusionOf(daemon, path, why.root);
        if (!arguments.isJson) {
            print(path, why, exclusion);
            continue;
        }
        std::cout << platform::jsonDescription(
                         platform::Dictionary{{"path", platform::undoableText(path)},
                                              {"badge", why.badge},
                                              {"rule", why.rule},
                                              {"root", why.root},
                                              {"file", why.file},
                                              {"excluded", platform::undoableText(exclusion.base)}})
                  << '\n';
    }
    return paths.size() == arguments.paths.size() ? EXIT_SUCCESS : trouble;
}

} // namespace apps::tsyncfinder::terminal
