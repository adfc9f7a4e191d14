#include "backends/secret/secret_service.h"

#include "backends/secret/secret_errors.h"
#include "platform/utf8.h"

#include <libsecret/secret.h>

#include <algorithm>
#include <tuple>
#include <vector>

namespace backends::secret {
namespace {

using platform::SecretAnswer;
using platform::SecretAttribute;
using platform::SecretBytes;
using platform::SecretStatus;

struct Release {
    void operator()(::SecretValue* value) const { secret_value_unref(value); }
    void operator()(GHashTable* table) const { g_hash_table_unref(table); }
    void operator()(GError* error) const { g_error_free(error); }
    void operator()(gchar* text) const { g_free(text); }
    void operator()(gpointer object) const { g_object_unref(object); }
};
template <typename T>
using Owned = std::unique_ptr<T, Release>;

using Service = Owned<::SecretService>;
using Collection = Owned<::SecretCollection>;
using Item = Owned<::SecretItem>;
using Attributes = Owned<GHashTable>;

// Ends a call with its status; goes no further than answerOf and statusOf.
struct Failure {
    SecretStatus status;
};

// Runs one call of the library, which takes the place for its error, and gives its result away. What stands
// for failure (null, false) without an error is passed on: it may be an answer too.
template <typename Call>
auto checked(Call&& call) {
    GError* raised = nullptr;
    const auto result = call(&raised);
    if (const Owned<GError> error(raised); error) throw Failure{statusOfError(error.get())};
    return result;
}

// The same for a call whose null or false always means failure.
template <typename Call>
auto required(Call&& call) {
    const auto result = checked(call);
    if (!result) throw Failure{statusOfError(nullptr)};
    return result;
}

template <typename Answer, typename Call>
Answer answerOf(Call&& call) {
    try {
        return {SecretStatus::success, call()};
    } catch (const Failure& failure) {
        return {failure.status, {}};
    }
}

template <typename Call>
SecretStatus statusOf(Call&& call) {
    try {
        call();
        return SecretStatus::success;
    } catch (const Failure& failure) {
        return failure.status;
    }
}

// The bus and the library speak of texts that end with a zero byte.
bool isText(std::string_view bytes) {
    return platform::isUtf8(bytes) && bytes.find('\0') == std::string_view::npos;
}

std::string textOf(std::string_view bytes) {
    if (!isText(bytes)) throw Failure{SecretStatus::badParameter};
    return std::string(bytes);
}

constexpr const char* serviceAttribute = "service";
constexpr const char* accountAttribute = "account";
constexpr const char* commentAttribute = "comment";

// The item attribute behind a tag; null for the label, which is a property.
const char* attributeName(SecretAttribute tag) {
    switch (tag) {
    case SecretAttribute::serviceName:
        return serviceAttribute;
    case SecretAttribute::accountName:
        return accountAttribute;
    case SecretAttribute::comment:
        return commentAttribute;
    case SecretAttribute::label:
        return nullptr;
    }
    throw Failure{SecretStatus::noSuchAttribute};
}

Attributes noAttributes() {
    return Attributes(g_hash_table_new_full(g_str_hash, g_str_equal, g_free, g_free));
}

void set(const Attributes& attributes, const char* name, const std::string& text) {
    g_hash_table_replace(attributes.get(), g_strdup(name), g_strdup(text.c_str()));
}

// In the library's memory, which is neither swapped nor dumped.
Owned<::SecretValue> valueOf(std::string_view password) {
    const char* type = isText(password) ? "text/plain" : "application/octet-stream";
    return Owned<::SecretValue>(
        secret_value_new(password.data(), static_cast<gssize>(password.size()), type));
}

std::string pathOf(gpointer proxy) { return g_dbus_proxy_get_object_path(G_DBUS_PROXY(proxy)); }

// The objects of a list that the library gave away.
template <typename T>
std::vector<Owned<T>> takeList(GList* list) {
    std::vector<Owned<T>> objects;
    for (const GList* at = list; at; at = at->next)
        objects.emplace_back(static_cast<T*>(at->data));
    g_list_free(list);
    return objects;
}

// The store, for one call.
class Connection {
  public:
    Connection() {
        bus.reset(
            required([](GError** error) { return g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, error); }));
        // A lost session bus is a failed call, not the end of the process.
        g_dbus_connection_set_exit_on_close(bus.get(), FALSE);
        service.reset(required([](GError** error) {
            return secret_service_open_sync(SECRET_TYPE_SERVICE, nullptr, SECRET_SERVICE_NONE, nullptr,
                                            error);
        }));
    }

