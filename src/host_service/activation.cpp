#include "host_service/activation.h"

#include <utility>

namespace host_service {
namespace {

std::string textIn(const platform::Dictionary& options, std::string_view key) {
    const std::string* text = platform::textAt(options, key);
    return text != nullptr ? *text : std::string();
}

} // namespace

extension::CommandRequest requestOf(const Activation& activation, std::vector<platform::FileURL> selection) {
    extension::CommandRequest request;
    request.sender = activation.item;
    request.selection = std::move(selection);
    request.display = {activation.environment, activation.activationToken,
                       textIn(activation.options, "parentWindow")};
    if (platform::find(activation.options, "destination") != nullptr)
        request.destination = textIn(activation.options, "destination");
    request.recipients = platform::textsAt(activation.options, "recipients");
    return request;
}

} // namespace host_service
