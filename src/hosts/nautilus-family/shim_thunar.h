/* Thunar: a cousin of the family, with menus and pages alone. What it does not have is put in here. */
#ifndef TSYNCFINDER_HOSTS_NAUTILUS_FAMILY_SHIM_THUNAR_H
#define TSYNCFINDER_HOSTS_NAUTILUS_FAMILY_SHIM_THUNAR_H

#include <thunarx/thunarx.h>

#define FM(name) thunarx_##name
#define FM_T(name) Thunarx##name
#define FM_C(name) THUNARX_##name
#define FM_INTERFACE(name) Thunarx##name##Iface
/* The window that a menu function is given, followed by the rest of its parameters. */
#define FM_WINDOW G_GNUC_UNUSED GtkWidget *window,
/* How its providers of menus and of pages spell theirs. */
#define FM_GET_FILE_ITEMS get_file_menu_items
#define FM_GET_BACKGROUND_ITEMS get_folder_menu_items
#define FM_PAGE_PROVIDER ThunarxPropertyPageProvider
#define FM_PAGE_INTERFACE FM_INTERFACE(PropertyPageProvider)
#define FM_TYPE_PAGE_PROVIDER THUNARX_TYPE_PROPERTY_PAGE_PROVIDER
#define FM_GET_PAGES get_pages
#define FM_NEW_PAGE(title, content) thunarx_shim_page_new(title, content)

static inline void thunarx_menu_item_set_submenu(ThunarxMenuItem* item, ThunarxMenu* menu) {
    thunarx_menu_item_set_menu(item, menu);
}

/* It offers no menu for what has gone. */
static inline gboolean thunarx_file_info_is_gone(G_GNUC_UNUSED ThunarxFileInfo* file) { return FALSE; }

/* What a recent file or a result of a search stands for. */
static inline char* thunarx_file_info_get_activation_uri(ThunarxFileInfo* file) {
    GFileInfo* info = thunarx_file_info_get_file_info(file);
    if (info == NULL) return NULL;
    char* uri = g_strdup(g_file_info_get_attribute_string(info, G_FILE_ATTRIBUTE_STANDARD_TARGET_URI));
    g_object_unref(info);
    return uri;
}

static inline GtkWidget* thunarx_shim_page_new(const char* title, GtkWidget* content) {
    GtkWidget* page = thunarx_property_page_new(title);
    gtk_container_add(GTK_CONTAINER(page), content);
    return page;
}

#endif
