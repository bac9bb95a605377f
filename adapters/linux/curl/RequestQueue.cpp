#include "RequestQueue.hpp"

#include "Exchange.hpp"

#include <utility>

namespace corvane {

void RequestQueue::post(Exchanges requests) noexcept {
  if (process_.isAnother()) return;
  const std::lock_guard lock(mutex_);
  contents_.requests.splice(contents_.requests.end(), requests);
  wake();
}

void RequestQueue::requestSweep() noexcept {
  if (process_.isAnother()) return;
  const std::lock_guard lock(mutex_);
  contents_.needsSweep = true;
  wake();
}

void RequestQueue::stop() noexcept {
  if (process_.isAnother()) return;
  const std::lock_guard lock(mutex_);
  contents_.isStopped = true;
  wake();
}

RequestQueue::Contents RequestQueue::take() noexcept {
  const std::lock_guard lock(mutex_);
  return std::exchange(contents_, {});
}

void RequestQueue::wakeBy(CURLM* multi) noexcept {
  const std::lock_guard lock(mutex_);
  multi_ = multi;
  process_.remember();
}

// Within the lock, so that the handle is not closed meanwhile.
void RequestQueue::wake() noexcept {
  if (multi_) curl_multi_wakeup(multi_);
}

}  // namespace corvane
