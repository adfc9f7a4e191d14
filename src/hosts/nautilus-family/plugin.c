/* The plugin as Nautilus, Nemo and Caja see it: emblems, a text column, menus and pages. */
#include "hosts/nautilus-family/plugin.h"

#include "protocol/badge_words.h"
#include "protocol/names.h"
#include "protocol/translations.h"

static const char column[] = "tsyncfinder-sync";

static GType plugin_type;

/* --- emblems, and the column that says the same */

/* Most files that come one after the other have one emblem. */
static const char* words_of(TsfPlugin* plugin, const char* emblem) {
    if (emblem == plugin->last_emblem) return plugin->last_in_words;
    const char* words = tsyncBadgeWords(emblem + sizeof FINDER_SYNC_EMBLEM_PREFIX - 1);
    plugin->last_emblem = emblem;
    plugin->last_in_words = words != NULL ? tsyncTranslated(words, tsyncMessageLocale()) : "";
    return plugin->last_in_words;
}

static FM_T(OperationResult)
    update_file_info(FM_T(InfoProvider) * provider, FM_T(FileInfo) * file, G_GNUC_UNUSED GClosure* complete,
                     G_GNUC_UNUSED FM_T(OperationHandle) * *handle) {
    TsfPlugin* plugin = (TsfPlugin*)provider;
    const gint64 start = g_get_monotonic_time();
    char* uri = tsf_uri_of(G_OBJECT(file));
    const char* emblem = uri != NULL ? tsf_badge_keeper_emblem(plugin->keeper, G_OBJECT(file), uri) : NULL;
    if (emblem != NULL) {
        FM(file_info_add_emblem)(file, emblem);
        FM(file_info_add_string_attribute)(file, column, words_of(plugin, emblem));
    }
    g_free(uri);
    tsf_badge_keeper_held_up(plugin->keeper, start);
    return FM_C(OPERATION_COMPLETE);
}

static void cancel_update(G_GNUC_UNUSED FM_T(InfoProvider) * provider,
                          G_GNUC_UNUSED FM_T(OperationHandle) * handle) {}

static GList* get_columns(G_GNUC_UNUSED FM_T(ColumnProvider) * provider) {
    const char* label = tsyncTranslated("Sync", tsyncMessageLocale());
    return g_list_prepend(NULL, FM(column_new)("TSyncFinder::sync", column, label, label));
}

static void invalidate(gpointer file, gpointer user) {
    tsf_pages_refresh(user, file);
    FM(file_info_invalidate_extension_info)((FM_T(FileInfo)*)file);
}

static void menus_changed(gpointer user) {
    FM(menu_provider_emit_items_updated_signal)((FM_T(MenuProvider)*)user);
}

/* --- the module */

static void info_provider_init(gpointer interface, G_GNUC_UNUSED gpointer data) {
    FM_INTERFACE(InfoProvider)* info = interface;
    info->update_file_info = update_file_info;
    info->cancel_update = cancel_update;
}

static void column_provider_init(gpointer interface, G_GNUC_UNUSED gpointer data) {
    FM_INTERFACE(ColumnProvider)* provider = interface;
    provider->get_columns = get_columns;
}

G_MODULE_EXPORT void FM(module_initialize)(GTypeModule* module) {
    static const TsfKeeperEvents events = {
        .uri_of = tsf_uri_of, .invalidate = invalidate, .menus_changed = menus_changed};
    static const GInterfaceInfo info_provider = {info_provider_init, NULL, NULL};
    static const GInterfaceInfo column_provider = {column_provider_init, NULL, NULL};
    plugin_type = tsf_plugin_register(module, &events, NULL);
    g_type_module_add_interface(module, plugin_type, FM_C(TYPE_INFO_PROVIDER), &info_provider);
    g_type_module_add_interface(module, plugin_type, FM_C(TYPE_COLUMN_PROVIDER), &column_provider);
}

G_MODULE_EXPORT void FM(module_shutdown)(void) {}

G_MODULE_EXPORT void FM(module_list_types)(const GType** types, int* count) {
    *types = &plugin_type;
    *count = 1;
}
