#include "RememberedSecret.hpp"

#include <Corvane/Data.hpp>

#include <algorithm>

namespace corvane {

std::optional<RememberedSecret::Answer> RememberedSecret::recall(const KeychainQuery& query) const {
  if (!moment_ || query_ != query) return std::nullopt;
  return Answer{item_, memory_->bytes().first(size_)};
}

void RememberedSecret::remember(const Moment& moment, const KeychainQuery& query, const KeychainItem& item,
                                std::span<const std::byte> secret) {
  forget();
  if (secret.size() > largest) return;
  if (!memory_) memory_.emplace(largest);
  query_ = query;
  item_ = item;
  size_ = secret.size();
  std::ranges::copy(secret, memory_->bytes().begin());
  moment_ = moment;
}

void RememberedSecret::forgetUnless(const std::optional<Moment>& moment) noexcept {
  if (moment_ != moment) forget();
}

void RememberedSecret::forget() noexcept {
  moment_.reset();
  if (memory_) wipeMemory(memory_->bytes().data(), size_);
  size_ = 0;
}

}  // namespace corvane
