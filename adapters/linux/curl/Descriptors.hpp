#pragma once

namespace corvane {

/// Whether the process has so few descriptors left that a look-up of a name, or the reading of a
/// certificate, can have failed for want of one. Takes none itself.
bool hasFewDescriptors() noexcept;

}  // namespace corvane
