#include "backends/cloud_providers/CloudProvidersSidebar.h"

#include "protocol/names.h"
#include "protocol/translations.h"

#include <cloudproviders/cloudprovidersaccountexporter.h>
#include <cloudproviders/cloudprovidersproviderexporter.h>
#include <gio/gio.h>

#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace backends::cloud_providers {
namespace {

using platform::SidebarEntry;

struct Unref {
    void operator()(gpointer object) const { g_object_unref(object); }
};
template <typename Object>
using Reference = std::unique_ptr<Object, Unref>;

std::string shown(const char* english) { return tsyncTranslated(english, tsyncMessageLocale()); }

CloudProvidersAccountStatus statusOf(SidebarEntry::State state) {
    switch (state) {
    case SidebarEntry::State::inStep:
        return CLOUD_PROVIDERS_ACCOUNT_STATUS_IDLE;
    case SidebarEntry::State::busy:
        return CLOUD_PROVIDERS_ACCOUNT_STATUS_SYNCING;
    case SidebarEntry::State::trouble:
        break;
    }
    return CLOUD_PROVIDERS_ACCOUNT_STATUS_ERROR;
}

// File managers know the actions by this prefix.
constexpr const char* openAction = "cloudprovider.open";
constexpr const char* pauseAction = "cloudprovider.pause";
constexpr const char* resumeAction = "cloudprovider.resume";

// Whoever shows the menu is told what changed in it.
void fill(GMenu* menu, const SidebarEntry& entry) {
    g_menu_remove_all(menu);
    for (const std::string& root : entry.roots) {
        const std::string name = root.substr(root.rfind('/') + 1);
        const Reference<GMenuItem> item(g_menu_item_new(name.empty() ? root.c_str() : name.c_str(), nullptr));
        g_menu_item_set_action_and_target(item.get(), openAction, "s", root.c_str());
        g_menu_append_item(menu, item.get());
    }
    if (entry.isPaused)
        g_menu_append(menu, shown("Resume").c_str(), resumeAction);
    else
        g_menu_append(menu, shown("Pause").c_str(), pauseAction);
}

// For each entry another one: what the library exports on a connection answers there for as long as that
// stands, also after it was taken back, and a second entry would not be seen behind it.
GDBusConnection* connectionOfItsOwn() {
    char* const address = g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
    if (address == nullptr) return nullptr;
    constexpr int flags =
        G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT | G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION;
    GDBusConnection* const connection = g_dbus_connection_new_for_address_sync(
        address, static_cast<GDBusConnectionFlags>(flags), nullptr, nullptr, nullptr);
    g_free(address);
    return connection;
}

// The desktop's file manager shows it, as freedesktop.org's FileManager1 says.
void openFolder(GDBusConnection* bus, const char* path) {
    char* uri = g_filename_to_uri(path, nullptr, nullptr);
    if (uri == nullptr) return;
    const char* uris[] = {uri, nullptr};
    g_dbus_connection_call(bus, "org.freedesktop.FileManager1", "/org/freedesktop/FileManager1",
                           "org.freedesktop.FileManager1", "ShowFolders", g_variant_new("(^ass)", uris, ""),
                           nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr, nullptr);
    g_free(uri);
}

} // namespace

// All but `post` runs on the thread itself. Work is handed over behind a lock of our own: the loop's is not
// seen by a thread sanitizer.
class CloudProvidersSidebar::Thread {
  public:
    explicit Thread(const std::function<void(bool pause)>& pauses)
        : setPaused(pauses), context(g_main_context_new()), loop(g_main_loop_new(context, FALSE)),
          thread([this] {
              g_main_context_push_thread_default(context);
              g_main_loop_run(loop);
              leave();
              g_main_context_pop_thread_default(context);
          }) {}
    ~Thread() {
        post([this] { g_main_loop_quit(loop); });
        thread.join();
        g_main_loop_unref(loop);
        g_main_context_unref(context);
    }
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    void post(std::function<void()> work) {
        {
            const std::lock_guard guard(lock);
            waiting.push_back(std::move(work));
        }
        GSource* const source = g_idle_source_new();
        g_source_set_priority(source, G_PRIORITY_DEFAULT);
        g_source_set_callback(
            source,
            [](gpointer self) -> gboolean {
                static_cast<Thread*>(self)->workOff();
                return G_SOURCE_REMOVE;
            },
            this, nullptr);
        g_source_attach(source, context);
        g_source_unref(source);
    }

