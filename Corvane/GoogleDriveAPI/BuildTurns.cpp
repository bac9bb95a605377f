#include "BuildTurns.hpp"

#include <exception>

namespace corvane {

BuildTurns::Waiting BuildTurns::takenMark{};
BuildTurns::Waiting BuildTurns::overMark{};

void BuildTurns::take(const std::shared_ptr<Queue>& queue, Work work) {
  auto kept = std::make_shared<Work>(std::move(work));
  auto entry = std::make_unique<Waiting>(Waiting{queue, kept, newest_.load()});
  while (entry->next != isOver()) {
    if (entry->next == isFree()) {
      if (!newest_.compare_exchange_weak(entry->next, isTaken())) continue;
      return (*kept)(Turn(shared_from_this()));
    }
    if (!newest_.compare_exchange_weak(entry->next, entry.get())) continue;
    entry.release();
    return;
  }
  (*kept)(Turn());
}

void BuildTurns::end(bool isBuilt) noexcept {
  if (isBuilt)
    releaseAll();
  else
    passOn();
}

void BuildTurns::passOn() noexcept {
  for (bool isPassed = false; !isPassed;) {
    if (!oldest_) {
      Waiting* none = isTaken();
      if (newest_.compare_exchange_strong(none, isFree())) return;
      collect(isTaken());
    }
    isPassed = postOldest(shared_from_this());
  }
}

void BuildTurns::releaseAll() noexcept {
  Waiting* const earlier = std::exchange(oldest_, nullptr);
  collect(isOver());
  Waiting* const later = std::exchange(oldest_, earlier);
  while (oldest_) postOldest(nullptr);
  oldest_ = later;
  while (oldest_) postOldest(nullptr);
}

/// Takes those that wait out of the stack, in the order in which they came, and leaves the mark
/// there.
void BuildTurns::collect(Waiting* mark) noexcept {
  Waiting* entry = newest_.exchange(mark);
  while (entry != isTaken()) {
    Waiting* const older = entry->next;
    entry->next = std::exchange(oldest_, entry);
    entry = older;
  }
}

/// Posts the one that has waited longest, with the turn if `turns` is given. False if the queue
/// takes no blocks: it has been run here, without the turn.
bool BuildTurns::postOldest(std::shared_ptr<BuildTurns> turns) noexcept {
  const std::unique_ptr<Waiting> entry(std::exchange(oldest_, oldest_->next));
  const auto work = std::move(entry->work);
  try {
    entry->queue->async([work, turns = std::move(turns)] { (*work)(Turn(turns)); });
    return true;
  } catch (const std::exception&) {
    (*work)(Turn());
    return false;
  }
}

}  // namespace corvane
