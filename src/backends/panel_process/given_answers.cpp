#include "backends/panel_process/given_answers.h"

#include "panels/TSFPSavePanel.h"
#include "panels/email_entry.h"
#include "paths/path_strings.h"
#include "platform/utf8.h"

#include <algorithm>
#include <iterator>

namespace backends::panel_process {

std::optional<extension::DestinationAnswer> givenDestination(bool forArchive,
                                                             const extension::CommandRequest& request) {
    if (!request.destination) return std::nullopt;
    const std::string& given = *request.destination;
    if (!given.starts_with('/') || !platform::isUtf8(given))
        return extension::DestinationAnswer{{}, {{"\"%@\" is not a path in the space.", {given}}}};
    std::string path = paths::standardisedPath(given);
    if (!panels::TSFPSavePanel::isAcceptable(!forArchive, path))
        return extension::DestinationAnswer{{},
                                            {{"A folder cannot be synced with the root of the space.", {}}}};
    return extension::DestinationAnswer{std::move(path), {}};
}

std::optional<extension::ShareAnswer> givenRecipients(const extension::CommandRequest& request) {
    if (request.recipients.empty()) return std::nullopt;
    extension::ShareAnswer answer;
    for (const std::string& given : request.recipients) {
        const std::vector<std::string> entries = panels::entriesInText(given);
        std::vector<std::string> addresses;
        std::transform(entries.begin(), entries.end(), std::back_inserter(addresses), panels::addressInEntry);
        if (addresses.empty() || !std::all_of(addresses.begin(), addresses.end(), panels::validateEmail))
            return extension::ShareAnswer{{}, false, false, {{"\"%@\" is not an e-mail address.", {given}}}};
        answer.recipients.insert(answer.recipients.end(), addresses.begin(), addresses.end());
    }
    return answer;
}

} // namespace backends::panel_process
