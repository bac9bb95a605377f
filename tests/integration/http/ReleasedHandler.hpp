#pragma once

#include "HTTPFixture.hpp"

#include <atomic>

namespace corvane::test {

/// A handler that must not be called, and tells when it is released.
class ReleasedHandler {
 public:
  HTTPHandler handler() {
    return
        [shared = std::make_shared<Release>(released_)](Answer) { ADD_FAILURE() << "called after a cancel"; };
  }
  bool isReleased() const { return *released_; }

 private:
  struct Release {
    explicit Release(std::shared_ptr<std::atomic<bool>> flag) : released(std::move(flag)) {}
    ~Release() { *released = true; }
    std::shared_ptr<std::atomic<bool>> released;
  };
  std::shared_ptr<std::atomic<bool>> released_ = std::make_shared<std::atomic<bool>>(false);
};

}  // namespace corvane::test
