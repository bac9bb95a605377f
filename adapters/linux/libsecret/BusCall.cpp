#include "BusCall.hpp"

#include "KeyringProblems.hpp"

#include <utility>

namespace corvane {

BusAnswer answer(ReplyLoop& loop, const BusPeer& peer, const BusCall& call) {
  const auto result = loop.await([&](GCancellable* cancellable, GAsyncReadyCallback callback, gpointer data) {
    constexpr int noLimit = G_MAXINT;  // the loop has its own
    g_dbus_connection_call(peer.connection, peer.name.c_str(), call.path.c_str(), call.interface, call.method,
                           call.arguments, G_VARIANT_TYPE(call.replyType), G_DBUS_CALL_FLAGS_NO_AUTO_START,
                           noLimit, cancellable, callback, data);
  });
  GError* error = nullptr;
  GVariantPointer value(g_dbus_connection_call_finish(peer.connection, result.get(), &error));
  return {std::move(value), GErrorPointer(error)};
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
  return valueOf(answer(loop, peer, call));
}

GVariantPointer replyIfThere(ReplyLoop& loop, const BusPeer& peer, const BusCall& call) {
  return valueIfThere(answer(loop, peer, call));
}

}  // namespace corvane
