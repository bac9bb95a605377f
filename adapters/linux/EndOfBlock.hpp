#pragma once

#include <utility>

namespace corvane {

/// Announces, on a worker of the pool, that the next post is the last thing that the present block does: the same
/// worker comes to the posted block at once, so that no other needs to be woken for it. Or the next HTTP request, whose
/// answer the worker then waits for unless there is something else to do.
///
/// Whoever announces it must know that nothing behind the post waits for anything, as the posted block waits for that.
/// It holds for one post, or until this goes. On a thread that is not the pool's it means nothing.
class EndOfBlock {
 public:
  EndOfBlock() noexcept { announced() = true; }
  ~EndOfBlock() { announced() = false; }
  EndOfBlock(const EndOfBlock&) = delete;
  EndOfBlock& operator=(const EndOfBlock&) = delete;

  /// Whether it was announced on this thread; from now on it no longer is.
  static bool take() noexcept { return std::exchange(announced(), false); }

 private:
  static bool& announced() noexcept {
    static thread_local bool value = false;
    return value;
  }
};

}  // namespace corvane
