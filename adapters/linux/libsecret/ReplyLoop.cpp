#include "ReplyLoop.hpp"

#include <algorithm>
#include <limits>
#include <utility>

namespace corvane {
namespace {

void keepResult(GObject*, GAsyncResult* result, gpointer kept) {
  static_cast<GObjectPointer<GAsyncResult>*>(kept)->reset(static_cast<GAsyncResult*>(g_object_ref(result)));
}

gboolean raise(gpointer flag) {
  *static_cast<bool*>(flag) = true;
  return G_SOURCE_REMOVE;
}

guint milliseconds(std::chrono::milliseconds limit) {
  constexpr std::chrono::milliseconds::rep most = std::numeric_limits<guint>::max();
  return static_cast<guint>(std::clamp<std::chrono::milliseconds::rep>(limit.count(), 0, most));
}

}  // namespace

ReplyLoop::ReplyLoop(std::chrono::milliseconds replyLimit)
    : context_(g_main_context_new()), replyLimit_(replyLimit) {}

ReplyLoop::~ReplyLoop() {
  // GLib frees what belonged to dropped subscriptions in the loop they were made in.
  catchUp();
  g_main_context_unref(context_);
}

ReplyLoop::Result ReplyLoop::await(const Begin& begin) {
  const GObjectPointer<GCancellable> cancellable(g_cancellable_new());
  Result result;
  begin(cancellable.get(), keepResult, &result);
  if (!waitUntil([&result] { return result != nullptr; }, replyLimit_)) {
    g_cancellable_cancel(cancellable.get());
    while (!result) g_main_context_iteration(context_, TRUE);
  }
  return result;
}

bool ReplyLoop::waitUntil(const std::function<bool()>& done, std::chrono::milliseconds limit) {
  bool over = false;
  GSource* const timer = g_timeout_source_new(milliseconds(limit));
  g_source_set_callback(timer, raise, &over, nullptr);
  g_source_attach(timer, context_);
  while (!done() && !over) g_main_context_iteration(context_, TRUE);
  g_source_destroy(timer);
  g_source_unref(timer);
  return done();
}

void ReplyLoop::catchUp() {
  while (g_main_context_iteration(context_, FALSE)) continue;
}

}  // namespace corvane
