#pragma once

#include <Corvane/CancellableSlot.hpp>
#include <Corvane/Completion.hpp>
#include <Corvane/Publisher.hpp>

#include <atomic>
#include <memory>
#include <utility>

namespace corvane {

/// The two callbacks of a subscription, whatever their types.
template <class Value, class Failure>
class SinkCallbacks {
 public:
  virtual ~SinkCallbacks() = default;
  virtual void onValue(Value value) = 0;
  virtual void onCompletion(Completion<Failure> completion) = 0;
};

/// The host's end of a subscription: calls the host back until it is told not to.
///
/// A call is claimed before it is made, so that after `cancel()` returned no new call begins; the callbacks
/// and what they captured are released as soon as the last claimed call is over. An exception thrown by a
/// callback is the host's own bug and ends the program.
template <class Value, class Failure>
class Sink final : public Receiver<Value, Failure>, public Cancellable {
 public:
  /// Calls nobody until it is given the callbacks, which may be once, before it is subscribed.
  Sink() = default;
  void callBack(std::unique_ptr<SinkCallbacks<Value, Failure>> callbacks) noexcept {
    callbacks_ = std::move(callbacks);
  }

  void subscribed(std::shared_ptr<Cancellable> upstream) { upstream_.set(std::move(upstream)); }

  void receive(Value value) noexcept override {
    if (!claimCall()) return;
    callbacks_->onValue(std::move(value));
    State expected = State::calling;
    if (!state_.compare_exchange_strong(expected, State::waiting)) end();
  }

  void complete(Completion<Failure> completion) noexcept override {
    if (!claimCall()) return;
    upstream_.close();
    callbacks_->onCompletion(std::move(completion));
    end();
  }

  void cancel() noexcept override {
    State current = state_.load();
    while (current == State::waiting || current == State::calling) {
      const State next = current == State::waiting ? State::ended : State::cancelledInCall;
      if (!state_.compare_exchange_weak(current, next)) continue;
      upstream_.cancel();
      if (next == State::ended) end();
      return;
    }
  }

 private:
  enum class State { waiting, calling, cancelledInCall, ended };

  bool claimCall() noexcept {
    State expected = State::waiting;
    return state_.compare_exchange_strong(expected, State::calling);
  }

  void end() noexcept {
    state_.store(State::ended);
    const auto released = std::move(callbacks_);
  }

  std::atomic<State> state_{State::waiting};
  std::unique_ptr<SinkCallbacks<Value, Failure>> callbacks_;
  CancellableSlot upstream_;
};

}  // namespace corvane
