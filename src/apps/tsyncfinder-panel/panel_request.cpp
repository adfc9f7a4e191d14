#include "apps/tsyncfinder-panel/panel_request.h"

#include "platform/Json.h"

#include <cstdio>
#include <cstdlib>
#include <optional>
#include <stdexcept>
#include <unistd.h>

namespace apps::panel {
namespace {

using backends::qt::DestinationCommand;

struct Unusable : std::runtime_error {
    using std::runtime_error::runtime_error;
};

std::string textIn(const platform::Dictionary& object, std::string_view key) {
    const platform::Value* value = platform::find(object, key);
    if (value == nullptr || value->string() == nullptr)
        throw Unusable("\"" + std::string(key) + "\" must be a string");
    return *value->string();
}

std::string optionalText(const platform::Dictionary& object, std::string_view key) {
    return platform::find(object, key) == nullptr ? std::string() : textIn(object, key);
}

bool flagIn(const platform::Dictionary& object, std::string_view key) {
    const platform::Value* value = platform::find(object, key);
    if (value == nullptr || value->boolean() == nullptr)
        throw Unusable("\"" + std::string(key) + "\" must be true or false");
    return *value->boolean();
}

DestinationRequest destinationIn(const platform::Dictionary& object) {
    DestinationRequest request;
    const bool isSync = flagIn(object, "sync");
    const std::string mode = optionalText(object, "mode");
    if (isSync)
        request.command = DestinationCommand::sync;
    else if (mode == "move")
        request.command = DestinationCommand::move;
    else if (mode == "copy")
        request.command = DestinationCommand::copy;
    else if (!mode.empty())
        throw Unusable("\"mode\" must be move or copy");
    const platform::Value* paths = platform::find(object, "paths");
    if (paths != nullptr && paths->array() != nullptr)
        for (const platform::Value& path : *paths->array())
            if (path.string() != nullptr) request.paths.push_back(*path.string());
    if (request.paths.empty()) throw Unusable("\"paths\" must be an array of at least one string");
    return request;
}

ShareRequest shareIn(const platform::Dictionary& object) {
    ShareRequest request;
    request.path = textIn(object, "path");
    request.isDirectory = flagIn(object, "isDir");
    const platform::Value* table = platform::find(object, "allPathsInSync");
    if (table == nullptr || table->dictionary() == nullptr)
        throw Unusable("\"allPathsInSync\" must be an object of strings");
    for (const auto& [remote, local] : *table->dictionary())
        if (local.string() != nullptr) request.allPathsInSync[remote] = *local.string();
    return request;
}

// "x11:" and the window's number in hexadecimal, as desktop portals write it; other kinds count as none.
unsigned long parentWindowIn(const platform::Dictionary& object) {
    const std::string handle = optionalText(object, "parentWindow");
    return handle.starts_with("x11:") ? std::strtoul(handle.c_str() + 4, nullptr, 16) : 0;
}

} // namespace

std::variant<Request, std::string> requestOfJson(std::string_view text) {
    const std::optional<platform::Value> value = platform::valueOfJson(text);
    if (!value || value->dictionary() == nullptr) return std::string("the request is no JSON object");
    const platform::Dictionary& object = *value->dictionary();
    try {
        Request request;
        const std::string panel = textIn(object, "panel");
        if (panel == "destination")
            request.panel = destinationIn(object);
        else if (panel == "share")
            request.panel = shareIn(object);
        else if (panel == "clipboard")
            request.panel = ClipboardRequest{textIn(object, "text")};
        else
            throw Unusable("\"panel\" must be destination, share or clipboard");
        request.activationToken = optionalText(object, "activationToken");
        request.parentWindow = parentWindowIn(object);
        return request;
    } catch (const Unusable& error) {
        return std::string(error.what());
    }
}

void writeLine(const platform::Dictionary& object) {
    const std::string line = platform::jsonDescription(object) + "\n";
    std::fwrite(line.data(), 1, line.size(), stdout);
    std::fflush(stdout);
}

void writeAnswer(const platform::Dictionary& answer) {
    writeLine(answer);
    std::fclose(stdout);
}

} // namespace apps::panel
