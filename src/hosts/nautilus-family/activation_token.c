#include "hosts/nautilus-family/activation_token.h"

#include <gio/gio.h>

#include <gmodule.h>

/* Of GDK 3 or 4, whichever the file manager has; the plugin is linked with neither. */
typedef gpointer (*DefaultDisplay)(void);
typedef GAppLaunchContext* (*LaunchContext)(gpointer display);

static gpointer function_named(GModule* program, const char* name) {
    gpointer function = NULL;
    return g_module_symbol(program, name, &function) ? function : NULL;
}

static GAppLaunchContext* context_of_wayland(GModule* program) {
    /* A function that is stored as data is what POSIX's dlsym gives. */
    DefaultDisplay default_display = NULL;
    LaunchContext launch_context = NULL;
    *(gpointer*)&default_display = function_named(program, "gdk_display_get_default");
    *(gpointer*)&launch_context = function_named(program, "gdk_display_get_app_launch_context");
    gpointer display = default_display != NULL ? default_display() : NULL;
    if (display == NULL || launch_context == NULL) return NULL;
    /* X11 needs none, and would show a busy pointer until the started program comes. */
    return g_str_equal(G_OBJECT_TYPE_NAME(display), "GdkWaylandDisplay") ? launch_context(display) : NULL;
}

char* tsf_activation_token(void) {
    char* token = NULL;
    GModule* program = g_module_open(NULL, 0);
    GAppLaunchContext* context = program != NULL ? context_of_wayland(program) : NULL;
    GAppInfo* panel = g_app_info_create_from_commandline(
        "tsyncfinder-panel", "TovikDrive", G_APP_INFO_CREATE_SUPPORTS_STARTUP_NOTIFICATION, NULL);
    if (context != NULL && panel != NULL)
        token = g_app_launch_context_get_startup_notify_id(context, panel, NULL);
    g_clear_object(&panel);
    g_clear_object(&context);
    if (program != NULL) g_module_close(program);
    if (token != NULL && !g_utf8_validate(token, -1, NULL)) g_clear_pointer(&token, g_free);
    return token != NULL ? token : g_strdup("");
}
