#include "backends/contacts/DesktopBooks.h"

#include "backends/contacts/card.h"

#include <gio/gio.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace backends::contacts {
namespace {

// Names of its interfaces end in a number, which goes up when they change; what is used here has not changed.
constexpr std::string_view registryName = "org.gnome.evolution.dataserver.Sources";
constexpr const char* registryPath = "/org/gnome/evolution/dataserver/SourceManager";
constexpr const char* sourceInterface = "org.gnome.evolution.dataserver.Source";
constexpr std::string_view factoryName = "org.gnome.evolution.dataserver.AddressBook";
constexpr const char* factoryPath = "/org/gnome/evolution/dataserver/AddressBookFactory";
constexpr const char* factoryInterface = "org.gnome.evolution.dataserver.AddressBookFactory";
constexpr const char* bookInterface = "org.gnome.evolution.dataserver.AddressBook";
constexpr const char* busName = "org.freedesktop.DBus";
constexpr const char* whoHasAnAddress = "(exists \"email\")"; // in its own language for questions
constexpr int deepestSource = 8;

struct Unref {
    void operator()(GVariant* value) const { g_variant_unref(value); }
    void operator()(GKeyFile* file) const { g_key_file_unref(file); }
};
using Value = std::unique_ptr<GVariant, Unref>;

// What the registry tells of an address book, an account, a calendar.
struct Source {
    std::unique_ptr<GKeyFile, Unref> data;

    bool flag(const char* group, const char* key, bool otherwise) const {
        GError* error = nullptr;
        const bool value = g_key_file_get_boolean(data.get(), group, key, &error) != FALSE;
        const bool isThere = error == nullptr;
        g_clear_error(&error);
        return isThere ? value : otherwise;
    }
    std::string parent() const {
        char* const text = g_key_file_get_string(data.get(), "Data Source", "Parent", nullptr);
        std::string found(text == nullptr ? "" : text);
        g_free(text);
        return found;
    }
    bool isBook() const {
        return g_key_file_has_group(data.get(), "Address Book") != FALSE &&
               flag("Autocomplete", "IncludeMe", true);
    }
};
using Sources = std::map<std::string, Source>; // by their identifiers

// An account that is switched off takes its books with it.
bool isEnabled(const Sources& sources, const std::string& identifier) {
    auto found = sources.find(identifier);
    for (int depth = 0; found != sources.end() && depth < deepestSource; ++depth) {
        if (!found->second.flag("Data Source", "Enabled", true)) return false;
        found = sources.find(found->second.parent());
    }
    return true;
}

Sources sourcesIn(GVariant* managedObjects) {
    Sources sources;
    GVariantIter* objects = nullptr;
    GVariantIter* interfaces = nullptr;
    g_variant_get(managedObjects, "(a{oa{sa{sv}}})", &objects);
    while (g_variant_iter_next(objects, "{oa{sa{sv}}}", nullptr, &interfaces) != FALSE) {
        const char* interface = nullptr;
        GVariant* properties = nullptr;
        while (g_variant_iter_next(interfaces, "{&s@a{sv}}", &interface, &properties) != FALSE) {
            const Value kept(properties);
            const char* identifier = nullptr;
            const char* data = nullptr;
            if (interface != std::string_view(sourceInterface) ||
                g_variant_lookup(properties, "UID", "&s", &identifier) == FALSE ||
                g_variant_lookup(properties, "Data", "&s", &data) == FALSE)
                continue;
            Source source{std::unique_ptr<GKeyFile, Unref>(g_key_file_new())};
            if (g_key_file_load_from_data(source.data.get(), data, static_cast<gsize>(-1), G_KEY_FILE_NONE,
                                          nullptr) != FALSE)
                sources.emplace(identifier, std::move(source));
        }
        g_variant_iter_free(interfaces);
    }
    g_variant_iter_free(objects);
    return sources;
}

} // namespace

struct DesktopBooks::Reading {
    platform::ProcessLog& log;
    const Found tell;
    GCancellable* const end = g_cancellable_new();
    GDBusConnection* bus = nullptr;
    std::chrono::steady_clock::time_point deadline{};

    Reading(platform::ProcessLog& processLog, Found toTell) : log(processLog), tell(std::move(toTell)) {}
    ~Reading() {
        g_clear_object(&bus); // the books that it has opened are closed with it
        g_object_unref(end);
    }
    Reading(const Reading&) = delete;
    Reading& operator=(const Reading&) = delete;

    void run();

  private:
    Value call(const std::string& name, const std::string& path, const char* interface, const char* method,
               GVariant* arguments, const char* answer, bool mayStart = false);
    std::optional<std::string> nameIn(const char* method, std::string_view beginning);
    void readBook(const std::string& factory, const std::string& identifier);
};