    // Unlocked; null for the default collection when there is none yet.
    Collection collection(const platform::SecretCollection& name) const {
        Collection found = collectionOfAlias(name ? textOf(*name) : SECRET_COLLECTION_DEFAULT);
        if (!found && name) {
            found = collectionOfTitle(*name);
            if (!found) throw Failure{SecretStatus::noSuchCollection};
        }
        if (found && secret_collection_get_locked(found.get())) unlock(found.get());
        return found;
    }

    // Makes the default collection, as the first program of a desktop that stores something does; the store
    // asks the user for its password.
    Collection makeDefaultCollection() const {
        try {
            return Collection(required([this](GError** error) {
                return secret_collection_create_sync(service.get(), "Default keyring",
                                                     SECRET_COLLECTION_DEFAULT, SECRET_COLLECTION_CREATE_NONE,
                                                     nullptr, error);
            }));
        } catch (const Failure& failure) {
            // After a refused prompt the library looks for the collection that was not made.
            const bool refused = failure.status == SecretStatus::itemNotFound;
            throw Failure{refused ? SecretStatus::userCanceled : failure.status};
        }
    }

    Collection collectionOf(const Item& item) const {
        const std::string path = pathOf(item.get());
        return Collection(required([&](GError** error) {
            return secret_collection_new_for_dbus_path_sync(service.get(),
                                                            path.substr(0, path.rfind('/')).c_str(),
                                                            SECRET_COLLECTION_NONE, nullptr, error);
        }));
    }

    // Unlocked.
    Item item(const platform::SecretItem& reference) const {
        if (!g_variant_is_object_path(reference.identifier.c_str()))
            throw Failure{SecretStatus::itemNotFound};
        Item found = load(reference);
        if (!secret_item_get_locked(found.get())) return found;
        unlock(found.get());
        return load(reference); // a locked item hides what it holds
    }

  private:
    Collection collectionOfAlias(const std::string& alias) const {
        return Collection(checked([&](GError** error) {
            return secret_collection_for_alias_sync(service.get(), alias.c_str(), SECRET_COLLECTION_NONE,
                                                    nullptr, error);
        }));
    }

    Collection collectionOfTitle(const std::string& title) const {
        required([this](GError** error) {
            return secret_service_load_collections_sync(service.get(), nullptr, error);
        });
        for (Collection& candidate :
             takeList<::SecretCollection>(secret_service_get_collections(service.get()))) {
            const Owned<gchar> label(secret_collection_get_label(candidate.get()));
            if (title == label.get()) return std::move(candidate);
        }
        return nullptr;
    }

    Item load(const platform::SecretItem& reference) const {
        return Item(required([&](GError** error) {
            return secret_item_new_for_dbus_path_sync(service.get(), reference.identifier.c_str(),
                                                      SECRET_ITEM_NONE, nullptr, error);
        }));
    }

    void unlock(gpointer object) const {
        GList objects{object, nullptr, nullptr};
        const int unlocked = checked([&](GError** error) {
            return secret_service_unlock_sync(service.get(), &objects, nullptr, nullptr, error);
        });
        if (unlocked < 1) throw Failure{SecretStatus::userCanceled};
    }

    Owned<GDBusConnection> bus;
    Service service;
};

// The entries of that service name, the oldest first.
std::vector<platform::SecretItem> itemsOf(const Collection& collection, const std::string& serviceName) {
    const Attributes attributes = noAttributes();
    set(attributes, serviceAttribute, serviceName);
    std::vector<std::tuple<guint64, std::string>> found;
    for (const Item& item : takeList<::SecretItem>(checked([&](GError** error) {
             return secret_collection_search_sync(collection.get(), nullptr, attributes.get(),
                                                  SECRET_SEARCH_ALL, nullptr, error);
         })))
        found.emplace_back(secret_item_get_created(item.get()), pathOf(item.get()));
    std::ranges::sort(found);
    std::vector<platform::SecretItem> items;
    items.reserve(found.size());
    for (auto& [created, path] : found)
        items.push_back({std::move(path)});
    return items;
}

class SecretService final : public platform::SecretStore {
  public:
    SecretStatus add(const platform::SecretCollection& name, std::string_view serviceName) override {
        return statusOf([&] {
            const std::string text = textOf(serviceName);
            const Connection store;
            Collection collection = store.collection(name);
            if (!collection) collection = store.makeDefaultCollection();
            if (!itemsOf(collection, text).empty()) throw Failure{SecretStatus::duplicateItem};
            const Attributes attributes = noAttributes();
            set(attributes, "xdg:schema", "org.freedesktop.Secret.Generic");
            set(attributes, serviceAttribute, text);
            set(attributes, accountAttribute, "");
            Item(required([&](GError** error) {
                return secret_item_create_sync(collection.get(), nullptr, attributes.get(), text.c_str(),
                                               valueOf("").get(), SECRET_ITEM_CREATE_NONE, nullptr, error);
            }));
        });
    }

