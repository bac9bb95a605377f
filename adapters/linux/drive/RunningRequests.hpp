#pragma once

#include <memory>
#include <mutex>
#include <unordered_map>

namespace corvane {

class DriveRequest;

/// The running requests of one service, and their only owner besides whoever holds a ticket. Threads: any.
class RunningRequests {
 public:
  void add(std::shared_ptr<DriveRequest> request);
  /// Does nothing for a request that is not here.
  void remove(const DriveRequest& request) noexcept;
  /// Cancels every request that is here now. No lock is held while handlers are released, which may run a
  /// host's code.
  void cancelAll();

 private:
  std::mutex mutex_;
  std::unordered_map<const DriveRequest*, std::shared_ptr<DriveRequest>> requests_;
};

}  // namespace corvane
