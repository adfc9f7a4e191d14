/* The page "Sync" in the properties of one item: what the extension says about it. It follows the item's
 * badge while it is open. */
#include "hosts/nautilus-family/plugin.h"
#include "protocol/translations.h"

/* Each page, and each question of it, counts as one reference. */
typedef struct {
    TsfPlugin* plugin;
    GObject* content; /* borrowed; NULL: it is closed */
    char* uri;
    guint references;
    gboolean is_asking;
    gboolean is_outdated; /* to be asked for again after the question under way */
} TsfPage;

/* --- what is seen: rows of a label and a text */

static void add_row(GObject* content, int line, const char* label, const char* text);
static void clear_rows(GObject* content);

static void fill(GObject* content, const char* const* rows) {
    clear_rows(content);
    for (int i = 0; rows[2 * i] != NULL && rows[2 * i + 1] != NULL; ++i)
        add_row(content, i, rows[2 * i], rows[2 * i + 1]);
}

#ifdef FM_PAGES_ARE_MODELS

static GObject* new_content(void) { return G_OBJECT(g_list_store_new(FM_C(TYPE_PROPERTIES_ITEM))); }

static void clear_rows(GObject* content) { g_list_store_remove_all(G_LIST_STORE(content)); }

static void add_row(GObject* content, G_GNUC_UNUSED int line, const char* label, const char* text) {
    FM_T(PropertiesItem)* item = FM(properties_item_new)(label, text);
    g_list_store_append(G_LIST_STORE(content), item);
    g_object_unref(item);
}

static gpointer new_page(const char* title, GObject* content) {
    return FM(properties_model_new)(title, G_LIST_MODEL(content));
}

#else

static GObject* new_content(void) {
    GtkWidget* grid = gtk_grid_new();
    gtk_grid_set_row_spacing(GTK_GRID(grid), 6);
    gtk_grid_set_column_spacing(GTK_GRID(grid), 12);
    gtk_container_set_border_width(GTK_CONTAINER(grid), 12);
    return G_OBJECT(grid);
}

static void remove_row(GtkWidget* widget, G_GNUC_UNUSED gpointer data) { gtk_widget_destroy(widget); }

static void clear_rows(GObject* content) { gtk_container_foreach(GTK_CONTAINER(content), remove_row, NULL); }

static void add_text(GObject* content, int column, int line, const char* text) {
    GtkLabel* label = GTK_LABEL(gtk_label_new(text));
    gtk_label_set_xalign(label, column == 0 ? 1 : 0);
    gtk_label_set_yalign(label, 0);
    if (column == 1) {
        gtk_label_set_line_wrap(label, TRUE);
        gtk_label_set_line_wrap_mode(label, PANGO_WRAP_WORD_CHAR); /* paths have no blanks */
        gtk_label_set_max_width_chars(label, 48);
        gtk_label_set_selectable(label, TRUE);
        gtk_widget_set_hexpand(GTK_WIDGET(label), TRUE);
    }
    gtk_grid_attach(GTK_GRID(content), GTK_WIDGET(label), column, line, 1, 1);
    gtk_widget_show(GTK_WIDGET(label));
}

static void add_row(GObject* content, int line, const char* label, const char* text) {
    char* shown = *label != '\0' ? g_strconcat(label, ":", NULL) : g_strdup("");
    add_text(content, 0, line, shown);
    add_text(content, 1, line, text);
    g_free(shown);
}

static gpointer new_page(const char* title, GObject* content) {
    gtk_widget_show(GTK_WIDGET(content));
    return FM_NEW_PAGE(title, GTK_WIDGET(content));
}

#endif

/* --- asking */

static void page_unref(TsfPage* page) {
    if (--page->references > 0) return;
    g_object_unref(page->plugin);
    g_free(page->uri);
    g_free(page);
}

static void ask(TsfPage* page);

static void on_described(const char* const* rows, gpointer data) {
    TsfPage* page = data;
    page->is_asking = FALSE;
    if (page->content != NULL) {
        fill(page->content, rows);
        if (page->is_outdated) ask(page);
    }
    page_unref(page);
}

static void ask(TsfPage* page) {
    page->is_outdated = page->is_asking;
    if (page->is_asking) return;
    page->is_asking = TRUE;
    ++page->references;
    tsf_badge_keeper_describe(page->plugin->keeper, page->uri, on_described, page);
}

static void on_closed(gpointer data, G_GNUC_UNUSED GObject* content) {
    TsfPage* page = data;
    page->content = NULL;
    page->plugin->pages = g_list_remove(page->plugin->pages, page);
    page_unref(page);
}

void tsf_pages_refresh(TsfPlugin* plugin, GObject* file) {
    if (plugin->pages == NULL) return;
    char* uri = tsf_uri_of(file);
    for (GList* at = plugin->pages; at != NULL; at = at->next) {
        TsfPage* page = at->data;
        if (g_strcmp0(page->uri, uri) == 0) ask(page);
    }
    g_free(uri);
}

/* --- the provider */

/* Only one item has a page, and only one that is synced or of which that is not known yet. */
static gboolean is_worth_a_page(TsfPlugin* plugin, GList* files) {
    if (files == NULL || files->next != NULL || !tsf_badge_keeper_is_there(plugin->keeper)) return FALSE;
    FM_T(FileInfo)* file = files->data;
    TSyncSelectionClass class = TSYNC_CLASS_NOTHING;
    if (!tsf_badge_keeper_selection_class(plugin->keeper, files, !FM(file_info_is_gone)(file),
                                          FM(file_info_is_directory)(file), &class))
        return TRUE;
    return class == TSYNC_CLASS_SYNC_ROOT || class == TSYNC_CLASS_SYNCED_FOLDER ||
           class == TSYNC_CLASS_SYNCED_FILE;
}

static GList* get_pages(FM_PAGE_PROVIDER* provider, GList* files) {
    TsfPlugin* plugin = (TsfPlugin*)provider;
    if (!is_worth_a_page(plugin, files)) return NULL;
    char* uri = tsf_uri_of(files->data);
    if (uri == NULL) return NULL;
    const char* locale = tsyncMessageLocale();
    const char* const waiting[] = {"", tsyncTranslated("Waiting for the sync service…", locale), NULL};
    TsfPage* page = g_new(TsfPage, 1);
    *page = (TsfPage){g_object_ref(plugin), new_content(), uri, 1, FALSE, FALSE};
    plugin->pages = g_list_prepend(plugin->pages, page);
    g_object_weak_ref(page->content, on_closed, page);
    fill(page->content, waiting);
    ask(page);
    return g_list_prepend(NULL, new_page(tsyncTranslated("Sync", locale), page->content));
}

void tsf_page_provider_init(gpointer interface, G_GNUC_UNUSED gpointer data) {
    FM_PAGE_INTERFACE* provider = interface;
    provider->FM_GET_PAGES = get_pages;
}
