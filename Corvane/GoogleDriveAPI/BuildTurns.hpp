#pragma once

#include <Corvane/UniqueFunction.hpp>
#include <CorvanePlatform/Queue.hpp>

#include <atomic>
#include <memory>
#include <utility>

namespace corvane {

/// Has the operations of one API object ask for the service one after another until it is built,
/// without a thread for each that waits.
///
/// Problem: the provider's lock is held while the service is built, and the keychain may wait for
/// its user. Each operation that waits for the lock occupies a worker. Some hundred of them leave
/// no worker for other accounts.
///
/// Idea: only the operation that has the turn goes to the lock. The others are kept in a list. When
/// the turn ends without a service, the oldest of them gets it; once the service is there, all of
/// them go on.
///
/// The list is a stack with one atomic head, as in `FutureState`. Threads: any; `take` never waits.
class BuildTurns : public std::enable_shared_from_this<BuildTurns> {
 public:
  /// The right to ask for the service. Empty when no turn is needed. Dropped, it passes to the
  /// next.
  class Turn {
   public:
    Turn() = default;
    explicit Turn(std::shared_ptr<BuildTurns> turns) : turns_(std::move(turns)) {}
    Turn(Turn&&) = default;
    Turn& operator=(Turn&&) = delete;
    ~Turn() { end(false); }

    /// The service has been asked for. Called before anything else is done that takes long.
    void end(bool isBuilt) noexcept {
      if (const auto turns = std::move(turns_)) turns->end(isBuilt);
    }

   private:
    std::shared_ptr<BuildTurns> turns_;
  };
  using Work = UniqueFunction<void(Turn)>;

  BuildTurns() = default;
  BuildTurns(const BuildTurns&) = delete;
  BuildTurns& operator=(const BuildTurns&) = delete;

  /// Whether the service is there, so that no turns are needed.
  bool areOver() const noexcept { return newest_.load(std::memory_order_acquire) == isOver(); }

  /// Runs the work here and now if it is its turn; otherwise later, on the queue.
  void take(const std::shared_ptr<Queue>& queue, Work work);

 private:
  struct Waiting {
    std::shared_ptr<Queue> queue;
    std::shared_ptr<Work> work;
    Waiting* next;
  };

  // In place of the newest that waits: no operation has the turn; one has it and none waits; the
  // service is there.
  static Waiting* isFree() noexcept { return nullptr; }
  static Waiting* isTaken() noexcept { return &takenMark; }
  static Waiting* isOver() noexcept { return &overMark; }
  static Waiting takenMark;
  static Waiting overMark;

  void end(bool isBuilt) noexcept;
  void passOn() noexcept;
  void releaseAll() noexcept;
  void collect(Waiting* mark) noexcept;
  bool postOldest(std::shared_ptr<BuildTurns> turns) noexcept;

  std::atomic<Waiting*> newest_{isFree()};
  // Those taken out of the stack, in order. Only the operation that has the turn looks.
  Waiting* oldest_ = nullptr;
};

}  // namespace corvane
