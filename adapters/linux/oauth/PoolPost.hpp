#pragma once

#include <Corvane/UniqueFunction.hpp>
#include <CorvanePlatform/Queue.hpp>

#include <exception>
#include <memory>
#include <utility>

namespace corvane {

/// Runs the block on the pool or, when the pool cannot start a thread to run it on, here and now: an answer on
/// the wrong thread is better than none.
inline void postOrRun(Queue& pool, Block block) {
  const auto kept = std::make_shared<Block>(std::move(block));  // a post that fails drops what it was given
  try {
    pool.async([kept] { (*kept)(); });
  } catch (const std::exception&) {
    (*kept)();
  }
}

}  // namespace corvane
