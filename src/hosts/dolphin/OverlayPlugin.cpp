#include "hosts/dolphin/OverlayPlugin.h"

// `tsyncfinder doctor` looks for it in the file of an installed plugin.
extern "C" Q_DECL_EXPORT const char tsyncfinder_plugin_version[];
const char tsyncfinder_plugin_version[] = "tsyncfinder-plugin-version=" TSYNCFINDER_VERSION;

namespace hosts::dolphin {

OverlayPlugin::OverlayPlugin() : keeper(BadgeKeeper::shared()) {
    if (keeper == nullptr) return;
    keeper->changed = [this](const QUrl& url) { Q_EMIT overlaysChanged(url, {}); }; // it asks for them
}

OverlayPlugin::~OverlayPlugin() {
    if (keeper != nullptr) keeper->changed = nullptr;
}

QStringList OverlayPlugin::getOverlays(const QUrl& url) {
    if (keeper == nullptr) return {};
    const QString emblem = keeper->emblem(url);
    return emblem.isEmpty() ? QStringList() : QStringList(emblem);
}

} // namespace hosts::dolphin
