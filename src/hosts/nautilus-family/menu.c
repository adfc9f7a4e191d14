/* The menus, from what is known: nothing is asked when one opens. */
#include "hosts/nautilus-family/plugin.h"
#include "protocol/glib_formats.h"
#include "protocol/translations.h"

#include <string.h>

static const guint deepest_menu = 4;
static const gsize longest_menu = 64;

typedef struct {
    TsfPlugin* plugin;
    char* item;
    GPtrArray* selection; /* file objects, shared by the items of one menu */
} Choice;

static void free_choice(gpointer data, G_GNUC_UNUSED GClosure* closure) {
    Choice* choice = data;
    g_object_unref(choice->plugin);
    g_ptr_array_unref(choice->selection);
    g_free(choice->item);
    g_free(choice);
}

static void on_activate(G_GNUC_UNUSED FM_T(MenuItem) * item, gpointer data) {
    const Choice* choice = data;
    GVariantBuilder uris;
    g_variant_builder_init(&uris, G_VARIANT_TYPE_STRING_ARRAY);
    for (guint i = 0; i < choice->selection->len; ++i) {
        char* uri = tsf_uri_of(g_ptr_array_index(choice->selection, i));
        if (uri != NULL) g_variant_builder_add(&uris, "s", uri);
        g_free(uri);
    }
    tsf_badge_keeper_activate(choice->plugin->keeper, choice->item, g_variant_builder_end(&uris));
}

/* The place of a menu among its file manager's: the file menu and the background menu share one group of
 * actions, so that the names of their items must differ. */
typedef struct {
    TsfPlugin* plugin;
    GPtrArray* selection;
    const char* place;
} MenuMaker;

static GList* make_items(const MenuMaker* maker, GVariant* menu, guint depth);

static FM_T(MenuItem) * make_item(const MenuMaker* maker, GVariant* description, guint depth) {
    const char* title = NULL;
    const char* key = NULL;
    const char* action = NULL;
    const char* image = NULL;
    gboolean is_enabled = FALSE;
    gboolean has_submenu = FALSE;
    GVariant* submenu = NULL;
    g_variant_get(description, FINDER_SYNC_MENU_ITEM_READ, &title, &key, &action, &image, &is_enabled,
                  &has_submenu, &submenu);
    const char* identifier = *key != '\0' ? key : *action != '\0' ? action : title;
    char* name = g_strdup_printf("TSyncFinder-%s-%s", maker->place, identifier);
    g_strcanon(name, G_CSET_A_2_Z G_CSET_a_2_z G_CSET_DIGITS "-_", '_');
    const char* icon = *image == '\0' ? NULL : g_path_is_absolute(image) ? image : "tsyncfinder";
    const char* shown = tsyncTranslated(title, tsyncMessageLocale());
    /* A button of a toolbar shows its image, and says the rest as a tip. */
    FM_T(MenuItem)* item = FM(menu_item_new)(name, shown, shown, icon);
    g_free(name);

    GList* items = has_submenu ? make_items(maker, submenu, depth + 1) : NULL;
    if (items != NULL) {
        FM_T(Menu)* below = FM(menu_new)();
        for (GList* at = items; at != NULL; at = at->next)
            FM(menu_append_item)(below, at->data);
        FM(menu_item_set_submenu)(item, below);
        g_object_unref(below);
        FM(menu_item_list_free)(items);
    } else if (!has_submenu) {
        Choice* choice = g_new(Choice, 1);
        *choice =
            (Choice){g_object_ref(maker->plugin), g_strdup(identifier), g_ptr_array_ref(maker->selection)};
        g_signal_connect_data(item, "activate", G_CALLBACK(on_activate), choice, free_choice, 0);
    }
    /* An empty submenu would open to nothing. */
    g_object_set(item, "sensitive", is_enabled && (!has_submenu || items != NULL), NULL);
    g_variant_unref(submenu);
    return item;
}

