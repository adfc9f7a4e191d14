#include "host_service/HostService.h"

#include "extension/path_levels.h"
#include "protocol/names.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace host_service {
namespace {

using extension::BadgeAnswer;
using platform::FileURL;

constexpr unsigned maximumActivationsPerHost = 16;

constexpr std::pair<std::string_view, BadgeChoice> choices[] = {{"on", BadgeChoice::all},
                                                                {"off", BadgeChoice::none},
                                                                {"problems", BadgeChoice::problems},
                                                                {"changes", BadgeChoice::changes}};

std::string_view nameOf(BadgeChoice choice) {
    for (const auto& [name, each] : choices)
        if (each == choice) return name;
    return {};
}

bool isWanted(BadgeChoice choice, std::string_view badge) {
    switch (choice) {
    case BadgeChoice::all:
        return true;
    case BadgeChoice::none:
        return false;
    case BadgeChoice::problems:
        return badge == FINDER_SYNC_BADGE_ROOT || badge == FINDER_SYNC_BADGE_ERROR;
    case BadgeChoice::changes:
        break;
    }
    return badge != FINDER_SYNC_BADGE_SYNC;
}

platform::MenuHandle noMenu() { return platform::Menu::create(); }

} // namespace

std::optional<BadgeChoice> badgeChoiceNamed(std::string_view name) {
    for (const auto& [known, choice] : choices)
        if (known == name) return choice;
    return std::nullopt;
}

HostService::HostService(const Surroundings& surroundings)
    : around(surroundings), observation(around.finderSync.observe(*this)) {}

void HostService::setShown(Shown shown) {
    around.modelQueue.dispatch([this, shown] {
        if (std::exchange(choice, shown.badges) != shown.badges) rootsChanged();
        if (showsMenu.exchange(shown.menu) != shown.menu) around.sink.menusChanged();
    });
}

void HostService::setProblems(std::vector<std::string> paths) {
    around.modelQueue.dispatch([this, paths = std::move(paths)]() mutable {
        std::sort(paths.begin(), paths.end());
        const extension::PathList before = problems.list();
        if (paths == *before) return;
        problems =
            extension::PathsAndAncestors(std::make_shared<const std::vector<std::string>>(std::move(paths)));
        std::vector<std::string> changed;
        std::set_symmetric_difference(before->begin(), before->end(), problems.list()->begin(),
                                      problems.list()->end(), std::back_inserter(changed));
        filesChanged(changed);
    });
}

bool HostService::isProblem(const FileURL& item) const {
    if (problems.list()->empty()) return false;
    bool is = false;
    extension::forEachLevel(item.path(), [&](const extension::PathLevel& level) {
        is = problems.contain(level.standard, level.hash);
    });
    return is;
}

void HostService::judge(const FileURL* item, BadgeAnswer& answer) const {
    if (item != nullptr && answer.kind == BadgeAnswer::Kind::badge &&
        answer.identifier == FINDER_SYNC_BADGE_SYNC && isProblem(*item))
        answer.identifier = FINDER_SYNC_BADGE_ERROR;
    // An item that keeps its badge may have one from the time before the choice.
    if (!isWanted(choice, answer.identifier))
        answer = {BadgeAnswer::Kind::badge, {}, answer.isInSync, answer.isRoot};
}

void HostService::badges(std::vector<std::string> uris, std::function<void(extension::BadgeBatch)> answer) {
    around.modelQueue.dispatch([this, uris = std::move(uris), answer = std::move(answer)] {
        std::vector<FileURL> items;
        std::vector<std::size_t> places; // of each item that is a local file
        items.reserve(uris.size());
        for (std::size_t i = 0; i < uris.size(); ++i) {
            if (auto url = FileURL::withURI(uris[i])) {
                items.push_back(std::move(*url));
                places.push_back(i);
            }
        }
        items = links.translated(std::move(items));
        // Where there are none, as nearly always, nothing is kept for them. Who becomes one meanwhile is
        // told.
        const std::vector<FileURL> judged = problems.list()->empty() ? std::vector<FileURL>() : items;
        around.finderSync.badgesForItems(
            std::move(items), [this, judged, answer, places = std::move(places),
                               count = uris.size()](extension::BadgeBatch batch) {
                for (std::size_t i = 0; i < batch.answers.size(); ++i)
                    judge(judged.empty() ? nullptr : &judged[i], batch.answers[i]);
                if (places.size() != count) {
                    std::vector<BadgeAnswer> all(count);
                    for (std::size_t i = 0; i < places.size(); ++i)
                        all[places[i]] = batch.answers[i];
                    batch.answers = std::move(all);
                }
                answer(std::move(batch));
            });
    });
}

void HostService::menu(platform::FIMenuKind kind, std::vector<std::string> uris,
                       std::function<void(platform::MenuHandle)> answer) {
    around.backgroundQueue.dispatch([this, kind, uris = std::move(uris), answer = std::move(answer)] {
        const auto selection = selectionOf(uris);
        if (!showsMenu)
            answer(noMenu());
        else if (!selection)
            answer(around.finderSync.menuOfClass(extension::SelectionClass::nothing));
        else
            answer(around.finderSync.menuForMenuKind(kind, *selection));
    });
}

