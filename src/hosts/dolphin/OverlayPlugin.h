// The badges, as Dolphin sees them. It loads one plugin for all of its windows. GUI thread only.
#pragma once

#include "hosts/dolphin/BadgeKeeper.h"

#include <KOverlayIconPlugin>

namespace hosts::dolphin {

class OverlayPlugin : public KOverlayIconPlugin {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "com.quarnhold.TSyncFinder.OverlayPlugin" FILE "overlay_plugin.json")
  public:
    OverlayPlugin();
    ~OverlayPlugin() override;
    OverlayPlugin(const OverlayPlugin&) = delete;
    OverlayPlugin& operator=(const OverlayPlugin&) = delete;

    QStringList getOverlays(const QUrl& url) override;

  private:
    QPointer<BadgeKeeper> keeper; // null: this is no GUI thread
};

} // namespace hosts::dolphin
