/* The files that the file manager holds, by URI, and the folders that they lie in.
 *
 * An item lives as long as a file object of the file manager stands for it: the file object is only borrowed,
 * and its end takes the item out of the table. Several objects may stand for one item. A folder lives as long
 * as it has items. Main thread only. */
#ifndef TSYNCFINDER_HOSTS_NAUTILUS_FAMILY_ITEM_TABLE_H
#define TSYNCFINDER_HOSTS_NAUTILUS_FAMILY_ITEM_TABLE_H

#include <glib-object.h>

typedef struct TsfItem TsfItem;
typedef struct TsfFolder TsfFolder;
typedef struct TsfItemTable TsfItemTable;
typedef struct TsfAttachment TsfAttachment;

struct TsfFolder {
    TsfItem* first;
    guint count;
    guint expected;       /* a number of the owner's: the badge that a new item of the folder probably has */
    gboolean is_watched;  /* the extension wants to be asked about its items */
    gboolean is_observed; /* the extension has been told that it is shown */
    gboolean is_fading;   /* the badges of its items are being forgotten */
    char uri[];
};

struct TsfItem {
    TsfFolder* folder; /* NULL: no file stands for it any more, and it is in no table */
    TsfItem* next;     /* in the folder */
    TsfItem* previous;
    TsfAttachment* files;
    guint64 sequence; /* of the newest state that its badge comes from, or that it is to be asked for */
    guint references;
    guint badge : 8;           /* a number of the owner's; 0: none */
    guint is_known : 1;        /* the extension has answered for it */
    guint is_in_sync : 1;      /* as answered */
    guint is_root : 1;         /* as answered */
    guint is_asked : 1;        /* waits for its turn to be asked for */
    guint is_invalid : 1;      /* waits for its turn to be shown anew */
    guint was_invalidated : 1; /* the file manager's next question about it is our own doing */
    char uri[];
};

/* Called when a folder gets its first item, and before it loses its last one. */
typedef void (*TsfFolderFunc)(TsfFolder* folder, gpointer user);

TsfItemTable* tsf_item_table_new(TsfFolderFunc folder_begins, TsfFolderFunc folder_ends, gpointer user);
/* Lets every file object go. Calls no folder function. */
void tsf_item_table_free(TsfItemTable* table);

/* The item that a file stands for, made when it is not there. A file that has got another URI stands for
 * another item from now on. Borrowed. */
TsfItem* tsf_item_table_attach(TsfItemTable* table, GObject* file, const char* uri);
/* The item that a file was last attached to, without looking at its URI; NULL: none. Borrowed. */
TsfItem* tsf_item_table_item_of(TsfItemTable* table, GObject* file);
/* Borrowed; NULL when there is none. */
TsfItem* tsf_item_table_lookup(TsfItemTable* table, const char* uri);
TsfFolder* tsf_item_table_folder(TsfItemTable* table, const char* uri);
guint tsf_item_table_size(TsfItemTable* table);
void tsf_item_table_foreach_folder(TsfItemTable* table, TsfFolderFunc function, gpointer user);

/* Each file object that stands for the item. The function must not end one. */
void tsf_item_foreach_file(TsfItem* item, GFunc function, gpointer user);
TsfItem* tsf_item_ref(TsfItem* item);
void tsf_item_unref(TsfItem* item);

#endif
