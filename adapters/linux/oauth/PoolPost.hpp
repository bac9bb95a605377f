#pragma once

#include <Corvane/UniqueFunction.hpp>
#include <CorvanePlatform/Queue.hpp>

#include <exception>
#include <memory>
#include <utility>

namespace corvane {

/// Runs the block on the pool or, when the pool cannot start a thread to run it on, here and now: an answer on
/// the wrong thread is better than none.
/// An answer that was prepared as `kept` needs no memory to be run here.
inline void postOrRun(Queue& pool, const std::shared_ptr<Block>& kept) noexcept {
  try {
    pool.async([kept] { (*kept)(); });
  } catch (const std::exception&) {
    (*kept)();
  }
}

inline void postOrRun(Queue& pool, Block block) {
  postOrRun(pool, std::make_shared<Block>(std::move(block)));  // a post that fails drops what it was given
}

}  // namespace corvane
