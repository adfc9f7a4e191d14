#include "hosts/nautilus-family/shown_folders.h"

static const guint most_items = 4096; /* of a folder; one beyond has its entry when it was selected before */
static const int items_at_a_time = 128;

/* The folder that a window shows. It is the user data of what is asked of the disk, and counted for that. */
typedef struct {
    TsfPlugin* plugin;
    GCancellable* end;
    GFileMonitor* monitor;
    GPtrArray* stand_ins; /* objects that stand for the items, as a file manager's own do elsewhere */
} Shown;

static void meet(const Shown* shown, GFile* file) {
    if (shown->stand_ins->len >= most_items) return;
    char* uri = g_file_get_uri(file);
    if (g_str_has_prefix(uri, "file:///")) {
        GObject* stand_in = g_object_new(G_TYPE_OBJECT, NULL);
        g_ptr_array_add(shown->stand_ins, stand_in);
        tsf_badge_keeper_emblem(shown->plugin->keeper, stand_in, uri);
    }
    g_free(uri);
}

static void clear_shown(gpointer data) {
    Shown* shown = data;
    g_object_unref(shown->end);
    g_clear_object(&shown->monitor);
    g_ptr_array_unref(shown->stand_ins);
}

static void end_shown(gpointer data) {
    Shown* shown = data;
    g_cancellable_cancel(shown->end);
    if (shown->monitor != NULL) {
        g_signal_handlers_disconnect_by_data(shown->monitor, shown);
        g_file_monitor_cancel(shown->monitor);
    }
    g_ptr_array_set_size(shown->stand_ins, 0);
    g_rc_box_release_full(shown, clear_shown);
}

static void on_children(GObject* source, GAsyncResult* result, gpointer data) {
    Shown* shown = data;
    GFileEnumerator* enumerator = G_FILE_ENUMERATOR(source);
    GList* children = g_file_enumerator_next_files_finish(enumerator, result, NULL);
    const gint64 start = g_get_monotonic_time();
    const gboolean goes_on =
        children != NULL && !g_cancellable_is_cancelled(shown->end) && shown->stand_ins->len < most_items;
    for (GList* at = children; goes_on && at != NULL; at = at->next) {
        GFile* child = g_file_enumerator_get_child(enumerator, at->data);
        meet(shown, child);
        g_object_unref(child);
    }
    g_list_free_full(children, g_object_unref);
    tsf_badge_keeper_held_up(shown->plugin->keeper, start);
    if (goes_on)
        g_file_enumerator_next_files_async(enumerator, items_at_a_time, G_PRIORITY_LOW, shown->end,
                                           on_children, shown);
    else
        g_rc_box_release_full(shown, clear_shown);
}

static void on_folder(GObject* source, GAsyncResult* result, gpointer data) {
    Shown* shown = data;
    GFileEnumerator* enumerator = g_file_enumerate_children_finish(G_FILE(source), result, NULL);
    if (enumerator == NULL) {
        g_rc_box_release_full(shown, clear_shown);
        return;
    }
    g_file_enumerator_next_files_async(enumerator, items_at_a_time, G_PRIORITY_LOW, shown->end, on_children,
                                       shown);
    g_object_unref(enumerator); /* it lives until it has answered */
}

static void on_change(G_GNUC_UNUSED GFileMonitor* monitor, GFile* file, GFile* other, GFileMonitorEvent event,
                      gpointer data) {
    if (event == G_FILE_MONITOR_EVENT_CREATED || event == G_FILE_MONITOR_EVENT_MOVED_IN)
        meet(data, file);
    else if (event == G_FILE_MONITOR_EVENT_RENAMED && other != NULL)
        meet(data, other);
}

static void on_directory(GObject* window, G_GNUC_UNUSED GParamSpec* property, gpointer plugin) {
    ThunarxFileInfo* directory = NULL;
    g_object_get(window, "current-directory", &directory, NULL);
    GFile* folder = directory != NULL ? thunarx_file_info_get_location(directory) : NULL;
    Shown* shown = NULL;
    if (folder != NULL && g_file_has_uri_scheme(folder, "file")) {
        shown = g_rc_box_new0(Shown);
        shown->plugin = plugin;
        shown->end = g_cancellable_new();
        shown->stand_ins = g_ptr_array_new_with_free_func(g_object_unref);
        meet(shown, folder); /* its background has a menu too */
        shown->monitor = g_file_monitor_directory(folder, G_FILE_MONITOR_WATCH_MOVES, shown->end, NULL);
        if (shown->monitor != NULL) g_signal_connect(shown->monitor, "changed", G_CALLBACK(on_change), shown);
        g_file_enumerate_children_async(folder, G_FILE_ATTRIBUTE_STANDARD_NAME,
                                        G_FILE_QUERY_INFO_NOFOLLOW_SYMLINKS, G_PRIORITY_LOW, shown->end,
                                        on_folder, g_rc_box_acquire(shown));
    }
    /* The former one ends, and this one does with the window. */
    g_object_set_data_full(window, "tsyncfinder-shown", shown, shown != NULL ? end_shown : NULL);
    g_clear_object(&folder);
    g_clear_object(&directory);
}

static void on_window(G_GNUC_UNUSED GtkApplication* application, GtkWindow* window, gpointer plugin) {
    if (g_object_class_find_property(G_OBJECT_GET_CLASS(window), "current-directory") == NULL) return;
    g_signal_connect(window, "notify::current-directory", G_CALLBACK(on_directory), plugin);
    on_directory(G_OBJECT(window), NULL, plugin);
}

void tsf_shown_folders_follow(TsfPlugin* plugin) {
    GApplication* application = g_application_get_default();
    if (application == NULL || !GTK_IS_APPLICATION(application)) return;
    for (GList* at = gtk_application_get_windows(GTK_APPLICATION(application)); at != NULL; at = at->next)
        on_window(GTK_APPLICATION(application), at->data, plugin);
    g_signal_connect(application, "window-added", G_CALLBACK(on_window), plugin);
}
