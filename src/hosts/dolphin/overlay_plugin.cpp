// The badges, as Dolphin sees them.
#include "hosts/dolphin/BadgeKeeper.h"

#include <KOverlayIconPlugin>

// `tsyncfinder doctor` looks for it in the file of an installed plugin.
extern "C" Q_DECL_EXPORT const char tsyncfinder_plugin_version[];
const char tsyncfinder_plugin_version[] = "tsyncfinder-plugin-version=" TSYNCFINDER_VERSION;

namespace hosts::dolphin {

class OverlayPlugin : public KOverlayIconPlugin {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "com.quarnhold.TSyncFinder.OverlayPlugin" FILE "overlay_plugin.json")
  public:
    OverlayPlugin() : keeper(BadgeKeeper::shared()) {
        if (keeper == nullptr) return;
        keeper->changed = [this](const QUrl& url) { Q_EMIT overlaysChanged(url, {}); }; // it asks for them
    }
    ~OverlayPlugin() override {
        if (keeper != nullptr) keeper->changed = nullptr;
    }
    OverlayPlugin(const OverlayPlugin&) = delete;
    OverlayPlugin& operator=(const OverlayPlugin&) = delete;

    QStringList getOverlays(const QUrl& url) override {
        if (keeper == nullptr) return {};
        const QString emblem = keeper->emblem(url);
        return emblem.isEmpty() ? QStringList() : QStringList(emblem);
    }

  private:
    QPointer<BadgeKeeper> keeper;
};

} // namespace hosts::dolphin

#include "overlay_plugin.moc"
