// The store of a desktop's passwords: collections of entries, each known by a service name.
//
// A call may wait for the user, whom the store asks to unlock a collection, and for the store itself. Any
// thread may call, but one that must answer soon should not. Every failure is a status; nothing is thrown but
// for lack of memory, and nothing is retried.
#pragma once

#include "platform/SecretBytes.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace platform {

// What became of a call. The numbers appear in logs and never change.
enum class SecretStatus : std::int32_t {
    success = 0,
    badParameter = -50,           // a text that is not UTF-8 or holds a zero byte
    userCanceled = -128,          // the user refused to unlock, or nobody could be asked
    internalError = -2070,        // any other failure of the store
    notAvailable = -25291,        // no store on the bus, no bus, or it went away or did not answer in time
    accessDenied = -25293,        // the store or the bus refused
    noSuchCollection = -25294,    // no collection of that name
    duplicateItem = -25299,       // the collection has an entry of that service name
    itemNotFound = -25300,        // no such entry, or it has gone
    noSuchAttribute = -25303,     // a tag that entries do not have
    interactionRequired = -25308, // still locked although the user was asked
    decodeFailed = -26275,        // the store sent something that cannot be understood
};

// One sentence for each status; a general one for any other number.
std::string_view messageOfSecretStatus(SecretStatus status);

// The attributes of an entry, as four characters.
enum class SecretAttribute : std::uint32_t {
    serviceName = 0x73766365, // 'svce'
    label = 0x6c61626c,       // 'labl': what the desktop shows as the entry's title
    accountName = 0x61636374, // 'acct'
    comment = 0x69636d74,     // 'icmt'
};

// The name of a collection: an alias of the store ("default", "login") or a title. None is the default one.
using SecretCollection = std::optional<std::string>;

// An entry, by what the store calls it; stays good until the entry is removed.
struct SecretItem {
    std::string identifier;
    friend bool operator==(const SecretItem&, const SecretItem&) = default;
};

// The value is meaningful on success only.
template <typename T>
struct SecretAnswer {
    SecretStatus status = SecretStatus::success;
    T value = {};
};

class SecretStore {
  public:
    virtual ~SecretStore() = default;

    // Adds an entry with that service name and label, an empty account name and an empty password. An entry
    // of that service name stays as it is: duplicateItem.
    virtual SecretStatus add(const SecretCollection& collection, std::string_view serviceName) = 0;

    // The entry of that service name, the oldest when there are several. itemNotFound when there is none.
    virtual SecretAnswer<std::optional<SecretItem>> find(const SecretCollection& collection,
                                                         std::string_view serviceName) = 0;

    virtual SecretStatus remove(const SecretItem& item) = 0;

    virtual SecretAnswer<SecretBytes> password(const SecretItem& item) = 0;
    virtual SecretStatus setPassword(const SecretItem& item, std::string_view password) = 0;

    // The bytes of one attribute, UTF-8; empty when the entry has none. For a tag that is not a
    // SecretAttribute the status is noSuchAttribute.
    virtual SecretAnswer<std::string> attribute(const SecretItem& item, SecretAttribute tag) = 0;

    // Sets one attribute and leaves the others and the password. A service name that another entry of the
    // collection has is refused: duplicateItem.
    virtual SecretStatus setAttribute(const SecretItem& item, SecretAttribute tag,
                                      std::string_view bytes) = 0;
};

} // namespace platform
