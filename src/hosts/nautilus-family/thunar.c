/* The plugin as Thunar sees it: menus and pages. Thunar shows no emblem of a plugin. */
#include "hosts/nautilus-family/plugin.h"

static GType plugin_type;

/* Nothing that Thunar shows can be shown anew. */
static void invalidate(gpointer file, gpointer user) { tsf_pages_refresh(user, file); }

G_MODULE_EXPORT void thunar_extension_initialize(ThunarxProviderPlugin* module) {
    static const TsfKeeperEvents events = {.uri_of = tsf_uri_of, .invalidate = invalidate};
    plugin_type = tsf_plugin_register((GTypeModule*)module, &events);
}

G_MODULE_EXPORT void thunar_extension_shutdown(void) {}

G_MODULE_EXPORT void thunar_extension_list_types(const GType** types, int* count) {
    *types = &plugin_type;
    *count = 1;
}
