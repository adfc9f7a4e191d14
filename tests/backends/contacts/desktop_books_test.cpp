#include "backends/contacts/DesktopBooks.h"
#include "tests/support/GBus.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/enter_home.h"
#include "tests/support/fakes.h"

#include <gio/gio.h>
#include <gmock/gmock.h>

#include <future>

namespace backends::contacts {
namespace {

const std::string serverName = "org.gnome.evolution.dataserver.";
const std::string serverPath = "/org/gnome/evolution/dataserver/";

struct NoPeople final : platform::AddressBook {
    std::vector<platform::Person> people() override { return {}; }
};

// Whoever is found until the book says that those were all.
std::vector<std::string> everybody() {
    NoPeople first;
    support::RecordingLog log;
    DesktopBooks books(first, log);
    std::vector<std::string> names;
    std::promise<void> all;
    books.readFurther([&](const std::vector<platform::Person>& people) {
        for (const platform::Person& person : people)
            names.push_back(person.firstName.value_or("") + " " + person.lastName.value_or("") + " " +
                            person.emails.front());
        if (people.empty()) all.set_value();
    });
    all.get_future().wait();
    EXPECT_THAT(log.lines(), testing::IsEmpty());
    return names;
}

// As another program of the desktop uses the server.
class Desktop {
  public:
    explicit Desktop(const support::TemporaryFolder& home) {
        bus = support::newBusConnection();
        home.write("config/evolution/sources/hidden.source",
                   "[Data Source]\nDisplayName=Hidden\nEnabled=true\nParent=local-stub\n\n"
                   "[Address Book]\nBackendName=local\n\n[Autocomplete]\nIncludeMe=false\n");
    }
    ~Desktop() { g_object_unref(bus); }
    Desktop(const Desktop&) = delete;
    Desktop& operator=(const Desktop&) = delete;

    GVariant* call(const std::string& name, const std::string& path, const std::string& method,
                   GVariant* arguments) {
        GError* error = nullptr;
        GVariant* const answer = g_dbus_connection_call_sync(
            bus, name.c_str(), path.c_str(), method.substr(0, method.rfind('.')).c_str(),
            method.substr(method.rfind('.') + 1).c_str(), arguments, nullptr, G_DBUS_CALL_FLAGS_NONE, 60'000,
            nullptr, &error);
        EXPECT_EQ(error, nullptr) << method << ": " << error->message;
        return answer;
    }
    bool runs(const std::string& name) {
        GVariant* const answer =
            call("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus.NameHasOwner",
                 g_variant_new("(s)", (serverName + name).c_str()));
        gboolean has = FALSE;
        g_variant_get(answer, "(b)", &has);
        g_variant_unref(answer);
        return has != FALSE;
    }
    void add(const char* book, const std::string& name) {
        GVariant* const opened =
            call(serverName + "AddressBook10", serverPath + "AddressBookFactory",
                 serverName + "AddressBookFactory.OpenAddressBook", g_variant_new("(s)", book));
        const char* path = nullptr;
        const char* owner = nullptr;
        g_variant_get(opened, "(&s&s)", &path, &owner);
        g_variant_unref(call(owner, path, serverName + "AddressBook.Open", nullptr));
        const std::string cards[] = {"BEGIN:VCARD\nVERSION:3.0\nN:Lee;" + name + ";;;\nEMAIL:" + name +
                                         "@x.org\nEND:VCARD\n",
                                     "BEGIN:VCARD\nVERSION:3.0\nN:Without;Mail;;;\nEND:VCARD\n"};
        const char* const texts[] = {cards[0].c_str(), cards[1].c_str()};
        g_variant_unref(call(owner, path, serverName + "AddressBook.CreateContacts",
                             g_variant_new("(@asu)", g_variant_new_strv(texts, 2), 0U)));
        g_variant_unref(opened);
    }

  private:
    GDBusConnection* bus = nullptr;
};

TEST(DesktopBooks, AsksTheServerWhereItRunsAndStartsItNowhere) {
    const support::TemporaryFolder home;
    support::enterHome(home.path());
    ::setenv("GSETTINGS_BACKEND", "memory", 1);
    for (const auto& [name, program] : {std::pair("Sources5", "evolution-source-registry"),
                                        {"AddressBook10", "evolution-addressbook-factory"}})
        home.write(std::string("services/") + name + ".service",
                   "[D-BUS Service]\nName=" + serverName + name + "\nExec=/usr/libexec/" + program + "\n");
    const support::PrivateBus bus(
        home.write("bus.conf", "<busconfig><include>" TSYNCFINDER_PRIVATE_BUS "</include><servicedir>" +
                                   home.path() + "/services</servicedir></busconfig>"));
    Desktop desktop(home);
    EXPECT_THAT(everybody(), testing::IsEmpty());
    EXPECT_FALSE(desktop.runs("Sources5"));
    EXPECT_FALSE(desktop.runs("AddressBook10"));

    desktop.add("system-address-book", "Zoë");
    desktop.add("hidden", "Nobody");
    EXPECT_THAT(everybody(), testing::ElementsAre("Zoë Lee Zoë@x.org"));
}

} // namespace
} // namespace backends::contacts
