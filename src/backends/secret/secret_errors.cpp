#include "backends/secret/secret_errors.h"

#include <libsecret/secret.h>

namespace backends::secret {
namespace {

using platform::SecretStatus;

SecretStatus statusOfBusError(int code) {
    switch (code) {
    case G_DBUS_ERROR_SERVICE_UNKNOWN:
    case G_DBUS_ERROR_NAME_HAS_NO_OWNER:
    case G_DBUS_ERROR_NO_REPLY:
    case G_DBUS_ERROR_TIMEOUT:
    case G_DBUS_ERROR_TIMED_OUT:
    case G_DBUS_ERROR_NO_SERVER:
    case G_DBUS_ERROR_NO_NETWORK:
    case G_DBUS_ERROR_DISCONNECTED:
    case G_DBUS_ERROR_SPAWN_EXEC_FAILED:
    case G_DBUS_ERROR_SPAWN_CHILD_EXITED:
    case G_DBUS_ERROR_SPAWN_CHILD_SIGNALED:
    case G_DBUS_ERROR_SPAWN_FAILED:
        return SecretStatus::notAvailable;
    case G_DBUS_ERROR_ACCESS_DENIED:
    case G_DBUS_ERROR_AUTH_FAILED:
        return SecretStatus::accessDenied;
    case G_DBUS_ERROR_UNKNOWN_OBJECT:
    case G_DBUS_ERROR_UNKNOWN_METHOD: // how some stores answer for an item that has gone
    case G_DBUS_ERROR_UNKNOWN_INTERFACE:
        return SecretStatus::itemNotFound;
    default:
        return SecretStatus::internalError;
    }
}

SecretStatus statusOfLibraryError(int code) {
    switch (code) {
    case SECRET_ERROR_IS_LOCKED:
        return SecretStatus::interactionRequired;
    case SECRET_ERROR_NO_SUCH_OBJECT:
        return SecretStatus::itemNotFound;
    case SECRET_ERROR_ALREADY_EXISTS:
        return SecretStatus::duplicateItem;
    case SECRET_ERROR_PROTOCOL:
        return SecretStatus::decodeFailed;
    default:
        return SecretStatus::internalError;
    }
}

SecretStatus statusOfIoError(int code) {
    switch (code) {
    case G_IO_ERROR_PERMISSION_DENIED:
        return SecretStatus::accessDenied;
    case G_IO_ERROR_CANCELLED:
        return SecretStatus::userCanceled;
    case G_IO_ERROR_INVALID_DATA:
        return SecretStatus::decodeFailed;
    case G_IO_ERROR_DBUS_ERROR: // an error of the store that has a name of its own
        return SecretStatus::internalError;
    default: // what goes wrong below the messages is the bus: no address, no socket, closed, timed out
        return SecretStatus::notAvailable;
    }
}

} // namespace

platform::SecretStatus statusOfError(const GError* error) {
    if (!error) return SecretStatus::userCanceled;
    if (error->domain == G_DBUS_ERROR) return statusOfBusError(error->code);
    if (error->domain == SECRET_ERROR) return statusOfLibraryError(error->code);
    if (error->domain == G_IO_ERROR) return statusOfIoError(error->code);
    return SecretStatus::internalError;
}

} // namespace backends::secret
