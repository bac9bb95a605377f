#include "PrivateService.hpp"

namespace corvane {
namespace {

GObjectClass* parentClass = nullptr;

// The parent's constructor has just asked for the shared connection, and for all that the service tells of itself, which
// nobody would take in between two calls.
GObject* construct(GType type, guint count, GObjectConstructParam* properties) {
  GObject* const object = parentClass->constructor(type, count, properties);
  constexpr auto quiet = static_cast<GDBusProxyFlags>(G_DBUS_PROXY_FLAGS_DO_NOT_CONNECT_SIGNALS |
                                                      G_DBUS_PROXY_FLAGS_DO_NOT_LOAD_PROPERTIES);
  g_object_set(object, "g-bus-type", G_BUS_TYPE_NONE, "g-flags", quiet, nullptr);
  return object;
}

void initialize(gpointer itsClass, gpointer) {
  parentClass = static_cast<GObjectClass*>(g_type_class_peek_parent(itsClass));
  static_cast<GObjectClass*>(itsClass)->constructor = construct;
}

}  // namespace

GType privateServiceType() {
  static const GType type =
      g_type_register_static_simple(SECRET_TYPE_SERVICE, "CorvaneSecretService", sizeof(SecretServiceClass),
                                    initialize, sizeof(SecretService), nullptr, static_cast<GTypeFlags>(0));
  return type;
}

}  // namespace corvane
