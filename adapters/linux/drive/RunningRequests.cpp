#include "RunningRequests.hpp"

#include "DriveRequest.hpp"

#include <utility>

namespace corvane {

void RunningRequests::add(std::shared_ptr<DriveRequest> request) {
  const std::lock_guard lock(mutex_);
  const auto* key = request.get();
  requests_.emplace(key, std::move(request));
}

void RunningRequests::remove(const DriveRequest& request) noexcept {
  decltype(requests_)::node_type removed;  // freed after the lock
  const std::lock_guard lock(mutex_);
  removed = requests_.extract(&request);
}

void RunningRequests::cancelAll() {
  decltype(requests_) cancelled;
  {
    const std::lock_guard lock(mutex_);
    cancelled.swap(requests_);
  }
  for (const auto& [key, request] : cancelled) request->cancelTicket();
}

}  // namespace corvane
