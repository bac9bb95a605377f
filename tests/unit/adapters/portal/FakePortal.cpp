#include "FakePortal.hpp"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace corvane::test {

namespace {

void send(GDBusConnection* connection, GDBusMessage* message) {
  g_dbus_connection_send_message(connection, message, G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr, nullptr);
  g_object_unref(message);
}

std::map<std::string, std::string> texts(GVariant* dictionary) {
  std::map<std::string, std::string> result;
  GVariantIter entries;
  g_variant_iter_init(&entries, dictionary);
  const char* name = nullptr;
  GVariant* value = nullptr;
  while (g_variant_iter_loop(&entries, "{&sv}", &name, &value))
    if (g_variant_is_of_type(value, G_VARIANT_TYPE_STRING))
      result[name] = g_variant_get_string(value, nullptr);
  return result;
}

FakePortal::Call callFrom(GDBusConnection* connection, GDBusMessage* message) {
  const char* parent = nullptr;
  const char* uri = nullptr;
  GVariant* options = nullptr;
  g_variant_get(g_dbus_message_get_body(message), "(&s&s@a{sv})", &parent, &uri, &options);
  FakePortal::Call call{parent, uri, texts(options), {}, connection, nullptr};
  g_variant_unref(options);
  std::string sender = g_dbus_message_get_sender(message) + 1;
  std::replace(sender.begin(), sender.end(), '.', '_');
  call.requestPath = "/org/freedesktop/portal/desktop/request/" + sender + "/" + call.options["handle_token"];
  call.message.reset(G_DBUS_MESSAGE(g_object_ref(message)), g_object_unref);
  return call;
}

}  // namespace

PrivateBus::PrivateBus() {
  std::array<int, 2> pipe{};
  if (::pipe2(pipe.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_adddup2(&files, pipe[1], STDOUT_FILENO);
  std::array<const char*, 5> command{"dbus-daemon", "--session", "--nofork", "--print-address=1", nullptr};
  const int failed = ::posix_spawnp(&daemon_, command.front(), &files, nullptr,
                                    const_cast<char* const*>(command.data()), environ);
  posix_spawn_file_actions_destroy(&files);
  ::close(pipe[1]);
  if (failed != 0) throw std::runtime_error("dbus-daemon cannot be started");
  for (char letter = 0; ::read(pipe[0], &letter, 1) == 1 && letter != '\n';) address_ += letter;
  ::close(pipe[0]);
  if (address_.empty()) throw std::runtime_error("dbus-daemon has no address");
  variable_.emplace("DBUS_SESSION_BUS_ADDRESS", address_);
}

PrivateBus::~PrivateBus() {
  stop();
}

void PrivateBus::stop() {
  if (daemon_ == 0) return;
  ::kill(daemon_, SIGTERM);
  ::waitpid(std::exchange(daemon_, 0), nullptr, 0);
}

void FakePortal::Call::reply() const {
  GDBusMessage* reply = g_dbus_message_new_method_reply(message.get());
  g_dbus_message_set_body(reply, g_variant_new("(o)", requestPath.c_str()));
  send(connection, reply);
}

void FakePortal::Call::refuse() const {
  send(connection, g_dbus_message_new_method_error(message.get(), "org.freedesktop.DBus.Error.AccessDenied",
                                                   "%s", "not today"));
}

void FakePortal::Call::respond(unsigned response) const {
  GDBusMessage* signal =
      g_dbus_message_new_signal(requestPath.c_str(), "org.freedesktop.portal.Request", "Response");
  g_dbus_message_set_destination(signal, g_dbus_message_get_sender(message.get()));
  g_dbus_message_set_body(signal, g_variant_new("(ua{sv})", response, nullptr));
  send(connection, signal);
}

FakePortal::FakePortal(const PrivateBus& bus, Behaviour behaviour)
    : conduct_(std::make_shared<Conduct>(Conduct{std::move(behaviour), {}})) {
  connection_ = g_dbus_connection_new_for_address_sync(
      bus.address().c_str(),
      static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                        G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
      nullptr, nullptr, nullptr);
  if (!connection_) throw std::runtime_error("no connection to the private bus");
  using Shared = std::shared_ptr<Conduct>;
  g_dbus_connection_add_filter(connection_, filter, new Shared(conduct_),
                               [](gpointer shared) { delete static_cast<Shared*>(shared); });
  GVariant* owned = g_dbus_connection_call_sync(connection_, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                                "org.freedesktop.DBus", "RequestName",
                                                g_variant_new("(su)", "org.freedesktop.portal.Desktop", 4U),
                                                nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
  if (!owned) throw std::runtime_error("the portal's name cannot be had");
  g_variant_unref(owned);
}

void FakePortal::leave() {
  if (!connection_) return;
  g_dbus_connection_close_sync(connection_, nullptr, nullptr);
  g_object_unref(std::exchange(connection_, nullptr));
}

GDBusMessage* FakePortal::filter(GDBusConnection* connection, GDBusMessage* message, gboolean incoming,
                                 gpointer conduct) {
  if (!incoming || !(*static_cast<std::shared_ptr<Conduct>*>(conduct))->take(connection, message))
    return message;
  g_object_unref(message);
  return nullptr;
}

bool FakePortal::Conduct::take(GDBusConnection* connection, GDBusMessage* message) {
  if (g_dbus_message_get_message_type(message) != G_DBUS_MESSAGE_TYPE_METHOD_CALL) return false;
  const std::string_view member = g_dbus_message_get_member(message);
  if (member == "OpenURI") {
    behaviour(callFrom(connection, message));
    return true;
  }
  if (member == "Close") closed.set_value(g_dbus_message_get_path(message));
  return member == "Close";
}

}  // namespace corvane::test
