#pragma once

#include <CorvanePlatform/Queue.hpp>

#include <cerrno>
#include <chrono>
#include <memory>
#include <system_error>

namespace corvane::test {

/// The pool of a system that has no thread left: it takes no block.
class ThreadlessQueue final : public Queue {
 public:
  void async(Block) override { throw std::system_error(EAGAIN, std::generic_category(), "no thread"); }
  std::shared_ptr<Cancellable> asyncAfter(std::chrono::microseconds, Block block) override {
    async(std::move(block));
    return nullptr;
  }
};

}  // namespace corvane::test
