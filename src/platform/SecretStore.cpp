#include "platform/SecretStore.h"

namespace platform {

std::string_view messageOfSecretStatus(SecretStatus status) {
    switch (status) {
    case SecretStatus::success:
        return "No error.";
    case SecretStatus::badParameter:
        return "The text is not valid UTF-8 or holds a zero byte.";
    case SecretStatus::userCanceled:
        return "The user canceled the operation or could not be asked.";
    case SecretStatus::internalError:
        return "The secret store reported an unexpected error.";
    case SecretStatus::notAvailable:
        return "No secret store is available.";
    case SecretStatus::accessDenied:
        return "The secret store denied access.";
    case SecretStatus::noSuchCollection:
        return "The specified collection could not be found in the secret store.";
    case SecretStatus::duplicateItem:
        return "The specified item already exists in the secret store.";
    case SecretStatus::itemNotFound:
        return "The specified item could not be found in the secret store.";
    case SecretStatus::noSuchAttribute:
        return "The specified attribute does not exist.";
    case SecretStatus::interactionRequired:
        return "The collection is locked.";
    case SecretStatus::decodeFailed:
        return "The answer of the secret store could not be understood.";
    }
    return "Unknown error.";
}

} // namespace platform
