#pragma once

#include <Corvane/AnyCancellable.hpp>

#include <atomic>
#include <memory>
#include <new>
#include <utility>

namespace corvane {

/// The place where a subscription keeps whatever must be cancelled just now: a request, a timer, a queued
/// block.
///
/// Each `set` replaces the former content without cancelling it. `cancel` cancels the content and whatever is
/// set later; `close` drops the content and whatever is set later. Any thread may call any of them at any
/// time, none waits: the content is owned by whoever exchanged it out. The first content needs no memory. Later content
/// that there is none for is cancelled, since nobody could do so later, and `set` throws std::bad_alloc.
class CancellableSlot final : public Cancellable {
 public:
  CancellableSlot() = default;
  CancellableSlot(const CancellableSlot&) = delete;
  CancellableSlot& operator=(const CancellableSlot&) = delete;
  ~CancellableSlot() override { close(); }

  void set(std::shared_ptr<Cancellable> content) {
    Owned entry(newEntry());
    if (!entry) {
      if (content) content->cancel();
      throw std::bad_alloc();
    }
    entry->content = std::move(content);
    Entry* current = entry_.load(std::memory_order_acquire);
    while (current != closed() && current != cancelled()) {
      if (entry_.compare_exchange_weak(current, entry.get(), std::memory_order_acq_rel)) {
        entry.release();
        Owned(current).reset();
        return;
      }
    }
    const auto late = std::move(entry->content);
    entry.reset();
    if (current == cancelled() && late) late->cancel();
  }

  void cancel() noexcept override {
    if (const auto content = take(cancelled())) content->cancel();
  }

  /// Whether the end came first: false if the slot had been cancelled already.
  bool close() noexcept {
    take(closed());
    return !isCancelled();
  }

  bool isCancelled() const noexcept { return entry_.load(std::memory_order_acquire) == cancelled(); }

 private:
  struct Entry {
    std::shared_ptr<Cancellable> content;
    bool isFirst;  // within the slot, used once
  };
  struct Disposal {
    void operator()(Entry* entry) const noexcept {
      if (entry->isFirst)
        entry->content.reset();
      else
        delete entry;
    }
  };
  using Owned = std::unique_ptr<Entry, Disposal>;

  Entry* newEntry() noexcept {
    return firstIsUsed_.exchange(true, std::memory_order_relaxed) ? new (std::nothrow) Entry{nullptr, false}
                                                                  : &first_;
  }

  static Entry* closed() noexcept { return &closedMark; }
  static Entry* cancelled() noexcept { return &cancelledMark; }

  // The first end wins: a slot that was cancelled stays cancelled when it is closed, and the other way round. Gives the
  // content without its entry, as the slot may be gone once the content has been cancelled.
  std::shared_ptr<Cancellable> take(Entry* end) noexcept {
    Entry* current = entry_.load(std::memory_order_acquire);
    while (current != closed() && current != cancelled()) {
      if (!entry_.compare_exchange_weak(current, end, std::memory_order_acq_rel)) continue;
      const Owned entry(current);
      return entry ? std::move(entry->content) : nullptr;
    }
    return nullptr;
  }

  inline static Entry closedMark{nullptr, false};
  inline static Entry cancelledMark{nullptr, false};

  Entry first_{nullptr, true};
  std::atomic<bool> firstIsUsed_{false};
  std::atomic<Entry*> entry_{nullptr};
};

}  // namespace corvane
