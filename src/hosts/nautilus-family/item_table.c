#include "hosts/nautilus-family/item_table.h"

#include <string.h>

struct TsfAttachment {
    TsfItemTable* table;
    TsfItem* item;
    GObject* file;
    TsfAttachment* next; /* of the same item */
};

struct TsfItemTable {
    GHashTable* items;   /* uri inside the item -> item */
    GHashTable* folders; /* uri inside the folder -> folder */
    TsfFolderFunc folder_begins;
    TsfFolderFunc folder_ends;
    gpointer user;
    GQuark key; /* of the attachment in a file object */
};

TsfItem* tsf_item_ref(TsfItem* item) {
    ++item->references;
    return item;
}

void tsf_item_unref(TsfItem* item) {
    if (--item->references == 0) g_free(item);
}

/* --- folders */

static TsfFolder* folder_of(TsfItemTable* table, const char* uri) {
    const char* slash = strrchr(uri, '/');
    gsize length = slash != NULL ? (gsize)(slash - uri) : strlen(uri);
    /* The folder of "file:///a" is "file:///", which is its own folder too. */
    const char* scheme = strstr(uri, "://");
    if (scheme != NULL && slash == scheme + 3) ++length;

    TsfFolder* folder = g_malloc0(sizeof(TsfFolder) + length + 1);
    g_strlcpy(folder->uri, uri, length + 1);
    TsfFolder* known = g_hash_table_lookup(table->folders, folder->uri);
    if (known != NULL) {
        g_free(folder);
        return known;
    }
    g_hash_table_insert(table->folders, folder->uri, folder);
    table->folder_begins(folder, table->user);
    return folder;
}

static void link_item(TsfFolder* folder, TsfItem* item) {
    item->folder = folder;
    item->next = folder->first;
    if (folder->first != NULL) folder->first->previous = item;
    folder->first = item;
    ++folder->count;
}

static void unlink_item(TsfItemTable* table, TsfItem* item) {
    TsfFolder* folder = item->folder;
    if (item->previous != NULL)
        item->previous->next = item->next;
    else
        folder->first = item->next;
    if (item->next != NULL) item->next->previous = item->previous;
    item->next = item->previous = NULL;
    item->folder = NULL;
    if (--folder->count > 0) return;
    table->folder_ends(folder, table->user);
    g_hash_table_remove(table->folders, folder->uri);
}

/* --- items and the files that stand for them */

static void detach(gpointer data) {
    TsfAttachment* attachment = data;
    TsfItemTable* table = attachment->table;
    TsfItem* item = attachment->item;
    TsfAttachment** link = &item->files;
    while (*link != attachment)
        link = &(*link)->next;
    *link = attachment->next;
    g_free(attachment);
    if (item->files != NULL) return;
    g_hash_table_remove(table->items, item->uri);
    unlink_item(table, item);
    tsf_item_unref(item);
}

TsfItemTable* tsf_item_table_new(TsfFolderFunc folder_begins, TsfFolderFunc folder_ends, gpointer user) {
    TsfItemTable* table = g_new0(TsfItemTable, 1);
    table->items = g_hash_table_new(g_str_hash, g_str_equal);
    table->folders = g_hash_table_new_full(g_str_hash, g_str_equal, NULL, g_free);
    table->folder_begins = folder_begins;
    table->folder_ends = folder_ends;
    table->user = user;
    table->key = g_quark_from_static_string("tsyncfinder-item");
    return table;
}

static void ignore_folder(TsfFolder* folder, gpointer user) {
    (void)folder;
    (void)user;
}

void tsf_item_table_free(TsfItemTable* table) {
    table->folder_ends = ignore_folder;
    GList* items = g_hash_table_get_values(table->items);
    for (GList* at = items; at != NULL; at = at->next) {
        TsfItem* item = tsf_item_ref(at->data);
        while (item->files != NULL)
            g_object_set_qdata(item->files->file, table->key, NULL);
        tsf_item_unref(item);
    }
    g_list_free(items);
    g_hash_table_unref(table->items);
    g_hash_table_unref(table->folders);
    g_free(table);
}

TsfItem* tsf_item_table_attach(TsfItemTable* table, GObject* file, const char* uri) {
    TsfAttachment* attachment = g_object_get_qdata(file, table->key);
    if (attachment != NULL && strcmp(attachment->item->uri, uri) == 0) return attachment->item;
    if (attachment != NULL) g_object_set_qdata(file, table->key, NULL);

    TsfItem* item = g_hash_table_lookup(table->items, uri);
    if (item == NULL) {
        const gsize size = strlen(uri) + 1;
        item = g_malloc0(sizeof(TsfItem) + size);
        g_strlcpy(item->uri, uri, size);
        item->references = 1;
        g_hash_table_insert(table->items, item->uri, item);
        link_item(folder_of(table, uri), item);
    }
    attachment = g_new(TsfAttachment, 1);
    *attachment = (TsfAttachment){table, item, file, item->files};
    item->files = attachment;
    g_object_set_qdata_full(file, table->key, attachment, detach);
    return item;
}

TsfItem* tsf_item_table_item_of(TsfItemTable* table, GObject* file) {
    const TsfAttachment* attachment = g_object_get_qdata(file, table->key);
    return attachment != NULL ? attachment->item : NULL;
}

TsfItem* tsf_item_table_lookup(TsfItemTable* table, const char* uri) {
    return g_hash_table_lookup(table->items, uri);
}

TsfFolder* tsf_item_table_folder(TsfItemTable* table, const char* uri) {
    return g_hash_table_lookup(table->folders, uri);
}

guint tsf_item_table_size(TsfItemTable* table) { return g_hash_table_size(table->items); }

void tsf_item_table_foreach_folder(TsfItemTable* table, TsfFolderFunc function, gpointer user) {
    GHashTableIter folders;
    gpointer folder = NULL;
    g_hash_table_iter_init(&folders, table->folders);
    while (g_hash_table_iter_next(&folders, NULL, &folder))
        function(folder, user);
}

void tsf_item_foreach_file(TsfItem* item, GFunc function, gpointer user) {
    for (TsfAttachment *attachment = item->files, *next = NULL; attachment != NULL; attachment = next) {
        next = attachment->next;
        function(attachment->file, user);
    }
}
