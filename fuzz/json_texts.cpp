// What comes as JSON: command messages, the panels' requests and lines, and the daemon's dictionaries, which
// have the same shape. What is read must be written as a text that reads as the same.
#include "daemon_client/SyncPathTable.h"
#include "daemon_client/SyncStatus.h"
#include "fuzz/require.h"
#include "panels/panel_messages.h"
#include "platform/FileURL.h"
#include "platform/json.h"

#include <cstdint>
#include <string>

namespace {

void checkPanels(const std::string& text) {
    const auto read = panels::panelRequestOfJson(text);
    if (const auto* request = std::get_if<panels::PanelRequest>(&read)) {
        const auto object = panels::objectOf(*request);
        const auto written = platform::jsonText(object);
        require(written.has_value());
        const auto again = panels::panelRequestOfJson(*written);
        const auto* same = std::get_if<panels::PanelRequest>(&again);
        require(same && panels::objectOf(*same) == object);
        static_cast<void>(request->parentXWindow());
    } else {
        require(!std::get<std::string>(read).empty());
    }
    if (const auto line = panels::PanelLine::ofJson(text)) {
        static_cast<void>(line->isShown());
        static_cast<void>(line->share());
        static_cast<void>(line->clipboard());
        if (const auto refusal = line->refusal()) require(panels::lineOf(*refusal).ends_with('\n'));
        const auto again = panels::PanelLine::ofJson(panels::lineOf(line->destination()));
        require(again && again->destination().path == line->destination().path);
    }
}

void checkDaemon(const platform::Dictionary& entries) {
    for (const std::string& path : daemon_client::syncStatusOf(entries).uploadingPaths)
        require(platform::FileURL::withPath(path).has_value());
    for (const auto& [remote, local] : daemon_client::syncPathTableOf(entries)) {
        const platform::Value* value = platform::find(entries, remote);
        require(value && value->string() && *value->string() == local);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    checkPanels(text);
    const auto value = platform::valueOfJson(text);
    if (!value) return 0;
    static_cast<void>(platform::jsonDescription(*value));
    const auto written = platform::jsonText(*value);
    require(written.has_value()); // a text is UTF-8, so its strings are
    const auto again = platform::valueOfJson(*written);
    require(again && *again == *value);
    if (const auto* entries = value->dictionary()) checkDaemon(*entries);
    return 0;
}
