// The two services on a real bus against the introspection files, and before the extension has started.
#include "backends/dbus/FinderSync1Service.h"
#include "protocol/messages.h"
#include "protocol/names.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/fakes.h"

#include <gtest/gtest.h>

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
    EXPECT_EQ(table.size(), 42U);
    EXPECT_EQ(table, membersOf(fileNamed(TSYNC_INTERFACE), TSYNC_INTERFACE, false));
}

TEST(Services, TheHostInterfaceIsTheOneOfItsIntrospectionFileAndWaitsForTheStart) {
    const support::PrivateBus sessionBus;
    support::RecordingLog log;
    support::InlineQueue queue;
    host_service::HostService hosts({log, queue, queue, queue}); // nothing is attached
    backends::dbus::Bus bus("service");
    backends::dbus::FinderSync1Service service(bus, hosts, "1");
    bus.start([] {});
    const auto connection = sdbus::createSessionBusConnection();
    const auto proxy =
        sdbus::createProxy(*connection, bus.connection().getUniqueName(), FINDER_SYNC_OBJECT_PATH);
    std::string xml;
    proxy->callMethod("Introspect").onInterface("org.freedesktop.DBus.Introspectable").storeResultsTo(xml);
    EXPECT_EQ(membersOf(xml, FINDER_SYNC_INTERFACE),
              membersOf(fileNamed(FINDER_SYNC_INTERFACE), FINDER_SYNC_INTERFACE));
    try {
        proxy->callMethod(FINDER_SYNC_BADGES_FOR_ITEMS)
            .onInterface(FINDER_SYNC_INTERFACE)
            .withArguments(std::vector<std::string>{"file:///"});
        FAIL() << "answered before the extension has started";
    } catch (const sdbus::Error& error) {
        EXPECT_EQ(error.getName(), "com.quarnhold.TovikDrive_Quen.Error.NotReady");
    }
}

} // namespace
