// The two services on a real bus: against the introspection files, and with hosts that leave or do not read.
#include "backends/dbus/FinderSync1Service.h"
#include "backends/dbus/FinderSync1Signals.h"
#include "backends/dbus/UnreadBytes.h"
#include "backends/posix/SerialQueue.h"
#include "protocol/messages.h"
#include "protocol/names.h"
#include "tests/extension/ExtensionParts.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/fakes.h"

#include <gtest/gtest.h>
#include <linux/sockios.h>
#include <sys/ioctl.h>

#include <atomic>
#include <future>
#include <optional>
#include <regex>
#include <set>

namespace {

std::string attribute(const std::string& tag, const std::string& name) {
    std::smatch found;
    return std::regex_search(tag, found, std::regex(" " + name + "=\"([^\"]*)\"")) ? found[1].str() : "";
}

// Each member of an interface as one text: "method Activate in s:item in as:uris … out t:number", or without
// the arguments' names "method Activate sas>t".
std::set<std::string> membersOf(const std::string& xml, const std::string& interface, bool named = true) {
    const std::string plain = std::regex_replace(xml, std::regex("<!--[^]*?-->"), "");
    const std::size_t start = plain.find("<interface name=\"" + interface + "\"");
    const std::string body = plain.substr(start, plain.find("</interface>", start) - start);
    std::set<std::string> members;
    std::string member, in, out;
    const std::regex tags("<(/?)(method|signal|arg)\\b[^>]*>");
    for (std::sregex_iterator tag(body.begin(), body.end(), tags); tag != std::sregex_iterator(); ++tag) {
        const std::string text = tag->str();
        const bool isEnd = (*tag)[1].length() > 0;
        if ((*tag)[2] == "arg") {
            const bool goesIn = attribute(text, "direction") == "in";
            const std::string type = attribute(text, "type");
            (goesIn ? in : out) += type;
            if (named) member += (goesIn ? " in " : " out ") + type + ":" + attribute(text, "name");
            continue;
        }
        if (!isEnd) member = (*tag)[2].str() + " " + attribute(text, "name");
        if (!isEnd && !text.ends_with("/>")) continue;
        members.insert(named ? member : member + " " + in + ">" + out);
        in = out = "";
    }
    return members;
}

std::string fileNamed(const std::string& interface) {
    return support::contentOf(INTROSPECTION_FOLDER "/" + interface + ".xml");
}

TEST(Services, TheDaemonsProtocolIsTheOneOfItsIntrospectionFile) {
    std::set<std::string> table; // what client and sandbox go by
    for (const protocol::Message& message : protocol::messages)
        table.insert("method " + std::string(message.member) + " " + std::string(message.arguments) + ">" +
                     std::string(message.reply));
    EXPECT_EQ(table, membersOf(fileNamed(TSYNC_INTERFACE), TSYNC_INTERFACE, false));
}

// A process that asks the extension, and counts the signals that it gets.
class Host {
  public:
    explicit Host(bool isReading = true) {
        slot = connection->addMatch("type='signal',member='BadgesChanged'", [this](sdbus::Message& signal) {
            std::uint64_t sequence = 0;
            std::vector<sdbus::Struct<std::string, std::vector<std::string>>> directories;
            signal >> sequence >> directories;
            lastDirectories = directories.size();
            ++signals;
        });
        if (isReading) read();
    }
    void read() { connection->enterEventLoopAsync(); }
    std::string name() { return connection->getUniqueName(); }
    // Waits for no answer.
    void observe(const std::string& uri) {
        auto call = proxy->createMethodCall(FINDER_SYNC_INTERFACE, "BeginObserving");
        call << uri;
        call.dontExpectReply();
        proxy->callMethod(call);
    }
    void askForMenus() {
        auto call = proxy->createMethodCall(FINDER_SYNC_INTERFACE, FINDER_SYNC_MENUS_BY_CLASS);
        proxy->callMethod(call, [](sdbus::MethodReply&, const sdbus::Error*) {});
    }
    // What the socket has no room for while nothing is read would be sent by nobody.
    void flush() {
        const int socket = connection->getEventLoopPollData().fd;
        EXPECT_TRUE(support::eventually([socket] {
            int unsent = 1;
            return ::ioctl(socket, SIOCOUTQ, &unsent) == 0 && unsent == 0;
        }));
    }
    std::vector<sdbus::Struct<std::string, bool, bool>> badges(const std::vector<std::string>& uris) {
        std::uint64_t sequence = 0;
        std::vector<sdbus::Struct<std::string, bool, bool>> answers;
        proxy->callMethod("BadgesForItems")
            .onInterface(FINDER_SYNC_INTERFACE)
            .withTimeout(support::deadline)
            .withArguments(uris)
            .storeResultsTo(sequence, answers);
        return answers;
    }
    void activate(const std::string& display, const std::string& option) {
        proxy->callMethod("Activate")
            .onInterface(FINDER_SYNC_INTERFACE)
            .withTimeout(support::deadline)
            .withArguments("item", std::vector<std::string>(),
                           std::map<std::string, std::string>{{"DISPLAY", display}}, "",
                           std::map<std::string, sdbus::Variant>{{"option", option}});
    }
    // Of the bus about a process.
    std::uint32_t figure(const std::string& process, const char* which) {
        std::map<std::string, sdbus::Variant> figures;
        sdbus::createProxy(*connection, "org.freedesktop.DBus", "/org/freedesktop/DBus")
            ->callMethod("GetConnectionStats")
            .onInterface("org.freedesktop.DBus.Debug.Stats")
            .withTimeout(support::deadline)
            .withArguments(process)
            .storeResultsTo(figures);
        return figures.at(which).get<std::uint32_t>();
    }

