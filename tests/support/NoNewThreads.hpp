#pragma once

#include <pthread.h>

#include <cstddef>

namespace corvane::test {

/// While it lives, no thread of this process can be started: the default stack is larger than the
/// address space.
class NoNewThreads {
 public:
  NoNewThreads() {
    pthread_attr_init(&attributes_);
    pthread_getattr_default_np(&attributes_);
    pthread_attr_getstacksize(&attributes_, &before_);
    setStackSize(std::size_t{1} << 50);
  }
  ~NoNewThreads() {
    setStackSize(before_);
    pthread_attr_destroy(&attributes_);
  }
  NoNewThreads(const NoNewThreads&) = delete;
  NoNewThreads& operator=(const NoNewThreads&) = delete;

 private:
  void setStackSize(std::size_t size) {
    pthread_attr_setstacksize(&attributes_, size);
    pthread_setattr_default_np(&attributes_);
  }

  pthread_attr_t attributes_{};
  std::size_t before_ = 0;
};

}  // namespace corvane::test
