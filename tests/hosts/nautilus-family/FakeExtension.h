// An extension on the session bus that can be told to misbehave. Everything runs in the default main context
// of the process; it has a connection of its own, so that the code under test may live in the same process.
#pragma once

#include "protocol/names.h"
#include "protocol/selection_class.h"
#include "tests/support/GBus.h"

#include <gio/gio.h>

#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace fake {

class Extension {
  public:
    // introspection: the file that describes the interface.
    explicit Extension(const char* introspection) {
        std::ifstream file(introspection);
        const std::string text{std::istreambuf_iterator<char>(file), {}};
        GDBusNodeInfo* const node = g_dbus_node_info_new_for_xml(text.c_str(), nullptr);
        bus = support::newBusConnection();
        if (bus == nullptr || node == nullptr) throw std::runtime_error("no bus, or no introspection file");
        static const GDBusInterfaceVTable table = {called, nullptr, nullptr, {}};
        object = g_dbus_connection_register_object(
            bus, FINDER_SYNC_OBJECT_PATH, g_dbus_node_info_lookup_interface(node, FINDER_SYNC_INTERFACE),
            &table, this, nullptr, nullptr);
        g_dbus_node_info_unref(node);
        name = g_bus_own_name_on_connection(bus, FINDER_SYNC_BUS_NAME, G_BUS_NAME_OWNER_FLAGS_NONE, nullptr,
                                            nullptr, nullptr, nullptr);
    }
    ~Extension() {
        g_dbus_connection_unregister_object(bus, object);
        g_bus_unown_name(name);
        g_dbus_connection_close_sync(bus, nullptr, nullptr);
        g_object_unref(bus);
    }
    Extension(const Extension&) = delete;
    Extension& operator=(const Extension&) = delete;

    std::string mood; // "wrong-types", "wrong-count" and "huge"; anything else is sensible
    // The answer for a URI: badge, is in sync, is a root.
    std::function<GVariant*(const std::string&)> badge = [](const std::string&) {
        return g_variant_new("(sbb)", "sync", TRUE, FALSE);
    };
    // The one top item of a class's menu; none: files below a root alone have a menu.
    std::function<GVariant*(const std::string& selectionClass)> menu;
    std::size_t asked = 0; // URIs
    std::size_t calls = 0;
    std::map<std::string, int> observed;

    void emit(const char* signal, GVariant* arguments) {
        g_dbus_connection_emit_signal(bus, nullptr, FINDER_SYNC_OBJECT_PATH, FINDER_SYNC_INTERFACE, signal,
                                      arguments, nullptr);
    }
    // An item of a directory has changed; without one, any may have.
    void emitChanged(const std::string& directory, const std::string& item = "") {
        const char* const items[] = {item.c_str()};
        GVariant* const change =
            g_variant_new("(s@as)", directory.c_str(), g_variant_new_strv(items, item.empty() ? 0 : 1));
        emit(FINDER_SYNC_BADGES_CHANGED,
             g_variant_new("(t@a(sas))", ++sequence, g_variant_new_array(nullptr, &change, 1)));
    }

  private:
    static void called(GDBusConnection*, const char*, const char*, const char*, const char* method,
                       GVariant* arguments, GDBusMethodInvocation* invocation, gpointer self) {
        static_cast<Extension*>(self)->answer(method, arguments, invocation);
    }

    void answer(const std::string& method, GVariant* arguments, GDBusMethodInvocation* invocation) {
        ++calls;
        GDBusMessage* const reply = // whatever the interface says of its type
            g_dbus_message_new_method_reply(g_dbus_method_invocation_get_message(invocation));
        g_dbus_message_set_body(reply, mood == "wrong-types" ? g_variant_new("(sa{sv})", "nonsense", nullptr)
                                                             : reasonableReply(method, arguments));
        g_dbus_connection_send_message(bus, reply, G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr, nullptr);
        g_object_unref(reply);
        g_object_unref(invocation);
    }

    GVariant* reasonableReply(const std::string& method, GVariant* arguments) {
        if (method == FINDER_SYNC_BADGES_FOR_ITEMS) return badgesReply(arguments);
        if (method == FINDER_SYNC_WATCHED_DIRECTORIES) {
            const std::vector<const char*> directories(mood == "huge" ? 20'000 : 1, "file:///");
            return g_variant_new(
                "(b@as)", TRUE,
                g_variant_new_strv(directories.data(), static_cast<gssize>(directories.size())));
        }
        if (method == FINDER_SYNC_MENUS_BY_CLASS)
            return menu ? menusReply()
                        : g_variant_new_parsed("({'nothing': @av [], 'synced-file': [<'Share'>]},)");
        if (method == FINDER_SYNC_TELL_LONGEST) return g_variant_new_tuple(nullptr, 0);
        const char* uri = nullptr;
        g_variant_get(arguments, "(&s)", &uri);
        observed[uri] += method == FINDER_SYNC_BEGIN_OBSERVING ? 1 : -1;
        return g_variant_new_tuple(nullptr, 0);
    }

    GVariant* badgesReply(GVariant* arguments) {
        GVariantIter* uris = nullptr;
        const char* uri = nullptr;
        g_variant_get(arguments, "(as)", &uris);
        GVariantBuilder answers;
        g_variant_builder_init(&answers, G_VARIANT_TYPE("a(sbb)"));
        while (g_variant_iter_next(uris, "&s", &uri)) {
            ++asked;
            if (mood != "wrong-count") g_variant_builder_add_value(&answers, badge(uri));
        }
        for (int more = mood == "huge" ? 20'000 : 0; more > 0; --more)
            g_variant_builder_add_value(&answers, badge("file:///nonsense"));
        g_variant_iter_free(uris);
        return g_variant_new("(ta(sbb))", ++sequence, &answers);
    }

    GVariant* menusReply() const {
        GVariantBuilder menus;
        g_variant_builder_init(&menus, G_VARIANT_TYPE("a{sav}"));
        for (int each = TSYNC_CLASS_NOTHING; each <= TSYNC_CLASS_UNSYNCED_ITEMS; ++each) {
            const char* const className = tsyncSelectionClassName(static_cast<TSyncSelectionClass>(each));
            GVariant* const item = g_variant_new_variant(menu(className));
            g_variant_builder_add(&menus, "{s@av}", className, g_variant_new_array(nullptr, &item, 1));
        }
        return g_variant_new("(a{sav})", &menus);
    }

    GDBusConnection* bus = nullptr;
    guint object = 0;
    guint name = 0;
    guint64 sequence = 0;
};

} // namespace fake
