#include "hosts/nautilus-family/choice.h"

#include "hosts/nautilus-family/activation_token.h"
#include "protocol/glib_formats.h"
#include "protocol/translations.h"

static void tell_person(const char* message) {
    g_message("%s", message);
    GApplication* application = g_application_get_default();
    if (application == NULL) return;
    GNotification* notification = g_notification_new("TovikDrive");
    g_notification_set_body(notification, tsyncTranslated(message, tsyncMessageLocale()));
    g_application_send_notification(application, NULL, notification);
    g_object_unref(notification);
}

static void on_activated(GObject* source, GAsyncResult* result, gpointer data) {
    (void)data;
    GError* error = NULL;
    GVariant* reply = g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), result, &error);
    if (reply != NULL) g_variant_unref(reply);
    if (error == NULL) return;
    g_dbus_error_strip_remote_error(error);
    tell_person(error->message);
    g_error_free(error);
}

void tsf_send_choice(GDBusConnection* bus, const char* extension, const char* item, GVariant* uris) {
    if (bus == NULL) {
        g_variant_unref(g_variant_ref_sink(uris));
        tell_person("The sync service does not answer.");
        return;
    }
    static const char* const variables[] = {FINDER_SYNC_DISPLAY_VARIABLES};
    GVariantBuilder environment;
    g_variant_builder_init(&environment, G_VARIANT_TYPE(FINDER_SYNC_ACTIVATE_ENVIRONMENT));
    for (gsize i = 0; i < G_N_ELEMENTS(variables); ++i) {
        const char* value = g_getenv(variables[i]);
        if (value != NULL && g_utf8_validate(value, -1, NULL))
            g_variant_builder_add(&environment, FINDER_SYNC_ACTIVATE_VARIABLE, variables[i], value);
    }
    char* token = tsf_activation_token();
    g_dbus_connection_call(bus, extension, FINDER_SYNC_OBJECT_PATH, FINDER_SYNC_INTERFACE,
                           FINDER_SYNC_ACTIVATE,
                           g_variant_new(FINDER_SYNC_ACTIVATE_IN_WRITE, item, uris, &environment, token,
                                         g_variant_new(FINDER_SYNC_ACTIVATE_OPTIONS, NULL)),
                           G_VARIANT_TYPE("(" FINDER_SYNC_ACTIVATE_OUT ")"), G_DBUS_CALL_FLAGS_NO_AUTO_START,
                           -1, NULL, on_activated, NULL);
    g_free(token);
}
