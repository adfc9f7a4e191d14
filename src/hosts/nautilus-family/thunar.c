/* The plugin as Thunar sees it: menus and pages. Thunar shows no emblem of a plugin. */
#include "hosts/nautilus-family/shown_folders.h"

static GType plugin_type;

/* Nothing that Thunar shows can be shown anew, but for the pages. */
static void invalidate(gpointer file, gpointer user) {
    if (THUNARX_IS_FILE_INFO(file)) tsf_pages_refresh(user, file);
}

/* One object stays: should Thunar let go of one that it does not use, another would know nothing yet when its
 * menu opens. */
static void made(TsfPlugin* plugin) {
    static TsfPlugin* kept;
    if (kept != NULL) return;
    kept = g_object_ref(plugin);
    tsf_shown_folders_follow(kept);
}

G_MODULE_EXPORT void thunar_extension_initialize(ThunarxProviderPlugin* module) {
    static const TsfKeeperEvents events = {.uri_of = tsf_uri_of, .invalidate = invalidate};
    plugin_type = tsf_plugin_register((GTypeModule*)module, &events, made);
}

G_MODULE_EXPORT void thunar_extension_shutdown(void) {}

G_MODULE_EXPORT void thunar_extension_list_types(const GType** types, int* count) {
    *types = &plugin_type;
    *count = 1;
}
