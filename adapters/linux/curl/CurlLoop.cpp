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

}  // namespace

CurlLoop::CurlLoop(TransferSettings settings, std::string extraCAFile, std::shared_ptr<Queue> pool)
    : settings_(std::move(settings)),
      extraCAFile_(std::move(extraCAFile)),
      pool_(std::move(pool)),
      multi_(curl_multi_init()) {
  if (!multi_) throw std::system_error(ENOMEM, std::generic_category());
  curl_multi_setopt(multi_.get(), CURLMOPT_MAXCONNECTS, long{maxRunningPerClient});
}

CurlLoop::~CurlLoop() {
  for (auto each = transfers_.begin(); each != transfers_.end();) each = end(each);
  pools_.clear();
}

void CurlLoop::work(Mail mail) noexcept {
  admit(std::move(mail.requests));
  if (mail.sweep) sweep();
  startWaiting();
  int running = 0;
  curl_multi_perform(multi_.get(), &running);
  collectFinished();
  startWaiting();
}

void CurlLoop::wait(std::chrono::milliseconds longest, const Bell& bell) noexcept {
  curl_waitfd listening{bell.descriptor(), CURL_WAIT_POLLIN, 0};
  curl_multi_poll(multi_.get(), &listening, 1, static_cast<int>(longest.count()), nullptr);
  if (listening.revents) bell.silence();
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
    each = each->second->exchange()->isCancelled() ? end(each) : std::next(each);

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
    if (exchange->target().origin->secure) {
      if (auto error = openAuthorities()) {
        exchange->setOutcome(Result<HTTPResponse, NSError>::failure(*std::move(error)));
        return answer(std::move(exchange));
      }
    }
    auto transfer = std::make_unique<CurlTransfer>(settings_, exchange, pool.share,
                                                   authorities_ ? &*authorities_ : nullptr);
    const auto added = transfers_.emplace(transfer->handle(), std::move(transfer)).first;
    if (curl_multi_add_handle(multi_.get(), added->first) != CURLM_OK) {
      transfers_.erase(added);
      throw std::bad_alloc();
    }
    ++pool.running;
  } catch (const std::bad_alloc&) {
    answer(std::move(exchange));
  }
}

std::optional<NSError> CurlLoop::openAuthorities() {
  if (authorities_ && authorities_->isFresh(std::chrono::steady_clock::now())) return std::nullopt;
  auto opened = Authorities::open(extraCAFile_);
  if (!opened) return std::move(opened).error();
  authorities_ = std::move(opened).value();
  return std::nullopt;
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
    end(transfer);
    answer(std::move(exchange));
  }
}

CurlLoop::Transfers::iterator CurlLoop::end(Transfers::iterator transfer) noexcept {
  const auto& exchange = transfer->second->exchange();
  curl_multi_remove_handle(multi_.get(), transfer->first);
  exchange->forgetRequest();
  auto& pool = pools_.find(exchange->client().get())->second;
  if (--pool.running == 0) pool.idleSince = std::chrono::steady_clock::now();
  return transfers_.erase(transfer);
}

void CurlLoop::answer(std::shared_ptr<Exchange> exchange) noexcept {
  exchange->forgetRequest();
  answered_.push(std::move(exchange));
}

Block CurlLoop::takeAnswer() noexcept {
  if (answered_.empty()) return {};
  try {
    auto block = answered_.front()->answering();
    answered_.pop();
    return block;
  } catch (const std::bad_alloc&) {
    return {};
  }
}

bool CurlLoop::handOver() noexcept {
  while (!answered_.empty()) {
    try {
      pool_->async(answered_.front()->answering());
    } catch (const std::exception&) {
      return false;  // out of memory or threads
    }
    answered_.pop();
  }
  return true;
}

std::chrono::milliseconds CurlLoop::closeIdle() noexcept {
  constexpr std::chrono::seconds longest = std::chrono::years(100);  // more would not fit the clock
  const auto limit = std::min(settings_.limits.idleConnection, longest);
  const auto now = std::chrono::steady_clock::now();
  auto sleep = untilWoken;
  for (auto& [client, pool] : pools_) {
    if (!pool.share || pool.running > 0) continue;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(pool.idleSince + limit - now);
    if (left.count() > 0)
      sleep = std::min(sleep, left);
    else
      pool.share.reset();
  }
  return sleep;
}

}  // namespace corvane
