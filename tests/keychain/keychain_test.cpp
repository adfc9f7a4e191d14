#include "keychain/keychain.h"
#include "tests/support/fakes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

namespace keychain {
namespace {

using namespace platform;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

// Answers each call as the test says.
struct InjectedStore final : SecretStore {
    std::optional<SecretItem> item = SecretItem{"/item"};
    SecretStatus acting = SecretStatus::success;
    std::string held = "text";
    std::vector<std::string> changes;

    SecretStatus add(const SecretCollection&, std::string_view) override { return acting; }
    SecretAnswer<std::optional<SecretItem>> find(const SecretCollection&, std::string_view) override {
        return {SecretStatus::success, item};
    }
    SecretStatus remove(const SecretItem&) override { return acting; }
    SecretAnswer<SecretBytes> password(const SecretItem&) override {
        return {acting, SecretBytes(std::string_view(held))};
    }
    SecretStatus setPassword(const SecretItem&, std::string_view) override { return acting; }
    SecretAnswer<std::string> attribute(const SecretItem&, SecretAttribute) override {
        return {acting, held};
    }
    SecretStatus setAttribute(const SecretItem&, SecretAttribute tag, std::string_view bytes) override {
        changes.push_back(std::to_string(static_cast<std::uint32_t>(tag)) + "=" + std::string(bytes));
        return acting;
    }
};

struct KeychainTest : testing::Test {
    InjectedStore store;
    support::RecordingLog log;
    KeychainServices services{store, log};
};

TEST_F(KeychainTest, AFailureIsLoggedUnderTheNameOfTheFunctionThatMetIt) {
    const auto callAll = [&] {
        return std::vector<bool>{QkKeychainAddGenericEntry(services, {}, "s"),
                                 QkKeychainRemoveGenericEntry(services, {}, "s"),
                                 QkKeychainGetGenericPassword(services, {}, "s").has_value(),
                                 QkKeychainSetGenericPassword(services, {}, "s", "p"),
                                 QkKeychainGetGenericUsername(services, {}, "s").has_value(),
                                 QkKeychainSetGenericComment(services, {}, "s", "c")};
    };
    EXPECT_THAT(callAll(), Each(true));
    EXPECT_THAT(log.take(), IsEmpty());

    store.acting = SecretStatus::accessDenied;
    EXPECT_THAT(callAll(), Each(false));
    const auto denied = [](const char* function) {
        return "Error: QkKeychain" + std::string(function) +
               " failed with error code: -25293 msg: The secret store denied access.";
    };
    EXPECT_THAT(log.take(),
                ElementsAre(denied("AddGenericEntry"), denied("RemoveGenericEntry"),
                            denied("GetPasswordForKeychainItemRef"), denied("SetPasswordForKeychainItemRef"),
                            denied("GetItemAttributeTagForKeychainItemRef"),
                            denied("SetItemAttributeTagForKeychainItemRef")));

    store.acting = SecretStatus::success;
    store.item = std::nullopt;
    EXPECT_THAT(callAll(), ElementsAre(true, true, false, false, false, false));
    const std::string notFound = "Error: QkKeychainGetKeychainItemRefWithServiceName failed with error code: "
                                 "0 msg: No error.";
    EXPECT_EQ(log.take(), std::vector(5, notFound));
}

TEST_F(KeychainTest, WhatIsWrittenAndWhatCountsAsNone) {
    EXPECT_TRUE(QkKeychainRenameGenericEntry(services, {}, "s", "t"));
    EXPECT_TRUE(QkKeychainSetGenericUsername(services, {}, "s", "u"));
    EXPECT_TRUE(
        QkKeychainSetItemAttributeTagForKeychainItemRef(services, store.item, 0x69636d74, std::nullopt));
    EXPECT_THAT(store.changes, ElementsAre("1937138533=t", "1818321516=t", "1633903476=u", "1768123764="));

    for (const char* noText :
         {"\xff", "\xc0\xaf", "a\xed\xa0\x80", "\xf4\x90\x80\x80", "\xe2\x82", "\xf0\x8f\xbf\xbf"}) {
        store.held = noText;
        EXPECT_FALSE(QkKeychainGetGenericPassword(services, {}, "s")) << noText;
        EXPECT_FALSE(QkKeychainGetGenericUsername(services, {}, "s")) << noText;
        EXPECT_EQ(QkKeychainGetPasswordForKeychainItemRef(services, store.item)->view(), noText);
    }
    store.held = "\xc2\x80 \xed\x9f\xbf \xf0\x90\x80\x80 \xf4\x8f\xbf\xbf";
    EXPECT_EQ(QkKeychainGetGenericPassword(services, {}, "s")->view(), store.held);
    store.held.clear();
    EXPECT_FALSE(QkKeychainGetGenericPassword(services, {}, "s"));
    EXPECT_FALSE(QkKeychainGetGenericComment(services, {}, "s"));
    EXPECT_THAT(log.take(), IsEmpty());
}

} // namespace
} // namespace keychain
