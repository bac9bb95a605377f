#include "BusCall.hpp"

#include "KeyringProblems.hpp"

namespace corvane {
namespace {

GVariantPointer replyOrError(ReplyLoop& loop, const BusPeer& peer, const BusCall& call, GError** error) {
  const auto result = loop.await([&](GCancellable* cancellable, GAsyncReadyCallback callback, gpointer data) {
    constexpr int noLimit = G_MAXINT;  // the loop has its own
    g_dbus_connection_call(peer.connection, peer.name.c_str(), call.path.c_str(), call.interface, call.method,
                           call.arguments, G_VARIANT_TYPE(call.replyType), G_DBUS_CALL_FLAGS_NO_AUTO_START,
                           noLimit, cancellable, callback, data);
  });
  return GVariantPointer(g_dbus_connection_call_finish(peer.connection, result.get(), error));
}

}  // namespace

GVariantPointer reply(ReplyLoop& loop, const BusPeer& peer, const BusCall& call) {
  GError* error = nullptr;
  auto answer = replyOrError(loop, peer, call, &error);
  if (error) throw problemOf(error);
  return answer;
}

GVariantPointer replyIfThere(ReplyLoop& loop, const BusPeer& peer, const BusCall& call) {
  GError* error = nullptr;
  auto answer = replyOrError(loop, peer, call, &error);
  if (error && !tellsOfMissingObject(*error)) throw problemOf(error);
  g_clear_error(&error);
  return answer;
}

}  // namespace corvane
