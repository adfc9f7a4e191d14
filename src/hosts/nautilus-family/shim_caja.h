/* Caja: its interfaces end in Iface. */
#ifndef TSYNCFINDER_HOSTS_NAUTILUS_FAMILY_SHIM_CAJA_H
#define TSYNCFINDER_HOSTS_NAUTILUS_FAMILY_SHIM_CAJA_H

#include <libcaja-extension/caja-column-provider.h>
#include <libcaja-extension/caja-extension-types.h>
#include <libcaja-extension/caja-file-info.h>
#include <libcaja-extension/caja-info-provider.h>
#include <libcaja-extension/caja-menu-provider.h>
#include <libcaja-extension/caja-menu.h>
#include <libcaja-extension/caja-property-page-provider.h>

#define FM(name) caja_##name
#define FM_T(name) Caja##name
#define FM_C(name) CAJA_##name
#define FM_INTERFACE(name) Caja##name##Iface
/* The window that a menu function is given, followed by the rest of its parameters. */
#define FM_WINDOW G_GNUC_UNUSED GtkWidget *window,
/* It asks for buttons of its toolbar too. */
#define FM_HAS_TOOLBAR
/* How its providers of menus and of pages spell theirs. */
#define FM_GET_FILE_ITEMS get_file_items
#define FM_GET_BACKGROUND_ITEMS get_background_items
#define FM_PAGE_PROVIDER CajaPropertyPageProvider
#define FM_PAGE_INTERFACE FM_INTERFACE(PropertyPageProvider)
#define FM_TYPE_PAGE_PROVIDER CAJA_TYPE_PROPERTY_PAGE_PROVIDER
#define FM_GET_PAGES get_pages
#define FM_NEW_PAGE(title, content) caja_property_page_new("TSyncFinder::page", gtk_label_new(title), content)

#endif
