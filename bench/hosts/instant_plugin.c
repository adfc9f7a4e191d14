/* The lower bound: a plugin of Nautilus that knows every file's emblem, and the word of a column, at once and
 * never tells of another. */
#include <nautilus-extension.h>

static GType plugin_type;

static NautilusOperationResult update_file_info(G_GNUC_UNUSED NautilusInfoProvider* provider,
                                                NautilusFileInfo* file, G_GNUC_UNUSED GClosure* complete,
                                                G_GNUC_UNUSED NautilusOperationHandle** handle) {
    nautilus_file_info_add_emblem(file, "tsyncfinder-sync");
    nautilus_file_info_add_string_attribute(file, "tsyncfinder-sync", "In step");
    return NAUTILUS_OPERATION_COMPLETE;
}

static void cancel_update(G_GNUC_UNUSED NautilusInfoProvider* provider,
                          G_GNUC_UNUSED NautilusOperationHandle* handle) {}

static void info_provider_init(gpointer interface, G_GNUC_UNUSED gpointer data) {
    NautilusInfoProviderInterface* info = interface;
    info->update_file_info = update_file_info;
    info->cancel_update = cancel_update;
}

G_MODULE_EXPORT void nautilus_module_initialize(GTypeModule* module) {
    static const GTypeInfo type = {.class_size = sizeof(GObjectClass), .instance_size = sizeof(GObject)};
    static const GInterfaceInfo info_provider = {info_provider_init, NULL, NULL};
    plugin_type = g_type_module_register_type(module, G_TYPE_OBJECT, "InstantPlugin", &type, 0);
    g_type_module_add_interface(module, plugin_type, NAUTILUS_TYPE_INFO_PROVIDER, &info_provider);
}

G_MODULE_EXPORT void nautilus_module_shutdown(void) {}

G_MODULE_EXPORT void nautilus_module_list_types(const GType** types, int* count) {
    *types = &plugin_type;
    *count = 1;
}
