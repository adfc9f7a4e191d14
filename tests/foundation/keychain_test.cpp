#include "foundation/keychain.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <vector>

namespace foundation {
namespace {

using platform::SecretAnswer;
using platform::SecretItem;
using platform::SecretStatus;
using testing::ElementsAre;
using testing::IsEmpty;

// Answers each call as the test says.
struct InjectedStore final : platform::SecretStore {
    SecretStatus finding = SecretStatus::success;
    std::optional<SecretItem> item = SecretItem{"/item"};
    SecretStatus acting = SecretStatus::success;
    std::string held;
    std::vector<std::string> changes;

    SecretStatus add(const platform::SecretCollection&, std::string_view) override { return acting; }
    SecretAnswer<std::optional<SecretItem>> find(const platform::SecretCollection&,
                                                 std::string_view) override {
        return {finding, item};
    }
    SecretStatus remove(const SecretItem&) override { return acting; }
    SecretAnswer<platform::SecretBytes> password(const SecretItem&) override {
        return {acting, platform::SecretBytes(std::string_view(held))};
    }
    SecretStatus setPassword(const SecretItem&, std::string_view password) override {
        changes.emplace_back(password);
        return acting;
    }
    SecretAnswer<std::string> attribute(const SecretItem&, platform::SecretAttribute) override {
        return {acting, held};
    }
    SecretStatus setAttribute(const SecretItem&, platform::SecretAttribute tag,
                              std::string_view bytes) override {
        changes.push_back(std::to_string(static_cast<std::uint32_t>(tag)) + "=" + std::string(bytes));
        return acting;
    }
};

struct RecordingLog final : platform::ProcessLog {
    std::vector<std::string> lines;
    bool isOn(platform::LogLevel) const override { return true; }
    void write(platform::LogLevel, std::string_view line) override { lines.emplace_back(line); }
};

struct KeychainTest : testing::Test {
    InjectedStore store;
    RecordingLog log;
    KeychainServices services{store, log};

    std::vector<std::string> takeLines() { return std::exchange(log.lines, {}); }
};

constexpr std::uint32_t comment = 0x69636d74;

TEST_F(KeychainTest, EachFunctionLogsTheFailureUnderTheNameOfTheOneThatFailed) {
    const KeychainItemRef item = SecretItem{"/item"};
    const struct {
        std::function<bool()> succeeds;
        std::string function; // that acts on the store
        bool finds = true;
        bool withoutEntry = false;
    } cases[] = {
        {[&] { return QkKeychainAddGenericEntry(services, {}, "s"); }, "QkKeychainAddGenericEntry", false},
        {[&] { return QkKeychainRemoveGenericEntry(services, {}, "s"); }, "QkKeychainRemoveGenericEntry",
         true, true},
        {[&] { return QkKeychainRenameGenericEntry(services, {}, "s", "t"); },
         "QkKeychainSetItemAttributeTagForKeychainItemRef"},
        {[&] { return QkKeychainGetGenericPassword(services, {}, "s").has_value(); },
         "QkKeychainGetPasswordForKeychainItemRef"},
        {[&] { return QkKeychainSetGenericPassword(services, {}, "s", "p"); },
         "QkKeychainSetPasswordForKeychainItemRef"},
        {[&] { return QkKeychainGetGenericUsername(services, {}, "s").has_value(); },
         "QkKeychainGetItemAttributeTagForKeychainItemRef"},
        {[&] { return QkKeychainSetGenericComment(services, {}, "s", "c"); },
         "QkKeychainSetItemAttributeTagForKeychainItemRef"},
        {[&] { return QkKeychainGetPasswordForKeychainItemRef(services, item).has_value(); },
         "QkKeychainGetPasswordForKeychainItemRef", false},
        {[&] { return QkKeychainSetItemAttributeTagForKeychainItemRef(services, item, comment, "c"); },
         "QkKeychainSetItemAttributeTagForKeychainItemRef", false}};
    for (const auto& [succeeds, function, finds, withoutEntry] : cases) {
        store = InjectedStore();
        store.held = "text";
        EXPECT_TRUE(succeeds()) << function;
        EXPECT_THAT(takeLines(), IsEmpty()) << function;

        store.acting = SecretStatus::accessDenied;
        EXPECT_FALSE(succeeds()) << function;
        EXPECT_THAT(takeLines(),
                    ElementsAre("Error: " + function +
                                " failed with error code: -25293 msg: The secret store denied access."));
        if (!finds) continue;
        store.item = std::nullopt;
        EXPECT_EQ(succeeds(), withoutEntry) << function;
        EXPECT_THAT(takeLines(), ElementsAre("Error: QkKeychainGetKeychainItemRefWithServiceName failed with "
                                             "error code: 0 msg: No error."));
    }
}

TEST_F(KeychainTest, WhatIsWrittenAndWhatCountsAsNone) {
    EXPECT_TRUE(QkKeychainRenameGenericEntry(services, {}, "s", "t"));
    EXPECT_TRUE(QkKeychainSetGenericUsername(services, {}, "s", "u"));
    EXPECT_TRUE(QkKeychainSetItemAttributeTagForKeychainItemRef(services, store.item, comment, std::nullopt));
    EXPECT_THAT(store.changes, ElementsAre("1937138533=t", "1818321516=t", "1633903476=u", "1768123764="));

    EXPECT_FALSE(QkKeychainGetGenericPassword(services, {}, "s")); // empty
    EXPECT_FALSE(QkKeychainGetGenericComment(services, {}, "s"));
    for (const char* noText :
         {"\xff", "\xc0\xaf", "a\xed\xa0\x80", "\xf4\x90\x80\x80", "\xe2\x82", "\xf0\x8f\xbf\xbf"}) {
        store.held = noText;
        EXPECT_FALSE(QkKeychainGetGenericPassword(services, {}, "s")) << noText;
        EXPECT_FALSE(QkKeychainGetGenericUsername(services, {}, "s")) << noText;
        EXPECT_EQ(QkKeychainGetPasswordForKeychainItemRef(services, store.item)->view(), noText);
    }
    store.held = "\xc2\x80 \xed\x9f\xbf \xf0\x90\x80\x80 \xf4\x8f\xbf\xbf";
    EXPECT_EQ(QkKeychainGetGenericPassword(services, {}, "s")->view(), store.held);

    EXPECT_FALSE(QkKeychainGetPasswordForKeychainItemRef(services, std::nullopt));
    EXPECT_FALSE(QkKeychainSetItemAttributeTagForKeychainItemRef(services, std::nullopt, comment, "c"));
    EXPECT_THAT(takeLines(), IsEmpty()) << "it was logged where the item was not found";
}

} // namespace
} // namespace foundation
