#pragma once

namespace corvane {

/// Whether the system knows a way to the internet: the difference between "no such host" and "no
/// network" when a name was not found. When that cannot be told, yes.
bool hasWayToInternet() noexcept;

}  // namespace corvane