    SecretAnswer<std::optional<platform::SecretItem>> find(const platform::SecretCollection& name,
                                                           std::string_view serviceName) override {
        return answerOf<SecretAnswer<std::optional<platform::SecretItem>>>([&] {
            const std::string text = textOf(serviceName);
            const Connection store;
            const Collection collection = store.collection(name);
            if (!collection) throw Failure{SecretStatus::itemNotFound};
            std::vector<platform::SecretItem> items = itemsOf(collection, text);
            if (items.empty()) throw Failure{SecretStatus::itemNotFound};
            return std::move(items.front());
        });
    }

    SecretStatus remove(const platform::SecretItem& reference) override {
        return statusOf([&] {
            const Connection store;
            const Item item = store.item(reference);
            required([&](GError** error) { return secret_item_delete_sync(item.get(), nullptr, error); });
        });
    }

    SecretAnswer<SecretBytes> password(const platform::SecretItem& reference) override {
        return answerOf<SecretAnswer<SecretBytes>>([&] {
            const Connection store;
            const Item item = store.item(reference);
            required(
                [&](GError** error) { return secret_item_load_secret_sync(item.get(), nullptr, error); });
            const Owned<::SecretValue> value(secret_item_get_secret(item.get()));
            if (!value) throw Failure{SecretStatus::decodeFailed};
            gsize length = 0;
            const gchar* bytes = secret_value_get(value.get(), &length);
            return SecretBytes(std::string_view(bytes, length));
        });
    }

    SecretStatus setPassword(const platform::SecretItem& reference, std::string_view password) override {
        return statusOf([&] {
            const Connection store;
            const Item item = store.item(reference);
            const Owned<::SecretValue> value = valueOf(password);
            required([&](GError** error) {
                return secret_item_set_secret_sync(item.get(), value.get(), nullptr, error);
            });
        });
    }

    SecretAnswer<std::string> attribute(const platform::SecretItem& reference, SecretAttribute tag) override {
        return answerOf<SecretAnswer<std::string>>([&]() -> std::string {
            const char* name = attributeName(tag);
            const Connection store;
            const Item item = store.item(reference);
            if (!name) return Owned<gchar>(secret_item_get_label(item.get())).get();
            const Attributes attributes(secret_item_get_attributes(item.get()));
            const auto* text = static_cast<const char*>(g_hash_table_lookup(attributes.get(), name));
            return text ? text : "";
        });
    }

    SecretStatus setAttribute(const platform::SecretItem& reference, SecretAttribute tag,
                              std::string_view bytes) override {
        return statusOf([&] {
            const char* name = attributeName(tag);
            const std::string text = textOf(bytes);
            const Connection store;
            const Item item = store.item(reference);
            if (!name) {
                required([&](GError** error) {
                    return secret_item_set_label_sync(item.get(), text.c_str(), nullptr, error);
                });
                return;
            }
            if (tag == SecretAttribute::serviceName)
                for (const platform::SecretItem& other : itemsOf(store.collectionOf(item), text))
                    if (other != reference) throw Failure{SecretStatus::duplicateItem};
            const Attributes attributes(secret_item_get_attributes(item.get()));
            set(attributes, name, text);
            required([&](GError** error) {
                return secret_item_set_attributes_sync(item.get(), nullptr, attributes.get(), nullptr, error);
            });
        });
    }
};

} // namespace

std::unique_ptr<platform::SecretStore> makeSecretService() { return std::make_unique<SecretService>(); }

} // namespace backends::secret
