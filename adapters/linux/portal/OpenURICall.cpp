#include "OpenURICall.hpp"

#include "BusStream.hpp"

#include <sys/random.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace corvane {

namespace {

constexpr const char* portalName = "org.freedesktop.portal.Desktop";
constexpr const char* portalPath = "/org/freedesktop/portal/desktop";
constexpr const char* requestInterface = "org.freedesktop.portal.Request";

// The request's name on the bus must be a valid path element that nobody can guess.
std::string randomToken() {
  std::array<unsigned char, 16> bytes{};
  [[maybe_unused]] const auto filled = ::getrandom(bytes.data(), bytes.size(), 0);
  std::string token = "corvane";
  for (const auto byte : bytes) {
    token += "0123456789abcdef"[byte >> 4];
    token += "0123456789abcdef"[byte & 15];
  }
  return token;
}

// Where the portal will put the request: the caller's unique name without its colon, dots as underscores.
std::string predictedPath(std::string_view uniqueName, const std::string& token) {
  std::string sender(uniqueName.substr(1));
  std::replace(sender.begin(), sender.end(), '.', '_');
  return std::string(portalPath) + "/request/" + sender + "/" + token;
}

GVariant* parameters(const OpenURIRequest& request, const std::string& token) {
  GVariantBuilder options;
  g_variant_builder_init(&options, G_VARIANT_TYPE_VARDICT);
  g_variant_builder_add(&options, "{sv}", "handle_token", g_variant_new_string(token.c_str()));
  if (g_utf8_validate(request.activationToken.c_str(), -1, nullptr) && !request.activationToken.empty())
    g_variant_builder_add(&options, "{sv}", "activation_token",
                          g_variant_new_string(request.activationToken.c_str()));
  return g_variant_new("(ssa{sv})", request.parentWindow.c_str(), request.uri.c_str(), &options);
}

}  // namespace

OpenURICall::OpenURICall(std::string busAddress, OpenURIRequest request, std::chrono::milliseconds deadline)
    : busAddress_(std::move(busAddress)),
      request_(std::move(request)),
      deadline_(deadline),
      context_(g_main_context_new()),
      cancellable_(g_cancellable_new()),
      cancellation_(std::make_shared<Cancellation>(context_.get())) {}

OpenURICall::~OpenURICall() {
  if (!connection_ && pending_ == 0) return;
  g_main_context_push_thread_default(context_.get());
  g_cancellable_cancel(cancellable_.get());
  if (stream_) shutDown(*stream_);
  if (connection_) {
    g_signal_handlers_disconnect_by_data(connection_.get(), this);
    for (const auto id : subscriptions_) g_dbus_connection_signal_unsubscribe(connection_.get(), id);
  }
  while (pending_ > 0) g_main_context_iteration(context_.get(), TRUE);
  if (connection_) g_dbus_connection_close_sync(connection_.get(), nullptr, nullptr);
  connection_.reset();
  while (g_main_context_iteration(context_.get(), FALSE)) continue;  // the last of what GLib has to release
  g_main_context_pop_thread_default(context_.get());
}

OpenURICall::Outcome OpenURICall::run() {
  g_main_context_push_thread_default(context_.get());
  timer_.reset(g_timeout_source_new(static_cast<guint>(deadline_.count())));
  g_source_set_callback(timer_.get(), onDeadline, this, nullptr);
  g_source_attach(timer_.get(), context_.get());
  reachBus();
  while (!outcome_ && !cancellation_->isCancelled()) g_main_context_iteration(context_.get(), TRUE);
  timer_.reset();
  if (!outcome_) {
    closeRequest();
    outcome_ = Outcome::cancelled;
  }
  g_main_context_pop_thread_default(context_.get());
  return *outcome_;
}

void OpenURICall::finish(Outcome outcome) {
  if (!outcome_) outcome_ = outcome;
}

void OpenURICall::reachBus() {
  ++pending_;
  g_dbus_address_get_stream(busAddress_.c_str(), cancellable_.get(), onReached, this);
}

void OpenURICall::onReached(GObject*, GAsyncResult* result, gpointer self) {
  auto& call = *static_cast<OpenURICall*>(self);
  --call.pending_;
  call.stream_.reset(g_dbus_address_get_stream_finish(result, nullptr, nullptr));
  if (call.stream_)
    call.connect();
  else
    call.finish(Outcome::failed);
}