static GList* make_items(const MenuMaker* maker, GVariant* menu, guint depth) {
    GList* items = NULL;
    const gsize count = depth < deepest_menu ? MIN(g_variant_n_children(menu), longest_menu) : 0;
    for (gsize i = 0; i < count; ++i) {
        GVariant* variant = g_variant_get_child_value(menu, i);
        GVariant* description = g_variant_get_variant(variant);
        if (g_variant_is_of_type(description, G_VARIANT_TYPE("(" FINDER_SYNC_MENU_ITEM_FIELDS ")")))
            items = g_list_prepend(items, make_item(maker, description, depth));
        g_variant_unref(description);
        g_variant_unref(variant);
    }
    return g_list_reverse(items);
}

static GList* make_menu(TsfPlugin* plugin, GList* files, const char* place) {
    FM_T(FileInfo)* first = files != NULL ? files->data : NULL;
    TSyncSelectionClass class = TSYNC_CLASS_NOTHING;
    if (first == NULL) return NULL;
    /* Also while there are no menus: what is met now is known when there are. */
    const gboolean is_known = tsf_badge_keeper_selection_class(
        plugin->keeper, files, !FM(file_info_is_gone)(first), FM(file_info_is_directory)(first), &class);
    GVariant* menu = is_known ? tsf_badge_keeper_menu(plugin->keeper, class) : NULL;
    if (menu == NULL) return NULL;
    const MenuMaker maker = {plugin, g_ptr_array_new_with_free_func(g_object_unref), place};
    for (GList* at = files; at != NULL; at = at->next)
        g_ptr_array_add(maker.selection, g_object_ref(at->data));
    GList* items = make_items(&maker, menu, 0);
    g_ptr_array_unref(maker.selection);
    return items;
}

static GList* menu_for(TsfPlugin* plugin, GList* files, const char* place) {
    const gint64 start = g_get_monotonic_time();
    GList* items = make_menu(plugin, files, place);
    tsf_badge_keeper_held_up(plugin->keeper, start);
    return items;
}

static GList* get_file_items(FM_T(MenuProvider) * provider, FM_WINDOW GList* files) {
    return menu_for((TsfPlugin*)provider, files, "items");
}

/* The background stands for the folder that the window shows. */
static GList* get_background_items(FM_T(MenuProvider) * provider, FM_WINDOW FM_T(FileInfo) * folder) {
    GList files = {folder, NULL, NULL};
    return menu_for((TsfPlugin*)provider, &files, "container");
}

#ifdef FM_HAS_TOOLBAR
/* A toolbar has no menus: it gets the commands for the folder that the window shows, and only where that
 * folder is synced, so that no other window has more buttons. */
static GList* get_toolbar_items(FM_T(MenuProvider) * provider, FM_WINDOW FM_T(FileInfo) * folder) {
    GList files = {folder, NULL, NULL};
    TsfPlugin* plugin = (TsfPlugin*)provider;
    if (folder == NULL) return NULL; /* the window does not know it yet */
    TSyncSelectionClass class = TSYNC_CLASS_NOTHING;
    if (!tsf_badge_keeper_selection_class(plugin->keeper, &files, TRUE, TRUE, &class)) return NULL;
    if (class != TSYNC_CLASS_SYNC_ROOT && class != TSYNC_CLASS_SYNCED_FOLDER) return NULL;
    GList* buttons = NULL;
    GList* tops = menu_for(plugin, &files, "toolbar");
    for (GList* top = tops; top != NULL; top = top->next) {
        FM_T(Menu)* menu = NULL;
        g_object_get(top->data, "menu", &menu, NULL);
        if (menu == NULL) continue;
        buttons = g_list_concat(buttons, FM(menu_get_items)(menu));
        g_object_unref(menu);
    }
    FM(menu_item_list_free)(tops);
    return buttons;
}
#endif

void tsf_menu_provider_init(gpointer interface, G_GNUC_UNUSED gpointer data) {
    FM_INTERFACE(MenuProvider)* menu = interface;
    menu->FM_GET_FILE_ITEMS = get_file_items;
    menu->FM_GET_BACKGROUND_ITEMS = get_background_items;
#ifdef FM_HAS_TOOLBAR
    menu->get_toolbar_items = get_toolbar_items;
#endif
}
