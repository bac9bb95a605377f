#include "Mailbox.hpp"

#include <utility>

namespace corvane {

void Mailbox::post(std::shared_ptr<Exchange> exchange) noexcept {
  {
    const std::lock_guard lock(mutex_);
    mail_.requests.push(std::move(exchange));
  }
  wake();
}

void Mailbox::poke() noexcept {
  {
    const std::lock_guard lock(mutex_);
    mail_.sweep = true;
  }
  wake();
}

void Mailbox::stop() noexcept {
  {
    const std::lock_guard lock(mutex_);
    mail_.stop = true;
  }
  wake();
}

Mailbox::Mail Mailbox::take() noexcept {
  const std::lock_guard lock(mutex_);
  return std::exchange(mail_, Mail{});
}

void Mailbox::setMulti(CURLM* multi) noexcept {
  const std::lock_guard lock(multiMutex_);
  multi_ = multi;
}

void Mailbox::wake() noexcept {
  const std::lock_guard lock(multiMutex_);
  if (multi_) curl_multi_wakeup(multi_);
}

}  // namespace corvane
