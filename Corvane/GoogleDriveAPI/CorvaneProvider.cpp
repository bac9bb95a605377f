#include "CorvaneProvider.hpp"

#include <utility>

namespace corvane {

CorvaneProvider::CorvaneProvider(MakeService makeService) : makeService_(std::move(makeService)) {}

CorvaneProvider::~CorvaneProvider() {
  if (!cachedService_) return;
  cachedService_->fetcherService().stopAllFetchers();
  cachedService_->fetcherService().resetSession();
}

std::shared_ptr<GTLRDriveService> CorvaneProvider::service() {
  const std::lock_guard guard(lock_);
  if (!cachedService_) cachedService_ = makeService_();
  return cachedService_;
}

}  // namespace corvane
