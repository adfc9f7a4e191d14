/* The plugin's object and its type. */
#include "hosts/nautilus-family/plugin.h"

/* `tsyncfinder doctor` looks for it in the file of an installed plugin. */
G_MODULE_EXPORT const char tsyncfinder_plugin_version[] = "tsyncfinder-plugin-version=" TSYNCFINDER_VERSION;

static GObjectClass* parent_class;
static const TsfKeeperEvents* keeper_events;
static void (*plugin_made)(TsfPlugin* plugin);

char* tsf_uri_of(GObject* object) {
    FM_T(FileInfo)* file = (FM_T(FileInfo)*)object;
    char* uri = FM(file_info_get_uri)(file);
    if (uri != NULL && g_str_has_prefix(uri, "file:///")) return uri;
    g_free(uri);
    /* A recent file, a bookmark, a result of a search: what it stands for. */
    uri = FM(file_info_get_activation_uri)(file);
    if (uri != NULL && g_str_has_prefix(uri, "file:///")) return uri;
    g_free(uri);
    return NULL;
}

static void plugin_init(GTypeInstance* instance, G_GNUC_UNUSED gpointer class) {
    TsfPlugin* plugin = (TsfPlugin*)instance;
    plugin->keeper = tsf_badge_keeper_new(keeper_events, plugin);
    if (plugin_made != NULL) plugin_made(plugin);
}

static void plugin_finalize(GObject* object) {
    tsf_badge_keeper_free(((TsfPlugin*)object)->keeper);
    parent_class->finalize(object);
}

static void plugin_class_init(gpointer class, G_GNUC_UNUSED gpointer data) {
    parent_class = g_type_class_peek_parent(class);
    ((GObjectClass*)class)->finalize = plugin_finalize;
}

GType tsf_plugin_register(GTypeModule* module, const TsfKeeperEvents* events, void (*made)(TsfPlugin*)) {
    static const GTypeInfo type = {.class_size = sizeof(TsfPluginClass),
                                   .class_init = plugin_class_init,
                                   .instance_size = sizeof(TsfPlugin),
                                   .instance_init = plugin_init};
    static const GInterfaceInfo menu_provider = {tsf_menu_provider_init, NULL, NULL};
    static const GInterfaceInfo page_provider = {tsf_page_provider_init, NULL, NULL};
    keeper_events = events;
    plugin_made = made;
    const GType registered =
        g_type_module_register_type(module, G_TYPE_OBJECT, "TSyncFinderPlugin", &type, 0);
    g_type_module_add_interface(module, registered, FM_C(TYPE_MENU_PROVIDER), &menu_provider);
    g_type_module_add_interface(module, registered, FM_TYPE_PAGE_PROVIDER, &page_provider);
    return registered;
}
