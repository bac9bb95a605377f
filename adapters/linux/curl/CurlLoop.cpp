#include "CurlLoop.hpp"

#include <algorithm>
#include <cerrno>
#include <exception>
#include <new>
#include <system_error>

namespace corvane {
namespace {

using namespace std::chrono_literals;

/// Further requests of a client wait for one of these to end.
constexpr unsigned mostRunningPerClient = 64;
/// Of all clients together. A process may usually have 1024 descriptors, and the host needs most of
/// them.
constexpr std::size_t mostConnections = 256;
/// When to try again after the pool had no memory or no thread for an answer.
constexpr std::chrono::milliseconds untilPoolIsTriedAgain = 20ms;
constexpr std::chrono::milliseconds untilWoken = 1h;

/// The caller may hold the exchange for long, but its token is wiped at once.
bool isCancelledAndForgotten(Exchange& exchange) noexcept {
  if (!exchange.isCancelled()) return false;
  exchange.forgetRequest();
  return true;
}

}  // namespace

CurlLoop::CurlLoop(TransferSettings settings, std::shared_ptr<RequestQueue> queue,
                   std::shared_ptr<Queue> pool)
    : settings_(std::move(settings)),
      queue_(std::move(queue)),
      pool_(std::move(pool)),
      multi_(curl_multi_init()) {
  if (!multi_) throw std::system_error(ENOMEM, std::generic_category());
  // A multi handle that got no descriptors for its wake-up is made all the same.
  if (curl_multi_wakeup(multi_.get()) != CURLM_OK)
    throw std::system_error(EMFILE, std::generic_category());
  curl_multi_setopt(multi_.get(), CURLMOPT_MAXCONNECTS, long{mostRunningPerClient});
  queue_->wakeBy(multi_.get());
}

CurlLoop::~CurlLoop() {
  queue_->wakeBy(nullptr);
  for (auto each = transfers_.begin(); each != transfers_.end();) each = end(each);
  clients_.clear();
}

void CurlLoop::run() noexcept {
  for (;;) {
    auto contents = queue_->take();
    if (contents.isStopped) return;
    admit(std::move(contents.requests));
    if (contents.needsSweep) sweep();
    startWaiting();
    work();
    startWaiting();
    auto sleep = closeIdle();
    if (!handOver()) sleep = std::min(sleep, untilPoolIsTriedAgain);
    curl_multi_poll(multi_.get(), nullptr, 0, static_cast<int>(sleep.count()), nullptr);
  }
}

void CurlLoop::admit(Exchanges requests) noexcept {
  while (!requests.empty()) {
    const auto& client = requests.front()->client();
    try {
      auto& connections = clients_[client.get()];
      connections.client = client;
      connections.waiting.splice(connections.waiting.end(), requests, requests.begin());
    } catch (const std::bad_alloc&) {
      Exchanges refused;
      refused.splice(refused.end(), requests, requests.begin());
      answer(std::move(refused));
    }
  }
}

/// Looks for what was cancelled, reset or closed.
void CurlLoop::sweep() noexcept {
  for (auto each = transfers_.begin(); each != transfers_.end();)
    each = each->second.exchange.front()->isCancelled() ? end(each) : std::next(each);

  for (auto each = clients_.begin(); each != clients_.end();) {
    Connections& connections = each->second;
    connections.waiting.remove_if(
        [](const auto& exchange) { return isCancelledAndForgotten(*exchange); });
    if (const unsigned wanted = connections.client->generation; connections.generation != wanted) {
      connections.generation = wanted;
      connections.share.reset();
    }
    const bool isOver = connections.client->closed && connections.running == 0;
    each = isOver ? clients_.erase(each) : std::next(each);
  }
}

void CurlLoop::startWaiting() noexcept {
  std::size_t started = 0;  // and not connected yet
  while (auto* const next = nextToStart()) {
    const bool hasIdleConnection = next->share && next->running == 0;
    if (!hasIdleConnection) makeRoomForOneMoreThan(openSockets_ + started++);
    start(*next);
  }
}

/// Among the clients that wait, the one with the fewest running requests comes first.
CurlLoop::Connections* CurlLoop::nextToStart() noexcept {
  if (transfers_.size() >= mostConnections) return nullptr;
  Connections* next = nullptr;
  for (auto& [client, each] : clients_)
    if (!each.waiting.empty() && each.running < mostRunningPerClient &&
        (!next || each.running < next->running))
      next = &each;
  return next;
}

/// Closes idle connections, of the client that has been idle for longest first.
void CurlLoop::makeRoomForOneMoreThan(std::size_t connections) noexcept {
  for (; connections >= mostConnections; --connections) {
    Connections* longest = nullptr;
    for (auto& [client, each] : clients_)
      if (each.share && each.running == 0 && each.waiting.empty() &&
          (!longest || each.idleSince < longest->idleSince))
        longest = &each;
    if (!longest) return;
    longest->share.reset();
  }
}

/// Starts the first request that waits, or answers it when it cannot be started.
void CurlLoop::start(Connections& connections) noexcept {
  Exchanges first;
  first.splice(first.end(), connections.waiting, connections.waiting.begin());
  const auto& exchange = first.front();
  if (isCancelledAndForgotten(*exchange)) return;
  try {
    if (!connections.share) connections.share = std::make_shared<CurlShare>();
    if (exchange->target().secure) {
      if (auto error = settings_.certificates.refusal()) {
        exchange->setOutcome(Result<HTTPResponse, NSError>::failure(*std::move(error)));
        return answer(std::move(first));
      }
    }
    auto transfer =
        std::make_unique<CurlTransfer>(settings_, exchange, connections.share, openSockets_);
    CURL* const handle = transfer->handle();
    const auto added = transfers_.emplace(handle, Running{std::move(transfer), {}}).first;
    if (curl_multi_add_handle(multi_.get(), handle) != CURLM_OK) {
      transfers_.erase(added);
      throw std::bad_alloc();
    }
    added->second.exchange = std::move(first);
    ++connections.running;
  } catch (const std::bad_alloc&) {
    answer(std::move(first));
  }
}

void CurlLoop::work() noexcept {
  int running = 0;
  curl_multi_perform(multi_.get(), &running);
  int left = 0;
  while (const CURLMsg* message = curl_multi_info_read(multi_.get(), &left)) {
    if (message->msg != CURLMSG_DONE) continue;
    const auto found = transfers_.find(message->easy_handle);
    try {
      found->second.transfer->finish(message->data.result);
    } catch (const std::bad_alloc&) {
      // The exchange has no outcome, which means just that.
    }
    auto exchange = std::move(found->second.exchange);
    end(found);
    answer(std::move(exchange));
  }
}

CurlLoop::Transfers::iterator CurlLoop::end(Transfers::iterator found) noexcept {
  curl_multi_remove_handle(multi_.get(), found->first);
  const auto& exchange = found->second.transfer->exchange();
  exchange->forgetRequest();
  auto& connections = clients_.find(exchange->client().get())->second;
  if (--connections.running == 0) connections.idleSince = Clock::now();
  return transfers_.erase(found);
}

void CurlLoop::answer(Exchanges exchange) noexcept {
  exchange.front()->forgetRequest();
  answered_.splice(answered_.end(), exchange);
}

/// False when the pool cannot take the answers now.
bool CurlLoop::handOver() noexcept {
  while (!answered_.empty()) {
    try {
      pool_->async(answered_.front()->answering());
    } catch (const std::exception&) {
      return false;  // out of memory or threads
    }
    answered_.pop_front();
  }
  return true;
}

/// Closes the connections of clients that have had nothing to send for too long. libcurl would not
/// use them again, but closes them only with the next request. Gives the time until there may be
/// more.
std::chrono::milliseconds CurlLoop::closeIdle() noexcept {
  constexpr std::chrono::seconds longest = std::chrono::years(100);  // more would not fit the clock
  const auto limit = std::min(settings_.limits.idleConnection, longest);
  const auto now = Clock::now();
  auto sleep = untilWoken;
  for (auto& [client, connections] : clients_) {
    if (!connections.share || connections.running > 0) continue;
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(connections.idleSince + limit - now);
    if (left.count() > 0)
      sleep = std::min(sleep, left);
    else
      connections.share.reset();
  }
  return sleep;
}

}  // namespace corvane
