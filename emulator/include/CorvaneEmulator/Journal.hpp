#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace corvane::emulator {

/// What one request said, without its secrets: tokens, codes, states and the like appear as the first
/// digits of their SHA-256, so that they can still be compared.
struct JournalEntry {
  std::uint64_t number = 0;  ///< from 1
  std::string operation = {};
  std::string method = {};
  std::string target = {};
  std::vector<std::pair<std::string, std::string>> headers = {};
  std::string body = {};  ///< the first 4 KiB
  std::size_t bodyLength = 0;
  std::uint64_t connection = 0;  ///< from 1; the same on a kept-alive connection
  int status = 0;                ///< as decided; 0 when no answer was meant to be sent
  bool faulted = false;

  /// Empty when there is no such header.
  std::string_view header(std::string_view name) const;
};

/// The latest requests in the order of their arrival, at most 50,000. Any thread may use it.
class Journal {
 public:
  std::vector<JournalEntry> entries() const;
  std::vector<JournalEntry> entries(std::string_view operation) const;
  /// All since the last `clear`, also those dropped for space; with an operation, only of that operation.
  std::uint64_t count() const;
  std::uint64_t count(std::string_view operation) const;
  /// Waits for the n-th request; false when the limit is over first.
  bool waitForCount(std::uint64_t count, std::chrono::milliseconds limit = std::chrono::seconds(10)) const;
  void clear();

  /// For the server. Gives the number.
  std::uint64_t record(JournalEntry entry);

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable recorded_;
  std::deque<JournalEntry> entries_;
  std::vector<std::pair<std::string, std::uint64_t>> counts_;
  std::uint64_t total_ = 0;
};

}  // namespace corvane::emulator