void OpenURICall::connect() {
  if (outcome_ || cancellation_->isCancelled()) return;
  ++pending_;
  g_dbus_connection_new(stream_.get(), nullptr,
                        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
                        nullptr, cancellable_.get(), onConnected, this);
}

void OpenURICall::onConnected(GObject*, GAsyncResult* result, gpointer self) {
  auto& call = *static_cast<OpenURICall*>(self);
  --call.pending_;
  call.connected(g_dbus_connection_new_finish(result, nullptr));
}

void OpenURICall::connected(GDBusConnection* connection) {
  if (!connection) {
    finish(Outcome::failed);
    return;
  }
  connection_.reset(connection);
  if (outcome_ || cancellation_->isCancelled()) return;
  g_signal_connect(connection, "closed", G_CALLBACK(onClosed), this);
  token_ = randomToken();
  requestPath_ = predictedPath(g_dbus_connection_get_unique_name(connection), token_);
  // Before the call, as the answer may come before the reply. Any sender will do, as only the portal knows the path:
  // to tell the portal's signals, GDBus would first have to ask who owns its name, and could miss an early answer.
  subscriptions_.push_back(g_dbus_connection_signal_subscribe(
      connection, nullptr, requestInterface, "Response", requestPath_.c_str(), nullptr,
      G_DBUS_SIGNAL_FLAGS_NONE, onResponse, this, nullptr));
  subscriptions_.push_back(g_dbus_connection_signal_subscribe(
      connection, "org.freedesktop.DBus", "org.freedesktop.DBus", "NameOwnerChanged", "/org/freedesktop/DBus",
      portalName, G_DBUS_SIGNAL_FLAGS_NONE, onOwnerChanged, this, nullptr));
  call();
}

void OpenURICall::call() {
  ++pending_;
  g_dbus_connection_call(connection_.get(), portalName, portalPath, "org.freedesktop.portal.OpenURI",
                         "OpenURI", parameters(request_, token_), G_VARIANT_TYPE("(o)"),
                         G_DBUS_CALL_FLAGS_NONE, G_MAXINT, cancellable_.get(), onReply, this);
}

void OpenURICall::onReply(GObject* connection, GAsyncResult* result, gpointer self) {
  auto& call = *static_cast<OpenURICall*>(self);
  --call.pending_;
  GVariant* reply = g_dbus_connection_call_finish(G_DBUS_CONNECTION(connection), result, nullptr);
  if (reply)
    call.timer_.reset();  // from here on the user is asked, who may take any time
  else
    call.finish(Outcome::failed);
  if (reply) g_variant_unref(reply);
}

void OpenURICall::onResponse(GDBusConnection*, const char*, const char*, const char*, const char*,
                             GVariant* parameters, gpointer self) {
  if (!g_variant_is_of_type(parameters, G_VARIANT_TYPE("(ua{sv})"))) return;
  guint32 response = 2;
  g_variant_get_child(parameters, 0, "u", &response);
  static_cast<OpenURICall*>(self)->finish(response == 0   ? Outcome::opened
                                          : response == 1 ? Outcome::dismissed
                                                          : Outcome::failed);
}

// A portal that is gone will not answer any more.
void OpenURICall::onOwnerChanged(GDBusConnection*, const char*, const char*, const char*, const char*,
                                 GVariant* parameters, gpointer self) {
  const char* newOwner = "";
  g_variant_get(parameters, "(&s&s&s)", nullptr, nullptr, &newOwner);
  if (*newOwner == '\0') static_cast<OpenURICall*>(self)->finish(Outcome::failed);
}

void OpenURICall::onClosed(GDBusConnection*, gboolean, GError*, gpointer self) {
  static_cast<OpenURICall*>(self)->finish(Outcome::failed);
}

gboolean OpenURICall::onDeadline(gpointer self) {
  static_cast<OpenURICall*>(self)->finish(Outcome::failed);
  return G_SOURCE_CONTINUE;
}

// A question that is still on the screen goes away with its request.
void OpenURICall::closeRequest() {
  if (requestPath_.empty()) return;
  g_dbus_connection_call(connection_.get(), portalName, requestPath_.c_str(), requestInterface, "Close",
                         nullptr, nullptr, G_DBUS_CALL_FLAGS_NO_AUTO_START, -1, nullptr, nullptr, nullptr);
  g_dbus_connection_flush_sync(connection_.get(), nullptr, nullptr);
}

}  // namespace corvane
