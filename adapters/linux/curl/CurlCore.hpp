#pragma once

#include "CurlDriver.hpp"
#include "CurlNetwork.hpp"
#include "Exchange.hpp"

#include <memory>
#include <mutex>
#include <thread>

namespace corvane {

/// The network thread's owner, held by the network object and its clients. Any thread; the last to let go
/// ends the thread and waits for it.
class CurlCore {
 public:
  explicit CurlCore(CurlNetwork::Options options);
  ~CurlCore();
  CurlCore(const CurlCore&) = delete;
  CurlCore& operator=(const CurlCore&) = delete;

  const HTTPLimits& limits() const { return options_.limits; }
  const std::shared_ptr<CurlDriver>& driver() const { return driver_; }

  /// Vets the request and gives it to the loop, or has the pool deliver what is wrong with it.
  void submit(const std::shared_ptr<Exchange>& exchange);

 private:
  void startOnce();

  const CurlNetwork::Options options_;
  const std::shared_ptr<CurlDriver> driver_ = std::make_shared<CurlDriver>();
  Origins origins_;
  std::mutex starting_;
  std::thread thread_;
};

}  // namespace corvane
