#pragma once

#include "GLibPointers.hpp"

#include <chrono>
#include <functional>

namespace corvane {

/// Makes GLib's asynchronous calls synchronous, each with a limit of its own.
///
/// A keychain call blocks its thread, but GLib's blocking calls cannot be given a limit, and waiting in the host's main
/// loop would run the host's code in the middle of the call. So the calls run in an event loop that belongs to this
/// object alone: it is the thread's default while the object lives.
///
/// Threads: the one that made it.
class ReplyLoop {
 public:
  /// Begins a call; it must hand all three on.
  using Begin = std::function<void(GCancellable* cancellable, GAsyncReadyCallback callback, gpointer data)>;

  explicit ReplyLoop(std::chrono::milliseconds replyLimit);
  ~ReplyLoop();
  ReplyLoop(const ReplyLoop&) = delete;
  ReplyLoop& operator=(const ReplyLoop&) = delete;

  /// The result of a call, for its `…_finish`. One that is not there within the limit is cancelled, and `…_finish` then
  /// fails with `G_IO_ERROR_CANCELLED`.
  GObjectPointer<GAsyncResult> await(const Begin& begin);

  /// Handles events until `done()`, or until the limit is over; tells `done()`.
  bool waitUntil(const std::function<bool()>& done, std::chrono::milliseconds limit);

 private:
  GMainContext* const context_;
  const std::chrono::milliseconds replyLimit_;
};

}  // namespace corvane
