#pragma once

#include "GLibPointers.hpp"

#include <chrono>
#include <functional>

namespace corvane {

/// Makes GLib's asynchronous calls synchronous, each with a limit of its own.
///
/// A keychain call blocks its thread, but GLib's blocking calls cannot be given a limit, and waiting in the host's main
/// loop would run the host's code in the middle of the call. So the calls run in an event loop that belongs to this
/// object alone.
///
/// Threads: any, one after the other, each with a Turn of its own.
class ReplyLoop {
 public:
  /// Makes the loop the thread's default, so that what GLib tells of calls and objects made meanwhile arrives there.
  class Turn {
   public:
    explicit Turn(const ReplyLoop& loop) : context_(loop.context_) {
      g_main_context_push_thread_default(context_);
    }
    ~Turn() { g_main_context_pop_thread_default(context_); }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

   private:
    GMainContext* const context_;
  };

  /// Begins a call; it must hand all three on.
  using Begin = std::function<void(GCancellable* cancellable, GAsyncReadyCallback callback, gpointer data)>;
  using Result = GObjectPointer<GAsyncResult>;

  explicit ReplyLoop(std::chrono::milliseconds replyLimit);
  ~ReplyLoop();
  ReplyLoop(const ReplyLoop&) = delete;
  ReplyLoop& operator=(const ReplyLoop&) = delete;

  /// The result of a call, for its `…_finish`. One that is not there within the limit is cancelled, and `…_finish` then
  /// fails with `G_IO_ERROR_CANCELLED`.
  Result await(const Begin& begin);

  /// Handles events until `done()`, or until the limit is over; tells `done()`.
  bool waitUntil(const std::function<bool()>& done, std::chrono::milliseconds limit);

  /// Has waitUntil ask for `done()` again. Any thread, at any time.
  void wakeUp() { g_main_context_wakeup(context_); }

  /// Handles the events that are there already.
  void catchUp();

 private:
  GMainContext* const context_;
  const std::chrono::milliseconds replyLimit_;
};

}  // namespace corvane
