#pragma once

#include <Corvane/AnyPublisher.hpp>

#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace corvane::test {

/// Subscribes and keeps all that comes: for publishers whose events come on the test's own thread.
template <class Value, class Failure>
class Recorder {
 public:
  explicit Recorder(const AnyPublisher<Value, Failure>& publisher) : seen_(std::make_shared<Seen>()) {
    subscription_ = publisher.sink(
        [seen = seen_](Completion<Failure> completion) {
          seen->events.push_back(completion.isFinished() ? "finished" : "failed");
          seen->threads.push_back(std::this_thread::get_id());
          if (completion.isFailure()) seen->error.emplace(std::move(completion).error());
        },
        [seen = seen_](Value value) {
          seen->events.push_back("value");
          seen->threads.push_back(std::this_thread::get_id());
          seen->value.emplace(std::move(value));
        });
  }

  /// "value", "finished", "failed" in the order they came.
  const std::vector<std::string>& events() const { return seen_->events; }
  const std::vector<std::thread::id>& threads() const { return seen_->threads; }
  const std::optional<Value>& value() const { return seen_->value; }
  const std::optional<Failure>& error() const { return seen_->error; }
  bool ended() const { return !events().empty() && events().back() != "value"; }

  void cancel() { subscription_.cancel(); }
  /// Drops the subscription.
  void drop() { subscription_ = {}; }

 private:
  struct Seen {
    std::vector<std::string> events;
    std::vector<std::thread::id> threads;
    std::optional<Value> value;
    std::optional<Failure> error;
  };

  std::shared_ptr<Seen> seen_;
  AnyCancellable subscription_;
};

template <class Value, class Failure>
Recorder(const AnyPublisher<Value, Failure>&) -> Recorder<Value, Failure>;

}  // namespace corvane::test