void HostService::explain(std::string uri, std::function<void(Explanation)> answer) {
    around.modelQueue.dispatch([this, uri = std::move(uri), answer = std::move(answer)] {
        auto item = FileURL::withURI(uri);
        if (item) item = links.translated(std::move(*item));
        if (!item) {
            answer({FINDER_SYNC_BADGE_NONE, "outside", "", ""});
            return;
        }
        around.finderSync.badgesForItems({*item}, [this, item, answer](const extension::BadgeBatch& batch) {
            BadgeAnswer badge = batch.answers.front();
            judge(&*item, badge);
            const auto reason = around.finderSync.badgeState()->explain(*item);
            Explanation explanation{FINDER_SYNC_BADGE_NONE, std::string(nameOf(reason.rule)), reason.root,
                                    reason.file};
            if (badge.kind == BadgeAnswer::Kind::unchanged)
                explanation = {FINDER_SYNC_BADGE_UNCHANGED, "missing", reason.root, reason.file};
            else if (!badge.identifier.empty())
                explanation.badge = badge.identifier;
            if (reason.rule == extension::BadgeRule::existing && isProblem(*item)) {
                explanation.rule = "problem";
                explanation.file = *problems.firstBeneath(item->path());
            }
            if (choice == BadgeChoice::none)
                explanation = {FINDER_SYNC_BADGE_NONE, "off", reason.root, reason.file};
            answer(explanation);
        });
    });
}

std::optional<std::vector<FileURL>> HostService::selectionOf(const std::vector<std::string>& uris) const {
    std::vector<FileURL> urls;
    urls.reserve(uris.size());
    for (const std::string& uri : uris) {
        auto url = FileURL::withURI(uri);
        if (!url) return std::nullopt;
        urls.push_back(std::move(*url));
    }
    return links.translated(std::move(urls));
}

// --- activations

std::optional<std::uint64_t> HostService::activate(const Activation& activation, std::string& message) {
    const extension::Command* command = extension::commandNamed(activation.item);
    if (command == nullptr) {
        message = "There is no menu item \"" + activation.item + "\".";
        return std::nullopt;
    }
    auto selection = selectionOf(activation.uris);
    if (!selection) {
        message = "Something that is selected is not a local file.";
        return std::nullopt;
    }
    extension::CommandRequest request = requestOf(activation, std::move(*selection));
    const bool isAsked = extension::asksPerson(*command, request);
    bool startsAsking = false;
    std::uint64_t number = 0;
    {
        const std::lock_guard guard(activationsLock);
        unsigned& count = underWay[activation.host];
        if (count >= maximumActivationsPerHost) {
            message = "Too many actions are under way. Wait until some of them have ended.";
            return std::nullopt;
        }
        ++count;
        number = ++lastActivation;
        if (isAsked) {
            request.cancellation = std::make_shared<platform::Cancellation>();
            waiting.push_back({activation.host, command, request, doneOf(activation.host, number)});
            startsAsking = !std::exchange(isAsking, true);
        }
    }
    if (!isAsked)
        around.commandQueue.dispatch(
            [this, command, request = std::move(request), done = doneOf(activation.host, number)] {
                around.perform(*command, request, done);
            });
    else if (startsAsking)
        around.panelQueue.dispatch([this] { askNext(); });
    return number;
}

HostService::Done HostService::doneOf(const HostName& host, std::uint64_t number) {
    return [this, host, number](const extension::CommandOutcome& outcome) {
        {
            const std::lock_guard guard(activationsLock);
            const auto count = underWay.find(host);
            if (count == underWay.end()) return; // the host has gone
            if (--count->second == 0) underWay.erase(count);
        }
        around.sink.activationFinished(host, number, outcome);
    };
}

void HostService::askNext() {
    for (;;) {
        std::list<Asking> next;
        {
            const std::lock_guard guard(activationsLock);
            standing = nullptr;
            isAsking = !waiting.empty();
            if (!isAsking) return;
            next.splice(next.begin(), waiting, waiting.begin());
            asking = next.front().host;
            standing = next.front().request.cancellation;
        }
        around.perform(*next.front().command, next.front().request, next.front().done);
    }
}

void HostService::dropActivations(const HostName& host) {
    std::shared_ptr<platform::Cancellation> cancelled;
    {
        const std::lock_guard guard(activationsLock);
        underWay.erase(host);
        waiting.remove_if([&host](const Asking& each) { return each.host == host; });
        if (standing && asking == host) cancelled = standing;
    }
    if (cancelled) cancelled->cancel();
}

// --- tables

std::vector<std::pair<std::string_view, platform::MenuHandle>> HostService::menusByClass() const {
    std::vector<std::pair<std::string_view, platform::MenuHandle>> menus;
    menus.reserve(extension::selectionClasses.size());
    for (const extension::SelectionClass selectionClass : extension::selectionClasses)
        menus.emplace_back(extension::nameOf(selectionClass),
                           showsMenu ? around.finderSync.menuOfClass(selectionClass) : noMenu());
    return menus;
}

void HostService::status(std::function<void(platform::Dictionary)> answer) {
    around.modelQueue.dispatch([this, answer = std::move(answer)] {
        const auto state = around.finderSync.badgeState();
        platform::Array roots;
        for (const FileURL& root : state->watchedPaths())
            roots.emplace_back(root.uri());
        std::size_t directories = 0;
        platform::Array hostNames;
        platform::Array longest;
        for (const auto& [name, host] : hosts) {
            directories += host.count;
            hostNames.emplace_back(name);
            longest.emplace_back(host.longest);
        }
        answer({{"roots", std::move(roots)},
                {"uploading", static_cast<std::int64_t>(state->uploadingFiles()->size())},
                {"sequence", static_cast<std::int64_t>(state->sequence())},
                {"hosts", static_cast<std::int64_t>(hosts.size())},
                {"hostNames", std::move(hostNames)},
                {"hostsHeldUp", std::move(longest)},
                {"badgesShown", choice != BadgeChoice::none},
                {"badgeChoice", nameOf(choice)},
                {"menuShown", showsMenu.load()},
                {"observed", static_cast<std::int64_t>(directories)},
                {"paused", around.finderSync.pauseRefreshInterface()},
                {"tableKnown", around.finderSync.allPathsInSync() != nullptr}});
    });
}

} // namespace host_service
