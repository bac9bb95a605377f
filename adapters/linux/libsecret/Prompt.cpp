#include "Prompt.hpp"

#include "KeyringProblems.hpp"

// libsecret has prompts too, but waits for the service's reply and for the user alike, and for either without end. A
// service that hangs must be told within seconds from a user who looks for a password.

namespace corvane {
namespace {

constexpr const char* promptInterface = "org.freedesktop.Secret.Prompt";

/// What becomes of a prompt, as the bus tells it.
class PromptWatch {
 public:
  PromptWatch(const BusPeer& service, const std::string& path) : connection_(service.connection) {
    completion_ = g_dbus_connection_signal_subscribe(connection_, service.name.c_str(), promptInterface,
                                                     "Completed", path.c_str(), nullptr,
                                                     G_DBUS_SIGNAL_FLAGS_NONE, complete, this, nullptr);
    owner_ = g_bus_watch_name_on_connection(connection_, service.name.c_str(), G_BUS_NAME_WATCHER_FLAGS_NONE,
                                            nullptr, vanish, this, nullptr);
  }
  ~PromptWatch() {
    g_bus_unwatch_name(owner_);
    g_dbus_connection_signal_unsubscribe(connection_, completion_);
  }
  PromptWatch(const PromptWatch&) = delete;
  PromptWatch& operator=(const PromptWatch&) = delete;

  bool isOver() const { return isCompleted || isGone; }

  bool isCompleted = false;
  bool isDismissed = false;
  bool isGone = false;
  GVariantPointer result;

 private:
  static void complete(GDBusConnection*, const char*, const char*, const char*, const char*,
                       GVariant* outcome, gpointer watch) {
    auto& self = *static_cast<PromptWatch*>(watch);
    if (!g_variant_is_of_type(outcome, G_VARIANT_TYPE("(bv)"))) return;
    gboolean dismissed = FALSE;
    GVariant* result = nullptr;
    g_variant_get(outcome, "(bv)", &dismissed, &result);
    self.result.reset(result);
    self.isDismissed = dismissed;
    self.isCompleted = true;
  }
  // Called too when the connection is closed.
  static void vanish(GDBusConnection*, const char*, gpointer watch) {
    static_cast<PromptWatch*>(watch)->isGone = true;
  }

  GDBusConnection* const connection_;
  guint completion_ = 0;
  guint owner_ = 0;
};

/// The owner of a name on the bus; empty when it has none.
std::string ownerOf(ReplyLoop& loop, const BusPeer& service, const char* name) {
  const BusPeer bus{service.connection, "org.freedesktop.DBus"};
  const auto answered = answer(
      loop, bus,
      {"/org/freedesktop/DBus", "org.freedesktop.DBus", "GetNameOwner", g_variant_new("(s)", name), "(s)"});
  if (!answered.value) return {};
  const char* owner = nullptr;
  g_variant_get(answered.value.get(), "(&s)", &owner);
  return owner;
}

bool isGnomeKeyring(ReplyLoop& loop, const BusPeer& service) {
  return ownerOf(loop, service, "org.gnome.keyring") == service.name;
}

/// gnome-keyring has another program show its prompts: GNOME's shell, or gcr-prompter, which stays for ten seconds
/// after each. Where neither can run, it answers in the user's name that the prompt was dismissed.
bool lacksPrompter(ReplyLoop& loop, const BusPeer& service) {
  return isGnomeKeyring(loop, service) && ownerOf(loop, service, "org.gnome.keyring.SystemPrompter").empty();
}

/// gnome-keyring (42.1) aborts when the prompt that it shows is dismissed: "assertion failed: (!self->current)" in
/// gkd-secret-unlock.c. Its dialog stays, which costs the user a click and not the keyring.
bool mayBeDismissed(ReplyLoop& loop, const BusPeer& service) {
  return !isGnomeKeyring(loop, service);
}

void takeBack(ReplyLoop& loop, const BusPeer& service, const std::string& path) {
  if (!mayBeDismissed(loop, service)) return;
  try {
    replyIfThere(loop, service, {path, promptInterface, "Dismiss", nullptr, "()"});
  } catch (const KeychainProblem&) {
    // A service that no longer answers shows no prompt either.
  }
}

/// Leaves word for a service that did not say whether it shows the prompt, and may show it later to nobody.
void callOff(ReplyLoop& loop, const BusPeer& service, const std::string& path) {
  if (!mayBeDismissed(loop, service)) return;
  g_dbus_connection_call(service.connection, service.name.c_str(), path.c_str(), promptInterface, "Dismiss",
                         nullptr, nullptr, G_DBUS_CALL_FLAGS_NO_AUTO_START, -1, nullptr, nullptr, nullptr);
  const auto sent = loop.await([&](GCancellable* cancellable, GAsyncReadyCallback callback, gpointer data) {
    g_dbus_connection_flush(service.connection, cancellable, callback, data);
  });
  g_dbus_connection_flush_finish(service.connection, sent.get(), nullptr);
}

KeychainProblem takenBack() {
  return {errSecUserCanceled, "The keyring is locked, and the program took its prompt back."};
}

}  // namespace

GVariantPointer showPrompt(ReplyLoop& loop, const BusPeer& service, const std::string& path,
                           std::chrono::milliseconds limit, const std::stop_token& stop) {
  if (stop.stop_requested()) throw takenBack();
  PromptWatch watch(service, path);
  const std::stop_callback wakeUp(stop, [&loop] { loop.wakeUp(); });
  constexpr const char* noParentWindow = "";
  try {
    reply(loop, service, {path, promptInterface, "Prompt", g_variant_new("(s)", noParentWindow), "()"});
  } catch (const KeychainProblem&) {
    callOff(loop, service, path);
    throw;
  }
  loop.waitUntil([&] { return watch.isOver() || stop.stop_requested(); }, limit);
  if (!watch.isOver()) {
    takeBack(loop, service, path);
    if (stop.stop_requested()) throw takenBack();
    throw DearAnswer(
        errSecInteractionNotAllowed,
        "The keyring is locked, and its prompt was not answered in time; try again and answer it.");
  }
  if (!watch.isCompleted) throw unreachable("The keyring service ended while it showed a prompt.");
  if (watch.isDismissed && lacksPrompter(loop, service))
    throw KeychainProblem(
        errSecInteractionNotAllowed,
        "The keyring is locked, and there is no desktop here that could ask for its password; "
        "unlock it in a desktop session of this user.");
  if (watch.isDismissed)
    throw DearAnswer(errSecUserCanceled,
                     "The keyring is locked, and its prompt was dismissed; try again and answer it.");
  return std::move(watch.result);
}

}  // namespace corvane