// Null: no answer, which is logged, unless nobody waits any more.
Value DesktopBooks::Reading::call(const std::string& name, const std::string& path, const char* interface,
                                  const char* method, GVariant* arguments, const char* answer,
                                  bool mayStart) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    GError* error = nullptr;
    Value value(g_dbus_connection_call_sync(
        bus, name.c_str(), path.c_str(), interface, method, arguments, G_VARIANT_TYPE(answer),
        mayStart ? G_DBUS_CALL_FLAGS_NONE : G_DBUS_CALL_FLAGS_NO_AUTO_START,
        static_cast<int>(std::max<std::int64_t>(left.count(), 1)), end, &error));
    if (error != nullptr && g_cancellable_is_cancelled(end) == FALSE)
        log.error("The desktop's address books: ", method, ": ", std::string_view(error->message));
    g_clear_error(&error);
    return value;
}

std::optional<std::string> DesktopBooks::Reading::nameIn(const char* method, std::string_view beginning) {
    const Value names = call(busName, "/org/freedesktop/DBus", busName, method, nullptr, "(as)");
    if (!names) return std::nullopt;
    GVariantIter* list = nullptr;
    g_variant_get(names.get(), "(as)", &list);
    std::optional<std::string> found;
    const char* name = nullptr;
    while (!found && g_variant_iter_next(list, "&s", &name) != FALSE) {
        const std::string_view text(name);
        if (text.starts_with(beginning) &&
            text.find_first_not_of("0123456789", beginning.size()) == std::string_view::npos)
            found = text;
    }
    g_variant_iter_free(list);
    return found;
}

void DesktopBooks::Reading::readBook(const std::string& factory, const std::string& identifier) {
    deadline = std::chrono::steady_clock::now() + timeForBook;
    const Value opened = call(factory, factoryPath, factoryInterface, "OpenAddressBook",
                              g_variant_new("(s)", identifier.c_str()), "(ss)", true);
    if (!opened) return;
    const char* path = nullptr;
    const char* owner = nullptr;
    g_variant_get(opened.get(), "(&s&s)", &path, &owner);
    if (g_variant_is_object_path(path) == FALSE || g_dbus_is_name(owner) == FALSE) return;
    if (!call(owner, path, bookInterface, "Open", nullptr, "(as)")) return;
    const Value cards =
        call(owner, path, bookInterface, "GetContactList", g_variant_new("(s)", whoHasAnAddress), "(as)");
    if (!cards) return;
    GVariantIter* list = nullptr;
    g_variant_get(cards.get(), "(as)", &list);
    std::vector<platform::Person> people;
    const char* card = nullptr;
    for (std::size_t i = 0; i < maximumCards && g_variant_iter_next(list, "&s", &card) != FALSE; ++i)
        if (auto person = personOf(card)) people.push_back(std::move(*person));
    g_variant_iter_free(list);
    if (!people.empty() && g_cancellable_is_cancelled(end) == FALSE) tell(std::move(people));
}

void DesktopBooks::Reading::run() {
    deadline = std::chrono::steady_clock::now() + timeForBook;
    char* const address = g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SESSION, end, nullptr);
    if (address == nullptr) return;
    constexpr int flags =
        G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT | G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION;
    bus = g_dbus_connection_new_for_address_sync(address, static_cast<GDBusConnectionFlags>(flags), nullptr,
                                                 end, nullptr);
    g_free(address);
    if (bus == nullptr) return;
    const auto registry = nameIn("ListNames", registryName);
    if (!registry) return;
    auto factory = nameIn("ListNames", factoryName);
    if (!factory) factory = nameIn("ListActivatableNames", factoryName);
    const Value objects = factory ? call(*registry, registryPath, "org.freedesktop.DBus.ObjectManager",
                                         "GetManagedObjects", nullptr, "(a{oa{sa{sv}}})")
                                  : nullptr;
    if (!objects) return;
    const Sources sources = sourcesIn(objects.get());
    std::size_t count = 0;
    for (const auto& [identifier, source] : sources)
        if (source.isBook() && isEnabled(sources, identifier) && count++ < maximumBooks &&
            g_cancellable_is_cancelled(end) == FALSE)
            readBook(*factory, identifier);
}

DesktopBooks::DesktopBooks(platform::AddressBook& firstBook, platform::ProcessLog& processLog)
    : first(firstBook), log(processLog) {}

DesktopBooks::~DesktopBooks() {
    if (!thread.joinable()) return;
    g_cancellable_cancel(reading->end);
    thread.join();
}

void DesktopBooks::readFurther(Found found) {
    reading = std::make_unique<Reading>(log, std::move(found));
    thread = std::thread([this] {
        reading->run();
        reading->tell({});
    });
}

} // namespace backends::contacts
