#include "CurlLoop.hpp"

#include "CurlErrors.hpp"

#include <algorithm>
#include <cerrno>
#include <exception>
#include <new>
#include <system_error>

namespace corvane {
namespace {

/// Further requests of a client wait for one of these to end: a thousand at once must not use up the
/// descriptors.
constexpr unsigned maxRunningPerClient = 64;
constexpr std::chrono::milliseconds untilWoken = std::chrono::hours(1);
constexpr std::chrono::milliseconds untilPoolTakesIt{20};

}  // namespace

CurlLoop::CurlLoop(TransferSettings settings, std::string extraCAFile, std::shared_ptr<Queue> pool,
                   std::shared_ptr<Mailbox> mailbox)
    : settings_(std::move(settings)),
      extraCAFile_(std::move(extraCAFile)),
      pool_(std::move(pool)),
      mailbox_(std::move(mailbox)),
      multi_(curl_multi_init()) {
  // Without a descriptor for its wake-up call, the handle works but sleeps through its mail.
  if (!multi_ || curl_multi_wakeup(multi_.get()) != CURLM_OK)
    throw std::system_error(errno ? errno : ENOMEM, std::generic_category());
  curl_multi_setopt(multi_.get(), CURLMOPT_MAXCONNECTS, long{maxRunningPerClient});
  mailbox_->setMulti(multi_.get());
}

CurlLoop::~CurlLoop() {
  mailbox_->setMulti(nullptr);
  for (auto each = transfers_.begin(); each != transfers_.end();) each = drop(each);
  pools_.clear();
}

void CurlLoop::run() noexcept {
  for (;;) {
    auto mail = mailbox_->take();
    if (mail.stop) return;
    admit(std::move(mail.requests));
    if (mail.sweep) sweep();
    startWaiting();
    int running = 0;
    curl_multi_perform(multi_.get(), &running);
    collectFinished();
    startWaiting();
    handOver();
    const auto sleep = std::min(closeIdle(), answered_.empty() ? untilWoken : untilPoolTakesIt);
    curl_multi_poll(multi_.get(), nullptr, 0, static_cast<int>(sleep.count()), nullptr);
  }
}

void CurlLoop::admit(ExchangeQueue requests) noexcept {
  while (auto exchange = requests.pop()) {
    if (exchange->isCancelled()) {
      exchange->forgetRequest();
      continue;
    }
    try {
      const auto& client = exchange->client();
      auto& pool = pools_[client.get()];
      pool.client = client;
      pool.waiting.push(std::move(exchange));
    } catch (const std::bad_alloc&) {
      answer(std::move(exchange));
    }
  }
}

void CurlLoop::sweep() noexcept {
  for (auto each = transfers_.begin(); each != transfers_.end();)
    each = each->second->exchange()->isCancelled() ? drop(each) : std::next(each);

  for (auto each = pools_.begin(); each != pools_.end();) {
    Pool& pool = each->second;
    ExchangeQueue waiting;
    while (auto exchange = pool.waiting.pop())
      if (exchange->isCancelled())
        exchange->forgetRequest();
      else
        waiting.push(std::move(exchange));
    pool.waiting = std::move(waiting);

    if (const unsigned wanted = pool.client->generation; pool.generation != wanted) {
      pool.generation = wanted;
      pool.share.reset();
    }
    each = pool.client->closed && pool.running == 0 ? pools_.erase(each) : std::next(each);
  }
}

void CurlLoop::startWaiting() noexcept {
  for (auto& [client, pool] : pools_)
    while (pool.running < maxRunningPerClient && !pool.waiting.empty()) start(pool, pool.waiting.pop());
}

void CurlLoop::start(Pool& pool, std::shared_ptr<Exchange> exchange) noexcept {
  try {
    if (!pool.share) pool.share = std::make_shared<CurlShare>();
    std::string authoritiesFile;
    if (exchange->target().secure) {
      if (!authorities_) {
        auto opened = CertificateBundle::open(extraCAFile_);
        if (!opened) {
          exchange->setOutcome(Result<HTTPResponse, NSError>::failure(std::move(opened).error()));
          return answer(std::move(exchange));
        }
        authorities_ = std::move(opened).value();
      }
      authoritiesFile = authorities_->path();
    }
    auto transfer = std::make_unique<CurlTransfer>(exchange, pool.share, settings_, authoritiesFile);
    CURL* const handle = transfer->handle();
    transfers_.emplace(handle, std::move(transfer));
    if (curl_multi_add_handle(multi_.get(), handle) != CURLM_OK) {
      transfers_.erase(handle);
      throw std::bad_alloc();
    }
    ++pool.running;
  } catch (const std::bad_alloc&) {
    answer(std::move(exchange));
  }
}

void CurlLoop::collectFinished() noexcept {
  int left = 0;
  while (const CURLMsg* message = curl_multi_info_read(multi_.get(), &left)) {
    if (message->msg != CURLMSG_DONE) continue;
    const CURLcode code = message->data.result;
    const auto transfer = transfers_.find(message->easy_handle);
    auto exchange = transfer->second->exchange();
    try {
      transfer->second->finish(code);
    } catch (const std::bad_alloc&) {
      // No outcome means just that.
    }
    drop(transfer);
    answer(std::move(exchange));
  }
}

CurlLoop::Transfers::iterator CurlLoop::drop(Transfers::iterator transfer) noexcept {
  const auto exchange = transfer->second->exchange();
  curl_multi_remove_handle(multi_.get(), transfer->first);
  const auto next = transfers_.erase(transfer);
  exchange->forgetRequest();
  auto& pool = pools_.find(exchange->client().get())->second;
  if (--pool.running == 0) pool.idleSince = std::chrono::steady_clock::now();
  return next;
}

void CurlLoop::answer(std::shared_ptr<Exchange> exchange) noexcept {
  exchange->forgetRequest();
  answered_.push(std::move(exchange));
}

void CurlLoop::handOver() noexcept {
  while (!answered_.empty()) {
    try {
      answered_.front()->post(*pool_);
    } catch (const std::exception&) {
      return;  // out of memory or threads; tried again soon
    }
    answered_.pop();
  }
}

/// Closes the connections of clients that have long sent nothing: libcurl would not use them again, but close them only
/// with the next request. Gives the time until there may be more of them.
std::chrono::milliseconds CurlLoop::closeIdle() noexcept {
  const auto now = std::chrono::steady_clock::now();
  auto sleep = untilWoken;
  for (auto& [client, pool] : pools_) {
    if (!pool.share || pool.running > 0) continue;
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(pool.idleSince + settings_.limits.idleConnection - now);
    if (left.count() <= 0)
      pool.share.reset();
    else
      sleep = std::min(sleep, left);
  }
  return sleep;
}

}  // namespace corvane
