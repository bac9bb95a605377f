#include "SecretServiceClient.hpp"

#include "BusAddress.hpp"
#include "BusStream.hpp"
#include "KeyringProblems.hpp"
#include "PrivateService.hpp"
#include "SignalsBlocked.hpp"

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

// Without a builder, which reads a format for each of them.
GVariant* textsOf(const ItemAttributes& attributes) {
  std::vector<GVariant*> texts;
  texts.reserve(attributes.size());
  for (const auto& [name, value] : attributes)
    texts.push_back(
        g_variant_new_dict_entry(g_variant_new_string(name.c_str()), g_variant_new_string(value.c_str())));
  return g_variant_new_array(G_VARIANT_TYPE("{ss}"), texts.data(), texts.size());
}

ItemAttributes attributesIn(GVariant* texts) {
  ItemAttributes attributes;
  if (!g_variant_is_of_type(texts, G_VARIANT_TYPE("a{ss}"))) return attributes;
  GVariantIter iterator;
  g_variant_iter_init(&iterator, texts);
  const char* name = nullptr;
  for (const char* value = nullptr; g_variant_iter_next(&iterator, "{&s&s}", &name, &value);)
    attributes.emplace(name, value);
  return attributes;
}

GVariant* itemProperties(const std::string& label, const ItemAttributes& attributes) {
  GVariantBuilder properties;
  g_variant_builder_init(&properties, G_VARIANT_TYPE("a{sv}"));
  g_variant_builder_add(&properties, "{sv}", labelProperty, g_variant_new_string(label.c_str()));
  g_variant_builder_add(&properties, "{sv}", attributesProperty, textsOf(attributes));
  return g_variant_builder_end(&properties);
}

struct SecretValueUnref {
  void operator()(SecretValue* value) const noexcept { secret_value_unref(value); }
};
using SecretValuePointer = std::unique_ptr<SecretValue, SecretValueUnref>;

BusCall propertyCall(const std::string& path, const char* interface, const char* property) {
  return {path, "org.freedesktop.DBus.Properties", "Get", g_variant_new("(ss)", interface, property), "(v)"};
}

GVariantPointer propertyIn(const GVariantPointer& answer) {
  GVariant* value = nullptr;
  g_variant_get(answer.get(), "(v)", &value);
  return GVariantPointer(value);
}

GVariant* onePath(const std::string& path) {
  const char* const paths[] = {path.c_str()};
  return g_variant_new_objv(paths, 1);
}

KeychainProblem noDefaultCollection() {
  return unreachable("The keyring service has no default keyring.");
}

bool mentions(GVariant* paths, const std::string& path) {
  if (!g_variant_is_of_type(paths, G_VARIANT_TYPE_OBJECT_PATH_ARRAY)) return false;
  GVariantIter iterator;
  g_variant_iter_init(&iterator, paths);
  for (const char* each = nullptr; g_variant_iter_next(&iterator, "&o", &each);)
    if (each == path) return true;
  return false;
}

DearAnswer stillLocked() {
  return {errSecInteractionNotAllowed,
          "The keyring is still locked after its prompt: the password may have been wrong; try again."};
}

GObjectPointer<GIOStream> streamTo(ReplyLoop& loop, const std::string& address, GError*& error) {
  const auto result =
      loop.await([&address](GCancellable* cancellable, GAsyncReadyCallback callback, gpointer data) {
        const SignalsBlocked blocked;  // GLib starts threads here
        g_dbus_address_get_stream(address.c_str(), cancellable, callback, data);
      });
  return GObjectPointer<GIOStream>(g_dbus_address_get_stream_finish(result.get(), nullptr, &error));
}

void hangUp(GCancellable*, gpointer stream) {
  shutDown(*static_cast<GIOStream*>(stream));
}

GDBusConnection* connectionOver(ReplyLoop& loop, GIOStream* stream, GError*& error) {
  const auto result =
      loop.await([stream](GCancellable* cancellable, GAsyncReadyCallback callback, gpointer data) {
        const SignalsBlocked blocked;  // GLib starts threads here
        const auto flags = static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                             G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
        g_cancellable_connect(cancellable, G_CALLBACK(hangUp), g_object_ref(stream), g_object_unref);
        g_dbus_connection_new(stream, nullptr, flags, nullptr, cancellable, callback, data);
      });
  return g_dbus_connection_new_finish(result.get(), &error);
}

}  // namespace

