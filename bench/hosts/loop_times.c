#include "bench/hosts/loop_times.h"

#include <nautilus-extension.h>
#include <sys/mman.h>

#include <fcntl.h>
#include <time.h>
#include <unistd.h>

static LoopTimes unread;
static LoopTimes* times = &unread;
static guint depth;
static guint64 callback_start;
static guint64 turn_start;
static guint64 in_turn;

/* What the thread has worked: a machine that does something else meanwhile is not the plugin's doing, and the
 * plugin waits for nothing. */
static guint64 now_worked(void) {
    struct timespec worked;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &worked);
    return (guint64)worked.tv_sec * G_USEC_PER_SEC + (guint64)worked.tv_nsec / 1000;
}

static void enter(void) {
    if (depth++ == 0) callback_start = now_worked();
}

static void leave(void) {
    if (--depth > 0) return;
    const guint64 took = now_worked() - callback_start;
    times->longest_callback = MAX(times->longest_callback, took);
    times->total += took;
    in_turn += took;
}

/* --- turns of the main loop: from the end of a poll to the beginning of the next one */

static gboolean turn_ends(G_GNUC_UNUSED GSource* source, gint* timeout) {
    *timeout = -1;
    times->longest_turn = MAX(times->longest_turn, in_turn);
    in_turn = 0;
    if (turn_start != 0) times->longest_loop_turn = MAX(times->longest_loop_turn, now_worked() - turn_start);
    return FALSE;
}

static gboolean turn_begins(G_GNUC_UNUSED GSource* source) {
    turn_start = now_worked();
    return FALSE;
}

static gboolean never(G_GNUC_UNUSED GSource* source, G_GNUC_UNUSED GSourceFunc function,
                      G_GNUC_UNUSED gpointer data) {
    return G_SOURCE_CONTINUE;
}

