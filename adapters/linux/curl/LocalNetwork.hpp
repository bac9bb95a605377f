#pragma once

namespace corvane {

/// Whether an interface other than loopback is up with an address: the difference between "no such host" and
/// "no network" when a name was not found. When that cannot be told, yes.
bool hasNetworkInterface() noexcept;

}  // namespace corvane
