// Generic-password entries of the desktop's secret store, each known by its service name alone: add, find,
// rename and remove an entry, read and write its password, account name ("username") and comment.
//
// A keychain is a collection of the store, none the user's default one; an item reference is an entry of it.
// Functions answer false or none on failure and have then logged it as "Error: FUNCTION failed with error
// code: STATUS msg: MESSAGE", with the function in which the store failed. An absent item reference is a
// failure that is not logged again. Nothing is retried. A password is never logged. Any thread that may wait
// for the user may call them.
#pragma once

#include "platform/ProcessLog.h"
#include "platform/SecretStore.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace keychain {

using KeychainRef = platform::SecretCollection;
using KeychainItemRef = std::optional<platform::SecretItem>;

// What the functions work on; both are borrowed.
struct KeychainServices {
    platform::SecretStore& store;
    platform::ProcessLog& log;
};

// Adds an entry with an empty account name and an empty password. False, and nothing changes, when there is
// one with that name already.
bool QkKeychainAddGenericEntry(KeychainServices services, const KeychainRef& keychain,
                               std::string_view serviceName);

// True also when there was no entry, or none that could be found; that is logged then.
bool QkKeychainRemoveGenericEntry(KeychainServices services, const KeychainRef& keychain,
                                  std::string_view serviceName);

// A missing entry is logged.
KeychainItemRef QkKeychainGetKeychainItemRefWithServiceName(KeychainServices services,
                                                            const KeychainRef& keychain,
                                                            std::string_view serviceName);

// Changes the service name, then the label.
bool QkKeychainRenameGenericEntry(KeychainServices services, const KeychainRef& keychain,
                                  std::string_view serviceName, std::string_view newServiceName);

// A missing entry is not logged.
bool QkKeychainDoesGenericEntryExist(KeychainServices services, const KeychainRef& keychain,
                                     std::string_view serviceName);

// None when it is empty or not UTF-8; the bytes of any password are those of
// QkKeychainGetPasswordForKeychainItemRef.
std::optional<platform::SecretBytes> QkKeychainGetGenericPassword(KeychainServices services,
                                                                  const KeychainRef& keychain,
                                                                  std::string_view serviceName);
bool QkKeychainSetGenericPassword(KeychainServices services, const KeychainRef& keychain,
                                  std::string_view serviceName, std::string_view password);

// None when it is empty.
std::optional<std::string> QkKeychainGetGenericUsername(KeychainServices services,
                                                        const KeychainRef& keychain,
                                                        std::string_view serviceName);
bool QkKeychainSetGenericUsername(KeychainServices services, const KeychainRef& keychain,
                                  std::string_view serviceName, std::string_view username);
std::optional<std::string> QkKeychainGetGenericComment(KeychainServices services, const KeychainRef& keychain,
                                                       std::string_view serviceName);
bool QkKeychainSetGenericComment(KeychainServices services, const KeychainRef& keychain,
                                 std::string_view serviceName, std::string_view comment);

// None when it is empty.
std::optional<platform::SecretBytes> QkKeychainGetPasswordForKeychainItemRef(KeychainServices services,
                                                                             const KeychainItemRef& item);
bool QkKeychainSetPasswordForKeychainItemRef(KeychainServices services, const KeychainItemRef& item,
                                             std::string_view bytes);

// The tag is the number of a platform::SecretAttribute. None when the attribute is empty.
std::optional<std::string> QkKeychainGetItemAttributeTagForKeychainItemRef(KeychainServices services,
                                                                           const KeychainItemRef& item,
                                                                           std::uint32_t tag);
// No bytes set the empty attribute.
bool QkKeychainSetItemAttributeTagForKeychainItemRef(KeychainServices services, const KeychainItemRef& item,
                                                     std::uint32_t tag,
                                                     std::optional<std::string_view> bytes);

} // namespace keychain
