#include "BusCall.hpp"

#include "KeyringProblems.hpp"

#include <utility>

namespace corvane {

std::vector<BusAnswer> answers(ReplyLoop& loop, const BusPeer& peer, const std::vector<BusCall>& calls) {
  std::vector<ReplyLoop::Begin> begins;
  for (const auto& call : calls)
    begins.push_back([&peer, &call](GCancellable* cancellable, GAsyncReadyCallback callback, gpointer data) {
      constexpr int noLimit = G_MAXINT;  // the loop has its own
      g_dbus_connection_call(peer.connection, peer.name.c_str(), call.path.c_str(), call.interface,
                             call.method, call.arguments, G_VARIANT_TYPE(call.replyType),
                             G_DBUS_CALL_FLAGS_NO_AUTO_START, noLimit, cancellable, callback, data);
    });
  std::vector<BusAnswer> answers;
  for (const auto& result : loop.awaitAll(begins)) {
    GError* error = nullptr;
    GVariantPointer value(g_dbus_connection_call_finish(peer.connection, result.get(), &error));
    answers.push_back({std::move(value), GErrorPointer(error)});
  }
  return answers;
}

GVariantPointer valueOf(BusAnswer answer) {
  if (answer.error) raise(answer.error.release());
  return std::move(answer.value);
}

GVariantPointer valueIfThere(BusAnswer answer) {
  if (answer.error && tellsOfMissingObject(*answer.error)) return nullptr;
  return valueOf(std::move(answer));
}

GVariantPointer reply(ReplyLoop& loop, const BusPeer& peer, const BusCall& call) {
  return valueOf(std::move(answers(loop, peer, {call}).front()));
}

GVariantPointer replyIfThere(ReplyLoop& loop, const BusPeer& peer, const BusCall& call) {
  return valueIfThere(std::move(answers(loop, peer, {call}).front()));
}

}  // namespace corvane
