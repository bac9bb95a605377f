#pragma once

#include <Corvane/AnyCancellable.hpp>
#include <Corvane/UniqueFunction.hpp>

#include <chrono>
#include <memory>

namespace corvane {

using Block = UniqueFunction<void()>;

/// A concurrent queue of blocks, each run once on some thread of the platform's.
///
/// Any thread may post. Blocks start in order and run side by side; one that blocks its thread must not keep
/// the others waiting for long. A queue runs every block that it accepted, also while it is being destroyed.
/// An exception that leaves a block ends the program.
class Queue {
 public:
  virtual ~Queue() = default;

  /// Runs the block soon; returns at once.
  virtual void async(Block block) = 0;

  /// Runs the block once the delay is over, by a clock that no one can set. Cancelling drops the block at
  /// once without running it.
  [[nodiscard]] virtual std::shared_ptr<Cancellable> asyncAfter(std::chrono::microseconds delay,
                                                                Block block) = 0;
};

}  // namespace corvane
