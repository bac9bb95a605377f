#pragma once

#include "KeychainProblem.hpp"

#include <chrono>
#include <optional>

namespace corvane {

/// The answer that a user, or a service that hangs, has just given.
///
/// One click of the user's may begin fifty calls, which come one after the other because the module's operations
/// wait for each other. So a call that begins within a second of such an answer gets it too, unasked.
class RecentAnswer {
 public:
  using Time = std::chrono::steady_clock::time_point;

  void note(const KeychainProblem& problem, Time now) { answer_ = {problem, now}; }
  /// The keyring has done something since.
  void forget() { answer_.reset(); }

  /// Throws the answer again, if it is one for a call that began then.
  void repeatFor(Time begun, std::chrono::milliseconds within) const {
    if (answer_ && begun <= answer_->time + within) throw answer_->problem;
  }

 private:
  struct Answer {
    KeychainProblem problem;
    Time time;
  };
  std::optional<Answer> answer_;
};

}  // namespace corvane
