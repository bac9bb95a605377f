#pragma once

#include <cstddef>
#include <list>
#include <optional>
#include <string>
#include <unordered_map>

#include "Message.hpp"

namespace corvane::emulator {

/// Rendered answers by key, the least recently used dropped when the bound is reached.
class PageCache {
 public:
  explicit PageCache(std::size_t bound) : bound_(bound) {}

  std::optional<Response> find(const std::string& key);
  void store(const std::string& key, const Response& response);
  void clear();

 private:
  struct Entry {
    std::string key;
    Response response;
  };
  static std::size_t cost(const Entry& entry) { return entry.key.size() * 2 + entry.response.body->size(); }

  std::size_t bound_;
  std::size_t used_ = 0;
  std::list<Entry> entries_;  // the most recently used first
  std::unordered_map<std::string, std::list<Entry>::iterator> byKey_;
};

}  // namespace corvane::emulator
