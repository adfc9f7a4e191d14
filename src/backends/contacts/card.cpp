#include "backends/contacts/card.h"

#include <libebook-contacts/libebook-contacts.h>

#include <memory>
#include <string_view>
#include <utility>

namespace backends::contacts {
namespace {

struct Unref {
    void operator()(EContact* contact) const { g_object_unref(contact); }
};
struct FreeName {
    void operator()(EContactName* name) const { e_contact_name_free(name); }
};
struct FreeStrings {
    void operator()(GList* strings) const { g_list_free_full(strings, g_free); }
};
struct FreeText {
    void operator()(char* text) const { g_free(text); }
};

// Always UTF-8: bytes that are not text become replacement characters.
std::optional<std::string> text(const char* bytes) {
    if (bytes == nullptr || *bytes == '\0') return std::nullopt;
    const std::unique_ptr<char, FreeText> valid(g_utf8_make_valid(bytes, -1));
    const std::string_view given(valid.get());
    const std::size_t first = given.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos) return std::nullopt;
    return std::string(given.substr(first, given.find_last_not_of(" \t\r\n") - first + 1));
}

} // namespace

std::optional<platform::Person> personOf(const std::string& card) {
    const std::unique_ptr<EContact, Unref> contact(e_contact_new_from_vcard(card.c_str()));
    if (!contact) return std::nullopt;
    platform::Person person;
    // Read before the parts: the library may make one from the other.
    const auto formattedName =
        text(static_cast<const char*>(e_contact_get_const(contact.get(), E_CONTACT_FULL_NAME)));
    const std::unique_ptr<EContactName, FreeName> name(
        static_cast<EContactName*>(e_contact_get(contact.get(), E_CONTACT_NAME)));
    if (name) {
        person.firstName = text(name->given);
        person.lastName = text(name->family);
    }
    if (!person.firstName && !person.lastName) person.firstName = formattedName; // the parts are optional
    const std::unique_ptr<GList, FreeStrings> emails(
        static_cast<GList*>(e_contact_get(contact.get(), E_CONTACT_EMAIL)));
    for (const GList* email = emails.get(); email != nullptr; email = email->next)
        if (auto address = text(static_cast<const char*>(email->data)))
            person.emails.push_back(std::move(*address));
    return person;
}

} // namespace backends::contacts
