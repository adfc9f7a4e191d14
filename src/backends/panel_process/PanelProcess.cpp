#include "backends/panel_process/PanelProcess.h"

#include "backends/panel_process/given_answers.h"
#include "platform/json.h"
#include "platform/utf8.h"
#include "protocol/names.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <system_error>
#include <unistd.h>

namespace backends::panel_process {
namespace {

using panels::PanelLine;
using panels::PanelRequest;
using posix::ChildProcess;

// A panel comes up in a moment; a display that has not answered for this long will not.
constexpr std::chrono::seconds waitForPanel{30};
constexpr std::chrono::seconds waitForClipboard{10};

constexpr const char* cannotAsk = "The window to choose in could not be shown; nothing was sent.";
constexpr const char* noDisplay = "There is no display to choose on; nothing was sent.";

constexpr auto displayVariables = std::to_array<std::string_view>({FINDER_SYNC_DISPLAY_VARIABLES});

bool isOneOf(std::string_view entry, std::string_view variable) {
    return entry.starts_with(variable) && entry.substr(variable.size()).starts_with('=');
}

// This process's own environment, but everything that names a display or a language is the request's. The
// runtime folder is the session's: a request that does not name it means the same one.
std::vector<std::string> environmentFor(const platform::Display& display) {
    std::vector<std::string> entries;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string_view text(*entry);
        const bool isOfTheRequest =
            std::any_of(displayVariables.begin(), displayVariables.end(), [&](std::string_view variable) {
                return isOneOf(text, variable) &&
                       (variable != "XDG_RUNTIME_DIR" || display.environment.contains("XDG_RUNTIME_DIR"));
            });
        if (!isOfTheRequest) entries.emplace_back(text);
    }
    for (const std::string_view variable : displayVariables)
        if (const auto given = display.environment.find(std::string(variable));
            given != display.environment.end())
            entries.push_back(given->first + "=" + given->second);
    return entries;
}

std::optional<PanelLine> readLine(ChildProcess& child, std::optional<ChildProcess::Deadline> bound) {
    const std::optional<std::string> line = child.readLine(bound);
    return line ? PanelLine::ofJson(*line) : std::nullopt;
}

panels::DestinationPurpose purposeOf(extension::DestinationPurpose purpose) {
    switch (purpose) {
    case extension::DestinationPurpose::sync:
        return panels::DestinationPurpose::sync;
    case extension::DestinationPurpose::move:
        return panels::DestinationPurpose::move;
    case extension::DestinationPurpose::copy:
        return panels::DestinationPurpose::copy;
    }
    return panels::DestinationPurpose::archive;
}

} // namespace

PanelProcess::PanelProcess(std::string panelProgram, platform::ProcessLog& processLog,
                           const platform::Clock& itsClock)
    : program(std::move(panelProgram)), log(processLog), clock(itsClock) {}

std::unique_ptr<ChildProcess> PanelProcess::start(const platform::Display& display,
                                                  bool endsWithParent) const {
    return std::make_unique<ChildProcess>(
        ChildProcess::Start{program, environmentFor(display), endsWithParent}, clock);
}

PanelProcess::Answer PanelProcess::problem(const std::string& logText, const char* text) {
    log.error("No panel, it counts as cancelled: ", logText);
    return {{}, platform::DisplayText{text, {}}};
}

PanelProcess::Answer PanelProcess::ask(PanelRequest question, const extension::CommandRequest& request) {
    question.activationToken = request.display.activationToken;
    question.parentWindow = request.display.parentWindow;
    const platform::Dictionary object = panels::objectOf(question);
    const std::optional<std::string> text = platform::jsonText(object);
    if (!text)
        return problem("a name is not UTF-8: " + platform::jsonDescription(object),
                       "A name that is not UTF-8 cannot be sent.");
    try {
        const std::shared_ptr<ChildProcess> child = start(request.display, true);
        const platform::Subscription interruption =
            request.cancellation ? request.cancellation->whenCancelled([weak = std::weak_ptr(child)] {
                if (const auto living = weak.lock()) living->interrupt();
            })
                                 : platform::Subscription();
        const auto isCancelled = [&] { return request.cancellation && request.cancellation->isCancelled(); };
        const auto bound = clock.now() + waitForPanel;
        child->write(*text, bound);
        std::optional<PanelLine> answer = readLine(*child, bound);
        const bool isShown = answer && answer->isShown();
        if (isShown) answer = readLine(*child, std::nullopt);
        if (isCancelled()) {
            log.info("A panel is ended: whoever asked for it has gone");
            return {};
        }
        if (isShown && !answer) return problem("the panel ended without an answer", cannotAsk);
        if (!answer) return problem("the panel program gave no answer", cannotAsk);
        const std::optional<panels::Refusal> refusal = answer->refusal();
        if (!refusal) return {std::move(*answer), {}};
        if (child->wait() == panels::PanelExit::noDisplay) return problem("there is no display", noDisplay);
        return problem(refusal->error, cannotAsk);
    } catch (const std::system_error& error) {
        return problem(error.what(), cannotAsk);
    }
}

extension::DestinationAnswer PanelProcess::chooseRemoteDestination(extension::DestinationPurpose purpose,
                                                                   const extension::CommandRequest& request) {
    const bool forArchive = purpose != extension::DestinationPurpose::sync;
    if (auto given = givenDestination(forArchive, request)) return std::move(*given);
    panels::DestinationRequest question{purposeOf(purpose), {}};
    for (const platform::FileURL& item : request.selection) {
        // Of several items the panel says only how many they are.
        question.paths.push_back(request.selection.size() == 1 || platform::isUtf8(item.path()) ? item.path()
                                                                                                : "");
        if (!forArchive) break;
    }
    Answer answer = ask({std::move(question), {}, {}}, request);
    return {answer.line.destination().path, std::move(answer.problem)};
}

extension::ShareAnswer PanelProcess::shareByEmail(bool isDirectory,
                                                  const daemon_client::SyncPathTable& allPathsInSync,
                                                  const extension::CommandRequest& request) {
    if (auto given = givenRecipients(request)) return std::move(*given);
    panels::ShareRequest question{request.selection.front().path(), isDirectory, {}};
    for (const auto& [remote, local] : allPathsInSync)
        if (platform::isUtf8(remote) && platform::isUtf8(local))
            question.allPathsInSync.emplace(remote, local);
    Answer answer = ask({std::move(question), {}, {}}, request);
    panels::ShareAnswer share = answer.line.share();
    return {std::move(share.recipients), true, share.isSent, std::move(answer.problem)};
}

bool PanelProcess::setString(const std::string& text, const platform::Display& display) {
    const std::optional<std::string> request =
        platform::jsonText(panels::objectOf({panels::ClipboardRequest{text}, {}, {}}));
    if (!request) return false;
    try {
        auto child = start(display, false);
        const auto bound = clock.now() + waitForClipboard;
        child->write(*request, bound);
        const std::optional<PanelLine> answer = readLine(*child, bound);
        if (!answer || !answer->clipboard().isWritten) return false;
        const std::lock_guard guard(holdersLock);
        // The former holder ends when the clipboard is taken over from it.
        std::erase_if(clipboardHolders, [](const auto& holder) { return holder->hasEnded(); });
        clipboardHolders.push_back(std::move(child));
        return true;
    } catch (const std::system_error& error) {
        log.error("The clipboard cannot be written: ", std::string_view(error.what()));
        return false;
    }
}

} // namespace backends::panel_process