static void start(void) {
    static GSourceFuncs turns = {.prepare = turn_ends, .check = turn_begins, .dispatch = never};
    const char* path = g_getenv("TSYNCFINDER_LOOP_TIMES");
    if (times != &unread || path == NULL) return;
    const int file = open(path, O_RDWR | O_CREAT, 0600);
    if (file < 0 || ftruncate(file, sizeof(LoopTimes)) != 0) g_error("%s cannot be written", path);
    void* memory = mmap(NULL, sizeof(LoopTimes), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (memory == MAP_FAILED) g_error("%s cannot be mapped", path);
    close(file);
    times = memory;
    GSource* source = g_source_new(&turns, sizeof(GSource));
    g_source_set_priority(source, G_PRIORITY_HIGH);
    g_source_attach(source, NULL);
}

/* --- Nautilus's questions */

static gboolean is_new(gpointer file, const char* mark) {
    if (g_object_get_data(file, mark) != NULL) return FALSE;
    g_object_set_data(file, mark, GINT_TO_POINTER(1));
    return TRUE;
}

static GInterfaceInitFunc init_info;
static GInterfaceInitFunc init_menu;
static NautilusInfoProviderInterface info;
static NautilusMenuProviderInterface menu;

static NautilusOperationResult update_file_info(NautilusInfoProvider* provider, NautilusFileInfo* file,
                                                GClosure* complete, NautilusOperationHandle** handle) {
    ++times->questions;
    if (is_new(file, "loop-times-asked")) {
        ++times->asked;
        times->last_asked = (guint64)g_get_monotonic_time();
    }
    enter();
    const NautilusOperationResult result = info.update_file_info(provider, file, complete, handle);
    leave();
    return result;
}

static GList* get_file_items(NautilusMenuProvider* provider, GList* files) {
    enter();
    GList* items = menu.get_file_items(provider, files);
    leave();
    return items;
}

static GList* get_background_items(NautilusMenuProvider* provider, NautilusFileInfo* folder) {
    enter();
    GList* items = menu.get_background_items(provider, folder);
    leave();
    return items;
}

static void init_timed_info(gpointer interface, gpointer data) {
    init_info(interface, data);
    info = *(NautilusInfoProviderInterface*)interface;
    ((NautilusInfoProviderInterface*)interface)->update_file_info = update_file_info;
}

static void init_timed_menu(gpointer interface, gpointer data) {
    init_menu(interface, data);
    menu = *(NautilusMenuProviderInterface*)interface;
    ((NautilusMenuProviderInterface*)interface)->get_file_items = get_file_items;
    ((NautilusMenuProviderInterface*)interface)->get_background_items = get_background_items;
}

void __real_g_type_module_add_interface(GTypeModule* module, GType type, GType interface,
                                        const GInterfaceInfo* description);
void __wrap_g_type_module_add_interface(GTypeModule* module, GType type, GType interface,
                                        const GInterfaceInfo* description) {
    GInterfaceInfo timed = *description;
    start();
    if (interface == NAUTILUS_TYPE_INFO_PROVIDER) {
        init_info = timed.interface_init;
        timed.interface_init = init_timed_info;
    } else if (interface == NAUTILUS_TYPE_MENU_PROVIDER) {
        init_menu = timed.interface_init;
        timed.interface_init = init_timed_menu;
    }
    __real_g_type_module_add_interface(module, type, interface, &timed);
}

void __real_nautilus_file_info_add_emblem(NautilusFileInfo* file, const char* name);
void __wrap_nautilus_file_info_add_emblem(NautilusFileInfo* file, const char* name) {
    if (is_new(file, "loop-times-badged")) {
        ++times->badged;
        times->last_badged = (guint64)g_get_monotonic_time();
    }
    __real_nautilus_file_info_add_emblem(file, name);
}

/* --- the plugin's own sources and calls */

typedef struct {
    GCallback function;
    gpointer data;
} Timed;

static Timed* timed_new(GCallback function, gpointer data) {
    Timed* timed = g_new(Timed, 1);
    *timed = (Timed){function, data};
    return timed;
}

static gboolean run_source(gpointer data) {
    const Timed* timed = data;
    enter();
    const gboolean goes_on = ((GSourceFunc)timed->function)(timed->data);
    leave();
    return goes_on;
}

guint __wrap_g_idle_add(GSourceFunc function, gpointer data);
guint __wrap_g_idle_add(GSourceFunc function, gpointer data) {
    return g_idle_add_full(G_PRIORITY_DEFAULT_IDLE, run_source, timed_new(G_CALLBACK(function), data),
                           g_free);
}

guint __wrap_g_timeout_add(guint interval, GSourceFunc function, gpointer data);
guint __wrap_g_timeout_add(guint interval, GSourceFunc function, gpointer data) {
    return g_timeout_add_full(G_PRIORITY_DEFAULT, interval, run_source, timed_new(G_CALLBACK(function), data),
                              g_free);
}

static void run_reply(GObject* source, GAsyncResult* result, gpointer data) {
    Timed* timed = data;
    enter();
    ((GAsyncReadyCallback)timed->function)(source, result, timed->data);
    leave();
    g_free(timed);
}

void __real_g_dbus_connection_call(GDBusConnection* bus, const char* name, const char* path,
                                   const char* interface, const char* method, GVariant* arguments,
                                   const GVariantType* reply, GDBusCallFlags flags, gint timeout,
                                   GCancellable* cancellable, GAsyncReadyCallback function, gpointer data);
void __wrap_g_dbus_connection_call(GDBusConnection* bus, const char* name, const char* path,
                                   const char* interface, const char* method, GVariant* arguments,
                                   const GVariantType* reply, GDBusCallFlags flags, gint timeout,
                                   GCancellable* cancellable, GAsyncReadyCallback function, gpointer data) {
    __real_g_dbus_connection_call(bus, name, path, interface, method, arguments, reply, flags, timeout,
                                  cancellable, function != NULL ? run_reply : NULL,
                                  function != NULL ? timed_new(G_CALLBACK(function), data) : NULL);
}

static void run_signal(GDBusConnection* bus, const char* sender, const char* path, const char* interface,
                       const char* member, GVariant* arguments, gpointer data) {
    const Timed* timed = data;
    enter();
    ((GDBusSignalCallback)timed->function)(bus, sender, path, interface, member, arguments, timed->data);
    leave();
}

guint __real_g_dbus_connection_signal_subscribe(GDBusConnection* bus, const char* sender,
                                                const char* interface, const char* member, const char* path,
                                                const char* argument, GDBusSignalFlags flags,
                                                GDBusSignalCallback function, gpointer data,
                                                GDestroyNotify destroy);
guint __wrap_g_dbus_connection_signal_subscribe(GDBusConnection* bus, const char* sender,
                                                const char* interface, const char* member, const char* path,
                                                const char* argument, GDBusSignalFlags flags,
                                                GDBusSignalCallback function, gpointer data,
                                                G_GNUC_UNUSED GDestroyNotify destroy) {
    return __real_g_dbus_connection_signal_subscribe(bus, sender, interface, member, path, argument, flags,
                                                     run_signal, timed_new(G_CALLBACK(function), data),
                                                     g_free);
}

static GDestroyNotify let_file_go;

static void run_file_goes(gpointer data) {
    enter();
    let_file_go(data);
    leave();
}

void __real_g_object_set_qdata_full(GObject* object, GQuark key, gpointer data, GDestroyNotify destroy);
void __wrap_g_object_set_qdata_full(GObject* object, GQuark key, gpointer data, GDestroyNotify destroy) {
    let_file_go = destroy;
    __real_g_object_set_qdata_full(object, key, data, run_file_goes);
}