SecretServiceClient::SecretServiceClient(const SecretServiceLimits& limits, std::stop_token stop)
    : limits_(limits), stop_(std::move(stop)), loop_(limits.reply) {
  const ReplyLoop::Turn turn(loop_);
  connect();
  findService();
  open();
}

bool SecretServiceClient::resume() {
  isCommitted_ = false;
  loop_.catchUp();
  const GTextPointer owner(g_dbus_proxy_get_name_owner(G_DBUS_PROXY(service_.get())));
  return !g_dbus_connection_is_closed(connection_.get()) && owner && owner.get() == peer_.name &&
         sessionBusAddress() == address_;
}

void SecretServiceClient::connect() {
  const auto address = sessionBusAddress();
  if (!address)
    throw unreachable("There is no session bus (neither DBUS_SESSION_BUS_ADDRESS nor $XDG_RUNTIME_DIR/bus).");
  address_ = *address;
  GError* error = nullptr;
  if (const auto stream = streamTo(loop_, address_, error))
    connection_.reset(connectionOver(loop_, stream.get(), error));
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
  if (error) raise(error);
}

template <class Begin, class Finish>
auto SecretServiceClient::await(Begin begin, Finish finish) {
  const auto result = loop_.await([&](GCancellable* cancellable, GAsyncReadyCallback callback,
                                      gpointer data) { begin(service_.get(), cancellable, callback, data); });
  GError* error = nullptr;
  const auto value = finish(service_.get(), result.get(), &error);
  if (error) raise(error);
  return value;
}

void SecretServiceClient::ensureSession() {
  if (secret_service_get_session_dbus_path(service_.get())) return;
  const auto open = [this] { await(secret_service_ensure_session, secret_service_ensure_session_finish); };
  try {
    open();
  } catch (const ConversationLost&) {
    throw;
  } catch (const DearAnswer&) {
    throw;
  } catch (const KeychainProblem& problem) {
    // libsecret leaves a public key's leading zeros out, as one of 256 has. KWallet refuses those ("Client public key
    // size is invalid"). Another attempt makes another key.
    if (problem.status() != errSecNotAvailable) throw;
    open();
  }
}

std::string SecretServiceClient::defaultCollection() {
  const auto begin = [](SecretService* service, GCancellable* cancellable, GAsyncReadyCallback callback,
                        gpointer data) {
    secret_service_read_alias_dbus_path(service, SECRET_COLLECTION_DEFAULT, cancellable, callback, data);
  };
  const GTextPointer path(await(begin, secret_service_read_alias_dbus_path_finish));
  if (!path || std::string_view(path.get()) == sessionCollection) throw noDefaultCollection();
  return path.get();
}

std::optional<bool> SecretServiceClient::isLocked(const std::string& path, const char* interface) {
  const auto answer = replyIfThere(loop_, peer_, propertyCall(path, interface, "Locked"));
  if (!answer) return std::nullopt;
  const auto locked = propertyIn(answer);
  return g_variant_is_of_type(locked.get(), G_VARIANT_TYPE_BOOLEAN) && g_variant_get_boolean(locked.get());
}

std::optional<ItemAttributes> SecretServiceClient::attributesOf(const std::string& item) {
  auto shown = answer(loop_, peer_, propertyCall(item, itemInterface, "Attributes"));
  if (shown.error && tellsOfMissingProperty(*shown.error)) return std::nullopt;
  const auto value = valueIfThere(std::move(shown));
  if (!value) return std::nullopt;
  return attributesIn(propertyIn(value).get());
}

GVariantPointer SecretServiceClient::answerOf(const char* prompt) {
  if (prompt == noPrompt) return nullptr;
  isCommitted_ = true;
  return showPrompt(loop_, peer_, prompt, limits_.prompt, stop_);
}

void SecretServiceClient::unlock(const std::string& path) {
  const auto answer =
      reply(loop_, peer_,
            {servicePath, serviceInterface, "Unlock", g_variant_new("(@ao)", onePath(path)), "(aoo)"});
  GVariant* unlocked = nullptr;
  const char* prompt = nullptr;
  g_variant_get(answer.get(), "(@ao&o)", &unlocked, &prompt);
  GVariantPointer done(unlocked);
  if (auto prompted = answerOf(prompt)) done = std::move(prompted);
  if (!mentions(done.get(), path)) throw stillLocked();
}