    std::atomic<std::size_t> signals = 0;
    std::atomic<std::size_t> lastDirectories = 0;

  private:
    std::unique_ptr<sdbus::IConnection> connection = sdbus::createSessionBusConnection();
    std::unique_ptr<sdbus::IProxy> proxy =
        sdbus::createProxy(*connection, FINDER_SYNC_BUS_NAME, FINDER_SYNC_OBJECT_PATH);
    sdbus::Slot slot;
};

class HostsTest : public testing::Test, protected support::ExtensionParts {
  protected:
    support::PrivateBus sessionBus;
    std::optional<backends::posix::SerialQueue> model{std::in_place, "model"};
    backends::posix::SerialQueue& queue = *model;
    backends::dbus::Bus bus{"service"};
    backends::dbus::UnreadBytes unread{bus, platform::machineClock()};
    backends::dbus::FinderSync1Signals signals{bus, unread};
    host_service::HostTables tables{signals};
    extension::FinderSync finderSync{forFinderSync(tables, &queue)};
    host_service::HostService hosts{
        {finderSync, tables, signals, disk, log, platform::machineClock(), queue, queue, queue, queue, {}}};
    // Goes after the service, whose last words it still takes in, and before those who are told of them.
    struct End {
        std::optional<backends::posix::SerialQueue>& model;
        ~End() { model.reset(); }
    } end{model};
    host_service::ItemDescriptions descriptions{{hosts, finderSync, *client, queue}};
    backends::dbus::FinderSync1Service service{{bus, hosts, descriptions, unread, log}, "1"};
    bool hasOtherRoot = false;

