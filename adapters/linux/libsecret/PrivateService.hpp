#pragma once

#include <libsecret/secret.h>

namespace corvane {

/// A SecretService that works over the `g-connection` it is made with. libsecret's own insists on the process's shared
/// connection to the session bus, which ends the whole process when the bus goes (GDBusConnection:exit-on-close), and
/// which GLib starts a bus for when there is none.
GType privateServiceType();

}  // namespace corvane
