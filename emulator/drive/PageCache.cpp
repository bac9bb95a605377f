#include "drive/PageCache.hpp"

namespace corvane::emulator {

std::optional<Response> PageCache::find(const std::string& key) {
  const auto found = byKey_.find(key);
  if (found == byKey_.end()) return std::nullopt;
  entries_.splice(entries_.begin(), entries_, found->second);
  return found->second->response;
}

void PageCache::store(const std::string& key, const Response& response) {
  entries_.push_front({key, response});
  byKey_[key] = entries_.begin();
  used_ += cost(entries_.front());
  while (used_ > bound_ && !entries_.empty()) {
    used_ -= cost(entries_.back());
    byKey_.erase(entries_.back().key);
    entries_.pop_back();
  }
}

void PageCache::clear() {
  entries_.clear();
  byKey_.clear();
  used_ = 0;
}

}  // namespace corvane::emulator
