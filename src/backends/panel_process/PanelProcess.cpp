#include "backends/panel_process/PanelProcess.h"

#include "backends/panel_process/given_answers.h"
#include "platform/Json.h"
#include "platform/Utf8.h"
#include "protocol/names.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <system_error>
#include <unistd.h>

namespace backends::panel_process {
namespace {

using platform::Dictionary;
using platform::Value;
using posix::ChildProcess;

// A panel stands within a blink; a display that does not answer for so long will not.
constexpr std::chrono::seconds waitForPanel{30};
constexpr std::chrono::seconds waitForClipboard{10};

constexpr int noDisplayStatus = 3; // of the panel program

constexpr const char* cannotAsk = "The window to choose in could not be shown; nothing was sent.";
constexpr const char* noDisplay = "There is no display to choose on; nothing was sent.";

constexpr auto displayVariables = std::to_array<std::string_view>({FINDER_SYNC_DISPLAY_VARIABLES});

bool isOneOf(std::string_view entry, std::string_view variable) {
    return entry.starts_with(variable) && entry.substr(variable.size()).starts_with('=');
}

// Our own, but all that names a display or a language is the request's. The runtime folder is the session's:
// a request that does not name it means the same one.
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

std::optional<Dictionary> objectIn(const std::optional<std::string>& line) {
    std::optional<Value> value = line ? platform::valueOfJson(*line) : std::nullopt;
    return value && value->dictionary() != nullptr ? std::optional(std::move(*value->dictionary()))
                                                   : std::nullopt;
}

bool isTrue(const Dictionary& object, std::string_view key) {
    const Value* value = platform::find(object, key);
    return value != nullptr && value->boolean() != nullptr && *value->boolean();
}

const std::string* textIn(const Dictionary& object, std::string_view key) {
    const Value* value = platform::find(object, key);
    return value != nullptr ? value->string() : nullptr;
}

// 0 is a cancel; what is no number counts as one.
bool isConfirmed(const Dictionary& answer) {
    const Value* response = platform::find(answer, "response");
    if (response == nullptr) return false;
    if (const auto* number = response->signedInteger()) return *number != 0;
    const auto* number = response->unsignedInteger();
    return number != nullptr && *number != 0;
}

} // namespace

PanelProcess::PanelProcess(std::string panelProgram, platform::ProcessLog& processLog)
    : program(std::move(panelProgram)), log(processLog) {}

std::unique_ptr<ChildProcess> PanelProcess::start(const platform::Display& display,
                                                  bool endsWithParent) const {
    return std::make_unique<ChildProcess>(
        ChildProcess::Start{program, environmentFor(display), endsWithParent});
}

PanelProcess::Answer PanelProcess::problem(const std::string& logText, const char* text) {
    log.error("No panel, it counts as cancelled: ", logText);
    return {{}, platform::DisplayText{text, {}}};
}

PanelProcess::Answer PanelProcess::ask(Dictionary request, const platform::Display& display) {
    if (!display.activationToken.empty()) request["activationToken"] = display.activationToken;
    if (!display.parentWindow.empty()) request["parentWindow"] = display.parentWindow;
    const std::optional<std::string> text = platform::jsonText(request);
    if (!text)
        return problem("a name is not UTF-8: " + platform::jsonDescription(request),
                       "A name that is not UTF-8 cannot be sent.");
    try {
        const auto child = start(display, true);
        const auto bound = std::chrono::steady_clock::now() + waitForPanel;
        child->write(*text, bound);
        std::optional<Dictionary> answer = objectIn(child->readLine(bound));
        if (answer && isTrue(*answer, "shown")) {
            answer = objectIn(child->readLine(std::nullopt));
            if (!answer) return problem("the panel ended without an answer", cannotAsk);
        }
        if (answer && platform::find(*answer, "error") == nullptr) return {std::move(*answer), {}};
        if (answer && child->wait() == noDisplayStatus) return problem("there is no display", noDisplay);
        const std::string* error = answer ? textIn(*answer, "error") : nullptr;
        return problem(error != nullptr ? *error : "the panel program gave no answer", cannotAsk);
    } catch (const std::system_error& error) {
        return problem(error.what(), cannotAsk);
    }
}

extension::DestinationAnswer PanelProcess::chooseRemoteDestination(extension::DestinationPurpose purpose,
                                                                   const extension::CommandRequest& request) {
    const bool forArchive = purpose != extension::DestinationPurpose::sync;
    if (auto given = givenDestination(forArchive, request)) return std::move(*given);
    platform::Array paths;
    for (const platform::FileURL& item : request.selection) {
        // Of several items the panel says only how many they are.
        paths.emplace_back(request.selection.size() == 1 || platform::isUtf8(item.path()) ? item.path() : "");
        if (!forArchive) break;
    }
    Dictionary question{{"panel", "destination"}, {"sync", !forArchive}, {"paths", std::move(paths)}};
    if (forArchive) question["mode"] = purpose == extension::DestinationPurpose::move ? "move" : "copy";
    Answer answer = ask(std::move(question), request.display);
    const std::string* path = textIn(answer.values, "path");
    return {isConfirmed(answer.values) && path != nullptr ? std::optional(*path) : std::nullopt,
            std::move(answer.problem)};
}

extension::ShareAnswer PanelProcess::shareByEmail(bool isDirectory,
                                                  const daemon_client::SyncPathTable& allPathsInSync,
                                                  const extension::CommandRequest& request) {
    if (auto given = givenRecipients(request)) return std::move(*given);
    Dictionary table;
    for (const auto& [remote, local] : allPathsInSync)
        if (platform::isUtf8(remote) && platform::isUtf8(local)) table.emplace(remote, local);
    Answer answer = ask({{"panel", "share"},
                         {"path", request.selection.front().path()},
                         {"isDir", isDirectory},
                         {"allPathsInSync", std::move(table)}},
                        request.display);
    extension::ShareAnswer result{{}, true, isTrue(answer.values, "sent"), std::move(answer.problem)};
    const Value* recipients = platform::find(answer.values, "recipients");
    if (isConfirmed(answer.values) && recipients != nullptr && recipients->array() != nullptr)
        for (const Value& recipient : *recipients->array())
            if (recipient.string() != nullptr) result.recipients.push_back(*recipient.string());
    return result;
}

bool PanelProcess::setString(const std::string& text, const platform::Display& display) {
    const std::optional<std::string> request =
        platform::jsonText(Dictionary{{"panel", "clipboard"}, {"text", text}});
    if (!request) return false;
    try {
        auto child = start(display, false);
        const auto bound = std::chrono::steady_clock::now() + waitForClipboard;
        child->write(*request, bound);
        const std::optional<Dictionary> answer = objectIn(child->readLine(bound));
        if (!answer || !isTrue(*answer, "written")) return false;
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
