/* What the sources that are built once for each file manager share: the plugin's object, its menus and its
 * pages. The shim named by TSYNCFINDER_SHIM says how this file manager spells its names. Main thread only. */
#ifndef TSYNCFINDER_HOSTS_NAUTILUS_FAMILY_PLUGIN_H
#define TSYNCFINDER_HOSTS_NAUTILUS_FAMILY_PLUGIN_H

#include TSYNCFINDER_SHIM

#include "hosts/nautilus-family/badge_keeper.h"

#include <gmodule.h>

typedef struct {
    GObject parent;
    TsfBadgeKeeper* keeper;
    GList* pages;              /* of TsfPage, that are shown */
    const char* last_emblem;   /* of the keeper, and */
    const char* last_in_words; /* what it says, in the person's language */
} TsfPlugin;
typedef GObjectClass TsfPluginClass;

/* Registers the plugin's type, with menus and pages; what else it provides is the module's to add. The events
 * are kept; their user is the TsfPlugin. made: called with each new object; may be NULL. */
GType tsf_plugin_register(GTypeModule* module, const TsfKeeperEvents* events,
                          void (*made)(TsfPlugin* plugin));

/* The URI of what a file object stands for, to be freed; NULL: it is not a local file. */
char* tsf_uri_of(GObject* file);

/* menu.c: the menu provider's functions. */
void tsf_menu_provider_init(gpointer interface, gpointer data);

/* page.c: a page "Sync" about one item. */
void tsf_page_provider_init(gpointer interface, gpointer data);
/* The badge of a file is another one: what its open pages say may be, too. */
void tsf_pages_refresh(TsfPlugin* plugin, GObject* file);

#endif
