#include "NetworkThread.hpp"

#include "CurlErrors.hpp"
#include "CurlLibrary.hpp"
#include "CurlLoop.hpp"
#include "SignalsBlocked.hpp"

#include <pthread.h>

#include <cerrno>
#include <new>
#include <system_error>

namespace corvane {

NetworkThread::~NetworkThread() {
  if (!thread_.joinable()) return;
  if (queue_->process()
          .isAnother()) {  // there is no thread to join, and none may be forgotten unjoined
    static_cast<void>(new (std::nothrow) std::thread(std::move(thread_)));
    return;
  }
  queue_->stop();
  if (thread_.get_id() == std::this_thread::get_id())
    thread_.detach();  // a pool that runs its blocks at once; the loop ends by itself
  else
    thread_.join();
}

void NetworkThread::submit(const std::shared_ptr<Exchange>& exchange) {
  const auto fail = [&](NSError error) {
    exchange->forgetRequest();
    exchange->setOutcome(Result<HTTPResponse, NSError>::failure(std::move(error)));
    options_.pool->async(exchange->answering());
  };
  auto target = RequestTarget::vet(exchange->request());
  if (!target) return fail(std::move(target).error());
  exchange->setTarget(std::move(target).value());
  Exchanges request{exchange};
  try {
    startOnce();
  } catch (const std::system_error& error) {
    return fail(noNetworkThreadError(exchange->target().display, error.code().message()));
  }
  queue_->post(std::move(request));
}

void NetworkThread::startOnce() {
  const std::lock_guard lock(starting_);
  if (thread_.joinable()) return;
  if (!prepareCurlLibrary()) throw std::system_error(ENOMEM, std::generic_category());
  TransferSettings settings{
      options_.limits, options_.userAgent, {options_.system, options_.extraCAFile}};
  auto loop = std::make_unique<CurlLoop>(std::move(settings), queue_, options_.pool);
  const SignalsBlocked masked;  // SIGPIPE too: OpenSSL writes to broken connections
  thread_ = std::thread([loop = std::move(loop)] { loop->run(); });
  pthread_setname_np(thread_.native_handle(), "corvane-http");
}

}  // namespace corvane
