#include <KAbstractFileItemActionPlugin>
#include <KOverlayIconPlugin>
#include <KPluginFactory>

KOverlayIconPlugin::~KOverlayIconPlugin() = default;
KAbstractFileItemActionPlugin::~KAbstractFileItemActionPlugin() = default;
KPluginFactory::~KPluginFactory() = default;
