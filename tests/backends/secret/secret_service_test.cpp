#include "backends/secret/secret_service.h"
#include "keychain/keychain.h"
#include "tests/backends/secret/PrivateKeyring.h"
#include "tests/support/fakes.h"

#include <gmock/gmock.h>
#include <libsecret/secret.h>

#include <map>

using namespace keychain;
using namespace std::string_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

// The line in the log.
std::string failed(const std::string& function, int code) {
    static const std::map<int, std::string> messages = {
        {-50, "The text is not valid UTF-8 or holds a zero byte."},
        {-128, "The user canceled the operation or could not be asked."},
        {-25291, "No secret store is available."},
        {-25294, "The specified collection could not be found in the secret store."},
        {-25299, "The specified item already exists in the secret store."},
        {-25300, "The specified item could not be found in the secret store."},
        {-25303, "The specified attribute does not exist."}};
    return "Error: QkKeychain" + function + " failed with error code: " + std::to_string(code) +
           " msg: " + messages.at(code);
}

class SecretServiceTest : public testing::Test {
  protected:
    bool exists(const std::string& name) { return QkKeychainDoesGenericEntryExist(services, {}, name); }
    std::string password(const std::string& name) {
        const auto bytes = QkKeychainGetPasswordForKeychainItemRef(
            services, QkKeychainGetKeychainItemRefWithServiceName(services, {}, name));
        return bytes ? std::string(bytes->view()) : "(none)";
    }

    PrivateKeyring keyring;
    std::unique_ptr<platform::SecretStore> store = backends::secret::makeSecretService();
    support::RecordingLog log;
    KeychainServices services{*store, log};
};

TEST_F(SecretServiceTest, AnEntryLives) {
    keyring.start();
    EXPECT_FALSE(exists("s"));
    EXPECT_TRUE(QkKeychainAddGenericEntry(services, {}, "s"));
    EXPECT_TRUE(exists("s"));
    EXPECT_EQ(password("s"), "(none)");
    EXPECT_TRUE(QkKeychainSetGenericPassword(services, {}, "s", "pass"));
    EXPECT_THAT(log.take(), IsEmpty());
    EXPECT_FALSE(QkKeychainAddGenericEntry(services, {}, "s"));
    EXPECT_THAT(log.take(), ElementsAre(failed("AddGenericEntry", -25299)));
    EXPECT_EQ(QkKeychainGetGenericPassword(services, {}, "s")->view(), "pass");

    EXPECT_TRUE(QkKeychainSetGenericUsername(services, {}, "s", "bob"));
    EXPECT_TRUE(QkKeychainSetGenericComment(services, {}, "s", "note"));
    EXPECT_TRUE(QkKeychainRenameGenericEntry(services, {}, "s", "t"));
    EXPECT_EQ(QkKeychainGetGenericUsername(services, {}, "t"), "bob");
    EXPECT_THAT(PrivateKeyring::call("/org/freedesktop/secrets/collection/login/1",
                                     "org.freedesktop.DBus.Properties", "GetAll",
                                     "('org.freedesktop.Secret.Item',)"),
                AllOf(HasSubstr("'Label': <'t'>"),
                      HasSubstr("'Attributes': <{'account': 'bob', 'comment': 'note', 'service': 't', "
                                "'xdg:schema': 'org.freedesktop.Secret.Generic'}>")));
    EXPECT_THAT(log.take(), IsEmpty());

    EXPECT_TRUE(QkKeychainAddGenericEntry(services, "Login", "s")); // the collection's title
    EXPECT_FALSE(QkKeychainRenameGenericEntry(services, {}, "t", "s"));
    EXPECT_THAT(log.take(), ElementsAre(failed("SetItemAttributeTagForKeychainItemRef", -25299)));
    EXPECT_TRUE(QkKeychainRenameGenericEntry(services, {}, "t", "t"));
    EXPECT_FALSE(QkKeychainAddGenericEntry(services, "nowhere", "s"));
    EXPECT_THAT(log.take(), ElementsAre(failed("AddGenericEntry", -25294)));

    const KeychainItemRef item = QkKeychainGetKeychainItemRefWithServiceName(services, {}, "t");
    EXPECT_TRUE(QkKeychainSetItemAttributeTagForKeychainItemRef(services, item, 0x69636d74, std::nullopt));
    EXPECT_FALSE(QkKeychainGetGenericComment(services, {}, "t"));
    EXPECT_FALSE(QkKeychainGetItemAttributeTagForKeychainItemRef(services, item, 0x61626364));
    EXPECT_TRUE(QkKeychainRemoveGenericEntry(services, {}, "t"));
    EXPECT_FALSE(QkKeychainSetPasswordForKeychainItemRef(services, item, "late"));
    EXPECT_FALSE(QkKeychainGetPasswordForKeychainItemRef(services, item));
    EXPECT_TRUE(QkKeychainRemoveGenericEntry(services, {}, "t"));
    EXPECT_THAT(log.take(), ElementsAre(failed("GetItemAttributeTagForKeychainItemRef", -25303),
                                        failed("SetPasswordForKeychainItemRef", -25300),
                                        failed("GetPasswordForKeychainItemRef", -25300),
                                        failed("GetKeychainItemRefWithServiceName", -25300)));
    EXPECT_TRUE(exists("s"));
}

