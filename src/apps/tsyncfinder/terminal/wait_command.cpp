#include "apps/tsyncfinder/service_answer.h"
#include "apps/tsyncfinder/terminal/commands.h"
#include "apps/tsyncfinder/terminal/paths.h"
#include "backends/dbus/DaemonProbe.h"
#include "backends/dbus/SyncServiceInterface.h"
#include "daemon_client/SyncStatus.h"
#include "hosts/terminal/drawing.h"
#include "paths/path_strings.h"
#include "platform/FileURL.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <exception>
#include <utility>

namespace apps::tsyncfinder::terminal {
namespace {

using backends::dbus::DaemonProbe;
using paths::isChildOfPath;
using platform::Dictionary;
using platform::Presence;

using Lines = std::vector<std::string>;

constexpr std::size_t mostLines = 10;
constexpr std::chrono::seconds answerBound{2};

enum class Standing { inStep, underWay, problem };

// How it stands with all paths together, and what a person is told about it.
struct Look {
    Standing standing = Standing::inStep;
    Lines lines;
    bool isPaused = false; // by a person: it goes on when that ends
};

bool overlap(const std::string& one, const std::string& other) {
    return isChildOfPath(one, other) || isChildOfPath(other, one);
}

class Waiting {
  public:
    // `hasDaemonLook` has the daemon look at the folders first, once, since it may not have noticed what was
    // written just now.
    Waiting(hosts::terminal::Extension& finder, const Lines& waitedFor, bool hasDaemonLook)
        : extension(finder), paths(waitedFor), looksAnew(hasDaemonLook) {}

    // Asks everybody anew.
    Look look() {
        const Dictionary status = extension.status();
        if (!platform::flagAt(status, "tableKnown").value_or(true))
            return {Standing::underWay, {"It is not known yet which folders are synced."}};
        if (Lines outside = outsideOf(status); !outside.empty())
            return {Standing::problem, std::move(outside)};
        DaemonProbe daemon;
        if (daemon.presence() == Presence::absent) return noAnswer();
        bool isPending = false;
        for (const std::string& path : paths) {
            if (looksAnew && !daemon.lookAt(path)) return noAnswer();
            const auto answer = daemon.isPending(path);
            if (!answer) return noAnswer();
            isPending = isPending || *answer;
        }
        looksAnew = false;
        const Dictionary details = detailsOfService();
        Lines problems = problemsIn(details, !isPending);
        if (!problems.empty()) return {Standing::problem, std::move(problems)};
        if (!isPending) return {};
        return {Standing::underWay, underWay(daemon, details),
                platform::flagAt(details, "isPaused").value_or(false)};
    }

  private:
    // It may have gone between two questions.
    static Look noAnswer() {
        const bool isGone = DaemonProbe().presence() == Presence::absent;
        return {Standing::problem,
                {isGone ? "The sync service is not running." : "The sync service does not answer."}};
    }

    bool concerns(const std::string& place) const {
        return std::any_of(paths.begin(), paths.end(),
                           [&place](const std::string& path) { return overlap(place, path); });
    }

    Lines outsideOf(const Dictionary& status) const {
        Lines roots;
        for (const std::string& uri : platform::textsAt(status, "roots"))
            if (const auto url = platform::FileURL::withURI(uri)) roots.push_back(url->path());
        Lines lines;
        for (const std::string& path : paths)
            if (std::none_of(roots.begin(), roots.end(),
                             [&path](const std::string& root) { return overlap(root, path); }))
                lines.push_back(path + " is not in a synced folder, nor is one below it.");
        return lines;
    }

    // Empty when the daemon is one that has no such thing.
    static Dictionary detailsOfService() {
        try {
            return backends::dbus::SyncServiceClient(answerBound).status();
        } catch (const std::exception&) {
            return {};
        }
    }

    // Of the pairs that concern the paths: why one has failed, and, once nothing is under way any more, what
    // was left out. Until then that is what an earlier look found, and may be over.
    Lines problemsIn(const Dictionary& details, bool isOver) const {
        Lines lines;
        for (const Dictionary* pair : rowsAt(details, "pairs")) {
            const std::string root = textOf(*pair, "localPath");
            if (!concerns(root)) continue;
            if (textOf(*pair, "state") == "failed") lines.push_back(root + ": " + textOf(*pair, "reason"));
            if (!isOver) continue;
            for (const Dictionary* problem : rowsAt(*pair, "problems"))
                if (const std::string place = root + "/" + textOf(*problem, "path"); concerns(place))
                    lines.push_back(place + ": " + textOf(*problem, "reason"));
            if (platform::dictionaryAt(*pair, "waiting") != nullptr)
                lines.push_back(root + ": files wait for your word: tsyncquenz confirm");
        }
        return lines;
    }

    Lines underWay(DaemonProbe& daemon, const Dictionary& details) const {
        Lines lines;
        if (const auto status = daemon.syncStatus())
            for (const std::string& file : daemon_client::syncStatusOf(*status).uploadingPaths)
                if (concerns(file)) lines.push_back("uploading " + file);
        for (const Dictionary* pair : rowsAt(details, "pairs"))
            if (const std::string root = textOf(*pair, "localPath"); concerns(root))
                lines.push_back(root + ": " + textOf(*pair, "state"));
        return lines;
    }

    hosts::terminal::Extension& extension;
    const Lines paths;
    bool looksAnew;
};

void complainOf(const Lines& lines) {
    for (std::size_t i = 0; i < std::min(lines.size(), mostLines); ++i)
        complain(hosts::terminal::printableName(lines[i]));
    if (lines.size() > mostLines) complain("and " + std::to_string(lines.size() - mostLines) + " more");
}

} // namespace

int waitForPaths(hosts::terminal::Extension& extension, const Arguments& arguments) {
    using Clock = std::chrono::steady_clock;
    const Lines paths = existingPaths(arguments.paths);
    if (paths.size() != arguments.paths.size()) return EXIT_FAILURE;
    std::optional<Clock::time_point> deadline;
    if (arguments.timeout)
        deadline = Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                      std::chrono::duration<double>(*arguments.timeout));
    const bool isOnlyTold = deadline && *arguments.timeout == 0;
    Waiting waiting(extension, paths, !isOnlyTold);
    Look look;
    bool isPauseTold = false;
    const bool isOver = extension.followProgress(
        [&] {
            look = waiting.look();
            if (look.isPaused && !std::exchange(isPauseTold, true))
                complain("The sync service is paused: tsyncquenz resume");
            return look.standing == Standing::underWay;
        },
        deadline);
    complainOf(look.lines);
    if (!isOver) return timeIsOver;
    return look.standing == Standing::inStep ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace apps::tsyncfinder::terminal
