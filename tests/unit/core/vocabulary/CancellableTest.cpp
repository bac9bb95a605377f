#include <Corvane/AnyCancellable.hpp>
#include <Corvane/CancellableSlot.hpp>
#include <Corvane/UniqueFunction.hpp>

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

using namespace corvane;

static_assert(!std::is_copy_constructible_v<AnyCancellable>);
static_assert(std::is_nothrow_move_constructible_v<AnyCancellable>);

namespace {

struct Counter final : Cancellable {
  void cancel() noexcept override { ++cancellations; }
  int cancellations = 0;
};

struct Action final : Cancellable {
  explicit Action(std::function<void()> a) : action(std::move(a)) {}
  void cancel() noexcept override { action(); }
  std::function<void()> action;
};

}  // namespace

TEST(AnyCancellable, RunsItsActionOnceHoweverOftenItIsCancelled) {
  int runs = 0;
  {
    AnyCancellable cancellable([&runs] { ++runs; });
    cancellable.cancel();
    cancellable.cancel();
    EXPECT_EQ(runs, 1);
  }
  EXPECT_EQ(runs, 1);
}

TEST(AnyCancellable, CancelsWhenDroppedOrReplaced) {
  int dropped = 0;
  int replaced = 0;
  {
    AnyCancellable cancellable([&replaced] { ++replaced; });
    cancellable = AnyCancellable([&dropped] { ++dropped; });
    EXPECT_EQ(replaced, 1);
    EXPECT_EQ(dropped, 0);
  }
  EXPECT_EQ(dropped, 1);
}

TEST(AnyCancellable, MovedFromOneDoesNothing) {
  int runs = 0;
  AnyCancellable first([&runs] { ++runs; });
  const AnyCancellable second = std::move(first);
  first.cancel();
  EXPECT_EQ(runs, 0);
  second.cancel();
  EXPECT_EQ(runs, 1);
}

TEST(AnyCancellable, ReleasedLetsTheWorkRun) {
  int runs = 0;
  std::shared_ptr<Cancellable> taken;
  {
    AnyCancellable cancellable([&runs] { ++runs; });
    taken = cancellable.release();
  }
  EXPECT_EQ(runs, 0);
  taken->cancel();
  EXPECT_EQ(runs, 1);
}

TEST(AnyCancellable, EmptyOneMayBeCancelled) {
  const AnyCancellable nothing;
  nothing.cancel();
}

TEST(AnyCancellable, LetsGoOfWhatItsActionHeldOnceCancelled) {
  auto held = std::make_shared<int>();
  const std::weak_ptr<int> watch = held;
  const AnyCancellable cancellable([held = std::move(held)] {});
  cancellable.cancel();
  EXPECT_TRUE(watch.expired());
}

TEST(CancellableSlot, CancelsItsContentAndWhateverComesLater) {
  const auto now = std::make_shared<Counter>();
  const auto later = std::make_shared<Counter>();
  CancellableSlot slot;
  slot.set(now);
  slot.cancel();
  slot.cancel();
  slot.set(later);
  EXPECT_EQ(now->cancellations, 1);
  EXPECT_EQ(later->cancellations, 1);
  EXPECT_TRUE(slot.isCancelled());
}

TEST(CancellableSlot, ReplacesItsContentWithoutCancellingIt) {
  auto former = std::make_shared<Counter>();
  const auto current = std::make_shared<Counter>();
  CancellableSlot slot;
  slot.set(former);
  slot.set(current);
  EXPECT_EQ(former->cancellations, 0);
  EXPECT_EQ(former.use_count(), 1);
  slot.cancel();
  EXPECT_EQ(former->cancellations, 0);
  EXPECT_EQ(current->cancellations, 1);
}

TEST(CancellableSlot, ClosedDropsItsContentAndWhateverComesLater) {
  const auto now = std::make_shared<Counter>();
  const auto later = std::make_shared<Counter>();
  CancellableSlot slot;
  slot.set(now);
  slot.close();
  slot.set(later);
  slot.cancel();
  EXPECT_EQ(now.use_count(), 1);
  EXPECT_EQ(later.use_count(), 1);
  EXPECT_EQ(now->cancellations + later->cancellations, 0);
  EXPECT_FALSE(slot.isCancelled());
}

TEST(CancellableSlot, StaysCancelledWhenItIsClosed) {
  CancellableSlot slot;
  slot.cancel();
  slot.close();
  EXPECT_TRUE(slot.isCancelled());
}

TEST(CancellableSlot, MayGoWhileItsContentIsCancelled) {
  auto slot = std::make_unique<CancellableSlot>();
  const auto content = std::make_shared<Action>([&slot] { slot.reset(); });
  slot->set(content);
  slot->cancel();
  EXPECT_FALSE(slot);
  EXPECT_EQ(content.use_count(), 1);
}

TEST(CancellableSlot, MayGoWhileContentThatComesTooLateIsCancelled) {
  auto slot = std::make_unique<CancellableSlot>();
  const auto content = std::make_shared<Action>([&slot] { slot.reset(); });
  slot->cancel();
  slot->set(content);
  EXPECT_FALSE(slot);
  EXPECT_EQ(content.use_count(), 1);
}

TEST(UniqueFunction, OwnsWhatCannotBeCopied) {
  UniqueFunction<int(int)> add = [number = std::make_unique<int>(40)](int more) { return *number + more; };
  EXPECT_EQ(add(2), 42);
  const auto moved = std::move(add);
  EXPECT_FALSE(add);
  EXPECT_EQ(moved(1), 41);
  EXPECT_FALSE(UniqueFunction<void()>(nullptr));
}
