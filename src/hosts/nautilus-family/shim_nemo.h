/* Nemo. */
#ifndef TSYNCFINDER_HOSTS_NAUTILUS_FAMILY_SHIM_NEMO_H
#define TSYNCFINDER_HOSTS_NAUTILUS_FAMILY_SHIM_NEMO_H

#include <libnemo-extension/nemo-column-provider.h>
#include <libnemo-extension/nemo-extension-types.h>
#include <libnemo-extension/nemo-file-info.h>
#include <libnemo-extension/nemo-info-provider.h>
#include <libnemo-extension/nemo-menu-provider.h>
#include <libnemo-extension/nemo-menu.h>
#include <libnemo-extension/nemo-property-page-provider.h>

#define FM(name) nemo_##name
#define FM_T(name) Nemo##name
#define FM_C(name) NEMO_##name
#define FM_INTERFACE(name) Nemo##name##Interface
/* The window that a menu function is given, followed by the rest of its parameters. */
#define FM_WINDOW G_GNUC_UNUSED GtkWidget *window,
/* How its providers of menus and of pages spell theirs. */
#define FM_GET_FILE_ITEMS get_file_items
#define FM_GET_BACKGROUND_ITEMS get_background_items
#define FM_PAGE_PROVIDER NemoPropertyPageProvider
#define FM_PAGE_INTERFACE FM_INTERFACE(PropertyPageProvider)
#define FM_TYPE_PAGE_PROVIDER NEMO_TYPE_PROPERTY_PAGE_PROVIDER
#define FM_GET_PAGES get_pages
#define FM_NEW_PAGE(title, content) nemo_property_page_new("TSyncFinder::page", gtk_label_new(title), content)

#endif