    void show(const std::optional<SidebarEntry>& entry) {
        if (!entry || entry->roots.empty()) {
            leave();
            return;
        }
        if (!account && !enter()) return;
        const std::string details =
            platform::filled(shown(entry->details.format.c_str()).c_str(), entry->details.arguments);
        cloud_providers_account_exporter_set_status(account.get(), statusOf(entry->state));
        cloud_providers_account_exporter_set_status_details(account.get(), details.c_str());
        cloud_providers_account_exporter_set_path(account.get(), entry->roots.front().c_str());
        if (!last || last->roots != entry->roots || last->isPaused != entry->isPaused)
            fill(menu.get(), *entry);
        last = entry;
    }

  private:
    void workOff() {
        std::vector<std::function<void()>> now;
        {
            const std::lock_guard guard(lock);
            now.swap(waiting);
        }
        for (const std::function<void()>& work : now)
            work();
    }
    bool enter() {
        bus.reset(connectionOfItsOwn());
        if (!bus) return false; // it has gone, and the process goes with it
        provider.reset(
            cloud_providers_provider_exporter_new(bus.get(), SIDEBAR_BUS_NAME, SIDEBAR_OBJECT_PATH));
        cloud_providers_provider_exporter_set_name(provider.get(), "TovikDrive");
        // The provider holds the account too.
        account.reset(CLOUD_PROVIDERS_ACCOUNT_EXPORTER(
            g_object_ref(cloud_providers_account_exporter_new(provider.get(), "space"))));
        cloud_providers_account_exporter_set_name(account.get(), "TovikDrive");
        const Reference<GIcon> icon(g_themed_icon_new("tsyncfinder-symbolic"));
        cloud_providers_account_exporter_set_icon(account.get(), icon.get());
        menu.reset(g_menu_new());
        cloud_providers_account_exporter_set_menu_model(account.get(),
                                                        G_MENU_MODEL(menu.get())); // once for all
        const auto actions = makeActions();
        cloud_providers_account_exporter_set_action_group(account.get(), G_ACTION_GROUP(actions.get()));
        name = g_bus_own_name_on_connection(bus.get(), SIDEBAR_BUS_NAME, G_BUS_NAME_OWNER_FLAGS_NONE, nullptr,
                                            nullptr, nullptr, nullptr);
        return true;
    }

    void leave() {
        if (name != 0) g_bus_unown_name(std::exchange(name, 0U));
        if (account) cloud_providers_provider_exporter_remove_account(provider.get(), account.get());
        account.reset();
        menu.reset();
        provider.reset();
        if (bus) g_dbus_connection_close_sync(bus.get(), nullptr, nullptr);
        bus.reset();
        last.reset();
    }

    Reference<GSimpleActionGroup> makeActions() {
        Reference<GSimpleActionGroup> actions(g_simple_action_group_new());
        static const GActionEntry entries[] = {
            {"open",
             [](GSimpleAction*, GVariant* path, gpointer self) {
                 openFolder(static_cast<Thread*>(self)->bus.get(), g_variant_get_string(path, nullptr));
             },
             "s",
             nullptr,
             nullptr,
             {}},
            {"pause",
             [](GSimpleAction*, GVariant*, gpointer self) { static_cast<Thread*>(self)->setPaused(true); },
             nullptr,
             nullptr,
             nullptr,
             {}},
            {"resume",
             [](GSimpleAction*, GVariant*, gpointer self) { static_cast<Thread*>(self)->setPaused(false); },
             nullptr,
             nullptr,
             nullptr,
             {}}};
        g_action_map_add_action_entries(G_ACTION_MAP(actions.get()), entries, G_N_ELEMENTS(entries), this);
        return actions;
    }

    const std::function<void(bool pause)>& setPaused;
    std::mutex lock;
    std::vector<std::function<void()>> waiting; // behind the lock
    GMainContext* const context;
    GMainLoop* const loop;
    Reference<GDBusConnection> bus;
    Reference<CloudProvidersProviderExporter> provider; // null: there is no entry
    Reference<CloudProvidersAccountExporter> account;   // of the provider; null with it
    Reference<GMenu> menu;                              // of the account
    guint name = 0;                                     // the bus name's number; 0: not owned
    std::optional<SidebarEntry> last;                   // that is shown
    std::thread thread;                                 // last: it uses the rest
};

CloudProvidersSidebar::CloudProvidersSidebar(std::function<void(bool pause)> pauses)
    : setPaused(std::move(pauses)) {}

CloudProvidersSidebar::~CloudProvidersSidebar() = default;

void CloudProvidersSidebar::show(std::optional<SidebarEntry> entry) {
    const std::lock_guard guard(lock);
    if (!thread && !entry) return;
    if (!thread) thread = std::make_unique<Thread>(setPaused);
    thread->post([to = thread.get(), entry = std::move(entry)] { to->show(entry); });
}

} // namespace backends::cloud_providers
