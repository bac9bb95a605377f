#pragma once

#include <CorvanePlatform/DriveService.hpp>

#include "BuildTurns.hpp"

#include <functional>
#include <memory>
#include <mutex>

namespace corvane {

/// Owns the authorized Drive service of one API object: builds it on first demand, keeps it, and stops its
/// network activity when destroyed.
///
/// Threads: any. The lock is held across check, build and store, so that two first calls build one service;
/// the builder must not call back. Destruction takes no lock. Errors: the builder's, thrown unchanged and not
/// remembered: the next call builds again.
class CorvaneProvider {
 public:
  using MakeService = std::function<std::shared_ptr<GTLRDriveService>()>;

  explicit CorvaneProvider(MakeService makeService);
  CorvaneProvider(const CorvaneProvider&) = delete;
  CorvaneProvider& operator=(const CorvaneProvider&) = delete;
  ~CorvaneProvider();

  std::shared_ptr<GTLRDriveService> service();

  /// Who may call `service()` next. Operations take turns, so that none waits for the lock.
  const std::shared_ptr<BuildTurns>& turns() const { return turns_; }

 private:
  const MakeService makeService_;
  const std::shared_ptr<BuildTurns> turns_ = std::make_shared<BuildTurns>();
  std::mutex lock_;
  std::shared_ptr<GTLRDriveService> cachedService_;
};

}  // namespace corvane
