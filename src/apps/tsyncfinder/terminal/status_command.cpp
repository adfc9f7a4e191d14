#include "apps/tsyncfinder/doctor/processes.h"
#include "apps/tsyncfinder/sync_service.h"
#include "apps/tsyncfinder/terminal/commands.h"
#include "apps/tsyncfinder/terminal/daemon_notice.h"
#include "apps/tsyncfinder/terminal/paths.h"
#include "backends/dbus/DaemonProbe.h"
#include "daemon_client/SyncStatus.h"
#include "hosts/terminal/drawing.h"
#include "platform/FileURL.h"
#include "platform/json.h"

#include <cctype>
#include <cstdlib>
#include <iostream>

namespace apps::tsyncfinder::terminal {
namespace {

using platform::Dictionary;
using platform::Presence;

using Lines = std::vector<std::string>;

constexpr std::size_t filesNamed = 10;

bool isFalseAt(const Dictionary& status, std::string_view key) {
    return !platform::flagAt(status, key).value_or(true);
}

// "syncStatusLoadingRemoteSnapshot" as "loading remote snapshot".
std::string wordsOf(std::string_view phase) {
    constexpr std::string_view prefix = "syncStatus";
    if (phase.starts_with(prefix)) phase.remove_prefix(prefix.size());
    std::string words;
    for (const char letter : phase) {
        const auto byte = static_cast<unsigned char>(letter);
        if (std::isupper(byte) != 0 && !words.empty()) words += ' ';
        words += static_cast<char>(std::tolower(byte));
    }
    return words;
}

void print(const char* heading, const Lines& lines) {
    constexpr std::size_t width = 16;
    std::string start(heading);
    for (const std::string& line : lines) {
        start.resize(width, ' ');
        std::cout << start << hosts::terminal::printableName(line) << '\n';
        start.clear();
    }
}

Lines rootsIn(const Dictionary& status) {
    Lines roots;
    for (const std::string& uri : platform::textsAt(status, "roots"))
        if (const auto url = platform::FileURL::withURI(uri)) roots.push_back(url->path());
    if (roots.empty()) roots.emplace_back(isFalseAt(status, "tableKnown") ? "not known yet" : "none");
    return roots;
}

Lines underWay(const std::optional<Dictionary>& daemonStatus) {
    if (!daemonStatus) return {"not known"};
    const daemon_client::SyncStatus status = daemon_client::syncStatusOf(*daemonStatus);
    if (status.uploadingPaths.empty())
        return {status.status == daemon_client::syncStatusCompleted ? "nothing" : wordsOf(status.status)};
    Lines lines;
    for (const std::string& path : status.uploadingPaths)
        if (lines.size() < filesNamed) lines.push_back("uploading " + path);
    if (const std::size_t more = status.uploadingPaths.size() - lines.size(); more > 0)
        lines.push_back("and " + std::to_string(more) + " more");
    return lines;
}

Lines fileManagers(const Dictionary& status) {
    Lines names;
    backends::dbus::BusNames bus;
    for (const std::string& host : platform::textsAt(status, "hostNames"))
        if (const auto owner = bus.owner(host)) names.push_back(doctor::describeProcess(owner->process));
    if (names.empty()) names.emplace_back("none shows a folder");
    return names;
}

const char* describe(Presence daemon) {
    switch (daemon) {
    case Presence::answering:
        return "running";
    case Presence::silent:
        return "does not answer; what follows is what was known last";
    case Presence::absent:
        break;
    }
    return "not running; what follows is what was known last";
}

// With what the service tells of itself, or the one thing to do.
Lines serviceLines(Presence daemon) {
    Lines lines{describe(daemon)};
    if (daemon == Presence::silent) return lines;
    const SyncService service = lookAtSyncService();
    if (service.status) {
        if (const std::string* storage = platform::textAt(*service.status, "storage"))
            lines.front() += ", with " + *storage;
        if (platform::flagAt(*service.status, "isPaused").value_or(false))
            lines.emplace_back("paused: tsyncquenz resume");
        const platform::Array* pairs = platform::arrayAt(*service.status, "pairs");
        std::size_t problems = 0;
        for (const platform::Value& value : pairs != nullptr ? *pairs : platform::Array()) {
            const Dictionary* pair = value.dictionary();
            const std::string* reason = pair != nullptr ? platform::textAt(*pair, "reason") : nullptr;
            const platform::Array* leftOut = pair != nullptr ? platform::arrayAt(*pair, "problems") : nullptr;
            problems += (reason != nullptr ? 1 : 0) + (leftOut != nullptr ? leftOut->size() : 0);
        }
        if (problems > 0) lines.push_back(std::to_string(problems) + " problems: tsyncquenz problems");
    }
    if (daemon == Presence::absent && !service.advice.empty()) lines.push_back(service.advice);
    return lines;
}

} // namespace

int showStatus(hosts::terminal::Extension& extension, const Arguments& arguments) {
    Dictionary status;
    try {
        status = extension.status();
    } catch (const hosts::terminal::ExtensionError& error) {
        complain(error.what());
        // Whoever has just begun may lack more than the extension.
        if (const std::string advice = lookAtSyncService().advice; !advice.empty())
            complain("The sync service: " + advice);
        return trouble;
    }
    const std::string version = extension.version();
    backends::dbus::DaemonProbe daemon;
    if (arguments.isJson) {
        status["version"] = version;
        status["daemon"] = nameOf(daemon.presence());
        std::cout << platform::jsonDescription(status) << '\n';
        return EXIT_SUCCESS;
    }
    print("Extension:", {"running, version " + version});
    print("Sync service:", serviceLines(daemon.presence()));
    print("Synced folders:", rootsIn(status));
    print("Under way:", underWay(daemon.syncStatus()));
    print("File managers:", fileManagers(status));
    if (isFalseAt(status, "badgesShown")) print("Badges:", {"switched off: tsyncfinder config badges on"});
    if (const std::string* choice = platform::textAt(status, "badgeChoice");
        choice != nullptr && (*choice == "changes" || *choice == "problems"))
        print("Badges:", {"for " + *choice + " only: tsyncfinder config badges on"});
    if (isFalseAt(status, "menuShown")) print("Menu:", {"switched off: tsyncfinder config menu on"});
    return EXIT_SUCCESS;
}

} // namespace apps::tsyncfinder::terminal
