// What a hostile sender may put into a message: the memory that it takes, and what a real bus carries.
#include "backends/dbus/Bus.h"
#include "backends/dbus/DistributedCenter.h"
#include "backends/dbus/raw_message.h"
#include "backends/dbus/value_coding.h"
#include "protocol/names.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/counted_memory.h"
#include "tests/support/fakes.h"

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
    EXPECT_EQ(Dictionary({{"c", 1}, {"b", 4}, {"a", 3}, {"b", 4}}),
              Dictionary({{"a", 3}, {"b", 4}, {"c", 1}}));
}

TEST_F(NotificationTest, SurvivesWrongTypesAndTooMuchMemory) {
    send("Note");
    send("Note", 7, "x");
    send("Note", "", std::map<int, sdbus::Variant>{});
    send("Note", "", std::map<std::string, std::string>{{"k", "v"}});
    send("Note", "",
         Variants{{"odd", std::map<std::uint32_t, std::string>{{1, "a"}}},
                  {"struct", sdbus::make_struct(std::uint8_t{1}, sdbus::ObjectPath("/p"), 2.0)}});
    send("Note", "", Variants{{"bytes", std::vector<std::uint8_t>(400'000)}});
    send("Note", "", Variants{{"text", std::string(4'000'000, 'x')}});
    send("End", "", Variants{});
    ASSERT_EQ(ended.get_future().wait_for(support::deadline), std::future_status::ready);
    ASSERT_EQ(seen.size(), 3U);
    EXPECT_EQ(Value(seen[0].userInfo), Value(Dictionary{{"k", "v"}}));
    EXPECT_EQ(seen[1].userInfo.at("odd"), Value(Dictionary())) << "a key that is not a string is left out";
    EXPECT_EQ(seen[1].userInfo.at("struct"), Value(Array{1, "/p", 2.0}));
    EXPECT_EQ(log.count("Ignored a notification Note that does not have the form of one"), 3U);
    EXPECT_EQ(log.count("Ignored a notification Note: the message would take too much memory"), 1U);
}

// Shapes of values by their bytes on the wire; none of a message's header.
struct Shape {
    const char* name;
    const char* signature;
    bool isRead;
    std::size_t largest; // of the messages; what is slow to build is tried with smaller ones
    std::size_t bytesEach;
    void (*append)(sdbus::Message& message, std::size_t number);
};

// Of zeros; built at once, as nothing else that is large.
template <typename Item, char type>
void appendNumbers(sdbus::Message& message, std::size_t number) {
    const std::vector<Item> numbers(number);
    ASSERT_GE(sd_bus_message_append_array(backends::dbus::rawMessage(message), type, numbers.data(),
                                          number * sizeof(Item)),
              0);
}

// A dictionary of variants, with keys of a length.
template <std::size_t keyLength, typename Append>
void appendEntries(sdbus::Message& message, std::size_t number, Append&& appendItem) {
    message.openContainer("{sv}");
    for (std::size_t i = 0; i < number; ++i) {
        std::string key = std::to_string(10'000'000 + i * 7919 % number); // in no order
        key.insert(0, keyLength - key.size(), '/');
        message.openDictEntry("sv");
        message << key;
        appendItem(key);
        message.closeDictEntry();
    }
    message.closeContainer();
}

template <std::size_t pathLength>
void appendFilesInFlight(sdbus::Message& message, std::size_t number) {
    appendEntries<pathLength>(message, number, [&](const std::string&) {
        message << sdbus::Variant(std::map<std::string, sdbus::Variant>{{"size", std::uint64_t{1}}});
    });
}

constexpr std::size_t KiB = 1024;

const Shape shapes[] = {
    {"bytes", "ay", false, 32 * 1024 * KiB, 1, appendNumbers<std::uint8_t, 'y'>},
    {"numbers", "at", false, 32 * 1024 * KiB, 8, appendNumbers<std::uint64_t, 't'>},
    {"empty texts", "as", false, 1024 * KiB, 8,
     [](sdbus::Message& message, std::size_t number) { message << std::vector<std::string>(number); }},
    {"empty dictionaries", "aa{ss}", false, 1024 * KiB, 8,
     [](sdbus::Message& message, std::size_t number) {
         message << std::vector<std::map<std::string, std::string>>(number);
     }},
    {"empty arrays", "aay", false, 1024 * KiB, 4,
     [](sdbus::Message& message, std::size_t number) {
         message << std::vector<std::vector<std::uint8_t>>(number);
     }},
    {"bytes in variants", "av", false, 1024 * KiB, 4,
     [](sdbus::Message& message, std::size_t number) {
         message.openContainer("v");
         for (std::size_t i = 0; i < number; ++i)
             message << sdbus::Variant(std::uint8_t{1});
         message.closeContainer();
     }},
    {"variants in variants", "av", false, 1024 * KiB, 12,
     [](sdbus::Message& message, std::size_t number) {
         message.openContainer("v");
         for (std::size_t i = 0; i < number; ++i) {
             message.openVariant("v");
             message << sdbus::Variant(std::vector<sdbus::Variant>());
             message.closeVariant();
         }
         message.closeContainer();
     }},
    // What a person may have.
    {"paths", "as", true, 1024 * KiB, 16,
     [](sdbus::Message& message, std::size_t number) {
         message << std::vector<std::string>(number, "/r/s/t/u");
     }},
    {"roots", "a{sv}", true, 1024 * KiB, 48,
     [](sdbus::Message& message, std::size_t number) {
         appendEntries<16>(message, number, [&](const std::string& key) { message << sdbus::Variant(key); });
     }},
    {"files in flight", "a{sv}", true, 1024 * KiB, 64, appendFilesInFlight<17>},
    {"files in flight with short paths", "a{sv}", true, 72 * KiB, 56, appendFilesInFlight<16>},
};

TEST_F(NotificationTest, ReadsNoDeeperThanAValueMayBe) {
    Value deep("bottom");
    for (int levels = 0; levels < 40; ++levels) // deeper than this bus lets through, but not every one
        deep = Array{std::move(deep)};
    auto message = object->createSignal("an.interface", "Unsent");
    backends::dbus::appendValue(message, "av", deep);
    message.seal();
    message.rewind(true);
    std::optional<Value> value = backends::dbus::readValue(message, "av");
    int depth = 0;
    for (const Value* inner = &value.value(); inner != nullptr; ++depth)
        inner = inner->array()->empty() ? nullptr : inner->array()->data();
    EXPECT_EQ(depth, platform::maximumValueDepth);
}

TEST_F(NotificationTest, TakesAtMostFourTimesItsOwnMemory) {
    for (const Shape& shape : shapes) {
        for (const std::size_t size : {72 * KiB, 1024 * KiB, 32 * 1024 * KiB}) {
            if (size > shape.largest) break;
            SCOPED_TRACE(std::string(shape.name) + ", " + std::to_string(size));
            auto message = object->createSignal("an.interface", "Unsent");
            message.openContainer("v");
            message.openVariant(shape.signature);
            shape.append(message, size / shape.bytesEach);
            message.closeVariant();
            message.closeContainer();
            message.seal();
            message.rewind(true);
            const std::size_t before = counted::now;
            counted::peak = before;
            std::optional<Value> value;
            try {
                value = backends::dbus::readValue(message, "av");
            } catch (const sdbus::Error& error) {
                EXPECT_EQ(error.getName(), backends::dbus::limitsExceededError);
            }
            EXPECT_EQ(value.has_value(), shape.isRead);
            EXPECT_LE(counted::peak - before, std::max(256 * KiB, 3 * size) + 2000)
                << "beside the message itself";
        }
    }
}

} // namespace