std::vector<FoundItem> SecretServiceClient::search(const ItemAttributes& attributes) {
  collection_ = defaultCollection();
  const auto locked = isLocked(collection_, collectionInterface);
  if (!locked)
    throw noDefaultCollection();  // a fresh account's default is the name of one that was never made
  if (*locked) unlock(collection_);
  const auto found = reply(loop_, peer_,
                           {collection_, collectionInterface, "SearchItems",
                            g_variant_new("(@a{ss})", textsOf(attributes)), "(ao)"});
  char** paths = nullptr;
  g_variant_get(found.get(), "(^ao)", &paths);
  std::vector<FoundItem> items;
  for (const auto& path : takeTexts(paths))
    if (auto shown = attributesOf(path)) items.push_back({path, std::move(*shown)});
  return items;
}

std::optional<Data> SecretServiceClient::givenSecret(const std::string& item) {
  ensureSession();
  const char* const session = secret_service_get_session_dbus_path(service_.get());
  auto given = answer(loop_, peer_,
                      {servicePath, serviceInterface, "GetSecrets",
                       g_variant_new("(@aoo)", onePath(item), session), "(a{o(oayays)})"});
  if (given.error && tellsOfLock(*given.error)) return std::nullopt;
  const auto value = valueIfThere(std::move(given));
  if (!value) return std::nullopt;
  const GVariantPointer secrets(g_variant_get_child_value(value.get(), 0));
  if (g_variant_n_children(secrets.get()) == 0) return std::nullopt;
  const GVariantPointer entry(g_variant_get_child_value(secrets.get(), 0));
  const GVariantPointer encrypted(g_variant_get_child_value(entry.get(), 1));
  const SecretValuePointer secret(secret_service_decode_dbus_secret(service_.get(), encrypted.get()));
  if (!secret) return std::nullopt;
  gsize size = 0;
  const auto* bytes = reinterpret_cast<const std::byte*>(secret_value_get(secret.get(), &size));
  return Data(bytes, bytes + size);
}

std::optional<Data> SecretServiceClient::secret(const FoundItem& item) {
  if (auto secret = givenSecret(item.path)) return secret;
  // Of a locked item some services tell that it is locked; others leave it out, as if it were missing.
  auto locked = isLocked(item.path, itemInterface);
  if (locked == true) {
    unlock(item.path);
    if (auto secret = givenSecret(item.path)) return secret;
    locked = isLocked(item.path, itemInterface);
  }
  if (!locked) return std::nullopt;
  if (*locked) throw stillLocked();
  throw KeychainProblem(errSecDecode,
                        "The keyring service gave a secret that cannot be decrypted; it was left alone.");
}

BusAnswer SecretServiceClient::write(const BusCall& call) {
  const bool before = std::exchange(isCommitted_, true);
  auto written = answer(loop_, peer_, call);
  if (written.error && (tellsOfStranger(*written.error) || tellsOfLock(*written.error)))
    isCommitted_ = before;
  return written;
}

void SecretServiceClient::create(const NewItem& item) {
  ensureSession();
  const SecretValuePointer value(secret_value_new(reinterpret_cast<const char*>(item.secret.data()),
                                                  static_cast<gssize>(item.secret.size()),
                                                  "application/octet-stream"));
  const GVariantPointer encrypted(
      g_variant_ref_sink(secret_service_encode_dbus_secret(service_.get(), value.get())));
  constexpr gboolean replace = FALSE;
  const auto created =
      valueOf(write({collection_, collectionInterface, "CreateItem",
                     g_variant_new("(@a{sv}@(oayays)b)", itemProperties(item.label, item.attributes),
                                   encrypted.get(), replace),
                     "(oo)"}));
  const char* prompt = nullptr;
  g_variant_get(created.get(), "(o&o)", nullptr, &prompt);
  answerOf(prompt);
}

bool SecretServiceClient::remove(const FoundItem& item) {
  const auto removal = [&] { return write({item.path, itemInterface, "Delete", nullptr, "(o)"}); };
  auto answered = removal();
  if (answered.error && tellsOfLock(*answered.error)) {
    unlock(item.path);
    answered = removal();
  }
  const auto removed = valueIfThere(std::move(answered));
  if (!removed) {
    if (isLocked(item.path, itemInterface))
      throw unreachable("The keyring service does not remove an item that is there.");
    return false;
  }
  const char* prompt = nullptr;
  g_variant_get(removed.get(), "(&o)", &prompt);
  answerOf(prompt);
  return true;
}

}  // namespace corvane
