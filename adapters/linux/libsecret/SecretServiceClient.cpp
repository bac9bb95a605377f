#include "SecretServiceClient.hpp"

#include "BusAddress.hpp"
#include "KeyringProblems.hpp"
#include "PrivateService.hpp"
#include "SignalsBlocked.hpp"

#include <algorithm>
#include <string_view>
#include <utility>

namespace corvane {
namespace {

constexpr const char* serviceName = "org.freedesktop.secrets";
constexpr const char* servicePath = "/org/freedesktop/secrets";
constexpr const char* serviceInterface = "org.freedesktop.Secret.Service";
constexpr const char* collectionInterface = "org.freedesktop.Secret.Collection";
constexpr const char* itemInterface = "org.freedesktop.Secret.Item";
constexpr const char* labelProperty = "org.freedesktop.Secret.Item.Label";
constexpr const char* attributesProperty = "org.freedesktop.Secret.Item.Attributes";

// What it holds is gone when the user logs out.
constexpr const char* sessionCollection = "/org/freedesktop/secrets/collection/session";

// Stands where there is no prompt (Secret Service API, "Prompts and Prompting").
constexpr std::string_view noPrompt = "/";

GHashTablePointer table(const ItemAttributes& attributes) {
  GHashTablePointer result(g_hash_table_new_full(g_str_hash, g_str_equal, g_free, g_free));
  for (const auto& [name, value] : attributes)
    g_hash_table_insert(result.get(), g_strdup(name.c_str()), g_strdup(value.c_str()));
  return result;
}

ItemAttributes attributesOf(SecretItem* item) {
  const GHashTablePointer found(secret_item_get_attributes(item));
  ItemAttributes attributes;
  if (!found) return attributes;  // a service that keeps them to itself
  GHashTableIter iterator;
  g_hash_table_iter_init(&iterator, found.get());
  for (gpointer name, value; g_hash_table_iter_next(&iterator, &name, &value);)
    attributes.emplace(static_cast<const char*>(name), static_cast<const char*>(value));
  return attributes;
}

GVariant* itemProperties(const std::string& label, const ItemAttributes& attributes) {
  GVariantBuilder texts;
  g_variant_builder_init(&texts, G_VARIANT_TYPE("a{ss}"));
  for (const auto& [name, value] : attributes)
    g_variant_builder_add(&texts, "{ss}", name.c_str(), value.c_str());
  GVariantBuilder properties;
  g_variant_builder_init(&properties, G_VARIANT_TYPE("a{sv}"));
  g_variant_builder_add(&properties, "{sv}", labelProperty, g_variant_new_string(label.c_str()));
  g_variant_builder_add(&properties, "{sv}", attributesProperty, g_variant_builder_end(&texts));
  return g_variant_builder_end(&properties);
}

struct SecretValueUnref {
  void operator()(SecretValue* value) const noexcept { secret_value_unref(value); }
};
using SecretValuePointer = std::unique_ptr<SecretValue, SecretValueUnref>;

bool mentions(GVariant* paths, const std::string& path) {
  if (!g_variant_is_of_type(paths, G_VARIANT_TYPE_OBJECT_PATH_ARRAY)) return false;
  GVariantIter iterator;
  g_variant_iter_init(&iterator, paths);
  for (const char* each = nullptr; g_variant_iter_next(&iterator, "&o", &each);)
    if (each == path) return true;
  return false;
}

KeychainProblem stillLocked() {
  return {errSecInteractionNotAllowed,
          "The keyring is locked and could not be unlocked; unlock it and try again."};
}

}  // namespace

SecretServiceClient::SecretServiceClient(const SecretServiceLimits& limits)
    : limits_(limits), loop_(limits.reply) {
  connect();
  findService();
  open();
}

void SecretServiceClient::connect() {
  const auto address = sessionBusAddress();
  if (!address)
    throw unreachable("There is no session bus (neither DBUS_SESSION_BUS_ADDRESS nor $XDG_RUNTIME_DIR/bus).");
  const auto result =
      loop_.await([&](GCancellable* cancellable, GAsyncReadyCallback callback, gpointer data) {
        const SignalsBlocked blocked;  // GLib starts its threads here
        const auto flags = static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                             G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
        g_dbus_connection_new_for_address(address->c_str(), flags, nullptr, cancellable, callback, data);
      });
  GError* error = nullptr;
  connection_.reset(g_dbus_connection_new_for_address_finish(result.get(), &error));
  if (!error) return;
  const GErrorPointer owned(error);
  throw unreachable("The session bus cannot be reached (" + std::string(error->message) + ").");
}

void SecretServiceClient::findService() {
  const BusPeer bus{connection_.get(), "org.freedesktop.DBus"};
  const std::string path = "/org/freedesktop/DBus";
  auto owned = reply(
      loop_, bus, {path, "org.freedesktop.DBus", "NameHasOwner", g_variant_new("(s)", serviceName), "(b)"});
  gboolean runs = FALSE;
  g_variant_get(owned.get(), "(b)", &runs);
  if (!runs) {  // the bus may know how to start it
    reply(
        loop_, bus,
        {path, "org.freedesktop.DBus", "StartServiceByName", g_variant_new("(su)", serviceName, 0U), "(u)"});
  }
  const auto owner = reply(
      loop_, bus, {path, "org.freedesktop.DBus", "GetNameOwner", g_variant_new("(s)", serviceName), "(s)"});
  const char* name = nullptr;
  g_variant_get(owner.get(), "(&s)", &name);
  peer_ = {connection_.get(), name};
}

void SecretServiceClient::open() {
  const auto result =
      loop_.await([&](GCancellable* cancellable, GAsyncReadyCallback callback, gpointer data) {
        g_async_initable_new_async(privateServiceType(), G_PRIORITY_DEFAULT, cancellable, callback, data,
                                   "g-connection", connection_.get(), nullptr);
      });
  GError* error = nullptr;
  const GObjectPointer<GObject> source(g_async_result_get_source_object(result.get()));
  service_.reset(reinterpret_cast<SecretService*>(
      g_async_initable_new_finish(G_ASYNC_INITABLE(source.get()), result.get(), &error)));
  if (error) throw problemOf(error);
}

void SecretServiceClient::ensureSession() {
  const auto result =
      loop_.await([&](GCancellable* cancellable, GAsyncReadyCallback callback, gpointer data) {
        secret_service_ensure_session(service_.get(), cancellable, callback, data);
      });
  GError* error = nullptr;
  secret_service_ensure_session_finish(service_.get(), result.get(), &error);
  if (error) throw problemOf(error);
}

std::string SecretServiceClient::defaultCollectionPath() {
  const auto result =
      loop_.await([&](GCancellable* cancellable, GAsyncReadyCallback callback, gpointer data) {
        secret_service_read_alias_dbus_path(service_.get(), SECRET_COLLECTION_DEFAULT, cancellable, callback,
                                            data);
      });
  GError* error = nullptr;
  const GTextPointer path(secret_service_read_alias_dbus_path_finish(service_.get(), result.get(), &error));
  if (error) throw problemOf(error);
  if (!path || std::string_view(path.get()) == sessionCollection)
    throw unreachable("The keyring service has no default keyring.");
  return path.get();
}

void SecretServiceClient::loadCollection(const std::string& path) {
  const auto result =
      loop_.await([&](GCancellable* cancellable, GAsyncReadyCallback callback, gpointer data) {
        secret_collection_new_for_dbus_path(service_.get(), path.c_str(), SECRET_COLLECTION_NONE, cancellable,
                                            callback, data);
      });
  GError* error = nullptr;
  collection_.reset(secret_collection_new_for_dbus_path_finish(result.get(), &error));
  if (!error) return;
  // A fresh account's default is the name of a keyring that was never made.
  if (!tellsOfMissingObject(*error)) throw problemOf(error);
  g_error_free(error);
  throw unreachable("The keyring service has no default keyring.");
}

void SecretServiceClient::openDefaultCollection() {
  const auto path = defaultCollectionPath();
  loadCollection(path);
  // A locked collection may show its items only in part, so that nothing found in it would mean nothing.
  if (secret_collection_get_locked(collection_.get())) unlock(path);
}

GVariantPointer SecretServiceClient::answerOf(const char* prompt) {
  if (prompt == noPrompt) return nullptr;
  return showPrompt(loop_, peer_, prompt, limits_.prompt);
}

void SecretServiceClient::unlock(const std::string& path) {
  const char* const paths[] = {path.c_str()};
  const auto answer = reply(loop_, peer_,
                            {servicePath, serviceInterface, "Unlock",
                             g_variant_new("(@ao)", g_variant_new_objv(paths, 1)), "(aoo)"});
  GVariant* unlocked = nullptr;
  const char* prompt = nullptr;
  g_variant_get(answer.get(), "(@ao&o)", &unlocked, &prompt);
  GVariantPointer done(unlocked);
  if (auto prompted = answerOf(prompt)) done = std::move(prompted);
  if (!mentions(done.get(), path)) throw stillLocked();
}

std::vector<std::string> SecretServiceClient::pathsWith(const ItemAttributes& attributes) {
  const auto wanted = table(attributes);
  const auto result =
      loop_.await([&](GCancellable* cancellable, GAsyncReadyCallback callback, gpointer data) {
        secret_collection_search_for_dbus_paths(collection_.get(), nullptr, wanted.get(), cancellable,
                                                callback, data);
      });
  GError* error = nullptr;
  char** paths = secret_collection_search_for_dbus_paths_finish(collection_.get(), result.get(), &error);
  if (error) throw problemOf(error);
  return takeTexts(paths);
}

std::optional<FoundItem> SecretServiceClient::itemAt(const std::string& path) {
  const auto result =
      loop_.await([&](GCancellable* cancellable, GAsyncReadyCallback callback, gpointer data) {
        secret_item_new_for_dbus_path(service_.get(), path.c_str(), SECRET_ITEM_NONE, cancellable, callback,
                                      data);
      });
  GError* error = nullptr;
  const GObjectPointer<SecretItem> item(secret_item_new_for_dbus_path_finish(result.get(), &error));
  if (!error) return FoundItem{path, attributesOf(item.get()), secret_item_get_locked(item.get()) == TRUE};
  if (!tellsOfMissingObject(*error)) throw problemOf(error);
  g_error_free(error);
  return std::nullopt;
}

std::vector<FoundItem> SecretServiceClient::search(const ItemAttributes& attributes) {
  std::vector<FoundItem> items;
  for (const auto& path : pathsWith(attributes))
    if (auto item = itemAt(path)) items.push_back(std::move(*item));
  return items;
}

std::optional<Data> SecretServiceClient::secret(const FoundItem& item) {
  if (item.isLocked) unlock(item.path);
  ensureSession();
  const auto result = loop_.await([&](GCancellable* cancellable, GAsyncReadyCallback callback,
                                      gpointer data) {
    secret_service_get_secret_for_dbus_path(service_.get(), item.path.c_str(), cancellable, callback, data);
  });
  GError* error = nullptr;
  const SecretValuePointer value(
      secret_service_get_secret_for_dbus_path_finish(service_.get(), result.get(), &error));
  if (error && !tellsOfMissingObject(*error)) throw problemOf(error);
  g_clear_error(&error);
  if (value) {
    gsize size = 0;
    const auto* bytes = reinterpret_cast<const std::byte*>(secret_value_get(value.get(), &size));
    return Data(bytes, bytes + size);
  }
  // Locked and missing items are left out of the answer; what cannot be decrypted libsecret leaves out too.
  const auto still = itemAt(item.path);
  if (!still) return std::nullopt;
  if (still->isLocked) throw stillLocked();
  throw KeychainProblem(errSecDecode,
                        "The keyring service gave a secret that cannot be decrypted; it was left alone.");
}

void SecretServiceClient::create(const std::string& label, const ItemAttributes& attributes,
                                 const Data& secret) {
  ensureSession();
  const SecretValuePointer value(secret_value_new(reinterpret_cast<const char*>(secret.data()),
                                                  static_cast<gssize>(secret.size()),
                                                  "application/octet-stream"));
  const GVariantPointer encrypted(
      g_variant_ref_sink(secret_service_encode_dbus_secret(service_.get(), value.get())));
  constexpr gboolean replace = FALSE;
  const std::string path = g_dbus_proxy_get_object_path(G_DBUS_PROXY(collection_.get()));
  const auto answer =
      reply(loop_, peer_,
            {path, collectionInterface, "CreateItem",
             g_variant_new("(@a{sv}@(oayays)b)", itemProperties(label, attributes), encrypted.get(), replace),
             "(oo)"});
  const char* prompt = nullptr;
  g_variant_get(answer.get(), "(&o&o)", nullptr, &prompt);
  answerOf(prompt);
}

bool SecretServiceClient::remove(const FoundItem& item) {
  const auto answer = replyIfThere(loop_, peer_, {item.path, itemInterface, "Delete", nullptr, "(o)"});
  if (!answer) return false;
  const char* prompt = nullptr;
  g_variant_get(answer.get(), "(&o)", &prompt);
  answerOf(prompt);
  return true;
}

}  // namespace corvane
