#pragma once

#include <optional>
#include <utility>

namespace corvane {

/// How a subscription ended: finished after its value, or failed with one error.
template <class Failure>
class Completion {
 public:
  static Completion finished() { return Completion(); }
  static Completion failure(Failure error) {
    Completion completion;
    completion.error_.emplace(std::move(error));
    return completion;
  }

  bool isFinished() const noexcept { return !error_.has_value(); }
  bool isFailure() const noexcept { return error_.has_value(); }

  /// The error; call it only on a failure.
  const Failure& error() const& { return *error_; }
  Failure&& error() && { return *std::move(error_); }

 private:
  Completion() = default;
  std::optional<Failure> error_;
};

}  // namespace corvane
