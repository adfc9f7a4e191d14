#include "hosts/nautilus-family/description.h"

#include "protocol/glib_formats.h"
#include "protocol/translations.h"

#include <string.h>

static const gint answer_time = 5000; /* ms; the extension itself takes at most two seconds */
static const gsize most_rows = 32;

typedef struct {
    TsfDescribed described;
    gpointer user;
} Question;

/* Each "%@" is replaced by the next argument. */
static char* filled(const char* format, const char* const* arguments) {
    GString* text = g_string_new(NULL);
    for (const char* place = NULL; *arguments != NULL && (place = strstr(format, "%@")) != NULL;
         format = place + 2) {
        g_string_append_len(text, format, place - format);
        g_string_append(text, *arguments++);
    }
    g_string_append(text, format);
    return g_string_free(text, FALSE);
}

static void tell(const Question* question, GVariant* rows) {
    GPtrArray* texts = g_ptr_array_new_with_free_func(g_free);
    const char* locale = tsyncMessageLocale();
    const gsize count = rows != NULL ? MIN(g_variant_n_children(rows), most_rows) : 0;
    for (gsize i = 0; i < count; ++i) {
        const char* label = NULL;
        const char* format = NULL;
        const char** arguments = NULL;
        g_variant_get_child(rows, i, FINDER_SYNC_DESCRIPTION_READ, &label, &format, &arguments);
        g_ptr_array_add(texts, g_strdup(tsyncTranslated(label, locale)));
        g_ptr_array_add(texts, filled(tsyncTranslated(format, locale), arguments));
        g_free((gpointer)arguments);
    }
    if (count == 0) {
        g_ptr_array_add(texts, g_strdup(""));
        g_ptr_array_add(texts, g_strdup(tsyncTranslated("The sync service does not answer.", locale)));
    }
    g_ptr_array_add(texts, NULL);
    question->described((const char* const*)texts->pdata, question->user);
    g_ptr_array_unref(texts);
}

static void on_answer(GObject* source, GAsyncResult* result, gpointer data) {
    Question* question = data;
    GVariant* rows = NULL;
    GVariant* reply = g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), result, NULL);
    if (reply != NULL) rows = g_variant_get_child_value(reply, 0);
    tell(question, rows);
    if (rows != NULL) g_variant_unref(rows);
    if (reply != NULL) g_variant_unref(reply);
    g_free(question);
}

static gboolean on_nobody(gpointer data) {
    tell(data, NULL);
    return G_SOURCE_REMOVE;
}

void tsf_ask_description(GDBusConnection* bus, const char* extension, const char* uri, TsfDescribed described,
                         gpointer user) {
    Question* question = g_new(Question, 1);
    *question = (Question){described, user};
    if (bus == NULL) {
        g_idle_add_full(G_PRIORITY_DEFAULT_IDLE, on_nobody, question, g_free);
        return;
    }
    g_dbus_connection_call(bus, extension, FINDER_SYNC_OBJECT_PATH, FINDER_SYNC_INTERFACE,
                           FINDER_SYNC_DESCRIBE, g_variant_new("(" FINDER_SYNC_DESCRIBE_IN ")", uri),
                           G_VARIANT_TYPE("(" FINDER_SYNC_DESCRIBE_OUT ")"), G_DBUS_CALL_FLAGS_NO_AUTO_START,
                           answer_time, NULL, on_answer, question);
}
