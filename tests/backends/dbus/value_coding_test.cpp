// What a hostile sender may put into a notification, on a real bus.
#include "backends/dbus/Bus.h"
#include "backends/dbus/DistributedCenter.h"
#include "backends/dbus/value_coding.h"
#include "protocol/names.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/fakes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>
#include <poll.h>

namespace {

using platform::Array;
using platform::Dictionary;
using platform::Value;

class NotificationTest : public testing::Test {
  protected:
    support::PrivateBus sessionBus;
    support::RecordingLog log;
    backends::dbus::Bus bus{"receiver"};
    backends::dbus::DistributedCenter center{bus, log};
    std::unique_ptr<sdbus::IConnection> sender;
    std::unique_ptr<sdbus::IObject> object;
    std::vector<platform::Notification> seen;
    std::promise<void> ended;
    platform::Subscription observer;
    platform::Subscription endObserver;

    void SetUp() override {
        observer = center.addObserver("Note", [this](const auto& note) { seen.push_back(note); });
        endObserver = center.addObserver("End", [this](const auto&) { ended.set_value(); });
        bus.start([] {});
        sender = sdbus::createSessionBusConnection();
        object = sdbus::createObject(*sender, NOTIFICATIONS_OBJECT_PATH);
    }
    // A signal whose arguments the test writes.
    template <typename... Arguments>
    void send(const Arguments&... arguments) {
        auto signal = object->createSignal(NOTIFICATIONS_INTERFACE, NOTIFICATIONS_SIGNAL);
        (signal << ... << arguments);
        object->emitSignal(signal);
        for (;;) { // a large one is not written at once
            const auto wanted = sender->getEventLoopPollData();
            if ((wanted.events & POLLOUT) == 0) return;
            pollfd file{wanted.fd, wanted.events, 0};
            ::poll(&file, 1, -1);
            sender->processPendingRequest();
        }
    }
    using Variants = std::map<std::string, sdbus::Variant>;
};

TEST_F(NotificationTest, CarriesEveryKindOfValue) {
    const Dictionary userInfo{{"text", "ü"},
                              {"flag", true},
                              {"number", -7},
                              {"count", std::uint64_t{UINT64_MAX}},
                              {"real", 2.5},
                              {"list", Array{"a", "b"}},
                              {"mixed", Array{1, "b", Dictionary{{"k", Array{}}}}},
                              {"deep", Dictionary{{"x", Dictionary{{"y", "z"}}}}}};
    EXPECT_TRUE(center.post({"Note", "object", userInfo}));
    EXPECT_FALSE(center.post({"Note", "\xFF", {}})) << "not UTF-8: refused and logged";
    EXPECT_TRUE(center.post({"End", {}, {}})); // from the same sender, so that it comes last
    ASSERT_EQ(ended.get_future().wait_for(support::deadline), std::future_status::ready);
    ASSERT_EQ(seen.size(), 1U);
    EXPECT_EQ(seen[0].object, "object");
    EXPECT_EQ(Value(seen[0].userInfo), Value(userInfo));
}

TEST_F(NotificationTest, SurvivesWrongTypesAndDeepNesting) {
    send("Note");
    send("Note", 7, "x");
    send("Note", "", std::map<int, sdbus::Variant>{});
    send("Note", "", std::map<std::string, std::string>{{"k", "v"}});
    send("Note", "",
         Variants{{"odd", std::map<std::uint32_t, std::string>{{1, "a"}}},
                  {"struct", sdbus::make_struct(std::uint8_t{1}, sdbus::ObjectPath("/p"), 2.0)}});
    auto deep = object->createSignal(NOTIFICATIONS_INTERFACE, NOTIFICATIONS_SIGNAL);
    deep << "Note"
         << "";
    deep.openContainer("{sv}");
    deep.openDictEntry("sv");
    deep << "deep";
    constexpr int levels = 50; // of variants, near the bus's own bound
    for (int i = 0; i < levels; ++i)
        deep.openVariant(i + 1 < levels ? "v" : "s");
    deep << "bottom";
    for (int i = 0; i < levels; ++i)
        deep.closeVariant();
    deep.closeDictEntry();
    deep.closeContainer();
    object->emitSignal(deep);
    send("End", "", Variants{});
    ASSERT_EQ(ended.get_future().wait_for(support::deadline), std::future_status::ready);
    ASSERT_EQ(seen.size(), 3U);
    EXPECT_EQ(Value(seen[0].userInfo), Value(Dictionary{{"k", "v"}}));
    EXPECT_EQ(seen[1].userInfo.at("odd"), Value(Dictionary())) << "a key that is not a string is left out";
    EXPECT_EQ(seen[1].userInfo.at("struct"), Value(Array{1, "/p", 2.0}));
    EXPECT_EQ(log.count("Ignored a notification Note that does not have the form of one"), 3U);
}

TEST_F(NotificationTest, RefusesWhatWouldTakeFarMoreMemoryThanItHasBytes) {
    constexpr std::size_t many = 4'000'000;
    send("Note", "", Variants{{"bytes", std::vector<std::uint8_t>(many)}});
    send("Note", "", Variants{{"texts", std::vector<std::string>(many / 2, "")}});
    // As much as a person may have in flight.
    std::map<std::string, std::map<std::string, std::uint64_t>> files;
    for (std::size_t i = 0; i < 100'000; ++i)
        files.emplace_hint(files.end(), "/r/some file that is uploaded " + std::to_string(1'000'000 + i),
                           std::map<std::string, std::uint64_t>{{"done", i}, {"size", i}});
    send("Note", "", Variants{{"files", files}});
    send("End", "", Variants{});
    ASSERT_EQ(ended.get_future().wait_for(support::deadline), std::future_status::ready);
    EXPECT_EQ(log.count("Ignored a notification Note: the message would take too much memory"), 2U);
    ASSERT_EQ(seen.size(), 1U);
    EXPECT_EQ(seen[0].userInfo.at("files").dictionary()->size(), 100'000U);
}

} // namespace
