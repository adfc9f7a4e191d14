#include "panels/panel_messages.h"

#include "platform/json.h"

#include <cstdlib>
#include <stdexcept>
#include <utility>

namespace panels {
namespace {

using platform::Array;
using platform::Dictionary;

struct Unusable : std::runtime_error {
    using std::runtime_error::runtime_error;
};

std::string requiredText(const Dictionary& object, std::string_view key) {
    const std::string* text = platform::textAt(object, key);
    if (text == nullptr) throw Unusable("\"" + std::string(key) + "\" must be a string");
    return *text;
}

std::string optionalText(const Dictionary& object, std::string_view key) {
    return platform::find(object, key) == nullptr ? std::string() : requiredText(object, key);
}

bool requiredFlag(const Dictionary& object, std::string_view key) {
    const std::optional<bool> flag = platform::flagAt(object, key);
    if (!flag) throw Unusable("\"" + std::string(key) + "\" must be true or false");
    return *flag;
}

DestinationPurpose purposeIn(const Dictionary& object) {
    const bool isSync = requiredFlag(object, "sync");
    const std::string mode = optionalText(object, "mode");
    if (isSync) return DestinationPurpose::sync;
    if (mode == "move") return DestinationPurpose::move;
    if (mode == "copy") return DestinationPurpose::copy;
    if (!mode.empty()) throw Unusable("\"mode\" must be move or copy");
    return DestinationPurpose::archive;
}

DestinationRequest destinationIn(const Dictionary& object) {
    DestinationRequest request{purposeIn(object), platform::textsAt(object, "paths")};
    if (request.paths.empty()) throw Unusable("\"paths\" must be an array of at least one string");
    return request;
}

ShareRequest shareIn(const Dictionary& object) {
    ShareRequest request{requiredText(object, "path"), requiredFlag(object, "isDir"), {}};
    const Dictionary* table = platform::dictionaryAt(object, "allPathsInSync");
    if (table == nullptr) throw Unusable("\"allPathsInSync\" must be an object of strings");
    request.allPathsInSync = daemon_client::syncPathTableOf(*table);
    return request;
}

// The part of the object that is the panel's own.
struct PanelObject {
    Dictionary operator()(const DestinationRequest& request) const {
        Dictionary object{{"panel", "destination"},
                          {"sync", request.purpose == DestinationPurpose::sync},
                          {"paths", Array(request.paths.begin(), request.paths.end())}};
        if (request.purpose == DestinationPurpose::move) object["mode"] = "move";
        if (request.purpose == DestinationPurpose::copy) object["mode"] = "copy";
        return object;
    }
    Dictionary operator()(const ShareRequest& request) const {
        return {{"panel", "share"},
                {"path", request.path},
                {"isDir", request.isDirectory},
                {"allPathsInSync", Dictionary(request.allPathsInSync.begin(), request.allPathsInSync.end())}};
    }
    Dictionary operator()(const ClipboardRequest& request) const {
        return {{"panel", "clipboard"}, {"text", request.text}};
    }
};

// Of the answers of a window.
constexpr int cancelled = 0;
constexpr int confirmed = 1;

std::string line(const Dictionary& object) { return platform::jsonDescription(object) + "\n"; }

} // namespace

unsigned long PanelRequest::parentXWindow() const {
    return parentWindow.starts_with("x11:") ? std::strtoul(parentWindow.c_str() + 4, nullptr, 16) : 0;
}

platform::Dictionary objectOf(const PanelRequest& request) {
    Dictionary object = std::visit(PanelObject(), request.panel);
    if (!request.activationToken.empty()) object["activationToken"] = request.activationToken;
    if (!request.parentWindow.empty()) object["parentWindow"] = request.parentWindow;
    return object;
}

std::variant<PanelRequest, std::string> panelRequestOfJson(std::string_view text) {
    const std::optional<platform::Value> value = platform::valueOfJson(text);
    if (!value || value->dictionary() == nullptr) return std::string("the request is not a JSON object");
    const Dictionary& object = *value->dictionary();
    try {
        PanelRequest request;
        const std::string panel = requiredText(object, "panel");
        if (panel == "destination")
            request.panel = destinationIn(object);
        else if (panel == "share")
            request.panel = shareIn(object);
        else if (panel == "clipboard")
            request.panel = ClipboardRequest{requiredText(object, "text")};
        else
            throw Unusable("\"panel\" must be destination, share or clipboard");
        request.activationToken = optionalText(object, "activationToken");
        request.parentWindow = optionalText(object, "parentWindow");
        return request;
    } catch (const Unusable& error) {
        return std::string(error.what());
    }
}

std::string lineOf(Shown) { return line({{"shown", true}}); }

std::string lineOf(const DestinationAnswer& answer) {
    Dictionary object{{"response", answer.path ? confirmed : cancelled}};
    if (answer.path) object["path"] = *answer.path;
    return line(object);
}

std::string lineOf(const ShareAnswer& answer) {
    return line({{"response", answer.recipients.empty() ? cancelled : confirmed},
                 {"sent", answer.isSent},
                 {"recipients", Array(answer.recipients.begin(), answer.recipients.end())}});
}

std::string lineOf(ClipboardAnswer answer) { return line({{"written", answer.isWritten}}); }

std::string lineOf(const Refusal& refusal) {
    return line({{"response", cancelled}, {"error", refusal.error}});
}

std::optional<PanelLine> PanelLine::ofJson(std::string_view text) {
    std::optional<platform::Value> value = platform::valueOfJson(text);
    if (!value || value->dictionary() == nullptr) return std::nullopt;
    PanelLine read;
    read.object = std::move(*value->dictionary());
    return read;
}

bool PanelLine::isShown() const { return platform::flagAt(object, "shown").value_or(false); }

std::optional<Refusal> PanelLine::refusal() const {
    if (platform::find(object, "error") == nullptr) return std::nullopt;
    const std::string* error = platform::textAt(object, "error");
    return Refusal{error != nullptr ? *error : std::string()};
}

bool PanelLine::isConfirmed() const {
    return platform::numberAt(object, "response").value_or(cancelled) != cancelled;
}

DestinationAnswer PanelLine::destination() const {
    const std::string* path = platform::textAt(object, "path");
    return {isConfirmed() && path != nullptr ? std::optional(*path) : std::nullopt};
}

ShareAnswer PanelLine::share() const {
    return {isConfirmed() ? platform::textsAt(object, "recipients") : std::vector<std::string>(),
            platform::flagAt(object, "sent").value_or(false)};
}

ClipboardAnswer PanelLine::clipboard() const { return {platform::flagAt(object, "written").value_or(false)}; }

} // namespace panels
