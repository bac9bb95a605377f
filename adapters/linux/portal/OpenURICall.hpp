#pragma once

#include <Corvane/AnyCancellable.hpp>

#include <gio/gio.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace corvane {

/// What is asked of the portal.
struct OpenURIRequest {
  std::string uri;
  std::string parentWindow;     // "x11:…", "wayland:…" or empty
  std::string activationToken;  // empty for none
};

/// One call of org.freedesktop.portal.OpenURI, from the connection to the user's answer.
///
/// The problem: bus and portal may be missing, slow or frozen, the user takes minutes, and the host may be
/// cancelling meanwhile; GDBus' blocking calls can neither be given one deadline nor always be cancelled. The
/// idea: the whole conversation is asynchronous, on a main context of its own that one thread iterates. The
/// connection is its own too: a shared one would end the host's process when the bus goes.
///
/// Threads: made anywhere, then `run` and destroyed on one thread.
/// Cancellation: `cancellation()`, from any thread, also after the end; it does not keep the call alive.
class OpenURICall {
 public:
  enum class Outcome {
    opened,     // a browser has the page
    dismissed,  // the user was asked which browser, and closed the question
    failed,     // no bus, no portal, no answer in time, or none that opens the page
    cancelled,
  };

  /// `deadline` bounds everything up to the portal's reply, which says only that it has taken the request.
  OpenURICall(std::string busAddress, OpenURIRequest request, std::chrono::milliseconds deadline);
  /// Hangs up on a bus that has let the deadline pass, and waits for nobody.
  ~OpenURICall();
  OpenURICall(const OpenURICall&) = delete;
  OpenURICall& operator=(const OpenURICall&) = delete;

  Outcome run();
  std::shared_ptr<Cancellable> cancellation() const { return cancellation_; }

 private:
  struct Unref {
    void operator()(gpointer object) const { g_object_unref(object); }
    void operator()(GMainContext* context) const { g_main_context_unref(context); }
    void operator()(GSource* source) const {
      g_source_destroy(source);
      g_source_unref(source);
    }
  };
  template <class T>
  using Owned = std::unique_ptr<T, Unref>;

  class Cancellation final : public Cancellable {
   public:
    explicit Cancellation(GMainContext* context) : context_(g_main_context_ref(context)) {}
    void cancel() noexcept override {
      isCancelled_ = true;
      g_main_context_wakeup(context_.get());
    }
    bool isCancelled() const noexcept { return isCancelled_; }

   private:
    const Owned<GMainContext> context_;
    std::atomic<bool> isCancelled_{false};
  };

  void reachBus();
  void connect();
  void connected(GDBusConnection* connection);
  void call();
  void finish(Outcome outcome);
  void closeRequest();

  static void onReached(GObject*, GAsyncResult* result, gpointer self);
  static void onConnected(GObject*, GAsyncResult* result, gpointer self);
  static void onReply(GObject* connection, GAsyncResult* result, gpointer self);
  static void onResponse(GDBusConnection*, const char*, const char*, const char*, const char*,
                         GVariant* parameters, gpointer self);
  static void onOwnerChanged(GDBusConnection*, const char*, const char*, const char*, const char*,
                             GVariant* parameters, gpointer self);
  static void onClosed(GDBusConnection*, gboolean, GError*, gpointer self);
  static gboolean onDeadline(gpointer self);

  const std::string busAddress_;
  const OpenURIRequest request_;
  const std::chrono::milliseconds deadline_;
  const Owned<GMainContext> context_;
  const Owned<GCancellable> cancellable_;
  const std::shared_ptr<Cancellation> cancellation_;

  Owned<GSource> timer_;
  Owned<GIOStream> stream_;
  Owned<GDBusConnection> connection_;
  std::string token_;
  std::string requestPath_;
  std::vector<guint> subscriptions_;
  int pending_ = 0;  // calls into GLib that have yet to call back
  std::optional<Outcome> outcome_;
};

}  // namespace corvane
