#include <Corvane/CancellableSlot.hpp>

#include <gtest/gtest.h>

#include <memory>
#include <new>

#include "support/FailingAllocations.hpp"

namespace corvane {
namespace {

using test::FailingAllocations;

struct Counter final : Cancellable {
  void cancel() noexcept override { ++cancellations; }
  int cancellations = 0;
};

TEST(CancellableSlotWithoutMemory, TakesItsFirstContent) {
  const auto content = std::make_shared<Counter>();
  CancellableSlot slot;
  {
    const FailingAllocations none(0);
    slot.set(content);
    slot.cancel();
  }
  EXPECT_EQ(FailingAllocations::failures(), 0);
  EXPECT_EQ(content->cancellations, 1);
  EXPECT_EQ(content.use_count(), 1);
}

TEST(CancellableSlotWithoutMemory, CancelsLaterContentAndThrowsAndKeepsWhatItHas) {
  const auto first = std::make_shared<Counter>();
  const auto second = std::make_shared<Counter>();
  CancellableSlot slot;
  slot.set(first);
  bool hasThrown = false;
  try {
    const FailingAllocations none(0);
    slot.set(second);
  } catch (const std::bad_alloc&) {
    hasThrown = true;
  }
  EXPECT_TRUE(hasThrown);
  EXPECT_EQ(second->cancellations, 1);
  EXPECT_EQ(second.use_count(), 1);
  EXPECT_EQ(first->cancellations, 0);
  slot.cancel();
  EXPECT_EQ(first->cancellations, 1);
}

}  // namespace
}  // namespace corvane
