#include <CorvaneEmulator/Journal.hpp>
#include <algorithm>

namespace corvane::emulator {
namespace {

constexpr std::size_t mostEntries = 50'000;

}  // namespace

std::string_view JournalEntry::header(std::string_view name) const {
  const auto found = std::ranges::find(headers, name, &std::pair<std::string, std::string>::first);
  return found == headers.end() ? std::string_view{} : std::string_view(found->second);
}

std::vector<JournalEntry> Journal::entries() const {
  const std::lock_guard lock(mutex_);
  return {entries_.begin(), entries_.end()};
}

std::vector<JournalEntry> Journal::entries(std::string_view operation) const {
  const std::lock_guard lock(mutex_);
  std::vector<JournalEntry> result;
  std::ranges::copy_if(entries_, std::back_inserter(result),
                       [&](const JournalEntry& entry) { return entry.operation == operation; });
  return result;
}

std::uint64_t Journal::count() const {
  const std::lock_guard lock(mutex_);
  return total_;
}

std::uint64_t Journal::count(std::string_view operation) const {
  const std::lock_guard lock(mutex_);
  const auto found = std::ranges::find(counts_, operation, &std::pair<std::string, std::uint64_t>::first);
  return found == counts_.end() ? 0 : found->second;
}

bool Journal::waitForCount(std::uint64_t count, std::chrono::milliseconds limit) const {
  std::unique_lock lock(mutex_);
  return recorded_.wait_for(lock, limit, [&] { return total_ >= count; });
}

void Journal::clear() {
  const std::lock_guard lock(mutex_);
  entries_.clear();
  counts_.clear();
  total_ = 0;
}

std::uint64_t Journal::record(JournalEntry entry) {
  const std::lock_guard lock(mutex_);
  const auto found =
      std::ranges::find(counts_, entry.operation, &std::pair<std::string, std::uint64_t>::first);
  if (found == counts_.end()) {
    counts_.emplace_back(entry.operation, 1);
  } else {
    ++found->second;
  }
  entry.number = ++total_;
  entries_.push_back(std::move(entry));
  if (entries_.size() > mostEntries) entries_.pop_front();
  recorded_.notify_all();
  return total_;
}

}  // namespace corvane::emulator
