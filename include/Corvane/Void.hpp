#pragma once

namespace corvane {

/// The value of an operation that has nothing to tell but that it is done.
struct Void {
  bool operator==(const Void&) const = default;
};

}  // namespace corvane