    void SetUp() override {
        bus.start([] {});
        ASSERT_TRUE(service.requestName());
    }
    // What is still said of them would reach objects that are going.
    void TearDown() override {
        EXPECT_TRUE(support::eventually([&] { return count("hosts") == 0; }));
    }
    void changeRoots() {
        hasOtherRoot = !hasOtherRoot;
        refresh({{"/R", "/r"}, {"/S", hasOtherRoot ? "/s" : "/t"}});
    }
    std::int64_t count(const char* entry) {
        std::promise<platform::Dictionary> status;
        hosts.status([&](const platform::Dictionary& given) { status.set_value(given); });
        return *status.get_future().get().at(entry).signedInteger();
    }
};

TEST_F(HostsTest, TheHostInterfaceIsTheOneOfItsIntrospectionFile) {
    std::string xml;
    const auto connection = sdbus::createSessionBusConnection();
    sdbus::createProxy(*connection, FINDER_SYNC_BUS_NAME, FINDER_SYNC_OBJECT_PATH)
        ->callMethod("Introspect")
        .onInterface("org.freedesktop.DBus.Introspectable")
        .storeResultsTo(xml);
    EXPECT_EQ(membersOf(xml, FINDER_SYNC_INTERFACE),
              membersOf(fileNamed(FINDER_SYNC_INTERFACE), FINDER_SYNC_INTERFACE));
}

TEST_F(HostsTest, AHostThatDoesNotReadSilencesNoOther) {
    Host deaf(false);
    Host living;
    Host neighbour;
    constexpr std::size_t directories = 4000;
    for (std::size_t i = 0; i < directories; ++i) {
        deaf.observe("file:///r/" + std::string(250, 'x') + std::to_string(i)); // a signal has 1 MB
        if (i % 50 == 0) deaf.flush();
    }
    EXPECT_TRUE(support::eventually([&] { return count("observed") == directories; }));
    living.observe("file:///r");
    EXPECT_TRUE(support::eventually([&] { return count("hosts") == 2; }));
    for (std::size_t change = 1; change <= 6; ++change) {
        changeRoots();
        ASSERT_TRUE(support::eventually([&] { return living.signals == change; }));
    }
    EXPECT_LT(living.figure(deaf.name(), "PeakOutgoingBytes"), 2'500'000U);
    EXPECT_EQ(neighbour.signals, 0U) << "what is for one host wakes no other";
    for (int i = 0; i < 8000; ++i) { // of more than a kilobyte
        deaf.askForMenus();
        if (i % 50 == 0) deaf.flush();
    }
    EXPECT_TRUE(support::eventually([&] { return unread.exceeds(deaf.name(), 4'000'000); }));
    for (int i = 0; i < 100; ++i)
        living.badges({});
    EXPECT_LT(living.figure(deaf.name(), "PeakOutgoingBytes"), 6'000'000U) << "no answers either";
    deaf.read(); // then it is told what it has missed
    EXPECT_TRUE(
        support::eventually([&] { return deaf.signals == 2 && deaf.lastDirectories == directories; }));

    // An answer of some megabytes comes whole.
    EXPECT_EQ(living.badges(std::vector<std::string>(100'000, "file:///r")).size(), 100'000U);
    const std::string large(2'000'000, 'x'), tooMuch = "the message would take too much memory";
    const std::pair<std::function<void()>, std::string> refused[] = {
        {[&] { living.badges(std::vector<std::string>(300'000)); }, "at most 250000 texts are taken at once"},
        {[&] { living.badges(std::vector<std::string>(100'000)); }, tooMuch},
        {[&] { living.activate(large, ""); }, tooMuch},
        {[&] { living.activate("", large); }, tooMuch},
    };
    for (const auto& [call, reason] : refused) {
        EXPECT_THROW(call(), sdbus::Error);
        EXPECT_EQ(log.take().back(), "Refused a call of " + living.name() + ": " + reason);
    }
}

TEST(UnreadBytes, AreFewerForEachOfManyTogether) {
    using backends::dbus::UnreadBytes;
    constexpr std::size_t limit = std::size_t{2} << 20;
    const support::PrivateBus sessionBus;
    backends::dbus::Bus bus("sender");
    UnreadBytes unread(bus, platform::machineClock());
    const auto deaf = sdbus::createSessionBusConnection();
    const auto object = sdbus::createObject(bus.connection(), "/sender");
    auto signal = object->createSignal("an.interface", "Signal");
    signal.setDestination(deaf->getUniqueName());
    signal << std::string(limit / 2, 'x');
    object->emitSignal(signal);
    unread.comes(deaf->getUniqueName());
    unread.sent(deaf->getUniqueName(), limit / 2);
    EXPECT_FALSE(unread.exceeds(deaf->getUniqueName(), limit));
    unread.comes("another");
    unread.sent("another", UnreadBytes::mostTogether);
    EXPECT_TRUE(unread.exceeds(deaf->getUniqueName(), limit));
    EXPECT_FALSE(unread.exceeds("another", limit)) << "the bus keeps nothing for it";
    EXPECT_FALSE(unread.exceeds(deaf->getUniqueName(), limit));

    unread.sent("another", 2 * limit);
    sessionBus.send(SIGSTOP);
    EXPECT_TRUE(unread.exceeds("another", limit)) << "what a busy bus does not tell may still wait";
    sessionBus.send(SIGCONT);
    EXPECT_TRUE(support::eventually([&] { return !unread.exceeds("another", limit); }));
}

TEST_F(HostsTest, AHostThatHasGoneLeavesNothing) {
    Host living;
    living.observe("file:///r");
    for (int i = 0; i < 100; ++i)
        Host(false).observe("file:///r/d");
    EXPECT_EQ(living.badges({"file:///r"}).size(), 1U);
    EXPECT_TRUE(support::eventually([&] { return count("hosts") == 1 && count("observed") == 1; }));
    EXPECT_LT(living.figure(bus.connection().getUniqueName(), "MatchRules"), 5U);
}

} // namespace
