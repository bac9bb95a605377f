#include "KeyringProblems.hpp"

#include <libsecret/secret.h>

#include <string_view>

namespace corvane {
namespace {

// Of a service whose errors libsecret did not translate, because the call was made past it.
std::string remoteName(const GError& error) {
  const GTextPointer name(g_dbus_error_get_remote_error(&error));
  return name ? name.get() : "";
}

bool isOneOf(const GError& error, GQuark domain, std::initializer_list<int> codes) {
  if (error.domain != domain) return false;
  for (const int code : codes)
    if (error.code == code) return true;
  return false;
}

bool tellsOfRefusal(const GError& error) {
  return isOneOf(error, G_DBUS_ERROR, {G_DBUS_ERROR_ACCESS_DENIED, G_DBUS_ERROR_AUTH_FAILED}) ||
         isOneOf(error, G_IO_ERROR, {G_IO_ERROR_PERMISSION_DENIED});
}

bool tellsOfClosedBus(const GError& error) {
  return isOneOf(error, G_IO_ERROR,
                 {G_IO_ERROR_CLOSED, G_IO_ERROR_BROKEN_PIPE, G_IO_ERROR_CONNECTION_CLOSED}) ||
         isOneOf(error, G_DBUS_ERROR, {G_DBUS_ERROR_DISCONNECTED});
}

std::string textOf(GError& error) {
  g_dbus_error_strip_remote_error(&error);
  return error.message;
}

}  // namespace

KeychainProblem unreachable(const std::string& what) {
  return {errSecNotAvailable,
          what +
              " Start a keyring such as gnome-keyring and log in to it, or have sessions kept in "
              "an encrypted file instead."};
}

bool tellsOfLock(const GError& error) {
  return isOneOf(error, SECRET_ERROR, {SECRET_ERROR_IS_LOCKED}) ||
         remoteName(error) == "org.freedesktop.Secret.Error.IsLocked";
}

namespace {

bool tellsOfSilence(const GError& error) {
  return isOneOf(error, G_IO_ERROR, {G_IO_ERROR_CANCELLED, G_IO_ERROR_TIMED_OUT});
}

KeychainProblem problemOf(GError* error) {
  if (tellsOfSilence(*error)) return unreachable("The keyring service does not answer.");
  if (isOneOf(*error, G_DBUS_ERROR, {G_DBUS_ERROR_NO_REPLY}))
    return unreachable("The keyring service ended before it had answered.");
  if (isOneOf(*error, G_DBUS_ERROR, {G_DBUS_ERROR_SERVICE_UNKNOWN, G_DBUS_ERROR_NAME_HAS_NO_OWNER}))
    return unreachable("There is no keyring service on the session bus.");
  if (tellsOfLock(*error))
    return {errSecInteractionNotAllowed, "The keyring was locked again; unlock it and try again."};
  if (tellsOfRefusal(*error))
    return {errSecAuthFailed, "Access to the keyring service was refused: " + textOf(*error)};
  if (isOneOf(*error, SECRET_ERROR, {SECRET_ERROR_PROTOCOL}))
    return {errSecDecode, "The keyring service's answer makes no sense: " + textOf(*error)};
  return unreachable("The keyring service failed: " + textOf(*error) + ".");
}

}  // namespace

void raise(GError* taken) {
  const GErrorPointer error(taken);
  if (tellsOfStranger(*error) || tellsOfClosedBus(*error)) throw ConversationLost(problemOf(taken));
  if (tellsOfSilence(*error)) throw DearAnswer(problemOf(taken));
  throw problemOf(taken);
}

// The bus says so of a service that ended, the service of a session that it does not know.
bool tellsOfStranger(const GError& error) {
  return isOneOf(error, G_DBUS_ERROR, {G_DBUS_ERROR_SERVICE_UNKNOWN, G_DBUS_ERROR_NAME_HAS_NO_OWNER}) ||
         remoteName(error) == "org.freedesktop.Secret.Error.NoSession";
}

bool tellsOfMissingObject(const GError& error) {
  return isOneOf(error, SECRET_ERROR, {SECRET_ERROR_NO_SUCH_OBJECT}) ||
         isOneOf(
             error, G_DBUS_ERROR,
             {G_DBUS_ERROR_UNKNOWN_OBJECT, G_DBUS_ERROR_UNKNOWN_INTERFACE, G_DBUS_ERROR_UNKNOWN_METHOD}) ||
         remoteName(error) == "org.freedesktop.Secret.Error.NoSuchObject" ||
         remoteName(error) == "org.freedesktop.DBus.Error.NoSuchObject";  // of services written in Go
}

bool tellsOfMissingProperty(const GError& error) {
  return isOneOf(error, G_DBUS_ERROR, {G_DBUS_ERROR_UNKNOWN_PROPERTY, G_DBUS_ERROR_INVALID_ARGS});
}

}  // namespace corvane
