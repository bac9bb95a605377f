#include "Mailbox.hpp"

#include <sys/eventfd.h>

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

void Mailbox::setBell(int bell) noexcept {
  const std::lock_guard lock(bellMutex_);
  bell_ = bell;
}

void Mailbox::wake() noexcept {
  const std::lock_guard lock(bellMutex_);
  if (bell_ >= 0) ::eventfd_write(bell_, 1);  // fails only when the bell has been rung 2^64 times
}

}  // namespace corvane
