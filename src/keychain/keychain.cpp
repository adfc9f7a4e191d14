#include "keychain/keychain.h"

#include "platform/utf8.h"

namespace keychain {
namespace {

using platform::SecretAttribute;
using platform::SecretStatus;

void logFailure(KeychainServices services, std::string_view function, SecretStatus status) {
    services.log.error("Error: ", function, " failed with error code: ", static_cast<std::int32_t>(status),
                       " msg: ", platform::messageOfSecretStatus(status));
}

bool succeeded(KeychainServices services, std::string_view function, SecretStatus status) {
    if (status == SecretStatus::success) return true;
    logFailure(services, function, status);
    return false;
}

constexpr std::uint32_t tagOf(SecretAttribute attribute) { return static_cast<std::uint32_t>(attribute); }

std::optional<std::string> attributeOfEntry(KeychainServices services, const KeychainRef& keychain,
                                            std::string_view serviceName, SecretAttribute attribute) {
    std::optional<std::string> text = QkKeychainGetItemAttributeTagForKeychainItemRef(
        services, QkKeychainGetKeychainItemRefWithServiceName(services, keychain, serviceName),
        tagOf(attribute));
    if (text && !platform::isUtf8(*text)) return std::nullopt;
    return text;
}

bool setAttributeOfEntry(KeychainServices services, const KeychainRef& keychain, std::string_view serviceName,
                         SecretAttribute attribute, std::string_view text) {
    return QkKeychainSetItemAttributeTagForKeychainItemRef(
        services, QkKeychainGetKeychainItemRefWithServiceName(services, keychain, serviceName),
        tagOf(attribute), text);
}

} // namespace

bool QkKeychainAddGenericEntry(KeychainServices services, const KeychainRef& keychain,
                               std::string_view serviceName) {
    return succeeded(services, __func__, services.store.add(keychain, serviceName));
}

bool QkKeychainRemoveGenericEntry(KeychainServices services, const KeychainRef& keychain,
                                  std::string_view serviceName) {
    const KeychainItemRef item = QkKeychainGetKeychainItemRefWithServiceName(services, keychain, serviceName);
    return !item || succeeded(services, __func__, services.store.remove(*item));
}

KeychainItemRef QkKeychainGetKeychainItemRefWithServiceName(KeychainServices services,
                                                            const KeychainRef& keychain,
                                                            std::string_view serviceName) {
    auto [status, item] = services.store.find(keychain, serviceName);
    if (status == SecretStatus::success && item) return item;
    logFailure(services, __func__, status);
    return std::nullopt;
}

bool QkKeychainRenameGenericEntry(KeychainServices services, const KeychainRef& keychain,
                                  std::string_view serviceName, std::string_view newServiceName) {
    const KeychainItemRef item = QkKeychainGetKeychainItemRefWithServiceName(services, keychain, serviceName);
    const auto set = [&](SecretAttribute attribute) {
        return QkKeychainSetItemAttributeTagForKeychainItemRef(services, item, tagOf(attribute),
                                                               newServiceName);
    };
    return set(SecretAttribute::serviceName) && set(SecretAttribute::label);
}

bool QkKeychainDoesGenericEntryExist(KeychainServices services, const KeychainRef& keychain,
                                     std::string_view serviceName) {
    const SecretStatus status = services.store.find(keychain, serviceName).status;
    return status != SecretStatus::itemNotFound && succeeded(services, __func__, status);
}

std::optional<platform::SecretBytes> QkKeychainGetGenericPassword(KeychainServices services,
                                                                  const KeychainRef& keychain,
                                                                  std::string_view serviceName) {
    std::optional<platform::SecretBytes> password = QkKeychainGetPasswordForKeychainItemRef(
        services, QkKeychainGetKeychainItemRefWithServiceName(services, keychain, serviceName));
    if (password && !platform::isUtf8(password->view())) return std::nullopt;
    return password;
}

bool QkKeychainSetGenericPassword(KeychainServices services, const KeychainRef& keychain,
                                  std::string_view serviceName, std::string_view password) {
    return QkKeychainSetPasswordForKeychainItemRef(
        services, QkKeychainGetKeychainItemRefWithServiceName(services, keychain, serviceName), password);
}

std::optional<std::string> QkKeychainGetGenericUsername(KeychainServices services,
                                                        const KeychainRef& keychain,
                                                        std::string_view serviceName) {
    return attributeOfEntry(services, keychain, serviceName, SecretAttribute::accountName);
}

bool QkKeychainSetGenericUsername(KeychainServices services, const KeychainRef& keychain,
                                  std::string_view serviceName, std::string_view username) {
    return setAttributeOfEntry(services, keychain, serviceName, SecretAttribute::accountName, username);
}

std::optional<std::string> QkKeychainGetGenericComment(KeychainServices services, const KeychainRef& keychain,
                                                       std::string_view serviceName) {
    return attributeOfEntry(services, keychain, serviceName, SecretAttribute::comment);
}

bool QkKeychainSetGenericComment(KeychainServices services, const KeychainRef& keychain,
                                 std::string_view serviceName, std::string_view comment) {
    return setAttributeOfEntry(services, keychain, serviceName, SecretAttribute::comment, comment);
}

std::optional<platform::SecretBytes> QkKeychainGetPasswordForKeychainItemRef(KeychainServices services,
                                                                             const KeychainItemRef& item) {
    if (!item) return std::nullopt;
    auto [status, password] = services.store.password(*item);
    if (!succeeded(services, __func__, status) || password.view().empty()) return std::nullopt;
    return std::move(password);
}

bool QkKeychainSetPasswordForKeychainItemRef(KeychainServices services, const KeychainItemRef& item,
                                             std::string_view bytes) {
    return item && succeeded(services, __func__, services.store.setPassword(*item, bytes));
}

std::optional<std::string> QkKeychainGetItemAttributeTagForKeychainItemRef(KeychainServices services,
                                                                           const KeychainItemRef& item,
                                                                           std::uint32_t tag) {
    if (!item) return std::nullopt;
    auto [status, bytes] = services.store.attribute(*item, static_cast<SecretAttribute>(tag));
    if (!succeeded(services, __func__, status) || bytes.empty()) return std::nullopt;
    return std::move(bytes);
}

bool QkKeychainSetItemAttributeTagForKeychainItemRef(KeychainServices services, const KeychainItemRef& item,
                                                     std::uint32_t tag,
                                                     std::optional<std::string_view> bytes) {
    return item && succeeded(services, __func__,
                             services.store.setAttribute(*item, static_cast<SecretAttribute>(tag),
                                                         bytes.value_or("")));
}

} // namespace keychain
