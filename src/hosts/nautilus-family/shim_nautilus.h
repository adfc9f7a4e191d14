/* Nautilus 43 and later: the menu functions take no window. */
#ifndef TSYNCFINDER_HOSTS_NAUTILUS_FAMILY_SHIM_NAUTILUS_H
#define TSYNCFINDER_HOSTS_NAUTILUS_FAMILY_SHIM_NAUTILUS_H

#include <nautilus-extension.h>

#define FM(name) nautilus_##name
#define FM_T(name) Nautilus##name
#define FM_C(name) NAUTILUS_##name
#define FM_INTERFACE(name) Nautilus##name##Interface
/* The window that a menu function is given, followed by the rest of its parameters. */
#define FM_WINDOW
/* How its providers of menus and of pages spell theirs. */
#define FM_GET_FILE_ITEMS get_file_items
#define FM_GET_BACKGROUND_ITEMS get_background_items
/* A page is a list of rows, which it shows in its own way. */
#define FM_PAGES_ARE_MODELS
#define FM_PAGE_PROVIDER NautilusPropertiesModelProvider
#define FM_PAGE_INTERFACE FM_INTERFACE(PropertiesModelProvider)
#define FM_TYPE_PAGE_PROVIDER NAUTILUS_TYPE_PROPERTIES_MODEL_PROVIDER
#define FM_GET_PAGES get_models

#endif
