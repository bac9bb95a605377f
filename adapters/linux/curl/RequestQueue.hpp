#pragma once

#include "OwnProcess.hpp"

#include <curl/curl.h>

#include <list>
#include <memory>
#include <mutex>

namespace corvane {

class Exchange;

/// Exchanges change lists by splicing, which cannot fail.
using Exchanges = std::list<std::shared_ptr<Exchange>>;

/// What other threads hand to the network thread, which is woken for it.
///
/// Lifetime: shared by the network thread, its owner, and the requests, which may outlive both.
class RequestQueue {
 public:
  struct Contents {
    Exchanges requests;
    bool needsSweep = false;
    bool isStopped = false;
  };

  /// Whether this process still has the network thread.
  const OwnProcess& process() const noexcept { return process_; }

  /// Any thread; none of these waits or fails. In another process they do nothing.
  void post(Exchanges requests) noexcept;
  /// A request was cancelled, or a client was reset or dropped.
  void requestSweep() noexcept;
  void stop() noexcept;

  /// The network thread takes all that there is.
  Contents take() noexcept;
  /// The multi handle that the network thread of this process waits with; null once it waits no
  /// more.
  void wakeBy(CURLM* multi) noexcept;

 private:
  void wake() noexcept;

  OwnProcess process_;
  std::mutex mutex_;
  Contents contents_;
  CURLM* multi_ = nullptr;
};

}  // namespace corvane