TEST_F(SecretServiceTest, OddNamesAndContents) {
    keyring.start();
    const std::string mebibyte(1U << 20U, 'x');
    for (const std::string& name :
         {""s, "a/b ü\n\t\"%s"s, "\xf0\x9f\x94\x91"s, "e\xcc\x81"s, std::string(100'000, 'n')}) {
        EXPECT_TRUE(QkKeychainAddGenericEntry(services, {}, name));
        EXPECT_TRUE(exists(name));
        EXPECT_TRUE(QkKeychainSetGenericPassword(services, {}, name, name + "!"));
        EXPECT_EQ(password(name), name + "!");
    }
    EXPECT_FALSE(exists("\xc3\xa9")); // the composed form is another name
    EXPECT_TRUE(QkKeychainAddGenericEntry(services, {}, "s"));
    for (const std::string& secret : {"\0\xff\n"s, "ends in zero\0"s, mebibyte}) {
        EXPECT_TRUE(QkKeychainSetGenericPassword(services, {}, "s", secret));
        EXPECT_EQ(password("s"), secret);
    }
    for (const char* noText :
         {"\xff", "\xc0\xaf", "a\xed\xa0\x80", "\xf4\x90\x80\x80", "\xe2\x82", "\xf0\x8f\xbf\xbf"}) {
        EXPECT_TRUE(QkKeychainSetGenericPassword(services, {}, "s", noText));
        EXPECT_FALSE(QkKeychainGetGenericPassword(services, {}, "s")) << noText;
        EXPECT_EQ(password("s"), noText);
    }
    const char* const text = "\xc2\x80 \xed\x9f\xbf \xf0\x90\x80\x80 \xf4\x8f\xbf\xbf";
    EXPECT_TRUE(QkKeychainSetGenericPassword(services, {}, "s", text));
    EXPECT_EQ(QkKeychainGetGenericPassword(services, {}, "s")->view(), text);
    EXPECT_TRUE(QkKeychainSetGenericPassword(services, {}, "s", ""));
    EXPECT_EQ(password("s"), "(none)");
    EXPECT_TRUE(QkKeychainSetGenericComment(services, {}, "s", mebibyte));
    EXPECT_EQ(QkKeychainGetGenericComment(services, {}, "s"), mebibyte);
    EXPECT_THAT(log.take(), IsEmpty());
    for (const std::string& name : {"\xff"s, "a\0b"s}) {
        EXPECT_FALSE(exists(name));
        EXPECT_FALSE(QkKeychainSetGenericComment(services, {}, "s", name));
    }
    EXPECT_THAT(log.take(), ElementsAre(failed("DoesGenericEntryExist", -50),
                                        failed("SetItemAttributeTagForKeychainItemRef", -50),
                                        failed("DoesGenericEntryExist", -50),
                                        failed("SetItemAttributeTagForKeychainItemRef", -50)));
}

TEST_F(SecretServiceTest, OfTwoEntriesThatAnotherProgramMadeTheOldestIsMeant) {
    keyring.start();
    g_autoptr(SecretService) service =
        secret_service_open_sync(SECRET_TYPE_SERVICE, nullptr, SECRET_SERVICE_NONE, nullptr, nullptr);
    g_autoptr(SecretCollection) collection =
        secret_collection_for_alias_sync(service, "default", SECRET_COLLECTION_NONE, nullptr, nullptr);
    for (const char* number : {"1", "2"}) {
        g_autoptr(GHashTable) attributes = secret_attributes_build(SECRET_SCHEMA_NOTE, nullptr);
        g_hash_table_insert(attributes, g_strdup("service"), g_strdup("s"));
        g_autoptr(SecretValue) value = secret_value_new(number, -1, "text/plain");
        g_autoptr(SecretItem) item = secret_item_create_sync(collection, nullptr, attributes, "title", value,
                                                             SECRET_ITEM_CREATE_NONE, nullptr, nullptr);
        ASSERT_NE(item, nullptr);
    }
    EXPECT_EQ(password("s"), "1");
    EXPECT_TRUE(QkKeychainRemoveGenericEntry(services, {}, "s"));
    EXPECT_EQ(password("s"), "2");
    EXPECT_TRUE(QkKeychainRemoveGenericEntry(services, {}, "s"));
    EXPECT_FALSE(exists("s"));
    EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(SecretServiceTest, TheUserUnlocksOrRefuses) {
    keyring.start();
    EXPECT_TRUE(QkKeychainAddGenericEntry(services, {}, "s"));
    const KeychainItemRef item = QkKeychainGetKeychainItemRefWithServiceName(services, {}, "s");
    PrivateKeyring::lock();
    gcr_mock_prompter_expect_password_cancel();
    EXPECT_FALSE(exists("s"));
    EXPECT_THAT(log.take(), ElementsAre(failed("DoesGenericEntryExist", -128)));
    gcr_mock_prompter_expect_password_ok("master", nullptr);
    EXPECT_TRUE(exists("s"));
    PrivateKeyring::lock();
    gcr_mock_prompter_expect_password_ok("master", nullptr);
    EXPECT_TRUE(QkKeychainSetPasswordForKeychainItemRef(services, item, "pass"));
    PrivateKeyring::lock();
    gcr_mock_prompter_expect_password_ok("master", nullptr);
    EXPECT_EQ(QkKeychainGetItemAttributeTagForKeychainItemRef(services, item, 0x6c61626c), "s");
    EXPECT_THAT(log.take(), IsEmpty());
    EXPECT_FALSE(gcr_mock_prompter_is_expecting());
}

TEST_F(SecretServiceTest, ANewUserGetsADefaultCollection) {
    keyring.start(false);
    EXPECT_FALSE(exists("s"));
    EXPECT_THAT(log.take(), IsEmpty());
    gcr_mock_prompter_expect_password_cancel();
    EXPECT_FALSE(QkKeychainAddGenericEntry(services, {}, "s"));
    EXPECT_THAT(log.take(), ElementsAre(failed("AddGenericEntry", -128)));
    // The store tells that it was cancelled before it has closed it, and another would meet it.
    EXPECT_TRUE(support::eventually([] { return !gcr_mock_prompter_is_prompting(); }));
    gcr_mock_prompter_expect_password_ok("new", nullptr);
    EXPECT_TRUE(QkKeychainAddGenericEntry(services, {}, "s"));
    EXPECT_TRUE(exists("s"));
    EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(SecretServiceTest, AStoreIsAbsentComesGoesAndItsBusDies) {
    const auto expectUnavailable = [this] {
        EXPECT_FALSE(exists("s"));
        EXPECT_THAT(log.take(), ElementsAre(failed("DoesGenericEntryExist", -25291)));
    };
    expectUnavailable();
    keyring.start();
    EXPECT_TRUE(QkKeychainAddGenericEntry(services, {}, "s"));
    keyring.stop();
    expectUnavailable();
    keyring.start();
    EXPECT_TRUE(exists("s"));
    keyring.stop();
    keyring.stopBus();
    expectUnavailable();
}

} // namespace
