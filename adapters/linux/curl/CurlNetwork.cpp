#include "CurlNetwork.hpp"

#include "CurlClient.hpp"
#include "CurlCore.hpp"
#include "CurlErrors.hpp"
#include "CurlLibrary.hpp"
#include "SignalsBlocked.hpp"

#include <pthread.h>

#include <system_error>

namespace corvane {

CurlNetwork::CurlNetwork(Options options) : core_(std::make_shared<CurlCore>(std::move(options))) {}

std::shared_ptr<HTTPClient> CurlNetwork::makeClient() {
  return std::make_shared<CurlClient>(core_);
}

CurlCore::CurlCore(CurlNetwork::Options options) : options_(std::move(options)) {}

CurlCore::~CurlCore() {
  if (!thread_.joinable()) return;
  driver_->stop();
  if (thread_.get_id() == std::this_thread::get_id())
    thread_.detach();  // a pool that runs its blocks at once; the loop ends by itself
  else
    thread_.join();
}

void CurlCore::submit(const std::shared_ptr<Exchange>& exchange) {
  const auto fail = [&](NSError error) {
    exchange->forgetRequest();
    exchange->setOutcome(Result<HTTPResponse, NSError>::failure(std::move(error)));
    options_.pool->async(exchange->answering());
  };
  auto target = RequestTarget::vet(exchange->request(), origins_);
  if (!target) return fail(std::move(target).error());
  exchange->setTarget(std::move(target).value());
  try {
    startOnce();
  } catch (const std::system_error& error) {
    return fail(noNetworkThreadError(exchange->target().display(), error.code().message()));
  }
  driver_->post(exchange);
}

void CurlCore::startOnce() {
  const std::lock_guard lock(starting_);
  if (thread_.joinable()) return;
  if (!prepareCurlLibrary()) throw std::system_error(ENOMEM, std::generic_category());
  driver_->adopt(std::make_unique<CurlLoop>(TransferSettings{options_.limits, options_.userAgent},
                                            options_.extraCAFile, options_.pool));
  const SignalsBlocked masked;  // SIGPIPE too: OpenSSL writes to broken connections
  thread_ = std::thread([driver = driver_] { driver->runThread(); });
  pthread_setname_np(thread_.native_handle(), "corvane-http");
}

}  // namespace corvane
